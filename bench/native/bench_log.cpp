// What a log line costs where nothing is written: without a log (at most 2 ns), and with one that
// filters the level away (nothing but the question). Every function of the library has such lines.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Log.h"

namespace {

constexpr const char* kLogSource = "bench_log";
constexpr const wchar_t* kLogModule = L"bench";

// Lets through errors alone, as the log does by default, and counts the lines that come.
class ErrorsOnly : public KrCommon::LogSink {
public:
    // Not inlined: the compiler of a call site does not know which log stands behind the interface.
    [[gnu::noinline]] bool IsLevelEnabled(std::uint32_t level) override {
        return (level & KrCommon::LogLevel::kError) != 0;
    }
    bool Trace(const char*, std::uint32_t, std::uint32_t, const wchar_t* format, ...) override {
        benchmark::DoNotOptimize(format);
        ++m_uiLines;
        return true;
    }
    std::uint64_t m_uiLines = 0;
};

// Runs a line inside a loop. The barrier makes each round look for the log anew, as it may come or
// go between two lines.
template <class Line>
void Repeat(benchmark::State& state, KrCommon::LogSink* log, Line line) {
    const std::wstring name = L"WyGetSysCpuUsage";
    std::uint32_t code = 0xe0ff0007;
    g_pDebugLog = log;
    for (auto step : state) {
        static_cast<void>(step);
        benchmark::DoNotOptimize(code);
        benchmark::ClobberMemory();
        line(name, code);
    }
    g_pDebugLog = nullptr;
}

void NoLog(benchmark::State& state) {
    Repeat(state, nullptr, [](const std::wstring& name, std::uint32_t code) {
        WY_LOG_INFO << L"Function name = " << name << L", argument number = " << 7 << L", code = "
                    << WyHex{code};
    });
}
BENCHMARK(NoLog);

void LevelOff(benchmark::State& state) {
    ErrorsOnly log;
    Repeat(state, &log, [](const std::wstring& name, std::uint32_t code) {
        WY_LOG_INFO << L"Function name = " << name << L", argument number = " << 7 << L", code = "
                    << WyHex{code};
    });
    if (log.m_uiLines != 0) {
        state.SkipWithError("a line of a level that is off was formatted");
    }
}
BENCHMARK(LevelOff);

void LevelOn(benchmark::State& state) {
    ErrorsOnly log;
    Repeat(state, &log, [](const std::wstring& name, std::uint32_t code) {
        WY_LOG_ERROR << L"Function name = " << name << L", argument number = " << 7 << L", code = "
                     << WyHex{code};
    });
    if (log.m_uiLines != static_cast<std::uint64_t>(state.iterations())) {
        state.SkipWithError("a line of a level that is on was lost");
    }
}
BENCHMARK(LevelOn);

// The loop and its barriers alone, which stand in each figure above.
void EmptyLoop(benchmark::State& state) {
    Repeat(state, nullptr, [](const std::wstring&, std::uint32_t) {});
}
BENCHMARK(EmptyLoop);

void FunctionTraceNoLog(benchmark::State& state) {
    Repeat(state, nullptr, [](const std::wstring&, std::uint32_t) {
        const WyFunctionTrace trace(kLogModule, kLogSource, L"bench::FunctionTraceNoLog", 1);
    });
}
BENCHMARK(FunctionTraceNoLog);

}  // namespace
