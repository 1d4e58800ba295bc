#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Log.h"
#include "Tool/UpdateAgent/luxWrapper.h"
#include "support/LogRecorder.h"

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kInvalid = 0xe0ff0007;

constexpr std::int32_t kMax = 2147483647;
constexpr std::int32_t kMin = -kMax - 1;

// What a text leaves in fields that begin as 7 each, with version "x".
struct Row {
    std::wstring text;
    std::uint32_t result;
    std::int32_t iClass, iType;
    std::wstring version;
    std::int32_t language, platform, region, oem;
};

const Row kRows[] = {
    // The seven fields, in the usual order and in others.
    {L"c11t1100v1.1.0l1p1r1o1", kSuccess, 11, 1100, L"1.1.0", 1, 1, 1, 1},
    {L"o1r2p3l4v5t6c7", kSuccess, 7, 6, L"5", 4, 3, 2, 1},
    {L"c1t2v3l4p5r6o7", kSuccess, 1, 2, L"3", 4, 5, 6, 7},
    // One field alone; the others stay.
    {L"c1", kSuccess, 1, 7, L"x", 7, 7, 7, 7},
    {L"t1", kSuccess, 7, 1, L"x", 7, 7, 7, 7},
    {L"v1", kSuccess, 7, 7, L"1", 7, 7, 7, 7},
    {L"l1", kSuccess, 7, 7, L"x", 1, 7, 7, 7},
    {L"p1", kSuccess, 7, 7, L"x", 7, 1, 7, 7},
    {L"r1", kSuccess, 7, 7, L"x", 7, 7, 1, 7},
    {L"o1", kSuccess, 7, 7, L"x", 7, 7, 7, 1},
    // The last of two counts.
    {L"c1c2", kSuccess, 2, 7, L"x", 7, 7, 7, 7},
    {L"v1.0v2.0", kSuccess, 7, 7, L"2.0", 7, 7, 7, 7},
    // Empty values.
    {L"c", kSuccess, 0, 7, L"x", 7, 7, 7, 7},
    {L"v", kSuccess, 7, 7, L"", 7, 7, 7, 7},
    {L"ctvlpro", kSuccess, 0, 0, L"", 0, 0, 0, 0},
    // Numbers at their limits, and texts that are only partly numbers.
    {L"c0", kSuccess, 0, 7, L"x", 7, 7, 7, 7},
    {L"c007", kSuccess, 7, 7, L"x", 7, 7, 7, 7},
    {L"c-5", kSuccess, -5, 7, L"x", 7, 7, 7, 7},
    {L"c-", kSuccess, 0, 7, L"x", 7, 7, 7, 7},
    {L"c--5", kSuccess, 0, 7, L"x", 7, 7, 7, 7},
    {L"c1-2", kSuccess, 1, 7, L"x", 7, 7, 7, 7},
    {L"c1.9", kSuccess, 1, 7, L"x", 7, 7, 7, 7},
    {L"c.5", kSuccess, 0, 7, L"x", 7, 7, 7, 7},
    {L"c2147483647", kSuccess, kMax, 7, L"x", 7, 7, 7, 7},
    {L"c2147483648", kSuccess, kMax, 7, L"x", 7, 7, 7, 7},
    {L"c-2147483648", kSuccess, kMin, 7, L"x", 7, 7, 7, 7},
    {L"c-2147483649", kSuccess, kMin, 7, L"x", 7, 7, 7, 7},
    {L"c99999999999999999999999999", kSuccess, kMax, 7, L"x", 7, 7, 7, 7},
    {L"v-1..2.-", kSuccess, 7, 7, L"-1..2.-", 7, 7, 7, 7},
    // A first character of no field: its value is dropped.
    {L"x99c1", kSuccess, 1, 7, L"x", 7, 7, 7, 7},
    {L"12", kSuccess, 7, 7, L"x", 7, 7, 7, 7},
    {L" 1t2", kSuccess, 7, 2, L"x", 7, 7, 7, 7},
    {L"C1", kSuccess, 7, 7, L"x", 7, 7, 7, 7},
    // Refused; what stands before the bad value stays.
    {L"", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"c1 ", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"c 1", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"c1t 2v3", kInvalid, 1, 7, L"x", 7, 7, 7, 7},
    {L"c1t2v1.0 l4", kInvalid, 1, 2, L"x", 7, 7, 7, 7},
    {L"c1T2", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"c+1", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"c1,2", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"c0x10", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"v1.0beta", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"xyz", kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {L"c1t2%s", kInvalid, 1, 7, L"x", 7, 7, 7, 7},
    {std::wstring(L"c1\0t2", 5), kInvalid, 7, 7, L"x", 7, 7, 7, 7},
    {std::wstring(L"c") + static_cast<wchar_t>(0x661), kInvalid, 7, 7, L"x", 7, 7, 7, 7},
};

UpdateComponent Before() {
    UpdateComponent component;
    component.iClass = component.iType = component.iLanguage = 7;
    component.iRegion = component.iPlatform = component.iOem = 7;
    component.strVersion = L"x";
    return component;
}

}  // namespace

