#include "WySdk/SdkPrimitive.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "PrimitiveFixture.h"

namespace {

using namespace test_support;

class SdkPrimitive : public PrimitiveFixture {};

// The frame of a call

TEST_F(SdkPrimitive, sends_one_mail_to_the_api_destination_with_the_identifier) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a")}, {1}), kSuccess);
    ASSERT_EQ(mail.Count(), 1U);
    EXPECT_EQ(mail.Mails()[0].destId, 0x4e0009U);
    EXPECT_EQ(mail.Mails()[0].mailId, 4711U);
}

TEST_F(SdkPrimitive, logs_name_count_identifier_and_result) {
    mail.SetAnswer(LR"({"retCode":3774808071})");
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a")}, {1}), kInvalid);
    std::vector<std::wstring> lines;
    for (const LogRecorder::Line& line : log.Lines()) {
        EXPECT_EQ(line.level, line.text.starts_with(L"[INFO],") ? 16U : kInfo) << line.file;
        lines.push_back(line.text);
    }
    EXPECT_EQ(lines, (std::vector<std::wstring>{
                         L"[INFO],[WySdk], ==> WySdkPrimitive",
                         L"WySdk: [INFO] Function name = F, argument number = 1",
                         L"WySdk: [INFO] Api ID = 4711",
                         L"WySdk: [INFO] Return code = 0xe0ff0007",
                         L"[INFO],[WySdk], <== WySdkPrimitive",
                     }));
}

TEST_F(SdkPrimitive, without_arguments_sends_an_empty_object) {
    EXPECT_EQ(WySdkPrimitive(L"WyUpdate", 0, {}), kSuccess);
    EXPECT_EQ(mail.Mails()[0].mailId, 400012003U);
    EXPECT_EQ(Request(), L"{}\n");
}

TEST_F(SdkPrimitive, with_a_name_that_the_table_lacks_asks_the_sentinel) {
    EXPECT_EQ(WySdkPrimitive(L"WyCancelWyFix", 0, {}), kSuccess);
    EXPECT_EQ(mail.Mails()[0].mailId, 420000000U);
    EXPECT_EQ(Request(), L"{}\n");
}

TEST_F(SdkPrimitive, with_a_name_that_the_table_lacks_and_arguments_fails) {
    EXPECT_EQ(WySdkPrimitive(L"WyCancelWyFix", 1, std::array<std::uint64_t, 1>{}), kInvalid);
    EXPECT_EQ(mail.Count(), 0U);
    ExpectErrors({L"WySdk: [ERROR] Invalid API definition"});
}

TEST_F(SdkPrimitive, with_a_negative_count_sends_an_empty_object) {
    EXPECT_EQ(WySdkPrimitive(L"WyPauseScan", -1, {}), kSuccess);
    EXPECT_EQ(mail.Mails()[0].mailId, 400000020U);
    EXPECT_TRUE(log.Has(kInfo, L"WySdk: [INFO] Function name = WyPauseScan, argument number = -1"));
}

TEST_F(SdkPrimitive, with_a_count_beyond_the_table_stops_at_the_sentinel) {
    const std::vector<ApiDefinition> table = TableOf({Row(kIn, ParamUInt32, L"a")});
    EXPECT_EQ(WySdkPrimitive(table.data(), L"F", 2, std::array<std::uint64_t, 2>{1, 2}), kInvalid);
    EXPECT_EQ(mail.Count(), 0U);
    ExpectErrors({L"WySdk: [ERROR] Invalid API definition"});
}

