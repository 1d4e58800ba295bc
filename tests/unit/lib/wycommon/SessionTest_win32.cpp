// The active session and the token of its user.

#include "lib/wycommon/WyCommon_Session.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "support/ProgramOutput_win32.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"
#include "unit/lib/wycommon/LookupStandIns.h"
#include "unit/lib/wycommon/TestChild.h"

namespace {

namespace Utility = WyCommon::Utility;
using test_support::IatPatch;
using test_support::LogRecorder;
using wycommon_test::Child;
using wycommon_test::Lookups;

// ---- GetActiveSessionId

TEST(ActiveSession, is_that_of_the_console) {
    Lookups lookups;
    std::uint32_t id = 77;
    std::uint32_t error = 77;
    EXPECT_TRUE(Utility::GetActiveSessionId(id, &error));
    EXPECT_EQ(id, WTSGetActiveConsoleSessionId());
    EXPECT_EQ(error, 0U);
    EXPECT_TRUE(Utility::GetActiveSessionId(id, nullptr));
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

DWORD WINAPI NoSession() {
    return 0xffffffff;
}

TEST(ActiveSession, none_at_the_console_is_an_answer) {
    Lookups lookups;
    lookups.Give("WTSGetActiveConsoleSessionId", NoSession);
    std::uint32_t id = 77;
    std::uint32_t error = 77;
    EXPECT_TRUE(Utility::GetActiveSessionId(id, &error));
    EXPECT_EQ(id, Utility::kNoSession);
    EXPECT_EQ(error, 0U);
}

TEST(ActiveSession, function_that_cannot_be_found_gives_the_systems_code) {
    const struct {
        DWORD moduleError;  // 0: the module has no such function
        std::uint32_t error;
    } rows[] = {
        {0, 127},
        {126, 126},
        {1114, 1114},
        {5, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.error);
        Lookups lookups;
        if (row.moduleError != 0) {
            lookups.HideModule(L"kernel32.dll", row.moduleError);
        } else {
            lookups.Hide("WTSGetActiveConsoleSessionId");
        }
        std::uint32_t id = 77;
        std::uint32_t error = 77;
        EXPECT_FALSE(Utility::GetActiveSessionId(id, &error));
        EXPECT_EQ(id, Utility::kNoSession);
        EXPECT_EQ(error, row.error);
        EXPECT_FALSE(Utility::GetActiveSessionId(id, nullptr));
        EXPECT_EQ(lookups.LeftLoaded(), 0);
    }
}

// The version is asked once in the life of a process, so that each row has its own. The system
// account is that of the running system: never under Wine.
TEST(ActiveSession, and_system_account_on_old_systems) {
    const struct {
        const char* system;
        const char* answers;
    } rows[] = {
        {"4.0", "session 0 -1 error 0; token 0 0 error 0; system 0 0"},
        {"5.0", "session 0 -1 error 0; token 0 0 error 0; system 1 0"},
        {"5.1", "session 1 1 error 0; token 1 1 error 0; system 1 0"},
        {"fail", "session 0 -1 error 5; token 0 0 error 5; system 0 0"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(test_support::ProgramOutput(
                      (test_support::ProgramFolder() / "UtilityProbe.exe").wstring(), row.system),
                  row.answers)
            << row.system;
    }
}

// ---- GetSessionUserToken

std::vector<ULONG> s_AskedSessions;
HANDLE s_hToken = nullptr;

BOOL WINAPI TokenGiven(ULONG session, HANDLE* token) {
    s_AskedSessions.push_back(session);
    *token = s_hToken;
    SetLastError(ERROR_PRIVILEGE_NOT_HELD);
    return s_hToken != nullptr;
}
DWORD WINAPI SessionFive() {
    return 5;
}

class SessionToken : public testing::Test {
protected:
    void SetUp() override {
        s_AskedSessions.clear();
        ASSERT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &s_hToken), 0);
        m_Lookups.Give("WTSQueryUserToken", TokenGiven);
    }
    void TearDown() override {
        if (s_hToken != nullptr)
            CloseHandle(s_hToken);
        EXPECT_EQ(m_Lookups.LeftLoaded(), 0);
    }
    static void RefuseTokens() {
        CloseHandle(s_hToken);
        s_hToken = nullptr;
    }

    Lookups m_Lookups;
};

TEST_F(SessionToken, is_the_one_that_the_system_has) {
    void* token = nullptr;
    EXPECT_TRUE(Utility::GetSessionUserToken(3, token));
    EXPECT_EQ(token, s_hToken);
    EXPECT_EQ(s_AskedSessions, (std::vector<ULONG>{3}));
}

TEST_F(SessionToken, no_session_stands_for_the_active_one) {
    LogRecorder log;
    m_Lookups.Give("WTSGetActiveConsoleSessionId", SessionFive);
    void* token = nullptr;
    EXPECT_TRUE(Utility::GetSessionUserToken(Utility::kNoSession, token));
    EXPECT_EQ(s_AskedSessions, (std::vector<ULONG>{5}));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(SessionToken, unknown_active_session_is_taken_for_the_first) {
    LogRecorder log;
    void* token = nullptr;
    m_Lookups.Hide("WTSGetActiveConsoleSessionId");
    EXPECT_TRUE(Utility::GetSessionUserToken(Utility::kNoSession, token));
    m_Lookups.Give("WTSGetActiveConsoleSessionId", NoSession);
    EXPECT_TRUE(Utility::GetSessionUserToken(Utility::kNoSession, token));
    EXPECT_EQ(s_AskedSessions, (std::vector<ULONG>{1, 1}));
    const std::vector<LogRecorder::Line> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, L"failed to get active session ID, ErrorCode=0x0000007F");
    EXPECT_EQ(lines[1].text, L"failed to get active session ID, ErrorCode=0x00000000");
    for (const LogRecorder::Line& line : lines) {
        EXPECT_EQ(line.level, 1U);
        EXPECT_EQ(line.file, "WyCommon_Utility");
    }
}

// ---- the shell's token

constexpr ULONG kShellSession = 7;
constexpr ULONG kEmptySession = 8;

std::vector<DWORD> s_ShellIds;  // the processes that belong to kShellSession
std::vector<DWORD> s_OpenedIds;
int s_iTokensToRefuse = 0;

BOOL WINAPI SessionOfProcess(DWORD id, DWORD* session) {
    const bool inSession = std::find(s_ShellIds.begin(), s_ShellIds.end(), id) != s_ShellIds.end();
    *session = inSession ? kShellSession : 1;
    return TRUE;
}
BOOL WINAPI NoSessionOfProcess(DWORD, DWORD*) {
    return FALSE;
}
HANDLE WINAPI SnapshotRefused(DWORD, DWORD) {
    return INVALID_HANDLE_VALUE;
}

const IatPatch* s_pProcessPatch = nullptr;
const IatPatch* s_pTokenPatch = nullptr;

HANDLE WINAPI ProcessOpened(DWORD access, BOOL inherit, DWORD id) {
    s_OpenedIds.push_back(id);
    return s_pProcessPatch->Original<HANDLE WINAPI(DWORD, BOOL, DWORD)>()(access, inherit, id);
}
BOOL WINAPI ProcessTokenOpened(HANDLE process, DWORD access, HANDLE* token) {
    if (s_iTokensToRefuse > 0) {
        --s_iTokensToRefuse;
        return FALSE;
    }
    return s_pTokenPatch->Original<BOOL WINAPI(HANDLE, DWORD, HANDLE*)>()(process, access, token);
}

class ShellToken : public SessionToken {
protected:
    ShellToken() {
        s_pProcessPatch = &m_Process;
        s_pTokenPatch = &m_Token;
    }
    void SetUp() override {
        SessionToken::SetUp();
        RefuseTokens();
        s_ShellIds.clear();
        s_OpenedIds.clear();
        s_iTokensToRefuse = 0;
    }
    void AddShell(const Child& child) {
        ASSERT_TRUE(child.IsStarted());
        s_ShellIds.push_back(child.Id());
    }
    static HMODULE Program() { return GetModuleHandleW(nullptr); }

