#include "WySdk/SdkPrimitive.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/FakeMail.h"
#include "support/LogRecorder.h"
#include "support/OutputText.h"

namespace {

using test_support::FakeMail;
using test_support::LogRecorder;
using test_support::OutputText;

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kIn = 1;
constexpr std::uint32_t kOut = 2;
constexpr std::uint32_t kInfo = 1;
constexpr std::uint32_t kError = 256;
constexpr ApiDefinition kSentinel{L"", 420000000, 1, 0, L""};

// A function "F" with the rows given.
std::vector<ApiDefinition> TableOf(std::vector<ApiDefinition> rows) {
    rows.push_back(kSentinel);
    return rows;
}

ApiDefinition Row(std::uint32_t direction, std::uint32_t type, std::wstring_view key) {
    return {L"F", 4711, direction, type, key};
}

// One run over a table made of rows, with a scripted service and a recorded log.
class SdkPrimitive : public testing::Test {
protected:
    std::uint32_t Call(std::vector<ApiDefinition> rows, std::vector<std::uint64_t> slots) {
        const auto count = static_cast<std::int32_t>(rows.size());
        const std::vector<ApiDefinition> table = TableOf(std::move(rows));
        return WySdkPrimitive(table.data(), L"F", count, slots);
    }

    // The request of the one mail that was sent.
    std::wstring Request() const {
        const std::vector<FakeMail::Mail> mails = mail.Mails();
        return mails.size() == 1 ? mails[0].request
                                 : L"(" + std::to_wstring(mails.size()) + L" mails)";
    }

    void ExpectErrors(const std::vector<std::wstring>& texts) const {
        std::vector<std::wstring> errors;
        for (const LogRecorder::Line& line : log.Lines()) {
            if (line.level == kError)
                errors.push_back(line.text);
        }
        EXPECT_EQ(errors, texts);
    }

    FakeMail mail;
    LogRecorder log;
};

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
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a,")}, {1}), kInvalid);
    ExpectErrors({L"WySdk: [ERROR] Null JSON key! argument NO = 0"});
    EXPECT_EQ(mail.Count(), 0U);
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
    EXPECT_EQ(Call({Row(kIn, ParamWString, L"")}, {0}), kInvalid);
    ExpectErrors({L"WySdk: [ERROR] Null JSON key!, argument NO = 0"});
}

// The send

TEST_F(SdkPrimitive, a_failed_send_returns_its_code_and_touches_no_output) {
    mail.SetAnswer(LR"({"data":{"a":1,"t":"x"},"retCode":5})", 0xe00106ba);
    std::uint32_t number = 99;
    auto* const untouched = reinterpret_cast<wchar_t*>(&number);
    wchar_t* text = untouched;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamWStringOut, L"t")},
                   {Slot(&number), Slot(&text)}),
              0xe00106baU);
    EXPECT_EQ(number, 99U);
    EXPECT_EQ(text, untouched);
    ExpectErrors({L"WySdk: [ERROR] Failed to send mail to Wyvarion, return code = 0xe00106ba"});
    EXPECT_EQ(log.CountContaining(L"Return code"), 0U);
}

TEST_F(SdkPrimitive, without_retcode_gives_the_transports_result) {
    mail.SetAnswer(L"{}", 3);
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a")}, {1}), 3U);
}

// Outputs

TEST_F(SdkPrimitive, output_numbers_are_read_from_data) {
    mail.SetAnswer(LR"({"a":5,"data":{"a":4294967295,"b":18446744073709551615}})");
    std::uint32_t small = 0;
    std::uint64_t large = 0;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamUInt64Ptr, L"b")},
                   {Slot(&small), Slot(&large)}),
              kSuccess);
    EXPECT_EQ(small, 4294967295U);
    EXPECT_EQ(large, 18446744073709551615U);
}

