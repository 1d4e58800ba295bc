// What the service is told, by a client helper that records it.

#include "deploy/DeployCommon_Events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "support/FakeClientHelper.h"

namespace {

using namespace WyDeployHelper::DeployCommon;
using test_support::FakeClientHelper;
using ::testing::ElementsAre;

TEST(DeployEvents, event_is_one_mail_of_a_helper_of_its_own) {
    FakeClientHelper helper;
    helper.mailResult = 0x20ff0123;
    EXPECT_EQ(PublishEvent(SetupEvent::kInstalled), 0x20ff0123U);
    EXPECT_THAT(helper.calls, ElementsAre("construct 1033 c11t1100v1.1.0l1p1r1o1 0 0 30",
                                          "mail 5 6146 0", "destroy"));
    EXPECT_EQ(helper.mailRequest, L"{\"eventId\":6}\n");
    PublishEvent(SetupEvent::kUninstalling);
    EXPECT_EQ(helper.mailRequest, L"{\"eventId\":15}\n");
    PublishEvent(0xffffffff);
    EXPECT_EQ(helper.mailRequest, L"{\"eventId\":4294967295}\n");
}

TEST(DeployEvents, service_that_is_not_there_has_the_code_of_a_system_error) {
    FakeClientHelper helper;
    helper.mailResult = 0xe00106ba;
    EXPECT_EQ(PublishEvent(6), 0xe0fe06baU);
    EXPECT_FALSE(PublishUsageEvent(L"a", L"b", L"c", 1));
}

TEST(DeployEvents, other_failures_are_passed_on) {
    FakeClientHelper helper;
    for (const std::uint32_t code : {0xe00106bbU, 0xe0ff0007U, 0xe0fe06baU, 0x80000000U}) {
        helper.mailResult = code;
        EXPECT_EQ(PublishEvent(6), code);
        EXPECT_FALSE(PublishUsageEvent(L"a", L"b", L"c", 1));
    }
}

TEST(DeployEvents, lack_of_memory_is_a_system_error) {
    FakeClientHelper helper;
    helper.outOfMemory = true;
    EXPECT_EQ(PublishEvent(6), 0xe0fe0008U);
    EXPECT_FALSE(PublishUsageEvent(L"a", L"b", L"c", 1));
}

TEST(DeployEvents, usage_event_carries_category_and_parameters) {
    FakeClientHelper helper;
    helper.mailResult = 0;
    EXPECT_TRUE(PublishUsageEvent(L"versionUsage", L"VersionUsage", L"3.1.1158", 1));
    EXPECT_THAT(helper.calls, ElementsAre("construct 1033 c11t1100v1.1.0l1p1r1o1 0 0 30",
                                          "mail 5 6146 0", "destroy"));
    EXPECT_EQ(helper.mailRequest,
              L"{\"category\":\"versionUsage\",\"eventId\":112,\"param\":{\"ea\":\"3.1.1158\","
              L"\"ec\":\"VersionUsage\",\"ev\":\"1\"}}\n");
}

TEST(DeployEvents, value_of_a_usage_event_is_decimal_text) {
    FakeClientHelper helper;
    const struct {
        int value;
        const wchar_t* text;
    } rows[] = {{0, L"\"0\""},
                {-1, L"\"-1\""},
                {std::numeric_limits<int>::max(), L"\"2147483647\""},
                {std::numeric_limits<int>::min(), L"\"-2147483648\""}};
    for (const auto& row : rows) {
        EXPECT_TRUE(PublishUsageEvent(L"", L"", L"", row.value));
        EXPECT_EQ(helper.mailRequest,
                  L"{\"category\":\"\",\"eventId\":112,\"param\":{\"ea\":\"\","
                  L"\"ec\":\"\",\"ev\":" +
                      std::wstring(row.text) + L"}}\n");
    }
}

}  // namespace
