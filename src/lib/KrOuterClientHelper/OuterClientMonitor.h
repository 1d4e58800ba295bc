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

// An event handle that closes with its last holder: the helper and the thread both need it, and
// either may be the last.
using EventPtr = boost::shared_ptr<void>;

// A new stop event, auto-reset, not signalled, without a name (CreateEventW); null without one.
EventPtr CreateStopEvent();
void SignalStopEvent(void* stopEvent);

// Starts the monitor thread of one registration.
void StartThread(const LinkPtr& link, const EventPtr& stopEvent);

}  // namespace OuterClientMonitor

// Ids of the calling process and thread, as they travel with a mail.
namespace OuterClientPlatform {

std::uint32_t CurrentProcessId();
std::uint32_t CurrentThreadId();

}  // namespace OuterClientPlatform
