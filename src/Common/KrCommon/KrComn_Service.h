#pragma once

// A service of the service manager, as seen by a program that asks for it. For Windows builds
// alone.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Service {

// The connection to the service manager and, through it, to one service.
//
// Functions tell failures by false and a Win32 code in `error`, which may be null and is written
// on failure alone. Nothing raises. One object belongs to one thread at a time.
class Base {
public:
    // The words of a service's status, in the order of SERVICE_STATUS: type, state, controls
    // accepted, Win32 exit code, exit code of its own, check point, wait hint.
    static constexpr std::size_t kStatusWords = 7;

    Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    virtual ~Base();

    // Connects to the service manager of this machine (OpenSCManagerW). What was open is closed.
    bool Connect(std::uint32_t access, std::uint32_t* error) noexcept;

    // Opens a service by its name (OpenServiceW) after Connect(). An empty name is refused with
    // 160 (ERROR_BAD_ARGUMENTS), unseen by the system.
    bool Open(const std::wstring& name, std::uint32_t access, std::uint32_t* error) noexcept;

    // Asks for the state of the service, one of SERVICE_STOPPED ... SERVICE_PAUSED
    // (QueryServiceStatus).
    bool QueryState(std::uint32_t& state, std::uint32_t* error) noexcept;

    // Starts the service, without arguments (StartServiceW).
    bool Start(std::uint32_t* error) noexcept;

    // Waits until the service is in a state: asks up to *uiCount times, and lets *uiIntervalMs
    // milliseconds pass after each answer that is another state, the last one included.
    //
    // `status` may be null; on success it receives kStatusWords words. Without manager or service
    // the call fails with 6 (ERROR_INVALID_HANDLE), after the last round with 1460
    // (ERROR_TIMEOUT). With 0 rounds the service is not asked, and its state taken for 0.
    bool WaitStatus(const std::uint32_t* uiDesiredState, const std::uint32_t* uiCount,
                    const std::uint32_t* uiIntervalMs, std::uint32_t* status,
                    std::uint32_t* error) noexcept;

    // Closes the service and then the manager. Without a manager nothing is closed. A handle that
    // the system does not close stays.
    void Close() noexcept;

protected:
    SC_HANDLE m_hManager = nullptr;
    SC_HANDLE m_hService = nullptr;
};

}  // namespace KrCommon::Service
