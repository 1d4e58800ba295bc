#include "Framework/utilIPC/ipc_param_message.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "support/HexBytes.h"

using test_support::Bytes;
using test_support::FromHex;
using test_support::Hex;
using test_support::ToHex;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kAbsent = 0xe0ff000e;

std::string Image(const MsgBuffer& message) {
    return ToHex(message.GetData(), message.GetSize());
}

void LoadHex(MsgBuffer& message, std::string_view hex) {
    const Bytes bytes = FromHex(hex);
    message.Load(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

std::uint32_t UInt(const MsgBuffer& message, std::uint32_t id, std::uint32_t index = 0) {
    std::uint32_t value = 0xdeadbeef;
    EXPECT_EQ(message.GetUInt(id, index, &value), kSuccess);
    return value;
}

std::string TextA(const MsgBuffer& message, std::uint32_t id, std::uint32_t index = 0) {
    char buffer[64];
    std::uint32_t chars = 0;
    EXPECT_EQ(message.GetStringA(id, index, buffer, 64, &chars), kSuccess);
    return std::string(buffer, chars);
}

std::wstring TextW(const MsgBuffer& message, std::uint32_t id, std::uint32_t index = 0) {
    wchar_t buffer[64];
    std::uint32_t chars = 0;
    EXPECT_EQ(message.GetStringW(id, index, buffer, 64, &chars), kSuccess);
    return std::wstring(buffer);
}

// An empty message: root header alone, id 0.
const char* const kEmptyImage = "00 00 00 00 64 00 00 00 00 00 00 00";

// ---- the image

TEST(ParamMessage, new_message_is_a_root_header) {
    EXPECT_EQ(Image(MsgBuffer()), kEmptyImage);
    EXPECT_EQ(Image(MsgBuffer(0x10014)), "14 00 01 00 64 00 00 00 00 00 00 00");
}

TEST(ParamMessage, reset_writes_the_type_it_is_given) {
    MsgBuffer message;
    message.AddUInt(1, 2);
    message.Reset(5, 77);
    EXPECT_EQ(Image(message), "05 00 00 00 4d 00 00 00 00 00 00 00");
    std::uint32_t value = 0;
    EXPECT_EQ(message.GetUInt(1, 0, &value), kAbsent);
}

TEST(ParamMessage, unsigned_parameter_makes_the_example_of_28_bytes) {
    MsgBuffer message(0x10014);
    message.AddUInt(0xe000e, 5);
    EXPECT_EQ(message.GetSize(), 28U);
    EXPECT_EQ(Image(message),
              Hex("14 00 01 00"  // message id 0x10014
                  "64 00 00 00"  // type 100
                  "10 00 00 00"  // 16 bytes follow
                  "0e 00 0e 00"  // parameter 0xE000E
                  "07 00 00 00"  // unsigned
                  "04 00 00 00"  // 4 bytes
                  "05 00 00 00"));
}

TEST(ParamMessage, signed_parameter_has_type_6) {
    MsgBuffer message;
    message.AddInt(0x20708, -2);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  10 00 00 00"
                                  "08 07 02 00  06 00 00 00  04 00 00 00  fe ff ff ff"));
}

TEST(ParamMessage, narrow_text_counts_its_terminator) {
    MsgBuffer message;
    message.AddStringA(0x207d3, "abc", 3);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  10 00 00 00"
                                  "d3 07 02 00  01 00 00 00  04 00 00 00  61 62 63 00"));
}

TEST(ParamMessage, wide_text_counts_its_terminator) {
    MsgBuffer message;
    message.AddStringW(0xe001f, L"ab", 2);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  12 00 00 00"
                                  "1f 00 0e 00  02 00 00 00  06 00 00 00  61 00 62 00 00 00"));
}

TEST(ParamMessage, empty_narrow_text_is_one_zero_byte) {
    MsgBuffer message;
    message.AddStringA(9, "", 0);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  0d 00 00 00"
                                  "09 00 00 00  01 00 00 00  01 00 00 00  00"));
    std::uint32_t chars = 99;
    EXPECT_EQ(message.GetStringA(9, 0, nullptr, 0, &chars), kSuccess);
    EXPECT_EQ(chars, 0U);
}

TEST(ParamMessage, empty_wide_text_is_one_zero_unit) {
    MsgBuffer message;
    message.AddStringW(9, L"", 0);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  0e 00 00 00"
                                  "09 00 00 00  02 00 00 00  02 00 00 00  00 00"));
    std::uint32_t chars = 99;
    EXPECT_EQ(message.GetStringW(9, 0, nullptr, 0, &chars), kSuccess);
    EXPECT_EQ(chars, 0U);
}

