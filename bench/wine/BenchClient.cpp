#include "wine/BenchClient.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "utilRPC/IdlClientHelper.h"

#include <rpc.h>

namespace BenchClient {

void Fail(const char* what, unsigned long code) {
    std::fprintf(stderr, "%s, 0x%lx\n", what, code);
    std::exit(1);
}

ServerProcess::ServerProcess(const wchar_t* stopEvent)
    : m_hStop(CreateEventW(nullptr, TRUE, FALSE, stopEvent)) {
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(self) + L"\" serve " + stopEvent;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                       &startup, &m_Process) == 0) {
        Fail("the service process did not start", GetLastError());
    }
}

ServerProcess::~ServerProcess() {
    SetEvent(m_hStop);
    WaitForSingleObject(m_Process.hProcess, 10000);
    TerminateProcess(m_Process.hProcess, 1);
    CloseHandle(m_Process.hThread);
    CloseHandle(m_Process.hProcess);
    CloseHandle(m_hStop);
}

std::size_t BareCall(const std::wstring& endpoint, const std::vector<std::uint8_t>& request) {
    std::wstring name = endpoint;
    wchar_t protocol[] = L"ncalrpc";
    RPC_WSTR text = nullptr;
    RPC_BINDING_HANDLE binding = nullptr;
    RpcStringBindingComposeW(nullptr, reinterpret_cast<RPC_WSTR>(protocol), nullptr,
                             reinterpret_cast<RPC_WSTR>(name.data()), nullptr, &text);
    RpcBindingFromStringBindingW(text, &binding);
    const IdlClientHelper::Reply reply = IdlClientHelper::SendRequest(
        0, binding, request.data(), static_cast<std::int32_t>(request.size()));
    if (reply.uiException != 0)
        Fail("a bare call failed", reply.uiException);
    const auto size = static_cast<std::size_t>(reply.lSize);
    std::free(reply.pBytes);
    RpcStringFreeW(&text);
    RpcBindingFree(&binding);
    return size;
}

double Quantile(std::vector<double> values, double q) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(q * static_cast<double>(values.size() - 1))];
}

}  // namespace BenchClient
