#include "deployment/SimulatedSystem_win32.h"

#include <cstring>

#include "Common/KrCommon/KrComn_LogContract.h"
#include "Common/KrCommon/KrComn_String.h"

namespace deploy_test {

namespace {

using test_support::IatPatch;
using test_support::MachineThings;

constexpr REGSAM kView = KEY_WOW64_64KEY;
constexpr DWORD kProgramId = 0x5c10;

// What is not the module's own business in a process: one watchdog, one program, the starts.
struct Present {
    HANDLE stopEvent = nullptr;
    std::wstring productId;
    std::wstring program;
    std::wstring ownProgram;
    std::vector<std::wstring> started;
    DWORD thread = GetCurrentThreadId();
};
Present* g_pPresent = nullptr;

// The service manager. A handle is that of a key of the registry.

std::wstring KeyOf(const std::wstring& service) {
    return SimulatedSystem::kServicesKey + (L"\\" + service);
}

void StoreText(HKEY key, const wchar_t* name, const wchar_t* text) {
    const std::wstring copy = text != nullptr ? text : L"";
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(copy.c_str()),
                   static_cast<DWORD>((copy.size() + 1) * sizeof(wchar_t)));
}

void StoreNumber(HKEY key, const wchar_t* name, DWORD number) {
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
}

DWORD LoadNumber(HKEY key, const wchar_t* name) {
    DWORD number = 0;
    DWORD size = sizeof number;
    RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
    return number;
}

SC_HANDLE Refuse(DWORD error) {
    SetLastError(error);
    return nullptr;
}

SC_HANDLE WINAPI Connect(LPCWSTR, LPCWSTR, DWORD) {
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, SimulatedSystem::kServicesKey, 0, nullptr, 0,
                    KEY_ALL_ACCESS | kView, nullptr, &key, nullptr);
    return reinterpret_cast<SC_HANDLE>(key);
}

SC_HANDLE WINAPI OpenNamed(SC_HANDLE, LPCWSTR name, DWORD) {
    HKEY key = nullptr;
    const LSTATUS status =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, KeyOf(name).c_str(), 0, KEY_ALL_ACCESS | kView, &key);
    return status == ERROR_SUCCESS ? reinterpret_cast<SC_HANDLE>(key)
                                   : Refuse(ERROR_SERVICE_DOES_NOT_EXIST);
}

SC_HANDLE WINAPI Create(SC_HANDLE, LPCWSTR name, LPCWSTR display, DWORD, DWORD type, DWORD start,
                        DWORD errors, LPCWSTR program, LPCWSTR, LPDWORD, LPCWSTR, LPCWSTR account,
                        LPCWSTR) {
    HKEY key = nullptr;
    DWORD disposition = 0;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, KeyOf(name).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | kView,
                    nullptr, &key, &disposition);
    if (disposition == REG_OPENED_EXISTING_KEY) {
        RegCloseKey(key);
        return Refuse(ERROR_SERVICE_EXISTS);
    }
    StoreNumber(key, L"type", type);
    StoreNumber(key, L"start", start);
    StoreNumber(key, L"errors", errors);
    StoreText(key, L"program", program);
    StoreText(key, L"account", account);
    StoreText(key, L"display", display);
    StoreNumber(key, L"state", SERVICE_STOPPED);
    StoreText(key, L"name", name);
    return reinterpret_cast<SC_HANDLE>(key);
}

BOOL WINAPI Configure(SC_HANDLE service, DWORD, LPVOID data) {
    StoreText(reinterpret_cast<HKEY>(service), L"description",
              static_cast<SERVICE_DESCRIPTIONW*>(data)->lpDescription);
    return TRUE;
}

BOOL WINAPI Query(SC_HANDLE service, SERVICE_STATUS* status) {
    *status = {SERVICE_WIN32_OWN_PROCESS,
               LoadNumber(reinterpret_cast<HKEY>(service), L"state"),
               SERVICE_ACCEPT_STOP,
               0,
               0,
               0,
               0};
    return TRUE;
}

BOOL WINAPI Start(SC_HANDLE service, DWORD, LPCWSTR*) {
    if (LoadNumber(reinterpret_cast<HKEY>(service), L"state") == SERVICE_RUNNING) {
        SetLastError(ERROR_SERVICE_ALREADY_RUNNING);
        return FALSE;
    }
    StoreNumber(reinterpret_cast<HKEY>(service), L"state", SERVICE_RUNNING);
    return TRUE;
}

BOOL WINAPI Control(SC_HANDLE service, DWORD, SERVICE_STATUS* status) {
    if (LoadNumber(reinterpret_cast<HKEY>(service), L"state") != SERVICE_RUNNING) {
        SetLastError(ERROR_SERVICE_NOT_ACTIVE);
        return FALSE;
    }
    StoreNumber(reinterpret_cast<HKEY>(service), L"state", SERVICE_STOPPED);
    return Query(service, status);
}

