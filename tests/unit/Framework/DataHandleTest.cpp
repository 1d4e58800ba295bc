#include "Framework/utilIPC/ipc_data_handle.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/HexBytes.h"

using test_support::Bytes;
using test_support::FromHex;
using test_support::Hex;
using test_support::ToHex;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;
constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kAbsent = 0xe0ff000e;

std::string Image(const CRpcDataHandleWrapper& message) {
    return ToHex(message.GetData(), message.GetSize());
}

std::uint32_t UInt(const CRpcDataHandleWrapper& message, std::uint32_t id) {
    std::uint32_t value = 0xdeadbeef;
    EXPECT_EQ(message.Get(id, &value), kSuccess);
    return value;
}

// A handle that releases itself.
struct Handle : RpcDataHandle {
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { RpcDataDestroy(this); }
};

// ---- handle functions

TEST(RpcDataHandle, created_message_has_its_id_and_nothing_else) {
    Handle handle;
    handle.uiReserved = 7;
    ASSERT_EQ(RpcDataCreate(0x10014, &handle), kSuccess);
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    const std::uint8_t* data = nullptr;
    EXPECT_EQ(handle.uiReserved, 0U);
    EXPECT_EQ(handle.uiMsgId, 0x10014U);
    EXPECT_EQ(RpcDataGetMsgId(&handle, &id), kSuccess);
    EXPECT_EQ(RpcDataGetSize(&handle, &size), kSuccess);
    EXPECT_EQ(RpcDataGetData(&handle, &data), kSuccess);
    EXPECT_EQ(id, 0x10014U);
    EXPECT_EQ(ToHex(data, size), "14 00 01 00 64 00 00 00 00 00 00 00");
}

TEST(RpcDataHandle, creation_releases_what_the_handle_held) {
    Handle handle;
    ASSERT_EQ(RpcDataCreate(1, &handle), kSuccess);
    ASSERT_EQ(RpcDataCreate(2, &handle), kSuccess);
    std::uint32_t id = 0;
    EXPECT_EQ(RpcDataGetMsgId(&handle, &id), kSuccess);
    EXPECT_EQ(id, 2U);
}

TEST(RpcDataHandle, destroy_of_null_or_empty_is_a_success) {
    RpcDataHandle handle;
    EXPECT_EQ(RpcDataDestroy(nullptr), kSuccess);
    EXPECT_EQ(RpcDataDestroy(&handle), kSuccess);
    EXPECT_EQ(RpcDataDestroy(&handle), kSuccess);
}

TEST(RpcDataHandle, destroy_empties_the_handle) {
    RpcDataHandle handle;
    ASSERT_EQ(RpcDataCreate(1, &handle), kSuccess);
    EXPECT_NE(handle.pHolder, nullptr);
    EXPECT_EQ(RpcDataDestroy(&handle), kSuccess);
    EXPECT_EQ(handle.pHolder, nullptr);
}

TEST(RpcDataHandle, shared_handles_see_the_same_message) {
    Handle first;
    Handle second;
    ASSERT_EQ(RpcDataCreate(0x20, &first), kSuccess);
    ASSERT_EQ(RpcDataShare(&first, &second), kSuccess);
    EXPECT_EQ(second.uiReserved, 0U);
    EXPECT_EQ(second.uiMsgId, 0x20U);
    const Bytes image = FromHex("09 00 00 00 64 00 00 00 00 00 00 00");
    ASSERT_EQ(RpcDataLoad(&first, image.data(), 12), kSuccess);
    std::uint32_t id = 0;
    EXPECT_EQ(RpcDataGetMsgId(&second, &id), kSuccess);
    EXPECT_EQ(id, 9U);
}

TEST(RpcDataHandle, shared_message_outlives_the_first_handle) {
    Handle second;
    {
        Handle first;
        ASSERT_EQ(RpcDataCreate(0x20, &first), kSuccess);
        ASSERT_EQ(RpcDataShare(&first, &second), kSuccess);
    }
    std::uint32_t id = 0;
    EXPECT_EQ(RpcDataGetMsgId(&second, &id), kSuccess);
    EXPECT_EQ(id, 0x20U);
}

