#include "Framework/utilIPC/ipc_msg_buffer.h"

#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "support/HexBytes.h"

using test_support::Bytes;
using test_support::FromHex;
using test_support::Hex;
using test_support::ToHex;

namespace {

std::string Content(const CAccBuffer& buffer) {
    return ToHex(buffer.GetData(), buffer.GetLength());
}

CIPCMsgBuffer View(const Bytes& bytes) {
    return CIPCMsgBuffer(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

// The code that a read raises; -1 when it raises nothing.
template <class Read>
int CodeOf(Read read) {
    try {
        read();
    } catch (const CIPCMsgBufferException& error) {
        return static_cast<int>(error.GetCode());
    }
    return -1;
}

constexpr int kOutOfRange = 0;
constexpr int kInvalidBuffer = 1;
constexpr int kNothing = -1;

// ---- the accumulator

TEST(AccBuffer, new_owner_is_empty_and_has_no_storage) {
    const CAccBuffer buffer(1024);
    EXPECT_EQ(buffer.GetLength(), 0U);
    EXPECT_EQ(buffer.GetCapacity(), 0U);
    EXPECT_EQ(buffer.GetData(), nullptr);
}

TEST(AccBuffer, write_of_nothing_into_a_fresh_owner_allocates_nothing) {
    CAccBuffer buffer(1024);
    buffer.Write("x", 0);
    EXPECT_EQ(buffer.GetLength(), 0U);
    EXPECT_EQ(buffer.GetData(), nullptr);
}

TEST(AccBuffer, first_growth_of_one_byte_takes_one_block) {
    CAccBuffer buffer(1024);
    buffer.Write("x", 1);
    EXPECT_EQ(buffer.GetCapacity(), 1024U);
    EXPECT_EQ(buffer.GetLength(), 1U);
    EXPECT_EQ(Content(buffer), "78");
}

TEST(AccBuffer, write_of_a_whole_block_into_an_empty_owner_takes_two_blocks) {
    const Bytes bytes(1024, 0xab);
    CAccBuffer buffer(1024);
    buffer.Write(bytes.data(), 1024);
    EXPECT_EQ(buffer.GetCapacity(), 2048U);
    EXPECT_EQ(buffer.GetLength(), 1024U);
}

TEST(AccBuffer, growth_counts_from_the_old_capacity_and_not_from_the_length) {
    const Bytes bytes(1024, 0xab);
    CAccBuffer buffer(1024);
    buffer.Write("x", 1);
    buffer.Write(bytes.data(), 1024);
    EXPECT_EQ(buffer.GetCapacity(), 3072U);
    EXPECT_EQ(buffer.GetLength(), 1025U);
}

TEST(AccBuffer, write_that_fits_keeps_the_storage) {
    const Bytes bytes(1023, 0xab);
    CAccBuffer buffer(1024);
    buffer.Write("x", 1);
    const std::uint8_t* before = buffer.GetData();
    buffer.Write(bytes.data(), 1023);
    EXPECT_EQ(buffer.GetData(), before);
    EXPECT_EQ(buffer.GetCapacity(), 1024U);
    EXPECT_EQ(buffer.GetLength(), 1024U);
}

TEST(AccBuffer, growth_keeps_the_old_bytes) {
    Bytes bytes(3000);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    CAccBuffer buffer(16);
    for (std::uint32_t at = 0; at < 3000; at += 7) {
        buffer.Write(bytes.data() + at, std::min<std::uint32_t>(7, 3000 - at));
    }
    EXPECT_EQ(Content(buffer), ToHex(bytes));
}

TEST(AccBuffer, block_of_one_byte_grows_to_one_byte_above_the_need) {
    CAccBuffer buffer(1);
    buffer.Write("x", 1);
    EXPECT_EQ(buffer.GetCapacity(), 2U);
}

TEST(AccBuffer, view_has_its_size_as_capacity_and_length) {
    const Bytes bytes = FromHex("01 02 03");
    const CAccBuffer view(bytes.data(), 3);
    EXPECT_EQ(view.GetCapacity(), 3U);
    EXPECT_EQ(view.GetLength(), 3U);
    EXPECT_EQ(view.GetData(), bytes.data());
}

TEST(AccBuffer, write_to_view_changes_nothing) {
    const Bytes bytes = FromHex("01 02 03");
    CAccBuffer view(bytes.data(), 3);
    EXPECT_NO_THROW(view.Write("abc", 3));
    EXPECT_EQ(view.GetLength(), 3U);
    EXPECT_EQ(view.GetCapacity(), 3U);
    EXPECT_EQ(view.GetData(), bytes.data());
    EXPECT_EQ(Content(view), "01 02 03");
}

TEST(AccBuffer, write_that_would_pass_32_bits_is_dropped_unread) {
    CAccBuffer buffer(1024);
    buffer.Write("x", 1);
    // Fewer bytes stand behind the pointer than the size says: reading them would be an error.
    buffer.Write("y", 0xffffffffU);
    buffer.Write("y", 0xfffffc00U);
    EXPECT_EQ(buffer.GetLength(), 1U);
    EXPECT_EQ(buffer.GetCapacity(), 1024U);
    EXPECT_EQ(Content(buffer), "78");
}

// ---- writing an envelope

TEST(IpcMsgBuffer, header_flag_writes_four_bytes_of_ones) {
    EXPECT_EQ(Content(CIPCMsgBuffer(1024, true)), "ff ff ff ff");
    EXPECT_EQ(Content(CIPCMsgBuffer(1024, false)), "");
}

TEST(IpcMsgBuffer, integer_is_four_bytes_little_endian) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << 0x2051U << 0xfedcba98U;
    EXPECT_EQ(Content(buffer), "51 20 00 00 98 ba dc fe");
}

TEST(IpcMsgBuffer, wide_string_of_three_characters_takes_twelve_bytes) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << L"abc";
    EXPECT_EQ(Content(buffer), "08 00 00 00 61 00 62 00 63 00 00 00");
}

TEST(IpcMsgBuffer, empty_wide_string_is_its_terminator) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << L"" << std::wstring();
    EXPECT_EQ(Content(buffer), "02 00 00 00 00 00 02 00 00 00 00 00");
}

