// The debug log as the product uses it: moved for a scope, switched, and beside the main log.
#include "lib/wycommon/WyDebugLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_LazyLogs.h"
#include "lib/wycommon/WyCommon_LogSettings.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "support/TraceFolder.h"

#include <shlobj.h>

namespace {

using test_support::IatPatch;
using test_support::RegistryKey;
using test_support::TemporaryFolder;
using test_support::TraceFolder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
namespace LogSettings = WyCommon::LogSettings;

constexpr std::uint32_t kForced = 0x10000000;

// The system's own functions, whatever stands in the import table.
template <class Function>
Function* OfKernel(const char* name) {
    static const HMODULE s_hKernel = GetModuleHandleW(L"kernel32.dll");
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(s_hKernel, name)));
}

auto* const s_FindFunction = OfKernel<FARPROC WINAPI(HMODULE, const char*)>("GetProcAddress");
constexpr char kOff[] = "[InteractiveSession]\r\nEnable=0\r\nLevel=256\r\n";

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The product as installed in a folder.
class Installation {
public:
    explicit Installation(const std::wstring& productPath)
        : m_Key(WyCommon::Utility::GetProductRegistryKey(), KEY_WOW64_64KEY) {
        EXPECT_TRUE(m_Key.SetText(L"ProductPath", productPath));
    }

private:
    RegistryKey m_Key;
};

// What the calls of the system are answered with, and what they were asked.
std::wstring s_TemporaryFolder;
std::vector<std::wstring> s_Delayed;

DWORD WINAPI FakeTempPath(DWORD size, wchar_t* path) {
    if (s_TemporaryFolder.size() < size)
        s_TemporaryFolder.copy(path, size);
    return static_cast<DWORD>(s_TemporaryFolder.size());
}

BOOL WINAPI FakeMoveFile(const wchar_t* from, const wchar_t* to, DWORD flags) {
    s_Delayed.push_back(std::wstring(from) + (to == nullptr ? L" deleted, " : L" moved, ") +
                        std::to_wstring(flags));
    return TRUE;
}

class DebugLogScope : public testing::Test {
protected:
    DebugLogScope() {
        s_TemporaryFolder = temporary.Path() + L"\\";
        s_Delayed.clear();
    }
    ~DebugLogScope() override { KrCommon::DestroyMainLog(); }

    TraceFolder media;
    TraceFolder temporary;
    TraceFolder product;

private:
    // Behind the folders, which ask for the system's folder, too.
    const HMODULE program = GetModuleHandleW(nullptr);
    const IatPatch tempPatch{program, "kernel32.dll", "GetTempPathW", FakeTempPath};
    const IatPatch movePatch{program, "kernel32.dll", "MoveFileExW", FakeMoveFile};
};

TEST_F(DebugLogScope, runs_from_copies_in_the_temporary_folder_and_then_from_the_log_folder) {
    media.AddModule();
    media.AddFile("krdbg.ini", kOff);
    product.AddModule();
    {
        const WyDebugLog scope(L"Install", media.Path(), product.Path());
        ASSERT_NE(g_pDebugLog, nullptr);
        EXPECT_TRUE(g_pDebugLog->IsLevelEnabled(1 | 16 | 256));
        EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(4096));
        EXPECT_THAT(temporary.Calls(),
                    ElementsAre(HasSubstr(" module=[Install] "),
                                HasSubstr(" .w. <Install> : [INFO] Debug log has been set to INFO "
                                          "- WyDebugLog(")));
        EXPECT_THAT(s_Delayed, ElementsAre(s_TemporaryFolder + L"krdbg.ini deleted, 4",
                                           s_TemporaryFolder + L"krdbglog.dll deleted, 4"));
        EXPECT_EQ(ReadFile(std::filesystem::path(temporary.Path()) / "krdbg.ini"),
                  "[InteractiveSession]\r\nEnable=1\r\nLevel=0x00000111\r\n[ServiceSession]\r\n"
                  "Enable=1\r\nLevel=0x00000111\r\n");
        EXPECT_EQ(ReadFile(std::filesystem::path(media.Path()) / "krdbg.ini"), kOff);
        EXPECT_THAT(product.Calls(), IsEmpty());
    }
    ASSERT_NE(g_pDebugLog, nullptr);
    EXPECT_THAT(temporary.Calls().back(), "uninitialize 1");
    EXPECT_THAT(product.Calls(), ElementsAre(HasSubstr(" module=[Install] ")));
    EXPECT_FALSE(g_pDebugLog->IsLevelEnabled(256)) << "no configuration there";
    EXPECT_TRUE(g_pDebugLog->Trace("Some", 1, kForced, L"later"));
    EXPECT_THAT(product.Calls().back(), HasSubstr("<Install> later"));
}

