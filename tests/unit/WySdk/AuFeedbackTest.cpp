// The content of a feedback record.
#include "WySdk/AuFeedback.h"

#include <gtest/gtest.h>
#include <json/value.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using AuFeedback::BuildRecord;
using AuFeedback::Facts;

Facts AllFacts() {
    Facts facts;
    facts.strOsName = L"Windows 10.0 Professional";
    facts.uiLocale = 1031;
    facts.strGuid = L"{1}";
    facts.strProductId = L"11";
    facts.strProductVersion = L"3.1";
    facts.strAgentVersion = L"2.0";
    facts.computerName = L"BOX";
    facts.iTime = 1700000000;
    return facts;
}

TEST(AuFeedbackRecord, has_each_member_with_its_type) {
    const JsonDocument record = BuildRecord(AllFacts(), 0xe0ff0002);
    EXPECT_EQ(record.ToCompactString(),
              L"{\"agentVersion\":\"2.0\",\"data\":[{\"content\":{\"auErrorCode\":-520159230,"
              L"\"auNewVersion\":\"\",\"auOldVersion\":\"\",\"computerName\":\"BOX\"},"
              L"\"time\":1700000000,\"type\":\"Update\"}],\"guid\":\"{1}\",\"locale\":1031,"
              L"\"osVer\":\"Windows 10.0 Professional\",\"productId\":\"11\","
              L"\"productVersion\":\"3.1\"}\n");
    const Json::Value& root = record.Native();
    EXPECT_EQ(root["locale"].type(), Json::uintValue);
    const Json::Value& event = root["data"][0];
    EXPECT_EQ(event["content"]["auErrorCode"].type(), Json::intValue);
    EXPECT_EQ(event["time"].type(), Json::intValue);
}

TEST(AuFeedbackRecord, facts_that_are_not_known_are_empty_texts_and_a_name_not_told_is_missing) {
    EXPECT_EQ(BuildRecord(Facts(), 0).ToCompactString(),
              L"{\"agentVersion\":\"\",\"data\":[{\"content\":{\"auErrorCode\":0,"
              L"\"auNewVersion\":\"\",\"auOldVersion\":\"\"},\"time\":0,\"type\":\"Update\"}],"
              L"\"guid\":\"\",\"locale\":0,\"osVer\":\"\",\"productId\":\"\","
              L"\"productVersion\":\"\"}\n");
}

TEST(AuFeedbackRecord, result_codes_are_signed) {
    const struct {
        std::uint32_t code;
        std::int32_t number;
    } rows[] = {
        {0x20ff0000, 553582592},  {0xe0ff0002, -520159230},
        {0xe0ff0007, -520159225}, {0xe0fe0005, -520224763},
        {0xffffffff, -1},         {0x80000000, INT32_MIN},
        {0x7fffffff, INT32_MAX},  {0, 0},
    };
    for (const auto& row : rows) {
        const JsonDocument record = BuildRecord(Facts(), row.code);
        EXPECT_EQ(record.Native()["data"][0]["content"]["auErrorCode"].asInt(), row.number);
    }
}

TEST(AuFeedbackRecord, name_of_the_system_has_at_most_260_characters) {
    for (const std::size_t length : {0U, 259U, 260U, 261U, 1000U}) {
        Facts facts;
        facts.strOsName.assign(length, L'w');
        JsonDocument record = BuildRecord(facts, 0);
        EXPECT_EQ(record[L"osVer"].AsString().size(), length < 260 ? length : 260) << length;
    }
}

TEST(AuFeedbackRecord, time_has_64_bits) {
    for (const std::int64_t time :
         {std::int64_t{0x100000000}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::max()}) {
        Facts facts;
        facts.iTime = time;
        EXPECT_EQ(BuildRecord(facts, 0).Native()["data"][0]["time"].asInt64(), time);
    }
}

TEST(AuFeedbackRecord, odd_texts_are_kept) {
    Facts facts = AllFacts();
    facts.strGuid = L"\"\\%s\n\u00e4";
    facts.computerName = L"";
    JsonDocument record = BuildRecord(facts, 0);
    EXPECT_EQ(record[L"guid"].AsString(), facts.strGuid);
    EXPECT_TRUE(record[L"data"][0U][L"content"].isMember(L"computerName"));
}

}  // namespace