TEST_F(SdkPrimitive, with_a_count_beyond_the_function_runs_into_the_next_ones_rows) {
    const std::vector<ApiDefinition> table =
        TableOf({Row(kIn, ParamUInt32, L"a"), {L"G", 12, kIn, ParamUInt32, L"b"}});
    EXPECT_EQ(WySdkPrimitive(table.data(), L"F", 2, std::array<std::uint64_t, 2>{1, 2}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":1,\"b\":2}\n");
    EXPECT_EQ(mail.Mails()[0].mailId, 4711U);
}

TEST_F(SdkPrimitive, knows_the_sentinel_by_its_identifier_alone) {
    const std::vector<ApiDefinition> named =
        TableOf({Row(kIn, ParamUInt32, L"a"), {L"F", 420000000, kIn, ParamUInt32, L"b"}});
    EXPECT_EQ(WySdkPrimitive(named.data(), L"F", 2, std::array<std::uint64_t, 2>{1, 2}), kInvalid);
    EXPECT_EQ(mail.Count(), 0U);
    const std::vector<ApiDefinition> nameless =
        TableOf({Row(kIn, ParamUInt32, L"a"), {L"", 12, kIn, ParamUInt32, L""}});
    EXPECT_EQ(WySdkPrimitive(nameless.data(), L"F", 1, std::array<std::uint64_t, 1>{1}), kSuccess);
    // A row without a name is a row like any other, and its empty key is the mistake.
    log.Clear();
    EXPECT_EQ(WySdkPrimitive(nameless.data(), L"F", 2, std::array<std::uint64_t, 2>{1, 2}),
              kInvalid);
    ExpectErrors({L"WySdk: [ERROR] Null JSON key! argument NO = 1"});
}

TEST_F(SdkPrimitive, a_refused_call_logs_its_mistake_in_the_place_of_a_result) {
    EXPECT_EQ(Call({Row(kIn, ParamWString, L"a")}, {0}), kInvalid);
    EXPECT_EQ(log.Texts(), (std::vector<std::wstring>{
                               L"[INFO],[WySdk], ==> WySdkPrimitive",
                               L"WySdk: [INFO] Function name = F, argument number = 1",
                               L"WySdk: [INFO] Api ID = 4711",
                               L"WySdk: [ERROR] Input parameter is NULL! argument NO = 0",
                               L"[INFO],[WySdk], <== WySdkPrimitive",
                           }));
}

TEST_F(SdkPrimitive, a_refused_call_touches_no_output) {
    std::uint32_t number = 99;
    wchar_t dummy = 0;
    wchar_t* text = &dummy;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamWStringOut, L"t"),
                    Row(kIn, ParamWString, L"b")},
                   {Slot(&number), Slot(&text), 0}),
              kInvalid);
    EXPECT_EQ(number, 99U);
    EXPECT_EQ(text, &dummy);
    EXPECT_EQ(mail.Count(), 0U);
}

TEST_F(SdkPrimitive, reads_a_missing_slot_as_0) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a"), Row(kIn, ParamUInt64, L"b")}, {7}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":7,\"b\":0}\n");
}

// Inputs

TEST_F(SdkPrimitive, input_u32_takes_the_low_half_of_the_slot) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a")}, {0xffffffff'fffffffeULL}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":4294967294}\n");
}

TEST_F(SdkPrimitive, input_u64_takes_the_whole_slot) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt64, L"a")}, {0xffffffff'ffffffffULL}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":18446744073709551615}\n");
}

TEST_F(SdkPrimitive, input_pointers_send_what_they_point_to) {
    const std::uint32_t small = 4000000000U;
    const std::uint64_t large = 0x8000000000000000ULL;
    EXPECT_EQ(Call({Row(kIn, ParamUInt32Ptr, L"a"), Row(kIn, ParamUInt64Ptr, L"b")},
                   {Slot(&small), Slot(&large)}),
              kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":4000000000,\"b\":9223372036854775808}\n");
}

TEST_F(SdkPrimitive, input_text_is_sent_as_text) {
    EXPECT_EQ(Call({Row(kIn, ParamWString, L"a"), Row(kIn, ParamWString, L"b")},
                   {Slot(L"x \"y\",\\z"), Slot(L"")}),
              kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":\"x \\\"y\\\",\\\\z\",\"b\":\"\"}\n");
}

TEST_F(SdkPrimitive, input_text_with_an_unpaired_surrogate_is_sent_with_a_replacement) {
    const wchar_t text[] = {L'a', static_cast<wchar_t>(0xd800), L'b', static_cast<wchar_t>(0xdc00),
                            L'\0'};
    EXPECT_EQ(Call({Row(kIn, ParamWString, L"a")}, {Slot(text)}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":\"a\\ufffdb\\ufffd\"}\n");
}

TEST_F(SdkPrimitive, input_json_is_sent_as_a_value) {
    EXPECT_EQ(Call({Row(kIn, ParamJsonText, L"a"), Row(kIn, ParamJsonText, L"b")},
                   {Slot(LR"( {"k":[1,"t",null]} // note)"), Slot(L"7")}),
              kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":{\"k\":[1,\"t\",null]},\"b\":7}\n");
}

TEST_F(SdkPrimitive, input_json_that_is_none_is_sent_as_null) {
    for (const wchar_t* text : {L"", L"{", L"{\"a\":1,", L"[1,2", L"nonsense", L"\"open"}) {
        mail.Clear();
        EXPECT_EQ(
            Call({Row(kIn, ParamJsonText, L"a"), Row(kIn, ParamUInt32, L"b")}, {Slot(text), 5}),
            kSuccess);
        EXPECT_EQ(Request(), L"{\"a\":null,\"b\":5}\n") << "text " << text;
    }
}

TEST_F(SdkPrimitive, input_json_that_is_none_takes_the_place_of_a_former_value) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a"), Row(kIn, ParamJsonText, L"a")}, {7, Slot(L"{")}),
              kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":null}\n");
}