TEST_F(DebugLogScope, ends_the_log_that_was_there_and_overwrites_what_lies_there) {
    media.AddModule();
    media.AddFile("krdbg.ini", kOff);
    temporary.AddFile("krdbg.ini", "old");
    temporary.AddFile("krdbglog.dll", "old");
    product.AddModule();
    KrCommon::CreateMainLog(L"Before", product.Path());
    const WyDebugLog scope(L"Update", media.Path(), {});
    EXPECT_THAT(product.Calls(), ElementsAre(HasSubstr(" module=[Before] "), "uninitialize 1"));
    EXPECT_EQ(temporary.Calls().size(), 2U);
}

TEST_F(DebugLogScope, without_a_source_folder_leaves_the_log_and_renews_it_from_the_product_path) {
    product.AddModule();
    media.AddModule();
    KrCommon::CreateMainLog(L"Before", media.Path());
    const Installation installation(product.Path());
    {
        const WyDebugLog scope(L"Remove", {}, {});
        EXPECT_EQ(media.Calls().size(), 1U);
        EXPECT_TRUE(g_pDebugLog->Trace("Some", 1, kForced, L"as before"));
    }
    EXPECT_THAT(media.Calls(),
                ElementsAre(StartsWith("initialize"), HasSubstr("as before"), "uninitialize 1"));
    EXPECT_THAT(product.Calls(), ElementsAre(HasSubstr(" module=[Remove] ")));
    EXPECT_THAT(temporary.Calls(), IsEmpty());
    EXPECT_THAT(s_Delayed, IsEmpty());
}

TEST_F(DebugLogScope, with_neither_log_folder_nor_product_keeps_the_log) {
    media.AddModule();
    KrCommon::CreateMainLog(L"Before", media.Path());
    { const WyDebugLog scope(L"Remove", {}, {}); }
    EXPECT_NE(g_pDebugLog, nullptr);
    EXPECT_EQ(media.Calls().size(), 1U);
}

TEST_F(DebugLogScope, without_files_in_the_source_folder_is_off) {
    {
        const WyDebugLog scope(L"Install", media.Path(), {});
        ASSERT_NE(g_pDebugLog, nullptr);
        EXPECT_FALSE(g_pDebugLog->Trace("Some", 1, kForced, L"lost"));
        // The switch made the file; both names go away later.
        EXPECT_EQ(s_Delayed.size(), 2U);
    }
    EXPECT_NE(g_pDebugLog, nullptr);
}

TEST_F(DebugLogScope, without_a_temporary_folder_is_off) {
    media.AddModule();
    product.AddModule();
    KrCommon::CreateMainLog(L"Before", media.Path());
    s_TemporaryFolder.clear();
    const WyDebugLog scope(L"Install", media.Path(), {});
    EXPECT_EQ(g_pDebugLog, nullptr);
    EXPECT_THAT(s_Delayed, IsEmpty());
}

// The calls of the profile family, in order; the one with this number fails.
std::vector<std::wstring> s_Writes;
std::size_t s_uiFailing = 0;

BOOL WINAPI FakeWriteProfile(const wchar_t* section, const wchar_t* name, const wchar_t* value,
                             const wchar_t*) {
    s_Writes.push_back(std::wstring(L"[") + section + L"] " + name + L"=" + value);
    return s_Writes.size() != s_uiFailing;
}

TEST(LogSwitch, writes_four_values_in_order_and_fails_when_one_of_them_fails) {
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "WritePrivateProfileStringW",
                         FakeWriteProfile);
    const std::vector<std::wstring> wanted = {
        L"[InteractiveSession] Enable=1", L"[ServiceSession] Enable=1",
        L"[ServiceSession] Level=0x00001111", L"[InteractiveSession] Level=0x00001111"};
    for (s_uiFailing = 0; s_uiFailing <= 4; ++s_uiFailing) {
        s_Writes.clear();
        EXPECT_EQ(LogSettings::WriteSwitch(L"C:\\krdbg.ini", true, 0x1111), s_uiFailing == 0);
        EXPECT_EQ(s_Writes, wanted) << "all are tried";
    }
    s_uiFailing = 0;
    s_Writes.clear();
    EXPECT_TRUE(LogSettings::WriteSwitch(L"C:\\krdbg.ini", false, 0xffffffff));
    EXPECT_THAT(s_Writes,
                ElementsAre(L"[InteractiveSession] Enable=0", L"[ServiceSession] Enable=0",
                            L"[ServiceSession] Level=0xffffffff",
                            L"[InteractiveSession] Level=0xffffffff"));
}

