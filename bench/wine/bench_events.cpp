// Events through the DLL beside a bare server routine that receives the same bytes.
//
//   bench_events dll COUNT FILE     subscribes, publishes COUNT times; FILE receives the bytes of a
//                                   publication
//   bench_events bare COUNT FILE    the same bytes by bare calls, to a bare routine
//   bench_events serve EVENT        the service process, started by the other two
//
// The service delivers an event before it answers the publication, by the same bare call in both
// cases. A latency is that from the start of a publication to the callback or routine.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/IdlInterface.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/rpc_client.h"
#include "wine/BenchClient.h"
#include "wine/BenchServer.h"

#include <rpc.h>
#include <rpcndr.h>

namespace {

using BenchClient::BareCall;
using BenchClient::Fail;
using BenchClient::Quantile;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kEvent = 7;
constexpr int kWarmUp = 50;
constexpr const char* kReceiver = "7f1c0a34-52d6-4b19-9a40-6e2f8d5b1c03";

Clock::time_point g_Arrived;
int g_iArrived = 0;

void NoteArrival() {
    g_Arrived = Clock::now();
    ++g_iArrived;
}

// Publishes and takes the latency of each event, and prints the figures.
template <class Publish>
int Measure(const char* name, int count, Publish publish) {
    for (int i = 0; i < kWarmUp; ++i)
        publish();
    g_iArrived = 0;
    std::vector<double> latencies;
    latencies.reserve(static_cast<std::size_t>(count));
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < count; ++i) {
        const Clock::time_point start = Clock::now();
        publish();
        latencies.push_back(std::chrono::duration<double, std::micro>(g_Arrived - start).count());
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    if (g_iArrived != count)
        Fail("events were lost", static_cast<unsigned long>(count - g_iArrived));
    std::printf("%s count=%d p50_us=%.1f p99_us=%.1f per_second=%.0f\n", name, count,
                Quantile(latencies, 0.5), Quantile(latencies, 0.99), count / seconds);
    return 0;
}

std::vector<std::uint8_t> AskService(std::uint32_t envelope, const std::string& text) {
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    in << envelope;
    in.WriteBytes(reinterpret_cast<const std::uint8_t*>(text.data()),
                  static_cast<std::uint32_t>(text.size()));
    CRPCClientHelper(CComponentID(ServiceComponentName().c_str())).SendRequest(in, out);
    return {out.GetData(), out.GetData() + out.GetLength()};
}

// ---- through the DLL

std::uint32_t __stdcall TakeEvent(std::uint32_t, const wchar_t*) {
    NoteArrival();
    return 0x20ff0000;
}

template <class Function>
Function* Find(HMODULE module, const char* name) {
    auto* const function =
        reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    if (function == nullptr)
        Fail(name, GetLastError());
    return function;
}

int MeasureLibrary(int count, const char* file) {
    const BenchClient::ServerProcess server(BenchServer::kStopEvent);
    HMODULE const module = LoadLibraryW(L"WySdk.dll");
    if (module == nullptr)
        Fail("WySdk.dll does not load", GetLastError());
    auto* const initialize = Find<std::uint32_t __stdcall(const wchar_t*)>(module, "WyInitialize");
    auto* const subscribe = Find<std::uint32_t __stdcall(std::uint32_t, decltype(&TakeEvent))>(
        module, "WySubscribeEvent");
    auto* const publish = Find<std::uint32_t __stdcall(std::uint32_t)>(module, "WyPublishEvent");
    std::uint32_t code = 0xe0000000;
    for (int attempt = 0; attempt < 100 && static_cast<std::int32_t>(code) < 0; ++attempt) {
        Sleep(100);
        code = initialize(L"bench");
    }
    if (static_cast<std::int32_t>(subscribe(kEvent, TakeEvent)) < 0)
        Fail("no subscription", code);
    const int status = Measure("events_dll", count, [&] {
        if (static_cast<std::int32_t>(publish(kEvent)) < 0)
            Fail("a publication failed", 0);
    });
    const std::vector<std::uint8_t> bytes = AskService(BenchServer::kLastMailRequest, {});
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    Find<std::uint32_t __stdcall()>(module, "WyUninitialize")();
    return status;
}

// ---- without it

// Takes the stub data as it comes and answers with a size of 0 and a null pointer.
void __RPC_STUB BareRoutine(PRPC_MESSAGE message) {
    NoteArrival();
    constexpr unsigned int kEmptyAnswer = 8;
    message->BufferLength = kEmptyAnswer;
    if (I_RpcGetBuffer(message) != RPC_S_OK)
        Fail("no buffer for the answer", 0);
    std::memset(message->Buffer, 0, kEmptyAnswer);
}

// The interface of the product with the bare routine behind it.
RPC_IF_HANDLE BareInterface() {
    static RPC_DISPATCH_FUNCTION routines[] = {BareRoutine, nullptr};
    static RPC_DISPATCH_TABLE table{1, routines, 0};
    static RPC_SERVER_INTERFACE bare = *static_cast<RPC_SERVER_INTERFACE*>(IdlInterface::OfMode(0));
    bare.DispatchTable = &table;
    return &bare;
}

int MeasureBare(int count, const char* file) {
    const BenchClient::ServerProcess server(BenchServer::kStopEvent);
    std::ifstream stream(file, std::ios::binary);
    const std::vector<std::uint8_t> publication{std::istreambuf_iterator<char>(stream),
                                                std::istreambuf_iterator<char>()};
    if (publication.empty())
        Fail("no bytes of a publication", 0);
    wchar_t protocol[] = L"ncalrpc";
    std::wstring receiver(kReceiver, kReceiver + std::char_traits<char>::length(kReceiver));
    if (RpcServerUseProtseqEpW(reinterpret_cast<RPC_WSTR>(protocol), 10,
                               reinterpret_cast<RPC_WSTR>(receiver.data()), nullptr) != RPC_S_OK ||
        RpcServerRegisterIfEx(BareInterface(), nullptr, nullptr, RPC_IF_AUTOLISTEN, 1234,
                              nullptr) != RPC_S_OK) {
        Fail("the bare routine cannot be registered", 0);
    }
    Sleep(1000);  // the service process comes up
    AskService(BenchServer::kDeliverTo, std::string(kReceiver) + kReceiver);
    const std::wstring service = ServiceComponentName();
    return Measure("events_bare", count, [&] { BareCall(service, publication); });
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    CRPCClient::ReadMode();
    if (what == "serve")
        return BenchServer::Serve(BenchServer::kStopEvent);
    if (what == "dll" && argc > 3)
        return MeasureLibrary(std::atoi(argv[2]), argv[3]);
    if (what == "bare" && argc > 3)
        return MeasureBare(std::atoi(argv[2]), argv[3]);
    std::fprintf(stderr, "usage: bench_events dll|bare COUNT FILE\n");
    return 2;
}
