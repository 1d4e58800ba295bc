#pragma once

// What this machine says of the service, without asking the service itself.

#include <cstdint>
#include <memory>
#include <string>

namespace WyCtl {

struct ServiceState {
    std::string name;             // in the service manager, UTF-8
    std::uint32_t error = 0;      // why the service manager does not tell; a Win32 code
    std::uint32_t state = 0;      // SERVICE_STOPPED ...; 0 when not told
    std::uint32_t processId = 0;  // 0 unless a process runs
    bool hasStartEvent = false;   // whether somebody owns the watchdog's event
    bool hasStopEvent = false;

    // The state in words.
    std::string Text() const;
};

// Asks for the service of the program's product identity (QueryServiceStatusEx, OpenEventW).
ServiceState AskServiceState();

// A connection to the service manager that is only kept, null when it is refused.
//
// Who asks for the state while another thread of the program works with the service holds one from
// before that thread begins: Wine mixes up handles of threads that connect at the same time.
std::shared_ptr<void> KeepServiceManager();

}  // namespace WyCtl
