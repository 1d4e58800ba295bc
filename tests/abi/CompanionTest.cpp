// WySdk.hpp, as an application uses it that links the import library.

#include <WySdk/WySdk.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "abi/SdkLibrary.h"
#include "support/ServiceHost.h"

namespace {

using namespace std::chrono_literals;
using test_support::ServiceHost;

constexpr std::uint32_t kEvent = 7;
constexpr std::uint32_t kOtherEvent = 8;

// Looks often, so that tests need not wait long.
wy::event_queue::options Quick() {
    wy::event_queue::options options;
    options.watch_interval = 50ms;
    return options;
}

// Pumps until so many events have come; those that came.
std::vector<wy::event> Pump(wy::event_queue& queue, std::size_t count) {
    std::vector<wy::event> events;
    const auto end = wy::event_queue::clock::now() + 30s;
    while (events.size() < count && wy::event_queue::clock::now() < end)
        queue.pump(100ms, [&](const wy::event& event) { events.push_back(event); });
    return events;
}

class Companion : public testing::Test {
protected:
    // Limits the endpoints of the library, as for all programs that test it.
    static void SetUpTestSuite() { SdkLibrary::Module(); }
};

using CompanionText = Companion;
using CompanionResult = Companion;
using CompanionSession = Companion;
using CompanionCalls = Companion;
using CompanionSubscription = Companion;
using CompanionQueue = Companion;

wchar_t* LocalText(const wchar_t* text) {
    const std::size_t size = (std::wcslen(text) + 1) * sizeof(wchar_t);
    auto* const copy = static_cast<wchar_t*>(LocalAlloc(LMEM_FIXED, size));
    std::memcpy(copy, text, size);
    return copy;
}

TEST_F(CompanionText, owns_moves_and_gives_way) {
    wy::text empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_STREQ(L"", empty.c_str());
    wy::text first(LocalText(L"abc"));
    EXPECT_EQ(L"abc", first.str());
    EXPECT_EQ(3U, first.view().size());
    wy::text second(std::move(first));
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(L"abc", second.str());
    first = std::move(second);
    EXPECT_EQ(L"abc", first.str());
    *first.put() = LocalText(L"x");
    EXPECT_EQ(L"x", first.str());
}

TEST_F(CompanionResult, tells_success_value_and_failure) {
    wy::result<int> good(WY_S_OK, 5);
    EXPECT_TRUE(good);
    EXPECT_EQ(5, good.value());
    wy::result<int> odd(0x20ff0777, 5);
    EXPECT_TRUE(odd);
    wy::result<int> bad(WY_E_FAILURE, 7);
    EXPECT_FALSE(bad);
    EXPECT_EQ(WY_E_FAILURE, bad.code());
    EXPECT_EQ(7, *bad);
    try {
        (void)bad.value();
        ADD_FAILURE() << "nothing was raised";
    } catch (const wy::call_error& error) {
        EXPECT_EQ(WY_E_FAILURE, error.code());
    }
    EXPECT_THROW(wy::result<void>(WY_E_FAILURE).value(), wy::call_error);
    EXPECT_NO_THROW(wy::result<void>(WY_S_OK).value());
}

TEST_F(CompanionSession, closes_with_its_owner_and_once) {
    EXPECT_FALSE(wy::session::open(L"companion"));
    const ServiceHost host;
    {
        auto opened = wy::session::open(L"companion");
        ASSERT_TRUE(opened);
        wy::session session = std::move(*opened);
        EXPECT_TRUE(session.close());
        EXPECT_TRUE(session.close());
    }
    EXPECT_FALSE(wy::session::open(nullptr));
}

TEST_F(CompanionCalls, give_the_answers_of_the_service) {
    const ServiceHost host;
    auto session = wy::session::open(L"companion");
    ASSERT_TRUE(session);
    EXPECT_LE(wy::monitor::cpu_usage().value(), 100U);
    const auto memory = wy::monitor::memory_usage();
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->total, memory->used + memory->available);
    EXPECT_EQ(host.ProcessId(), *wy::monitor::service_process());
    EXPECT_FALSE(wy::monitor::processes()->empty());
    auto scan = wy::scan::start(1, L"");
    ASSERT_TRUE(scan);
    EXPECT_TRUE(wy::scan::progress(scan->c_str()));
    EXPECT_TRUE(wy::scan::findings(scan->c_str(), L""));
    EXPECT_TRUE(wy::settings::language(1031));
    EXPECT_TRUE(wy::update());
    EXPECT_FALSE(wy::scan::pause(nullptr));
}

