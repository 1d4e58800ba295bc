#pragma once

// The development host as a service of the service manager, and the watchdog that it belongs to.
//
// Both live as long as their objects, and are made in any order. One of each product id at a time.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

namespace test_support {

// The entry "ID Host Service" of the service manager, for WySvcHost.exe beside the test program.
// Failures of the service manager are std::runtime_error.
class HostServiceEntry {
public:
    // `options` follow --service on the command line of the host.
    explicit HostServiceEntry(const std::wstring& options = {},
                              const std::wstring& productId = L"Wyvarion");
    HostServiceEntry(const HostServiceEntry&) = delete;
    HostServiceEntry& operator=(const HostServiceEntry&) = delete;
    // Stops the service, by force if need be, and deletes the entry. Returns when the process of
    // the host is gone.
    ~HostServiceEntry();

    // StartServiceW; the error, 0 for none.
    std::uint32_t Start();
    // ControlService; the error, 0 for none.
    std::uint32_t Control(std::uint32_t control);

    struct Status {
        std::uint32_t state = 0;
        std::uint32_t accepted = 0;
        std::uint32_t exitCode = 0;
        std::uint32_t ownExitCode = 0;
        std::uint32_t processId = 0;
    };
    Status Ask() const;
    // False when the state does not come in 30 seconds.
    bool WaitFor(std::uint32_t state) const;

private:
    void Create(const std::wstring& commandLine);

    std::wstring m_strProductId;
    std::wstring m_strName;
    void* m_hManager;
    void* m_hService = nullptr;
};

// Watchdog.exe, which lies beside the test program and tells its options at its head. It ends with
// the object, and with the test program at the latest. Failures to start it are std::runtime_error.
class WatchdogProcess {
public:
    // Returns when the events of the watchdog are there; at once with `wait` false.
    explicit WatchdogProcess(const std::wstring& options = {}, bool wait = true);
    WatchdogProcess(const WatchdogProcess&) = delete;
    WatchdogProcess& operator=(const WatchdogProcess&) = delete;
    ~WatchdogProcess();

    // Waits for the events of a watchdog that was not waited for.
    void WaitUntilUp();
    // The lines of its record so far.
    std::vector<std::string> Record() const;
    // Waits until the record has a line; false after 30 seconds.
    bool WaitForRecord(const std::string& line) const;
    // Its exit status; nothing while it still runs after 30 seconds.
    std::optional<std::uint32_t> WaitForEnd();

private:
    TemporaryFolder m_Folder{L"wy watchdog"};
    void* m_hReady;
    void* m_hProcess = nullptr;
};

}  // namespace test_support
