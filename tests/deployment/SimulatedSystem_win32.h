#pragma once

// The slow and the shared parts of the system, simulated below what a module imports: the service
// manager, processes, the watchdog, pauses, and the trace module. Files, registry, and everything
// else stay the system's own.
//
// It belongs between the module and the wrappers of PlatformCalls: make it first. The entry of a
// service lies in the registry (kServicesKey), so that it outlives a process as a real one does.

#include <memory>
#include <string>
#include <vector>

#include "support/IatPatch.h"
#include "support/MachineThings_win32.h"

namespace deploy_test {

// One at a time in a process.
class SimulatedSystem {
public:
    // For what `module` imports; without one nothing is simulated.
    explicit SimulatedSystem(HMODULE module);
    SimulatedSystem(const SimulatedSystem&) = delete;
    SimulatedSystem& operator=(const SimulatedSystem&) = delete;
    ~SimulatedSystem();

    // Below HKEY_LOCAL_MACHINE, in the 64-bit view; one key for each service.
    static constexpr wchar_t kServicesKey[] = L"SOFTWARE\\Simulated Services";
    // The things of that key become services, as of a real service manager.
    static void ShowServices(test_support::MachineThings& things);

    // The watchdog runs: its stop event is there until it is told to end.
    void StartWatchdog(const std::wstring& productId);
    void StopWatchdog();
    // A process of the product, until it is ended; empty for none.
    void SetRunningProgram(const std::wstring& path);

    // The program that this process is said to be.
    void SetOwnProgram(const std::wstring& path);

    // Command lines of programs that were started.
    const std::vector<std::wstring>& Started() const;
    void ForgetStarted();

private:
    std::vector<std::unique_ptr<test_support::IatPatch>> m_Patches;
};

}  // namespace deploy_test
