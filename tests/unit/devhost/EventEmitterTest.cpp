#include "devhost/EventEmitter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>

namespace {

using DevHost::Emission;
using DevHost::EventEmitter;
using DevHost::ParseEmission;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kPatience{10'000};

// What was published, and when; can hold a publication.
class Record {
public:
    struct Entry {
        std::uint32_t eventId;
        std::uint64_t number;
        Clock::time_point time;
    };

    EventEmitter::Publish Publisher() {
        return [this](std::uint32_t eventId, std::uint64_t number) {
            std::unique_lock lock(m_Mutex);
            m_vecEntry.push_back({eventId, number, Clock::now()});
            m_Changed.notify_all();
            m_Changed.wait(lock, [this] { return !m_bHold; });
        };
    }

    void Hold(bool hold) {
        const std::scoped_lock lock(m_Mutex);
        m_bHold = hold;
        m_Changed.notify_all();
    }
    // Waits for `count` publications of the event.
    bool WaitFor(std::uint32_t eventId, std::size_t count) {
        std::unique_lock lock(m_Mutex);
        return m_Changed.wait_for(lock, kPatience, [&] { return Of(eventId).size() >= count; });
    }
    std::vector<Entry> Entries(std::uint32_t eventId) {
        const std::scoped_lock lock(m_Mutex);
        return Of(eventId);
    }
    std::size_t Count() {
        const std::scoped_lock lock(m_Mutex);
        return m_vecEntry.size();
    }

private:
    std::vector<Entry> Of(std::uint32_t eventId) const {
        std::vector<Entry> entries;
        for (const Entry& entry : m_vecEntry) {
            if (entry.eventId == eventId)
                entries.push_back(entry);
        }
        return entries;
    }

    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::vector<Entry> m_vecEntry;
    bool m_bHold = false;
};

TEST(EventEmitter, nothing_is_published_before_it_is_due) {
    Record record;
    const Clock::time_point start = Clock::now();
    EventEmitter emitter({{7, 30}}, record.Publisher());
    emitter.Start();
    ASSERT_TRUE(record.WaitFor(7, 4));
    emitter.Stop();
    const auto entries = record.Entries(7);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i].number, i);
        EXPECT_GE(entries[i].time - start, milliseconds(30) * (i + 1)) << i;
    }
}

TEST(EventEmitter, emissions_count_and_come_each_by_its_own_interval) {
    Record record;
    const Clock::time_point start = Clock::now();
    EventEmitter emitter({{1, 10}, {2, 50}, {3, 600'000}, {1, 50}}, record.Publisher());
    emitter.Start();
    ASSERT_TRUE(record.WaitFor(2, 3));
    emitter.Stop();
    EXPECT_GE(record.Entries(2).back().time - start, milliseconds(150));
    EXPECT_TRUE(record.Entries(3).empty());
    // Two emissions of one event count apart.
    std::map<std::uint64_t, unsigned> numbers;
    for (const Record::Entry& entry : record.Entries(1))
        ++numbers[entry.number];
    EXPECT_EQ(numbers[0], 2U);
    EXPECT_GT(record.Entries(1).size(), record.Entries(2).size());
}

TEST(EventEmitter, late_publications_are_not_made_up_for) {
    Record record;
    EventEmitter emitter({{7, 20}}, record.Publisher());
    record.Hold(true);
    emitter.Start();
    ASSERT_TRUE(record.WaitFor(7, 1));
    std::this_thread::sleep_for(milliseconds(400));  // twenty intervals
    record.Hold(false);
    const Clock::time_point released = Clock::now();
    ASSERT_TRUE(record.WaitFor(7, 5));
    emitter.Stop();
    // One comes at once, in the place of all that were missed; the others by the clock.
    EXPECT_GE(record.Entries(7)[4].time - released, milliseconds(60));
}

TEST(EventEmitter, stop_waits_for_a_publication_that_is_under_way) {
    Record record;
    EventEmitter emitter({{7, 5}}, record.Publisher());
    record.Hold(true);
    emitter.Start();
    ASSERT_TRUE(record.WaitFor(7, 1));
    std::atomic<bool> stopped = false;
    std::thread stopper([&] {
        emitter.Stop();
        stopped = true;
    });
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_FALSE(stopped);
    record.Hold(false);
    stopper.join();
    EXPECT_EQ(record.Count(), 1U);
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(record.Count(), 1U);
}

TEST(EventEmitter, stop_does_not_wait_for_what_is_due_later) {
    Record record;
    const Clock::time_point start = Clock::now();
    {
        EventEmitter emitter({{7, 86'400'000}}, record.Publisher());
        emitter.Start();
        std::this_thread::sleep_for(milliseconds(20));
    }
    EXPECT_LT(Clock::now() - start, kPatience);
    EXPECT_EQ(record.Count(), 0U);
}

TEST(EventEmitter, it_starts_once_and_stops_for_good) {
    Record record;
    EventEmitter emitter({{7, 100}}, record.Publisher());
    emitter.Stop();
    EventEmitter idle({{7, 1}}, record.Publisher());  // never started
    std::this_thread::sleep_for(milliseconds(30));
    EXPECT_EQ(record.Count(), 0U);
    emitter.Start();
    emitter.Start();
    emitter.Stop();
    emitter.Stop();
    EXPECT_EQ(record.Count(), 0U);
}

TEST(EventEmitter, without_emissions_nothing_runs) {
    Record record;
    EventEmitter emitter({}, record.Publisher());
    emitter.Start();
    EXPECT_FALSE(emitter.IsRunning());
    emitter.Stop();
    EventEmitter other({{7, 1000}}, record.Publisher());
    EXPECT_FALSE(other.IsRunning());
    other.Start();
    EXPECT_TRUE(other.IsRunning());
    other.Stop();
    EXPECT_FALSE(other.IsRunning());
}

TEST(Emission, text_is_the_event_and_its_milliseconds) {
    struct Row {
        const char* text;
        std::uint32_t eventId;
        std::uint32_t intervalMs;
    };
    for (const Row& row : {Row{"7:250", 7, 250},
                           {"0:1", 0, 1},
                           {"32769:86400000", 32769, 86'400'000},
                           {"0x8001:0x10", 32769, 16},
                           {"0XFFFFFFFF:5", 0xffffffff, 5},
                           {"4294967295:5", 0xffffffff, 5}}) {
        const auto emission = ParseEmission(row.text);
        ASSERT_TRUE(emission.has_value()) << row.text;
        EXPECT_EQ(emission->eventId, row.eventId) << row.text;
        EXPECT_EQ(emission->intervalMs, row.intervalMs) << row.text;
    }
}

TEST(Emission, other_texts_are_refused) {
    for (const char* text :
         {"",           ":",    "7",     "7:",           ":7",           "7:0",
          "7:86400001", "7:-1", "-7:1",  "4294967296:1", "7:4294967297", "7 :1",
          "7: 1",       " 7:1", "7:1 ",  "7:1:1",        "x:1",          "7:x",
          "0x:1",       "7:0x", "0xg:1", "7;1",          "7.0:1",        "+7:1"}) {
        EXPECT_FALSE(ParseEmission(text).has_value()) << text;
    }
}

}  // namespace