TEST(LogSwitch, of_the_product_changes_the_files_that_are_there) {
    const struct {
        bool first;
        bool second;
        bool done;
    } rows[] = {
        {false, false, false}, {false, true, false}, {true, false, true}, {true, true, true}};
    for (const auto& row : rows) {
        const TemporaryFolder folder(L"switch");
        const std::filesystem::path first = folder.Path() / "krdbg.ini";
        const std::filesystem::path second = folder.Path() / "win32" / "krdbg.ini";
        std::filesystem::create_directory(folder.Path() / "win32");
        if (row.first)
            std::ofstream(first) << "";
        if (row.second)
            std::ofstream(second) << "";
        const Installation installation(folder.Path().wstring());
        EXPECT_EQ(LogSettings::SetSwitch(true, 273), row.done);
        constexpr char kWanted[] =
            "[InteractiveSession]\r\nEnable=1\r\nLevel=0x00000111\r\n[ServiceSession]\r\n"
            "Enable=1\r\nLevel=0x00000111\r\n";
        EXPECT_EQ(ReadFile(first), row.first ? kWanted : "");
        EXPECT_EQ(ReadFile(second), row.first && row.second ? kWanted : "");
    }
}

TEST(LogSwitch, result_is_that_of_both_files_and_both_are_tried) {
    const TemporaryFolder folder(L"switch");
    std::filesystem::create_directory(folder.Path() / "win32");
    std::ofstream(folder.Path() / "krdbg.ini") << "";
    std::ofstream(folder.Path() / "win32" / "krdbg.ini") << "";
    const Installation installation(folder.Path().wstring());
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "WritePrivateProfileStringW",
                         FakeWriteProfile);
    for (const std::size_t failing : {1U, 4U, 5U, 8U}) {
        s_uiFailing = failing;
        s_Writes.clear();
        EXPECT_FALSE(LogSettings::SetSwitch(true, 273)) << failing;
        EXPECT_EQ(s_Writes.size(), 8U) << failing;
    }
    s_uiFailing = 0;
}

TEST(LogSwitch, without_a_product_fails) {
    EXPECT_FALSE(LogSettings::SetSwitch(true, 273));
}

TEST(LogFolder, is_the_setting_of_the_service_or_the_default) {
    const struct {
        const char* file;
        const wchar_t* folder;
    } rows[] = {
        {"", L"C:\\ProgramData\\Korvex Data\\Wyvarion"},
        {"[InteractiveSession]\r\nLogFolder=C:\\other\r\n",
         L"C:\\ProgramData\\Korvex Data\\Wyvarion"},
        {"[ServiceSession]\r\nLogFolder=D:\\logs\r\n", L"D:\\logs"},
        {"[ServiceSession]\r\nLogFolder=%commonappdata%\\x\r\n", L"C:\\ProgramData\\x"},
        {"[ServiceSession]\r\nLogFolder=%commonappdata%%commonappdata%\r\n",
         L"C:\\ProgramDataC:\\ProgramData"},
        {"[ServiceSession]\r\nLogFolder=%COMMONAPPDATA%\\x\r\n", L"%COMMONAPPDATA%\\x"},
    };
    for (const auto& row : rows) {
        TraceFolder folder;
        folder.AddFile("krdbg.ini", row.file);
        const Installation installation(folder.Path());
        EXPECT_EQ(LogSettings::GetLogFolder(), row.folder) << row.file;
    }
    EXPECT_EQ(LogSettings::GetLogFolder(), L"C:\\ProgramData\\Korvex Data\\Wyvarion")
        << "without a product";
}

HRESULT WINAPI NoFolder(HWND, int folder, HANDLE, DWORD, wchar_t*) {
    EXPECT_EQ(folder, 32803);
    return E_FAIL;
}

BOOL WINAPI AllUsers(wchar_t* path, DWORD* size) {
    EXPECT_EQ(*size, 260U);
    wcscpy(path, L"C:\\All Users");
    return TRUE;
}

BOOL WINAPI NoUsers(wchar_t*, DWORD*) {
    return FALSE;
}

