// Images of any bytes: nothing reads out of bounds, allocates by an unchecked length or recurses.
// The sanitizer builds judge what an assertion cannot see.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "support/HexBytes.h"
#include "support/MessageExerciser.h"

using test_support::Append;
using test_support::Bytes;
using test_support::ExerciseMessage;
using test_support::Words;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;

// A message with a record of each type, nested three levels deep.
Bytes SampleImage() {
    CRpcDataHandleWrapper inner(3U);
    inner.Set(30, std::uint32_t{300});
    CRpcDataHandleWrapper middle(2U);
    middle.Set(20, L"wide", 4);
    middle.Set(inner);
    CRpcDataHandleWrapper outer(1U);
    outer.Set(10, std::int32_t{-10});
    outer.Set(11, std::uint32_t{11});
    outer.Set(12, std::string("narrow text"));
    outer.Set(13, L"");
    outer.Set(middle);
    outer.Set(11, std::uint32_t{12});
    return Bytes(outer.GetData(), outer.GetData() + outer.GetSize());
}

void Load(CRpcDataHandleWrapper& message, const Bytes& bytes) {
    // A copy of exactly the image's size, so that a sanitizer sees the first byte behind it.
    const Bytes exact(bytes);
    message.Load(exact.data(), static_cast<std::uint32_t>(exact.size()));
}

// Where the records of an image begin. The image is one that parses.
std::vector<std::size_t> RecordEnds(const Bytes& image) {
    std::vector<std::size_t> ends = {12};
    CRpcMsgBuffer parsed;
    parsed.Load(image.data(), static_cast<std::uint32_t>(image.size()));
    for (const auto& [id, entries] : parsed.Message().Index()) {
        for (const ParamIndexEntry& entry : entries) {
            ends.push_back(entry.uiOffset + entry.uiLength);
        }
    }
    return ends;
}

TEST(HostileImage, truncation_at_every_byte_gives_the_leading_records_or_an_empty_message) {
    const Bytes whole = SampleImage();
    const std::vector<std::size_t> ends = RecordEnds(whole);
    for (std::size_t size = 1; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        CRpcDataHandleWrapper message(0x42U);
        Load(message, cut);
        const bool boundary = std::find(ends.begin(), ends.end(), size) != ends.end();
        EXPECT_EQ(message.GetMsgId(), boundary ? 1U : 0U) << size;
        EXPECT_EQ(message.GetSize(), boundary ? size : 12U) << size;
        EXPECT_EQ(ExerciseMessage(message), nullptr) << size;
    }
}

TEST(HostileImage, length_that_wraps_32_bits_is_not_taken_for_the_end) {
    // 40 + 0xffffffe4 is 12 in 32 bits: the position must not come round to a valid one.
    const Bytes image = Words({1, 100, 28, 5, 7, 4, 9, 6, 7, 0xffffffe4});
    CRpcDataHandleWrapper message;
    Load(message, image);
    EXPECT_EQ(message.GetMsgId(), 0U);
}

TEST(HostileImage, last_length_of_every_record_set_to_4_gib_empties_the_message) {
    const Bytes whole = SampleImage();
    CRpcMsgBuffer parsed;
    parsed.Load(whole.data(), static_cast<std::uint32_t>(whole.size()));
    for (const auto& [id, entries] : parsed.Message().Index()) {
        for (const ParamIndexEntry& entry : entries) {
            Bytes image = whole;
            std::fill_n(image.begin() + entry.uiOffset - 4, 4, std::uint8_t{0xff});
            CRpcDataHandleWrapper message;
            Load(message, image);
            EXPECT_EQ(message.GetMsgId(), 0U) << entry.uiOffset;
        }
    }
}

TEST(HostileImage, nested_length_of_4_gib_empties_the_child_alone) {
    const Bytes image = Words({1, 100, 28, 2, 100, 16, 5, 7, 0xffffffff, 9});
    CRpcDataHandleWrapper message;
    Load(message, image);
    EXPECT_EQ(message.GetMsgId(), 1U);
    CRpcDataHandleWrapper child;
    EXPECT_EQ(message.Get(2, &child), kSuccess);
    EXPECT_EQ(child.GetMsgId(), 0U);
    EXPECT_EQ(child.GetSize(), 12U);
}

