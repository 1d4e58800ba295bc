#pragma once

// Watches the service process of a registered session and registers anew after its death.

#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "Common/KrCommon/KrComn_Synchronize.h"

namespace OuterClientMonitor {

// What the monitor thread does with the session that it watches.
class Session {
public:
    static constexpr std::uint64_t kNoHandle = 0xffffffffffffffffULL;

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    virtual ~Session() = default;

    // Asks the service for a handle on its own process that is valid in this one. 0 when the mail
    // failed, kNoHandle when the service could not provide one.
    virtual std::uint64_t AskServiceHandle() = 0;

    // One attempt to register again. True when it got through.
    virtual bool TryReconnect() = 0;
};

constexpr std::uint32_t kMonitorMail = 35870;
constexpr std::uint32_t kReconnectIntervalMs = 500;

// What a monitor thread holds of its session: null once the session is going away. The lock is held
// while the thread uses the session, so that its destruction waits for the thread.
struct Link {
    KrCommon::Synchronize::CriticalSection lock;
    Session* session = nullptr;
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
