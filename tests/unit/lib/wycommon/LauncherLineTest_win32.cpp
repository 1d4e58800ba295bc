// The launcher's command lines, and how the process of the caller decides who starts it.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "lib/wycommon/WyCommon_Launcher.h"
#include "support/AllocationFaults.h"
#include "support/LogRecorder.h"
#include "support/ProgramOutput_win32.h"
#include "support/RegistryKey_win32.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"
#include "unit/lib/wycommon/StartSpies.h"
#include "utilMode/FrwkMode.h"

namespace {

namespace Launcher = WyCommon::Launcher;
using test_support::IatPatch;
using test_support::LogRecorder;
using wycommon_test::StartSpies;

constexpr bool kIs64Bit = sizeof(void*) == 8;
const std::wstring kNull = kIs64Bit ? L"0000000000000000" : L"00000000";

std::wstring Cipher(std::wstring text) {
    EXPECT_TRUE(KrCommon::Cryptograph::EncryptString(text));
    EXPECT_EQ(text.size(), 344U);
    return text;
}

// Starts nothing: a start is refused with 2, and its line kept.
class LauncherLine : public testing::Test {
protected:
    void SetUp() override {
        Frwk::Mode::SetWyvarionId(L"Wyvarion");
        m_Spies.Refuse(ERROR_FILE_NOT_FOUND);
    }
    void TearDown() override { Frwk::Mode::SetWyvarionId({}); }

    std::wstring Line() const {
        return m_Spies.Starts().empty() ? L"no start" : m_Spies.Starts().back().line;
    }