BOOL WINAPI Delete(SC_HANDLE service) {
    wchar_t name[256] = {};
    DWORD size = sizeof name - sizeof(wchar_t);
    RegQueryValueExW(reinterpret_cast<HKEY>(service), L"name", nullptr, nullptr,
                     reinterpret_cast<BYTE*>(name), &size);
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, KeyOf(name).c_str(), kView, 0);
    return TRUE;
}

BOOL WINAPI CloseService(SC_HANDLE service) {
    return RegCloseKey(reinterpret_cast<HKEY>(service)) == ERROR_SUCCESS ? TRUE : FALSE;
}

// Pauses and waits. Other threads of the module are those of the RPC runtime's work.

void WINAPI Pause(DWORD milliseconds) {
    if (GetCurrentThreadId() != g_pPresent->thread)
        Sleep(milliseconds);
}

DWORD WINAPI Wait(HANDLE object, DWORD milliseconds) {
    // The longest limited wait of the thread is that for the watchdog, which has ended at once if
    // it was told to.
    constexpr DWORD kWatchdogLimitMs = 20000;
    const bool isForWatchdog = milliseconds == kWatchdogLimitMs;
    return WaitForSingleObject(object, isForWatchdog ? 0 : milliseconds);
}

// The watchdog ends as soon as its stop event is set.
BOOL WINAPI SetOne(HANDLE event) {
    const BOOL result = SetEvent(event);
    if (g_pPresent->stopEvent == nullptr ||
        WaitForSingleObject(g_pPresent->stopEvent, 0) != WAIT_OBJECT_0)
        return result;
    const std::wstring name = L"Global\\WATCHDOG_NOTIFY_WATCHDOG_EXIT" + g_pPresent->productId;
    HANDLE const exit = OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str());
    SetEvent(exit);
    CloseHandle(exit);
    return result;
}

// Programs. A handle on one is an event that is set: it has ended.

BOOL WINAPI CreateOne(LPCWSTR, LPWSTR line, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                      LPVOID, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION* process) {
    g_pPresent->started.emplace_back(line);
    *process = {CreateEventW(nullptr, TRUE, TRUE, nullptr),
                CreateEventW(nullptr, TRUE, TRUE, nullptr), kProgramId, kProgramId};
    return TRUE;
}

BOOL WINAPI ExitCode(HANDLE, DWORD* code) {
    *code = 0;
    return TRUE;
}

HANDLE WINAPI OpenOne(DWORD access, BOOL inherit, DWORD id) {
    return id == kProgramId ? CreateEventW(nullptr, TRUE, TRUE, nullptr)
                            : OpenProcess(access, inherit, id);
}

BOOL WINAPI EndOne(HANDLE, UINT) {
    g_pPresent->program.clear();
    return TRUE;
}

BOOL WINAPI ListPrograms(DWORD* ids, DWORD, DWORD* size) {
    *size = 0;
    if (!g_pPresent->program.empty()) {
        ids[0] = kProgramId;
        *size = sizeof ids[0];
    }
    return TRUE;
}

BOOL WINAPI ListModules(HANDLE, HMODULE* modules, DWORD, LPDWORD size) {
    *modules = GetModuleHandleW(nullptr);
    *size = sizeof *modules;
    return TRUE;
}

DWORD WINAPI NameModule(HANDLE, HMODULE, LPWSTR path, DWORD size) {
    lstrcpynW(path, g_pPresent->program.c_str(), static_cast<int>(size));
    return static_cast<DWORD>(g_pPresent->program.size());
}

DWORD WINAPI OwnName(HMODULE module, LPWSTR path, DWORD size) {
    if (module != nullptr || g_pPresent->ownProgram.empty())
        return GetModuleFileNameW(module, path, size);
    lstrcpynW(path, g_pPresent->ownProgram.c_str(), static_cast<int>(size));
    return static_cast<DWORD>(g_pPresent->ownProgram.size());
}

// The trace module takes its lines and forgets them; the watch over the calls has noted them.

int OpenTrace(void** session, const KrDbgConfig*) {
    *session = g_pPresent;
    return 0;
}

int TraceLine(void*, const KrDbgTime*, const wchar_t*) {
    return 0;
}

int CloseTrace(void*) {
    return 0;
}

HMODULE TraceModule() {
    return reinterpret_cast<HMODULE>(0x5c200000);
}

