#include "utilRPC/RpcTrackingTable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/EventFlag.h"
#include "support/LogRecorder.h"
#include "utilRPC/RpcMessages.h"

using KrCommon::LogLevel::kInformation;
using test_support::EventFlag;
using test_support::LogRecorder;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kAbsent = 0xe0ff000e;
constexpr std::uint32_t kGoingAway = 0xe0ff0015;
constexpr std::uint32_t kInUse = 0xe0ff0016;
constexpr std::uint32_t kUnknown = 0xe0ff0018;
constexpr std::uint32_t kExists = 0xe0ff001c;

int Callback(const char*, CommandResult*, CommandResult*) {
    return 0;
}

std::uint32_t Add(CRpcTrackingTable& table, const char* id, const char* owner = "") {
    return table.Add(id, owner, Callback, nullptr);
}

TEST(TrackingTable, record_is_delivered_to_with_what_it_was_added_with) {
    CRpcTrackingTable table;
    int context = 0;
    ASSERT_EQ(table.Add("id", "owner", Callback, &context), kSuccess);
    TrackingRecord record;
    EXPECT_EQ(table.BeginDelivery("id", record), kSuccess);
    EXPECT_EQ(record.pfnCallback, &Callback);
    EXPECT_EQ(record.pContext, &context);
    EXPECT_EQ(record.strClientSessionKey, "owner");
    EXPECT_EQ(record.uiRefCount, 1U);
    EXPECT_FALSE(record.bDelete);
    table.EndDelivery("id");
}

TEST(TrackingTable, locks_are_valid) {
    EXPECT_TRUE(CRpcTrackingTable().IsValid());
}

TEST(TrackingTable, same_id_twice_is_refused_and_the_first_record_stays) {
    CRpcTrackingTable table;
    int first = 0;
    int second = 0;
    ASSERT_EQ(table.Add("id", "", Callback, &first), kSuccess);
    EXPECT_EQ(table.Add("id", "", Callback, &second), kExists);
    TrackingRecord record;
    ASSERT_EQ(table.BeginDelivery("id", record), kSuccess);
    EXPECT_EQ(record.pContext, &first);
}

TEST(TrackingTable, owner_that_goes_away_takes_no_record) {
    CRpcTrackingTable table;
    EventFlag event;
    table.SetClientEvent("owner", event.Handle());
    EXPECT_EQ(Add(table, "id", "owner"), kGoingAway);
    TrackingRecord record;
    EXPECT_EQ(table.BeginDelivery("id", record), kUnknown);
    EXPECT_EQ(Add(table, "id", "other"), kSuccess);
    table.SetClientEvent("owner", nullptr);
    EXPECT_EQ(Add(table, "id2", "owner"), kSuccess);
}

TEST(TrackingTable, delivery_to_an_unknown_id_is_refused) {
    CRpcTrackingTable table;
    TrackingRecord record;
    EXPECT_EQ(table.BeginDelivery("id", record), kUnknown);
    EXPECT_EQ(table.BeginDelivery("", record), kUnknown);
}

TEST(TrackingTable, erased_record_is_gone_and_its_id_free) {
    CRpcTrackingTable table;
    ASSERT_EQ(Add(table, "id"), kSuccess);
    EXPECT_EQ(table.Erase("id"), kSuccess);
    TrackingRecord record;
    EXPECT_EQ(table.BeginDelivery("id", record), kUnknown);
    EXPECT_EQ(Add(table, "id"), kSuccess);
}

TEST(TrackingTable, erase_of_an_unknown_id_is_told) {
    CRpcTrackingTable table;
    EXPECT_EQ(table.Erase("id"), kAbsent);
}

TEST(TrackingTable, null_id_is_invalid) {
    CRpcTrackingTable table;
    EXPECT_EQ(table.Erase(nullptr), kInvalid);
    EXPECT_EQ(table.Remove(nullptr, false), kInvalid);
    EXPECT_EQ(table.Remove("", true), kInvalid);
}

TEST(TrackingTable, removal_of_an_unknown_id_is_logged) {
    const LogRecorder log;
    CRpcTrackingTable table;
    EXPECT_EQ(table.Remove("id", true), kAbsent);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] Tracking ID not exist, szTrackingID: id"));
}

TEST(TrackingTable, removal_of_a_live_record_leaves_it_and_is_logged) {
    const LogRecorder log;
    CRpcTrackingTable table;
    ASSERT_EQ(Add(table, "id"), kSuccess);
    EXPECT_EQ(table.Remove("id", false), kInUse);
    EXPECT_TRUE(log.Has(kInformation,
                        L"utilRPC: [INFO] Tracking ID still use, szTrackingID: id, bDelete =  0, "
                        L"uiRefCount =  0"));
    TrackingRecord record;
    EXPECT_EQ(table.BeginDelivery("id", record), kSuccess);
}

