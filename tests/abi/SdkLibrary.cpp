#include "abi/SdkLibrary.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "support/IatPatch.h"
#include "utilRPC/seh_call.h"

#include <rpc.h>
#include <rpcndr.h>

namespace {

using test_support::IatPatch;

[[noreturn]] void GiveUp(const char* what) {
    std::printf("%s, error %lu\n", what, GetLastError());
    std::fflush(stdout);
    std::_Exit(1);
}

// Each client manager of the library opens an endpoint of its own, and an endpoint cannot be
// closed: every call without a session and every session adds one. The RPC runtime of Wine has one
// thread that waits for all endpoints of a process, and that wait takes no more than 64 objects;
// with the 63rd endpoint the thread dies and the next registration hangs. So the first ones are
// real, and later ones are only said to be open.
constexpr int kEndpointsOnWine = 58;
std::atomic<int> g_iEndpoints{0};
int g_iLimit = INT_MAX;
decltype(&RpcServerUseProtseqEpW) g_pOpenEndpoint = nullptr;

RPC_STATUS RPC_ENTRY OpenEndpoint(RPC_WSTR protocol, unsigned int calls, RPC_WSTR endpoint,
                                  void* security) {
    if (++g_iEndpoints > g_iLimit) {
        --g_iEndpoints;
        return RPC_S_OK;
    }
    return g_pOpenEndpoint(protocol, calls, endpoint, security);
}

unsigned char*(RPC_ENTRY* g_pSendReceive)(MIDL_STUB_MESSAGE*, unsigned char*) = nullptr;

struct Exchange {
    MIDL_STUB_MESSAGE* pStub;
    unsigned char* pBuffer;
    unsigned char* pResult;
};

// The runtime of Wine forgets one reference to the binding when the server dies in mid-call or
// answers with a fault. The binding's association then stays, with the number of a group that only
// the dead server knew, and every later server refuses it with 1727. So the reference is given back
// here.
unsigned char* RPC_ENTRY SendReceive(MIDL_STUB_MESSAGE* stub, unsigned char* buffer) {
    Exchange exchange{stub, buffer, nullptr};
    const auto run = [](void* argument) {
        auto* const call = static_cast<Exchange*>(argument);
        call->pResult = g_pSendReceive(call->pStub, call->pBuffer);
    };
    unsigned long code = 0;
    if (seh_call(run, &exchange, &code) == 0)
        return exchange.pResult;
    if (stub->RpcMsg->ReservedForRuntime == nullptr) {
        RPC_BINDING_HANDLE forgotten = stub->RpcMsg->Handle;
        RpcBindingFree(&forgotten);
    }
    RpcRaiseException(static_cast<RPC_STATUS>(code));
    return nullptr;
}

bool RunsOnWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

void WatchEndpoints(HMODULE library) {
    if (RunsOnWine())
        g_iLimit = kEndpointsOnWine;
    // For the life of the process.
    static const IatPatch s_Patch(library, "rpcrt4.dll", "RpcServerUseProtseqEpW", OpenEndpoint);
    g_pOpenEndpoint = s_Patch.Original<decltype(RpcServerUseProtseqEpW)>();
}

void WatchCalls(HMODULE library) {
    if (!RunsOnWine())
        return;
    static const IatPatch s_Patch(library, "rpcrt4.dll", "NdrSendReceive", SendReceive);
    g_pSendReceive =
        s_Patch.Original<unsigned char * RPC_ENTRY(MIDL_STUB_MESSAGE*, unsigned char*)>();
}

HMODULE Load() {
    HMODULE const library = LoadLibraryW(L"WySdk.dll");
    if (library == nullptr)
        GiveUp("WySdk.dll cannot be loaded");
    WatchEndpoints(library);
    WatchCalls(library);
    return library;
}

}  // namespace

HMODULE SdkLibrary::Module() {
    static HMODULE const s_hLibrary = Load();
    return s_hLibrary;
}

void* SdkLibrary::Find(const char* name) {
    void* const function = reinterpret_cast<void*>(GetProcAddress(Module(), name));
    if (function == nullptr)
        GiveUp(name);
    return function;
}

int SdkLibrary::OpenEndpoints() {
    return g_iEndpoints;
}

std::vector<std::string> SdkLibrary::ExportedNames() {
    const auto* base = reinterpret_cast<const unsigned char*>(Module());
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto* directory = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        base + headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + directory->AddressOfNames);
    std::vector<std::string> found;
    for (DWORD i = 0; i < directory->NumberOfNames; ++i)
        found.emplace_back(reinterpret_cast<const char*>(base + names[i]));
    std::sort(found.begin(), found.end());
    return found;
}
