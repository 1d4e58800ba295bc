// The tree of elements: accessors, paths, cursors, copies, and any depth.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_XmlElement.h"
#include "XmlTestSupport.h"

namespace {

using KrCommon::Storage::XmlElement;
using KrCommon::String::ToUtf8;
using xml_test::Outcome;
using xml_test::OutcomeOf;
using xml_test::Print;

// r(a(b'1' b'2' c(d)) e'x' a(f))
void BuildTree(XmlElement& root) {
    root.SetName(L"r");
    root.SetValue(L"a/b", L"1");
    XmlElement* const a = root.Find(L"a");
    a->AppendChild(L"b")->SetText(L"2");
    a->AppendChild(L"c")->AppendChild(L"d");
    root.AppendChild(L"e")->SetText(L"x");
    root.AppendChild(L"a")->AppendChild(L"f");
}

TEST(XmlElement, new_one_is_empty) {
    XmlElement element;
    std::wstring name = L"kept";
    std::wstring value = L"kept";
    EXPECT_EQ(element.GetName(), L"");
    EXPECT_EQ(element.GetText(), L"");
    EXPECT_EQ(element.GetParent(), nullptr);
    EXPECT_EQ(element.GetFirstChild(), nullptr);
    EXPECT_EQ(element.GetNextChild(), nullptr);
    EXPECT_FALSE(element.GetFirstAttribute(name, value));
    EXPECT_FALSE(element.GetNextAttribute(name, value));
    EXPECT_EQ(name, L"kept");
    EXPECT_EQ(value, L"kept");
}

TEST(XmlElement, path_table) {
    struct Row {
        const wchar_t* path;
        const wchar_t* found;  // its tree, null when there is none
    };
    const Row rows[] = {
        {L"", L"r(a(b'1' b'2' c(d)) e'x' a(f))"},
        {L".", L"r(a(b'1' b'2' c(d)) e'x' a(f))"},
        {L"./", L"r(a(b'1' b'2' c(d)) e'x' a(f))"},
        {L"e", L"e'x'"},
        {L"./e", L"e'x'"},
        {L"a", L"a(b'1' b'2' c(d))"},
        {L"a/b", L"b'1'"},
        {L"./a/c/d", L"d"},
        {L"a/..", L"r(a(b'1' b'2' c(d)) e'x' a(f))"},
        {L"a/../e", L"e'x'"},
        {L"a/c/../b", L"b'1'"},
        {L"./a/c/../../e", L"e'x'"},
        // Only the first of two children with one name is looked into.
        {L"a/f", nullptr},
        {L"A", nullptr},
        {L"a/B", nullptr},
        {L"x", nullptr},
        {L"e/x", nullptr},
        {L"..", nullptr},
        {L"./..", nullptr},
        {L"../r", nullptr},
        {L"a/../..", nullptr},
        // A name that is empty, or a "." behind the start, names nothing.
        {L"/", nullptr},
        {L"/e", nullptr},
        {L"a/", nullptr},
        {L"a//b", nullptr},
        {L".//a", nullptr},
        {L"a/.", nullptr},
        {L"a/./b", nullptr},
        {L"...", nullptr},
        {L" e", nullptr},
        {L"r", nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(ToUtf8(row.path));
        XmlElement root;
        BuildTree(root);
        XmlElement* const found = root.Find(row.path);
        ASSERT_EQ(found != nullptr, row.found != nullptr);
        if (found != nullptr) {
            EXPECT_EQ(Print(*found), row.found);
        }
    }
}

TEST(XmlElement, element_that_is_found_becomes_the_cursor_of_its_parent) {
    XmlElement root;
    BuildTree(root);
    XmlElement* const e = root.Find(L"e");
    XmlElement* const following = root.GetNextChild();
    ASSERT_NE(following, nullptr);
    EXPECT_EQ(Print(*following), L"a(f)");
    EXPECT_EQ(root.GetNextChild(), nullptr);
    EXPECT_EQ(root.GetNextChild(), nullptr);
    EXPECT_EQ(root.Find(L"nothing"), nullptr);
    EXPECT_EQ(root.GetNextChild(), nullptr);
    root.Find(L"a/b");
    EXPECT_EQ(root.Find(L"a")->GetNextChild()->GetText(), L"2");
    root.SetValue(L"e", L"y");
    EXPECT_EQ(e->GetText(), L"y");
    EXPECT_EQ(Print(*root.GetNextChild()), L"a(f)");
}

TEST(XmlElement, set_value_table) {
    struct Row {
        const wchar_t* path;
        const wchar_t* tree;
    };
    const Row rows[] = {
        {L"", L"r'new'(a(b'1' b'2' c(d)) e'x' a(f))"},
        {L".", L"r'new'(a(b'1' b'2' c(d)) e'x' a(f))"},
        {L"e", L"r(a(b'1' b'2' c(d)) e'new' a(f))"},
        {L"./a/b", L"r(a(b'new' b'2' c(d)) e'x' a(f))"},
        {L"a/../e", L"r(a(b'1' b'2' c(d)) e'new' a(f))"},
        {L"n", L"r(a(b'1' b'2' c(d)) e'x' a(f) n'new')"},
        {L"./n/m/l", L"r(a(b'1' b'2' c(d)) e'x' a(f) n(m(l'new')))"},
        {L"a/n", L"r(a(b'1' b'2' c(d) n'new') e'x' a(f))"},
        {L"n/../m", L"r(a(b'1' b'2' c(d)) e'x' a(f) n m'new')"},
        {L"E", L"r(a(b'1' b'2' c(d)) e'x' a(f) E'new')"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(ToUtf8(row.path));
        XmlElement root;
        BuildTree(root);
        root.SetValue(row.path, L"new");
        EXPECT_EQ(Print(root), row.tree);
    }
}

TEST(XmlElement, set_value_refuses_what_names_no_element) {
    struct Row {
        const wchar_t* path;
        std::uint32_t code;
        const wchar_t* tree;
    };
    const Row rows[] = {
        {L"..", 6, L"r"},  {L"../a", 6, L"r"},   {L"a/../..", 6, L"r(a)"},
        {L"/a", 87, L"r"}, {L"a/", 87, L"r(a)"}, {L"a//b", 87, L"r(a)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(ToUtf8(row.path));
        XmlElement root;
        root.SetName(L"r");
        const Outcome outcome = OutcomeOf([&] { root.SetValue(row.path, L"new"); });
        EXPECT_TRUE(outcome.isXml);
        EXPECT_EQ(outcome.code, row.code);
        EXPECT_EQ(Print(root), row.tree);
    }
}

TEST(XmlElement, attributes_are_unique_and_walked_in_order) {
    XmlElement element;
    element.SetName(L"n");
    element.SetAttribute(L"c", L"3");
    element.SetAttribute(L"a", L"1");
    element.SetAttribute(L"B", L"2");
    element.SetAttribute(L"ab", L"");
    EXPECT_EQ(Print(element), L"n{B=2 a=1 ab= c=3}");
    element.SetAttribute(L"a", L"a longer value");
    element.SetAttribute(L"c", L"");
    EXPECT_EQ(Print(element), L"n{B=2 a=a longer value ab= c=}");
    element.SetName(L"another");
    EXPECT_EQ(Print(element), L"another{B=2 a=a longer value ab= c=}");

    struct Row {
        const wchar_t* name;
        bool found;
        const wchar_t* value;
    };
    const Row rows[] = {
        {L"a", true, L"a longer value"},
        {L"c", true, L""},
        {L"B", true, L"2"},
        {L"b", false, L""},
        {L"", false, L""},
        {L"another", false, L""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(ToUtf8(row.name));
        std::wstring value = L"before";
        EXPECT_EQ(element.GetAttribute(row.name, value), row.found);
        EXPECT_EQ(value, row.value);
    }
}

TEST(XmlElement, change_of_an_attribute_ends_the_walk) {
    XmlElement element;
    element.SetAttribute(L"a", L"1");
    element.SetAttribute(L"b", L"2");
    std::wstring name;
    std::wstring value;
    ASSERT_TRUE(element.GetFirstAttribute(name, value));
    element.SetAttribute(L"0", L"0");
    EXPECT_FALSE(element.GetNextAttribute(name, value));
    ASSERT_TRUE(element.GetFirstAttribute(name, value));
    EXPECT_EQ(name, L"0");
    element.SetName(L"n");
    EXPECT_FALSE(element.GetNextAttribute(name, value));
    EXPECT_EQ(name, L"0");
}

TEST(XmlElement, names_and_values_end_at_a_nul) {
    XmlElement element;
    element.SetName(std::wstring(L"n\0m", 3));
    element.SetAttribute(std::wstring(L"a\0b", 3), std::wstring(L"1\0002", 3));
    element.SetAttribute(L"a", std::wstring(L"3\0004", 3));
    element.SetValue(std::wstring(L"c\0d", 3), L"5");
    element.SetValue(L"c", L"6");
    EXPECT_EQ(Print(element), L"n{a=3}(c'6')");
}

TEST(XmlElement, texts_of_the_element_itself_may_be_given_to_it) {
    XmlElement element;
    element.SetName(L"a name that is long");
    element.SetAttribute(L"key", L"a value that is long");
    element.SetText(L"a text that is long");
    element.SetAttribute(element.GetName(), element.GetText());
    element.SetName(element.GetName().substr(2));
    element.SetText(element.GetText().substr(2));
    EXPECT_EQ(Print(element),
              L"name that is long{a name that is long=a text that is long "
              L"key=a value that is long}'text that is long'");
}

TEST(XmlElement, copy_is_deep_and_independent) {
    XmlElement root;
    BuildTree(root);
    root.SetAttribute(L"k", L"v");
    const std::wstring before = Print(root);
    XmlElement copy;
    copy.SetValue(L"old", L"gone");
    copy.SetAttribute(L"old", L"gone");
    copy.Copy(root);
    EXPECT_EQ(Print(copy), before);
    EXPECT_EQ(copy.GetParent(), nullptr);
    EXPECT_EQ(copy.Find(L"a/c/d/../../.."), &copy);
    copy.SetValue(L"a/b", L"changed");
    copy.Find(L"a")->SetAttribute(L"n", L"m");
    EXPECT_EQ(Print(root), before);
    root.Clear();
    EXPECT_EQ(Print(copy), L"r{k=v}(a{n=m}(b'changed' b'2' c(d)) e'x' a(f))");
}

TEST(XmlElement, copy_of_a_part_takes_nothing_beside_it) {
    XmlElement root;
    BuildTree(root);
    XmlElement copy;
    copy.Copy(*root.Find(L"a"));
    EXPECT_EQ(Print(copy), L"a(b'1' b'2' c(d))");
    copy.Copy(*root.Find(L"e"));
    EXPECT_EQ(Print(copy), L"e'x'");
}

TEST(XmlElement, cursors_of_a_copy_stand_nowhere) {
    XmlElement root;
    BuildTree(root);
    root.Find(L"a/b");
    root.Find(L"a");
    XmlElement copy;
    copy.Copy(root);
    EXPECT_EQ(copy.GetNextChild(), nullptr);
}

TEST(XmlElement, copies_within_one_tree) {
    {
        XmlElement root;
        BuildTree(root);
        root.Copy(root);
        EXPECT_EQ(Print(root), L"r(a(b'1' b'2' c(d)) e'x' a(f))");
    }
    {
        XmlElement root;
        BuildTree(root);
        root.Copy(*root.Find(L"a/c"));
        EXPECT_EQ(Print(root), L"c(d)");
    }
    XmlElement root;
    BuildTree(root);
    root.Find(L"a/c")->Copy(root);
    EXPECT_EQ(Print(root), L"r(a(b'1' b'2' r(a(b'1' b'2' c(d)) e'x' a(f))) e'x' a(f))");
    EXPECT_EQ(root.Find(L"a/r/..")->GetName(), L"a");
}

TEST(XmlElement, clear_leaves_an_empty_element_in_its_place) {
    XmlElement root;
    BuildTree(root);
    root.SetAttribute(L"k", L"v");
    XmlElement* const a = root.Find(L"a");
    a->Clear();
    EXPECT_EQ(Print(root), L"r{k=v}( e'x' a(f))");
    EXPECT_EQ(a->GetParent(), &root);
    root.Clear();
    EXPECT_EQ(Print(root), L"");
    EXPECT_EQ(root.GetFirstChild(), nullptr);
    root.Clear();
    root.SetValue(L"again", L"1");
    EXPECT_EQ(Print(root), L"(again'1')");
}

TEST(XmlElement, great_depth_is_built_copied_and_freed) {
    constexpr int kDepth = 200000;  // a recursion would not fit into the stack
    XmlElement root;
    XmlElement* deepest = &root;
    for (int i = 0; i < kDepth; ++i) {
        deepest = deepest->AppendChild(L"n");
    }
    deepest->SetText(L"bottom");
    XmlElement copy;
    copy.Copy(root);
    root.Clear();
    int depth = 0;
    XmlElement* element = &copy;
    while (XmlElement* const child = element->GetFirstChild()) {
        element = child;
        ++depth;
    }
    EXPECT_EQ(depth, kDepth);
    EXPECT_EQ(element->GetText(), L"bottom");
}

}  // namespace
