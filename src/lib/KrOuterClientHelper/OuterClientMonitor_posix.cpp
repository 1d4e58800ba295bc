// The native build has no service process to watch: the waiting belongs to Windows alone.

#include <unistd.h>

#include "lib/KrOuterClientHelper/OuterClientMonitor.h"

OuterClientMonitor::EventPtr OuterClientMonitor::CreateStopEvent() {
    return {};
}

void OuterClientMonitor::SignalStopEvent(void*) {}

void OuterClientMonitor::StartThread(const LinkPtr&, const EventPtr&) {}

std::uint32_t OuterClientPlatform::CurrentProcessId() {
    return static_cast<std::uint32_t>(getpid());
}

std::uint32_t OuterClientPlatform::CurrentThreadId() {
    return static_cast<std::uint32_t>(gettid());
}
