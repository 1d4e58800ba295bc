// The monitor thread of a registration: its waits, its end, and what it does when the service has
// died. An event of this process plays the service process's handle.

#include <atomic>
#include <chrono>
#include <functional>

#include "Common/KrCommon/KrComn_Windows.h"
#include "HelperFixture.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"

#include <rpc.h>

using namespace test_support;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;

namespace {

std::uint32_t TakeEvent(JsonDocument&) {
    return kSuccess;
}

// True as soon as the condition holds; false when it does not within the time.
bool Eventually(const std::function<bool()>& condition, DWORD milliseconds = 20000) {
    for (DWORD waited = 0; waited < milliseconds; waited += 10) {
        if (condition()) {
            return true;
        }
        Sleep(10);
    }
    return condition();
}

class Monitor : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        m_hService = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        Service().SetMonitorReply(MonitorReply(m_hService));
        m_pHelper = std::make_unique<Helper>();
    }
    void TearDown() override {
        m_pHelper->UnregisterProcess();
        m_pHelper.reset();
        CloseHandle(m_hService);
    }

    static Bytes MonitorReply(HANDLE handle) {
        return MailReply{.json = L"{\"handle\":" +
                                 std::to_wstring(reinterpret_cast<std::uintptr_t>(handle)) + L"}"}
            .Encode();
    }
    // A second handle on the service's event, for the monitor to close.
    HANDLE Duplicate() const {
        HANDLE copy = nullptr;
        DuplicateHandle(GetCurrentProcess(), m_hService, GetCurrentProcess(), &copy, SYNCHRONIZE,
                        FALSE, 0);
        return copy;
    }
    static bool IsOpen(HANDLE handle) {
        DWORD flags = 0;
        return GetHandleInformation(handle, &flags) != 0;
    }
    std::uint32_t Register() { return m_pHelper->RegisterProcess(L"WyConsole", TakeEvent); }
    static bool MonitorHasAsked() {
        return Eventually([] { return !Service().TakeMonitorRequests().empty(); });
    }

    std::unique_ptr<Helper> m_pHelper;
    HANDLE m_hService = nullptr;
};

TEST_F(Monitor, registration_starts_it_and_it_asks_for_the_service_process) {
    ASSERT_EQ(Register(), kSuccess);
    EXPECT_TRUE(MonitorHasAsked());
}

TEST_F(Monitor, failed_registration_starts_none) {
    Service().PushReply(FailureReply(5));
    EXPECT_NE(Register(), kSuccess);
    Service().PushReply(MailReply{.verdict = 0xe0ff000e}.Encode());
    EXPECT_NE(Register(), kSuccess);
    Sleep(100);
    EXPECT_TRUE(Service().TakeMonitorRequests().empty());
}

// Its number may be in use again at once, so that a closed handle cannot be told by looking at it.
std::atomic<HANDLE> s_hWatched{nullptr};
std::atomic<int> s_iClosed{0};

BOOL WINAPI CloseCounted(HANDLE handle) {
    if (handle == s_hWatched) {
        ++s_iClosed;
        s_hWatched = nullptr;
    }
    static const auto close = reinterpret_cast<BOOL(WINAPI*)(HANDLE)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CloseHandle")));
    return close(handle);
}

TEST_F(Monitor, end_of_the_service_registers_the_process_anew_after_half_a_second) {
    const LogRecorder log;
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "CloseHandle", CloseCounted);
    s_hWatched = Duplicate();
    s_iClosed = 0;
    Service().SetMonitorReply(MonitorReply(s_hWatched));
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_TRUE(MonitorHasAsked());
    Service().TakeRequests();
    // The next monitor watches a handle of its own.
    Service().SetMonitorReply(MonitorReply(Duplicate()));
    const auto start = std::chrono::steady_clock::now();
    SetEvent(m_hService);
    ASSERT_TRUE(Eventually([] {
        for (const Request& request : Requests()) {
            if (request.id == IPC_MSG_REGISTER_PROCESS && request.clientName == L"WyConsole") {
                return true;
            }
        }
        return false;
    }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(485));
    ResetEvent(m_hService);
    EXPECT_TRUE(log.Has(kInformation, L"OuterClientHelper: [INFO] Reconnect the RPC..."));
    EXPECT_EQ(s_iClosed, 1);
    EXPECT_TRUE(MonitorHasAsked());
}