TEST(RpcDataHandle, share_releases_what_the_output_held) {
    Handle first;
    Handle second;
    ASSERT_EQ(RpcDataCreate(1, &first), kSuccess);
    ASSERT_EQ(RpcDataCreate(2, &second), kSuccess);
    ASSERT_EQ(RpcDataShare(&first, &second), kSuccess);
    std::uint32_t id = 0;
    EXPECT_EQ(RpcDataGetMsgId(&second, &id), kSuccess);
    EXPECT_EQ(id, 1U);
}

TEST(RpcDataHandle, handle_can_be_shared_with_itself) {
    Handle handle;
    ASSERT_EQ(RpcDataCreate(1, &handle), kSuccess);
    ASSERT_EQ(RpcDataShare(&handle, &handle), kSuccess);
    std::uint32_t id = 0;
    EXPECT_EQ(RpcDataGetMsgId(&handle, &id), kSuccess);
    EXPECT_EQ(id, 1U);
}

TEST(RpcDataHandle, share_or_clone_of_an_empty_source_gives_an_empty_output_with_success) {
    const RpcDataHandle empty;
    Handle shared;
    Handle cloned;
    ASSERT_EQ(RpcDataCreate(1, &shared), kSuccess);
    ASSERT_EQ(RpcDataCreate(1, &cloned), kSuccess);
    EXPECT_EQ(RpcDataShare(&empty, &shared), kSuccess);
    EXPECT_EQ(RpcDataClone(&empty, &cloned), kSuccess);
    EXPECT_EQ(shared.pHolder, nullptr);
    EXPECT_EQ(cloned.pHolder, nullptr);
}

TEST(RpcDataHandle, clone_is_independent_of_its_source) {
    Handle source;
    Handle copy;
    ASSERT_EQ(RpcDataCreate(0x20, &source), kSuccess);
    ASSERT_EQ(RpcDataClone(&source, &copy), kSuccess);
    EXPECT_EQ(copy.uiMsgId, 0x20U);
    const Bytes image = FromHex("09 00 00 00 64 00 00 00 00 00 00 00");
    ASSERT_EQ(RpcDataLoad(&source, image.data(), 12), kSuccess);
    std::uint32_t id = 0;
    EXPECT_EQ(RpcDataGetMsgId(&copy, &id), kSuccess);
    EXPECT_EQ(id, 0x20U);
}

TEST(RpcDataHandle, clone_is_parsed_anew_so_that_it_reads_the_record_of_tag_0) {
    // A message of type 0 nested in another is in the image and not in the index.
    const Bytes child = FromHex("33 00 00 00 00 00 00 00 00 00 00 00");
    CRpcDataHandleWrapper untyped;
    ASSERT_EQ(untyped.Load(child.data(), 12), kSuccess);
    CRpcDataHandleWrapper source(1U);
    ASSERT_EQ(source.Set(untyped), kSuccess);
    std::uint32_t value = 77;
    EXPECT_EQ(source.Get(0x33, &value), kAbsent);
    Handle copy;
    ASSERT_EQ(source.CloneTo(&copy), kSuccess);
    const CRpcDataHandleWrapper cloned(static_cast<RpcDataHandle>(copy));
    EXPECT_EQ(Image(cloned), Image(source));
    EXPECT_EQ(cloned.Get(0x33, &value), kInvalid);
    EXPECT_EQ(value, 77U);
}

TEST(RpcDataHandle, clone_into_its_own_source_keeps_the_message) {
    Handle handle;
    ASSERT_EQ(RpcDataCreate(3, &handle), kSuccess);
    ASSERT_EQ(RpcDataClone(&handle, &handle), kSuccess);
    std::uint32_t id = 0;
    EXPECT_EQ(RpcDataGetMsgId(&handle, &id), kSuccess);
    EXPECT_EQ(id, 3U);
}