    StartSpies m_Spies;
};

TEST_F(LauncherLine, of_impersonate_has_six_fields) {
    const struct {
        const char* what;
        std::wstring verb, file, params, directory;
    } rows[] = {
        {"all of them", L"open", L"C:\\Program Files\\a.exe", L"-x 1", L"C:\\w"},
        {"nothing but the file", L"", L"a", L"", L""},
        {"quotes stay", L"open", L"\"C:\\a b.exe\"", L"\"one two\" \"", L"\"C:\\w w\""},
        {"comma shifts", L"open", L"C:\\a.exe", L"1,2,,3", L"C:\\w"},
        {"other scripts", L"open", L"C:\\\u00e4.exe", L"\u65e5\u672c \u00fc \U0001f600",
         L"C:\\\u0416"},
        {"percent signs and blanks", L"open", L"C:\\%s.exe", L"  %d %s ", L" "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(Launcher::Impersonate(row.verb, row.file, row.params, nullptr, 0, row.directory,
                                        L"C:\\l\\My Launcher.exe"),
                  0xe0fe0002U);
        EXPECT_EQ(Line(), L"\"C:\\l\\My Launcher.exe\" " + Cipher(row.file) + L"," + row.verb +
                              L"," + row.params + L"," + kNull + L",0," + row.directory);
    }
    EXPECT_EQ(m_Spies.Starts().size(), std::size(rows));
}

TEST_F(LauncherLine, of_impersonate_has_zeros_for_the_ignored_arguments) {
    const int object = 0;
    for (const void* const pointer :
         {static_cast<const void*>(nullptr), static_cast<const void*>(&object)}) {
        for (const std::uint32_t number : {0U, 1U, 0xffffffffU}) {
            Launcher::Impersonate(L"open", L"f", L"p", pointer, number, L"d", L"L");
            EXPECT_EQ(Line(), L"\"L\" " + Cipher(L"f") + L",open,p," + kNull + L",0,d");
        }
    }
}

TEST_F(LauncherLine, of_rundll_has_three_fields) {
    const struct {
        const char* what;
        std::wstring dll, function, params;
    } rows[] = {
        {"all of them", L"C:\\p p\\CustomAct64.dll", L"ForceKillProcessWrapper", L"setup.exe"},
        {"nothing but the library", L"a.dll", L"", L""},
        {"comma shifts", L"a.dll", L"Function", L"1,2"},
        {"quotes stay", L"a.dll", L"\"F\"", L"\"x y\""},
        {"other scripts", L"\u00e4.dll", L"F\u00fc", L"\u65e5\u672c"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(Launcher::RunDll(row.dll, row.function, row.params, L"C:\\L.exe"), 0xe0fe0002U);
        EXPECT_EQ(Line(),
                  L"\"C:\\L.exe\" " + Cipher(row.dll) + L"," + row.function + L"," + row.params);
    }
    EXPECT_EQ(m_Spies.Starts().size(), std::size(rows));
}

TEST_F(LauncherLine, begins_with_the_products_launcher_when_no_path_is_given) {
    const std::wstring folder = test_support::ProgramFolder().wstring();
    const struct {
        const wchar_t* id;
        const wchar_t* productPath;
        std::wstring launcher;
    } rows[] = {
        {L"Wyvarion", nullptr, folder + L"\\WyLauncher.exe"},
        {L"Tavrenox", nullptr, folder + L"\\WyLauncher_P.exe"},
        {L"Mirdoshale", nullptr, folder + L"\\WyLauncher_C.exe"},
        {L"WyLauncherTest", nullptr, folder + L"\\WyLauncher.exe"},
        {L"Wyvarion", L"C:\\Prod uct", L"C:\\Prod uct\\WyLauncher.exe"},
        {L"Tavrenox", L"C:\\Product\\", L"C:\\Product\\WyLauncher_P.exe"},
        {L"Mirdoshale", L"C:\\", L"C:\\WyLauncher_C.exe"},
    };
    const REGSAM view = KEY_WOW64_64KEY;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.launcher.c_str());
        Frwk::Mode::SetWyvarionId(row.id);
        test_support::RegistryKey key(std::wstring(L"SOFTWARE\\KorvexData\\") + row.id, view);
        ASSERT_TRUE(row.productPath == nullptr || key.SetText(L"ProductPath", row.productPath));
        Launcher::Impersonate(L"v", L"f", L"p", nullptr, 0, L"d", L"");
        EXPECT_EQ(Line(),
                  L"\"" + row.launcher + L"\" " + Cipher(L"f") + L",v,p," + kNull + L",0,d");
        Launcher::RunDll(L"d", L"f", L"p", L"");
        EXPECT_EQ(Line(), L"\"" + row.launcher + L"\" " + Cipher(L"d") + L",f,p");
    }
}

TEST_F(LauncherLine, is_not_made_of_a_file_name_that_cannot_be_enciphered) {
    for (const std::wstring& file : {std::wstring(), std::wstring(255, L'x')}) {
        LogRecorder log;
        EXPECT_EQ(Launcher::Impersonate(L"open", file, L"", nullptr, 0, L"", L"L"), 0xe0fe0057U);
        EXPECT_EQ(Launcher::RunDll(file, L"F", L"", L"L"), 0xe0fe0057U);
        EXPECT_EQ(log.CountContaining(
                      L"WyCommon: [ERROR] KrCommon::Cryptograph::EncryptString() failed, 0x57"),
                  2U);
    }
    EXPECT_TRUE(m_Spies.Starts().empty());
    Launcher::RunDll(std::wstring(254, L'x'), L"F", L"", L"L");
    EXPECT_EQ(m_Spies.Starts().size(), 1U);
}

TEST_F(LauncherLine, arguments_are_logged_on_entry) {
    LogRecorder log(KrCommon::LogLevel::kDebug);
    Launcher::Impersonate(L"open", L"f.exe", L"50%s", nullptr, 7, L"d", L"L");
    Launcher::RunDll(L"d.dll", L"F", L"100%", L"L");
    EXPECT_EQ(log.Texts(),
              (std::vector<std::wstring>{
                  L"WyCommon: [DEBUG] Impersonate: [wstrVerb=open][wstrFile=f.exe]"
                  L"[wstrParams=50%s][pReserved=0x0][uiReserved=7][wstrDirectory=d]"
                  L"[wstrLauncherPath=L]",
                  L"WyCommon: [DEBUG] RunDll: [wstrDll=d.dll][wstrFunction=F][wstrParams=100%]"
                  L"[wstrLauncherPath=L]"}));
}

TEST_F(LauncherLine, that_cannot_be_run_is_logged_with_its_code) {
    const struct {
        DWORD code;
        std::uint32_t result;
        std::wstring digits;
    } rows[] = {
        {2, 0xe0fe0002, L"0x2"}, {5, 0xe0fe0005, L"0x5"}, {0x12345, 0xe0fe2345, L"0x12345"}};
    for (const auto& row : rows) {
        LogRecorder log(KrCommon::LogLevel::kError);
        m_Spies.Refuse(row.code);
        EXPECT_EQ(Launcher::RunDll(L"d", L"F", L"%p", L"L"), row.result);
        ASSERT_EQ(log.Lines().size(), 1U);
        EXPECT_EQ(log.Lines()[0].level, 256U);
        EXPECT_EQ(log.Lines()[0].file, "WyCommon_Launcher");
        EXPECT_EQ(log.Lines()[0].text,
                  L"WyCommon: [ERROR] KrCommon::Process::InvokeProcessSynchForConsole() failed. "
                  L"ExitCode=0x0, ErrorCode=" +
                      row.digits + L", wstrCmdline=" + Line());
    }
}

// Needs no memory itself.
BOOL WINAPI StartRefused(LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                         void*, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION*) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
}

