// Texts and documents that are made to exhaust the stack or the time.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <thread>

#include "lib/wycommon/WyCommon_JsonDocument.h"
#include "lib/wycommon/WyCommon_JsonText.h"

namespace {

constexpr std::uint32_t kOk = JsonDocument::kOk;
constexpr std::uint32_t kBadArgument = JsonDocument::kBadArgument;
constexpr std::uint32_t kMaxLevels = JsonDocument::kMaxLevels;

std::wstring Repeat(std::wstring_view text, std::size_t count) {
    std::wstring result;
    result.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

// A core inside this many containers.
std::wstring Nested(std::wstring_view open, std::wstring_view close, std::size_t levels,
                    std::wstring_view core) {
    std::wstring result = Repeat(open, levels);
    result += core;
    result += Repeat(close, levels);
    return result;
}

std::wstring Arrays(std::size_t levels, std::wstring_view core = {}) {
    return Nested(L"[", L"]", levels, core);
}

std::wstring Objects(std::size_t levels, std::wstring_view core) {
    return Nested(L"{\"a\":", L"}", levels, core);
}

JsonDocument Parsed(const std::wstring& text) {
    JsonDocument document;
    EXPECT_EQ(document.Parse(text), kOk);
    return document;
}

TEST(JsonLimits, deepest_text_is_taken_and_one_level_more_refused) {
    const struct {
        const char* what;
        std::wstring text;
        std::uint32_t status;
    } rows[] = {
        {"arrays", Arrays(kMaxLevels), kOk},
        {"arrays, one more", Arrays(kMaxLevels + 1), kBadArgument},
        {"number at the last level", Arrays(kMaxLevels - 1, L"1"), kOk},
        {"number below it", Arrays(kMaxLevels, L"1"), kBadArgument},
        {"string below it", Arrays(kMaxLevels, L"\"\""), kBadArgument},
        {"word below it", Arrays(kMaxLevels, L"true"), kBadArgument},
        {"comment below it", Arrays(kMaxLevels, L"/**/"), kBadArgument},
        {"blanks below it", Arrays(kMaxLevels, L" \t\r\n"), kOk},
        {"comment at the last level", Arrays(kMaxLevels - 1, L"/*[*/1//[\n"), kOk},
        {"end at the last level", Repeat(L"[", kMaxLevels), kBadArgument},
        {"separator below it", Repeat(L"[", kMaxLevels) + L",", kBadArgument},
        {"wrong end at the last level", Repeat(L"[", kMaxLevels) + L"}", kBadArgument},
        {"wrong end of an object there", Objects(kMaxLevels - 1, L"{]"), kBadArgument},
        {"objects", Objects(kMaxLevels - 1, L"{}"), kOk},
        {"objects, one more", Objects(kMaxLevels, L"{}"), kBadArgument},
        {"brackets in a string", L"\"" + Repeat(L"[", 5000) + L"\"", kOk},
        {"brackets in a comment", L"/*" + Repeat(L"[", 5000) + L"*/1", kOk},
        {"brackets behind the root", L"1 " + Repeat(L"[", 5000), kOk},
        {"many siblings", L"[" + Repeat(L"[],", 5000) + L"[]]", kOk},
    };
    for (const auto& row : rows) {
        JsonDocument document;
        EXPECT_EQ(document.Parse(row.text), row.status) << row.what;
        EXPECT_EQ(document.isNull(), row.status != kOk) << row.what;
    }
}

TEST(JsonLimits, no_ending_near_the_last_level_passes_for_a_lack_of_memory) {
    // That is how a text that only the reader itself finds too deep would show.
    const std::wstring alphabet = L"[]{}\",:/*\\ \n0a";
    std::mt19937 random(1);
    for (int i = 0; i < 300; ++i) {
        std::wstring text = Repeat(i % 2 == 0 ? L"[" : L"{\"a\":", kMaxLevels - 4);
        for (int n = 0; n < 12; ++n) {
            text += alphabet[random() % alphabet.size()];
        }
        const std::uint32_t status = JsonDocument().Parse(text);
        ASSERT_TRUE(status == kOk || status == kBadArgument) << text.substr(text.size() - 12);
    }
}

TEST(JsonLimits, text_of_100000_levels_is_refused) {
    EXPECT_EQ(JsonDocument().Parse(Repeat(L"[", 100000)), kBadArgument);
    EXPECT_EQ(JsonDocument().Parse(Repeat(L"{\"a\":", 100000)), kBadArgument);
    EXPECT_EQ(JsonDocument().Parse(Repeat(L"[{\"a\":", 50000)), kBadArgument);
    EXPECT_EQ(JsonDocument().Parse(Arrays(100000)), kBadArgument);
}

TEST(JsonLimits, deepest_document_is_written_copied_and_dropped) {
    for (const std::wstring& text : {Arrays(kMaxLevels), Objects(kMaxLevels - 1, L"1")}) {
        JsonDocument document = Parsed(text);
        EXPECT_EQ(document.ToCompactString(), text + L"\n");
        JsonDocument styled = Parsed(document.ToStyledString());
        EXPECT_EQ(styled.ToCompactString(), text + L"\n");
        JsonDocument copy;
        copy.SetDocument(document);
        EXPECT_EQ(copy.Status(), kOk);
    }
}

TEST(JsonLimits, documents_nested_into_each_other_stop_at_the_last_level) {
    JsonDocument half = Parsed(Arrays(kMaxLevels / 2));
    JsonDocument document = Parsed(Arrays(kMaxLevels / 2 - 1, L"[null]"));
    JsonDocument innermost = document;
    for (std::uint32_t level = 1; level <= kMaxLevels / 2; ++level) {
        innermost = innermost[0U];
    }
    innermost.SetDocument(half);
    EXPECT_EQ(innermost.Status(), kOk);
    EXPECT_EQ(document.ToCompactString(), Arrays(kMaxLevels) + L"\n");

    JsonDocument outer;
    outer[L"a"].SetDocument(document);
    EXPECT_TRUE(outer[L"a"].isNull());
    JsonDocument member = outer[L"a"];
    member.SetDocument(document);
    EXPECT_EQ(member.Status(), kBadArgument);
    EXPECT_TRUE(member.isNull());
}

TEST(JsonLimits, doubling_a_document_into_itself_ends) {
    JsonDocument document = Parsed(L"{\"a\":null}");
    int rounds = 0;
    for (JsonDocument inner = document; rounds < 100; ++rounds) {
        while (!inner[L"a"].isNull()) {
            inner = inner[L"a"];
        }
        JsonDocument end = inner[L"a"];
        end.SetDocument(document);
        if (end.Status() != kOk) {
            break;
        }
        inner = document;
    }
    EXPECT_EQ(rounds, 9);  // 1, 3, 7 ... levels: 511 doubles to 1023, which is too many
    EXPECT_FALSE(document.ToCompactString().empty());
}

TEST(JsonLimits, parsing_into_a_member_counts_from_its_level) {
    JsonDocument document;
    JsonDocument member = document[L"a"];
    EXPECT_EQ(member.Parse(Arrays(kMaxLevels)), kBadArgument);
    EXPECT_TRUE(member.isNull());
    EXPECT_EQ(member.Parse(Arrays(kMaxLevels - 1)), kOk);
}

TEST(JsonLimits, member_access_ends_at_the_last_level) {
    JsonDocument document;
    JsonDocument inner = document;
    for (std::uint32_t level = 2; level <= kMaxLevels; ++level) {
        inner = inner[L"a"];
        ASSERT_EQ(inner.Status(), kOk) << level;
    }
    EXPECT_EQ(inner[L"a"].Status(), kBadArgument);
    EXPECT_EQ(inner[0U].Status(), kBadArgument);
    EXPECT_TRUE(inner.isNull());
    inner.SetUInt32(1);
    EXPECT_EQ(document.ToCompactString(), Objects(kMaxLevels - 1, L"1") + L"\n");
}

TEST(JsonLimits, numbers_longer_than_any_value_needs_are_refused) {
    const std::size_t most = JsonText::kMaxNumberSize;
    const struct {
        const char* what;
        std::wstring text;
        std::uint32_t status;
    } rows[] = {
        {"longest", L"0." + std::wstring(most - 2, L'7'), kOk},
        {"one more", L"0." + std::wstring(most - 1, L'7'), kBadArgument},
        {"inside an array", L"[1,0." + std::wstring(most, L'7') + L"]", kBadArgument},
        {"as a member", L"{\"a\":-0." + std::wstring(most, L'7') + L"}", kBadArgument},
        {"exponent", L"1e" + std::wstring(most, L'0'), kBadArgument},
        {"a million digits", L"0." + std::wstring(1000000, L'7'), kBadArgument},
        {"digits in a string", L"\"" + std::wstring(5000, L'7') + L"\"", kOk},
        {"digits in a key", L"{\"" + std::wstring(5000, L'7') + L"\":1}", kOk},
        {"digits behind an escaped quote", L"\"\\\"" + std::wstring(5000, L'7') + L"\"", kOk},
        {"digits in a block comment", L"/*" + std::wstring(5000, L'7') + L"*/1", kOk},
        {"digits in a line comment", L"//" + std::wstring(5000, L'7') + L"\n1", kOk},
        {"digits behind a comment that ended", L"/**/0." + std::wstring(5000, L'7'), kBadArgument},
        {"digits behind a string that ended", L"[\"\\\\\",0." + std::wstring(5000, L'7') + L"]",
         kBadArgument},
        {"digits behind a line comment", L"//\r0." + std::wstring(5000, L'7'), kBadArgument},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(JsonDocument().Parse(row.text), row.status) << row.what;
    }
}

TEST(JsonLimits, million_comments_take_no_long_time) {
    JsonDocument document;
    EXPECT_EQ(document.Parse(L"[1 " + Repeat(L"/**/", 1000000) + L"]"), kOk);
    EXPECT_EQ(document.ToStyledString(), L"[ 1 ]\n");
}

TEST(JsonLimits, sixteen_megabytes_come_and_go) {
    const std::wstring text = L"{\"s\":\"" + std::wstring(std::size_t{16} << 20, L'x') + L"\"}";
    JsonDocument document = Parsed(text);
    EXPECT_EQ(document[L"s"].AsString().size(), std::size_t{16} << 20);
    EXPECT_EQ(document.ToCompactString(), text + L"\n");
}

TEST(JsonLimits, threads_may_use_documents_of_their_own) {
    std::thread threads[4];
    for (std::thread& thread : threads) {
        thread = std::thread([] {
            for (int i = 0; i < 200; ++i) {
                JsonDocument document;
                document[L"n"].SetInt32(i);
                document[L"s"].SetString(L"text");
                const JsonDocument again = Parsed(document.ToCompactString());
                EXPECT_EQ(again.ToCompactString(), document.ToCompactString());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(JsonLimits, views_may_be_dropped_on_any_thread) {
    JsonDocument document = Parsed(L"{\"a\":{\"b\":1}}");
    std::thread threads[4];
    for (std::thread& thread : threads) {
        thread = std::thread([view = document[L"a"]]() mutable { view = JsonDocument(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(document.ToCompactString(), L"{\"a\":{\"b\":1}}\n");
}

}  // namespace