TEST(ConvertProductId, each_text_gives_its_fields) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(::testing::PrintToString(row.text));
        UpdateComponent component = Before();
        EXPECT_EQ(CLuxWrapper::ConvertProductID(row.text, component), row.result);
        EXPECT_EQ(component.iClass, row.iClass);
        EXPECT_EQ(component.iType, row.iType);
        EXPECT_EQ(component.strVersion, row.version);
        EXPECT_EQ(component.iLanguage, row.language);
        EXPECT_EQ(component.iPlatform, row.platform);
        EXPECT_EQ(component.iRegion, row.region);
        EXPECT_EQ(component.iOem, row.oem);
    }
}

TEST(ConvertProductId, fields_give_their_text) {
    UpdateComponent component;
    component.iClass = 11;
    component.iType = 1100;
    component.strVersion = L"1.1.0";
    component.iLanguage = 1;
    component.iPlatform = 2;
    component.iRegion = -3;
    component.iOem = kMin;
    std::wstring text = L"before";
    EXPECT_EQ(CLuxWrapper::ConvertProductID(component, text), kSuccess);
    EXPECT_EQ(text, L"c11t1100v1.1.0l1p2r-3o-2147483648");
}

TEST(ConvertProductId, text_read_and_written_is_the_same_text) {
    const std::wstring text = L"c11t1100v1.1.0l1p1r1o1";
    UpdateComponent component;
    ASSERT_EQ(CLuxWrapper::ConvertProductID(text, component), kSuccess);
    std::wstring written;
    ASSERT_EQ(CLuxWrapper::ConvertProductID(component, written), kSuccess);
    EXPECT_EQ(written, text);
}

TEST(ConvertProductId, reading_logs_the_text_and_the_fields) {
    test_support::LogRecorder log;
    UpdateComponent component;
    CLuxWrapper::ConvertProductID(L"c11t1100v1.1.0l1p2r3o4", component);
    const std::vector<std::wstring> expected = {
        L"UpdateAgent: [INFO] Parse : c11t1100v1.1.0l1p2r3o4",
        L"UpdateAgent: [INFO] Result => UpdateComponent: class = 11 type = 1100 version = 1.1.0 "
        L"language = 1 platform = 2 region = 3 oem = 4"};
    EXPECT_EQ(log.Texts(), expected);
}

TEST(ConvertProductId, refused_text_logs_no_fields) {
    test_support::LogRecorder log;
    UpdateComponent component;
    CLuxWrapper::ConvertProductID(L"c1 %d", component);
    EXPECT_EQ(log.Texts(), std::vector<std::wstring>{L"UpdateAgent: [INFO] Parse : c1 %d"});
}

TEST(ConvertProductId, writing_logs_the_fields_and_the_text) {
    test_support::LogRecorder log;
    UpdateComponent component;
    component.strVersion = L"3";
    std::wstring text;
    CLuxWrapper::ConvertProductID(component, text);
    const std::vector<std::wstring> expected = {
        L"UpdateAgent: [INFO] Parse UpdateComponent: class = 0 type = 0 version = 3 language = 0 "
        L"platform = 0 region = 0 oem = 0",
        L"UpdateAgent: [INFO] Result:c0t0v3l0p0r0o0"};
    EXPECT_EQ(log.Texts(), expected);
}