// Calls of other threads keep the client manager alive during the repair.
TEST_F(Monitor, end_of_the_service_under_running_calls_registers_the_process_anew_as_well) {
    Service().SetMonitorReply(MonitorReply(Duplicate()));
    const Helper another;
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_TRUE(MonitorHasAsked());
    const std::string key = SessionKey();
    Service().TakeRequests();
    Service().SetMonitorReply(MonitorReply(Duplicate()));
    SetEvent(m_hService);
    // It asks for the new service's process only when it is registered there.
    EXPECT_TRUE(MonitorHasAsked());
    EXPECT_EQ(SessionKey(), key);
    ResetEvent(m_hService);
}

TEST_F(Monitor, service_that_stays_away_is_asked_until_it_is_back) {
    Service().SetMonitorReply(MonitorReply(Duplicate()));
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_TRUE(MonitorHasAsked());
    const LogRecorder log;
    Service().Kill();
    SetEvent(m_hService);
    EXPECT_TRUE(Eventually(
        [&log] { return log.CountContaining(L"executing command failed, err=0xe00106ba") >= 2; }));
    ResetEvent(m_hService);
    Service().Restart();
    Service().SetMonitorReply(MonitorReply(Duplicate()));
    Service().SetReply(MailReply().Encode());
    EXPECT_TRUE(Eventually([] {
        for (const Request& request : Requests()) {
            if (request.id == IPC_MSG_REGISTER_PROCESS) {
                return true;
            }
        }
        return false;
    }));
    EXPECT_TRUE(MonitorHasAsked());
}

TEST_F(Monitor, end_of_the_registration_ends_it_without_a_reconnection) {
    const LogRecorder log;
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_TRUE(MonitorHasAsked());
    Sleep(50);
    ASSERT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
    Service().TakeRequests();
    Sleep(50);
    SetEvent(m_hService);
    Sleep(700);
    EXPECT_TRUE(Requests().empty());
    EXPECT_EQ(log.CountContaining(L"Reconnect the RPC..."), 0U);
    // The service's handle is left open on this road.
    EXPECT_TRUE(IsOpen(m_hService));
}

TEST_F(Monitor, service_that_cannot_give_its_handle_is_logged_and_not_watched) {
    Service().SetMonitorReply(MailReply{.json = L"{\"handle\":18446744073709551615}"}.Encode());
    const LogRecorder log;
    ASSERT_EQ(Register(), kSuccess);
    EXPECT_TRUE(Eventually([&log] {
        return log.Has(kError, L"OuterClientHelper: [ERROR] No privilege to open process!");
    }));
    EXPECT_EQ(log.CountContaining(L"Reconnect the RPC..."), 0U);
}

TEST_F(Monitor, failed_question_ends_it_without_a_word) {
    Service().SetMonitorReply(MailReply{.verdict = 0xe0ff000e}.Encode());
    const LogRecorder log;
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_TRUE(MonitorHasAsked());
    Sleep(100);
    EXPECT_EQ(log.CountContaining(L"Reconnect the RPC..."), 0U);
    EXPECT_EQ(log.CountContaining(L"No privilege"), 0U);
    EXPECT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
}

TEST_F(Monitor, helper_can_go_while_the_monitor_is_in_its_question) {
    Service().SetDelay(0);
    ASSERT_EQ(Register(), kSuccess);
    m_pHelper->UnregisterProcess();
    m_pHelper.reset();
    m_pHelper = std::make_unique<Helper>();
    EXPECT_EQ(Register(), kSuccess);
}

