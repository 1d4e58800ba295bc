// Memory that runs out at any one allocation: the stated code, the stated state, nothing lost.
// And lengths of foreign bytes: none is allocated before it is checked.

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>

#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "support/AllocationFaults.h"
#include "support/HexBytes.h"

using test_support::AllocationMeter;
using test_support::Bytes;
using test_support::FailAllocations;
using test_support::FromHex;
using test_support::ToHex;
using test_support::Words;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;
constexpr std::uint32_t kOutOfMemory = 0xe0ff001e;

std::string Content(const CAccBuffer& buffer) {
    return ToHex(buffer.GetData(), buffer.GetLength());
}

void Load(CRpcDataHandleWrapper& message, const Bytes& image) {
    message.Load(image.data(), static_cast<std::uint32_t>(image.size()));
}

// Runs `operation` with the first, the second, ... allocation failing, until it needs no more.
// `check` sees the result of each run that had an allocation refused.
template <class Operation, class Check>
int EachAllocationFails(Operation operation, Check check) {
    for (int granted = 0; granted < 100; ++granted) {
        bool refused = false;
        std::uint32_t code = 0;
        auto subject = operation.Prepare();
        {
            const FailAllocations failure(static_cast<std::size_t>(granted));
            code = operation.Run(*subject);
            refused = failure.Happened();
        }
        if (!refused) {
            EXPECT_EQ(code, kSuccess);
            return granted;
        }
        check(code, *subject);
    }
    ADD_FAILURE() << "the operation never got all it needed";
    return -1;
}

// An image above what a message reserves beforehand, so that each operation on it needs memory.
const Bytes& LargeImage() {
    static const Bytes image = [] {
        Bytes bytes = Words({7, 100, 1228, 1, 7, 4, 10, 2, 1, 1200});
        bytes.resize(bytes.size() + 1200, 'x');
        return bytes;
    }();
    return image;
}

struct AppendRecord {
    std::uint32_t (*add)(CRpcMsgBuffer&);

    std::unique_ptr<CRpcMsgBuffer> Prepare() const {
        auto message = std::make_unique<CRpcMsgBuffer>(7U);
        const Bytes& image = LargeImage();
        // Memory for exactly this image: whatever is appended needs more.
        message->Load(image.data(), static_cast<std::uint32_t>(image.size()));
        return message;
    }
    std::uint32_t Run(CRpcMsgBuffer& message) const { return add(message); }
};

const CRpcMsgBuffer& Child() {
    static CRpcMsgBuffer child(99);
    if (child.GetSize() == 12) {
        child.AddStringA(1, "a child of some length", 22);
    }
    return child;
}

TEST(IpcOutOfMemory, append_reports_it_and_leaves_the_message_as_it_was) {
    Child();
    LargeImage();
    const AppendRecord operations[] = {
        {[](CRpcMsgBuffer& m) { return m.AddInt(50, -1); }},
        {[](CRpcMsgBuffer& m) { return m.AddUInt(50, 1); }},
        {[](CRpcMsgBuffer& m) { return m.AddStringA(50, "a text of some length", 21); }},
        {[](CRpcMsgBuffer& m) { return m.AddStringW(50, L"a text of some length", 21); }},
        {[](CRpcMsgBuffer& m) { return m.AddStringA(50, nullptr, 100); }},
        {[](CRpcMsgBuffer& m) { return m.AddMessage(Child()); }},
        {[](CRpcMsgBuffer& m) { return m.AddMessage(m); }},
        {[](CRpcMsgBuffer& m) {
            std::uint32_t opened = 0;
            m.Reserve(100000);
            return m.OpenMessage(50, &opened);
        }},
    };
    for (const AppendRecord& operation : operations) {
        const int needed =
            EachAllocationFails(operation, [](std::uint32_t code, const CRpcMsgBuffer& message) {
                EXPECT_EQ(code, kOutOfMemory);
                EXPECT_TRUE(ToHex(message.GetData(), message.GetSize()) == ToHex(LargeImage()));
                std::uint32_t value = 0;
                EXPECT_EQ(message.GetUInt(1, 0, &value), kSuccess);
                EXPECT_EQ(message.GetUInt(50, 0, &value), 0xe0ff000eU);
            });
        EXPECT_GT(needed, 0);
    }
}