    test_support::TemporaryFolder m_Folder{L"wy_shell"};
    IatPatch m_Session{Program(), "kernel32.dll", "ProcessIdToSessionId", SessionOfProcess};
    IatPatch m_Process{Program(), "kernel32.dll", "OpenProcess", ProcessOpened};
    IatPatch m_Token{Program(), "advapi32.dll", "OpenProcessToken", ProcessTokenOpened};
};

TEST_F(ShellToken, is_taken_where_the_system_gives_none) {
    const Child shell(m_Folder.Path() / "EXPLORER.exe");
    AddShell(shell);
    void* token = nullptr;
    ASSERT_TRUE(Utility::GetSessionUserToken(kShellSession, token));
    EXPECT_EQ(s_AskedSessions, (std::vector<ULONG>{kShellSession}));
    EXPECT_EQ(s_OpenedIds, (std::vector<DWORD>{shell.Id()}));
    // It serves for all that a session's token is wanted for.
    HANDLE copy = nullptr;
    EXPECT_NE(
        DuplicateTokenEx(token, TOKEN_QUERY, nullptr, SecurityImpersonation, TokenPrimary, &copy),
        0);
    CloseHandle(copy);
    EXPECT_NE(ImpersonateLoggedOnUser(token), 0);
    RevertToSelf();
    CloseHandle(token);
}

TEST_F(ShellToken, is_taken_without_the_terminal_services) {
    const Child shell(m_Folder.Path() / "Explorer.exe");
    AddShell(shell);
    m_Lookups.HideModule(L"wtsapi32.dll", ERROR_MOD_NOT_FOUND);
    void* token = nullptr;
    EXPECT_TRUE(Utility::GetSessionUserToken(kShellSession, token));
    CloseHandle(token);
    m_Lookups.Hide("WTSQueryUserToken");
    EXPECT_TRUE(Utility::GetSessionUserToken(kShellSession, token));
    CloseHandle(token);
    EXPECT_TRUE(s_AskedSessions.empty());
}

TEST_F(ShellToken, other_programs_and_other_sessions_do_not_count) {
    const Child shell(m_Folder.Path() / "Explorer.exe");
    const Child other(m_Folder.Path() / "MyExplorer.exe");
    AddShell(other);
    void* token = s_ShellIds.data();
    EXPECT_FALSE(Utility::GetSessionUserToken(kShellSession, token));
    EXPECT_EQ(token, nullptr);
    AddShell(shell);
    EXPECT_FALSE(Utility::GetSessionUserToken(kEmptySession, token));
    EXPECT_TRUE(s_OpenedIds.empty());
    const IatPatch unknown(Program(), "kernel32.dll", "ProcessIdToSessionId", NoSessionOfProcess);
    EXPECT_FALSE(Utility::GetSessionUserToken(kShellSession, token));
}

TEST_F(ShellToken, second_shell_is_asked_when_the_first_refuses) {
    const Child first(m_Folder.Path() / "a" / "Explorer.exe");
    const Child second(m_Folder.Path() / "b" / "Explorer.exe");
    AddShell(first);
    AddShell(second);
    s_iTokensToRefuse = 1;
    void* token = nullptr;
    EXPECT_TRUE(Utility::GetSessionUserToken(kShellSession, token));
    EXPECT_EQ(s_OpenedIds.size(), 2U);
    CloseHandle(token);
    s_iTokensToRefuse = 2;
    EXPECT_FALSE(Utility::GetSessionUserToken(kShellSession, token));
    EXPECT_EQ(token, nullptr);
}

TEST_F(ShellToken, processes_that_cannot_be_listed_give_none) {
    const Child shell(m_Folder.Path() / "Explorer.exe");
    AddShell(shell);
    const IatPatch refused(Program(), "kernel32.dll", "CreateToolhelp32Snapshot", SnapshotRefused);
    void* token = s_ShellIds.data();
    EXPECT_FALSE(Utility::GetSessionUserToken(kShellSession, token));
    EXPECT_EQ(token, nullptr);
}

}  // namespace
