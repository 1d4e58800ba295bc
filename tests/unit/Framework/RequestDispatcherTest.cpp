#include "Framework/utilIPC/ipc_request_dispatcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/HexBytes.h"
#include "support/LogRecorder.h"

using KrCommon::LogLevel::kError;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using test_support::Bytes;
using test_support::LogRecorder;
using test_support::ToHex;
using test_support::Words;

namespace {

class Dispatcher : public CIPCRequestDispatcher {};

// A handler of given ids that does what it is told, and remembers what it was asked.
class Handler : public CIPCServerRequestCallback {
public:
    using Work = std::function<void(std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&)>;

    explicit Handler(std::vector<std::uint32_t> ids, Work work = {})
        : m_Ids(std::move(ids)), m_Work(std::move(work)) {}

    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override {
        if (m_bRefuseIds) {
            return false;
        }
        *ids = new std::uint32_t[m_Ids.size() + 1];
        std::copy(m_Ids.begin(), m_Ids.end(), *ids);
        *count = static_cast<std::uint32_t>(m_Ids.size());
        ++m_iLent;
        return true;
    }
    void operator()(std::uint32_t iMsgID, CIPCMsgBuffer& in, CIPCMsgBuffer& out) override {
        ++m_iCalls;
        m_uiLastId = iMsgID;
        if (m_Work) {
            m_Work(iMsgID, in, out);
        }
    }
    void FreeMsgID(std::uint32_t* ids) override {
        delete[] ids;
        --m_iLent;
    }