TEST(IpcOutOfMemory, text_longer_than_the_wire_can_count_is_refused_unread) {
    CRpcMsgBuffer message(7U);
    const char narrow = 'x';
    EXPECT_EQ(message.AddStringA(1, &narrow, 0xffffffffU), kOutOfMemory);
    EXPECT_EQ(message.AddStringW(1, nullptr, 0x7fffffffU), kOutOfMemory);
    EXPECT_EQ(message.AddStringW(1, nullptr, 0xffffffffU), kOutOfMemory);
    EXPECT_EQ(message.AddStringA(1, nullptr, 0xfffffff0U), kOutOfMemory);
    EXPECT_EQ(message.GetSize(), 12U);
}

struct LoadImage {
    std::unique_ptr<CRpcMsgBuffer> Prepare() const { return std::make_unique<CRpcMsgBuffer>(7U); }
    std::uint32_t Run(CRpcMsgBuffer& message) const {
        message.Load(LargeImage().data(), static_cast<std::uint32_t>(LargeImage().size()));
        return kSuccess;
    }
};

TEST(IpcOutOfMemory, load_reports_nothing_and_leaves_an_empty_message) {
    LargeImage();
    const int needed =
        EachAllocationFails(LoadImage(), [](std::uint32_t, const CRpcMsgBuffer& message) {
            EXPECT_EQ(message.GetId(), 0U);
            EXPECT_EQ(message.GetSize(), 12U);
            EXPECT_TRUE(message.Message().Index().empty());
        });
    EXPECT_GT(needed, 0);
}

struct ReadChild {
    std::unique_ptr<CRpcDataHandleWrapper> Prepare() const {
        auto message = std::make_unique<CRpcDataHandleWrapper>(7U);
        CRpcDataHandleWrapper child(9U);
        child.Set(5, std::uint32_t{50});
        child.Set(6, std::string(1200, 'x'));
        message->Set(child);
        return message;
    }
    std::uint32_t Run(CRpcDataHandleWrapper& message) const { return message.Get(9, &message); }
};

TEST(IpcOutOfMemory, read_of_a_child_fails_and_leaves_the_output_empty) {
    const int needed = EachAllocationFails(
        ReadChild(), [](std::uint32_t code, const CRpcDataHandleWrapper& message) {
            EXPECT_EQ(code, kFailure);
            EXPECT_EQ(message.GetSize(), 0U);
        });
    EXPECT_EQ(needed, 2);  // the child and its image
}

TEST(IpcOutOfMemory, creation_reports_it_and_leaves_the_handle_empty) {
    RpcDataHandle handle;
    std::uint32_t code = 0;
    {
        const FailAllocations failure(0);
        code = RpcDataCreate(5, &handle);
    }
    EXPECT_EQ(code, kOutOfMemory);
    EXPECT_EQ(handle.pHolder, nullptr);
}

TEST(IpcOutOfMemory, wrapper_whose_creation_failed_is_empty_and_fails_every_call) {
    alignas(CRpcDataHandleWrapper) unsigned char place[sizeof(CRpcDataHandleWrapper)];
    CRpcDataHandleWrapper* made = nullptr;
    {
        const FailAllocations failure(0);
        made = new (place) CRpcDataHandleWrapper(5U);
    }
    EXPECT_EQ(made->GetSize(), 0U);
    EXPECT_EQ(made->Set(1, true), kFailure);
    std::uint32_t value = 0;
    EXPECT_EQ(made->Get(1, &value), kFailure);
    made->~CRpcDataHandleWrapper();
}

TEST(IpcOutOfMemory, share_and_clone_report_it) {
    CRpcDataHandleWrapper source(5U);
    RpcDataHandle out;
    {
        const FailAllocations failure(0);
        EXPECT_EQ(RpcDataShare(&source.Handle(), &out), kOutOfMemory);
        EXPECT_EQ(RpcDataClone(&source.Handle(), &out), kOutOfMemory);
    }
    EXPECT_EQ(out.pHolder, nullptr);
    EXPECT_EQ(source.GetMsgId(), 5U);
}