TEST_F(LauncherLine, without_memory_gives_a_code_and_starts_nothing) {
    // What is asked once is asked before; there is no log, which needs memory too.
    Launcher::RunDll(L"d", L"F", L"p", L"L");
    const IatPatch quiet(GetModuleHandleW(nullptr), "kernel32.dll", "CreateProcessW", StartRefused);
    const struct {
        const char* what;
        std::uint32_t (*launch)();
    } rows[] = {
        {"impersonate",
         [] { return Launcher::Impersonate(L"open", L"f", L"p", nullptr, 0, L"d", L""); }},
        {"rundll", [] { return Launcher::RunDll(L"d", L"F", L"p", L""); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::set<std::uint32_t> codes;
        constexpr std::size_t kLimit = 1000;
        bool happened = true;
        for (std::size_t passed = 0; happened && passed < kLimit; ++passed) {
            std::uint32_t code = 0;
            {
                const test_support::FailAllocations fault(passed);
                code = row.launch();
                happened = fault.Happened();
            }
            codes.insert(code);
        }
        EXPECT_FALSE(happened);
        // The cipher, the line, and at last the start itself.
        EXPECT_EQ(codes, (std::set<std::uint32_t>{0xe0fe0002, 0xe0fe0008, 0xe0fe0057}));
    }
}

// ---- Who starts it

std::string DecisionOf(const std::string& words) {
    std::string text = test_support::ProgramOutput(
        (test_support::ProgramFolder() / "LauncherProbe.exe").wstring(), "decide " + words);
    std::erase(text, '\r');
    return text;
}

TEST(LauncherDecision, is_made_once_by_session_and_system) {
    const std::string direct =
        "256 WyCommon: [ERROR] KrCommon::Process::InvokeProcessSynchForConsole() failed. "
        "ExitCode=0x0, ErrorCode=0x5\n";
    const std::string asUser =
        "256 *** InvokeProcessOnInteractiveSession() - KrCommon::Process::InvokeProcessAsUser() "
        "failed. [0x00000522]\n"
        "256 WyCommon: [ERROR] InvokeProcessOnInteractiveSession() failed, 0x522\n";
    const std::string startedDirectly = "started directly\ne0fe0005\n";
    const std::string startedAsUser = "started as the user\ne0fe0522\n";
    const std::string warning =
        "16 WyCommon: [WARN] KrCommon::Process::GetProcessSessionId failed... Error: ";
    const std::string twiceDirect = startedDirectly + startedDirectly;
    const std::string twiceAsUser = startedAsUser + startedAsUser;
    const std::string noConsole = "256 WyCommon: [ERROR] GetActiveSessionId() failed, 0x7f\n";
    const struct {
        const char* words;
        std::string answer;
    } rows[] = {
        // A second question would be answered with another session.
        {"impersonate 0 10.0 refuse", twiceAsUser + "questions 1\n" + asUser + asUser},
        {"impersonate 0 6.0 refuse", twiceAsUser + "questions 1\n" + asUser + asUser},
        {"impersonate 0 5.2 refuse", twiceDirect + "questions 1\n" + direct + direct},
        {"impersonate 1 10.0 refuse", twiceDirect + "questions 1\n" + direct + direct},
        {"impersonate -1 10.0 refuse", twiceDirect + "questions 1\n" + direct + direct},
        {"rundll 0 10.0 refuse", twiceDirect + "questions 1\n" + direct + direct},
        {"impersonate fail 10.0 refuse",
         twiceDirect + "questions 1\n" + warning + "0x57\n" + direct + direct},
        {"impersonate none 10.0 refuse",
         twiceDirect + "questions 0\n" + warning + "0x7f\n" + direct + direct},
        {"impersonate 0 10.0 no-console",
         "e0fe007f\ne0fe007f\nquestions 1\n" + noConsole + noConsole},
        {"rundll 0 10.0 no-console", twiceDirect + "questions 1\n" + direct + direct},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DecisionOf(row.words), row.answer) << row.words;
}

TEST(LauncherDecision, launcher_of_a_service_is_waited_for_as_the_user) {
    const test_support::TemporaryFolder folder(L"WyLauncherDecision");
    const std::filesystem::path launcher = folder.Path() / "L.exe";
    std::filesystem::copy_file(test_support::ProgramFolder() / "LauncherStandin.exe", launcher);
    EXPECT_EQ(DecisionOf("impersonate 0 10.0 " + launcher.string()),
              "waited ffffffff\n20ff0000\nwaited ffffffff\n20ff0000\nquestions 1\n");
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "L.exe.asked.txt"));
}

}  // namespace