TEST(RpcDataHandle, null_and_empty_arguments_fail) {
    Handle full;
    ASSERT_EQ(RpcDataCreate(1, &full), kSuccess);
    const RpcDataHandle empty;
    Handle out;
    std::uint32_t number = 0;
    const std::uint8_t* data = nullptr;
    const std::uint8_t byte = 0;
    EXPECT_EQ(RpcDataCreate(1, nullptr), kFailure);
    EXPECT_EQ(RpcDataShare(nullptr, &out), kFailure);
    EXPECT_EQ(RpcDataShare(&full, nullptr), kFailure);
    EXPECT_EQ(RpcDataClone(nullptr, &out), kFailure);
    EXPECT_EQ(RpcDataClone(&full, nullptr), kFailure);
    for (const RpcDataHandle* source : {static_cast<const RpcDataHandle*>(nullptr), &empty}) {
        EXPECT_EQ(RpcDataGetMsgId(source, &number), kFailure);
        EXPECT_EQ(RpcDataGetData(source, &data), kFailure);
        EXPECT_EQ(RpcDataGetSize(source, &number), kFailure);
        EXPECT_EQ(RpcDataLoad(source, &byte, 1), kFailure);
    }
    EXPECT_EQ(RpcDataGetMsgId(&full, nullptr), kFailure);
    EXPECT_EQ(RpcDataGetData(&full, nullptr), kFailure);
    EXPECT_EQ(RpcDataGetSize(&full, nullptr), kFailure);
}

TEST(RpcDataHandle, image_that_does_not_parse_is_loaded_as_an_empty_message_with_success) {
    Handle handle;
    ASSERT_EQ(RpcDataCreate(5, &handle), kSuccess);
    const Bytes image = FromHex("09 00 00 00 64 00 00 00 00 00 00 00 ff");
    EXPECT_EQ(RpcDataLoad(&handle, image.data(), 13), kSuccess);
    std::uint32_t id = 77;
    EXPECT_EQ(RpcDataGetMsgId(&handle, &id), kSuccess);
    EXPECT_EQ(id, 0U);
}

// ---- the wrapper: making and sharing

TEST(RpcDataHandleWrapper, constructors_make_or_share_a_message) {
    EXPECT_EQ(CRpcDataHandleWrapper().GetMsgId(), 0U);
    EXPECT_EQ(CRpcDataHandleWrapper(0x10014U).GetMsgId(), 0x10014U);
    Handle handle;
    ASSERT_EQ(RpcDataCreate(9, &handle), kSuccess);
    CRpcDataHandleWrapper shared(static_cast<RpcDataHandle>(handle));
    ASSERT_EQ(shared.Set(1, std::uint32_t{2}), kSuccess);
    std::uint32_t size = 0;
    EXPECT_EQ(RpcDataGetSize(&handle, &size), kSuccess);
    EXPECT_EQ(size, 28U);
}

TEST(RpcDataHandleWrapper, wrapper_of_an_empty_handle_answers_zero_and_fails_every_call) {
    CRpcDataHandleWrapper empty{RpcDataHandle{}};
    std::uint32_t number = 77;
    std::string narrow = "before";
    std::wstring wide = L"before";
    Handle child;
    CRpcDataHandleWrapper full(1U);
    const std::uint8_t byte = 0;
    EXPECT_EQ(empty.GetMsgId(), 0U);
    EXPECT_EQ(empty.GetSize(), 0U);
    EXPECT_EQ(empty.GetData(), nullptr);
    EXPECT_EQ(empty.Set(1, true), kFailure);
    EXPECT_EQ(empty.Set(1, std::int32_t{1}), kFailure);
    EXPECT_EQ(empty.Set(1, std::uint32_t{1}), kFailure);
    EXPECT_EQ(empty.Set(1, L"x"), kFailure);
    EXPECT_EQ(empty.Set(1, L"x", 1), kFailure);
    EXPECT_EQ(empty.Set(1, "x", 1), kFailure);
    EXPECT_EQ(empty.Set(1, std::string("x")), kFailure);
    EXPECT_EQ(empty.Set(full), kFailure);
    EXPECT_EQ(full.Set(empty), kFailure);
    EXPECT_EQ(full.Set(empty.Handle()), kFailure);
    EXPECT_EQ(empty.Get(1, &number), kFailure);
    EXPECT_EQ(empty.Get(1, narrow), kFailure);
    EXPECT_EQ(empty.Get(1, wide), kFailure);
    EXPECT_EQ(empty.Get(1, &child), kFailure);
    EXPECT_EQ(empty.Get(1, &full), kFailure);
    EXPECT_EQ(empty.Load(&byte, 1), kFailure);
    EXPECT_EQ(number, 77U);
    EXPECT_EQ(narrow, "");
    EXPECT_EQ(wide, L"");
}

