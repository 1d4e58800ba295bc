// Every allocation of a document's life fails once, and then all from there on.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "lib/wycommon/WyCommon_JsonDocument.h"
#include "support/AllocationFaults.h"

namespace {

using test_support::AllocationCount;
using test_support::FailAllocations;
using Mode = FailAllocations::Mode;

constexpr std::uint32_t kOk = JsonDocument::kOk;
constexpr std::uint32_t kOutOfMemory = JsonDocument::kOutOfMemory;

// Runs an operation again and again, each time with one more allocation that works, until it gets
// through without a failure. Each failed run must end in kOutOfMemory and leave the value; any
// exception that escapes ends the test.
void FailEachAllocation(const std::wstring& text,
                        const std::function<std::uint32_t(JsonDocument&)>& operation) {
    for (const Mode mode : {Mode::kOnce, Mode::kFromThenOn}) {
        for (std::size_t passed = 0;; ++passed) {
            ASSERT_LT(passed, 10000U);
            JsonDocument document;
            ASSERT_EQ(document.Parse(text), kOk);
            const std::wstring before = document.ToCompactString();
            std::uint32_t status = kOk;
            bool happened = false;
            {
                const FailAllocations fault(passed, mode);
                status = operation(document);
                happened = fault.Happened();
            }
            if (!happened) {
                EXPECT_EQ(status, kOk);
                EXPECT_GT(passed, 0U) << "the operation allocates nothing";
                break;
            }
            EXPECT_EQ(status, kOutOfMemory) << passed;
            EXPECT_EQ(document.ToCompactString(), before) << passed;
        }
    }
}

const std::wstring kText = L"{\"a\":[1,{\"b\":\"text longer than a small string\"}],\"c\":\"d\"}";

TEST(JsonMemory, parse_reports_and_leaves_the_value) {
    FailEachAllocation(L"{\"old\":1}",
                       [](JsonDocument& document) { return document.Parse(kText); });
}

TEST(JsonMemory, parse_of_utf8_reports_and_leaves_the_value) {
    const std::string text(kText.begin(), kText.end());
    FailEachAllocation(L"{\"old\":1}",
                       [&text](JsonDocument& document) { return document.ParseUtf8(text); });
}

TEST(JsonMemory, compact_utf8_reports_and_is_empty) {
    FailEachAllocation(kText, [](JsonDocument& document) {
        const std::string written = document.ToCompactUtf8();
        EXPECT_EQ(written.empty(), document.Status() != kOk);
        return document.Status();
    });
}

TEST(JsonMemory, compact_text_reports_and_is_empty) {
    FailEachAllocation(kText, [](JsonDocument& document) {
        const std::wstring written = document.ToCompactString();
        EXPECT_EQ(written.empty(), document.Status() != kOk);
        return document.Status();
    });
}

TEST(JsonMemory, styled_text_reports_and_is_empty) {
    FailEachAllocation(kText, [](JsonDocument& document) {
        const std::wstring written = document.ToStyledString();
        EXPECT_EQ(written.empty(), document.Status() != kOk);
        return document.Status();
    });
}

TEST(JsonMemory, set_string_reports_and_leaves_the_value) {
    FailEachAllocation(L"{\"old\":1}", [](JsonDocument& document) {
        document.SetString(L"text longer than a small string");
        return document.Status();
    });
}

TEST(JsonMemory, set_document_reports_and_leaves_the_value) {
    JsonDocument source;
    ASSERT_EQ(source.Parse(kText), kOk);
    FailEachAllocation(L"{\"old\":1}", [&source](JsonDocument& document) {
        document.SetDocument(source);
        return document.Status();
    });
}

TEST(JsonMemory, member_access_reports_and_makes_nothing) {
    FailEachAllocation(L"{\"old\":1}", [](JsonDocument& document) {
        const JsonDocument member = document[L"key longer than a small string"];
        EXPECT_EQ(member.Status(), document.Status());
        return document.Status();
    });
}

TEST(JsonMemory, array_access_reports_and_makes_nothing) {
    FailEachAllocation(L"[1]", [](JsonDocument& document) {
        const JsonDocument element = document[1U];
        EXPECT_EQ(element.Status(), document.Status());
        return document.Status();
    });
}

TEST(JsonMemory, readings_report_and_give_nothing) {
    FailEachAllocation(L"\"text longer than a small string\"", [](JsonDocument& document) {
        const std::wstring text = document.AsString();
        EXPECT_EQ(text.empty(), document.Status() != kOk);
        return document.Status();
    });
    FailEachAllocation(L"{\"key longer than a small string\":1}", [](JsonDocument& document) {
        const bool found = document.isMember(L"key longer than a small string");
        EXPECT_EQ(found, document.Status() == kOk);
        return document.Status();
    });
}

TEST(JsonMemory, document_made_without_memory_reads_as_null_and_recovers) {
    FailAllocations* fault = new FailAllocations(0);
    JsonDocument document;
    JsonDocument copy(document);
    JsonDocument assigned;
    assigned = document;
    EXPECT_EQ(document.Status(), kOutOfMemory);
    EXPECT_EQ(copy.Status(), kOutOfMemory);
    EXPECT_EQ(assigned.Status(), kOutOfMemory);
    EXPECT_TRUE(document.isNull());
    EXPECT_EQ(document.size(), 0U);
    EXPECT_EQ(document.AsUInt32(), 0U);
    document.SetUInt32(1);
    EXPECT_EQ(document.Status(), kOutOfMemory);
    delete fault;

    EXPECT_EQ(document.ToCompactString(), L"null\n");
    EXPECT_EQ(document.AsString(), L"");
    EXPECT_FALSE(document.isMember(L"a"));
    document[L"a"].SetUInt32(1);
    EXPECT_EQ(document.Status(), kOk);
    EXPECT_EQ(document.ToCompactString(), L"{\"a\":1}\n");
}

TEST(JsonMemory, clear_and_array_without_memory_report) {
    JsonDocument document;
    ASSERT_EQ(document.Parse(L"1"), kOk);
    FailAllocations* fault = new FailAllocations(0);
    document.Clear();
    const JsonDocument array = JsonDocument::MakeArray();
    delete fault;
    EXPECT_EQ(document.Status(), kOutOfMemory);
    EXPECT_TRUE(document.isNull());
    EXPECT_EQ(array.Status(), kOutOfMemory);
}

TEST(JsonMemory, numbers_and_readings_of_numbers_allocate_nothing) {
    JsonDocument document;
    const std::size_t before = AllocationCount();
    document.SetUInt32(1);
    document.SetInt32(-1);
    document.SetInt64(-1);
    document.SetUInt64(1);
    EXPECT_EQ(document.AsUInt32() + document.AsUInt64(), 2U);
    const JsonDocument copy(document);
    EXPECT_EQ(copy.AsInt32(), 1);
    EXPECT_EQ(AllocationCount(), before);
}

}  // namespace
