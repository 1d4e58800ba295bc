#include "support/WatchedService.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/RunProgram.h"

namespace test_support {

namespace {

constexpr DWORD kPatienceMs = 30000;
constexpr DWORD kPollMs = 20;

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ", error " + std::to_string(GetLastError()));
}

template <class Condition>
bool WaitUntil(Condition condition) {
    for (DWORD waited = 0; !condition(); waited += kPollMs) {
        if (waited >= kPatienceMs)
            return false;
        Sleep(kPollMs);
    }
    return true;
}

SC_HANDLE Handle(void* handle) {
    return static_cast<SC_HANDLE>(handle);
}

// Two hosts of one product cannot be, and one that has said that it is stopped may still be.
bool HostIsGone(const std::wstring& productId) {
    const HANDLE place =
        OpenMutexW(SYNCHRONIZE, FALSE, (L"Global\\WySvcHost.DevelopmentHost." + productId).c_str());
    if (place == nullptr)
        return true;
    CloseHandle(place);
    return false;
}

}  // namespace

HostServiceEntry::HostServiceEntry(const std::wstring& options, const std::wstring& productId)
    : m_strProductId(productId),
      m_strName(productId + L" Host Service"),
      m_hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
    std::wstring commandLine =
        L"\"" + (ProgramFolder() / L"WySvcHost.exe").wstring() + L"\" --service";
    if (!options.empty())
        commandLine += L" " + options;
    Create(commandLine);
}

// A deleted entry of the same name is there until its last handle is closed.
void HostServiceEntry::Create(const std::wstring& commandLine) {
    WaitUntil([&] {
        m_hService = CreateServiceW(Handle(m_hManager), m_strName.c_str(), m_strName.c_str(),
                                    SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                    SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, commandLine.c_str(),
                                    nullptr, nullptr, nullptr, nullptr, nullptr);
        return m_hService != nullptr || GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE;
    });
    if (m_hService == nullptr)
        Fail("the service cannot be made");
}

HostServiceEntry::~HostServiceEntry() {
    const Status status = Ask();
    if (status.state != SERVICE_STOPPED) {
        WaitUntil([this] { return Ask().state != SERVICE_START_PENDING; });
        Control(SERVICE_CONTROL_STOP);
        if (!WaitFor(SERVICE_STOPPED)) {
            const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, status.processId);
            TerminateProcess(process, 1);
            CloseHandle(process);
        }
    }
    WaitUntil([this] { return HostIsGone(m_strProductId); });
    DeleteService(Handle(m_hService));
    CloseServiceHandle(Handle(m_hService));
    CloseServiceHandle(Handle(m_hManager));
}

std::uint32_t HostServiceEntry::Start() {
    return StartServiceW(Handle(m_hService), 0, nullptr) != 0 ? ERROR_SUCCESS : GetLastError();
}

std::uint32_t HostServiceEntry::Control(std::uint32_t control) {
    SERVICE_STATUS status;
    return ControlService(Handle(m_hService), control, &status) != 0 ? ERROR_SUCCESS
                                                                     : GetLastError();
}

HostServiceEntry::Status HostServiceEntry::Ask() const {
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (QueryServiceStatusEx(Handle(m_hService), SC_STATUS_PROCESS_INFO,
                             reinterpret_cast<BYTE*>(&status), sizeof status, &needed) == 0)
        return {};
    return {status.dwCurrentState, status.dwControlsAccepted, status.dwWin32ExitCode,
            status.dwServiceSpecificExitCode, status.dwProcessId};
}

bool HostServiceEntry::WaitFor(std::uint32_t state) const {
    return WaitUntil([&] { return Ask().state == state; });
}

WatchdogProcess::WatchdogProcess(const std::wstring& options, bool wait) {
    static unsigned s_uiCount = 0;
    const std::wstring ready =
        L"watchdog." + std::to_wstring(GetCurrentProcessId()) + L"." + std::to_wstring(++s_uiCount);
    m_hReady = CreateEventW(nullptr, TRUE, FALSE, ready.c_str());
    std::wstring commandLine = L"\"" + (ProgramFolder() / L"Watchdog.exe").wstring() +
                               L"\" --parent " + std::to_wstring(GetCurrentProcessId()) +
                               L" --ready " + ready + L" --record \"" +
                               (m_Folder.Path() / L"record").wstring() + L"\" " + options;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        Fail("Watchdog.exe cannot be started");
    CloseHandle(process.hThread);
    m_hProcess = process.hProcess;
    if (wait)
        WaitUntilUp();
}

WatchdogProcess::~WatchdogProcess() {
    TerminateProcess(m_hProcess, 1);
    WaitForSingleObject(m_hProcess, kPatienceMs);
    CloseHandle(m_hProcess);
    CloseHandle(m_hReady);
}

void WatchdogProcess::WaitUntilUp() {
    const HANDLE either[] = {m_hReady, m_hProcess};
    if (WaitForMultipleObjects(2, either, FALSE, kPatienceMs) != WAIT_OBJECT_0)
        Fail("the watchdog does not come up");
}

std::vector<std::string> WatchdogProcess::Record() const {
    std::ifstream file(m_Folder.Path() / L"record", std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

bool WatchdogProcess::WaitForRecord(const std::string& line) const {
    return WaitUntil([&] {
        const std::vector<std::string> lines = Record();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    });
}

std::optional<std::uint32_t> WatchdogProcess::WaitForEnd() {
    DWORD status = 0;
    if (WaitForSingleObject(m_hProcess, kPatienceMs) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(m_hProcess, &status))
        return std::nullopt;
    return status;
}

}  // namespace test_support