TEST_F(SdkPrimitive, input_json_nested_100000_deep_is_sent_as_null) {
    const std::wstring deep(100000, L'[');
    EXPECT_EQ(Call({Row(kIn, ParamJsonText, L"a")}, {Slot(deep.c_str())}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":null}\n");
}

TEST_F(SdkPrimitive, input_list_is_split_at_commas_and_trimmed) {
    const struct {
        const wchar_t* text;
        const wchar_t* array;
    } cases[] = {
        {L"a,b", L"[\"a\",\"b\"]"}, {L" a b ,\tc\r\n", L"[\"a b\",\"c\"]"},
        {L"", L"[\"\"]"},           {L"  ", L"[\"\"]"},
        {L",", L"[\"\",\"\"]"},     {L"a,,b,", L"[\"a\",\"\",\"b\",\"\"]"},
    };
    for (const auto& each : cases) {
        mail.Clear();
        EXPECT_EQ(Call({Row(kIn, ParamWStringList, L"a")}, {Slot(each.text)}), kSuccess);
        EXPECT_EQ(Request(), std::wstring(L"{\"a\":") + each.array + L"}\n");
    }
}

TEST_F(SdkPrimitive, input_of_a_type_that_is_none_logs_and_takes_no_slot) {
    for (const std::uint32_t type : {5U, 8U, 9U, 0xffffffffU}) {
        mail.Clear();
        log.Clear();
        EXPECT_EQ(Call({Row(kIn, type, L"a"), Row(kIn, ParamUInt32, L"b")}, {6}), kSuccess);
        EXPECT_EQ(Request(), L"{\"b\":6}\n");
        ExpectErrors(
            {L"WySdk: [ERROR] Invalid parameter type! argument type = " + std::to_wstring(type)});
    }
}

TEST_F(SdkPrimitive, input_of_a_type_that_is_none_makes_the_way_to_its_key) {
    EXPECT_EQ(Call({Row(kIn, 9, L"a,b,c"), Row(kIn, ParamWStringOut, L"")}, {}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":{\"b\":null}}\n");
}

TEST_F(SdkPrimitive, a_row_that_does_not_travel_takes_a_slot_of_any_type) {
    for (const std::uint32_t type : {0U, 1U, 4U, 6U, 7U, 8U}) {
        mail.Clear();
        EXPECT_EQ(Call({Row(0, type, L"a"), Row(kIn, ParamUInt32, L"b")}, {5, 6}), kSuccess);
        EXPECT_EQ(Request(), L"{\"b\":6}\n") << "type " << type;
    }
}

TEST_F(SdkPrimitive, a_key_with_commas_writes_nested_members) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a,b"), Row(kIn, ParamWString, L" a , c , d "),
                    Row(kIn, ParamUInt32, L",e")},
                   {1, Slot(L"x"), 2}),
              kSuccess);
    EXPECT_EQ(Request(), L"{\"\":{\"e\":2},\"a\":{\"b\":1,\"c\":{\"d\":\"x\"}}}\n");
}

TEST_F(SdkPrimitive, a_key_keeps_its_empty_pieces) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a,,b"), Row(kIn, ParamUInt32, L",,c")}, {1, 2}),
              kSuccess);
    EXPECT_EQ(Request(), L"{\"\":{\"\":{\"c\":2}},\"a\":{\"\":{\"b\":1}}}\n");
}

TEST_F(SdkPrimitive, a_key_is_trimmed_of_every_kind_of_blank) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"\t a b \r\n,\v\f c")}, {1}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a b\":{\"c\":1}}\n");
}

TEST_F(SdkPrimitive, a_key_through_a_number_is_lost_without_harm) {
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a"), Row(kIn, ParamUInt32, L"a,b")}, {1, 2}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":1}\n");
}

struct Refusal {
    std::uint32_t type;
    const wchar_t* text;
};