TEST_F(SdkPrimitive, output_numbers_that_are_none_are_0) {
    for (const wchar_t* value : {L"-1", L"\"7\"", L"[7]", L"{}", L"null", L"1e300"}) {
        mail.SetAnswer(std::wstring(L"{\"data\":{\"a\":") + value + L",\"b\":" + value + L"}}");
        std::uint32_t small = 99;
        std::uint64_t large = 99;
        EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamUInt64Ptr, L"b")},
                       {Slot(&small), Slot(&large)}),
                  kSuccess);
        EXPECT_EQ(small, 0U) << value;
        EXPECT_EQ(large, 0U) << value;
    }
}

TEST_F(SdkPrimitive, output_text_is_read_from_its_key) {
    mail.SetAnswer(L"{\"data\":{\"t\":\"gr\\u00fc\\u00df \\ud83d\\ude00\"}}");
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t")}, {Slot(text.Out())}), kSuccess);
    EXPECT_EQ(text.Text(), L"grüß \U0001F600");
}

TEST_F(SdkPrimitive, output_text_keeps_nuls) {
    mail.SetAnswer(L"{\"data\":{\"t\":\"a\\u0000b\",\"n\":\"\\u0000\"}}");
    OutputText text;
    OutputText nul;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t"), Row(kOut, ParamWStringOut, L"n")},
                   {Slot(text.Out()), Slot(nul.Out())}),
              kSuccess);
    ASSERT_FALSE(text.IsNull());
    EXPECT_EQ(text.Text(4), std::wstring(L"a\0b\0", 4));
    ASSERT_FALSE(nul.IsNull());
    EXPECT_EQ(nul.Text(2), std::wstring(2, L'\0'));
}

TEST_F(SdkPrimitive, output_text_with_an_unpaired_surrogate_has_a_replacement) {
    mail.SetAnswer(L"{\"data\":{\"t\":\"a\\udc00\"}}");
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t")}, {Slot(text.Out())}), kSuccess);
    EXPECT_EQ(text.Text(), L"a\xfffd");
}

TEST_F(SdkPrimitive, output_text_without_a_key_is_the_whole_of_data) {
    const struct {
        const wchar_t* answer;
        const wchar_t* text;
    } cases[] = {
        {LR"({"data":{"b": [1, 2],"a":"x"},"retCode":0})", L"{\"a\":\"x\",\"b\":[1,2]}\n"},
        {LR"({"data":[1,"2"]})", L"[1,\"2\"]\n"},
        {LR"({"data":"text"})", L"\"text\"\n"},
        {LR"({"data":12})", L"12\n"},
        {LR"({"data":null})", L"null\n"},
        {LR"({})", L"null\n"},
        {LR"([1])", L"null\n"},
        {LR"("data")", L"null\n"},
        {LR"(12)", L"null\n"},
        {L"no JSON", L"null\n"},
    };
    for (const auto& each : cases) {
        mail.SetAnswer(each.answer);
        OutputText text;
        EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"")}, {Slot(text.Out())}),
                  std::wstring_view(each.answer).find(L"retCode") == std::wstring_view::npos
                      ? kSuccess
                      : 0U);
        EXPECT_EQ(text.Text(), each.text);
    }
}

TEST_F(SdkPrimitive, output_text_that_is_empty_or_none_is_null) {
    for (const wchar_t* value : {L"\"\"", L"null", L"[1]", L"{\"x\":1}"}) {
        mail.SetAnswer(std::wstring(L"{\"data\":{\"t\":") + value + L"}}");
        wchar_t dummy = 0;
        wchar_t* text = &dummy;
        EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t")}, {Slot(&text)}), kSuccess);
        EXPECT_EQ(text, nullptr) << value;
    }
}

TEST_F(SdkPrimitive, output_text_that_nobody_wants_is_skipped) {
    mail.SetAnswer(LR"({"data":{"t":"x","u":"y","n":3}})");
    OutputText text;
    std::uint32_t number = 0;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t"), Row(kOut, ParamWStringOut, L""),
                    Row(kOut, ParamWStringOut, L"u"), Row(kOut, ParamUInt32Ptr, L"n")},
                   {0, 0, Slot(text.Out()), Slot(&number)}),
              kSuccess);
    EXPECT_EQ(text.Text(), L"y");
    EXPECT_EQ(number, 3U);
    ExpectErrors({});
}

