#include "lib/wycommon/WyCommon_Watchdog.h"

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Service.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "utilMode/FrwkMode.h"

namespace WyCommon::Utility {

namespace {

using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kWarning;
using KrCommon::Result::FromSystem;
using KrCommon::Result::kSuccess;

constexpr const char* kLogSource = "WyCommon_Watchdog";
constexpr std::uint32_t kRoundMs = 1000;
constexpr std::uint32_t kRounds = 120;
constexpr std::uint32_t kSettleMs = 1000;  // between the end of a service and its next start

using Handle = KrCommon::UniqueHandle;

// `format` takes the error as its one argument.
std::uint32_t Fail(const wchar_t* format, std::uint32_t error) {
    WY_TRACE(kError, format, error);
    return FromSystem(error);
}

// Null, with the reason in `error`, when the event cannot be opened.
Handle OpenToSignal(WatchdogEvent event, DWORD& error) {
    const std::wstring name = WatchdogEventName(event);
    Handle opened(OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str()));
    if (opened == nullptr)
        error = GetLastError();
    return opened;
}

// Null, with the reason in `error`, when the watchdog does not come up in time.
Handle WaitForStartEvent(std::uint32_t rounds, DWORD& error) {
    error = GetLastError();
    for (std::uint32_t round = 0; round < rounds; ++round) {
        if (Handle event = OpenToSignal(WatchdogEvent::kStartService, error))
            return event;
        Sleep(kRoundMs);
    }
    return nullptr;
}

std::uint32_t OpenNamed(KrCommon::Service::Base& service, const std::wstring& name,
                        std::uint32_t managerAccess, std::uint32_t serviceAccess) {
    std::uint32_t error = ERROR_SUCCESS;
    if (!service.Connect(managerAccess, &error))
        return Fail(L"KrCommon::Service::Base::Connect() failed: 0x%08X", error);
    if (!service.Open(name, serviceAccess, &error))
        return Fail(L"KrCommon::Service::Base::Open() failed: 0x%08X", error);
    return kSuccess;
}

std::uint32_t WaitFor(KrCommon::Service::Base& service, std::uint32_t state, std::uint32_t rounds,
                      const wchar_t* format) {
    std::uint32_t error = ERROR_SUCCESS;
    if (!service.WaitStatus(&state, &rounds, &kRoundMs, nullptr, &error))
        return Fail(format, error);
    return kSuccess;
}

std::uint32_t WatchHost(std::uint32_t state, std::uint32_t rounds) {
    KrCommon::Service::Base service;
    const std::uint32_t opened = OpenNamed(service, HostServiceName(), GENERIC_READ, GENERIC_READ);
    if (opened != kSuccess)
        return opened;
    return WaitFor(service, state, rounds, L"KrCommon::Service::Base::WaitStatus() failed: 0x%08X");
}

std::uint32_t WaitForRunning(KrCommon::Service::Base& service) {
    return WaitFor(service, SERVICE_RUNNING, kRounds,
                   L"KrCommon::Service::Base::WaitStatus(SERVICE_RUNNING) failed: 0x%08X");
}

std::uint32_t WaitForStopped(KrCommon::Service::Base& service) {
    const std::uint32_t stopped =
        WaitFor(service, SERVICE_STOPPED, kRounds,
                L"KrCommon::Service::Base::WaitStatus(SERVICE_STOPPED) failed: 0x%08X");
    if (stopped == kSuccess)
        Sleep(kSettleMs);
    return stopped;
}

std::uint32_t StartAndWait(KrCommon::Service::Base& service) {
    std::uint32_t error = ERROR_SUCCESS;
    if (!service.Start(&error))
        return Fail(L"KrCommon::Service::Base::Start() failed: 0x%08X", error);
    return WaitForRunning(service);
}

}  // namespace

std::wstring HostServiceName() {
    return Frwk::Mode::GetWyvarionId() + L" Host Service";
}

std::wstring WatchdogEventName(WatchdogEvent event) {
    const wchar_t* const name = event == WatchdogEvent::kStartService
                                    ? L"Global\\WATCHDOG_EVENT_START_SERVICE"
                                    : L"Global\\WATCHDOG_EVENT_STOP_SERVICE";
    return name + Frwk::Mode::GetWyvarionId();
}

std::uint32_t StartWatchdogService(std::uint32_t uiTimeoutSeconds) {
    DWORD error = ERROR_SUCCESS;
    const Handle event = WaitForStartEvent(uiTimeoutSeconds, error);
    if (event == nullptr)
        return Fail(L"OpenEvent for WATCHDOG_EVENT_START_SERVICE failed: 0x%08X", error);
    if (SetEvent(event.get()) == 0)
        return Fail(L"SetEvent for WATCHDOG_EVENT_START_SERVICE failed: 0x%08X", GetLastError());
    return WatchHost(SERVICE_RUNNING, uiTimeoutSeconds);
}

std::uint32_t StopWatchdogService([[maybe_unused]] std::uint32_t uiReserved,
                                  std::uint32_t uiTimeoutSeconds) {
    DWORD error = ERROR_SUCCESS;
    const Handle event = OpenToSignal(WatchdogEvent::kStopService, error);
    if (event == nullptr) {
        if (error != ERROR_FILE_NOT_FOUND)
            return Fail(L"OpenEvent for WATCHDOG_EVENT_STOP_SERVICE failed: 0x%08x", error);
        WY_TRACE(kWarning, L"WyWatchDog is already exit...");
        return kSuccess;
    }
    if (SetEvent(event.get()) == 0)
        return Fail(L"SetEvent for WATCHDOG_EVENT_STOP_SERVICE failed: 0x%08X", GetLastError());
    return WatchHost(SERVICE_STOPPED, uiTimeoutSeconds);
}

std::uint32_t StartServiceByName(const std::wstring& name) {
    KrCommon::Service::Base service;
    const std::uint32_t opened =
        OpenNamed(service, name, GENERIC_EXECUTE, GENERIC_READ | GENERIC_EXECUTE);
    if (opened != kSuccess)
        return opened;
    std::uint32_t state = 0;
    std::uint32_t error = ERROR_SUCCESS;
    if (!service.QueryState(state, &error))
        return Fail(L"KrCommon::Service::Base::QueryState() failed: 0x%08X", error);
    if (state == SERVICE_RUNNING) {
        WY_TRACE(kWarning, L"Service is already running...");
        return kSuccess;
    }
    if (state == SERVICE_START_PENDING)
        return WaitForRunning(service);
    if (state == SERVICE_STOP_PENDING) {
        const std::uint32_t stopped = WaitForStopped(service);
        if (stopped != kSuccess)
            return stopped;
    }
    return StartAndWait(service);
}

}  // namespace WyCommon::Utility