TEST(RpcDataHandleWrapper, null_outputs_fail) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(1, std::uint32_t{1}), kSuccess);
    EXPECT_EQ(message.Get(1, static_cast<std::uint32_t*>(nullptr)), kFailure);
    EXPECT_EQ(message.Get(1, static_cast<RpcDataHandle*>(nullptr)), kFailure);
    EXPECT_EQ(message.Get(1, static_cast<CRpcDataHandleWrapper*>(nullptr)), kFailure);
    EXPECT_EQ(message.CloneTo(nullptr), kFailure);
}

TEST(RpcDataHandleWrapper, after_assign_both_see_the_same_message) {
    CRpcDataHandleWrapper first(1U);
    CRpcDataHandleWrapper second(2U);
    EXPECT_EQ(second.Assign(first), kSuccess);
    ASSERT_EQ(first.Set(7, std::uint32_t{70}), kSuccess);
    EXPECT_EQ(UInt(second, 7), 70U);
    EXPECT_EQ(second.GetMsgId(), 1U);
}

TEST(RpcDataHandleWrapper, clone_has_an_own_message) {
    CRpcDataHandleWrapper source(1U);
    ASSERT_EQ(source.Set(7, std::uint32_t{70}), kSuccess);
    Handle handle;
    ASSERT_EQ(source.CloneTo(&handle), kSuccess);
    CRpcDataHandleWrapper copy(static_cast<RpcDataHandle>(handle));
    ASSERT_EQ(copy.Set(8, std::uint32_t{80}), kSuccess);
    EXPECT_EQ(UInt(copy, 7), 70U);
    std::uint32_t value = 0;
    EXPECT_EQ(source.Get(8, &value), kAbsent);
}

// ---- Set

TEST(RpcDataHandleWrapper, each_set_writes_its_type) {
    CRpcDataHandleWrapper message(0x10014U);
    EXPECT_EQ(message.Set(1, true), kSuccess);
    EXPECT_EQ(message.Set(2, false), kSuccess);
    EXPECT_EQ(message.Set(3, std::int32_t{-1}), kSuccess);
    EXPECT_EQ(message.Set(4, std::uint32_t{4}), kSuccess);
    EXPECT_EQ(message.Set(5, L"ab"), kSuccess);
    EXPECT_EQ(message.Set(6, L"abc", 1), kSuccess);
    EXPECT_EQ(message.Set(7, "abc", 2), kSuccess);
    EXPECT_EQ(message.Set(8, std::string("d")), kSuccess);
    EXPECT_EQ(Image(message),
              Hex("14 00 01 00  64 00 00 00  7f 00 00 00"
                  "01 00 00 00  06 00 00 00  04 00 00 00  01 00 00 00"        // true
                  "02 00 00 00  06 00 00 00  04 00 00 00  00 00 00 00"        // false
                  "03 00 00 00  06 00 00 00  04 00 00 00  ff ff ff ff"        // signed
                  "04 00 00 00  07 00 00 00  04 00 00 00  04 00 00 00"        // unsigned
                  "05 00 00 00  02 00 00 00  06 00 00 00  61 00 62 00 00 00"  // wide
                  "06 00 00 00  02 00 00 00  04 00 00 00  61 00 00 00"        // wide with a count
                  "07 00 00 00  01 00 00 00  03 00 00 00  61 62 00"           // narrow with a count
                  "08 00 00 00  01 00 00 00  02 00 00 00  64 00"));           // narrow
}

TEST(RpcDataHandleWrapper, null_wide_text_without_a_count_is_invalid_and_adds_nothing) {
    CRpcDataHandleWrapper message(1U);
    EXPECT_EQ(message.Set(5, static_cast<const wchar_t*>(nullptr)), kInvalid);
    EXPECT_EQ(message.GetSize(), 12U);
}

TEST(RpcDataHandleWrapper, set_appends_and_never_replaces) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(5, std::uint32_t{1}), kSuccess);
    ASSERT_EQ(message.Set(5, std::uint32_t{2}), kSuccess);
    std::uint32_t value = 0;
    EXPECT_EQ(UInt(message, 5), 1U);
    EXPECT_EQ(message.Get(5, 1, &value), kSuccess);
    EXPECT_EQ(value, 2U);
}

