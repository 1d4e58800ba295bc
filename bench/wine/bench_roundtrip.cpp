// Round trips through the DLL beside bare calls of the same bytes, and large answers.
//
//   bench_roundtrip calls [batches]     WyGetSysCpuUsage / a bare stub call, interleaved
//   bench_roundtrip answer KIB          one answer of KIB KiB of JSON text: time and peak memory
//   bench_roundtrip serve EVENT         the service process, started by the other two

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/IdlClientHelper.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/rpc_client.h"
#include "wine/BenchClient.h"
#include "wine/BenchServer.h"

#include <psapi.h>
#include <rpc.h>

namespace {

using BenchClient::BareCall;
using BenchClient::Fail;
using BenchClient::Quantile;
using BenchClient::ServerProcess;
using Clock = std::chrono::steady_clock;

constexpr int kCallsPerBatch = 50;
constexpr int kDefaultBatches = 41;
constexpr std::uint32_t kSuccess = 0x20ff0000;

// The DLL as an application sees it.
class Sdk {
public:
    Sdk() : m_Module(LoadLibraryW(L"WySdk.dll")) {
        if (m_Module == nullptr)
            Fail("WySdk.dll does not load", GetLastError());
        Resolve(initialize, "WyInitialize");
        Resolve(uninitialize, "WyUninitialize");
        Resolve(cpuUsage, "WyGetSysCpuUsage");
        Resolve(bigFileResult, "WyGetBigFileResult");
    }

    void OpenSession() const {
        for (int attempt = 0; attempt < 100; ++attempt) {
            if (initialize(L"bench") == kSuccess)
                return;
            Sleep(100);
        }
        Fail("no session", 0);
    }

    std::uint32_t(__stdcall* initialize)(const wchar_t*) = nullptr;
    std::uint32_t(__stdcall* uninitialize)() = nullptr;
    std::uint32_t(__stdcall* cpuUsage)(std::uint32_t*) = nullptr;
    std::uint32_t(__stdcall* bigFileResult)(std::uint32_t, wchar_t**) = nullptr;

private:
    template <class Function>
    void Resolve(Function& function, const char* name) const {
        function =
            reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_Module, name)));
        if (function == nullptr)
            Fail(name, GetLastError());
    }

    HMODULE m_Module;
};

std::vector<std::uint8_t> LastMailRequest() {
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    in << BenchServer::kLastMailRequest;
    CRPCClientHelper client(CComponentID(ServiceComponentName().c_str()));
    client.SendRequest(in, out);
    return {out.GetData(), out.GetData() + out.GetLength()};
}

template <class Call>
double MicrosecondsPerCall(Call call) {
    const auto begin = Clock::now();
    for (int i = 0; i < kCallsPerBatch; ++i)
        call();
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / kCallsPerBatch;
}

int MeasureCalls(int batches) {
    const ServerProcess server(BenchServer::kStopEvent);
    const Sdk sdk;
    sdk.OpenSession();
    std::uint32_t usage = 0;
    const auto dll = [&] {
        if (sdk.cpuUsage(&usage) != kSuccess || usage != 17)
            Fail("a call failed", usage);
    };
    dll();
    const std::vector<std::uint8_t> request = LastMailRequest();
    const std::wstring endpoint = ServiceComponentName();
    const auto bare = [&] { BareCall(endpoint, request); };
    bare();
    std::vector<double> dllTimes;
    std::vector<double> bareTimes;
    std::vector<double> ratios;
    for (int i = 0; i < batches; ++i) {
        // The order changes, so that a drift of the machine falls on both.
        if (i % 2 == 0)
            dllTimes.push_back(MicrosecondsPerCall(dll));
        bareTimes.push_back(MicrosecondsPerCall(bare));
        if (i % 2 != 0)
            dllTimes.push_back(MicrosecondsPerCall(dll));
        ratios.push_back(dllTimes.back() / bareTimes.back());
    }
    sdk.uninitialize();
    std::printf(
        "roundtrip request_bytes=%zu dll_us=%.1f bare_us=%.1f ratio=%.3f ratio_p25=%.3f "
        "ratio_p75=%.3f\n",
        request.size(), Quantile(dllTimes, 0.5), Quantile(bareTimes, 0.5),
        Quantile(dllTimes, 0.5) / Quantile(bareTimes, 0.5), Quantile(ratios, 0.25),
        Quantile(ratios, 0.75));
    return 0;
}

int MeasureAnswer(std::uint32_t kibibytes) {
    const ServerProcess server(BenchServer::kStopEvent);
    const Sdk sdk;
    sdk.OpenSession();
    PROCESS_MEMORY_COUNTERS before{};
    GetProcessMemoryInfo(GetCurrentProcess(), &before, sizeof(before));
    wchar_t* text = nullptr;
    const auto begin = Clock::now();
    const std::uint32_t code = sdk.bigFileResult(kibibytes, &text);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    if (code != kSuccess || text == nullptr)
        Fail("the large answer failed", code);
    const std::size_t characters = std::wcslen(text);
    PROCESS_MEMORY_COUNTERS after{};
    GetProcessMemoryInfo(GetCurrentProcess(), &after, sizeof(after));
    const double peak =
        static_cast<double>(after.PeakWorkingSetSize) - static_cast<double>(before.WorkingSetSize);
    const double json = static_cast<double>(kibibytes) * 1024;
    std::printf(
        "answer kib=%u characters=%zu ms=%.1f peak_mib=%.1f peak_per_text_byte=%.2f "
        "peak_per_wide_byte=%.2f\n",
        kibibytes, characters, ms, peak / 1048576, peak / json, peak / (2 * json));
    LocalFree(text);
    sdk.uninitialize();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    CRPCClient::ReadMode();
    if (what == "serve")
        return BenchServer::Serve(BenchServer::kStopEvent);
    if (what == "calls")
        return MeasureCalls(argc > 2 ? std::atoi(argv[2]) : kDefaultBatches);
    if (what == "answer" && argc > 2) {
        return MeasureAnswer(static_cast<std::uint32_t>(std::atoi(argv[2])));
    }
    std::fprintf(stderr, "usage: bench_roundtrip calls [BATCHES] | answer KIB\n");
    return 2;
}
