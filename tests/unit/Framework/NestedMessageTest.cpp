// Messages nested in place: the image is that of a child that was made apart and copied in.

#include <gtest/gtest.h>

#include <string>

#include "Framework/utilIPC/ipc_data_handle.h"
#include "support/HexBytes.h"

using test_support::Hex;
using test_support::ToHex;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;

std::string Image(const CRpcDataHandleWrapper& message) {
    return ToHex(message.GetData(), message.GetSize());
}

std::uint32_t UInt(const CRpcDataHandleWrapper& message, std::uint32_t id) {
    std::uint32_t value = 0xdeadbeef;
    EXPECT_EQ(message.Get(id, &value), kSuccess);
    return value;
}

TEST(RpcNestedMessage, image_is_that_of_a_child_that_was_set) {
    CRpcDataHandleWrapper child(2U);
    child.Set(20, std::uint32_t{200});
    CRpcDataHandleWrapper grandchild(3U);
    grandchild.Set(30, L"text");
    child.Set(grandchild);
    CRpcDataHandleWrapper copied(1U);
    copied.Set(10, std::uint32_t{100});
    copied.Set(child);
    copied.Set(11, std::uint32_t{110});

    CRpcDataHandleWrapper inPlace(1U);
    inPlace.Set(10, std::uint32_t{100});
    {
        const CRpcNestedMessage outer(inPlace, 2);
        inPlace.Set(20, std::uint32_t{200});
        const CRpcNestedMessage inner(inPlace, 3);
        inPlace.Set(30, L"text");
    }
    inPlace.Set(11, std::uint32_t{110});
    EXPECT_EQ(Image(inPlace), Image(copied));
    CRpcDataHandleWrapper read;
    ASSERT_EQ(inPlace.Get(2, &read), kSuccess);
    EXPECT_EQ(UInt(read, 20), 200U);
}

TEST(RpcNestedMessage, empty_scope_makes_an_empty_child) {
    CRpcDataHandleWrapper parent(1U);
    { const CRpcNestedMessage nested(parent, 2); }
    EXPECT_EQ(Image(parent), Hex("01 00 00 00  64 00 00 00  0c 00 00 00"
                                 "02 00 00 00  64 00 00 00  00 00 00 00"));
}

TEST(RpcNestedMessage, empty_wrapper_takes_none) {
    CRpcDataHandleWrapper empty{RpcDataHandle{}};
    { const CRpcNestedMessage nested(empty, 2); }
    std::uint32_t opened = 0;
    EXPECT_EQ(empty.OpenMessage(2, &opened), kFailure);
    EXPECT_EQ(empty.GetSize(), 0U);
}

}  // namespace