HANDLE WINAPI NoThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID, DWORD,
                       LPDWORD) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(Monitor, thread_that_is_refused_is_logged_and_the_registration_stands) {
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "CreateThread", NoThread);
    const LogRecorder log;
    EXPECT_EQ(Register(), kSuccess);
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] The monitor of the service could not be "
                        L"started, error = 8"));
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, kSuccess);
}

// ---- the thread itself

HANDLE s_hThread = nullptr;

// A handle on the thread stays with the test.
HANDLE WINAPI CreateThreadKept(LPSECURITY_ATTRIBUTES security, SIZE_T stack,
                               LPTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags,
                               LPDWORD id) {
    static const auto create = reinterpret_cast<decltype(&CreateThread)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CreateThread")));
    const HANDLE thread = create(security, stack, entry, argument, flags, id);
    DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &s_hThread, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return thread;
}

// The wait that a monitor asked for, and the answer that it gets at once.
struct Wait {
    DWORD count = 0;
    HANDLE first = nullptr;
    HANDLE second = nullptr;
    BOOL all = TRUE;
    DWORD milliseconds = 0;
};
Wait s_Wait;
DWORD s_uiWaitAnswer = WAIT_OBJECT_0 + 1;

DWORD WINAPI WaitRecorded(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
    s_Wait = {count, handles[0], handles[1], all, milliseconds};
    return s_uiWaitAnswer;
}

struct EventMade {
    int count = 0;
    bool plain = false;  // no security, auto-reset, not signalled, no name
    HANDLE handle = nullptr;
};
EventMade s_EventMade;

HANDLE WINAPI CreateEventRecorded(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled,
                                  LPCWSTR name) {
    static const auto create = reinterpret_cast<decltype(&CreateEventW)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CreateEventW")));
    const HANDLE event = create(security, manual, signalled, name);
    s_EventMade = {s_EventMade.count + 1,
                   security == nullptr && manual == FALSE && signalled == FALSE && name == nullptr,
                   event};
    return event;
}

class MonitorThread : public Monitor {
protected:
    MonitorThread()
        : m_Thread(GetModuleHandleW(nullptr), "kernel32.dll", "CreateThread", CreateThreadKept) {
        s_hThread = nullptr;
        s_EventMade = {};
        s_uiWaitAnswer = WAIT_OBJECT_0 + 1;
    }

    // The code with which the thread ends.
    static DWORD Code() {
        DWORD code = STILL_ACTIVE;
        if (s_hThread != nullptr && WaitForSingleObject(s_hThread, 20000) == WAIT_OBJECT_0) {
            GetExitCodeThread(s_hThread, &code);
        }
        CloseHandle(s_hThread);
        s_hThread = nullptr;
        return code;
    }

    const IatPatch m_Thread;
};

TEST_F(MonitorThread, without_a_session_is_logged_and_ends_with_all_ones) {
    const LogRecorder log;
    OuterClientMonitor::StartThread(nullptr, OuterClientMonitor::CreateStopEvent());
    EXPECT_EQ(Code(), 0xffffffffU);
    EXPECT_TRUE(log.Has(kError, L"OuterClientHelper: [ERROR] Invalid pClientHelper..."));
}

TEST_F(MonitorThread, ends_with_all_ones_where_the_service_gives_no_handle) {
    Service().SetMonitorReply(MailReply{.json = L"{\"handle\":18446744073709551615}"}.Encode());
    ASSERT_EQ(Register(), kSuccess);
    EXPECT_EQ(Code(), 0xffffffffU);
}

TEST_F(MonitorThread, ends_with_0_after_a_failed_question_and_at_the_stop_event) {
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_TRUE(MonitorHasAsked());
    EXPECT_EQ(WaitForSingleObject(s_hThread, 50), static_cast<DWORD>(WAIT_TIMEOUT));
    m_pHelper->UnregisterProcess();
    EXPECT_EQ(Code(), 0U);
    m_pHelper.reset();
    m_pHelper = std::make_unique<Helper>();
    Service().SetMonitorReply(FailureReply(5));
    ASSERT_EQ(Register(), kSuccess);
    EXPECT_EQ(Code(), 0U);
}

