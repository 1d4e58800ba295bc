// A program started as the user of a session: what the system is asked, each failing call with its
// line, and nothing held back: no handle, no environment, no module, no identity.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_TerminalService.h"
#include "Common/KrCommon/KrComn_WindowStation.h"
#include "support/LogRecorder.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"
#include "unit/lib/wycommon/SessionScene.h"

namespace {

using KrCommon::WindowStation::InvokeProcessOnInteractiveSession;
using test_support::ProcessFigures;
using namespace wycommon_test;

constexpr ULONG kSession = 77;
const std::wstring kHead = L"*** InvokeProcessOnInteractiveSession() - ";

struct Outcome {
    bool succeeded = false;
    std::uint32_t error = 77;
    std::vector<std::wstring> lines;
    std::int64_t handlesLeft = 77;
};

std::wstring Line(const wchar_t* words) {
    return L"\"" + (test_support::ProgramFolder() / "LauncherProbe.exe").wstring() + L"\" " + words;
}

// Calls, and looks that nothing is left behind.
Outcome Invoke(Scene& scene, const bool* wait, const wchar_t* words = L"exit 3") {
    const std::wstring line = Line(words);
    test_support::LogRecorder log;
    s_iEnvironments = 0;
    const ProcessFigures before = ProcessFigures::Now();
    Outcome outcome;
    outcome.succeeded = InvokeProcessOnInteractiveSession(line, kSession, wait, &outcome.error);
    outcome.handlesLeft = (ProcessFigures::Now() - before).handles;
    EXPECT_EQ(s_iEnvironments, 0);
    EXPECT_EQ(scene.lookups.LeftLoaded(), 0);
    EXPECT_EQ(ThreadTokenError(), 1008U);
    for (const auto& logged : log.Lines()) {
        EXPECT_EQ(logged.level, 256U);
        EXPECT_EQ(logged.file, "KrComn_WindowStation");
        outcome.lines.push_back(logged.text);
    }
    return outcome;
}

class InteractiveSession : public testing::Test {
protected:
    static void SetUpTestSuite() {
        FindRealFunctions();
        const bool wait = true;
        InvokeProcessOnInteractiveSession(Line(L"exit 0"), kSession, &wait, nullptr);
    }
};

// What all starts ask.
void ExpectAsUser(const Start& start, const std::wstring& line) {
    EXPECT_FALSE(start.program.has_value());
    EXPECT_EQ(start.line, line);
    EXPECT_TRUE(start.hasKindOfProcess);
    EXPECT_FALSE(start.hasThreadAttributes);
    EXPECT_EQ(start.inherits, FALSE);
    EXPECT_EQ(start.flags, 0x600U);
    EXPECT_EQ(start.environment, s_pEnvironment);
    EXPECT_NE(start.environment, nullptr);
    EXPECT_FALSE(start.directory.has_value());
    EXPECT_EQ(start.startup.cb, sizeof(void*) == 8 ? 104U : 68U);
    EXPECT_EQ(start.startup.dwFlags, 0U);
    EXPECT_EQ(start.startup.wShowWindow, 5);
    EXPECT_EQ(start.startup.lpDesktop, nullptr);
    EXPECT_TRUE(start.isImpersonating);
}

TEST_F(InteractiveSession, program_starts_with_token_and_environment_of_its_user) {
    Scene scene;
    const bool wait = true;
    const Outcome outcome = Invoke(scene, &wait);
    EXPECT_TRUE(outcome.succeeded);
    EXPECT_EQ(outcome.handlesLeft, 0);
    EXPECT_EQ(outcome.error, 0U);
    EXPECT_TRUE(outcome.lines.empty());
    EXPECT_EQ(s_uiAskedSession, kSession);
    EXPECT_EQ(s_uiDuplicateAccess, 0xf01ffU);
    EXPECT_EQ(s_DuplicateType, TokenPrimary);
    EXPECT_FALSE(s_bDuplicateHasAttributes);
    EXPECT_EQ(s_hEnvironmentToken, s_hDuplicate);
    EXPECT_EQ(s_bEnvironmentInherits, FALSE);
    EXPECT_TRUE(s_bEnvironmentMadeAsUser);
    EXPECT_TRUE(s_bEnvironmentFreedAsUser);
    ASSERT_EQ(scene.starts.Starts().size(), 1U);
    EXPECT_EQ(scene.starts.Starts()[0].token, s_hDuplicate);
    ExpectAsUser(scene.starts.Starts()[0], Line(L"exit 3"));
    EXPECT_EQ(scene.waits.Limits(), std::vector<DWORD>{0xffffffff});
}

TEST_F(InteractiveSession, program_is_waited_for_only_when_asked) {
    const bool no = false;
    for (const bool* const wait : {&no, static_cast<const bool*>(nullptr)}) {
        Scene scene;
        const Outcome outcome = Invoke(scene, wait, L"exit 0 300");
        EXPECT_TRUE(outcome.succeeded);
        EXPECT_EQ(outcome.handlesLeft, 0);
        EXPECT_EQ(outcome.error, 0U);
        EXPECT_TRUE(scene.waits.Limits().empty());
        ASSERT_EQ(scene.starts.Starts().size(), 1U);
    }
}

TEST_F(InteractiveSession, error_is_optional) {
    Scene scene;
    EXPECT_TRUE(InvokeProcessOnInteractiveSession(Line(L"exit 0"), kSession, nullptr, nullptr));
    scene.starts.Refuse(ERROR_ACCESS_DENIED);
    EXPECT_FALSE(InvokeProcessOnInteractiveSession(Line(L"exit 0"), kSession, nullptr, nullptr));
}

struct Row {
    const char* what;
    void (*arrange)(Scene&);
    std::uint32_t error;
    std::vector<std::wstring> lines;  // behind their common beginning
    std::size_t starts;
};

Outcome ExpectOutcome(const Row& row) {
    Scene scene;
    row.arrange(scene);
    const bool wait = true;
    const Outcome outcome = Invoke(scene, &wait);
    EXPECT_EQ(outcome.succeeded, row.error == 0);
    EXPECT_EQ(outcome.error, row.error);
    std::vector<std::wstring> lines;
    for (const std::wstring& line : row.lines)
        lines.push_back(kHead + line);
    EXPECT_EQ(outcome.lines, lines);
    EXPECT_EQ(scene.starts.Starts().size(), row.starts);
    return outcome;
}

// What the system opens for the process itself shows in one call; what the call loses, in each.
void ExpectRow(const Row& row) {
    SCOPED_TRACE(row.what);
    const bool isFirstClean = ExpectOutcome(row).handlesLeft == 0;
    EXPECT_TRUE(isFirstClean || ExpectOutcome(row).handlesLeft == 0);
}

#define QUERY_FAILED L"KrCommon::TerminalService::QuerySessionUserToken() failed. "
#define SHELL_FAILED L"KrCommon::AccessControl::QueryUserToken() failed. "
#define START_FAILED L"KrCommon::TerminalService::StartImpersonateLoggedOnUser() failed. "
#define INVOKE_FAILED L"KrCommon::Process::InvokeProcessAsUser() failed. "
#define END_FAILED L"KrCommon::TerminalService::EndImpersonateLoggedOnUser() failed. "

void RefuseQuery(Scene& scene) {
    scene.lookups.Give("WTSQueryUserToken", QueryRefused);
}

TEST_F(InteractiveSession, token_that_the_session_does_not_give_is_that_of_the_shell) {
    const Row rows[] = {
        {"refused", RefuseQuery, 0, {QUERY_FAILED L"[0x00000522]"}, 1},
        {"no module",
         [](Scene& scene) { scene.lookups.HideModule(L"wtsapi32.dll", 126); },
         0,
         {QUERY_FAILED L"[0x0000007e]"},
         1},
        {"no function",
         [](Scene& scene) { scene.lookups.Hide("WTSQueryUserToken"); },
         0,
         {QUERY_FAILED L"[0x0000007f]"},
         1},
        {"not duplicated",
         [](Scene& scene) { scene.Patch("advapi32.dll", "DuplicateTokenEx", DuplicateRefused); },
         0,
         {QUERY_FAILED L"[0x00000005]"},
         1},
    };
    for (const Row& row : rows)
        ExpectRow(row);
}

TEST_F(InteractiveSession, without_any_token_nothing_is_started) {
    const std::wstring refused = QUERY_FAILED L"[0x00000522]";
    const Row rows[] = {
        {"processes cannot be listed",
         [](Scene& scene) {
             RefuseQuery(scene);
             scene.Patch("kernel32.dll", "CreateToolhelp32Snapshot", SnapshotRefused);
         },
         8,
         {refused, SHELL_FAILED L"[0x00000008]"},
         0},
        {"no process",
         [](Scene& scene) {
             RefuseQuery(scene);
             scene.Patch("kernel32.dll", "Process32FirstW", NoMoreProcesses);
         },
         1168,
         {refused, SHELL_FAILED L"[0x00000490]"},
         0},
        {"no shell",
         [](Scene& scene) {
             RefuseQuery(scene);
             s_wszRunning = L"MyExplorer.exe";
         },
         1168,
         {refused, SHELL_FAILED L"[0x00000490]"},
         0},
        {"shell cannot be opened",
         [](Scene& scene) {
             RefuseQuery(scene);
             scene.Patch("kernel32.dll", "OpenProcess", OpenRefused);
         },
         87,
         {refused, SHELL_FAILED L"[0x00000057]"},
         0},
        {"shell does not give its token",
         [](Scene& scene) {
             RefuseQuery(scene);
             scene.Patch("advapi32.dll", "OpenProcessToken", ProcessTokenRefused);
         },
         5,
         {refused, SHELL_FAILED L"[0x00000005]"},
         0},
    };
    for (const Row& row : rows)
        ExpectRow(row);
}

TEST_F(InteractiveSession, token_that_is_none_is_refused) {
    const std::wstring refused = QUERY_FAILED L"[0x00000522]";
    const Row rows[] = {
        {"0 of the session",
         [](Scene& scene) { scene.Patch("advapi32.dll", "DuplicateTokenEx", DuplicateIsNull); },
         6,
         {L"hUserToken was invalid. [0]"},
         0},
        {"-1 of the session",
         [](Scene& scene) { scene.Patch("advapi32.dll", "DuplicateTokenEx", DuplicateIsInvalid); },
         6,
         {L"hUserToken was invalid. [-1]"},
         0},
        {"0 of the shell",
         [](Scene& scene) {
             RefuseQuery(scene);
             scene.Patch("advapi32.dll", "OpenProcessToken", ProcessTokenIsNull);
         },
         6,
         {refused, L"hUserToken was invalid. [0]"},
         0},
        {"-1 of the shell",
         [](Scene& scene) {
             RefuseQuery(scene);
             scene.Patch("advapi32.dll", "OpenProcessToken", ProcessTokenIsInvalid);
         },
         6,
         {refused, L"hUserToken was invalid. [-1]"},
         0},
    };
    for (const Row& row : rows)
        ExpectRow(row);
}

TEST_F(InteractiveSession, identity_that_cannot_be_taken_on_is_given_back) {
    const Row rows[] = {
        {"no module",
         [](Scene& scene) { scene.lookups.HideModule(L"userenv.dll", 126); },
         126,
         {START_FAILED L"[0x0000007e]"},
         0},
        {"no function that makes",
         [](Scene& scene) { scene.lookups.Hide("CreateEnvironmentBlock"); },
         127,
         {START_FAILED L"[0x0000007f]"},
         0},
        {"no function that frees",
         [](Scene& scene) { scene.lookups.Hide("DestroyEnvironmentBlock"); },
         127,
         {START_FAILED L"[0x0000007f]"},
         0},
        {"no impersonation",
         [](Scene& scene) {
             scene.Patch("advapi32.dll", "ImpersonateLoggedOnUser", ImpersonateRefused);
         },
         1346,
         {START_FAILED L"[0x00000542]"},
         0},
        {"no environment",
         [](Scene& scene) { scene.lookups.Give("CreateEnvironmentBlock", EnvironmentRefused); },
         3,
         {START_FAILED L"[0x00000003]"},
         0},
        {"no environment, and no way back",
         [](Scene& scene) {
             scene.lookups.Give("CreateEnvironmentBlock", EnvironmentRefused);
             scene.Patch("advapi32.dll", "RevertToSelf", RevertRefused);
         },
         3,
         {START_FAILED L"[0x00000003]"},
         0},
    };
    for (const Row& row : rows)
        ExpectRow(row);
}

TEST_F(InteractiveSession, start_or_wait_that_fails_is_a_failure) {
    const Row rows[] = {
        {"start refused",
         [](Scene& scene) { scene.starts.Refuse(ERROR_PRIVILEGE_NOT_HELD); },
         1314,
         {INVOKE_FAILED L"[0x00000522]"},
         1},
        {"wait failed",
         [](Scene& scene) { scene.waits.Answer(WAIT_FAILED, ERROR_INVALID_HANDLE); },
         6,
         {INVOKE_FAILED L"[0x00000006]"},
         1},
        {"wait timed out",
         [](Scene& scene) { scene.waits.Answer(WAIT_TIMEOUT, ERROR_INVALID_HANDLE); },
         258,
         {INVOKE_FAILED L"[0x00000102]"},
         1},
        {"wait abandoned",
         [](Scene& scene) { scene.waits.Answer(WAIT_ABANDONED, ERROR_INVALID_HANDLE); },
         128,
         {INVOKE_FAILED L"[0x00000080]"},
         1},
        {"start refused, and no way back",
         [](Scene& scene) {
             scene.starts.Refuse(ERROR_PRIVILEGE_NOT_HELD);
             scene.Patch("advapi32.dll", "RevertToSelf", RevertRefused);
         },
         1314,
         {INVOKE_FAILED L"[0x00000522]", END_FAILED L"[0x0000051b]"},
         1},
    };
    for (const Row& row : rows)
        ExpectRow(row);
}

TEST_F(InteractiveSession, end_that_fails_is_logged_and_changes_nothing) {
    const Row rows[] = {
        {"environment not freed",
         [](Scene& scene) { scene.lookups.Give("DestroyEnvironmentBlock", FreedAndRefused); },
         0,
         {END_FAILED L"[0x0000001f]"},
         1},
        {"not reverted",
         [](Scene& scene) { scene.Patch("advapi32.dll", "RevertToSelf", RevertRefused); },
         0,
         {END_FAILED L"[0x0000051b]"},
         1},
        {"neither",
         [](Scene& scene) {
             scene.lookups.Give("DestroyEnvironmentBlock", FreedAndRefused);
             scene.Patch("advapi32.dll", "RevertToSelf", RevertRefused);
         },
         0,
         {END_FAILED L"[0x0000051b]"},
         1},
    };
    for (const Row& row : rows)
        ExpectRow(row);
}

// ---- The environment by itself

TEST_F(InteractiveSession, environment_is_made_and_freed_by_a_module_that_is_bound) {
    Lookups lookups;
    {
        KrCommon::TerminalService::UserEnvironment environment;
        std::uint32_t error = 77;
        EXPECT_TRUE(environment.Destroy(&error));  // nothing is there
        EXPECT_EQ(error, 0U);
        EXPECT_FALSE(environment.Create(nullptr, &error));
        EXPECT_EQ(error, 6U);
        lookups.Give("CreateEnvironmentBlock", MakeEnvironment);
        lookups.Give("DestroyEnvironmentBlock", FreeEnvironment);
        ASSERT_TRUE(environment.Initialize(&error));
        HANDLE token = nullptr;
        ASSERT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &token), 0);
        s_iEnvironments = 0;
        EXPECT_TRUE(environment.Create(token, &error));
        EXPECT_EQ(error, 0U);
        EXPECT_NE(environment.Get(), nullptr);
        EXPECT_EQ(s_iEnvironments, 1);
        CloseHandle(token);
    }
    // The object has freed what it held.
    EXPECT_EQ(s_iEnvironments, 0);
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

}  // namespace
