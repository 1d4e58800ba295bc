// Starting programs: what the system is asked, what is waited for, and each failure's code.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Process.h"
#include "support/LogRecorder.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"
#include "unit/lib/wycommon/LookupStandIns.h"
#include "unit/lib/wycommon/StartSpies.h"

namespace {

namespace Process = KrCommon::Process;
using test_support::IatPatch;
using test_support::LogRecorder;
using test_support::ProcessFigures;
using wycommon_test::Lookups;
using wycommon_test::Start;
using wycommon_test::StartSpies;
using wycommon_test::WaitSpy;

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

std::wstring LineOf(const std::wstring& words) {
    return L"\"" + (test_support::ProgramFolder() / "LauncherProbe.exe").wstring() + L"\" " + words;
}

std::wstring FolderAbove() {
    return test_support::ProgramFolder().parent_path().wstring();
}

// What both ways of a hidden start ask.
void ExpectHidden(const Start& start, const std::wstring& line) {
    EXPECT_EQ(start.line, line);
    EXPECT_EQ(start.token, nullptr);
    EXPECT_FALSE(start.program.has_value());
    EXPECT_TRUE(start.hasKindOfProcess);
    EXPECT_FALSE(start.hasThreadAttributes);
    EXPECT_EQ(start.inherits, FALSE);
    EXPECT_EQ(start.flags, 0x8000200U);
    EXPECT_EQ(start.environment, nullptr);
    EXPECT_EQ(start.startup.cb, sizeof(void*) == 8 ? 104U : 68U);
    EXPECT_EQ(start.startup.dwFlags, 1U);
    EXPECT_EQ(start.startup.wShowWindow, 0);
    EXPECT_EQ(start.startup.lpDesktop, nullptr);
    EXPECT_FALSE(start.isImpersonating);
}

// ---- InvokeProcess

TEST(InvokeProcess, starts_hidden_and_returns_while_the_program_runs) {
    StartSpies starts;
    WaitSpy waits;
    LogRecorder log;
    const std::wstring line = LineOf(L"exit 0 500");
    const ProcessFigures before = ProcessFigures::Now();
    std::uint32_t error = 77;
    EXPECT_TRUE(Process::InvokeProcess(line, L"", &error));
    EXPECT_EQ(error, 0U);
    EXPECT_EQ((ProcessFigures::Now() - before).handles, 0);
    EXPECT_TRUE(waits.Limits().empty());
    ASSERT_EQ(starts.Starts().size(), 1U);
    ExpectHidden(starts.Starts()[0], line);
    EXPECT_FALSE(starts.Starts()[0].directory.has_value());
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_TRUE(Process::InvokeProcess(LineOf(L"exit 0"), FolderAbove(), nullptr));
    EXPECT_EQ(starts.Starts()[1].directory, FolderAbove());
}

TEST(InvokeProcess, failure_is_logged_and_has_the_systems_code) {
    const ProcessFigures before = ProcessFigures::Now();
    LogRecorder log;
    std::uint32_t error = 77;
    EXPECT_FALSE(Process::InvokeProcess(L"\"C:\\no such program.exe\" x", L"", &error));
    EXPECT_EQ(error, 2U);
    EXPECT_TRUE(
        log.Has(256, L"KrCommon::Process::InvokeProcess() failed. ExitCode=0x0,ErrorCode=0x2"));
    EXPECT_FALSE(Process::InvokeProcess(LineOf(L"exit 0"), L"C:\\no such folder", &error));
    EXPECT_EQ(error, 267U);
    EXPECT_TRUE(
        log.Has(256, L"KrCommon::Process::InvokeProcess() failed. ExitCode=0x0,ErrorCode=0x10b"));
    EXPECT_FALSE(Process::InvokeProcess(L"", L"", nullptr));
    EXPECT_EQ(log.Lines().size(), 3U);
    EXPECT_EQ((ProcessFigures::Now() - before).handles, 0);
}

// ---- InvokeProcessSynchForConsole

TEST(InvokeProcessSynch, starts_hidden_and_waits_without_a_limit) {
    StartSpies starts;
    WaitSpy waits;
    LogRecorder log;
    const std::wstring line = LineOf(L"exit 7 300");
    const ProcessFigures before = ProcessFigures::Now();
    std::uint32_t exitCode = 77;
    std::uint32_t error = 77;
    EXPECT_TRUE(Process::InvokeProcessSynchForConsole(line, L"", &exitCode, &error));
    EXPECT_EQ(exitCode, 7U);
    EXPECT_EQ(error, 0U);
    EXPECT_EQ((ProcessFigures::Now() - before).handles, 0);
    EXPECT_EQ(waits.Limits(), std::vector<DWORD>{0xffffffff});
    ASSERT_EQ(starts.Starts().size(), 1U);
    ExpectHidden(starts.Starts()[0], line);
    EXPECT_FALSE(starts.Starts()[0].directory.has_value());
    EXPECT_TRUE(
        Process::InvokeProcessSynchForConsole(LineOf(L"exit 1"), FolderAbove(), nullptr, nullptr));
    EXPECT_EQ(starts.Starts()[1].directory, FolderAbove());
    EXPECT_TRUE(log.Lines().empty());
}

BOOL WINAPI ExitCodeRefused(HANDLE, DWORD* code) {
    *code = 55;
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST(InvokeProcessSynch, failure_of_each_call_has_its_code_and_leaves_no_handle) {
    const ProcessFigures before = ProcessFigures::Now();
    std::uint32_t exitCode = 77;
    std::uint32_t error = 77;
    EXPECT_FALSE(Process::InvokeProcessSynchForConsole(L"\"C:\\no such program.exe\"", L"",
                                                       &exitCode, &error));
    EXPECT_EQ(exitCode, 0U);
    EXPECT_EQ(error, 2U);
    const std::wstring line = LineOf(L"exit 7");
    {
        WaitSpy waits;
        waits.Answer(WAIT_FAILED, ERROR_INVALID_HANDLE);
        exitCode = 77;
        EXPECT_FALSE(Process::InvokeProcessSynchForConsole(line, L"", &exitCode, &error));
        EXPECT_EQ(exitCode, 0U);
        EXPECT_EQ(error, 6U);
    }
    {
        const IatPatch patch(Program(), "kernel32.dll", "GetExitCodeProcess", ExitCodeRefused);
        exitCode = 77;
        EXPECT_FALSE(Process::InvokeProcessSynchForConsole(line, L"", &exitCode, &error));
        EXPECT_EQ(exitCode, 0U);
        EXPECT_EQ(error, 5U);
    }
    EXPECT_EQ((ProcessFigures::Now() - before).handles, 0);
}

TEST(InvokeProcessSynch, failure_without_a_code_is_a_failure) {
    WaitSpy waits;
    waits.Answer(WAIT_FAILED, ERROR_SUCCESS);
    std::uint32_t error = 77;
    EXPECT_FALSE(Process::InvokeProcessSynchForConsole(LineOf(L"exit 0"), L"", nullptr, &error));
    EXPECT_EQ(error, 0U);
}

// ---- GetProcessSessionId

BOOL WINAPI SessionNine(DWORD id, DWORD* session) {
    *session = 9;
    return id == 1234;
}
BOOL WINAPI SessionRefused(DWORD, DWORD* session) {
    *session = 9;
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST(ProcessSession, is_looked_up_at_run_time) {
    DWORD own = 77;
    ASSERT_NE(ProcessIdToSessionId(GetCurrentProcessId(), &own), 0);
    Lookups lookups;
    std::uint32_t session = 77;
    std::uint32_t error = 77;
    EXPECT_TRUE(Process::GetProcessSessionId(GetCurrentProcessId(), &session, &error));
    EXPECT_EQ(session, own);
    EXPECT_EQ(error, 0U);
    lookups.Give("ProcessIdToSessionId", SessionNine);
    EXPECT_TRUE(Process::GetProcessSessionId(1234, &session, nullptr));
    EXPECT_EQ(session, 9U);
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

TEST(ProcessSession, failure_has_its_code_and_no_session) {
    const struct {
        const char* what;
        void (*arrange)(Lookups&);
        std::uint32_t error;
    } rows[] = {
        {"no library", [](Lookups& lookups) { lookups.HideModule(L"kernel32.dll", 126); }, 126},
        {"no function", [](Lookups& lookups) { lookups.Hide("ProcessIdToSessionId"); }, 127},
        {"refused", [](Lookups& lookups) { lookups.Give("ProcessIdToSessionId", SessionRefused); },
         5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Lookups lookups;
        row.arrange(lookups);
        std::uint32_t session = 77;
        std::uint32_t error = 77;
        EXPECT_FALSE(Process::GetProcessSessionId(1234, &session, &error));
        EXPECT_EQ(session, 77U);
        EXPECT_EQ(error, row.error);
        EXPECT_FALSE(Process::GetProcessSessionId(1234, &session, nullptr));
        EXPECT_EQ(lookups.LeftLoaded(), 0);
    }
}

}  // namespace