    int Calls() const { return m_iCalls; }
    std::uint32_t LastId() const { return m_uiLastId; }
    int LentArrays() const { return m_iLent; }
    void RefuseIds(bool refuse) { m_bRefuseIds = refuse; }

private:
    std::vector<std::uint32_t> m_Ids;
    Work m_Work;
    std::atomic<int> m_iCalls{0};
    std::atomic<std::uint32_t> m_uiLastId{0};
    int m_iLent = 0;
    bool m_bRefuseIds = false;
};

// One request of an id and some bytes; what came back.
struct Answer {
    bool served = false;
    std::string out;
};

Answer Send(CIPCRequestDispatcher& dispatcher, std::uint32_t id, const Bytes& body = {}) {
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    in << id;
    in.WriteBytes(body.data(), static_cast<std::uint32_t>(body.size()));
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    Answer answer;
    answer.served = dispatcher.ProcessRequest(in, out);
    answer.out = ToHex(out.GetData(), out.GetLength());
    return answer;
}

// ---- routing

TEST(RequestDispatcher, request_without_any_handler_is_logged_and_answered_with_nothing) {
    const LogRecorder log;
    Dispatcher dispatcher;
    const Answer answer = Send(dispatcher, 8273);
    EXPECT_FALSE(answer.served);
    EXPECT_EQ(answer.out, "");
    EXPECT_TRUE(log.Has(kError, L"utilIPC: [ERROR] The message id: 8273not found"));
}

TEST(RequestDispatcher, handler_gets_id_and_unread_rest_and_writes_the_answer) {
    std::string seen;
    Handler handler({8200}, [&seen](std::uint32_t, CIPCMsgBuffer& in, CIPCMsgBuffer& out) {
        seen = ToHex(in.GetReadPtr(), in.GetRemaining());
        EXPECT_EQ(in.GetReadPosition(), 0U);
        out << 202U;
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    const Answer answer = Send(dispatcher, 8200, {1, 2, 3});
    EXPECT_TRUE(answer.served);
    EXPECT_EQ(answer.out, "ca 00 00 00");
    EXPECT_EQ(seen, "01 02 03");
    EXPECT_EQ(handler.LastId(), 8200U);
    dispatcher.UnRegisterHandler(&handler);
}

TEST(RequestDispatcher, handler_cannot_write_into_its_input) {
    Handler handler({1}, [](std::uint32_t, CIPCMsgBuffer& in, CIPCMsgBuffer&) {
        in << 7U;
        EXPECT_EQ(in.GetRemaining(), 3U);
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    EXPECT_TRUE(Send(dispatcher, 1, {1, 2, 3}).served);
    dispatcher.UnRegisterHandler(&handler);
}

TEST(RequestDispatcher, request_of_an_id_alone_leaves_the_handler_an_empty_view) {
    Handler handler({1}, [](std::uint32_t, CIPCMsgBuffer& in, CIPCMsgBuffer&) {
        EXPECT_EQ(in.GetRemaining(), 0U);
        std::uint32_t value = 0;
        EXPECT_THROW(in >> value, CIPCMsgBufferException);
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    EXPECT_TRUE(Send(dispatcher, 1).served);
    dispatcher.UnRegisterHandler(&handler);
}

TEST(RequestDispatcher, request_shorter_than_an_id_raises_to_the_caller) {
    Handler handler({0});
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    const Bytes three = {1, 2, 3};
    CIPCMsgBuffer shortRequest(three.data(), 3);
    EXPECT_THROW(dispatcher.ProcessRequest(shortRequest, out), CIPCMsgBufferException);
    CIPCMsgBuffer nothing(CIPCMsgBuffer::kBlockSize, false);
    EXPECT_THROW(dispatcher.ProcessRequest(nothing, out), CIPCMsgBufferException);
    EXPECT_EQ(handler.Calls(), 0);
    EXPECT_EQ(out.GetLength(), 0U);
    dispatcher.UnRegisterHandler(&handler);
}

TEST(RequestDispatcher, handler_of_id_0_gets_what_nobody_serves_with_the_real_id) {
    Handler fallback({0});
    Handler own({5});
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&fallback);
    dispatcher.RegisterHandler(&own);
    EXPECT_TRUE(Send(dispatcher, 8200).served);
    EXPECT_EQ(fallback.LastId(), 8200U);
    EXPECT_TRUE(Send(dispatcher, 5).served);
    EXPECT_EQ(fallback.Calls(), 1);
    EXPECT_EQ(own.Calls(), 1);
    EXPECT_TRUE(Send(dispatcher, 0).served);
    EXPECT_EQ(fallback.Calls(), 2);
    EXPECT_EQ(fallback.LastId(), 0U);
    dispatcher.UnRegisterHandler(&own);
    dispatcher.UnRegisterHandler(&fallback);
}

// ---- registration

TEST(RequestDispatcher, handler_serves_all_of_its_ids_and_its_array_is_given_back) {
    Handler handler({1, 2, 3});
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    EXPECT_EQ(handler.LentArrays(), 0);
    for (std::uint32_t id = 1; id <= 3; ++id) {
        EXPECT_TRUE(Send(dispatcher, id).served);
        EXPECT_EQ(handler.LastId(), id);
    }
    dispatcher.UnRegisterHandler(&handler);
    EXPECT_EQ(handler.LentArrays(), 0);
    for (std::uint32_t id = 1; id <= 3; ++id) {
        EXPECT_FALSE(Send(dispatcher, id).served);
    }
}

TEST(RequestDispatcher, duplicate_id_is_logged_and_the_first_handler_keeps_serving) {
    const LogRecorder log;
    Handler first({7});
    Handler second({7, 8});
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&first);
    dispatcher.RegisterHandler(&second);
    EXPECT_TRUE(log.Has(kError, L"utilIPC: [ERROR] Register duplicate message id: 7"));
    EXPECT_EQ(log.CountContaining(L"Register duplicate message id"), 1U);
    EXPECT_TRUE(Send(dispatcher, 7).served);
    EXPECT_TRUE(Send(dispatcher, 8).served);
    EXPECT_EQ(first.Calls(), 1);
    EXPECT_EQ(second.Calls(), 1);
    EXPECT_EQ(second.LastId(), 8U);
}

TEST(RequestDispatcher, empty_id_list_changes_nothing) {
    const LogRecorder log;
    Handler none({});
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&none);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_FALSE(Send(dispatcher, 0).served);
    dispatcher.UnRegisterHandler(&none);
    EXPECT_EQ(none.LentArrays(), 0);
}

TEST(RequestDispatcher, handler_that_gives_no_ids_is_not_registered_and_gets_no_array_back) {
    Handler handler({1});
    handler.RefuseIds(true);
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    EXPECT_FALSE(Send(dispatcher, 1).served);
    EXPECT_EQ(handler.LentArrays(), 0);
    dispatcher.UnRegisterHandler(&handler);
    EXPECT_EQ(handler.LentArrays(), 0);
}

TEST(RequestDispatcher, handler_can_be_registered_again_after_it_was_removed) {
    Handler handler({1});
    Dispatcher dispatcher;
    for (int round = 0; round < 3; ++round) {
        dispatcher.RegisterHandler(&handler);
        EXPECT_TRUE(Send(dispatcher, 1).served);
        dispatcher.UnRegisterHandler(&handler);
        EXPECT_FALSE(Send(dispatcher, 1).served);
    }
    EXPECT_EQ(handler.Calls(), 3);
}

TEST(RequestDispatcher, dispatcher_that_goes_leaves_its_handlers_alone) {
    Handler handler({1});
    {
        Dispatcher dispatcher;
        dispatcher.RegisterHandler(&handler);
    }
    EXPECT_EQ(handler.Calls(), 0);
}

// ---- a handler that raises

TEST(RequestDispatcher, exception_of_a_handler_is_logged_and_the_answer_stays_as_it_was) {
    const LogRecorder log;
    Handler handler({1}, [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer& out) {
        out << 9U;
        throw OS::CException(1722, L"handler.cpp", 1);
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    const Answer answer = Send(dispatcher, 1);
    EXPECT_TRUE(answer.served);
    EXPECT_EQ(answer.out, "09 00 00 00");
    EXPECT_TRUE(log.Has(kError, L"utilIPC: [ERROR] Error code: 1722, error message: 1722"));
    dispatcher.UnRegisterHandler(&handler);
}

TEST(RequestDispatcher, read_error_of_a_handler_is_logged_with_its_own_text) {
    const LogRecorder log;
    Handler handler({1}, [](std::uint32_t, CIPCMsgBuffer& in, CIPCMsgBuffer&) {
        std::uint32_t value = 0;
        in >> value;
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    EXPECT_TRUE(Send(dispatcher, 1, {1, 2, 3}).served);
    EXPECT_TRUE(log.Has(kError, L"utilIPC: [ERROR] Error code: 0, error message: Out of range"));
    dispatcher.UnRegisterHandler(&handler);
}

TEST(RequestDispatcher, foreign_exception_passes_and_leaves_no_reference_behind) {
    Handler handler({1}, [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) {
        throw std::runtime_error("foreign");
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    EXPECT_THROW(Send(dispatcher, 1), std::runtime_error);
    // A reference left behind would make this wait for ever.
    dispatcher.UnRegisterHandler(&handler);
}

TEST(RequestDispatcher, exception_of_a_handler_leaves_no_reference_behind) {
    Handler handler({1}, [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) {
        throw OS::CException(1, nullptr, 0);
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    EXPECT_TRUE(Send(dispatcher, 1).served);
    dispatcher.UnRegisterHandler(&handler);
    EXPECT_FALSE(Send(dispatcher, 1).served);
}

// ---- the counted reference

TEST(RequestCallbackPtr, copies_and_assignments_count) {
    Handler first({1});
    Handler second({2});
    CIPCServerRequestCallbackPtr a(&first);
    EXPECT_EQ(a.GetRefCount(), 1U);
    EXPECT_EQ(a.Get(), &first);
    {
        const CIPCServerRequestCallbackPtr copy(a);
        EXPECT_EQ(a.GetRefCount(), 2U);
        EXPECT_EQ(copy.Get(), &first);
    }
    EXPECT_EQ(a.GetRefCount(), 1U);
    CIPCServerRequestCallbackPtr b(&second);
    b = a;
    EXPECT_EQ(a.GetRefCount(), 2U);
    EXPECT_EQ(b.Get(), &first);
}

TEST(RequestCallbackPtr, self_assignment_changes_nothing) {
    Handler handler({1});
    CIPCServerRequestCallbackPtr pointer(&handler);
    CIPCServerRequestCallbackPtr& same = pointer;
    pointer = same;
    EXPECT_EQ(pointer.GetRefCount(), 1U);
    EXPECT_EQ(pointer.Get(), &handler);
}

TEST(RequestCallbackPtr, assignment_between_copies_of_one_reference_keeps_the_count) {
    Handler handler({1});
    CIPCServerRequestCallbackPtr a(&handler);
    CIPCServerRequestCallbackPtr b(a);
    a = b;
    EXPECT_EQ(a.GetRefCount(), 2U);
}

// ---- the drain

// A handler that stays inside until it is let go.
class Gate {
public:
    Handler::Work Work() {
        return [this](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) {
            m_Entered.set_value();
            m_Leave.get_future().wait();
        };
    }
    void WaitUntilEntered() { m_Entered.get_future().wait(); }
    void Open() { m_Leave.set_value(); }

private:
    std::promise<void> m_Entered;
    std::promise<void> m_Leave;
};

TEST(RequestDispatcherDrain, idle_handler_is_removed_at_once) {
    Handler handler({1, 2, 3});
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    const auto start = steady_clock::now();
    dispatcher.UnRegisterHandler(&handler);
    EXPECT_LT(steady_clock::now() - start, milliseconds(100));
}

TEST(RequestDispatcherDrain, removal_waits_for_the_running_request) {
    Gate gate;
    Handler handler({1}, gate.Work());
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    std::thread request([&dispatcher] { EXPECT_TRUE(Send(dispatcher, 1).served); });
    gate.WaitUntilEntered();
    std::atomic<bool> opened = false;
    std::atomic<bool> openedBeforeReturn = false;
    std::thread removal([&] {
        dispatcher.UnRegisterHandler(&handler);
        openedBeforeReturn = opened.load();
    });
    std::this_thread::sleep_for(milliseconds(250));
    opened = true;
    gate.Open();
    removal.join();
    request.join();
    EXPECT_TRUE(openedBeforeReturn);
    EXPECT_FALSE(Send(dispatcher, 1).served);
}

TEST(RequestDispatcherDrain, removal_looks_again_every_100_milliseconds) {
    // The request ends in the middle of a round: the removal sees it at the end of that round.
    struct Row {
        int requestEndsAfter;
        int removedNotBefore;
    };
    for (const Row row : {Row{30, 100}, Row{130, 200}}) {
        Gate gate;
        Handler handler({1}, gate.Work());
        Dispatcher dispatcher;
        dispatcher.RegisterHandler(&handler);
        std::thread request([&dispatcher] { Send(dispatcher, 1); });
        gate.WaitUntilEntered();
        const auto start = steady_clock::now();
        std::thread opener([&gate, row] {
            std::this_thread::sleep_for(milliseconds(row.requestEndsAfter));
            gate.Open();
        });
        dispatcher.UnRegisterHandler(&handler);
        const auto elapsed = steady_clock::now() - start;
        opener.join();
        request.join();
        // A few milliseconds less for clocks that tick coarsely.
        EXPECT_GE(elapsed, milliseconds(row.removedNotBefore - 15));
        EXPECT_LT(elapsed, milliseconds(row.removedNotBefore + 2000));
    }
}

TEST(RequestDispatcherDrain, running_request_ends_while_the_removal_sleeps_under_the_lock) {
    // The request's reference goes without the lock; were it needed, removal and request would
    // wait for each other.
    Gate gate;
    Handler handler({1}, gate.Work());
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    std::promise<void> served;
    std::thread request([&] {
        Send(dispatcher, 1);
        served.set_value();
    });
    gate.WaitUntilEntered();
    std::thread removal([&] { dispatcher.UnRegisterHandler(&handler); });
    std::this_thread::sleep_for(milliseconds(20));
    gate.Open();
    EXPECT_EQ(served.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    request.join();
    removal.join();
}

TEST(RequestDispatcherDrain, each_id_of_a_handler_is_drained) {
    Gate gate;
    Handler handler({1, 2}, [&gate](std::uint32_t id, CIPCMsgBuffer& in, CIPCMsgBuffer& out) {
        if (id == 2) {
            gate.Work()(id, in, out);
        }
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    std::thread request([&dispatcher] { Send(dispatcher, 2); });
    gate.WaitUntilEntered();
    std::atomic<bool> returned = false;
    std::thread removal([&] {
        dispatcher.UnRegisterHandler(&handler);
        returned = true;
    });
    std::this_thread::sleep_for(milliseconds(150));
    EXPECT_FALSE(returned);
    gate.Open();
    removal.join();
    request.join();
    EXPECT_FALSE(Send(dispatcher, 1).served);
    EXPECT_FALSE(Send(dispatcher, 2).served);
}

TEST(RequestDispatcherDrain, other_handlers_keep_serving_between_the_rounds) {
    Gate gate;
    Handler draining({1}, gate.Work());
    Handler other({2});
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&draining);
    dispatcher.RegisterHandler(&other);
    std::thread request([&dispatcher] { Send(dispatcher, 1); });
    gate.WaitUntilEntered();
    std::thread removal([&] { dispatcher.UnRegisterHandler(&draining); });
    std::thread opener([&gate] {
        std::this_thread::sleep_for(milliseconds(500));
        gate.Open();
    });
    EXPECT_TRUE(Send(dispatcher, 2).served);
    opener.join();
    removal.join();
    request.join();
    EXPECT_EQ(other.Calls(), 1);
    dispatcher.UnRegisterHandler(&other);
}

TEST(RequestDispatcherDrain, handler_is_never_entered_after_its_removal) {
    // Requests storm in from four threads while the handler comes and goes; it must not be inside
    // a request when UnRegisterHandler has returned.
    Dispatcher dispatcher;
    std::atomic<bool> stop = false;
    std::atomic<bool> registered = false;
    std::atomic<int> strays = 0;
    std::atomic<int> served = 0;
    Handler handler({1}, [&](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) {
        strays += registered ? 0 : 1;
        ++served;
    });
    const LogRecorder quiet(0);
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back([&] {
            while (!stop) {
                Send(dispatcher, 1);
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
    }
    for (int round = 0; round < 10; ++round) {
        registered = true;
        dispatcher.RegisterHandler(&handler);
        std::this_thread::sleep_for(milliseconds(20));
        dispatcher.UnRegisterHandler(&handler);
        registered = false;
        std::this_thread::sleep_for(milliseconds(5));
    }
    stop = true;
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(strays, 0);
    EXPECT_GT(served, 0);
}

TEST(RequestDispatcherDrain, requests_of_many_threads_run_in_a_handler_at_the_same_time) {
    std::atomic<int> inside = 0;
    std::promise<void> allInside;
    std::shared_future<void> release = allInside.get_future().share();
    Handler handler({0}, [&](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) {
        if (++inside == 8) {
            allInside.set_value();
        }
        EXPECT_EQ(release.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    });
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&handler);
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < 8; ++i) {
        threads.emplace_back([&dispatcher, i] { EXPECT_TRUE(Send(dispatcher, i).served); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(handler.Calls(), 8);
    dispatcher.UnRegisterHandler(&handler);
}

}  // namespace
