#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace {

using namespace std::string_literals;

constexpr std::uint32_t kOk = JsonDocument::kOk;
constexpr std::uint32_t kBadArgument = JsonDocument::kBadArgument;

JsonDocument Parsed(const std::wstring& text) {
    JsonDocument document;
    EXPECT_EQ(document.Parse(text), kOk);
    return document;
}

TEST(JsonDocument, empty_document_is_null) {
    const JsonDocument document;
    EXPECT_EQ(document.Status(), kOk);
    EXPECT_TRUE(document.isNull());
    EXPECT_EQ(document.size(), 0U);
    EXPECT_EQ(document.ToCompactString(), L"null\n");
    EXPECT_EQ(document.ToStyledString(), L"null\n");
}

TEST(JsonDocument, array_document_is_an_empty_array) {
    const JsonDocument document = JsonDocument::MakeArray();
    EXPECT_FALSE(document.isNull());
    EXPECT_EQ(document.size(), 0U);
    EXPECT_EQ(document.ToCompactString(), L"[]\n");
}

TEST(JsonDocument, copy_shares_the_root) {
    JsonDocument document;
    JsonDocument copy(document);
    copy[L"a"].SetUInt32(1);
    EXPECT_EQ(document[L"a"].AsUInt32(), 1U);
    document[L"b"].SetUInt32(2);
    EXPECT_EQ(copy.ToCompactString(), L"{\"a\":1,\"b\":2}\n");
}

TEST(JsonDocument, assignment_shares_the_root_and_leaves_the_former_one) {
    JsonDocument first;
    const JsonDocument former(first);
    first[L"a"].SetUInt32(1);
    JsonDocument second;
    first = second;
    second[L"b"].SetUInt32(2);
    EXPECT_EQ(first.ToCompactString(), L"{\"b\":2}\n");
    EXPECT_EQ(former.ToCompactString(), L"{\"a\":1}\n");
}

TEST(JsonDocument, clear_starts_over_and_leaves_other_views) {
    JsonDocument document = Parsed(L"{\"a\":1}");
    const JsonDocument other(document);
    document.Clear();
    EXPECT_EQ(document.Status(), kOk);
    EXPECT_TRUE(document.isNull());
    EXPECT_EQ(other.ToCompactString(), L"{\"a\":1}\n");
}

TEST(JsonDocument, sub_document_keeps_the_root_alive) {
    JsonDocument inner;
    {
        JsonDocument document = Parsed(L"{\"a\":{\"b\":\"text\"}}");
        inner = document[L"a"];
    }
    EXPECT_EQ(inner[L"b"].AsString(), L"text");
}

TEST(JsonDocument, access_makes_missing_members_null) {
    JsonDocument document;
    const JsonDocument member = document[L"a"];
    EXPECT_EQ(document.Status(), kOk);
    EXPECT_EQ(member.Status(), kOk);
    EXPECT_TRUE(member.isNull());
    EXPECT_EQ(document.ToCompactString(), L"{\"a\":null}\n");
}

TEST(JsonDocument, keys_are_found_by_each_kind_of_text) {
    JsonDocument document;
    document[L"caf\x00e9"].SetUInt32(1);
    document["plain"].SetUInt32(2);
    EXPECT_EQ(document["caf\xc3\xa9"].AsUInt32(), 1U);
    EXPECT_EQ(document[L"caf\x00e9"s].AsUInt32(), 1U);
    EXPECT_EQ(document["plain"s].AsUInt32(), 2U);
    EXPECT_EQ(document[L"plain"].AsUInt32(), 2U);
    EXPECT_EQ(document.size(), 2U);
}

TEST(JsonDocument, array_access_fills_up_with_null) {
    JsonDocument document;
    document[2U].SetUInt32(7);
    EXPECT_EQ(document.ToCompactString(), L"[null,null,7]\n");
    EXPECT_EQ(document.size(), 3U);
    EXPECT_TRUE(document[0U].isNull());
}

TEST(JsonDocument, access_that_the_type_forbids_gives_a_detached_null) {
    const struct {
        const wchar_t* text;
        bool byIndex;
    } rows[] = {{L"1", false},   {L"\"s\"", false}, {L"true", false}, {L"[1]", false},
                {L"1.5", false}, {L"1", true},      {L"\"s\"", true}, {L"{\"a\":1}", true}};
    for (const auto& row : rows) {
        JsonDocument document = Parsed(row.text);
        const std::wstring before = document.ToCompactString();
        JsonDocument member = row.byIndex ? document[0U] : document[L"a"];
        EXPECT_EQ(document.Status(), kBadArgument) << row.text;
        EXPECT_EQ(member.Status(), kBadArgument) << row.text;
        EXPECT_TRUE(member.isNull()) << row.text;
        member.SetUInt32(5);
        EXPECT_EQ(document.ToCompactString(), before) << row.text;
    }
}

