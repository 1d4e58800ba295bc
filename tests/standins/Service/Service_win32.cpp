// Stands in for the service program where nothing needs an answer: runs as a service of whatever
// name, and stops when it is asked to. Nobody listens: mails to it find no server.
//
// Not started by the service manager it ends with exit code 1.

#include "Common/KrCommon/KrComn_Windows.h"

namespace {

SERVICE_STATUS_HANDLE g_hStatus = nullptr;
HANDLE g_hStop = nullptr;

void Report(DWORD state) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    if (state == SERVICE_RUNNING)
        status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
    SetServiceStatus(g_hStatus, &status);
}

DWORD WINAPI OnControl(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_SHUTDOWN) {
        Report(SERVICE_STOP_PENDING);
        SetEvent(g_hStop);
    }
    return NO_ERROR;
}

void WINAPI Main(DWORD, wchar_t** arguments) {
    g_hStatus = RegisterServiceCtrlHandlerExW(arguments[0], OnControl, nullptr);
    if (g_hStatus == nullptr)
        return;
    g_hStop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Report(SERVICE_RUNNING);
    WaitForSingleObject(g_hStop, INFINITE);
    Report(SERVICE_STOPPED);
}

}  // namespace

int main() {
    wchar_t name[] = L"";
    const SERVICE_TABLE_ENTRYW table[] = {{name, Main}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) != 0 ? 0 : 1;
}
