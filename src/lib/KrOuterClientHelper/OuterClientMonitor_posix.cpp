// The native build has no service process to watch: the waiting belongs to Windows alone.

#include <unistd.h>

#include "lib/KrOuterClientHelper/OuterClientMonitor.h"

OuterClientMonitor::EventPtr OuterClientMonitor::CreateStopEvent() {
    return {};
}

void OuterClientMonitor::SignalStopEvent(void*) {}

void OuterClientMonitor::StartThread(const LinkPtr&, const EventPtr&) {}

std::uint32_t OuterClientPlatform::CurrentProcessId() {
    static const auto id = static_cast<std::uint32_t>(getpid());
    return id;
}

std::uint32_t OuterClientPlatform::CurrentThreadId() {
    thread_local const auto id = static_cast<std::uint32_t>(gettid());
    return id;
}