TEST(IpcOutOfMemory, long_text_reports_it_and_the_output_is_empty) {
    CRpcDataHandleWrapper message(1U);
    message.Set(1, std::string(1025, 'x'));
    message.Set(2, std::wstring(1025, L'x').c_str());
    std::string narrow;
    std::wstring wide;
    {
        const FailAllocations failure(0);
        EXPECT_EQ(message.Get(1, narrow), kOutOfMemory);
        EXPECT_EQ(message.Get(2, wide), kOutOfMemory);
    }
    EXPECT_EQ(narrow, "");
    EXPECT_EQ(wide, L"");
}

TEST(AccBuffer, write_without_memory_drops_the_bytes_without_a_report) {
    CAccBuffer buffer(16);
    buffer.Write("abc", 3);
    {
        const FailAllocations failure(0);
        EXPECT_NO_THROW(buffer.Write("0123456789abcdef", 16));
        EXPECT_TRUE(failure.Happened());
    }
    EXPECT_EQ(Content(buffer), "61 62 63");
    EXPECT_EQ(buffer.GetCapacity(), 16U);
    buffer.Write("d", 1);
    EXPECT_EQ(Content(buffer), "61 62 63 64");
}

TEST(AccBuffer, typical_request_costs_one_allocation) {
    const Bytes bytes(900, 1);
    const AllocationMeter meter;
    CAccBuffer buffer(1024);
    buffer.Write(bytes.data(), 4);
    buffer.Write(bytes.data(), 4);
    buffer.Write(bytes.data(), 900);
    EXPECT_EQ(meter.Count(), 1U);
}

TEST(IpcMsgBuffer, wide_string_without_memory_is_dropped_without_a_report) {
    CIPCMsgBuffer buffer(1024, false);
    {
        const FailAllocations failure(0);
        EXPECT_NO_THROW(buffer << L"some text");
        EXPECT_TRUE(failure.Happened());
    }
    EXPECT_EQ(buffer.GetLength(), 0U);
}

