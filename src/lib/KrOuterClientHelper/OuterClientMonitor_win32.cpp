#include "lib/KrOuterClientHelper/OuterClientMonitor.h"

#include <exception>
#include <memory>
#include <new>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Windows.h"

using KrCommon::Synchronize::SingleLock;

namespace {

constexpr const char* kLogSource = "OuterClientHelper";
constexpr const wchar_t* kLogModule = L"OuterClientHelper";
constexpr DWORD kInvalidHelper = 0xffffffff;
constexpr DWORD kNoPrivilege = static_cast<DWORD>(-1);

struct Start {
    OuterClientMonitor::LinkPtr link;
    OuterClientMonitor::EventPtr stopEvent;
    HMODULE module;  // keeps the library loaded while the thread runs in it
};

void Reconnect(OuterClientMonitor::Link& link) {
    WY_LOG_INFO << L"Reconnect the RPC...";
    for (bool again = true; again;) {
        Sleep(OuterClientMonitor::kReconnectIntervalMs);
        const SingleLock lock(link.lock);
        again = link.session != nullptr && !link.session->TryReconnect();
    }
}

std::uint64_t AskServiceHandle(OuterClientMonitor::Link& link) {
    const SingleLock lock(link.lock);
    return link.session != nullptr ? link.session->AskServiceHandle() : 0;
}

DWORD Watch(const Start& start) {
    if (start.link == nullptr) {
        WY_LOG_ERROR << L"Invalid pClientHelper...";
        return kInvalidHelper;
    }
    const std::uint64_t number = AskServiceHandle(*start.link);
    if (number == OuterClientMonitor::Session::kNoHandle) {
        WY_LOG_ERROR << L"No privilege to open process!";
        return kNoPrivilege;
    }
    const auto service = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(number));
    const HANDLE handles[] = {service, start.stopEvent.get()};
    const DWORD woken = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
    // The handle of a service that lives on is left open here.
    if (woken != WAIT_OBJECT_0)
        return 0;
    CloseHandle(service);
    Reconnect(*start.link);
    return 0;
}

DWORD WINAPI MonitorThread(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    try {
        return Watch(*start);
    } catch (const std::exception& error) {
        WY_LOG_ERROR << L"The monitor of the service ends: " << error.what();
        return 0;
    }
}

DWORD WINAPI ThreadEntry(void* argument) {
    HMODULE const module = static_cast<Start*>(argument)->module;
    const DWORD code = MonitorThread(argument);
    FreeLibraryAndExitThread(module, code);
}

}  // namespace

OuterClientMonitor::EventPtr OuterClientMonitor::CreateStopEvent() {
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return event != nullptr ? EventPtr(event, CloseHandle) : EventPtr();
}

void OuterClientMonitor::SignalStopEvent(void* stopEvent) {
    if (stopEvent != nullptr)
        SetEvent(stopEvent);
}

void OuterClientMonitor::StartThread(const LinkPtr& link, const EventPtr& stopEvent) {
    auto start = std::unique_ptr<Start>(new (std::nothrow) Start{link, stopEvent, nullptr});
    if (start == nullptr)
        return;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&ThreadEntry), &start->module);
    const HANDLE thread = CreateThread(nullptr, 0, ThreadEntry, start.get(), 0, nullptr);
    if (thread == nullptr) {
        WY_LOG_ERROR << L"The monitor of the service could not be started, error = "
                     << GetLastError();
        if (start->module != nullptr)
            FreeLibrary(start->module);
        return;
    }
    start.release();
    CloseHandle(thread);
}

std::uint32_t OuterClientPlatform::CurrentProcessId() {
    return GetCurrentProcessId();
}

std::uint32_t OuterClientPlatform::CurrentThreadId() {
    return GetCurrentThreadId();
}
