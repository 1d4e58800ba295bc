// The settings that the service keeps: every value of an argument goes out as it is.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/FakeMail.h"
#include "support/LogRecorder.h"

namespace {

using test_support::FakeMail;
using test_support::LogRecorder;

TEST(ServiceSettings, arguments_go_out_whole) {
    const struct {
        std::function<std::uint32_t()> run;
        std::uint32_t id;
        std::wstring request;
    } rows[] = {
        {[] { return WySetCacheValidityTimeout(0); }, 400011000, L"{\"validityPeriod\":0}\n"},
        {[] { return WySetCacheValidityTimeout(4294967295); }, 400011000,
         L"{\"validityPeriod\":4294967295}\n"},
        {[] { return WySetScheduleScanTime(0, 0); }, 400011001,
         L"{\"dayOfWeek\":0,\"hour\":0,\"minute\":0,\"scheduleId\":\"ScheduleScan\"}\n"},
        {[] { return WySetScheduleScanTime(7, 255); }, 400011001,
         L"{\"dayOfWeek\":7,\"hour\":255,\"minute\":0,\"scheduleId\":\"ScheduleScan\"}\n"},
        {[] { return WySetCloudBrokerStatus(4294967295); }, 400014004,
         L"{\"status\":4294967295}\n"},
        {[] { return WySetProductLcid(0x80000407); }, 400014005, L"{\"productLcid\":2147484679}\n"},
        {[] { return WySetInspectUrl(L"", L"http://\u00e9/?a=\"b\""); }, 400011002,
         L"{\"feedbackServerUrl\":\"\",\"reamerServerUrl\":\"http://\\u00e9/?a=\\\"b\\\"\"}\n"},
    };
    for (const auto& row : rows) {
        FakeMail mail;
        EXPECT_EQ(row.run(), 0x20ff0000U);
        ASSERT_EQ(mail.Count(), 1U);
        EXPECT_EQ(mail.Mails()[0].mailId, row.id);
        EXPECT_EQ(mail.Mails()[0].request, row.request);
    }
}

TEST(ServiceSettings, null_address_is_refused_before_anything_is_sent) {
    FakeMail mail;
    const LogRecorder log;
    EXPECT_EQ(WySetInspectUrl(nullptr, L"r"), 0xe0ff0007U);
    EXPECT_TRUE(log.Has(256, L"WySdk: [ERROR] Input parameter is NULL! argument NO = 0"));
    EXPECT_EQ(WySetInspectUrl(L"f", nullptr), 0xe0ff0007U);
    EXPECT_TRUE(log.Has(256, L"WySdk: [ERROR] Input parameter is NULL! argument NO = 1"));
    EXPECT_EQ(mail.Count(), 0U);
}

TEST(ServiceSettings, failures_of_road_and_service_come_back) {
    FakeMail mail;
    const std::function<std::uint32_t()> calls[] = {
        [] { return WySetCacheValidityTimeout(1); }, [] { return WySetScheduleScanTime(1, 1); },
        [] { return WySetCloudBrokerStatus(1); }, [] { return WySetProductLcid(1); },
        [] { return WySetInspectUrl(L"f", L"r"); }};
    for (const auto& call : calls) {
        mail.SetAnswer(L"", 0xe00106ba);
        EXPECT_EQ(call(), 0xe00106baU);
        mail.SetAnswer(L"{\"retCode\":3774808065}");
        EXPECT_EQ(call(), 3774808065U);
        mail.SetAnswer(L"{}", 0x20ff0001);
        EXPECT_EQ(call(), 0x20ff0001U);
    }
}

}  // namespace
