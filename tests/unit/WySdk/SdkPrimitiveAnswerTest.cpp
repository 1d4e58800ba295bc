// The second half of a call: the send, the outputs, the result.
#include "WySdk/SdkPrimitive.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "PrimitiveFixture.h"
#include "support/OutputText.h"

namespace {

using namespace test_support;

class SdkPrimitiveAnswer : public PrimitiveFixture {};

// The send

TEST_F(SdkPrimitiveAnswer, a_failed_send_returns_its_code_and_touches_no_output) {
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

TEST_F(SdkPrimitiveAnswer, without_retcode_gives_the_transports_result) {
    mail.SetAnswer(L"{}", 3);
    EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a")}, {1}), 3U);
}

TEST_F(SdkPrimitiveAnswer, the_sign_of_the_transports_result_decides) {
    const struct {
        std::uint32_t result;
        std::uint32_t number;
    } cases[] = {
        {0, 5},
        {0x7fffffff, 5},
        {0x80000000, 99},
        {0xffffffff, 99},
    };
    for (const auto& each : cases) {
        mail.SetAnswer(LR"({"data":{"a":5}})", each.result);
        std::uint32_t number = 99;
        EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a")}, {Slot(&number)}), each.result);
        EXPECT_EQ(number, each.number) << each.result;
    }
}

// Outputs

TEST_F(SdkPrimitiveAnswer, output_numbers_are_read_from_data) {
    mail.SetAnswer(LR"({"a":5,"data":{"a":4294967295,"b":18446744073709551615}})");
    std::uint32_t small = 0;
    std::uint64_t large = 0;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamUInt64Ptr, L"b")},
                   {Slot(&small), Slot(&large)}),
              kSuccess);
    EXPECT_EQ(small, 4294967295U);
    EXPECT_EQ(large, 18446744073709551615U);
}

TEST_F(SdkPrimitiveAnswer, output_numbers_that_are_none_are_0) {
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

TEST_F(SdkPrimitiveAnswer, output_text_is_read_from_its_key) {
    mail.SetAnswer(L"{\"data\":{\"t\":\"gr\\u00fc\\u00df \\ud83d\\ude00\"}}");
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t")}, {Slot(text.Out())}), kSuccess);
    EXPECT_EQ(text.Text(), L"grüß \U0001F600");
}

TEST_F(SdkPrimitiveAnswer, output_text_keeps_nuls) {
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

TEST_F(SdkPrimitiveAnswer, output_text_with_an_unpaired_surrogate_has_a_replacement) {
    mail.SetAnswer(L"{\"data\":{\"t\":\"a\\udc00\"}}");
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t")}, {Slot(text.Out())}), kSuccess);
    EXPECT_EQ(text.Text(), L"a\xfffd");
}

TEST_F(SdkPrimitiveAnswer, output_text_without_a_key_is_the_whole_of_data) {
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

TEST_F(SdkPrimitiveAnswer, output_text_whose_last_piece_of_key_is_empty_is_the_whole_of_data) {
    mail.SetAnswer(LR"({"data":{"a":{"b":1}}})");
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"a, ")}, {Slot(text.Out())}), kSuccess);
    EXPECT_EQ(text.Text(), L"{\"a\":{\"b\":1}}\n");
}

TEST_F(SdkPrimitiveAnswer, output_text_that_is_empty_or_none_is_null) {
    for (const wchar_t* value : {L"\"\"", L"null", L"[1]", L"{\"x\":1}"}) {
        mail.SetAnswer(std::wstring(L"{\"data\":{\"t\":") + value + L"}}");
        wchar_t dummy = 0;
        wchar_t* text = &dummy;
        EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"t")}, {Slot(&text)}), kSuccess);
        EXPECT_EQ(text, nullptr) << value;
    }
}

