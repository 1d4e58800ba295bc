#pragma once

// Watches the service process of a registered session and registers anew after its death.

#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "Common/KrCommon/KrComn_Synchronize.h"

class CKrRpcClientHelper;

namespace OuterClientMonitor {

constexpr std::uint32_t kMonitorMail = 35870;
constexpr std::uint32_t kReconnectIntervalMs = 500;

// What a monitor thread holds of its helper: null once the helper is going away. The lock is held
// while the thread uses the helper, so that the helper's destruction waits for it.
struct Link {
    KrCommon::Synchronize::CriticalSection lock;
    CKrRpcClientHelper* helper = nullptr;
};
using LinkPtr = boost::shared_ptr<Link>;

// A new stop event, auto-reset and not signalled (CreateEventW); null without one.
void* CreateStopEvent();
void SignalStopEvent(void* stopEvent);

// Starts the monitor thread of one registration. The thread owns `stopEvent` from then on.
void StartThread(const LinkPtr& link, void* stopEvent);

}  // namespace OuterClientMonitor

// Ids of the calling process and thread, as they travel with a mail.
namespace OuterClientPlatform {

std::uint32_t CurrentProcessId();
std::uint32_t CurrentThreadId();

}  // namespace OuterClientPlatform
