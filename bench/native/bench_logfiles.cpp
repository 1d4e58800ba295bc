// The debug log with its trace module beside spdlog: a line that is filtered away, and a line that
// is in the file when the call returns.

#include <benchmark/benchmark.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <cstdint>
#include <memory>
#include <string>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "support/FakeLogStorage.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace {

constexpr const char* kLogSource = "bench_logfiles";
constexpr const wchar_t* kLogModule = L"bench";

using test_support::FakeLogStorage;
using test_support::TemporaryFolder;

constexpr std::uint32_t kCode = 0xe0ff0007;

// A log that lets errors through, with a file of its own.
class FileLog {
public:
    FileLog() {
        FakeLogStorage::Clear();
        FakeLogStorage::Set(L"Enable", L"1");
        FakeLogStorage::Set(L"LogFolder", m_Folder.Path().wstring());
        m_bOpen = m_Log.Initialize(L"WySdk", {KrCommon::Storage::Key::kIniFile, L"", L""},
                                   test_support::ProgramFolder().wstring());
        g_pDebugLog = &m_Log;
    }
    FileLog(const FileLog&) = delete;
    FileLog& operator=(const FileLog&) = delete;
    ~FileLog() {
        g_pDebugLog = nullptr;
        m_Log.Uninitialize();
    }
    bool IsOpen() const { return m_bOpen; }
    KrCommon::DebugLog& Log() { return m_Log; }

private:
    TemporaryFolder m_Folder{L"bench"};
    KrCommon::DebugLog m_Log{&FakeLogStorage::Make};
    bool m_bOpen = false;
};

// The same for spdlog; each line is flushed.
class OtherLog {
public:
    OtherLog()
        : m_Logger("WySdk", std::make_shared<spdlog::sinks::basic_file_sink_mt>(
                                (m_Folder.Path() / "other.log").string())) {
        m_Logger.set_pattern("%d/%m/%Y %H:%M:%S.%e %P:%t %L <%n> %v");
        m_Logger.set_level(spdlog::level::err);
        m_Logger.flush_on(spdlog::level::trace);
    }
    spdlog::logger& Log() { return m_Logger; }

private:
    TemporaryFolder m_Folder{L"bench"};
    spdlog::logger m_Logger;
};

void TwoLockRoundTrips(benchmark::State& state) {
    KrCommon::Synchronize::CriticalSection section;
    for (auto step : state) {
        static_cast<void>(step);
        { const KrCommon::Synchronize::SingleLock lock(section); }
        { const KrCommon::Synchronize::SingleLock lock(section); }
    }
}
BENCHMARK(TwoLockRoundTrips);

void FilteredLine(benchmark::State& state) {
    FileLog file;
    if (!file.IsOpen())
        state.SkipWithError("the log could not be opened");
    for (auto step : state) {
        static_cast<void>(step);
        file.Log().Trace(kLogSource, __LINE__, KrCommon::LogLevel::kInformation,
                         L"Function name = %ls, retCode = 0x%08x", L"WyGetSysCpuUsage", kCode);
    }
}
BENCHMARK(FilteredLine);

void FilteredStream(benchmark::State& state) {
    FileLog file;
    if (!file.IsOpen())
        state.SkipWithError("the log could not be opened");
    for (auto step : state) {
        static_cast<void>(step);
        WY_LOG_INFO << L"Function name = " << L"WyGetSysCpuUsage" << L", retCode = "
                    << WyHex{kCode};
    }
}
BENCHMARK(FilteredStream);

void SpdlogFilteredLine(benchmark::State& state) {
    OtherLog other;
    for (auto step : state) {
        static_cast<void>(step);
        other.Log().info("Function name = {}, retCode = {:#010x}", "WyGetSysCpuUsage", kCode);
    }
}
BENCHMARK(SpdlogFilteredLine);

void WrittenLine(benchmark::State& state) {
    FileLog file;
    bool written = file.IsOpen();
    for (auto step : state) {
        static_cast<void>(step);
        written = file.Log().Trace(kLogSource, __LINE__, KrCommon::LogLevel::kError,
                                   L"Function name = %ls, retCode = 0x%08x", L"WyGetSysCpuUsage",
                                   kCode) &&
                  written;
    }
    if (!written)
        state.SkipWithError("a line was not written");
}
BENCHMARK(WrittenLine);

void SpdlogWrittenLine(benchmark::State& state) {
    OtherLog other;
    for (auto step : state) {
        static_cast<void>(step);
        other.Log().error("Function name = {}, retCode = {:#010x}", "WyGetSysCpuUsage", kCode);
    }
}
BENCHMARK(SpdlogWrittenLine);

}  // namespace