TEST_F(MonitorThread, waits_without_limit_for_either_the_service_or_the_stop_event) {
    const IatPatch event(GetModuleHandleW(nullptr), "kernel32.dll", "CreateEventW",
                         CreateEventRecorded);
    const IatPatch wait(GetModuleHandleW(nullptr), "kernel32.dll", "WaitForMultipleObjects",
                        WaitRecorded);
    ASSERT_EQ(Register(), kSuccess);
    EXPECT_EQ(Code(), 0U);
    EXPECT_EQ(s_EventMade.count, 1);
    EXPECT_TRUE(s_EventMade.plain);
    EXPECT_EQ(s_Wait.count, 2U);
    EXPECT_EQ(s_Wait.first, m_hService);
    EXPECT_EQ(s_Wait.second, s_EventMade.handle);
    EXPECT_EQ(s_Wait.all, FALSE);
    EXPECT_EQ(s_Wait.milliseconds, INFINITE);
}

TEST_F(MonitorThread, any_other_answer_of_the_wait_ends_it_without_a_word) {
    const IatPatch wait(GetModuleHandleW(nullptr), "kernel32.dll", "WaitForMultipleObjects",
                        WaitRecorded);
    const auto link = boost::shared_ptr<OuterClientMonitor::Link>(new OuterClientMonitor::Link);
    OuterClientReconnect session(*m_pHelper);
    link->session = &session;
    for (const DWORD answer : {WAIT_FAILED, DWORD{WAIT_ABANDONED_0}, DWORD{WAIT_TIMEOUT}}) {
        s_uiWaitAnswer = answer;
        const LogRecorder log;
        OuterClientMonitor::StartThread(link, OuterClientMonitor::CreateStopEvent());
        EXPECT_EQ(Code(), 0U) << answer;
        EXPECT_EQ(log.CountContaining(L"Reconnect the RPC..."), 0U) << answer;
        EXPECT_TRUE(IsOpen(m_hService)) << answer;
    }
}

HANDLE WINAPI NoEvent(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(Monitor, without_a_stop_event_the_registration_stands) {
    const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "CreateEventW", NoEvent);
    EXPECT_EQ(Register(), kSuccess);
    EXPECT_TRUE(MonitorHasAsked());
    EXPECT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
}

RPC_STATUS RPC_ENTRY NoUuidText(const UUID*, RPC_CSTR*) {
    return RPC_S_OUT_OF_MEMORY;
}

TEST_F(Monitor, command_without_a_tracking_id_is_not_sent) {
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_TRUE(MonitorHasAsked());
    Service().TakeRequests();
    const LogRecorder log;
    {
        const IatPatch patch(GetModuleHandleW(nullptr), "rpcrt4.dll", "UuidToStringA", NoUuidText);
        JsonDocument output;
        EXPECT_EQ(m_pHelper->SendMail2ProductPlugin(5, 5, Document(L"{}"), output, false),
                  0xe0ff0004U);
        EXPECT_EQ(m_pHelper->UnregisterProcess(), 0xe0ff0004U);
    }
    EXPECT_TRUE(Requests().empty());
    EXPECT_EQ(log.CountContaining(
                  L"OuterClientHelper: [ERROR] Cannot generate tracking ID, err=0xe0ff0004"),
              2U);
    // The registration stands, and its callback with it.
    EXPECT_EQ(Register(), 0xe0ff000aU);
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, kSuccess);
}

TEST_F(Monitor, registration_without_a_session_key_is_not_sent) {
    m_pHelper.reset();
    {
        const IatPatch patch(GetModuleHandleW(nullptr), "rpcrt4.dll", "UuidToStringA", NoUuidText);
        m_pHelper = std::make_unique<Helper>();
    }
    Service().TakeRequests();
    const LogRecorder log;
    EXPECT_EQ(Register(), 0xe0ff0004U);
    EXPECT_TRUE(Requests().empty());
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] Cannot generate tracking ID, "
                        L"err=0xe0ff0004"));
}

}  // namespace
