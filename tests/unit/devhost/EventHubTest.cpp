#include "devhost/EventHub.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <vector>

namespace {

using DevHost::Client;
using DevHost::EventChannel;
using DevHost::EventHub;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{10'000};

// Keeps what is delivered; can be told to hold deliveries and how to answer them.
class RecordingChannel : public EventChannel {
public:
    Outcome Deliver(const Client& client, const std::wstring& json) override {
        std::unique_lock lock(m_Mutex);
        ++m_uiEntered;
        m_Changed.notify_all();
        m_Changed.wait(lock, [&] { return !m_bHold; });
        m_vecDelivered.emplace_back(client.key, json);
        m_Changed.notify_all();
        return m_Outcome;
    }

    void Hold(bool hold) {
        const std::scoped_lock lock(m_Mutex);
        m_bHold = hold;
        m_Changed.notify_all();
    }
    void Answer(Outcome outcome) {
        const std::scoped_lock lock(m_Mutex);
        m_Outcome = outcome;
    }
    bool WaitForDelivered(std::size_t count) {
        std::unique_lock lock(m_Mutex);
        return m_Changed.wait_for(lock, kPatience, [&] { return m_vecDelivered.size() >= count; });
    }
    bool WaitForEntered(unsigned count) {
        std::unique_lock lock(m_Mutex);
        return m_Changed.wait_for(lock, kPatience, [&] { return m_uiEntered >= count; });
    }
    std::vector<std::pair<std::string, std::wstring>> Delivered() {
        const std::scoped_lock lock(m_Mutex);
        return m_vecDelivered;
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_bHold = false;
    unsigned m_uiEntered = 0;
    Outcome m_Outcome = Outcome::kTaken;
    std::vector<std::pair<std::string, std::wstring>> m_vecDelivered;
};

class EventHubFixture : public testing::Test {
protected:
    std::shared_ptr<RecordingChannel> m_pChannel = std::make_shared<RecordingChannel>();
    std::mutex m_GoneMutex;
    std::vector<std::string> m_vecGone;
    EventHub m_Hub{m_pChannel, [this](const std::string& key) {
                       {
                           const std::scoped_lock lock(m_GoneMutex);
                           m_vecGone.push_back(key);
                       }
                       m_Hub.ForgetClient(key);
                   }};
    Client m_First{"first", "t1", 1, L"first"};
    Client m_Second{"second", "t2", 2, L"second"};
};

TEST_F(EventHubFixture, subscriptions_are_kept_by_client_and_event) {
    EXPECT_TRUE(m_Hub.Subscribe("first", 7));
    EXPECT_TRUE(m_Hub.Subscribe("first", 7));
    EXPECT_TRUE(m_Hub.Subscribe("second", 7));
    EXPECT_TRUE(m_Hub.Subscribe("second", 8));
    EXPECT_EQ(m_Hub.Subscribers(7), (std::set<std::string>{"first", "second"}));
    EXPECT_EQ(m_Hub.Subscribers(8), (std::set<std::string>{"second"}));
    EXPECT_TRUE(m_Hub.Unsubscribe("first", 7));
    EXPECT_FALSE(m_Hub.Unsubscribe("first", 7));
    EXPECT_FALSE(m_Hub.Unsubscribe("nobody", 7));
    EXPECT_EQ(m_Hub.Subscribers(7), (std::set<std::string>{"second"}));
}

TEST_F(EventHubFixture, subscriptions_of_a_client_have_a_limit) {
    for (std::uint32_t i = 0; i < EventHub::kSubscriptionLimit; ++i) {
        ASSERT_TRUE(m_Hub.Subscribe("first", i));
    }
    EXPECT_FALSE(m_Hub.Subscribe("first", 1'000'000));
    EXPECT_TRUE(m_Hub.Subscribe("first", 5));
    EXPECT_TRUE(m_Hub.Subscribe("second", 1'000'000));
}

TEST_F(EventHubFixture, events_of_one_client_arrive_in_order) {
    for (int i = 0; i < 50; ++i)
        m_Hub.DeliverEvent(m_First, std::to_wstring(i));
    ASSERT_TRUE(m_pChannel->WaitForDelivered(50));
    const auto delivered = m_pChannel->Delivered();
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(delivered[static_cast<std::size_t>(i)].second, std::to_wstring(i));
    }
    EXPECT_TRUE(m_Hub.Stop(kPatience));
    EXPECT_EQ(m_Hub.GetFigures().taken, 50U);
}

TEST_F(EventHubFixture, a_slow_client_delays_nobody_else) {
    m_pChannel->Hold(true);
    m_Hub.DeliverEvent(m_First, L"slow");
    m_Hub.DeliverEvent(m_Second, L"other");
    EXPECT_TRUE(m_pChannel->WaitForEntered(2));
    m_pChannel->Hold(false);
    EXPECT_TRUE(m_pChannel->WaitForDelivered(2));
}

TEST_F(EventHubFixture, full_queue_loses_its_oldest_event) {
    m_pChannel->Hold(true);
    m_Hub.DeliverEvent(m_First, L"taken");
    ASSERT_TRUE(m_pChannel->WaitForEntered(1));
    for (std::size_t i = 0; i < EventHub::kQueueLimit + 3; ++i) {
        m_Hub.DeliverEvent(m_First, std::to_wstring(i));
    }
    EXPECT_EQ(m_Hub.GetFigures().lost, 3U);
    m_pChannel->Hold(false);
    ASSERT_TRUE(m_pChannel->WaitForDelivered(EventHub::kQueueLimit + 1));
    EXPECT_EQ(m_pChannel->Delivered()[1].second, L"3");
}

TEST_F(EventHubFixture, refusals_are_counted_and_change_nothing) {
    m_pChannel->Answer(EventChannel::Outcome::kRefused);
    m_Hub.Subscribe("first", 7);
    m_Hub.DeliverEvent(m_First, L"a");
    m_Hub.DeliverEvent(m_First, L"b");
    ASSERT_TRUE(m_pChannel->WaitForDelivered(2));
    EXPECT_TRUE(m_Hub.Stop(kPatience));
    EXPECT_EQ(m_Hub.GetFigures().refused, 2U);
    EXPECT_EQ(m_Hub.Subscribers(7).size(), 1U);
    EXPECT_TRUE(m_vecGone.empty());
}

TEST_F(EventHubFixture, client_that_is_gone_is_told_once_and_forgotten) {
    m_pChannel->Answer(EventChannel::Outcome::kGone);
    m_Hub.Subscribe("first", 7);
    m_pChannel->Hold(true);
    for (int i = 0; i < 5; ++i)
        m_Hub.DeliverEvent(m_First, L"x");
    m_pChannel->Hold(false);
    ASSERT_TRUE(m_pChannel->WaitForDelivered(1));
    EXPECT_TRUE(m_Hub.Stop(kPatience));
    EXPECT_EQ(m_vecGone, std::vector<std::string>{"first"});
    EXPECT_TRUE(m_Hub.Subscribers(7).empty());
    EXPECT_EQ(m_pChannel->Delivered().size(), 1U);
    EXPECT_EQ(m_Hub.GetFigures().lost, 5U);
}

TEST_F(EventHubFixture, a_forgotten_client_can_come_back) {
    m_Hub.DeliverEvent(m_First, L"before");
    ASSERT_TRUE(m_pChannel->WaitForDelivered(1));
    m_Hub.ForgetClient("first");
    m_Hub.DeliverEvent(m_First, L"after");
    ASSERT_TRUE(m_pChannel->WaitForDelivered(2));
    EXPECT_EQ(m_pChannel->Delivered()[1].second, L"after");
}

TEST_F(EventHubFixture, nothing_is_delivered_after_the_stop) {
    EXPECT_TRUE(m_Hub.Stop(kPatience));
    m_Hub.DeliverEvent(m_First, L"late");
    EXPECT_TRUE(m_pChannel->Delivered().empty());
    EXPECT_EQ(m_Hub.GetFigures().lost, 1U);
    EXPECT_TRUE(m_Hub.Stop(kPatience));
}

TEST_F(EventHubFixture, stop_tells_when_a_client_holds_a_delivery) {
    m_pChannel->Hold(true);
    m_Hub.DeliverEvent(m_First, L"held");
    ASSERT_TRUE(m_pChannel->WaitForEntered(1));
    EXPECT_FALSE(m_Hub.Stop(milliseconds(50)));
    m_pChannel->Hold(false);
    EXPECT_TRUE(m_pChannel->WaitForDelivered(1));
}

}  // namespace
