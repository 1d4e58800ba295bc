#pragma once

// The development host as a second process of a test.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

// WySvcHost.exe, which lies beside the test program, for the length of a scope. It ends with the
// test program at the latest. Failures to start it are std::runtime_error.
class ServiceHost {
public:
    // Returns when the host listens. `faults` is a script of misbehaviour, as --fault takes it,
    // `mode` the product identity, as --mode takes it, `log` the file of its log lines.
    explicit ServiceHost(const std::wstring& faults = {}, int mode = 0,
                         const std::wstring& log = {});
    ServiceHost(const ServiceHost&) = delete;
    ServiceHost& operator=(const ServiceHost&) = delete;
    ~ServiceHost();

    // Ends it as a crash would, and waits until it is gone.
    void Kill();
    // Its exit status; nothing while it still runs after the time.
    std::optional<std::uint32_t> WaitForEnd(std::uint32_t milliseconds);
    std::uint32_t ProcessId() const;
    // A handle on its process.
    void* Process() const { return m_hProcess; }

private:
    void Start(const std::wstring& faults, int mode, const std::wstring& log);

    std::wstring m_strName;
    void* m_hReady;
    void* m_hStop;
    void* m_hProcess = nullptr;
    std::uint32_t m_uiProcessId = 0;
};

}  // namespace test_support