TEST(ParamMessage, text_with_a_zero_inside_is_kept_whole) {
    MsgBuffer message;
    message.AddStringA(1, "a\0b", 3);
    message.AddStringW(2, L"c\0d", 3);
    EXPECT_EQ(TextA(message, 1), std::string("a\0b", 3));
    wchar_t buffer[8] = {};
    std::uint32_t chars = 0;
    ASSERT_EQ(message.GetStringW(2, 0, buffer, 8, &chars), kSuccess);
    EXPECT_EQ(std::wstring(buffer, chars), std::wstring(L"c\0d", 3));
}

TEST(ParamMessage, order_of_appending_is_the_order_of_the_image) {
    MsgBuffer message(7);
    message.AddUInt(2, 20);
    message.AddUInt(1, 10);
    EXPECT_EQ(Image(message), Hex("07 00 00 00  64 00 00 00  20 00 00 00"
                                  "02 00 00 00  07 00 00 00  04 00 00 00  14 00 00 00"
                                  "01 00 00 00  07 00 00 00  04 00 00 00  0a 00 00 00"));
}

// ---- records without a payload pointer

TEST(ParamMessage, null_narrow_text_makes_a_zero_filled_record_that_the_root_does_not_count) {
    MsgBuffer message;
    message.AddStringA(3, nullptr, 2);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  00 00 00 00"
                                  "03 00 00 00  01 00 00 00  03 00 00 00  00 00 00"));
    EXPECT_EQ(TextA(message, 3), std::string(2, '\0'));
}

TEST(ParamMessage, null_wide_text_makes_a_zero_filled_record_that_the_root_does_not_count) {
    MsgBuffer message;
    message.AddUInt(1, 1);
    message.AddStringW(3, nullptr, 1);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  10 00 00 00"
                                  "01 00 00 00  07 00 00 00  04 00 00 00  01 00 00 00"
                                  "03 00 00 00  02 00 00 00  04 00 00 00  00 00 00 00"));
}

TEST(ParamMessage, next_record_with_a_payload_counts_the_stale_one_too) {
    MsgBuffer message;
    message.AddStringA(3, nullptr, 3);
    message.AddUInt(1, 1);
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  20 00 00 00"
                                  "03 00 00 00  01 00 00 00  04 00 00 00  00 00 00 00"
                                  "01 00 00 00  07 00 00 00  04 00 00 00  01 00 00 00"));
}

// ---- nesting

TEST(ParamMessage, root_header_of_the_child_becomes_the_record_header) {
    MsgBuffer child(0x10003);
    child.AddUInt(0x20899, 3);
    MsgBuffer parent(0x10001);
    parent.AddMessage(child);
    EXPECT_EQ(Image(parent), Hex("01 00 01 00  64 00 00 00  1c 00 00 00"
                                 "03 00 01 00  64 00 00 00  10 00 00 00"
                                 "99 08 02 00  07 00 00 00  04 00 00 00  03 00 00 00"));
}

TEST(ParamMessage, empty_child_is_a_record_without_a_payload) {
    MsgBuffer parent(1);
    parent.AddMessage(MsgBuffer(2));
    EXPECT_EQ(Image(parent), Hex("01 00 00 00  64 00 00 00  0c 00 00 00"
                                 "02 00 00 00  64 00 00 00  00 00 00 00"));
}

TEST(ParamMessage, message_can_be_nested_into_itself) {
    MsgBuffer message(0x55);
    message.AddUInt(1, 10);
    message.AddMessage(message);
    EXPECT_EQ(Image(message), Hex("55 00 00 00  64 00 00 00  2c 00 00 00"
                                  "01 00 00 00  07 00 00 00  04 00 00 00  0a 00 00 00"
                                  "55 00 00 00  64 00 00 00  10 00 00 00"
                                  "01 00 00 00  07 00 00 00  04 00 00 00  0a 00 00 00"));
}

TEST(ParamMessage, child_with_a_stale_root_length_is_nested_as_its_header_counts) {
    MsgBuffer child(2);
    child.AddStringA(3, nullptr, 3);
    MsgBuffer parent(1);
    parent.AddMessage(child);
    EXPECT_EQ(Image(parent), Hex("01 00 00 00  64 00 00 00  0c 00 00 00"
                                 "02 00 00 00  64 00 00 00  00 00 00 00"));
}