TEST(TrackingTable, end_of_a_delivery_leaves_the_record_and_is_logged_with_its_count) {
    const LogRecorder log;
    CRpcTrackingTable table;
    ASSERT_EQ(Add(table, "id"), kSuccess);
    TrackingRecord record;
    ASSERT_EQ(table.BeginDelivery("id", record), kSuccess);
    ASSERT_EQ(table.BeginDelivery("id", record), kSuccess);
    EXPECT_EQ(record.uiRefCount, 2U);
    EXPECT_EQ(table.Remove("id", true), kInUse);
    EXPECT_TRUE(log.Has(kInformation,
                        L"utilRPC: [INFO] Tracking ID still use, szTrackingID: id, bDelete =  0, "
                        L"uiRefCount =  1"));
}

TEST(TrackingTable, end_without_a_delivery_does_not_take_the_count_below_zero) {
    CRpcTrackingTable table;
    ASSERT_EQ(Add(table, "id"), kSuccess);
    table.EndDelivery("id");
    TrackingRecord record;
    ASSERT_EQ(table.BeginDelivery("id", record), kSuccess);
    EXPECT_EQ(record.uiRefCount, 1U);
}

TEST(TrackingTable, erase_during_a_delivery_marks_the_record_which_goes_with_the_delivery) {
    CRpcTrackingTable table;
    ASSERT_EQ(Add(table, "id"), kSuccess);
    TrackingRecord record;
    ASSERT_EQ(table.BeginDelivery("id", record), kSuccess);
    EXPECT_EQ(table.Erase("id"), kInUse);
    EXPECT_EQ(table.BeginDelivery("id", record), kGoingAway);
    EXPECT_EQ(Add(table, "id"), kExists);
    EXPECT_EQ(table.Remove("id", true), kSuccess);
    EXPECT_EQ(table.BeginDelivery("id", record), kUnknown);
    EXPECT_EQ(Add(table, "id"), kSuccess);
}

TEST(TrackingTable, marked_record_outlives_all_but_the_last_delivery) {
    CRpcTrackingTable table;
    ASSERT_EQ(Add(table, "id"), kSuccess);
    TrackingRecord record;
    ASSERT_EQ(table.BeginDelivery("id", record), kSuccess);
    ASSERT_EQ(table.BeginDelivery("id", record), kSuccess);
    EXPECT_EQ(table.Erase("id"), kInUse);
    EXPECT_EQ(table.Remove("id", true), kInUse);
    EXPECT_EQ(table.Erase("id"), kInUse);
    EXPECT_EQ(table.Remove("id", true), kSuccess);
    EXPECT_EQ(table.Remove("id", true), kAbsent);
}

TEST(TrackingTable, event_of_an_owner_is_signalled_when_its_last_record_goes) {
    CRpcTrackingTable table;
    EventFlag event;
    ASSERT_EQ(Add(table, "first", "owner"), kSuccess);
    ASSERT_EQ(Add(table, "second", "owner"), kSuccess);
    table.SetClientEvent("owner", event.Handle());
    EXPECT_EQ(table.Erase("first"), kSuccess);
    EXPECT_FALSE(event.IsSet());
    EXPECT_EQ(table.Erase("second"), kSuccess);
    EXPECT_TRUE(event.IsSet());
}

TEST(TrackingTable, event_of_one_owner_does_not_concern_another) {
    CRpcTrackingTable table;
    EventFlag event;
    ASSERT_EQ(Add(table, "first", "owner"), kSuccess);
    ASSERT_EQ(Add(table, "second", "other"), kSuccess);
    table.SetClientEvent("owner", event.Handle());
    EXPECT_EQ(table.Erase("second"), kSuccess);
    EXPECT_FALSE(event.IsSet());
}

TEST(TrackingTable, record_is_never_freed_under_a_running_delivery) {
    // Deliveries storm in while the record is added and erased; a delivery that has begun always
    // ends on the record it began with.
    CRpcTrackingTable table;
    std::atomic<bool> stop = false;
    std::atomic<int> inside = 0;
    std::atomic<int> delivered = 0;
    std::atomic<int> broken = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                TrackingRecord record;
                const std::uint32_t code = table.BeginDelivery("id", record);
                if (code != kSuccess) {
                    broken += code == kUnknown || code == kGoingAway ? 0 : 1;
                    std::this_thread::yield();
                    continue;
                }
                ++inside;
                broken += record.pfnCallback == &Callback && !record.bDelete ? 0 : 1;
                ++delivered;
                --inside;
                table.EndDelivery("id");
            }
        });
    }
    for (int round = 0; round < 500; ++round) {
        const std::uint32_t added = Add(table, "id");
        broken += added == kSuccess || added == kExists ? 0 : 1;
        std::this_thread::yield();
        const std::uint32_t erased = table.Erase("id");
        broken += erased == kSuccess || erased == kInUse || erased == kAbsent ? 0 : 1;
    }
    while (delivered == 0) {
        Add(table, "id");
        std::this_thread::yield();
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(inside, 0);
    table.Erase("id");
    EXPECT_EQ(Add(table, "id"), kSuccess);
}

}  // namespace
