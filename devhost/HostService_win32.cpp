#include "devhost/HostService.h"

#include <exception>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/HostOptions.h"

namespace DevHost {

namespace {

constexpr const char* kLogSource = "HostService";
constexpr const wchar_t* kLogModule = L"WySvcHost";
// How long the service manager may have to wait for the next word of a pending service.
constexpr DWORD kWaitHintMs = 10'000;

// The service manager gives its calls no word of ours on their way.
HostService* g_pService = nullptr;

void WINAPI ServiceMain(DWORD, LPWSTR*) {
    g_pService->Main();
}

DWORD WINAPI ServiceControl(DWORD control, DWORD, LPVOID, LPVOID context) {
    return static_cast<HostService*>(context)->OnControl(control);
}

}  // namespace

HostService::HostService(std::wstring name, Body body)
    : m_strName(std::move(name)), m_Body(std::move(body)) {
    g_pService = this;
}

HostService::~HostService() {
    g_pService = nullptr;
}

bool HostService::Run(int& status) {
    std::wstring name = m_strName;
    const SERVICE_TABLE_ENTRYW table[] = {{name.data(), ServiceMain}, {nullptr, nullptr}};
    if (StartServiceCtrlDispatcherW(table) == 0)
        return false;
    status = m_iStatus;
    return true;
}

void HostService::Main() {
    m_iStatus = ExitStatus::kFailure;
    {
        const std::scoped_lock lock(m_Mutex);
        m_hStatus = RegisterServiceCtrlHandlerExW(m_strName.c_str(), ServiceControl, this);
        if (m_hStatus == nullptr)
            return;
        Report(SERVICE_START_PENDING, 0);
    }
    try {
        m_iStatus = m_Body(*this);
    } catch (const std::exception& error) {
        WY_LOG_ERROR << L"the service fails: " << error.what();
    }
    ReportStopped(m_iStatus);
}

void HostService::ReportRunning(std::function<void()> stop) {
    const std::scoped_lock lock(m_Mutex);
    m_Stop = std::move(stop);
    Report(SERVICE_RUNNING, 0);
}

void HostService::ReportStopping() {
    const std::scoped_lock lock(m_Mutex);
    if (m_uiState != SERVICE_STOP_PENDING)
        Report(SERVICE_STOP_PENDING, 0);
}

void HostService::ReportStopped(int status) {
    const std::scoped_lock lock(m_Mutex);
    Report(SERVICE_STOPPED, status);
}

std::uint32_t HostService::OnControl(std::uint32_t control) {
    const std::scoped_lock lock(m_Mutex);
    if (control == SERVICE_CONTROL_INTERROGATE)
        return NO_ERROR;
    if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_SHUTDOWN)
        return ERROR_CALL_NOT_IMPLEMENTED;
    if (m_uiState == SERVICE_RUNNING) {
        Report(SERVICE_STOP_PENDING, 0);
        m_Stop();
    }
    return NO_ERROR;
}

void HostService::Report(std::uint32_t state, int status) {
    m_uiState = state;
    SERVICE_STATUS report{};
    report.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    report.dwCurrentState = state;
    if (state == SERVICE_RUNNING)
        report.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
    if (state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING) {
        report.dwCheckPoint = 1;
        report.dwWaitHint = kWaitHintMs;
    }
    if (status != ExitStatus::kClean) {
        report.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
        report.dwServiceSpecificExitCode = static_cast<DWORD>(status);
    }
    SetServiceStatus(static_cast<SERVICE_STATUS_HANDLE>(m_hStatus), &report);
}

}  // namespace DevHost
