// The exports that start and stop the service host.

#include <WySdk/WySdk.h>

#include "Common/KrCommon/KrComn_Windows.h"
#include "WySdk/ApiCall.h"
#include "WySdk/SdkState.h"
#include "lib/wycommon/WyCommon_Watchdog.h"

namespace {

constexpr uint32_t kTimeoutSeconds = 120;
// What the process of the host needs to end, once the service manager calls it stopped.
constexpr DWORD kEndOfProcessMs = 2000;

}  // namespace

uint32_t WYAPI WyStartService(void) {
    return Guarded(L"WyStartService", [] {
        const boost::mutex::scoped_lock lock(g_ApiMutex);
        return WyCommon::Utility::StartWatchdogService(kTimeoutSeconds);
    });
}

uint32_t WYAPI WyStopService(void) {
    return Guarded(L"WyStopService", [] {
        const boost::mutex::scoped_lock lock(g_ApiMutex);
        // Nothing may come between the attempt and the sleep, neither a failure nor an exception.
        const uint32_t result = Guarded(L"WyStopService", [] {
            return WyCommon::Utility::StopWatchdogService(1, kTimeoutSeconds);
        });
        Sleep(kEndOfProcessMs);
        return result;
    });
}