TEST(RpcDataHandleWrapper, true_reads_as_one) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(5, true), kSuccess);
    EXPECT_EQ(UInt(message, 5), 1U);
}

TEST(RpcDataHandleWrapper, change_of_a_child_after_set_does_not_reach_the_parent) {
    CRpcDataHandleWrapper child(2U);
    ASSERT_EQ(child.Set(1, std::uint32_t{10}), kSuccess);
    CRpcDataHandleWrapper parent(1U);
    ASSERT_EQ(parent.Set(child), kSuccess);
    ASSERT_EQ(child.Set(3, std::uint32_t{30}), kSuccess);
    CRpcDataHandleWrapper read;
    ASSERT_EQ(parent.Get(2, &read), kSuccess);
    EXPECT_EQ(UInt(read, 1), 10U);
    std::uint32_t value = 0;
    EXPECT_EQ(read.Get(3, &value), kAbsent);
}

TEST(RpcDataHandleWrapper, child_can_be_set_from_a_handle) {
    CRpcDataHandleWrapper child(2U);
    ASSERT_EQ(child.Set(1, std::uint32_t{10}), kSuccess);
    CRpcDataHandleWrapper parent(1U);
    EXPECT_EQ(parent.Set(child.Handle()), kSuccess);
    CRpcDataHandleWrapper read;
    ASSERT_EQ(parent.Get(2, &read), kSuccess);
    EXPECT_EQ(UInt(read, 1), 10U);
}

TEST(RpcDataHandleWrapper, wrapper_that_shares_a_message_can_be_set_into_it) {
    CRpcDataHandleWrapper first(2U);
    ASSERT_EQ(first.Set(1, std::uint32_t{10}), kSuccess);
    CRpcDataHandleWrapper second;
    ASSERT_EQ(second.Assign(first), kSuccess);
    EXPECT_EQ(first.Set(second), kSuccess);
    CRpcDataHandleWrapper read;
    EXPECT_EQ(first.Get(2, &read), kSuccess);
    EXPECT_EQ(UInt(read, 1), 10U);
    EXPECT_EQ(read.GetSize(), 28U);
}

// ---- Get of text

TEST(RpcDataHandleWrapper, text_of_1024_and_of_1025_characters_reads_back_whole) {
    for (const std::size_t length : {1U, 1023U, 1024U, 1025U, 1026U, 70000U}) {
        std::string narrow;
        std::wstring wide;
        for (std::size_t i = 0; i < length; ++i) {
            narrow += static_cast<char>('a' + i % 26);
            wide += static_cast<wchar_t>(0x3b1 + i % 24);
        }
        CRpcDataHandleWrapper message(1U);
        ASSERT_EQ(message.Set(1, narrow), kSuccess);
        ASSERT_EQ(message.Set(2, wide.c_str()), kSuccess);
        std::string narrowRead;
        std::wstring wideRead;
        EXPECT_EQ(message.Get(1, narrowRead), kSuccess);
        EXPECT_EQ(message.Get(2, wideRead), kSuccess);
        EXPECT_TRUE(narrowRead == narrow) << length;
        EXPECT_TRUE(wideRead == wide) << length;
    }
}

TEST(RpcDataHandleWrapper, text_with_characters_above_16_bits_reads_back_as_it_was) {
    for (const std::size_t length : {1U, 512U, 513U, 2000U}) {
        std::wstring text;
        for (std::size_t i = 0; i < length; ++i) {
            text += L"\U0001F600";
        }
        CRpcDataHandleWrapper message(1U);
        ASSERT_EQ(message.Set(2, text.c_str()), kSuccess);
        std::wstring read;
        EXPECT_EQ(message.Get(2, read), kSuccess);
        EXPECT_EQ(read.size(), text.size());
        EXPECT_TRUE(read == text) << length;
    }
}