TEST_F(SdkPrimitive, input_without_a_key_is_refused) {
    const Refusal cases[] = {
        {ParamUInt32, L"Null JSON key! argument NO = "},
        {ParamUInt64, L"Null JSON key! argument NO = "},
        {ParamUInt32Ptr, L"Null JSON key! argument NO = "},
        {ParamUInt64Ptr, L"Null JSON key!, argument NO = "},
        {ParamWString, L"Null JSON key!, argument NO = "},
        {ParamJsonText, L"Null JSON key!, argument NO = "},
        {ParamWStringList, L"Null JSON key! argument NO = "},
    };
    const std::uint64_t value = 0;
    for (const Refusal& each : cases) {
        log.Clear();
        EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a"), Row(kIn, each.type, L"")}, {1, Slot(&value)}),
                  kInvalid);
        ExpectErrors({std::wstring(L"WySdk: [ERROR] ") + each.text + L"1"});
    }
    EXPECT_EQ(mail.Count(), 0U);
}

TEST_F(SdkPrimitive, input_whose_last_piece_of_key_is_empty_is_refused) {
    for (const wchar_t* key : {L"a,", L"a, ", L" ", L","}) {
        log.Clear();
        EXPECT_EQ(Call({Row(kIn, ParamUInt32, key)}, {1}), kInvalid);
        ExpectErrors({L"WySdk: [ERROR] Null JSON key! argument NO = 0"});
    }
    EXPECT_EQ(mail.Count(), 0U);
}

TEST_F(SdkPrimitive, argument_numbers_count_every_row) {
    const std::uint32_t number = 1;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kIn, 9, L"b"), Row(0, ParamUInt32, L"c"),
                    Row(kIn, ParamWString, L"d")},
                   {Slot(&number), 0, 0}),
              kInvalid);
    ExpectErrors({L"WySdk: [ERROR] Invalid parameter type! argument type = 9",
                  L"WySdk: [ERROR] Input parameter is NULL! argument NO = 3"});
}

TEST_F(SdkPrimitive, input_null_is_refused) {
    const Refusal cases[] = {
        {ParamUInt32Ptr, L"Invalid Parameter, pnValue is NULL!, argument NO = "},
        {ParamUInt64Ptr, L"Input parameter is NULL! argument NO = "},
        {ParamWString, L"Input parameter is NULL! argument NO = "},
        {ParamJsonText, L"Input parameter is NULL! argument NO = "},
        {ParamWStringList, L"Input parameter is NULL! argument NO = "},
    };
    for (const Refusal& each : cases) {
        log.Clear();
        EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a"), Row(kIn, ParamUInt32, L"b"),
                        Row(kIn, each.type, L"c")},
                       {1, 2, 0}),
                  kInvalid);
        ExpectErrors({std::wstring(L"WySdk: [ERROR] ") + each.text + L"2"});
    }
    EXPECT_EQ(mail.Count(), 0U);
}

TEST_F(SdkPrimitive, input_without_key_and_pointer_is_refused_for_its_key) {
    for (const std::uint32_t type :
         {ParamUInt32Ptr, ParamUInt64Ptr, ParamWString, ParamJsonText, ParamWStringList}) {
        log.Clear();
        EXPECT_EQ(Call({Row(kIn, type, L"")}, {0}), kInvalid);
        EXPECT_EQ(log.CountContaining(L"Null JSON key!"), 1U) << type;
        EXPECT_EQ(log.CountContaining(L"[ERROR]"), 1U) << type;
    }
}

// Slots

TEST(Slot, of_numbers_is_zero_extended) {
    EXPECT_EQ(Slot(std::uint8_t{255}), 255U);
    EXPECT_EQ(Slot(std::uint32_t{0xffffffff}), 0xffffffffU);
    EXPECT_EQ(Slot(std::uint64_t{0xffffffffffffffff}), 0xffffffffffffffffU);
    EXPECT_EQ(Slot(std::int32_t{-1}), 0xffffffffU);
    EXPECT_EQ(Slot(std::int64_t{-1}), 0xffffffffffffffffU);
    EXPECT_EQ(Slot(true), 1U);
    EXPECT_EQ(Slot(false), 0U);
}

TEST(Slot, of_pointers_is_their_address) {
    const int value = 0;
    EXPECT_EQ(Slot(&value), reinterpret_cast<std::uintptr_t>(&value));
    EXPECT_EQ(Slot(static_cast<const wchar_t*>(nullptr)), 0U);
    // No sign gets into the upper half on 32 bits.
    EXPECT_EQ(Slot(reinterpret_cast<const void*>(std::uintptr_t{0x80000000})), 0x80000000U);
}

}  // namespace