TEST(IpcMsgBuffer, null_wide_string_writes_nothing_at_all) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << static_cast<const wchar_t*>(nullptr);
    EXPECT_EQ(buffer.GetLength(), 0U);
    EXPECT_EQ(buffer.GetData(), nullptr);
}

TEST(IpcMsgBuffer, string_object_is_written_with_its_own_length) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << std::wstring(L"a\0b", 3);
    EXPECT_EQ(Content(buffer), "08 00 00 00 61 00 00 00 62 00 00 00");
}

TEST(IpcMsgBuffer, character_above_16_bits_becomes_a_surrogate_pair) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << L"\U0001F600";
    EXPECT_EQ(Content(buffer), "06 00 00 00 3d d8 00 de 00 00");
}

TEST(IpcMsgBuffer, raw_bytes_have_no_prefix) {
    CIPCMsgBuffer buffer(1024, false);
    buffer.WriteBytes("\x01\x02\x03", 3);
    EXPECT_EQ(Content(buffer), "01 02 03");
}

TEST(IpcMsgBuffer, handle_is_written_as_size_and_image) {
    CRpcDataHandleWrapper message(0x10014U);
    ASSERT_EQ(message.Set(0xe000eU, std::uint32_t{5}), 0x20ff0000U);
    CIPCMsgBuffer buffer(1024, false);
    buffer << message;
    EXPECT_EQ(Content(buffer),
              Hex("1c 00 00 00"  // size of the image
                  "14 00 01 00  64 00 00 00  10 00 00 00"
                  "0e 00 0e 00  07 00 00 00  04 00 00 00  05 00 00 00"));
}

TEST(IpcMsgBuffer, empty_handle_is_written_as_size_zero_with_nothing_behind) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << CRpcDataHandleWrapper(RpcDataHandle{});
    EXPECT_EQ(Content(buffer), "00 00 00 00");
}

TEST(IpcMsgBuffer, writes_into_a_view_change_nothing) {
    const Bytes bytes = FromHex("01 02 03 04");
    CIPCMsgBuffer view = View(bytes);
    view << 7U << L"abc";
    view.WriteBytes("x", 1);
    EXPECT_EQ(Content(view), "01 02 03 04");
}

// ---- reading an envelope

TEST(IpcMsgBuffer, first_read_from_a_new_owner_raises_invalid_buffer) {
    CIPCMsgBuffer buffer(1024, false);
    std::uint32_t value = 77;
    EXPECT_EQ(CodeOf([&] { buffer >> value; }), kInvalidBuffer);
    EXPECT_EQ(value, 77U);
}