TEST(RpcDataHandleWrapper, text_with_a_zero_inside_reads_back_whole) {
    const std::string narrow("a\0b", 3);
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(1, narrow), kSuccess);
    ASSERT_EQ(message.Set(2, L"a\0b", 3), kSuccess);
    std::string narrowRead;
    std::wstring wideRead;
    EXPECT_EQ(message.Get(1, narrowRead), kSuccess);
    EXPECT_EQ(message.Get(2, wideRead), kSuccess);
    EXPECT_EQ(narrowRead, narrow);
    EXPECT_EQ(wideRead, std::wstring(L"a\0b", 3));
}

TEST(RpcDataHandleWrapper, empty_text_reads_back_empty_with_success) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(1, std::string()), kSuccess);
    ASSERT_EQ(message.Set(2, L""), kSuccess);
    std::string narrow = "before";
    std::wstring wide = L"before";
    EXPECT_EQ(message.Get(1, narrow), kSuccess);
    EXPECT_EQ(message.Get(2, wide), kSuccess);
    EXPECT_EQ(narrow, "");
    EXPECT_EQ(wide, L"");
}

TEST(RpcDataHandleWrapper, text_of_the_other_width_is_invalid_and_the_output_empty) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(1, std::string("narrow")), kSuccess);
    ASSERT_EQ(message.Set(2, L"wide"), kSuccess);
    std::string narrow = "before";
    std::wstring wide = L"before";
    EXPECT_EQ(message.Get(2, narrow), kInvalid);
    EXPECT_EQ(message.Get(1, wide), kInvalid);
    EXPECT_EQ(narrow, "");
    EXPECT_EQ(wide, L"");
}

TEST(RpcDataHandleWrapper, absent_text_is_reported_and_the_output_empty) {
    const CRpcDataHandleWrapper message(1U);
    std::string narrow = "before";
    std::wstring wide = L"before";
    EXPECT_EQ(message.Get(1, narrow), kAbsent);
    EXPECT_EQ(message.Get(1, 3, wide), kAbsent);
    EXPECT_EQ(narrow, "");
    EXPECT_EQ(wide, L"");
}

TEST(RpcDataHandleWrapper, text_is_read_by_index) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(1, std::string("first")), kSuccess);
    ASSERT_EQ(message.Set(1, std::string("second")), kSuccess);
    ASSERT_EQ(message.Set(2, L"first"), kSuccess);
    ASSERT_EQ(message.Set(2, L"second"), kSuccess);
    std::string narrow;
    std::wstring wide;
    EXPECT_EQ(message.Get(1, 1, narrow), kSuccess);
    EXPECT_EQ(message.Get(2, 1, wide), kSuccess);
    EXPECT_EQ(narrow, "second");
    EXPECT_EQ(wide, L"second");
}

// ---- Get of children

TEST(RpcDataHandleWrapper, absent_child_fails_where_an_absent_number_is_told) {
    const CRpcDataHandleWrapper message(1U);
    Handle child;
    std::uint32_t value = 0;
    EXPECT_EQ(message.Get(2, &child), kFailure);
    EXPECT_EQ(message.Get(2, &value), kAbsent);
}

TEST(RpcDataHandleWrapper, failed_child_read_leaves_the_output_empty) {
    const CRpcDataHandleWrapper message(1U);
    Handle child;
    ASSERT_EQ(RpcDataCreate(5, &child), kSuccess);
    EXPECT_EQ(message.Get(2, &child), kFailure);
    EXPECT_EQ(child.pHolder, nullptr);
}

TEST(RpcDataHandleWrapper, child_is_a_new_message_and_the_handle_keeps_its_id_field) {
    CRpcDataHandleWrapper parent(1U);
    CRpcDataHandleWrapper inner(2U);
    ASSERT_EQ(inner.Set(3, std::uint32_t{30}), kSuccess);
    ASSERT_EQ(parent.Set(inner), kSuccess);
    Handle child;
    child.uiMsgId = 0x77;
    ASSERT_EQ(parent.Get(2, &child), kSuccess);
    std::uint32_t id = 0;
    EXPECT_EQ(child.uiMsgId, 0x77U);
    EXPECT_EQ(RpcDataGetMsgId(&child, &id), kSuccess);
    EXPECT_EQ(id, 2U);
    CRpcDataHandleWrapper(static_cast<RpcDataHandle>(child)).Set(4, std::uint32_t{40});
    EXPECT_EQ(parent.GetSize(), 40U);
}

