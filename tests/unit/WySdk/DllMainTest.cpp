// The built library as a module: load, unload, log, version.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "lib/wycommon/WyCommon_Paths.h"
#include "support/RegistryKey_win32.h"
#include "support/RunProgram.h"
#include "support/TraceFolder.h"

namespace {

using test_support::RegistryKey;
using test_support::TraceFolder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kEnabled[] = "[InteractiveSession]\nEnable=1\nLevel=0x111\n";

// The library, loaded for the length of a scope.
class Library {
public:
    explicit Library(const wchar_t* path = L"WySdk.dll") : m_hModule(LoadLibraryW(path)) {
        EXPECT_NE(m_hModule, nullptr) << GetLastError();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() {
        FreeLibrary(m_hModule);
        EXPECT_EQ(GetModuleHandleW(L"WySdk.dll"), nullptr);
    }

    // A scan that the library refuses by itself.
    std::uint32_t RefusedScan() const {
        using Function = std::uint32_t WINAPI(std::uint32_t, const wchar_t*, wchar_t**);
        auto* const function = reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(m_hModule, "WyScan")));
        return function(1, nullptr, nullptr);
    }

private:
    HMODULE m_hModule;
};

// The product as installed in a folder.
class Installation {
public:
    explicit Installation(const std::wstring& productPath)
        : m_Key(WyCommon::Utility::GetProductRegistryKey(), KEY_WOW64_64KEY) {
        EXPECT_TRUE(m_Key.SetText(L"ProductPath", productPath));
        EXPECT_EQ(WyCommon::Utility::GetProductPath(), productPath);
    }

private:
    RegistryKey m_Key;
};

TEST(DllMain, with_a_product_starts_and_stops_the_log) {
    TraceFolder folder;
    folder.AddModule();
    folder.AddFile("krdbg.ini", kEnabled);
    const Installation installation(folder.Path());
    {
        const Library library;
        EXPECT_THAT(folder.Calls(),
                    ElementsAre(HasSubstr(" module=[WySdk] "),
                                EndsWith(" .w. <WySdk> WySdk: [INFO] Debug server constructed! - "
                                         "dllmain(21)$")));
    }
    EXPECT_THAT(folder.Calls(),
                ElementsAre(StartsWith("initialize"), StartsWith("trace"), "uninitialize 1"));
}

TEST(DllMain, lines_of_the_library_stand_in_a_file_of_the_trace_module) {
    TraceFolder folder;
    folder.AddModule("KrDbgLog.dll");
    folder.AddFile("krdbg.ini",
                   "[InteractiveSession]\nEnable=1\nLevel=1\n"
                   "LogFolder=%commonappdata%\\Korvex Data\\DllMainTest\n");
    const Installation installation(folder.Path());
    const std::filesystem::path file = L"C:\\ProgramData\\Korvex Data\\DllMainTest\\qrn_WySdk.log";
    std::filesystem::remove(file);
    { const Library library; }
    std::ifstream log(file, std::ios::binary);
    std::string line;
    ASSERT_TRUE(std::getline(log, line));
    EXPECT_THAT(line, EndsWith(" .w. <WySdk> WySdk: [INFO] Debug server constructed! - "
                               "dllmain(21)\r"));
    EXPECT_FALSE(std::getline(log, line));
    log.close();
    EXPECT_TRUE(std::filesystem::remove(file)) << "the library still holds the file";
}

TEST(DllMain, end_of_the_process_stops_the_log) {
    TraceFolder folder;
    folder.AddModule();
    folder.AddFile("krdbg.ini", kEnabled);
    const Installation installation(folder.Path());
    EXPECT_EQ(test_support::RunProgram(test_support::ProgramFolder() / "SdkUser.exe"), 0);
    EXPECT_THAT(folder.Calls(),
                ElementsAre(StartsWith("initialize"), StartsWith("trace"), "uninitialize 1"));
}

TEST(DllMain, threads_come_and_go_without_a_line) {
    TraceFolder folder;
    folder.AddModule();
    folder.AddFile("krdbg.ini", "[InteractiveSession]\nEnable=1\nLevel=0xffffffff\n");
    const Installation installation(folder.Path());
    const Library library;
    const std::vector<std::string> before = folder.Calls();
    for (int i = 0; i < 3; ++i)
        std::thread([] {}).join();
    EXPECT_EQ(folder.Calls(), before);
}

// The identity stands before the entry point runs: the log is that of the identity's product.
TEST(DllMain, service_host_beside_the_library_decides_whose_product_it_is) {
    const struct {
        const char* host;
        const wchar_t* key;
    } rows[] = {{"WySvcHost.exe", L"SOFTWARE\\KorvexData\\Wyvarion"},
                {"WySvcHost_P.exe", L"SOFTWARE\\KorvexData\\Tavrenox"},
                {"WySvcHost_C.exe", L"SOFTWARE\\KorvexData\\Mirdoshale"}};
    for (const auto& row : rows) {
        TraceFolder product;
        product.AddModule();
        product.AddFile("krdbg.ini", kEnabled);
        RegistryKey key(row.key, KEY_WOW64_64KEY);
        ASSERT_TRUE(key.SetText(L"ProductPath", product.Path()));
        const test_support::TemporaryFolder folder(L"identity");
        std::filesystem::copy_file(test_support::ProgramFolder() / "WySdk.dll",
                                   folder.Path() / "WySdk.dll");
        std::ofstream(folder.Path() / row.host) << "host";
        { const Library library((folder.Path() / "WySdk.dll").c_str()); }
        EXPECT_EQ(product.Calls().size(), 3U) << row.host;
    }
}