TEST(IpcMsgBuffer, read_of_bytes_from_a_new_owner_raises_invalid_buffer) {
    CIPCMsgBuffer buffer(1024, false);
    void* bytes = nullptr;
    EXPECT_EQ(CodeOf([&] { buffer.ReadBytes(&bytes, 0); }), kInvalidBuffer);
    EXPECT_EQ(CodeOf([&] { buffer.ReadBytes(&bytes, 5); }), kInvalidBuffer);
    EXPECT_EQ(bytes, nullptr);
}

TEST(IpcMsgBuffer, read_of_four_from_three_raises_out_of_range_and_the_cursor_stays) {
    const Bytes bytes = FromHex("01 02 03");
    CIPCMsgBuffer view = View(bytes);
    std::uint32_t value = 77;
    EXPECT_EQ(CodeOf([&] { view >> value; }), kOutOfRange);
    EXPECT_EQ(view.GetReadPosition(), 0U);
    EXPECT_EQ(view.GetLastReadPosition(), 0U);
    EXPECT_EQ(view.GetRemaining(), 3U);
    EXPECT_EQ(value, 77U);
}

TEST(IpcMsgBuffer, empty_view_of_real_bytes_is_out_of_range_and_not_invalid) {
    const Bytes bytes = FromHex("01");
    CIPCMsgBuffer view(bytes.data(), 0);
    std::uint32_t value = 0;
    EXPECT_EQ(CodeOf([&] { view >> value; }), kOutOfRange);
}

TEST(IpcMsgBuffer, reads_move_the_cursor_and_keep_the_place_before) {
    const Bytes bytes = FromHex("01 00 00 00 02 00 00 00 03");
    CIPCMsgBuffer view = View(bytes);
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    view >> first >> second;
    EXPECT_EQ(first, 1U);
    EXPECT_EQ(second, 2U);
    EXPECT_EQ(view.GetReadPosition(), 8U);
    EXPECT_EQ(view.GetLastReadPosition(), 4U);
    EXPECT_EQ(view.GetRemaining(), 1U);
    EXPECT_EQ(view.GetReadPtr(), bytes.data() + 8);
}

TEST(IpcMsgBuffer, written_items_read_back_from_the_same_buffer) {
    CIPCMsgBuffer buffer(1024, false);
    buffer << 202U << 0xffffffffU;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    buffer >> first >> second;
    EXPECT_EQ(first, 202U);
    EXPECT_EQ(second, 0xffffffffU);
    EXPECT_EQ(buffer.GetRemaining(), 0U);
}

TEST(IpcMsgBuffer, read_bytes_gives_a_copy_and_moves_the_cursor) {
    const Bytes bytes = FromHex("01 02 03 04 05");
    CIPCMsgBuffer view = View(bytes);
    void* copy = nullptr;
    view.ReadBytes(&copy, 3);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, bytes.data());
    EXPECT_EQ(ToHex(static_cast<std::uint8_t*>(copy), 3), "01 02 03");
    EXPECT_EQ(view.GetReadPosition(), 3U);
    CIPCMsgBuffer::FreeBytes(copy);
}

TEST(IpcMsgBuffer, read_of_no_bytes_succeeds_at_the_end) {
    const Bytes bytes = FromHex("01");
    CIPCMsgBuffer view = View(bytes);
    void* copy = nullptr;
    view.ReadBytes(&copy, 1);
    CIPCMsgBuffer::FreeBytes(copy);
    EXPECT_EQ(CodeOf([&] { view.ReadBytes(&copy, 0); }), kNothing);
    CIPCMsgBuffer::FreeBytes(copy);
    EXPECT_EQ(view.GetRemaining(), 0U);
}

TEST(IpcMsgBuffer, exception_of_a_read_names_the_source) {
    CIPCMsgBuffer buffer(1024, false);
    std::uint32_t value = 0;
    try {
        buffer >> value;
        FAIL() << "nothing raised";
    } catch (const OS::CException& error) {
        EXPECT_EQ(error.GetFullMessage().find(L"Invalid buffer, (1), [ipc_msg_buffer|"), 0U);
    }
}

// ---- reading a handle

const char* const kFiveMessage =
    "14 00 01 00  64 00 00 00  10 00 00 00"
    "0e 00 0e 00  07 00 00 00  04 00 00 00  05 00 00 00";

TEST(IpcMsgBuffer, handle_reads_back_as_it_was_written) {
    const Bytes bytes = FromHex(std::string("1c 00 00 00") + kFiveMessage + "aa");
    CIPCMsgBuffer view = View(bytes);
    CRpcDataHandleWrapper message;
    view >> message;
    std::uint32_t value = 0;
    EXPECT_EQ(message.GetMsgId(), 0x10014U);
    EXPECT_EQ(message.Get(0xe000eU, &value), 0x20ff0000U);
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(view.GetRemaining(), 1U);
}