TEST_F(SdkPrimitive, output_key_with_commas_reads_nested_members) {
    mail.SetAnswer(LR"({"data":{"a":{"b":7,"c":{"d":"x"}},"n":5}})");
    std::uint32_t number = 0;
    std::uint32_t missing = 99;
    std::uint64_t through = 99;
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a,b"), Row(kOut, ParamWStringOut, L" a , c , d "),
                    Row(kOut, ParamUInt32Ptr, L"x,y"), Row(kOut, ParamUInt64Ptr, L"n,m")},
                   {Slot(&number), Slot(text.Out()), Slot(&missing), Slot(&through)}),
              kSuccess);
    EXPECT_EQ(number, 7U);
    EXPECT_EQ(text.Text(), L"x");
    EXPECT_EQ(missing, 0U);
    EXPECT_EQ(through, 0U);
}

TEST_F(SdkPrimitive, without_data_numbers_are_0_and_texts_null) {
    for (const wchar_t* answer : {L"{}", L"{\"data\":null}", L"{\"data\":5}", L"{\"data\":[1]}",
                                  L"{\"data\":\"x\"}", L"[]", L"7", L"\"x\"", L"null", L"bad"}) {
        mail.SetAnswer(answer);
        std::uint32_t small = 99;
        std::uint64_t large = 99;
        wchar_t dummy = 0;
        wchar_t* text = &dummy;
        EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamUInt64Ptr, L"b"),
                        Row(kOut, ParamWStringOut, L"c")},
                       {Slot(&small), Slot(&large), Slot(&text)}),
                  kSuccess);
        EXPECT_EQ(small, 0U) << answer;
        EXPECT_EQ(large, 0U) << answer;
        EXPECT_EQ(text, nullptr) << answer;
    }
}

TEST_F(SdkPrimitive, output_of_a_type_that_is_none_logs_and_takes_no_slot) {
    mail.SetAnswer(LR"({"data":{"b":6}})");
    for (const std::uint32_t type : {0U, 1U, 4U, 6U, 7U, 8U, 9U}) {
        log.Clear();
        std::uint32_t number = 0;
        EXPECT_EQ(Call({Row(kOut, type, L"a"), Row(kOut, ParamUInt32Ptr, L"b")}, {Slot(&number)}),
                  kSuccess);
        EXPECT_EQ(number, 6U);
        ExpectErrors({L"WySdk: [ERROR] invalid parameter type: " + std::to_wstring(type)});
    }
}

TEST_F(SdkPrimitive, output_without_a_key_is_refused_with_the_final_count) {
    for (const std::uint32_t type : {ParamUInt32Ptr, ParamUInt64Ptr}) {
        log.Clear();
        mail.Clear();
        std::uint64_t value = 99;
        EXPECT_EQ(Call({Row(kOut, type, L""), Row(kIn, ParamUInt32, L"b")}, {Slot(&value), 1}),
                  kInvalid);
        EXPECT_EQ(value, 99U);
        EXPECT_EQ(mail.Count(), 1U);
        ExpectErrors({L"WySdk: [ERROR] Null JSON key! argument NO = 2"});
    }
}

TEST_F(SdkPrimitive, output_null_is_refused_with_the_final_count_and_keeps_what_was_written) {
    mail.SetAnswer(LR"({"data":{"a":1,"t":"x","b":2,"c":3}})");
    for (const std::uint32_t type : {ParamUInt32Ptr, ParamUInt64Ptr}) {
        log.Clear();
        mail.Clear();
        std::uint32_t first = 0;
        std::uint32_t last = 99;
        OutputText text;
        EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamWStringOut, L"t"),
                        Row(kOut, type, L"b"), Row(kOut, ParamUInt32Ptr, L"c")},
                       {Slot(&first), Slot(text.Out()), 0, Slot(&last)}),
                  kInvalid);
        EXPECT_EQ(first, 1U);
        EXPECT_EQ(text.Text(), L"x");
        EXPECT_EQ(last, 99U);
        EXPECT_EQ(mail.Count(), 1U);
        ExpectErrors({L"WySdk: [ERROR] Input parameter is NULL! argument NO = 4"});
    }
}

