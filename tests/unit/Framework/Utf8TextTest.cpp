// Wide text of parameter messages that is written from and read as UTF-8.

#include <gtest/gtest.h>

#include <string>

#include "Framework/utilIPC/ipc_data_handle.h"
#include "support/HexBytes.h"

using test_support::Bytes;
using test_support::FromHex;
using test_support::ToHex;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;
constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kAbsent = 0xe0ff000e;

std::string Image(const MsgBuffer& message) {
    return ToHex(message.GetData(), message.GetSize());
}

void LoadHex(MsgBuffer& message, std::string_view hex) {
    const Bytes bytes = FromHex(hex);
    message.Load(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

// The message with one wide text, from wide characters.
std::string ImageOfWide(const std::wstring& text) {
    MsgBuffer message(1);
    message.AddStringW(5, text.data(), static_cast<std::uint32_t>(text.size()));
    return Image(message);
}

std::string Utf8(const MsgBuffer& message, std::uint32_t id, std::uint32_t index = 0) {
    std::string text = "what stood there";
    EXPECT_EQ(message.GetStringUtf8(id, index, text), kSuccess);
    return text;
}

TEST(ParamMessage, utf8_text_makes_the_record_of_the_same_wide_text) {
    const struct {
        std::string utf8;
        std::wstring wide;
    } rows[] = {
        {"", L""},
        {"plain", L"plain"},
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
        {"\x7f", L"\x7f"},
        {"\xc2\x80", L"\u0080"},
        {"Gr\xc3\xb6\xc3\x9f"
         "e",
         L"Gr\u00f6\u00dfe"},
        {"\xf0\x9f\x98\x80", L"\U0001f600"},
        {"bad \xff", L"bad \ufffd"},
        {std::string(2000, 'x'), std::wstring(2000, L'x')},
        {std::string(2000, 'x') + "\xc3\xb6", std::wstring(2000, L'x') + L'\u00f6'},
    };
    for (const auto& row : rows) {
        MsgBuffer message(1);
        message.AddStringUtf8(5, row.utf8);
        EXPECT_EQ(Image(message), ImageOfWide(row.wide)) << row.utf8;
    }
}

TEST(ParamMessage, wide_text_reads_as_utf8) {
    const struct {
        std::wstring wide;
        std::string utf8;
    } rows[] = {
        {L"", ""},
        {L"plain", "plain"},
        {std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
        {L"\x7f", "\x7f"},
        {L"\u0080", "\xc2\x80"},
        {L"\u4100", "\xe4\x84\x80"},
        {L"\U0001f600", "\xf0\x9f\x98\x80"},
        {std::wstring(2000, L'x') + L'\u00f6', std::string(2000, 'x') + "\xc3\xb6"},
    };
    for (const auto& row : rows) {
        MsgBuffer message(1);
        message.AddStringW(5, row.wide.data(), static_cast<std::uint32_t>(row.wide.size()));
        EXPECT_EQ(Utf8(message, 5), row.utf8);
    }
}

TEST(ParamMessage, unpaired_surrogates_read_as_replacement_characters) {
    MsgBuffer message;
    LoadHex(message,
            "01 00 00 00 64 00 00 00 14 00 00 00"
            "05 00 00 00 02 00 00 00 08 00 00 00 00 d8 41 00 00 dc 00 00");
    EXPECT_EQ(Utf8(message, 5),
              "\xef\xbf\xbd"
              "A\xef\xbf\xbd");
}

TEST(ParamMessage, foreign_wide_text_of_odd_lengths_reads_its_whole_units_as_utf8) {
    MsgBuffer message;
    LoadHex(message,
            "01 00 00 00 64 00 00 00 37 00 00 00"
            "05 00 00 00 02 00 00 00 00 00 00 00"
            "05 00 00 00 02 00 00 00 01 00 00 00 41"
            "05 00 00 00 02 00 00 00 03 00 00 00 41 00 42"
            "05 00 00 00 02 00 00 00 05 00 00 00 41 00 42 00 43");
    for (std::uint32_t index = 0; index < 3; ++index) {
        EXPECT_EQ(Utf8(message, 5, index), "") << index;
    }
    EXPECT_EQ(Utf8(message, 5, 3), "A");
}

TEST(ParamMessage, utf8_read_that_fails_empties_the_output) {
    MsgBuffer message;
    message.AddStringA(5, "narrow", 6);
    std::string text = "old";
    EXPECT_EQ(message.GetStringUtf8(6, 0, text), kAbsent);
    EXPECT_EQ(text, "");
    text = "old";
    EXPECT_EQ(message.GetStringUtf8(5, 0, text), kInvalid);
    EXPECT_EQ(text, "");
}

TEST(RpcDataHandleWrapper, utf8_text_is_wide_text_on_the_wire) {
    CRpcDataHandleWrapper message(1U);
    EXPECT_EQ(message.SetUtf8(5,
                              "Gr\xc3\xb6\xc3\x9f"
                              "e"),
              kSuccess);
    std::wstring wide;
    EXPECT_EQ(message.Get(5, wide), kSuccess);
    EXPECT_EQ(wide, L"Gr\u00f6\u00dfe");
    std::string text;
    EXPECT_EQ(message.GetUtf8(5, text), kSuccess);
    EXPECT_EQ(text,
              "Gr\xc3\xb6\xc3\x9f"
              "e");
    EXPECT_EQ(message.GetUtf8(6, text), kAbsent);
    EXPECT_EQ(text, "");
}

TEST(RpcDataHandleWrapper, utf8_text_of_an_empty_wrapper_fails) {
    CRpcDataHandleWrapper message(RpcDataHandle{}, kRpcAdopt);
    EXPECT_EQ(message.SetUtf8(5, "x"), kFailure);
    std::string text = "old";
    EXPECT_EQ(message.GetUtf8(5, text), kFailure);
    EXPECT_EQ(text, "");
}

}  // namespace