template <BOOL(WINAPI* answer)(wchar_t*, DWORD*)>
FARPROC WINAPI FindProfile(HMODULE module, const char* name) {
    if (std::strcmp(name, "GetAllUsersProfileDirectoryW") == 0)
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(answer));
    return s_FindFunction(module, name);
}

TEST(DumpFolder, lies_in_the_data_of_the_machine) {
    EXPECT_EQ(LogSettings::GetDumpFolder(), L"C:\\ProgramData\\Korvex Data\\Wyvarion\\dump");
}

TEST(DumpFolder, falls_back_to_the_profile_of_all_users_and_then_to_nothing) {
    const HMODULE program = GetModuleHandleW(nullptr);
    const IatPatch noFolder(program, "shell32.dll", "SHGetFolderPathW", NoFolder);
    {
        const IatPatch patch(program, "kernel32.dll", "GetProcAddress", FindProfile<AllUsers>);
        EXPECT_EQ(LogSettings::GetDumpFolder(), L"C:\\All Users\\Korvex Data\\Wyvarion\\dump");
    }
    const IatPatch patch(program, "kernel32.dll", "GetProcAddress", FindProfile<NoUsers>);
    EXPECT_EQ(LogSettings::GetDumpFolder(), L"\\Korvex Data\\Wyvarion\\dump");
}

std::wstring s_HostPath;

auto* const s_ModuleName = OfKernel<DWORD WINAPI(HMODULE, wchar_t*, DWORD)>("GetModuleFileNameW");

DWORD WINAPI FakeModuleName(HMODULE module, wchar_t* path, DWORD size) {
    if (module != nullptr)
        return s_ModuleName(module, path, size);
    EXPECT_GE(size, s_HostPath.size());
    return static_cast<DWORD>(s_HostPath.copy(path, size));
}

// One test, because these logs open themselves once in the life of a process.
TEST(LazyLogs, open_themselves_once_with_their_first_line) {
    TraceFolder product;
    product.AddModule();
    product.AddFile("krdbg.ini", kOff);
    TraceFolder host;
    host.AddModule();
    host.AddFile("krdbg.ini", "[InteractiveSession]\r\nEnable=1\r\nLevel=256\r\n");
    const Installation installation(product.Path());
    s_HostPath = host.Path() + L"\\host.exe";
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "GetModuleFileNameW",
                         FakeModuleName);
    WyCommon::LazyLogs::Start();
    ASSERT_NE(g_pEventLog, nullptr);
    ASSERT_NE(g_pFeedbackErrorLog, nullptr);
    EXPECT_THAT(product.Calls(), IsEmpty());
    EXPECT_THAT(host.Calls(), IsEmpty());

    WyLogStream(g_pFeedbackErrorLog, "ApiCall", 7, kForced)
        << L"[ScanError]: WySdk WyScan, 100%s, retCode = " << WyHex{0xe0ff0007};
    WyLogStream(g_pFeedbackErrorLog, "ApiCall", 8, kForced) << L"second";
    EXPECT_TRUE(g_pFeedbackErrorLog->Trace("ApiCall", 9, 256, L"filtered away"));
    EXPECT_THAT(product.Calls(),
                ElementsAre(HasSubstr(" module=[FeedbackError] "),
                            EndsWith(" ??? <FeedbackError> [ScanError]: WySdk WyScan, 100%s, "
                                     "retCode = 0xe0ff0007 - ApiCall(7)$"),
                            EndsWith(" ??? <FeedbackError> second - ApiCall(8)$")));
    EXPECT_THAT(host.Calls(), IsEmpty());

    EXPECT_TRUE(g_pEventLog->IsLevelEnabled(256)) << "opens the log for its mask";
    EXPECT_FALSE(g_pEventLog->IsLevelEnabled(1));
    WyLogStream(g_pEventLog, "WyCommon_Utility", 1, kForced) << L": WyCommon SERVICE_STOPPED!";
    EXPECT_THAT(host.Calls(), ElementsAre(HasSubstr(" module=[Event] "),
                                          EndsWith(" ??? <Event> : WyCommon SERVICE_STOPPED! - "
                                                   "WyCommon_Utility(1)$")));

    WyCommon::LazyLogs::Stop();
    EXPECT_EQ(g_pEventLog, nullptr);
    EXPECT_EQ(g_pFeedbackErrorLog, nullptr);
    WyCommon::LazyLogs::Start();
    WyLogStream(g_pEventLog, "Some", 1, kForced) << L"again";
    EXPECT_EQ(host.Calls().size(), 3U) << "opened once";
    WyCommon::LazyLogs::Stop();
}

}  // namespace