TEST_F(SdkPrimitive, output_failure_passes_over_the_services_result) {
    mail.SetAnswer(LR"({"data":{},"retCode":5})");
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a")}, {0}), kInvalid);
    EXPECT_EQ(log.CountContaining(L"Return code"), 0U);
}

TEST_F(SdkPrimitive, row_of_both_directions_sends_and_receives) {
    mail.SetAnswer(LR"({"data":{"a":8}})");
    std::uint32_t number = 7;
    EXPECT_EQ(Call({Row(kIn | kOut, ParamUInt32Ptr, L"a")}, {Slot(&number)}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":7}\n");
    EXPECT_EQ(number, 8U);
}

// The result of the service

TEST_F(SdkPrimitive, a_negative_retcode_is_returned_after_the_outputs_were_written) {
    mail.SetAnswer(LR"({"data":{"a":5},"retCode":3774808065})");
    std::uint32_t number = 0;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a")}, {Slot(&number)}), 0xe0ff0001U);
    EXPECT_EQ(number, 5U);
    EXPECT_TRUE(log.Has(kInfo, L"WySdk: [INFO] Return code = 0xe0ff0001"));
}

TEST_F(SdkPrimitive, a_retcode_of_any_value_takes_the_place_of_the_result) {
    const struct {
        const wchar_t* answer;
        std::uint32_t result;
    } cases[] = {
        {L"{\"retCode\":0}", 0},
        {L"{\"retCode\":1}", 1},
        {L"{\"retCode\":4294967295}", 0xffffffff},
        // What is no unsigned number reads as 0.
        {L"{\"retCode\":-1}", 0},
        {L"{\"retCode\":4294967296}", 0},
        {L"{\"retCode\":\"5\"}", 0},
        {L"{\"retCode\":null}", 0},
        {L"{\"retCode\":[]}", 0},
        // Only the root counts.
        {L"{\"data\":{\"retCode\":5}}", kSuccess},
        {L"[{\"retCode\":5}]", kSuccess},
        {L"\"retCode\"", kSuccess},
    };
    for (const auto& each : cases) {
        mail.SetAnswer(each.answer);
        EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a")}, {1}), each.result) << each.answer;
    }
}

TEST_F(SdkPrimitive, an_answer_nested_100000_deep_is_an_empty_answer) {
    mail.SetAnswer(L"{\"data\":" + std::wstring(100000, L'[') + std::wstring(100000, L']') + L"}");
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"")}, {Slot(text.Out())}), kSuccess);
    EXPECT_EQ(text.Text(), L"null\n");
}

TEST_F(SdkPrimitive, an_exception_below_reaches_the_caller) {
    mail.SetHook([] { throw std::bad_alloc(); });
    EXPECT_THROW(Call({Row(kIn, ParamUInt32, L"a")}, {1}), std::bad_alloc);
}

TEST(SdkPrimitiveThreads, calls_on_many_threads_do_not_meet) {
    FakeMail mail;
    mail.SetAnswer(LR"({"data":{"progress":7,"feature":"f","object":"o"}})");
    std::atomic<int> good = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&good] {
            for (int n = 0; n < 200; ++n) {
                std::uint32_t progress = 0;
                OutputText feature;
                OutputText object;
                const std::array<std::uint64_t, 4> slots{Slot(L"s"), Slot(&progress),
                                                         Slot(feature.Out()), Slot(object.Out())};
                if (WySdkPrimitive(L"WyGetScanProgress", 4, slots) == kSuccess && progress == 7 &&
                    feature.Text() == L"f" && object.Text() == L"o") {
                    ++good;
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(good, 800);
    EXPECT_EQ(mail.Count(), 800U);
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
