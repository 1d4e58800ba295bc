// Messages that begin in a room of their maker's, and references that move instead of being shared.

#include <gtest/gtest.h>

#include <string>

#include "Framework/utilIPC/ipc_data_handle.h"
#include "support/HexBytes.h"

using test_support::Bytes;
using test_support::FromHex;
using test_support::Hex;
using test_support::ToHex;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;

template <class Message>
std::string Image(const Message& message) {
    return ToHex(message.GetData(), message.GetSize());
}

std::uint32_t UInt(const CRpcDataHandleWrapper& message, std::uint32_t id) {
    std::uint32_t value = 0xdeadbeef;
    EXPECT_EQ(message.Get(id, &value), kSuccess);
    return value;
}

std::uint32_t UInt(const MsgBuffer& message, std::uint32_t id) {
    std::uint32_t value = 0xdeadbeef;
    EXPECT_EQ(message.GetUInt(id, 0, &value), kSuccess);
    return value;
}

std::string TextA(const MsgBuffer& message, std::uint32_t id) {
    char buffer[64];
    std::uint32_t chars = 0;
    EXPECT_EQ(message.GetStringA(id, 0, buffer, 64, &chars), kSuccess);
    return std::string(buffer, chars);
}

void LoadHex(MsgBuffer& message, std::string_view hex) {
    const Bytes bytes = FromHex(hex);
    message.Load(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

// A handle that releases itself.
struct Handle : RpcDataHandle {
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { RpcDataDestroy(this); }
};

// ---- a room of the maker's

TEST(ParamMessage, message_in_a_room_stays_there_until_it_outgrows_it) {
    std::uint8_t room[64];
    MsgBuffer message(7, room);
    EXPECT_EQ(message.GetData(), room);
    message.AddStringA(1, "thirty-nine characters fill the room up", 39);
    EXPECT_EQ(message.GetSize(), 64U);
    EXPECT_EQ(message.GetData(), room);
    message.AddUInt(2, 50);
    EXPECT_NE(message.GetData(), room);
    EXPECT_EQ(message.GetId(), 7U);
    EXPECT_EQ(TextA(message, 1), "thirty-nine characters fill the room up");
    EXPECT_EQ(UInt(message, 2), 50U);
    message.Reset(8);
    EXPECT_EQ(Image(message), "08 00 00 00 64 00 00 00 00 00 00 00");
}

TEST(ParamMessage, record_says_nothing_of_what_stood_in_its_room) {
    Bytes room(256, 0xee);
    MsgBuffer message(1, room);
    message.AddStringA(2, "a", 1);
    message.AddStringW(3, L"b", 1);
    message.AddStringUtf8(4, "c");
    message.AddStringA(5, nullptr, 2);
    message.AddStringW(6, nullptr, 1);
    MsgBuffer child;
    // A text as root header: its last bytes count as the terminator.
    LoadHex(child, "09 00 00 00 02 00 00 00 0d 00 00 00 01 00 00 00 07 00 00 00 01 00 00 00 41");
    message.AddMessage(child);
    EXPECT_EQ(ToHex(message.GetData() + 12, message.GetSize() - 12),
              Hex("02 00 00 00 01 00 00 00 02 00 00 00 61 00 "
                  "03 00 00 00 02 00 00 00 04 00 00 00 62 00 00 00 "
                  "04 00 00 00 02 00 00 00 04 00 00 00 63 00 00 00 "
                  "05 00 00 00 01 00 00 00 03 00 00 00 00 00 00 "
                  "06 00 00 00 02 00 00 00 04 00 00 00 00 00 00 00 "
                  "09 00 00 00 02 00 00 00 0d 00 00 00 01 00 00 00 07 00 00 00 01 00 00 00 00"));
}

TEST(ParamMessage, large_message_can_load_a_part_of_its_own_image) {
    MsgBuffer message(1);
    MsgBuffer child(2);
    child.AddStringA(3, std::string(3000, 'x').data(), 3000);
    message.AddMessage(child);
    message.AddStringA(4, std::string(3000, 'y').data(), 3000);
    message.Load(message.GetData() + 12, child.GetSize());
    EXPECT_EQ(Image(message), Image(child));
}

// ---- references that move

TEST(RpcDataHandleWrapper, adopted_reference_is_given_up_with_the_wrapper) {
    RpcDataHandle handle;
    ASSERT_EQ(RpcDataCreate(5, &handle), kSuccess);
    Handle other;
    ASSERT_EQ(RpcDataShare(&handle, &other), kSuccess);
    {
        CRpcDataHandleWrapper wrapper(handle, kRpcAdopt);
        EXPECT_EQ(wrapper.Set(1, std::uint32_t{50}), kSuccess);
    }
    // The first reference is gone, the message is not.
    const CRpcDataHandleWrapper reader(other);
    EXPECT_EQ(UInt(reader, 1), 50U);
}

TEST(RpcDataHandleWrapper, move_gives_the_message_away_and_leaves_the_wrapper_empty) {
    Handle out;
    ASSERT_EQ(RpcDataCreate(4, &out), kSuccess);
    {
        CRpcDataHandleWrapper wrapper(5U);
        wrapper.Set(1, std::uint32_t{50});
        wrapper.MoveTo(&out);
        EXPECT_EQ(wrapper.GetSize(), 0U);
        EXPECT_EQ(wrapper.Set(1, true), kFailure);
    }
    EXPECT_EQ(out.uiMsgId, 5U);
    EXPECT_EQ(UInt(CRpcDataHandleWrapper(out), 1), 50U);
}

TEST(RpcDataHandleWrapper, references_of_one_message_may_go_in_any_order) {
    for (int order = 0; order < 6; ++order) {
        RpcDataHandle handles[3];
        ASSERT_EQ(RpcDataCreate(5, &handles[0]), kSuccess);
        ASSERT_EQ(RpcDataShare(&handles[0], &handles[1]), kSuccess);
        ASSERT_EQ(RpcDataShare(&handles[1], &handles[2]), kSuccess);
        const int first = order % 3;
        const int second = (first + 1 + order / 3) % 3;
        const int last = 3 - first - second;
        RpcDataDestroy(&handles[first]);
        RpcDataDestroy(&handles[second]);
        std::uint32_t id = 0;
        EXPECT_EQ(RpcDataGetMsgId(&handles[last], &id), kSuccess);
        EXPECT_EQ(id, 5U);
        RpcDataDestroy(&handles[last]);
    }
}

// ---- messages of one scope

TEST(ScopedMessage, is_built_and_read_like_any_other) {
    CRpcScopedMessage message(0x10014);
    CRpcDataHandleWrapper other(0x10014U);
    for (CRpcDataHandleWrapper* one : {static_cast<CRpcDataHandleWrapper*>(&message), &other}) {
        one->Set(1, std::uint32_t{50});
        one->Set(2, std::string(5000, 'x'));
    }
    EXPECT_EQ(message.Handle().uiMsgId, 0x10014U);
    EXPECT_EQ(Image(message), Image(other));
    EXPECT_EQ(UInt(message, 1), 50U);
}

TEST(ScopedMessage, can_be_shared_while_it_lives) {
    CRpcScopedMessage message(5);
    message.Set(1, std::uint32_t{50});
    {
        const CRpcDataHandleWrapper shared(message.Handle());
        EXPECT_EQ(UInt(shared, 1), 50U);
    }
    EXPECT_EQ(UInt(message, 1), 50U);
}

TEST(ScopedMessage, loaded_child_is_what_a_read_of_the_child_gives) {
    CRpcDataHandleWrapper parent(1U);
    CRpcDataHandleWrapper child(2U);
    child.Set(3, std::string(5000, 'x'));
    parent.Set(child);
    parent.Set(9, std::uint32_t{50});
    CRpcScopedMessage loaded;
    EXPECT_EQ(loaded.LoadChild(parent, 2), kSuccess);
    EXPECT_EQ(Image(loaded), Image(child));
    // A record of another type: an empty message of the id that was asked for.
    EXPECT_EQ(loaded.LoadChild(parent, 9), kSuccess);
    EXPECT_EQ(Image(loaded), "09 00 00 00 64 00 00 00 00 00 00 00");
    EXPECT_EQ(loaded.LoadChild(parent, 7), kFailure);
    EXPECT_EQ(loaded.LoadChild(CRpcDataHandleWrapper(RpcDataHandle{}, kRpcAdopt), 2), kFailure);
}

}  // namespace