TEST(IpcMsgBuffer, read_of_more_bytes_than_there_are_allocates_nothing) {
    const Bytes bytes = FromHex("01 02 03 04 05 06 07 08");
    CIPCMsgBuffer view(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    std::uint32_t word = 0;
    view >> word;
    for (const std::uint32_t size : {5U, 0x7fffffffU, 0x80000000U, 0xfffffffcU, 0xffffffffU}) {
        void* copy = nullptr;
        const AllocationMeter meter;
        EXPECT_THROW(view.ReadBytes(&copy, size), CIPCMsgBufferException) << size;
        EXPECT_LT(meter.Largest(), 4096U) << size;
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(view.GetReadPosition(), 4U);
    }
}

TEST(IpcMsgBuffer, read_of_bytes_without_memory_raises_bad_alloc_and_the_cursor_stays) {
    const Bytes bytes(64);
    CIPCMsgBuffer view(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    void* copy = nullptr;
    bool raised = false;
    {
        const FailAllocations failure(0);
        try {
            view.ReadBytes(&copy, 64);
        } catch (const std::bad_alloc&) {
            raised = true;
        }
    }
    EXPECT_TRUE(raised);
    EXPECT_EQ(view.GetReadPosition(), 0U);
}

TEST(IpcMsgBuffer, handle_size_above_the_rest_raises_out_of_range_and_allocates_nothing) {
    for (const char* size : {"1d 00 00 00", "ff ff ff 7f", "00 00 00 40"}) {
        const Bytes bytes = FromHex(std::string(size) +
                                    "14 00 01 00  64 00 00 00  10 00 00 00"
                                    "0e 00 0e 00  07 00 00 00  04 00 00 00  05 00 00 00");
        CIPCMsgBuffer view(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        CRpcDataHandleWrapper message(0x1234U);
        const AllocationMeter meter;
        EXPECT_THROW(view >> message, CIPCMsgBufferException) << size;
        EXPECT_LT(meter.Largest(), 4096U) << size;
        EXPECT_EQ(message.GetMsgId(), 0x1234U) << size;
    }
}

TEST(HostileImage, length_of_4_gib_makes_the_message_empty_without_a_large_allocation) {
    for (const std::uint32_t length :
         {0xffffffffU, 0xfffffff4U, 0xfffffff3U, 0x80000000U, 0x7fffffffU, 17U, 5U}) {
        Bytes image = Words({1, 100, 16, 5, 7, length, 9});
        CRpcDataHandleWrapper message;
        const AllocationMeter meter;
        Load(message, image);
        EXPECT_EQ(message.GetMsgId(), 0U) << length;
        EXPECT_EQ(message.GetSize(), 12U) << length;
        EXPECT_LT(meter.Largest(), 4096U) << length;
    }
}

TEST(HostileImage, hundred_thousand_records_of_different_ids_cost_memory_by_the_record) {
    constexpr std::uint32_t kRecords = 100000;
    Bytes image = Words({1, 100, 0});
    for (std::uint32_t i = 0; i < kRecords; ++i) {
        test_support::Append(image, Words({i * 7919, 7, 0}));
    }
    CRpcDataHandleWrapper message;
    const AllocationMeter meter;
    Load(message, image);
    EXPECT_LT(meter.Bytes(), kRecords * 256ULL);
    std::uint32_t value = 0;
    EXPECT_EQ(message.Get((kRecords - 1) * 7919, &value), 0xe0ff0007U);
}

TEST(IpcOutOfMemory, utf8_text_reports_it_and_leaves_message_and_output) {
    CRpcDataHandleWrapper message(1U);
    Load(message, LargeImage());
    const std::string plain(3000, 'x');
    const std::string other = plain + "\xc3\xb6";
    for (const std::string& text : {plain, other}) {
        const FailAllocations failure(0);
        EXPECT_EQ(message.SetUtf8(5, text), kOutOfMemory);
    }
    EXPECT_TRUE(ToHex(message.GetData(), message.GetSize()) == ToHex(LargeImage()));

    for (const std::string& text : {plain, other}) {
        CRpcDataHandleWrapper source(1U);
        ASSERT_EQ(source.SetUtf8(5, text), kSuccess);
        for (std::size_t granted = 0;; ++granted) {
            std::string out;
            std::uint32_t code = 0;
            bool refused = false;
            {
                const FailAllocations failure(granted);
                code = source.GetUtf8(5, out);
                refused = failure.Happened();
            }
            EXPECT_EQ(code, refused ? kOutOfMemory : kSuccess) << granted;
            EXPECT_EQ(out, refused ? std::string() : text) << granted;
            if (!refused) {
                EXPECT_GT(granted, 0U);
                break;
            }
        }
    }
}

TEST(ScopedMessage, typical_message_allocates_nothing) {
    const std::string text(1500, 'x');
    CRpcDataHandleWrapper parent(1U);
    {
        CRpcDataHandleWrapper child(2U);
        child.Set(3, text);
        parent.Set(child);
    }
    const AllocationMeter meter;
    CRpcScopedMessage message(5);
    message.Set(1, text.data(), static_cast<std::uint32_t>(text.size()));
    CRpcScopedMessage loaded;
    loaded.Load(parent.GetData(), parent.GetSize());
    loaded.LoadChild(parent, 2);
    EXPECT_EQ(meter.Count(), 0U);
}

TEST(ScopedMessage, child_without_memory_is_a_failure) {
    CRpcDataHandleWrapper parent(1U);
    CRpcDataHandleWrapper child(2U);
    child.Set(3, std::string(5000, 'x'));
    parent.Set(child);
    CRpcScopedMessage loaded;
    {
        const FailAllocations failure(0);
        EXPECT_EQ(loaded.LoadChild(parent, 2), kFailure);
        EXPECT_TRUE(failure.Happened());
    }
    EXPECT_EQ(loaded.GetSize(), 12U);
}

TEST(RpcDataHandle, message_of_up_to_a_kilobyte_costs_one_allocation) {
    const std::string text(800, 'x');
    const AllocationMeter meter;
    CRpcDataHandleWrapper message(1U);
    message.Set(2, text.data(), static_cast<std::uint32_t>(text.size()));
    EXPECT_EQ(meter.Count(), 1U);
}

TEST(IpcMsgBuffer, typical_request_in_a_room_allocates_nothing) {
    std::uint8_t room[2048];
    const Bytes bytes(900, 1);
    const AllocationMeter meter;
    CIPCMsgBuffer buffer(room);
    buffer << 1U << 2U;
    buffer.WriteBytes(bytes.data(), 900);
    EXPECT_EQ(meter.Count(), 0U);
}

}  // namespace