TEST(ParamMessage, nested_message_reads_back_with_its_own_id) {
    MsgBuffer child(0x10003);
    child.AddUInt(0x20899, 3);
    MsgBuffer parent(0x10001);
    parent.AddMessage(child);
    MsgBuffer read;
    EXPECT_EQ(parent.GetMessage(0x10003, 0, &read), kSuccess);
    EXPECT_EQ(read.GetId(), 0x10003U);
    EXPECT_EQ(UInt(read, 0x20899), 3U);
    EXPECT_EQ(Image(read), Image(child));
}

TEST(ParamMessage, children_of_one_id_are_told_apart_by_index) {
    MsgBuffer parent(1);
    for (std::uint32_t i = 0; i < 3; ++i) {
        MsgBuffer child(8);
        child.AddUInt(9, i);
        parent.AddMessage(child);
    }
    MsgBuffer read;
    EXPECT_EQ(parent.GetMessage(8, 2, &read), kSuccess);
    EXPECT_EQ(UInt(read, 9), 2U);
    EXPECT_EQ(parent.GetMessage(8, 3, &read), kAbsent);
}

TEST(ParamMessage, child_read_of_another_type_succeeds_and_loads_nothing) {
    MsgBuffer parent(1);
    parent.AddUInt(5, 5);
    MsgBuffer read(0x42);
    read.AddUInt(6, 6);
    EXPECT_EQ(parent.GetMessage(5, 0, &read), kSuccess);
    EXPECT_EQ(read.GetId(), 0x42U);
    EXPECT_EQ(UInt(read, 6), 6U);
}

TEST(ParamMessage, child_can_be_read_into_the_message_that_holds_it) {
    MsgBuffer child(0x10003);
    child.AddUInt(0x20899, 3);
    MsgBuffer message(0x10001);
    message.AddUInt(1, 1);
    message.AddMessage(child);
    EXPECT_EQ(message.GetMessage(0x10003, 0, &message), kSuccess);
    EXPECT_EQ(Image(message), Image(child));
    EXPECT_EQ(UInt(message, 0x20899), 3U);
}

// ---- the record of tag 0

TEST(ParamMessage, record_of_tag_0_is_in_the_image_but_not_in_the_index) {
    MsgBuffer child;
    child.Reset(0x33, 0);
    MsgBuffer parent(1);
    parent.AddMessage(child);
    EXPECT_EQ(Image(parent), Hex("01 00 00 00  64 00 00 00  0c 00 00 00"
                                 "33 00 00 00  00 00 00 00  00 00 00 00"));
    std::uint32_t value = 0;
    EXPECT_EQ(parent.GetUInt(0x33, 0, &value), kAbsent);
}

TEST(ParamMessage, record_of_tag_0_is_in_the_index_after_loading) {
    MsgBuffer message;
    LoadHex(message,
            "01 00 00 00  64 00 00 00  0c 00 00 00  33 00 00 00  00 00 00 00  00 00 00 00");
    std::uint32_t value = 0;
    EXPECT_EQ(message.GetUInt(0x33, 0, &value), kInvalid);
}

TEST(ParamMessage, record_of_tag_0_loaded_in_the_place_of_an_appended_one_is_in_the_index) {
    MsgBuffer child;
    child.Reset(0x33, 0);
    MsgBuffer message(1);
    message.AddMessage(child);
    message.Load(message.GetData(), message.GetSize());
    std::uint32_t value = 0;
    EXPECT_EQ(message.GetUInt(0x33, 0, &value), kInvalid);
}

// ---- loading

TEST(ParamMessage, null_or_empty_image_leaves_the_message_as_it_was) {
    MsgBuffer message(0x42);
    message.AddUInt(6, 6);
    const std::string before = Image(message);
    const std::uint8_t byte = 0;
    message.Load(nullptr, 12);
    EXPECT_EQ(Image(message), before);
    message.Load(&byte, 0);
    EXPECT_EQ(Image(message), before);
    EXPECT_EQ(UInt(message, 6), 6U);
}

TEST(ParamMessage, image_of_twelve_bytes_is_an_empty_valid_message) {
    MsgBuffer message;
    LoadHex(message, "78 56 34 12  64 00 00 00  00 00 00 00");
    EXPECT_EQ(message.GetId(), 0x12345678U);
    EXPECT_TRUE(message.Index().empty());
}