TEST(RpcDataHandleWrapper, record_that_is_no_message_comes_out_as_an_empty_message_of_that_id) {
    CRpcDataHandleWrapper parent(1U);
    ASSERT_EQ(parent.Set(7, std::uint32_t{70}), kSuccess);
    CRpcDataHandleWrapper child;
    EXPECT_EQ(parent.Get(7, &child), kSuccess);
    EXPECT_EQ(child.GetMsgId(), 7U);
    EXPECT_EQ(child.GetSize(), 12U);
}

TEST(RpcDataHandleWrapper, children_are_read_by_index) {
    CRpcDataHandleWrapper parent(1U);
    for (std::uint32_t i = 0; i < 2; ++i) {
        CRpcDataHandleWrapper child(2U);
        ASSERT_EQ(child.Set(3, i), kSuccess);
        ASSERT_EQ(parent.Set(child), kSuccess);
    }
    CRpcDataHandleWrapper read;
    EXPECT_EQ(parent.Get(2, 1, &read), kSuccess);
    EXPECT_EQ(UInt(read, 3), 1U);
    EXPECT_EQ(parent.Get(2, 2, &read), kFailure);
}

TEST(RpcDataHandleWrapper, child_can_be_read_into_the_wrapper_that_holds_it) {
    CRpcDataHandleWrapper message(1U);
    CRpcDataHandleWrapper child(2U);
    ASSERT_EQ(child.Set(3, std::uint32_t{30}), kSuccess);
    ASSERT_EQ(message.Set(child), kSuccess);
    EXPECT_EQ(message.Get(2, &message), kSuccess);
    EXPECT_EQ(message.GetMsgId(), 2U);
    EXPECT_EQ(UInt(message, 3), 30U);
}

TEST(RpcDataHandleWrapper, structure_of_three_levels_reads_back_as_it_was_built) {
    CRpcDataHandleWrapper version(0x10003U);
    version.Set(0x20899, std::uint32_t{3});
    version.Set(0x2089a, std::uint32_t{1});
    version.Set(0x2089b, std::uint32_t{1158});
    CRpcDataHandleWrapper info(0x10001U);
    info.Set(0x20641, std::uint32_t{9});
    info.Set(0x20640, L"client");
    info.Set(version);
    CRpcDataHandleWrapper session(0x10002U);
    session.Set(info);
    CRpcDataHandleWrapper read;
    ASSERT_EQ(read.Load(session.GetData(), session.GetSize()), kSuccess);
    ASSERT_EQ(read.Get(0x10001, &read), kSuccess);
    std::wstring name;
    EXPECT_EQ(read.Get(0x20640, name), kSuccess);
    EXPECT_EQ(name, L"client");
    ASSERT_EQ(read.Get(0x10003, &read), kSuccess);
    EXPECT_EQ(UInt(read, 0x2089b), 1158U);
}

TEST(RpcDataHandleWrapper, room_made_beforehand_changes_nothing) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(7, std::uint32_t{70}), kSuccess);
    const std::string before = Image(message);
    message.Reserve(100000);
    message.Reserve(0);
    CRpcDataHandleWrapper(RpcDataHandle{}).Reserve(1000);
    EXPECT_EQ(Image(message), before);
}

TEST(RpcDataHandleWrapper, shared_message_can_be_read_and_released_by_many_threads) {
    CRpcDataHandleWrapper message(1U);
    ASSERT_EQ(message.Set(1, std::uint32_t{10}), kSuccess);
    ASSERT_EQ(message.Set(2, L"text"), kSuccess);
    std::vector<std::thread> threads;
    std::vector<int> errors(8, 0);
    for (std::size_t i = 0; i < errors.size(); ++i) {
        threads.emplace_back([&message, &failed = errors[i]] {
            for (int round = 0; round < 500; ++round) {
                const CRpcDataHandleWrapper shared(message.Handle());
                std::uint32_t value = 0;
                std::wstring text;
                const bool number = shared.Get(1, &value) == kSuccess && value == 10;
                const bool string = shared.Get(2, text) == kSuccess && text == L"text";
                failed += number && string ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(errors, std::vector<int>(8, 0));
}

}  // namespace
