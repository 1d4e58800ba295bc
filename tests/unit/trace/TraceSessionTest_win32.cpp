// The trace module where the system refuses, and what it hands to the system.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Common/KrCommon/KrComn_LogPlatform.h"
#include "TraceRecord.h"
#include "support/IatPatch.h"
#include "support/TemporaryFolder.h"
#include "trace/TraceSession.h"

namespace {

using test_support::IatPatch;
using test_support::Record;

std::vector<std::wstring> s_Debugged;
int s_iFlushes = 0;

void WINAPI FakeDebugString(const wchar_t* text) {
    s_Debugged.emplace_back(text);
}

BOOL WINAPI CountFlush(HANDLE) {
    ++s_iFlushes;
    return TRUE;
}

// A disk that takes half of a line.
BOOL WINAPI HalfWrite(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED*) {
    static auto* const s_Write = reinterpret_cast<decltype(&WriteFile)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "WriteFile")));
    return s_Write(file, bytes, size / 2, written, nullptr);
}

HANDLE WINAPI RefuseFile(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

HANDLE WINAPI RefuseMutex(SECURITY_ATTRIBUTES*, BOOL, const wchar_t*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

class TraceSystem : public testing::Test {
protected:
    std::string Read() const {
        std::ifstream file(folder.Path() / "qrn_WySdk.log", std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    const HMODULE program = GetModuleHandleW(nullptr);
    const KrDbgTime now = KrCommon::LogPlatform::LocalTime();
    const test_support::TemporaryFolder folder{L"system"};
    KrDbgConfig config = Record(folder.Path().wstring());
};

TEST_F(TraceSystem, lines_go_to_the_debugger_and_to_the_disk_when_asked_for) {
    const IatPatch debugger(program, "kernel32.dll", "OutputDebugStringW", FakeDebugString);
    const IatPatch flush(program, "kernel32.dll", "FlushFileBuffers", CountFlush);
    for (const bool asked : {false, true}) {
        s_Debugged.clear();
        s_iFlushes = 0;
        config.bDebugger = asked;
        config.bRobust = asked;
        Trace::Session session;
        ASSERT_EQ(session.Open(config), 0U);
        EXPECT_EQ(session.Write(now, L"line\r\n"), 0U);
        EXPECT_EQ(s_Debugged,
                  asked ? std::vector<std::wstring>{L"line\r\n"} : std::vector<std::wstring>{});
        EXPECT_EQ(s_iFlushes, asked ? 1 : 0);
    }
}

TEST_F(TraceSystem, half_of_a_line_is_taken_back) {
    Trace::Session session;
    ASSERT_EQ(session.Open(config), 0U);
    EXPECT_EQ(session.Write(now, L"first\r\n"), 0U);
    {
        const IatPatch patch(program, "kernel32.dll", "WriteFile", HalfWrite);
        EXPECT_EQ(session.Write(now, L"second\r\n"), 112U);
    }
    EXPECT_EQ(session.Write(now, L"third\r\n"), 0U);
    EXPECT_EQ(Read(), "first\r\nthird\r\n");
}

TEST_F(TraceSystem, folder_that_cannot_be_written_gives_the_code) {
    const IatPatch patch(program, "kernel32.dll", "CreateFileW", RefuseFile);
    Trace::Session session;
    EXPECT_EQ(session.Open(config), 5U);
}

TEST_F(TraceSystem, lock_of_another_user_is_opened_with_fewer_rights) {
    Trace::Session first;
    ASSERT_EQ(first.Open(config), 0U);
    const IatPatch patch(program, "kernel32.dll", "CreateMutexW", RefuseMutex);
    Trace::Session second;
    ASSERT_EQ(second.Open(config), 0U);
    EXPECT_EQ(second.Write(now, L"line"), 0U);
    EXPECT_EQ(Read(), "line");
}

TEST_F(TraceSystem, without_a_lock_is_refused) {
    const IatPatch patch(program, "kernel32.dll", "CreateMutexW", RefuseMutex);
    Trace::Session session;
    EXPECT_NE(session.Open(config), 0U);
}

TEST_F(TraceSystem, lock_that_is_held_on_costs_lines_and_no_time) {
    Trace::Session session;
    ASSERT_EQ(session.Open(config), 0U);
    Trace::FileLock lock;
    ASSERT_EQ(lock.Open(session.FilePath(0)), 0U);
    ASSERT_TRUE(lock.Lock(0));
    // The lock is held by this thread, so another one writes.
    std::thread([&] {
        using Clock = std::chrono::steady_clock;
        EXPECT_EQ(session.Write(now, L"lost"), 1460U);
        const auto start = Clock::now();
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(session.Write(now, L"lost"), 1460U);
        }
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    }).join();
    lock.Unlock();
    EXPECT_EQ(session.Write(now, L"line"), 0U);
    EXPECT_EQ(Read(), "line");
}

TEST_F(TraceSystem, devices_are_no_log_files) {
    for (const wchar_t* name : {L"con", L"nul", L"prn", L"com1"}) {
        KrDbgConfig device = Record(folder.Path().wstring(), name);
        test_support::Fill(device.szLogPrefix, L"");
        test_support::Fill(device.szLogExtension, L"");
        Trace::Session session;
        ASSERT_EQ(session.Open(device), 0U);
        EXPECT_EQ(session.Write(now, L"line"), 0U);
        EXPECT_TRUE(std::filesystem::exists(folder.Path() / (std::wstring(L"_") + name)));
    }
}

TEST_F(TraceSystem, paths_beyond_the_limit_of_the_system_do_not_harm) {
    std::wstring deep = folder.Path().wstring();
    while (deep.size() < 250) {
        deep += L"\\sub";
    }
    KrDbgConfig distant = Record(deep.substr(0, 259), std::wstring(31, L'm'));
    Trace::Session session;
    // The system decides; Windows refuses, Wine does not.
    if (session.Open(distant) == 0) {
        EXPECT_EQ(session.Write(now, L"line"), 0U);
    }
}

}  // namespace
