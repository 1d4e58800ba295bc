#pragma once

// The host as a service of the service manager. For Windows builds alone.

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace DevHost {

// One per process, and only in a process that the service manager has started.
//
// The states that the service manager sees: START_PENDING until the host listens, RUNNING, then
// STOP_PENDING until everything is taken down, STOPPED. STOP and SHUTDOWN are accepted while it
// runs.
class HostService {
public:
    // The work of the service, from the reading of files to the end. Gives the exit status of the
    // program.
    using Body = std::function<int(HostService&)>;

    HostService(std::wstring name, Body body);
    HostService(const HostService&) = delete;
    HostService& operator=(const HostService&) = delete;
    ~HostService();

    // Runs the body as the service (StartServiceCtrlDispatcherW) and gives its exit status in
    // `status`. False, and nothing has run, when the service manager did not start this process.
    bool Run(int& status);

    // Says that the host listens. `stop` is called, on a thread of the system, when the service is
    // to stop, and returns at once.
    void ReportRunning(std::function<void()> stop);
    // Says that the host is on its way down.
    void ReportStopping();
    // Says that the host has ended with this status, which is 0 or becomes the service's own exit
    // code. For a body that ends the process; one that returns need not.
    void ReportStopped(int status);

    // What the service manager calls.
    void Main();
    std::uint32_t OnControl(std::uint32_t control);

private:
    // Must be called with m_Mutex held.
    void Report(std::uint32_t state, int status);

    const std::wstring m_strName;
    const Body m_Body;
    int m_iStatus = 0;

    std::mutex m_Mutex;
    void* m_hStatus = nullptr;
    std::uint32_t m_uiState = 0;
    std::function<void()> m_Stop;
};

}  // namespace DevHost
