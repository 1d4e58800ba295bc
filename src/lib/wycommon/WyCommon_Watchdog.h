#pragma once

// Starting and stopping the service host. For Windows builds alone.
//
// The host belongs to a *watchdog*, a process that starts it, stops it and starts it again. Who
// wants it started or stopped signals a named event of the watchdog and then watches the state of
// the service in the service manager.
//
// The functions block, ask in rounds of one second, and may run on any thread. Failures are
// results, 0xe0fe.... with the low 16 bits of a Win32 code, and one error line in the log; a wait
// that runs out is ERROR_TIMEOUT (1460). Only std::bad_alloc is raised.

#include <cstdint>
#include <string>

namespace WyCommon::Utility {

// The name of the host in the service manager: the product id and " Host Service".
std::wstring HostServiceName();

// What the named events of the watchdog mean.
enum class WatchdogEvent {
    kStartService,  // "Global\WATCHDOG_EVENT_START_SERVICE" and the product id
    kStopService,   // "Global\WATCHDOG_EVENT_STOP_SERVICE" and the product id
};
std::wstring WatchdogEventName(WatchdogEvent event);

// Has the watchdog start the host, and returns when the host runs.
//
// First waits up to `uiTimeoutSeconds` seconds for the watchdog to come up, then as long again for
// the host; with 0 nothing is tried, and the result comes from the last error of the thread. A
// host that runs already is a success.
std::uint32_t StartWatchdogService(std::uint32_t uiTimeoutSeconds);

// Has the watchdog stop the host, and returns when the host is stopped, after `uiTimeoutSeconds`
// seconds at the latest.
//
// Without a watchdog the host counts as stopped: success, with a warning in the log.
// `uiReserved` has no effect.
std::uint32_t StopWatchdogService(std::uint32_t uiReserved, std::uint32_t uiTimeoutSeconds);

// Starts any service through the service manager, without the watchdog, and returns when it runs.
//
// Each wait lasts up to 120 seconds. A service that runs already is a success with a warning in
// the log, one that is on its way up is waited for, one that is on its way down is started one
// second after it has stopped. An empty name is ERROR_BAD_ARGUMENTS (160).
std::uint32_t StartServiceByName(const std::wstring& name);

}  // namespace WyCommon::Utility