TEST_F(CompanionCalls, settings_of_the_machine) {
    const auto log = wy::folders::debug_log();
    ASSERT_TRUE(log);
    EXPECT_EQ(*log, L"C:\\ProgramData\\Korvex Data\\Wyvarion");
    const auto cache = wy::folders::cache();
    ASSERT_TRUE(cache);
    EXPECT_TRUE(cache->ends_with(L"\\Cache"));
    EXPECT_TRUE(wy::settings::proxy(L"s", 1, L"", L"", false));
    EXPECT_TRUE(wy::settings::identifiers(L"1", L"2", L"3"));
    EXPECT_TRUE(wy::settings::identifiers_present(L"1", L"2"));
    EXPECT_EQ(wy::settings::debug_log(true, 1).code(), WY_E_LOG_SETTINGS_NOT_CHANGED);
    const ServiceHost host;
    EXPECT_TRUE(wy::settings::reamer(1));
}

TEST_F(CompanionSubscription, hands_events_to_its_handler_and_ends_with_its_owner) {
    const ServiceHost host;
    auto session = wy::session::open(L"companion");
    ASSERT_TRUE(session);
    std::atomic<int> count{0};
    const auto counting = [&](std::uint32_t, const wchar_t*) -> std::uint32_t {
        ++count;
        return WY_S_OK;
    };
    wy::event_queue proof(Quick());
    ASSERT_TRUE(proof.subscribe(kOtherEvent));
    {
        auto opened = wy::subscription::open(kEvent, counting);
        ASSERT_TRUE(opened);
        EXPECT_TRUE(*opened);
        EXPECT_EQ(kEvent, opened->event_id());
        ASSERT_TRUE(wy::publish(kEvent, L"{}"));
        ASSERT_TRUE(wy::publish(kOtherEvent));
        EXPECT_EQ(1U, Pump(proof, 1).size());
        EXPECT_EQ(1, count);
    }
    ASSERT_TRUE(wy::publish(kEvent));
    ASSERT_TRUE(wy::publish(kOtherEvent));
    EXPECT_EQ(1U, Pump(proof, 1).size());
    EXPECT_EQ(1, count);
}

TEST_F(CompanionSubscription, later_one_takes_the_event_from_the_earlier_one) {
    const ServiceHost host;
    auto session = wy::session::open(L"companion");
    std::atomic<int> earlier{0};
    std::atomic<int> later{0};
    auto first = wy::subscription::open(kEvent, [&](std::uint32_t, const wchar_t*) {
        ++earlier;
        return WY_S_OK;
    });
    auto second = wy::subscription::open(kEvent, [&](std::uint32_t, const wchar_t*) {
        ++later;
        return WY_S_OK;
    });
    // Has nothing left to take back.
    EXPECT_TRUE(first->cancel());
    ASSERT_TRUE(wy::publish(kEvent));
    for (int i = 0; i < 500 && later == 0; ++i)
        Sleep(10);
    EXPECT_EQ(0, earlier);
    EXPECT_EQ(1, later);
}

TEST_F(CompanionSubscription, refused_one_leaves_the_earlier_one_in_force) {
    const ServiceHost host(L"api:400012006 skip 1 fail 5");
    auto session = wy::session::open(L"companion");
    std::atomic<int> earlier{0};
    auto first = wy::subscription::open(kEvent, [&](std::uint32_t, const wchar_t*) {
        ++earlier;
        return WY_S_OK;
    });
    ASSERT_TRUE(first);
    const auto second =
        wy::subscription::open(kEvent, [](std::uint32_t, const wchar_t*) { return WY_S_OK; });
    EXPECT_EQ(0xe0010005U, second.code());
    EXPECT_FALSE(*second);
    ASSERT_TRUE(wy::publish(kEvent));
    for (int i = 0; i < 500 && earlier == 0; ++i)
        Sleep(10);
    EXPECT_EQ(1, earlier);
}

TEST_F(CompanionSubscription, handler_that_raises_fails_its_event_alone) {
    const ServiceHost host;
    auto session = wy::session::open(L"companion");
    std::atomic<int> count{0};
    auto opened =
        wy::subscription::open(kEvent, [&](std::uint32_t, const wchar_t*) -> std::uint32_t {
            if (++count == 1)
                throw std::runtime_error("from a handler");
            return WY_S_OK;
        });
    ASSERT_TRUE(wy::publish(kEvent));
    ASSERT_TRUE(wy::publish(kEvent));
    for (int i = 0; i < 500 && count < 2; ++i)
        Sleep(10);
    EXPECT_EQ(2, count);
}