TEST(IpcMsgBuffer, handle_of_size_zero_or_below_leaves_the_message_as_it_was) {
    for (const char* size : {"00 00 00 00", "ff ff ff ff", "00 00 00 80"}) {
        const Bytes bytes = FromHex(std::string(size) + kFiveMessage);
        CIPCMsgBuffer view = View(bytes);
        CRpcDataHandleWrapper message(0x1234U);
        ASSERT_EQ(message.Set(1, std::uint32_t{9}), 0x20ff0000U);
        EXPECT_EQ(CodeOf([&] { view >> message; }), kNothing) << size;
        std::uint32_t value = 0;
        EXPECT_EQ(message.GetMsgId(), 0x1234U) << size;
        EXPECT_EQ(message.Get(1, &value), 0x20ff0000U) << size;
        EXPECT_EQ(view.GetReadPosition(), 4U) << size;
    }
}

TEST(IpcMsgBuffer, handle_with_an_image_that_does_not_parse_comes_out_empty) {
    const Bytes bytes = FromHex(
        "0d 00 00 00"
        "14 00 01 00  64 00 00 00  01 00 00 00  ff");
    CIPCMsgBuffer view = View(bytes);
    CRpcDataHandleWrapper message(0x1234U);
    EXPECT_EQ(CodeOf([&] { view >> message; }), kNothing);
    EXPECT_EQ(message.GetMsgId(), 0U);
    EXPECT_EQ(message.GetSize(), 12U);
    EXPECT_EQ(view.GetRemaining(), 0U);
}

TEST(IpcMsgBuffer, handle_read_from_a_new_owner_raises_invalid_buffer) {
    CIPCMsgBuffer buffer(1024, false);
    CRpcDataHandleWrapper message;
    EXPECT_EQ(CodeOf([&] { buffer >> message; }), kInvalidBuffer);
}

TEST(IpcMsgBuffer, every_truncation_of_a_handle_raises_out_of_range) {
    const Bytes whole = FromHex(std::string("1c 00 00 00") + kFiveMessage);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        // A view of a vector without bytes has no data at all.
        const int expected = size == 0 ? kInvalidBuffer : kOutOfRange;
        CIPCMsgBuffer view = View(cut);
        CRpcDataHandleWrapper message;
        EXPECT_EQ(CodeOf([&] { view >> message; }), expected) << size;
    }
}

// ---- an owner that begins in a room

TEST(AccBuffer, owner_in_a_room_has_no_storage_until_it_is_written) {
    std::uint8_t room[8];
    CAccBuffer buffer(1024, room);
    EXPECT_EQ(buffer.GetData(), nullptr);
    EXPECT_EQ(buffer.GetCapacity(), 0U);
    buffer.Write("x", 0);
    EXPECT_EQ(buffer.GetData(), nullptr);
    buffer.Write("01234567", 8);
    EXPECT_EQ(buffer.GetData(), room);
    EXPECT_EQ(buffer.GetCapacity(), 8U);
}

TEST(AccBuffer, owner_leaves_its_room_when_it_outgrows_it) {
    std::uint8_t room[4];
    CAccBuffer buffer(16, room);
    buffer.Write("abc", 3);
    buffer.Write("de", 2);
    EXPECT_NE(buffer.GetData(), room);
    EXPECT_EQ(buffer.GetCapacity(), 16U);
    EXPECT_EQ(Content(buffer), "61 62 63 64 65");
    buffer.Write("0123456789abcdef", 16);
    EXPECT_EQ(buffer.GetLength(), 21U);
}

TEST(AccBuffer, first_write_larger_than_the_room_goes_past_it) {
    std::uint8_t room[4];
    CAccBuffer buffer(16, room);
    buffer.Write("abcde", 5);
    EXPECT_NE(buffer.GetData(), room);
    EXPECT_EQ(Content(buffer), "61 62 63 64 65");
}

TEST(IpcMsgBuffer, envelope_in_a_room_reads_back_and_is_invalid_until_written) {
    std::uint8_t room[32];
    CIPCMsgBuffer buffer(room);
    std::uint32_t value = 0;
    EXPECT_EQ(CodeOf([&] { buffer >> value; }), kInvalidBuffer);
    buffer << 5U << L"ab";
    buffer >> value;
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(buffer.GetData(), room);
    EXPECT_EQ(Content(buffer), "05 00 00 00 06 00 00 00 61 00 62 00 00 00");
}

}  // namespace