TEST_F(SdkPrimitiveAnswer, output_text_that_nobody_wants_is_skipped) {
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

TEST_F(SdkPrimitiveAnswer, output_key_with_commas_reads_nested_members) {
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

TEST_F(SdkPrimitiveAnswer, without_data_numbers_are_0_and_texts_null) {
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

TEST_F(SdkPrimitiveAnswer, output_of_a_type_that_is_none_logs_and_takes_no_slot) {
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

TEST_F(SdkPrimitiveAnswer, an_input_takes_a_slot_when_outputs_are_filled_whatever_its_type) {
    mail.SetAnswer(LR"({"data":{"b":6}})");
    for (const std::uint32_t type : {0U, 4U, 5U, 8U, 9U}) {
        std::uint32_t number = 0;
        EXPECT_EQ(Call({Row(kIn, type, L"a"), Row(kOut, ParamUInt32Ptr, L"b")},
                       {Slot(L"x"), Slot(&number)}),
                  kSuccess);
        EXPECT_EQ(number, 6U) << type;
    }
}

TEST_F(SdkPrimitiveAnswer, a_table_that_ends_during_the_mail_stops_the_outputs) {
    mail.SetAnswer(LR"({"data":{"a":1,"b":2},"retCode":5})");
    std::vector<ApiDefinition> table =
        TableOf({Row(kOut, ParamUInt32Ptr, L"a"), Row(kOut, ParamUInt32Ptr, L"b")});
    mail.SetHook([&table] { table[1].apiId = kSentinelApiId; });
    std::uint32_t first = 99;
    std::uint32_t second = 99;
    EXPECT_EQ(WySdkPrimitive(table.data(), L"F", 2,
                             std::array<std::uint64_t, 2>{Slot(&first), Slot(&second)}),
              kInvalid);
    EXPECT_EQ(first, 1U);
    EXPECT_EQ(second, 99U);
    ExpectErrors({L"WySdk: [ERROR] Invalid API definition!, Api ID = 4711"});
}

TEST_F(SdkPrimitiveAnswer, output_without_key_and_pointer_is_refused_for_its_key) {
    for (const std::uint32_t type : {ParamUInt32Ptr, ParamUInt64Ptr}) {
        for (const wchar_t* key : {L"", L" ", L"a,"}) {
            log.Clear();
            EXPECT_EQ(Call({Row(kOut, type, key)}, {0}), kInvalid);
            ExpectErrors({L"WySdk: [ERROR] Null JSON key! argument NO = 1"});
        }
    }
}

TEST_F(SdkPrimitiveAnswer, output_without_a_key_is_refused_with_the_final_count) {
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

TEST_F(SdkPrimitiveAnswer, output_null_is_refused_with_the_final_count_and_keeps_what_was_written) {
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

TEST_F(SdkPrimitiveAnswer, output_failure_passes_over_the_services_result) {
    mail.SetAnswer(LR"({"data":{},"retCode":5})");
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a")}, {0}), kInvalid);
    EXPECT_EQ(log.CountContaining(L"Return code"), 0U);
}

TEST_F(SdkPrimitiveAnswer, row_of_both_directions_sends_and_receives) {
    mail.SetAnswer(LR"({"data":{"a":8}})");
    std::uint32_t number = 7;
    EXPECT_EQ(Call({Row(kIn | kOut, ParamUInt32Ptr, L"a")}, {Slot(&number)}), kSuccess);
    EXPECT_EQ(Request(), L"{\"a\":7}\n");
    EXPECT_EQ(number, 8U);
}

// The result of the service

TEST_F(SdkPrimitiveAnswer, a_negative_retcode_is_returned_after_the_outputs_were_written) {
    mail.SetAnswer(LR"({"data":{"a":5},"retCode":3774808065})");
    std::uint32_t number = 0;
    EXPECT_EQ(Call({Row(kOut, ParamUInt32Ptr, L"a")}, {Slot(&number)}), 0xe0ff0001U);
    EXPECT_EQ(number, 5U);
    EXPECT_TRUE(log.Has(kInfo, L"WySdk: [INFO] Return code = 0xe0ff0001"));
}

TEST_F(SdkPrimitiveAnswer, a_retcode_of_any_value_takes_the_place_of_the_result) {
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
        log.Clear();
        EXPECT_EQ(Call({Row(kIn, ParamUInt32, L"a")}, {1}), each.result) << each.answer;
        EXPECT_EQ(log.CountContaining(L"WySdk: [INFO] Return code = 0x"), 1U) << each.answer;
    }
    EXPECT_TRUE(log.Has(kInfo, L"WySdk: [INFO] Return code = 0x20ff0000"));
}

TEST_F(SdkPrimitiveAnswer, an_answer_nested_100000_deep_is_an_empty_answer) {
    mail.SetAnswer(L"{\"data\":" + std::wstring(100000, L'[') + std::wstring(100000, L']') + L"}");
    OutputText text;
    EXPECT_EQ(Call({Row(kOut, ParamWStringOut, L"")}, {Slot(text.Out())}), kSuccess);
    EXPECT_EQ(text.Text(), L"null\n");
}

TEST_F(SdkPrimitiveAnswer, an_exception_below_reaches_the_caller) {
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

}  // namespace
