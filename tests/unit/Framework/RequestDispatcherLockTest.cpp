// What a removal does to others while it waits: it sleeps with the routing table locked, and for an
// id that is not in the table it waits for ever.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "Framework/utilIPC/ipc_request_dispatcher.h"

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

class Dispatcher : public CIPCRequestDispatcher {};

// Serves one id; does its work in a request and tells when its id is asked for.
class Handler : public CIPCServerRequestCallback {
public:
    explicit Handler(std::uint32_t id, std::function<void()> work = {})
        : m_uiId(id), m_Work(std::move(work)) {}

    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override {
        *ids = new std::uint32_t[1]{m_uiId};
        *count = 1;
        ++m_iAsked;
        return true;
    }
    void operator()(std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) override {
        if (m_Work) {
            m_Work();
        }
    }
    void FreeMsgID(std::uint32_t* ids) override { delete[] ids; }

    // Returns once somebody has asked for the id that many times.
    void WaitUntilAsked(int times) const {
        while (m_iAsked < times) {
            std::this_thread::sleep_for(milliseconds(1));
        }
    }

private:
    std::uint32_t m_uiId;
    std::function<void()> m_Work;
    std::atomic<int> m_iAsked{0};
};

void Send(CIPCRequestDispatcher& dispatcher, std::uint32_t id) {
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    in << id;
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    EXPECT_TRUE(dispatcher.ProcessRequest(in, out));
}

// How long a request to another handler takes that comes just after a removal has begun to wait.
// The request in the way of the removal ends at once, so that one round is all there is.
steady_clock::duration RequestDuringARound() {
    std::promise<void> entered;
    std::promise<void> leave;
    Handler draining(1, [&] {
        entered.set_value();
        leave.get_future().wait();
    });
    Handler other(2);
    Dispatcher dispatcher;
    dispatcher.RegisterHandler(&draining);
    dispatcher.RegisterHandler(&other);
    std::thread request([&dispatcher] { Send(dispatcher, 1); });
    entered.get_future().wait();
    std::thread removal([&] { dispatcher.UnRegisterHandler(&draining); });
    draining.WaitUntilAsked(2);
    std::this_thread::sleep_for(milliseconds(20));
    leave.set_value();
    const auto start = steady_clock::now();
    Send(dispatcher, 2);
    const auto elapsed = steady_clock::now() - start;
    removal.join();
    request.join();
    dispatcher.UnRegisterHandler(&other);
    return elapsed;
}

TEST(RequestDispatcherLock, no_request_gets_in_while_a_removal_sleeps) {
    // On a busy machine the removal may begin to sleep only after the other request: then again.
    auto longest = steady_clock::duration::zero();
    for (int attempt = 0; attempt < 20 && longest < milliseconds(50); ++attempt) {
        longest = std::max(longest, RequestDuringARound());
    }
    EXPECT_GE(longest, milliseconds(50));
}

TEST(RequestDispatcherLock, removal_of_an_id_that_is_not_registered_does_not_return) {
    // Shared with a thread that stays where it is until the program ends.
    struct Scene {
        Dispatcher dispatcher;
        Handler handler{1};
        std::atomic<bool> returned{false};
    };
    static auto* const scene = new std::shared_ptr<Scene>(std::make_shared<Scene>());
    std::thread([kept = *scene] {
        kept->dispatcher.UnRegisterHandler(&kept->handler);
        kept->returned = true;
    }).detach();
    (*scene)->handler.WaitUntilAsked(1);
    std::this_thread::sleep_for(milliseconds(350));
    EXPECT_FALSE((*scene)->returned);
}

}  // namespace