TEST_F(CompanionQueue, hands_events_out_in_order_on_the_pumping_thread) {
    const ServiceHost host;
    auto session = wy::session::open(L"companion");
    wy::event_queue queue;
    ASSERT_TRUE(queue.subscribe(kEvent));
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(wy::publish(kEvent, std::to_wstring(i).c_str()));
    const auto thread = std::this_thread::get_id();
    std::size_t count = 0;
    while (count < 20) {
        const std::size_t handed = queue.pump(30s, [&](const wy::event& event) {
            EXPECT_EQ(thread, std::this_thread::get_id());
            EXPECT_EQ(kEvent, event.id);
            EXPECT_NE(std::wstring::npos,
                      event.json.find(L"\"param\":" + std::to_wstring(count) + L","))
                << count;
            ++count;
        });
        ASSERT_GT(handed, 0U);
    }
    EXPECT_EQ(0U, queue.dropped());
    EXPECT_EQ(0U, queue.pump(0ms, [](const wy::event&) {}));
    EXPECT_TRUE(queue.unsubscribe(kEvent));
    EXPECT_TRUE(queue.unsubscribe(kEvent));
    ASSERT_TRUE(wy::publish(kEvent));
    EXPECT_EQ(0U, queue.pump(300ms, [](const wy::event&) {}));
}

TEST_F(CompanionQueue, full_one_loses_the_oldest_and_counts_them) {
    const ServiceHost host;
    auto session = wy::session::open(L"companion");
    wy::event_queue::options options;
    options.capacity = 3;
    wy::event_queue queue(options);
    wy::event_queue proof;
    ASSERT_TRUE(queue.subscribe(kEvent));
    ASSERT_TRUE(proof.subscribe(kOtherEvent));
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(wy::publish(kEvent, std::to_wstring(i).c_str()));
    ASSERT_TRUE(wy::publish(kOtherEvent));
    ASSERT_EQ(1U, Pump(proof, 1).size());
    EXPECT_EQ(3U, queue.size());
    EXPECT_EQ(7U, queue.dropped());
    const auto events = Pump(queue, 3);
    ASSERT_EQ(3U, events.size());
    EXPECT_NE(std::wstring::npos, events.front().json.find(L"\"param\":7,"));
}

TEST_F(CompanionQueue, handler_that_raises_keeps_the_other_events) {
    const ServiceHost host;
    auto session = wy::session::open(L"companion");
    wy::event_queue queue;
    ASSERT_TRUE(queue.subscribe(kEvent));
    ASSERT_TRUE(wy::publish(kEvent));
    ASSERT_TRUE(wy::publish(kEvent));
    EXPECT_THROW(queue.pump(30s, [](const wy::event&) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    EXPECT_EQ(1U, Pump(queue, 1).size());
}

TEST_F(CompanionQueue, subscribes_anew_when_the_service_was_restarted) {
    auto host = std::make_unique<ServiceHost>();
    auto session = wy::session::open(L"companion");
    ASSERT_TRUE(session);
    wy::event_queue queue(Quick());
    ASSERT_TRUE(queue.subscribe(kEvent));
    ASSERT_TRUE(wy::publish(kEvent));
    ASSERT_EQ(1U, Pump(queue, 1).size());
    for (int round = 1; round <= 3; ++round) {
        // Until the host has its answer: the endpoint of a process takes no more calls under Wine
        // when a caller of it dies within one.
        queue.pump(500ms, [](const wy::event&) {});
        host->Kill();
        host.reset();
        queue.pump(200ms, [](const wy::event&) {});
        host = std::make_unique<ServiceHost>();
        // Published again and again, since the first ones come before the subscription is back.
        std::size_t handed = 0;
        for (int i = 0; i < 200 && handed == 0; ++i) {
            EXPECT_TRUE(wy::publish(kEvent));
            handed = queue.pump(100ms, [](const wy::event&) {});
        }
        EXPECT_GT(handed, 0U) << round;
        EXPECT_EQ(static_cast<std::uint64_t>(round), queue.renewals());
    }
}

TEST_F(CompanionQueue, refused_subscription_is_told) {
    const ServiceHost host(L"api:400012006 fail 5");
    auto session = wy::session::open(L"companion");
    wy::event_queue queue;
    EXPECT_EQ(0xe0010005U, queue.subscribe(kEvent).code());
    EXPECT_TRUE(queue.subscribe(kEvent));
}

}  // namespace