TEST(HostileImage, root_length_beyond_the_image_does_not_reach_what_is_nested) {
    // The root header claims 4 GiB; nesting the message must copy what is there and no more.
    const Bytes image = Words({2, 100, 0xffffffff, 5, 7, 4, 9});
    CRpcDataHandleWrapper child;
    Load(child, image);
    ASSERT_EQ(child.GetMsgId(), 2U);
    CRpcDataHandleWrapper parent(1U);
    EXPECT_EQ(parent.Set(child), kSuccess);
    EXPECT_EQ(parent.GetSize(), 12U + 28U);
    CRpcDataHandleWrapper read;
    EXPECT_EQ(parent.Get(2, &read), kSuccess);
    std::uint32_t value = 0;
    EXPECT_EQ(read.Get(5, &value), kSuccess);
    EXPECT_EQ(value, 9U);
}

TEST(HostileImage, root_type_of_text_does_not_shorten_what_is_nested_out_of_bounds) {
    // The type of a root header is foreign too; as a text type it would drop a terminator.
    for (const std::uint32_t type : {0U, 1U, 2U, 6U, 7U, 0xffffffffU}) {
        for (std::uint32_t length = 0; length <= 3; ++length) {
            Bytes image = Words({2, type, length, 5, 7, 0});
            CRpcDataHandleWrapper child;
            Load(child, image);
            CRpcDataHandleWrapper parent(1U);
            EXPECT_EQ(parent.Set(child), kSuccess);
            EXPECT_EQ(ExerciseMessage(parent), nullptr);
        }
    }
}

TEST(HostileImage, hundred_thousand_records_of_one_id_all_have_an_index) {
    Bytes image = Words({1, 100, 0});
    for (std::uint32_t i = 0; i < 100000; ++i) {
        Append(image, Words({5, 7, 4, i}));
    }
    CRpcDataHandleWrapper message;
    Load(message, image);
    std::uint32_t value = 0;
    EXPECT_EQ(message.Get(5, 99999, &value), kSuccess);
    EXPECT_EQ(value, 99999U);
    EXPECT_EQ(message.Get(5, 100000, &value), 0xe0ff000eU);
}

TEST(HostileImage, nesting_of_100_000_levels_is_one_record_and_no_recursion) {
    constexpr std::uint32_t kLevels = 100000;
    Bytes image;
    for (std::uint32_t level = 0; level < kLevels; ++level) {
        Append(image, Words({level, 100, (kLevels - level - 1) * 12}));
    }
    CRpcDataHandleWrapper message;
    Load(message, image);
    ASSERT_EQ(message.GetSize(), image.size());
    for (std::uint32_t level = 1; level < 100; ++level) {
        ASSERT_EQ(message.Get(level, &message), kSuccess) << level;
        ASSERT_EQ(message.GetMsgId(), level);
    }
}

TEST(HostileImage, envelope_of_any_four_bytes_and_an_image_is_read_or_refused) {
    const Bytes image = SampleImage();
    for (std::uint32_t size = 0; size <= image.size() + 8; ++size) {
        Bytes envelope = Words({202, size});
        Append(envelope, image);
        CIPCMsgBuffer view(envelope.data(), static_cast<std::uint32_t>(envelope.size()));
        std::uint32_t marker = 0;
        CRpcDataHandleWrapper message;
        bool raised = false;
        try {
            view >> marker >> message;
        } catch (const CIPCMsgBufferException& error) {
            raised = true;
            EXPECT_EQ(error.GetCode(), CIPCMsgBufferException::kOutOfRange);
        }
        EXPECT_EQ(raised, size > image.size()) << size;
        EXPECT_EQ(ExerciseMessage(message), nullptr) << size;
    }
}

TEST(HostileImage, random_mutations_keep_the_invariants) {
    const Bytes whole = SampleImage();
    std::mt19937 random(20240917);
    const auto below = [&random](std::size_t limit) {
        return static_cast<std::size_t>(random()) % limit;
    };
    int parsed = 0;
    for (int round = 0; round < 20000; ++round) {
        Bytes image = whole;
        for (std::size_t change = below(6) + 1; change > 0; --change) {
            const std::size_t at = below(image.size());
            switch (below(4)) {
                case 0:
                    image[at] = static_cast<std::uint8_t>(random());
                    break;
                case 1:
                    image[at] = static_cast<std::uint8_t>(image[at] ^ (1U << below(8)));
                    break;
                case 2:
                    image.resize(std::max<std::size_t>(1, at));
                    break;
                default:
                    image.insert(image.begin() + static_cast<std::ptrdiff_t>(at),
                                 static_cast<std::uint8_t>(random()));
                    break;
            }
        }
        CRpcDataHandleWrapper message;
        Load(message, image);
        parsed += message.GetSize() > 12 ? 1 : 0;
        ASSERT_EQ(ExerciseMessage(message), nullptr) << "round " << round;
    }
    // Were all refused, the reads would never have been tried.
    EXPECT_GT(parsed, 1000);
}

}  // namespace
