// The log under many threads, and the main log of a process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "support/FakeLogStorage.h"
#include "support/TraceFolder.h"

namespace {

using KrCommon::DebugLog;
using KrCommon::Storage::Key;
using test_support::FakeLogStorage;
using test_support::TraceFolder;

constexpr std::uint32_t kForced = 0x10000000;
constexpr int kThreads = 16;
constexpr int kLines = 40;

// Changes level, switch and name of an open log as fast as it can.
void Reconfigure(DebugLog& log, const std::wstring& path, const std::atomic<bool>& goOn) {
    const wchar_t* const levels[] = {L"256", L"0x1111", L"0", L"273"};
    for (unsigned round = 0; goOn; ++round) {
        FakeLogStorage::Set(L"Level", levels[round % 4]);
        FakeLogStorage::Set(L"Enable", round % 3 != 0 ? L"1" : L"0");
        EXPECT_TRUE(log.Initialize(round % 2 != 0 ? L"Odd" : L"A name that is allocated",
                                   Key(1, path.c_str(), L"\\krdbg.ini"), path));
    }
}

// A forced line, whose text tells where it is from, between lines that may be filtered away.
void WriteLines(DebugLog& log, int thread) {
    for (int i = 0; i < kLines; ++i) {
        EXPECT_TRUE(log.Trace("Some", 1, kForced, L"forced %d.%d", thread, i));
        EXPECT_TRUE(log.Trace("Some", 1, 256, L"error %d.%d", thread, i));
        log.IsLevelEnabled(16);
        WyLogStream(&log, "Some", 1, 4096) << L"100% of debug " << i;
    }
}

TEST(DebugLogThreads, lines_of_16_threads_are_whole_while_the_configuration_changes) {
    FakeLogStorage::Clear();
    TraceFolder folder;
    folder.AddModule();
    const std::wstring path = folder.Path();
    DebugLog log(&FakeLogStorage::Make);
    ASSERT_TRUE(log.Initialize(L"Odd", Key(1, path.c_str(), L"\\krdbg.ini"), path));
    std::atomic<bool> goOn = true;
    std::thread reconfiguration([&] { Reconfigure(log, path, goOn); });
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&log, i] { WriteLines(log, i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    goOn = false;
    reconfiguration.join();

    std::vector<int> next(kThreads, 0);
    for (const std::string& call : folder.Calls()) {
        EXPECT_TRUE(call.starts_with("initialize ") || call.ends_with(" - Some(1)$")) << call;
        const std::size_t at = call.find("> forced ");
        if (at == std::string::npos)
            continue;
        int thread = 0;
        int line = 0;
        ASSERT_EQ(std::sscanf(call.c_str() + at, "> forced %d.%d", &thread, &line), 2) << call;
        EXPECT_EQ(line, next.at(static_cast<std::size_t>(thread))++) << "in order, none lost";
        EXPECT_TRUE(call.find("<Odd>") != std::string::npos ||
                    call.find("<A name that is allocated>") != std::string::npos)
            << call;
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
    EXPECT_TRUE(log.Uninitialize());
}

TEST(MainLog, stays_and_writes_nothing_without_a_module) {
    const TraceFolder folder;
    KrCommon::CreateMainLog(L"WySdk", folder.Path());
    ASSERT_NE(g_pDebugLog, nullptr);
    EXPECT_FALSE(g_pDebugLog->Trace("Some", 1, kForced, L"text"));
    KrCommon::DestroyMainLog();
    EXPECT_EQ(g_pDebugLog, nullptr);
    KrCommon::DestroyMainLog();
}

TEST(MainLog, takes_the_place_of_the_one_before) {
    const TraceFolder folder;
    KrCommon::CreateMainLog(L"WySdk", folder.Path());
    KrCommon::CreateMainLog(L"WySdk", folder.Path());
    EXPECT_NE(g_pDebugLog, nullptr);
    KrCommon::DestroyMainLog();
    EXPECT_EQ(g_pDebugLog, nullptr);
}

}  // namespace
