#include "wyctl/SdkCall.h"

#include <gtest/gtest.h>

#include "FakeSdk.h"
#include "wyctl/Errors.h"

namespace {

using WyCtl::Argument;
using WyCtl::ArgumentType;
using WyCtl::InputValue;
using WyCtl::ParseInput;

Argument Input(ArgumentType type) {
    return {"key", true, false, type};
}

std::uint64_t Number(ArgumentType type, const std::string& text) {
    return std::get<std::uint64_t>(ParseInput(Input(type), text));
}

TEST(ParseInput, numbers_are_decimal_or_hexadecimal) {
    EXPECT_EQ(Number(ArgumentType::UInt32, "0"), 0U);
    EXPECT_EQ(Number(ArgumentType::UInt32, "4294967295"), 0xffffffffU);
    EXPECT_EQ(Number(ArgumentType::UInt32, "0xFFFFFFFF"), 0xffffffffU);
    EXPECT_EQ(Number(ArgumentType::UInt64, "18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(Number(ArgumentType::UInt64, "0Xabc"), 0xabcU);
    EXPECT_EQ(Number(ArgumentType::UInt8, "255"), 255U);
}

TEST(ParseInput, what_is_no_number_of_the_type_is_refused) {
    const struct {
        ArgumentType type;
        const char* text;
    } rows[] = {
        {ArgumentType::UInt32, ""},
        {ArgumentType::UInt32, "abc"},
        {ArgumentType::UInt32, "-1"},
        {ArgumentType::UInt32, "+1"},
        {ArgumentType::UInt32, " 1"},
        {ArgumentType::UInt32, "1 "},
        {ArgumentType::UInt32, "1.0"},
        {ArgumentType::UInt32, "0x"},
        {ArgumentType::UInt32, "0xg"},
        {ArgumentType::UInt32, "4294967296"},
        {ArgumentType::UInt32Pointer, "4294967296"},
        {ArgumentType::UInt64, "18446744073709551616"},
        {ArgumentType::UInt64Pointer, "x"},
        {ArgumentType::UInt8, "256"},
    };
    for (const auto& row : rows) {
        EXPECT_THROW(ParseInput(Input(row.type), row.text), WyCtl::UsageError) << row.text;
    }
}

TEST(ParseInput, text_is_taken_as_it_is) {
    for (const ArgumentType type :
         {ArgumentType::Text, ArgumentType::Json, ArgumentType::TextList}) {
        EXPECT_EQ(std::get<std::wstring>(ParseInput(Input(type), "\xc3\xa4 1")), L"\u00e4 1");
        EXPECT_EQ(std::get<std::wstring>(ParseInput(Input(type), "")), L"");
    }
}

class CallFunction : public ::testing::Test {
protected:
    WyCtl::CallResult Call(const char* name, std::vector<InputValue> inputs) {
        const auto library = FakeSdk::Reset()("");
        return WyCtl::CallFunction(library->FindExport(name), *WyCtl::FindFunction(name), inputs,
                                   library->Release());
    }
};

TEST_F(CallFunction, inputs_and_outputs_of_each_kind) {
    const auto result = Call("WyScan", {std::uint64_t{9}, std::wstring(L"a,b")});
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyScan(9, a,b)");
    EXPECT_EQ(result.code, 0x20ff0000U);
    ASSERT_EQ(result.outputs.size(), 1U);
    EXPECT_EQ(result.outputs[0].key, "sessionId");
    EXPECT_EQ(result.outputs[0].text, "scan-7");
    EXPECT_EQ(FakeSdk::Get().texts, 0) << "a string was not released";

    EXPECT_EQ(Call("WyGetIdleTimeframe", {std::uint64_t{1}, std::uint64_t{2}}).outputs[0].number,
              0x123456789abcULL);
    Call("WyScanBigFile", {std::wstring(L"C:"), std::wstring(), std::uint64_t{1} << 40});
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyScanBigFile(C:, , 1099511627776)");
    Call("WySetScheduleScanTime", {std::uint64_t{6}, std::uint64_t{23}});
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WySetScheduleScanTime(6, 23)");
}

TEST_F(CallFunction, five_arguments_with_a_null_text) {
    const auto result = Call("WyGetFixProgressV2", {std::wstring(L"s"), std::wstring(L"f")});
    ASSERT_EQ(result.outputs.size(), 3U);
    EXPECT_EQ(result.outputs[0].number, 55U);
    EXPECT_EQ(result.outputs[1].text, "x\ny");
    EXPECT_FALSE(result.outputs[2].text.has_value());
}

TEST_F(CallFunction, function_without_a_row_gets_null_pointers) {
    Call("WyGetDiskGarbage", {});
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyGetDiskGarbage(null, null, null)");
}

TEST_F(CallFunction, wrong_number_of_values_calls_nothing) {
    EXPECT_THROW(Call("WyScan", {}), std::invalid_argument);
    EXPECT_TRUE(FakeSdk::Get().calls.empty());
}

}  // namespace
