#include "wyctl/ServiceState.h"

#include <fmt/format.h>

#include <iterator>

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Watchdog.h"

namespace WyCtl {

namespace {

using WyCommon::Utility::WatchdogEvent;

using ServiceHandle = KrCommon::UniqueServiceHandle;

// The error, 0 for none.
DWORD Query(const std::wstring& name, SERVICE_STATUS_PROCESS& status) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (manager == nullptr) {
        return GetLastError();
    }
    const ServiceHandle service(OpenServiceW(manager.get(), name.c_str(), SERVICE_QUERY_STATUS));
    if (service == nullptr) {
        return GetLastError();
    }
    DWORD needed = 0;
    const BOOL told =
        QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO,
                             reinterpret_cast<BYTE*>(&status), sizeof status, &needed);
    return told != 0 ? ERROR_SUCCESS : GetLastError();
}

// An event that we may not open is there, too.
bool IsThere(WatchdogEvent event) {
    const std::wstring name = WyCommon::Utility::WatchdogEventName(event);
    const HANDLE opened = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
    if (opened == nullptr) {
        return GetLastError() == ERROR_ACCESS_DENIED;
    }
    CloseHandle(opened);
    return true;
}

}  // namespace

std::string ServiceState::Text() const {
    constexpr const char* kStates[] = {"unknown",       "stopped", "start pending",
                                       "stop pending",  "running", "continue pending",
                                       "pause pending", "paused"};
    if (error == ERROR_SERVICE_DOES_NOT_EXIST) {
        return "not installed";
    }
    if (error != ERROR_SUCCESS) {
        return fmt::format("unknown (system error {})", error);
    }
    return state < std::size(kStates) ? kStates[state] : fmt::format("state {}", state);
}

std::shared_ptr<void> KeepServiceManager() {
    return ServiceHandle(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
}

ServiceState AskServiceState() {
    const std::wstring name = WyCommon::Utility::HostServiceName();
    ServiceState answer;
    answer.name = KrCommon::String::ToUtf8(name);
    SERVICE_STATUS_PROCESS status{};
    answer.error = Query(name, status);
    answer.state = status.dwCurrentState;
    answer.processId = status.dwCurrentState == SERVICE_STOPPED ? 0 : status.dwProcessId;
    answer.hasStartEvent = IsThere(WatchdogEvent::kStartService);
    answer.hasStopEvent = IsThere(WatchdogEvent::kStopService);
    return answer;
}

}  // namespace WyCtl