TEST(JsonDocument, null_keys_are_bad_arguments) {
    JsonDocument document;
    JsonDocument wide = document[static_cast<const wchar_t*>(nullptr)];
    EXPECT_EQ(document.Status(), kBadArgument);
    EXPECT_EQ(wide.Status(), kBadArgument);
    JsonDocument narrow = document[static_cast<const char*>(nullptr)];
    EXPECT_EQ(narrow.Status(), kBadArgument);
    EXPECT_FALSE(document.isMember(static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ(document.Status(), kBadArgument);
    EXPECT_FALSE(document.isMember(static_cast<const char*>(nullptr)));
    EXPECT_EQ(document.Status(), kBadArgument);
    EXPECT_TRUE(document.isNull());
}

TEST(JsonDocument, index_without_room_for_a_size_is_a_bad_argument) {
    JsonDocument document = JsonDocument::MakeArray();
    EXPECT_EQ(document[0x7fffffffU].Status(), kBadArgument);
    EXPECT_EQ(document[0xffffffffU].Status(), kBadArgument);
    EXPECT_EQ(document.Status(), kBadArgument);
    EXPECT_EQ(document.size(), 0U);
}

TEST(JsonDocument, is_member_tells_presence_and_makes_nothing) {
    const JsonDocument document = Parsed(L"{\"a\":null,\"caf\\u00e9\":1}");
    EXPECT_TRUE(document.isMember(L"a"));
    EXPECT_TRUE(document.isMember("a"));
    EXPECT_TRUE(document.isMember(L"caf\x00e9"));
    EXPECT_FALSE(document.isMember(L"b"));
    EXPECT_FALSE(document.isMember("A"));
    EXPECT_EQ(document.size(), 2U);
    for (const wchar_t* other : {L"[1]", L"1", L"\"a\"", L"null"}) {
        EXPECT_FALSE(Parsed(other).isMember(L"a")) << other;
    }
}

TEST(JsonDocument, numbers_keep_their_full_range) {
    JsonDocument document;
    document[L"a"].SetUInt32(std::numeric_limits<std::uint32_t>::max());
    document[L"b"].SetInt32(std::numeric_limits<std::int32_t>::min());
    document[L"c"].SetUInt64(std::numeric_limits<std::uint64_t>::max());
    document[L"d"].SetInt64(std::numeric_limits<std::int64_t>::min());
    const std::wstring text = document.ToCompactString();
    EXPECT_EQ(text,
              L"{\"a\":4294967295,\"b\":-2147483648,\"c\":18446744073709551615,"
              L"\"d\":-9223372036854775808}\n");
    JsonDocument again = Parsed(text);
    EXPECT_EQ(again[L"a"].AsUInt32(), 4294967295U);
    EXPECT_EQ(again[L"b"].AsInt32(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(again[L"c"].AsUInt64(), 18446744073709551615ULL);
    EXPECT_EQ(again[L"d"].AsString(), L"-9223372036854775808");
}

TEST(JsonDocument, readings_by_type_of_the_value) {
    const struct {
        const wchar_t* text;
        std::uint32_t asUInt32;
        std::int32_t asInt32;
        std::uint64_t asUInt64;
        const wchar_t* asString;
    } rows[] = {
        {L"null", 0, 0, 0, L""},
        {L"true", 1, 1, 1, L"true"},
        {L"false", 0, 0, 0, L"false"},
        {L"7", 7, 7, 7, L"7"},
        {L"-7", 0, -7, 0, L"-7"},
        {L"2147483648", 2147483648U, 0, 2147483648U, L"2147483648"},
        {L"4294967296", 0, 0, 4294967296U, L"4294967296"},
        {L"18446744073709551615", 0, 0, 18446744073709551615ULL, L"18446744073709551615"},
        {L"18446744073709551616", 0, 0, 0, L"1.8446744073709552e+19"},
        {L"-9223372036854775809", 0, 0, 0, L"-9.2233720368547758e+18"},
        {L"3.75", 3, 3, 3, L"3.75"},
        {L"-0.5", 0, 0, 0, L"-0.5"},
        {L"-3.75", 0, -3, 0, L"-3.75"},
        {L"4294967295.5", 0, 0, 4294967295U, L"4294967295.5"},
        {L"1e300", 0, 0, 0, L"1.0000000000000001e+300"},
        {L"\"12\"", 0, 0, 0, L"12"},
        {L"\"\"", 0, 0, 0, L""},
        {L"[1]", 0, 0, 0, L""},
        {L"{\"a\":1}", 0, 0, 0, L""},
    };
    for (const auto& row : rows) {
        const JsonDocument document = Parsed(row.text);
        EXPECT_EQ(document.AsUInt32(), row.asUInt32) << row.text;
        EXPECT_EQ(document.AsInt32(), row.asInt32) << row.text;
        EXPECT_EQ(document.AsUInt64(), row.asUInt64) << row.text;
        EXPECT_EQ(document.AsString(), row.asString) << row.text;
        EXPECT_EQ(document.Status(), kOk) << row.text;
    }
}

TEST(JsonDocument, strings_round_trip_whatever_they_hold) {
    const std::wstring rows[] = {L"",         L"plain", L"caf\x00e9 \x20ac", L"\U0001f600",
                                 L"a\0b"s,    L"\0"s,   L"\"\\/\b\f\n\r\t",  L"\x01\x1f\x7f",
                                 L"</script>"};
    for (const std::wstring& row : rows) {
        JsonDocument document;
        document[L"s"].SetString(row);
        EXPECT_EQ(document[L"s"].AsString(), row);
        EXPECT_EQ(Parsed(document.ToCompactString())[L"s"].AsString(), row);
        EXPECT_EQ(Parsed(document.ToStyledString())[L"s"].AsString(), row);
    }
}

TEST(JsonDocument, string_pointer_ends_at_its_nul_and_null_is_a_bad_argument) {
    JsonDocument document;
    document.SetString(L"a\0b");
    EXPECT_EQ(document.AsString(), L"a");
    document.SetString(static_cast<const wchar_t*>(nullptr));
    EXPECT_EQ(document.Status(), kBadArgument);
    EXPECT_EQ(document.AsString(), L"a");
}

TEST(JsonDocument, setting_replaces_any_value) {
    JsonDocument document = Parsed(L"{\"a\":[1,2]}");
    document[L"a"].SetString(L"s");
    EXPECT_EQ(document.ToCompactString(), L"{\"a\":\"s\"}\n");
    document.SetUInt32(3);
    EXPECT_EQ(document.ToCompactString(), L"3\n");
}

TEST(JsonDocument, set_document_copies_deeply) {
    JsonDocument source = Parsed(L"{\"x\":[1,{\"y\":2}]}");
    JsonDocument target;
    target[L"t"].SetDocument(source);
    source[L"x"].SetUInt32(9);
    EXPECT_EQ(target.ToCompactString(), L"{\"t\":{\"x\":[1,{\"y\":2}]}}\n");
}

TEST(JsonDocument, set_document_takes_its_own_ancestor_and_descendant) {
    JsonDocument document = Parsed(L"{\"a\":{\"b\":1}}");
    document[L"a"].SetDocument(document);
    EXPECT_EQ(document.ToCompactString(), L"{\"a\":{\"a\":{\"b\":1}}}\n");
    const JsonDocument inner = document[L"a"][L"a"];
    document.SetDocument(inner);
    EXPECT_EQ(document.ToCompactString(), L"{\"b\":1}\n");
    document.SetDocument(document);
    EXPECT_EQ(document.ToCompactString(), L"{\"b\":1}\n");
}

TEST(JsonDocument, compact_text_has_members_in_key_order_and_escapes_all_but_ascii) {
    JsonDocument document;
    document[L"b"].SetUInt32(1);
    document[L"a\x00e9"].SetString(L"\x20ac\U0001f600/");
    document[L"B"].SetDocument(JsonDocument::MakeArray());
    EXPECT_EQ(document.ToCompactString(),
              L"{\"B\":[],\"a\\u00e9\":\"\\u20ac\\ud83d\\ude00/\",\"b\":1}\n");
}

TEST(JsonDocument, styled_text_indents_by_three_and_breaks_at_74) {
    JsonDocument document = Parsed(L"{\"a\":[1,2],\"b\":{\"c\":\"d\"}}");
    EXPECT_EQ(document.ToStyledString(),
              L"{\n   \"a\" : [ 1, 2 ],\n   \"b\" : {\n      \"c\" : \"d\"\n   }\n}\n");
    // "[ " + text in quotes + " ]" of 74 characters is too long for one line, of 73 is not.
    JsonDocument array = JsonDocument::MakeArray();
    array[0U].SetString(std::wstring(67, L'x'));
    EXPECT_EQ(array.ToStyledString(), L"[ \"" + std::wstring(67, L'x') + L"\" ]\n");
    array[0U].SetString(std::wstring(68, L'x'));
    EXPECT_EQ(array.ToStyledString(), L"[\n   \"" + std::wstring(68, L'x') + L"\"\n]\n");
}

TEST(JsonParse, texts_that_are_taken) {
    const struct {
        const wchar_t* what;
        std::wstring text;
        const wchar_t* compact;
    } rows[] = {
        {L"scalar root", L"5", L"5\n"},
        {L"string root", L"\"x\"", L"\"x\"\n"},
        {L"blanks", L" \t\r\n[ 1 , 2 ]\n", L"[1,2]\n"},
        {L"comments", L"/* a */ {// b\n\"k\":/**/1 /* c */}// d", L"{\"k\":1}\n"},
        {L"text behind the root", L"{} garbage", L"{}\n"},
        {L"NUL behind the root", L"{}\0{"s, L"{}\n"},
        {L"double key, the last one counts", L"{\"a\":1,\"a\":2}", L"{\"a\":2}\n"},
        {L"empty key", L"{\"\":1}", L"{\"\":1}\n"},
        {L"NUL inside a string", L"\"a\0b\""s, L"\"a\\u0000b\"\n"},
        {L"escaped NUL", L"\"a\\u0000b\"", L"\"a\\u0000b\"\n"},
        {L"surrogate pair", L"\"\\ud83d\\ude00\"", L"\"\\ud83d\\ude00\"\n"},
        {L"unpaired low surrogate", L"\"\\ude00\"", L"\"\\ufffd\"\n"},
        {L"sign without digits", L"-", L"0\n"},
        {L"exponents", L"[1e2,1E-2,-0.5]", L"[100.0,0.01,-0.5]\n"},
    };
    for (const auto& row : rows) {
        JsonDocument document;
        EXPECT_EQ(document.Parse(row.text), kOk) << row.what;
        EXPECT_EQ(document.Status(), kOk) << row.what;
        EXPECT_EQ(document.ToCompactString(), row.compact) << row.what;
    }
}

TEST(JsonParse, bad_texts_give_87_and_leave_the_value) {
    const std::wstring rows[] = {L"",
                                 L" ",
                                 L"{",
                                 L"[",
                                 L"}",
                                 L"]",
                                 L"{\"a\"",
                                 L"{\"a\":",
                                 L"{\"a\":1",
                                 L"{\"a\":1,",
                                 L"{a:1}",
                                 L"{1:1}",
                                 L"{'a':1}",
                                 L"[1",
                                 L"[1,",
                                 L"[1,]",
                                 L"[,]",
                                 L"[1 2]",
                                 L"nul",
                                 L"nan",
                                 L"Infinity",
                                 L"TRUE",
                                 L"\"",
                                 L"\"abc",
                                 L"\"abc\\",
                                 L"\"abc\\\"",
                                 L"\"\\x\"",
                                 L"\"\\u12\"",
                                 L"\"\\u12G4\"",
                                 L"\"\\ud83d\"",
                                 L"\"\\ud83dxxxxxx\"",
                                 L"\"\\ud83d\\u\"",
                                 L"/",
                                 L"/*",
                                 L"//",
                                 L"/* ",

                                 L"1e",
                                 L"1.e",
                                 L"1e9999",
                                 L"\xfeff{}",
                                 L"\0{}"s,
                                 std::wstring{static_cast<wchar_t>(0xd800)}};
    for (const std::wstring& row : rows) {
        JsonDocument document;
        EXPECT_EQ(document.Parse(row), kBadArgument) << row;
        EXPECT_EQ(document.Status(), kBadArgument) << row;
        EXPECT_TRUE(document.isNull()) << row;
        JsonDocument filled = Parsed(L"{\"old\":1}");
        EXPECT_EQ(filled.Parse(row), kBadArgument) << row;
        EXPECT_EQ(filled.ToCompactString(), L"{\"old\":1}\n") << row;
    }
}

TEST(JsonParse, null_text_is_a_bad_argument) {
    JsonDocument document = Parsed(L"1");
    EXPECT_EQ(document.Parse(static_cast<const wchar_t*>(nullptr)), kBadArgument);
    EXPECT_EQ(document.AsUInt32(), 1U);
    EXPECT_EQ(document.Parse(L"2"), kOk);
    EXPECT_EQ(document.AsUInt32(), 2U);
}

TEST(JsonParse, goes_into_the_viewed_member_alone) {
    JsonDocument document = Parsed(L"{\"a\":1,\"b\":2}");
    document[L"a"].Parse(L"[true]");
    EXPECT_EQ(document.ToCompactString(), L"{\"a\":[true],\"b\":2}\n");
}

TEST(JsonParse, unpaired_surrogates_in_the_text_become_replacement_characters) {
    const std::wstring high(1, static_cast<wchar_t>(0xd83d));
    const std::wstring low(1, static_cast<wchar_t>(0xde00));
    JsonDocument document = Parsed(L"{\"k" + low + L"\":\"" + high + L"x\"}");
    EXPECT_EQ(document[L"k\xfffd"].AsString(), L"\xfffdx");
    JsonDocument set;
    set[L"k" + high].SetString(low);
    EXPECT_EQ(set.ToCompactString(), L"{\"k\\ufffd\":\"\\ufffd\"}\n");
}

TEST(JsonParse, low_surrogate_escape_reads_as_one_replacement_character) {
    EXPECT_EQ(Parsed(L"\"\\ude00\"").AsString(), L"\xfffd");
}

TEST(JsonParse, every_prefix_of_a_text_is_taken_or_refused_quietly) {
    const std::wstring text =
        L"{\"a\":[1,-2.5e3,true,null,\"\\ud83d\\ude00\\n\"],/* c */\"b\":{\"c\":\"\x20ac\"}}";
    for (std::size_t length = 0; length < text.size(); ++length) {
        JsonDocument document;
        EXPECT_EQ(document.Parse(text.substr(0, length)), kBadArgument) << length;
        EXPECT_TRUE(document.isNull()) << length;
    }
    EXPECT_EQ(JsonDocument().Parse(text), kOk);
}

TEST(JsonDocument, compact_utf8_is_the_compact_text) {
    JsonDocument document;
    ASSERT_EQ(document.Parse(L"{\"b\":\"Gr\u00f6\u00dfe\",\"a\":[1,null]}"), JsonDocument::kOk);
    EXPECT_EQ(document.ToCompactUtf8(), "{\"a\":[1,null],\"b\":\"Gr\\u00f6\\u00dfe\"}\n");
    EXPECT_EQ(document.Status(), JsonDocument::kOk);
    EXPECT_EQ(document[L"a"].ToCompactUtf8(), "[1,null]\n");
}

TEST(JsonParse, utf8_is_taken_and_refused_like_wide_text) {
    const struct {
        std::string utf8;
        std::wstring wide;
    } rows[] = {
        {"{\"a\":1}", L"{\"a\":1}"},
        {"/*c*/ 5 rest", L"/*c*/ 5 rest"},
        {"\"Gr\xc3\xb6\xc3\x9f"
         "e \xf0\x9f\x98\x80\"",
         L"\"Gr\u00f6\u00dfe \U0001f600\""},
        {std::string("\"a\0b\"", 5), std::wstring(L"\"a\0b\"", 5)},
        {"{\"a\":", L"{\"a\":"},
        {"", L""},
        {std::string(5000, '['), std::wstring(5000, L'[')},
        {std::string(5000, '9'), std::wstring(5000, L'9')},
    };
    for (const auto& row : rows) {
        JsonDocument narrow;
        JsonDocument wide;
        EXPECT_EQ(narrow.ParseUtf8(row.utf8), wide.Parse(row.wide)) << row.utf8;
        EXPECT_EQ(narrow.Status(), wide.Status()) << row.utf8;
        EXPECT_EQ(narrow.ToStyledString(), wide.ToStyledString()) << row.utf8;
    }
}

TEST(JsonParse, malformed_utf8_reads_as_replacement_characters) {
    JsonDocument document;
    ASSERT_EQ(document.ParseUtf8("[\"a\xff\"]"), JsonDocument::kOk);
    EXPECT_EQ(document[std::uint32_t{0}].AsString(), L"a\ufffd");
}

}  // namespace