bool IsTraceModule(const wchar_t* path) {
    return KrCommon::String::EqualNoCase(KrCommon::String::GetFileName(path), L"krdbglog.dll") &&
           GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

HMODULE WINAPI Load(LPCWSTR path) {
    return IsTraceModule(path) ? TraceModule() : LoadLibraryW(path);
}

HMODULE WINAPI LoadEx(LPCWSTR path, HANDLE file, DWORD flags) {
    return IsTraceModule(path) ? TraceModule() : LoadLibraryExW(path, file, flags);
}

BOOL WINAPI Unload(HMODULE module) {
    return module == TraceModule() ? TRUE : FreeLibrary(module);
}

struct Found {
    const char* name;
    void* function;
};

template <class Function>
void* Address(Function* function) {
    return reinterpret_cast<void*>(function);
}

FARPROC WINAPI FindFunction(HMODULE module, LPCSTR name) {
    static const Found s_Found[] = {
        {"EnumProcesses", Address(ListPrograms)},
        {"EnumProcessModules", Address(ListModules)},
        {"GetModuleFileNameExW", Address(NameModule)},
        {"KrDbgInitialize", Address(OpenTrace)},
        {"KrDbgTrace", Address(TraceLine)},
        {"KrDbgUninitialize", Address(CloseTrace)},
    };
    // A number in the place of a name finds a function by its ordinal.
    if (reinterpret_cast<std::uintptr_t>(name) > 0xffff) {
        for (const Found& found : s_Found) {
            if (std::strcmp(name, found.name) == 0)
                return reinterpret_cast<FARPROC>(found.function);
        }
    }
    return GetProcAddress(module, name);
}

std::wstring ValueOf(const MachineThings& things, const std::wstring& name) {
    const auto found = things.find(name);
    return found != things.end() ? found->second.substr(found->second.find(L' ') + 1) : L"";
}

}  // namespace

SimulatedSystem::SimulatedSystem(HMODULE module) {
    g_pPresent = new Present;
    if (module == nullptr)
        return;
    const auto patch = [&](const char* library, const char* name, auto* function) {
        if (test_support::ImportTable(module).Find(library, name) != nullptr)
            m_Patches.push_back(std::make_unique<IatPatch>(module, library, name, function));
    };
    patch("advapi32.dll", "OpenSCManagerW", Connect);
    patch("advapi32.dll", "OpenServiceW", OpenNamed);
    patch("advapi32.dll", "CreateServiceW", Create);
    patch("advapi32.dll", "ChangeServiceConfig2W", Configure);
    patch("advapi32.dll", "QueryServiceStatus", Query);
    patch("advapi32.dll", "StartServiceW", Start);
    patch("advapi32.dll", "ControlService", Control);
    patch("advapi32.dll", "DeleteService", Delete);
    patch("advapi32.dll", "CloseServiceHandle", CloseService);
    patch("kernel32.dll", "Sleep", Pause);
    patch("kernel32.dll", "WaitForSingleObject", Wait);
    patch("kernel32.dll", "SetEvent", SetOne);
    patch("kernel32.dll", "CreateProcessW", CreateOne);
    patch("kernel32.dll", "GetExitCodeProcess", ExitCode);
    patch("kernel32.dll", "OpenProcess", OpenOne);
    patch("kernel32.dll", "TerminateProcess", EndOne);
    patch("kernel32.dll", "GetModuleFileNameW", OwnName);
    patch("kernel32.dll", "LoadLibraryW", Load);
    patch("kernel32.dll", "LoadLibraryExW", LoadEx);
    patch("kernel32.dll", "FreeLibrary", Unload);
    patch("kernel32.dll", "GetProcAddress", FindFunction);
}

SimulatedSystem::~SimulatedSystem() {
    StopWatchdog();
    m_Patches.clear();
    delete g_pPresent;
    g_pPresent = nullptr;
}

void SimulatedSystem::ShowServices(MachineThings& things) {
    const std::wstring root = std::wstring(L"HKLM 64 ") + kServicesKey;
    MachineThings services;
    for (const auto& [thing, value] : things) {
        if (!thing.starts_with(root + L"\\") || thing.find(L": ") != std::wstring::npos)
            continue;
        const std::wstring name = thing.substr(root.size() + 1);
        const auto text = [&](const wchar_t* of) { return ValueOf(things, thing + L": " + of); };
        services[L"service " + name] =
            L"type " + text(L"type") + L", start " + text(L"start") + L", errors " +
            text(L"errors") + L", program " + text(L"program") + L", as " + text(L"account") +
            L", shown as " + text(L"display") + L", described as " + text(L"description");
        services[L"service " + name + L", state"] =
            text(L"state") == std::to_wstring(SERVICE_RUNNING) ? L"running" : L"stopped";
    }
    std::erase_if(things, [](const auto& thing) {
        return thing.first.find(kServicesKey) != std::wstring::npos;
    });
    things.merge(services);
}

void SimulatedSystem::StartWatchdog(const std::wstring& productId) {
    StopWatchdog();
    g_pPresent->productId = productId;
    g_pPresent->stopEvent = CreateEventW(
        nullptr, TRUE, FALSE, (L"Global\\WATCHDOG_EVENT_STOP_WATCHDOG" + productId).c_str());
}

void SimulatedSystem::StopWatchdog() {
    if (g_pPresent->stopEvent != nullptr)
        CloseHandle(g_pPresent->stopEvent);
    g_pPresent->stopEvent = nullptr;
}

void SimulatedSystem::SetRunningProgram(const std::wstring& path) {
    g_pPresent->program = path;
}

void SimulatedSystem::SetOwnProgram(const std::wstring& path) {
    g_pPresent->ownProgram = path;
}

const std::vector<std::wstring>& SimulatedSystem::Started() const {
    return g_pPresent->started;
}

void SimulatedSystem::ForgetStarted() {
    g_pPresent->started.clear();
}

}  // namespace deploy_test