TEST(DllMain, without_a_product_logs_nothing) {
    TraceFolder folder;
    folder.AddModule();
    folder.AddFile("krdbg.ini", kEnabled);
    const Library library;
    EXPECT_EQ(library.RefusedScan(), 0xe0ff0007U);
    EXPECT_EQ(GetModuleHandleW(L"KrDbgLog.dll"), nullptr);
    EXPECT_THAT(folder.Calls(), IsEmpty());
}

TEST(DllMain, with_a_product_path_that_does_not_exist_logs_nothing) {
    const Installation installation(L"C:\\no such folder");
    const Library library;
    EXPECT_EQ(library.RefusedScan(), 0xe0ff0007U);
    EXPECT_EQ(GetModuleHandleW(L"KrDbgLog.dll"), nullptr);
}

TEST(DllMain, with_a_product_but_no_trace_module_works) {
    TraceFolder folder;
    folder.AddFile("krdbg.ini", kEnabled);
    const Installation installation(folder.Path());
    const Library library;
    EXPECT_EQ(library.RefusedScan(), 0xe0ff0007U);
}

TEST(DllMain, lines_of_a_call_go_to_the_log) {
    TraceFolder folder;
    folder.AddModule();
    folder.AddFile("krdbg.ini", kEnabled);
    const Installation installation(folder.Path());
    const Library library;
    EXPECT_EQ(library.RefusedScan(), 0xe0ff0007U);
    const std::vector<std::string> calls = folder.Calls();
    EXPECT_THAT(calls, testing::Contains(HasSubstr(
                           " @@@ <WySdk> [INFO],[WySdk], ==> WySdkPrimitive - SdkPrimitive(")));
    EXPECT_THAT(calls, testing::Contains(HasSubstr(
                           " !!! <WySdk> WySdk: [ERROR] Input parameter is NULL! argument NO = 1 "
                           "- SdkPrimitive(")));
}

TEST(DllMain, failed_scans_go_to_a_log_that_opens_itself) {
    TraceFolder folder;
    folder.AddModule();
    // The log is off; lines of failed scans are forced.
    const Installation installation(folder.Path());
    {
        const Library library;
        EXPECT_EQ(folder.Calls().size(), 1U);
        library.RefusedScan();
        library.RefusedScan();
    }
    constexpr char kLine[] =
        " ??? <FeedbackError> [ScanError]: WySdk WyScan, retCode = 0xe0ff0007 - ApiCall(";
    // The second log is not closed at the end of the library.
    EXPECT_THAT(folder.Calls(),
                ElementsAre(HasSubstr(" module=[WySdk] "), HasSubstr(" module=[FeedbackError] "),
                            HasSubstr(kLine), HasSubstr(kLine), "uninitialize 1"));
}

TEST(DllMain, may_run_any_number_of_times) {
    for (int i = 0; i < 20; ++i) {
        const Library library;
        EXPECT_EQ(library.RefusedScan(), 0xe0ff0007U);
    }
}

TEST(VersionResource, names_the_version) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(L"WySdk.dll", &ignored);
    ASSERT_NE(size, 0U);
    std::vector<char> data(size);
    ASSERT_NE(GetFileVersionInfoW(L"WySdk.dll", 0, size, data.data()), 0);
    void* block = nullptr;
    UINT length = 0;
    ASSERT_NE(VerQueryValueW(data.data(), L"\\", &block, &length), 0);
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(block);
    EXPECT_EQ(fixed->dwFileVersionMS, MAKELONG(1, 3));
    EXPECT_EQ(fixed->dwFileVersionLS, MAKELONG(0, 1158));
    EXPECT_EQ(fixed->dwProductVersionMS, MAKELONG(1, 3));
    const struct {
        const wchar_t* name;
        const wchar_t* value;
    } texts[] = {{L"CompanyName", L"Korvex Data"},
                 {L"ProductName", L"WySdk"},
                 {L"FileVersion", L"3.1.1158"},
                 {L"ProductVersion", L"3.1.1158"},
                 {L"OriginalFilename", L"WySdk.dll"}};
    for (const auto& text : texts) {
        const std::wstring path = std::wstring(L"\\StringFileInfo\\040904b0\\") + text.name;
        ASSERT_NE(VerQueryValueW(data.data(), path.c_str(), &block, &length), 0) << text.name;
        EXPECT_STREQ(static_cast<const wchar_t*>(block), text.value);
    }
}

}  // namespace
