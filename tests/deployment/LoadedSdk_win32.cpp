#include "deployment/LoadedSdk_win32.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include <rpc.h>

namespace deployment_test {

namespace {

constexpr DWORD kWatchdogWaitMs = 3000;
constexpr int kMostStarts = 3;

std::vector<DWORD> g_Pauses;
std::wstring g_HostProgram;
std::vector<HANDLE> g_Started;

// A service that is asked to start or stop needs a moment, also on a busy machine: so many pauses
// as the library makes until it gives up are three seconds.
void WINAPI Pause(DWORD milliseconds) {
    g_Pauses.push_back(milliseconds);
    Sleep(milliseconds / 40);
}

// Only the event of a watchdog that does not end is waited for until the limit. A process ends, but
// on a busy machine it takes its time.
DWORD WINAPI WaitShortly(HANDLE handle, DWORD milliseconds) {
    const bool isProcess = GetProcessId(handle) != 0;
    return WaitForSingleObject(handle,
                               isProcess ? milliseconds : std::min(milliseconds, kWatchdogWaitMs));
}

// An endpoint for events is open as long as the process, and Wine can have 62 of them.
RPC_STATUS RPC_ENTRY OpenNoEndpoint(RPC_WSTR, unsigned int, RPC_WSTR, void*) {
    return RPC_S_OK;
}

DWORD WINAPI ModuleName(HMODULE module, LPWSTR text, DWORD size) {
    if (module != nullptr)
        return GetModuleFileNameW(module, text, size);
    const DWORD length = std::min(static_cast<DWORD>(g_HostProgram.size()), size - 1);
    std::copy_n(g_HostProgram.begin(), length, text);
    text[length] = L'\0';
    return length;
}

// A session agent that has just been started is not found as a process of its folder: it is waited
// for until its event is there.
void WaitUntilUp(const PROCESS_INFORMATION& process) {
    const std::wstring name =
        L"Global\\SESSION_AGENT_STANDIN_END" + std::to_wstring(process.dwProcessId);
    for (int i = 0; i < 2500 && WaitForSingleObject(process.hProcess, 0) == WAIT_TIMEOUT; ++i) {
        const HANDLE up = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
        if (up != nullptr) {
            CloseHandle(up);
            return;
        }
        Sleep(2);
    }
}

// Who may do what to a process is left to the system. Under Wine the right to query a process
// includes one that systems before Vista did not have, which the library's attributes do not grant:
// nobody could query the session agent, and so nobody would end it. Windows grants it with the
// other.
//
// On a busy machine a process that Wine starts ends now and then before it has begun, which is told
// as an internal error: it is started again.
BOOL WINAPI StartProcess(LPCWSTR application, LPWSTR line, LPSECURITY_ATTRIBUTES,
                         LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags,
                         LPVOID environment, LPCWSTR folder, LPSTARTUPINFOW startup,
                         LPPROCESS_INFORMATION out) {
    int begun = 1;
    while (CreateProcessW(application, line, nullptr, thread, inherit, flags, environment, folder,
                          startup, out) == 0) {
        if (GetLastError() != ERROR_INTERNAL_ERROR || ++begun > kMostStarts)
            return FALSE;
        std::printf("a process that ended before it began is started again\n");
    }
    HANDLE own = nullptr;
    DuplicateHandle(GetCurrentProcess(), out->hProcess, GetCurrentProcess(), &own, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    g_Started.push_back(own);
    if (std::wstring(line).find(L"WySessionAgent") != std::wstring::npos)
        WaitUntilUp(*out);
    return TRUE;
}

}  // namespace

LoadedSdk::Library::Library(const std::wstring& path) : handle(LoadLibraryW(path.c_str())) {
    if (handle == nullptr)
        throw std::runtime_error("the library cannot be loaded, error " +
                                 std::to_string(GetLastError()));
}

LoadedSdk::LoadedSdk(const std::wstring& path, const std::wstring& hostProgram)
    : m_Library(path),
      m_Sleep(Module(), "kernel32.dll", "Sleep", Pause),
      m_Wait(Module(), "kernel32.dll", "WaitForSingleObject", WaitShortly),
      m_Endpoint(Module(), "rpcrt4.dll", "RpcServerUseProtseqEpW", OpenNoEndpoint),
      m_ModuleName(Module(), "kernel32.dll", "GetModuleFileNameW", ModuleName),
      m_Start(Module(), "kernel32.dll", "CreateProcessW", StartProcess) {
    g_HostProgram = hostProgram;
    g_Pauses.clear();
}

LoadedSdk::~LoadedSdk() = default;

LoadedSdk::Installed LoadedSdk::Install(const std::wstring& package,
                                        const std::wstring& target) const {
    auto* const install = reinterpret_cast<decltype(&WyInstall)>(
        reinterpret_cast<void*>(GetProcAddress(Module(), "WyInstall")));
    wchar_t* folder = nullptr;
    Installed result;
    result.code = install(kProductNumber, kVendorNumber, package.c_str(), target.c_str(), &folder);
    result.folder = folder != nullptr ? folder : L"no folder";
    LocalFree(folder);
    return result;
}

std::uint32_t LoadedSdk::Call(const char* name) const {
    return reinterpret_cast<decltype(&WyUninstall)>(
        reinterpret_cast<void*>(GetProcAddress(Module(), name)))();
}

std::uint32_t LoadedSdk::PostInstall() const {
    return Call("WyPostInstall");
}

std::uint32_t LoadedSdk::Uninstall() const {
    return Call("WyUninstall");
}

const std::vector<DWORD>& LoadedSdk::Pauses() const {
    return g_Pauses;
}

std::vector<HANDLE>& LoadedSdk::Started() {
    return g_Started;
}

}  // namespace deployment_test
