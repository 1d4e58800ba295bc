#include <gtest/gtest.h>

#include <algorithm>

#include "wyctl/JsonText.h"
#include "wyctl/ResultView.h"
#include "wyctl/TextTable.h"

namespace {

using WyCtl::CutToWidth;
using WyCtl::DisplayWidth;
using WyCtl::HumanSize;
using WyCtl::ParseJson;
using WyCtl::Printable;
using WyCtl::TextTable;
using WyCtl::ViewResult;

std::string View(const std::string& json) {
    const auto value = ParseJson(json);
    return value ? ViewResult(*value) : "no JSON";
}

TEST(Text, width_counts_characters_not_bytes) {
    EXPECT_EQ(DisplayWidth(""), 0U);
    EXPECT_EQ(DisplayWidth("a\xc3\xa4\xe2\x82\xac"), 3U);
}

TEST(Text, cut_keeps_characters_whole) {
    EXPECT_EQ(CutToWidth("abcdef", 6), "abcdef");
    EXPECT_EQ(CutToWidth("abcdefg", 6), "abc...");
    EXPECT_EQ(CutToWidth("\xc3\xa4\xc3\xb6\xc3\xbc\xc3\xa4\xc3\xb6", 4), "\xc3\xa4...");
    EXPECT_EQ(CutToWidth("abcdef", 2), "..");
}

TEST(Text, control_characters_become_visible) {
    EXPECT_EQ(Printable("a\x1b[2J\n"), "a\\x1b[2J\\x0a");
    EXPECT_EQ(Printable("\x7f"), "\\x7f");
    // The eight-bit form of an escape sequence, in UTF-8.
    EXPECT_EQ(Printable("\xc2\x9b!"), "\\x9b!");
    EXPECT_EQ(Printable("\xc3\xa4"), "\xc3\xa4");
}

TEST(TextTable, columns_are_aligned_and_numbers_stand_right) {
    TextTable table({"name", "size"});
    table.AddRow({"\xc3\xa4", "5"});
    table.AddRow({"long", "1234.5 MiB"});
    EXPECT_EQ(table.Render(1),
              " name        size\n"
              " ----  ----------\n"
              " \xc3\xa4              5\n"
              " long  1234.5 MiB\n");
}

TEST(TextTable, missing_cells_are_empty_and_surplus_ones_dropped) {
    TextTable table({"a", "b"});
    table.AddRow({"x"});
    table.AddRow({"y", "z", "too much"});
    EXPECT_EQ(table.Render(), "a  b\n-  -\nx\ny  z\n");
}

TEST(HumanSize, units_change_at_1024) {
    EXPECT_EQ(HumanSize(0), "0 B");
    EXPECT_EQ(HumanSize(1023), "1023 B");
    EXPECT_EQ(HumanSize(1024), "1.0 KiB");
    EXPECT_EQ(HumanSize(1536), "1.5 KiB");
    EXPECT_EQ(HumanSize((1U << 20) - 1), "1.0 MiB");
    EXPECT_EQ(HumanSize(20ULL << 30), "20.0 GiB");
    EXPECT_EQ(HumanSize(UINT64_MAX), "16.0 EiB");
}

TEST(ParseJson, any_root_and_nothing_for_bad_text) {
    EXPECT_EQ(ParseJson("5")->asInt(), 5);
    EXPECT_TRUE(ParseJson("null")->isNull());
    EXPECT_EQ(ParseJson("\"\xc3\xa4\"")->asString(), "\xc3\xa4");
    for (const char* text : {"", "{", "[1,]x", "nonsense", "{} {}"}) {
        EXPECT_FALSE(ParseJson(text)) << text;
    }
}

TEST(ParseJson, nesting_has_a_limit) {
    EXPECT_TRUE(ParseJson(std::string(900, '[') + std::string(900, ']')));
    EXPECT_FALSE(ParseJson(std::string(100000, '[') + std::string(100000, ']')));
    EXPECT_FALSE(ParseJson(std::string(100000, '[')));
}

TEST(ViewResult, scalars_stand_before_containers) {
    EXPECT_EQ(View(R"({"z":1,"a":{"b":true,"c":2},"none":[],"text":"x\ty","nothing":null})"),
              "nothing  -\n"
              "text     x\\x09y\n"
              "z        1\n"
              "a: b yes, c 2\n"
              "none: none\n");
    EXPECT_EQ(View(R"({"a":{"b":1,"c":{"d":2},"e":["f"]}})"),
              "a:\n"
              "  b  1\n"
              "  c: d 2\n"
              "  e (1):\n"
              "    f\n");
}

TEST(ViewResult, array_of_objects_becomes_a_table) {
    EXPECT_EQ(View(R"({"files":[{"path":"C:\\a","size":2048},{"path":"C:\\bb"}]})"),
              "files (2):\n"
              "     size  path\n"
              "  -------  -----\n"
              "  2.0 KiB  C:\\a\n"
              "           C:\\bb\n");
}

TEST(ViewResult, numbers_come_first_and_wide_texts_last) {
    EXPECT_EQ(View(R"([{"a":"long text","b":"x","n":1},{"a":"y","b":"z","n":2}])"),
              "n  b  a\n"
              "-  -  ---------\n"
              "1  x  long text\n"
              "2  z  y\n");
}

TEST(ViewResult, what_all_rows_share_is_told_once) {
    EXPECT_EQ(View(R"([{"k":"v","n":1,"o":{"p":1}},{"k":"v","n":2,"o":{"p":1}}])"),
              "each: k v, o p=1\n"
              "n\n-\n1\n2\n");
    EXPECT_EQ(View(R"([{"k":1},{"k":1}])"), "each: k 1\n");
    // A member that one row lacks is not shared.
    EXPECT_EQ(View(R"([{"k":1,"n":5},{"n":6}])"), "k  n\n-  -\n1  5\n   6\n");
}

TEST(ViewResult, single_object_and_objects_with_lists_begin_with_their_scalars) {
    EXPECT_EQ(View(R"({"found":[{"name":"a","size":1024}]})"),
              "found (1):\n"
              "  [1] name a, size 1.0 KiB\n");
    EXPECT_EQ(View(R"([{"size":1,"paths":["a","b"]},{"size":2,"paths":["c"]}])"),
              "[1] size 1 B\n"
              "  paths (2):\n"
              "    a\n"
              "    b\n"
              "[2] size 2 B\n"
              "  paths (1):\n"
              "    c\n");
}

TEST(ViewResult, inner_object_is_shortened_in_a_table) {
    const std::string text =
        View(R"([{"n":1,"o":{"p":")" + std::string(100, 'x') + R"("}},{"n":2,"o":{"p":"y"}}])");
    EXPECT_NE(text.find("p=" + std::string(55, 'x') + "...\n"), std::string::npos) << text;
}

TEST(ViewResult, times_are_dates) {
    EXPECT_EQ(View(R"({"modified":1705485600,"started":-1})"),
              "modified  2024-01-17 10:00\n"
              "started   -1\n");
}

TEST(ViewResult, long_lists_are_cut_and_say_so) {
    std::string items = "[";
    for (int i = 0; i < 25; ++i) {
        items += i == 0 ? "{\"n\":0}" : ",{\"n\":1}";
    }
    const std::string text = View(items + "]");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2 + 20 + 1);
    EXPECT_NE(text.find("... and 5 more; --json shows all"), std::string::npos);
}

TEST(ViewResult, deep_nesting_is_survived) {
    const std::string text = View(std::string(900, '[') + "1" + std::string(900, ']'));
    EXPECT_NE(text.find("1\n"), std::string::npos);
}

TEST(OutputAsJson, keyless_text_is_a_document_and_keyed_text_is_text) {
    EXPECT_TRUE(WyCtl::OutputAsJson({"", true, 0, "{\"a\":1}\n"}).isObject());
    EXPECT_EQ(WyCtl::OutputAsJson({"", true, 0, "{bad"}).asString(), "{bad");
    EXPECT_EQ(WyCtl::OutputAsJson({"k", true, 0, "{}"}).asString(), "{}");
    EXPECT_TRUE(WyCtl::OutputAsJson({"k", true, 0, std::nullopt}).isNull());
    EXPECT_EQ(WyCtl::OutputAsJson({"k", false, UINT64_MAX, std::nullopt}).asUInt64(), UINT64_MAX);
}

}  // namespace