TEST(ParamMessage, root_header_is_not_checked) {
    MsgBuffer message;
    LoadHex(message,
            "01 00 00 00  ff ff ff ff  ff ff ff ff"
            "05 00 00 00  07 00 00 00  04 00 00 00  09 00 00 00");
    EXPECT_EQ(message.GetId(), 1U);
    EXPECT_EQ(UInt(message, 5), 9U);
}

TEST(ParamMessage, odd_trailing_byte_makes_the_message_empty_with_id_0) {
    MsgBuffer message(0x42);
    message.AddUInt(6, 6);
    LoadHex(message,
            "01 00 00 00  64 00 00 00  11 00 00 00"
            "05 00 00 00  07 00 00 00  04 00 00 00  09 00 00 00  ff");
    EXPECT_EQ(Image(message), kEmptyImage);
    std::uint32_t value = 0;
    EXPECT_EQ(message.GetUInt(5, 0, &value), kAbsent);
    EXPECT_EQ(message.GetUInt(6, 0, &value), kAbsent);
}

TEST(ParamMessage, loaded_image_is_owned) {
    MsgBuffer message;
    {
        Bytes bytes = FromHex(
            "01 00 00 00  64 00 00 00  10 00 00 00"
            "05 00 00 00  07 00 00 00  04 00 00 00  09 00 00 00");
        message.Load(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        bytes.assign(bytes.size(), 0xff);
    }
    EXPECT_EQ(UInt(message, 5), 9U);
}

TEST(ParamMessage, message_can_load_its_own_image) {
    MsgBuffer message(0x42);
    message.AddUInt(6, 66);
    const std::string before = Image(message);
    message.Load(message.GetData(), message.GetSize());
    EXPECT_EQ(Image(message), before);
    EXPECT_EQ(UInt(message, 6), 66U);
}

TEST(ParamMessage, record_can_be_appended_to_a_loaded_message) {
    MsgBuffer message;
    LoadHex(message,
            "01 00 00 00  64 00 00 00  10 00 00 00"
            "05 00 00 00  07 00 00 00  04 00 00 00  09 00 00 00");
    message.AddUInt(5, 10);
    EXPECT_EQ(UInt(message, 5, 0), 9U);
    EXPECT_EQ(UInt(message, 5, 1), 10U);
    EXPECT_EQ(Image(message), Hex("01 00 00 00  64 00 00 00  20 00 00 00"
                                  "05 00 00 00  07 00 00 00  04 00 00 00  09 00 00 00"
                                  "05 00 00 00  07 00 00 00  04 00 00 00  0a 00 00 00"));
}

TEST(ParamMessage, nested_records_are_not_parsed_when_the_parent_is_loaded) {
    // The child's own record claims more than there is; the parent does not look into it.
    const char* image =
        "01 00 00 00  64 00 00 00  18 00 00 00"
        "02 00 00 00  64 00 00 00  0c 00 00 00"
        "03 00 00 00  07 00 00 00  ff ff ff ff";
    MsgBuffer message;
    LoadHex(message, image);
    EXPECT_EQ(message.GetId(), 1U);
    MsgBuffer child(0x42);
    EXPECT_EQ(message.GetMessage(2, 0, &child), kSuccess);
    EXPECT_EQ(Image(child), kEmptyImage);
}

// ---- reading numbers

TEST(ParamMessage, same_id_twice_reads_by_index) {
    MsgBuffer message;
    message.AddUInt(5, 50);
    message.AddUInt(5, 51);
    EXPECT_EQ(UInt(message, 5, 0), 50U);
    EXPECT_EQ(UInt(message, 5, 1), 51U);
    std::uint32_t value = 77;
    EXPECT_EQ(message.GetUInt(5, 2, &value), kAbsent);
    EXPECT_EQ(message.GetUInt(5, 0xffffffff, &value), kAbsent);
    EXPECT_EQ(value, 77U);
}

TEST(ParamMessage, signed_minus_one_reads_as_all_ones) {
    MsgBuffer message;
    message.AddInt(5, -1);
    message.AddInt(6, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(UInt(message, 5), 0xffffffffU);
    EXPECT_EQ(UInt(message, 6), 0x80000000U);
}

TEST(ParamMessage, number_read_of_text_is_invalid) {
    MsgBuffer message;
    message.AddStringA(1, "abc", 3);
    message.AddStringW(2, L"a", 1);
    message.AddMessage(MsgBuffer(3));
    std::uint32_t value = 77;
    EXPECT_EQ(message.GetUInt(1, 0, &value), kInvalid);
    EXPECT_EQ(message.GetUInt(2, 0, &value), kInvalid);
    EXPECT_EQ(message.GetUInt(3, 0, &value), kInvalid);
    EXPECT_EQ(value, 77U);
}

TEST(ParamMessage, number_of_another_length_is_invalid) {
    for (const char* record : {"05 00 00 00  07 00 00 00  03 00 00 00  01 02 03",
                               "05 00 00 00  06 00 00 00  08 00 00 00  01 02 03 04 05 06 07 08",
                               "05 00 00 00  07 00 00 00  00 00 00 00"}) {
        MsgBuffer message;
        LoadHex(message, std::string("01 00 00 00  64 00 00 00  00 00 00 00") + record);
        ASSERT_EQ(message.GetId(), 1U) << record;
        std::uint32_t value = 77;
        EXPECT_EQ(message.GetUInt(5, 0, &value), kInvalid) << record;
        EXPECT_EQ(value, 77U) << record;
    }
}

TEST(ParamMessage, every_read_of_an_absent_id_says_so) {
    const MsgBuffer message(1);
    std::uint32_t value = 77;
    MsgBuffer child;
    EXPECT_EQ(message.GetUInt(1, 0, &value), kAbsent);
    EXPECT_EQ(message.GetStringA(1, 0, nullptr, 0, &value), kAbsent);
    EXPECT_EQ(message.GetStringW(1, 0, nullptr, 0, &value), kAbsent);
    EXPECT_EQ(message.GetMessage(1, 0, &child), kAbsent);
    EXPECT_EQ(value, 77U);
}

// ---- reading text

TEST(ParamMessage, text_read_of_another_type_is_invalid) {
    MsgBuffer message;
    message.AddUInt(1, 1);
    message.AddStringA(2, "a", 1);
    message.AddStringW(3, L"a", 1);
    std::uint32_t chars = 77;
    EXPECT_EQ(message.GetStringA(1, 0, nullptr, 0, &chars), kInvalid);
    EXPECT_EQ(message.GetStringA(3, 0, nullptr, 0, &chars), kInvalid);
    EXPECT_EQ(message.GetStringW(1, 0, nullptr, 0, &chars), kInvalid);
    EXPECT_EQ(message.GetStringW(2, 0, nullptr, 0, &chars), kInvalid);
    EXPECT_EQ(chars, 77U);
}

TEST(ParamMessage, buffer_that_is_too_small_gets_nothing_and_the_size_is_told) {
    MsgBuffer message;
    message.AddStringA(1, "abc", 3);
    message.AddStringW(2, L"abc", 3);
    char narrow[4] = {'x', 'x', 'x', 'x'};
    wchar_t wide[4] = {L'x', L'x', L'x', L'x'};
    std::uint32_t chars = 0;
    EXPECT_EQ(message.GetStringA(1, 0, narrow, 3, &chars), kSuccess);
    EXPECT_EQ(chars, 3U);
    EXPECT_EQ(std::string(narrow, 4), "xxxx");
    EXPECT_EQ(message.GetStringW(2, 0, wide, 3, &chars), kSuccess);
    EXPECT_EQ(chars, 3U);
    EXPECT_EQ(std::wstring(wide, 4), L"xxxx");
}

TEST(ParamMessage, buffer_one_above_the_count_gets_text_and_terminator) {
    MsgBuffer message;
    message.AddStringA(1, "abc", 3);
    message.AddStringW(2, L"abc", 3);
    char narrow[4] = {'x', 'x', 'x', 'x'};
    wchar_t wide[4] = {L'x', L'x', L'x', L'x'};
    std::uint32_t chars = 0;
    EXPECT_EQ(message.GetStringA(1, 0, narrow, 4, &chars), kSuccess);
    EXPECT_EQ(std::string(narrow), "abc");
    EXPECT_EQ(message.GetStringW(2, 0, wide, 4, &chars), kSuccess);
    EXPECT_EQ(std::wstring(wide), L"abc");
}

TEST(ParamMessage, empty_text_stores_a_single_terminator_where_there_is_room) {
    MsgBuffer message;
    message.AddStringA(1, "", 0);
    message.AddStringW(2, L"", 0);
    char narrow[2] = {'x', 'x'};
    wchar_t wide[2] = {L'x', L'x'};
    std::uint32_t chars = 9;
    EXPECT_EQ(message.GetStringA(1, 0, narrow, 1, &chars), kSuccess);
    EXPECT_EQ(std::string(narrow, 2), std::string("\0x", 2));
    EXPECT_EQ(message.GetStringW(2, 0, wide, 1, &chars), kSuccess);
    EXPECT_EQ(std::wstring(wide, 2), std::wstring(L"\0x", 2));
}

TEST(ParamMessage, empty_text_stores_nothing_where_there_is_no_room) {
    MsgBuffer message;
    message.AddStringA(1, "", 0);
    message.AddStringW(2, L"", 0);
    char narrow = 'x';
    wchar_t wide = L'x';
    std::uint32_t chars = 9;
    EXPECT_EQ(message.GetStringA(1, 0, &narrow, 0, &chars), kSuccess);
    EXPECT_EQ(message.GetStringW(2, 0, &wide, 0, &chars), kSuccess);
    EXPECT_EQ(narrow, 'x');
    EXPECT_EQ(wide, L'x');
}

TEST(ParamMessage, foreign_narrow_text_of_odd_lengths_reports_its_characters) {
    struct Row {
        const char* record;
        std::string text;
    };
    // The last byte counts as the terminator whatever it is.
    const Row rows[] = {{"05 00 00 00  01 00 00 00  00 00 00 00", ""},
                        {"05 00 00 00  01 00 00 00  01 00 00 00  61", ""},
                        {"05 00 00 00  01 00 00 00  02 00 00 00  61 62", "a"},
                        {"05 00 00 00  01 00 00 00  03 00 00 00  00 00 00", std::string(2, '\0')}};
    for (const Row& row : rows) {
        MsgBuffer message;
        LoadHex(message, std::string("01 00 00 00  64 00 00 00  00 00 00 00") + row.record);
        EXPECT_EQ(TextA(message, 5), row.text) << row.record;
    }
}

TEST(ParamMessage, foreign_wide_text_of_odd_lengths_reports_its_whole_units) {
    struct Row {
        const char* record;
        const wchar_t* text;
    };
    const Row rows[] = {{"05 00 00 00  02 00 00 00  00 00 00 00", L""},
                        {"05 00 00 00  02 00 00 00  01 00 00 00  61", L""},
                        {"05 00 00 00  02 00 00 00  02 00 00 00  61 00", L""},
                        {"05 00 00 00  02 00 00 00  03 00 00 00  61 00 62", L""},
                        {"05 00 00 00  02 00 00 00  04 00 00 00  61 00 62 00", L"a"},
                        {"05 00 00 00  02 00 00 00  05 00 00 00  61 00 62 00 63", L"a"}};
    for (const Row& row : rows) {
        MsgBuffer message;
        LoadHex(message, std::string("01 00 00 00  64 00 00 00  00 00 00 00") + row.record);
        EXPECT_EQ(TextW(message, 5), std::wstring(row.text)) << row.record;
    }
}

TEST(ParamMessage, character_above_16_bits_counts_as_two_units_on_the_wire) {
    MsgBuffer message;
    const std::wstring text = L"a\U0001F600";
    message.AddStringW(1, text.data(), static_cast<std::uint32_t>(text.size()));
    EXPECT_EQ(Image(message), Hex("00 00 00 00  64 00 00 00  14 00 00 00"
                                  "01 00 00 00  02 00 00 00  08 00 00 00"
                                  "61 00 3d d8 00 de 00 00"));
    EXPECT_EQ(TextW(message, 1), text);
}

TEST(ParamMessage, unpaired_surrogates_pass_unchanged) {
    MsgBuffer message;
    LoadHex(message,
            "01 00 00 00  64 00 00 00  16 00 00 00"
            "05 00 00 00  02 00 00 00  0a 00 00 00  00 de 3d d8 61 00 3d d8 00 00");
    const std::wstring text = TextW(message, 5);
    ASSERT_EQ(text.size(), 4U);
    EXPECT_EQ(static_cast<std::uint32_t>(text[0]), 0xde00U);
    EXPECT_EQ(static_cast<std::uint32_t>(text[1]), 0xd83dU);
    EXPECT_EQ(text[2], L'a');
    EXPECT_EQ(static_cast<std::uint32_t>(text[3]), 0xd83dU);
    MsgBuffer again(1);
    again.AddStringW(5, text.data(), 4);
    EXPECT_EQ(Image(again), Image(message));
}

}  // namespace
