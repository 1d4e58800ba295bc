// What becomes of documents: content, faults, encodings, cut-off and hostile ones.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Common/KrCommon/KrComn_CodePage.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_XmlParser.h"
#include "XmlTestSupport.h"

namespace {

using KrCommon::Storage::XmlElement;
using KrCommon::Storage::XmlParser;
using xml_test::DocumentFile;
using xml_test::Open;
using xml_test::Outcome;
using xml_test::OutcomeOf;
using xml_test::Print;
using xml_test::Read;

TEST(XmlDocument, content_table) {
    struct Row {
        const char* document;
        const wchar_t* tree;
    };
    const Row rows[] = {
        {"<a/>", L"(a)"},
        {"<a></a>", L"(a)"},
        {"<a >\n</a >", L"(a)"},
        {"<a x='1' b=\"2\"/>", L"(a{b=2 x=1})"},
        {"<a x=''/>", L"(a{x=})"},
        {"<a x='>'/>", L"(a{x=>})"},
        {"<a><b/><c/><b/></a>", L"(a(b c b))"},
        // Text stays as it is; a piece of only blanks is dropped.
        {"<a>text</a>", L"(a'text')"},
        {"<a> text\n</a>", L"(a' text\n')"},
        {"<a>one\r\ntwo\rthree</a>", L"(a'one\ntwo\nthree')"},
        {"<a> </a>", L"(a)"},
        {"<a>\n\t <b> \r\n </b>\n</a>", L"(a(b))"},
        // Mixed content: the words are kept, their places between the children are not.
        {"<a>one<b>two</b>three</a>", L"(a'onethree'(b'two'))"},
        {"<a> one <b/> two <c/> </a>", L"(a' one  two '(b c))"},
        {"<a><b/>tail</a>", L"(a'tail'(b))"},
        // A comment or an instruction does not end a piece.
        {"<a>one<!-- two -->three</a>", L"(a'onethree')"},
        {"<a> <!-- --> </a>", L"(a)"},
        {"<a>one<?two three?>four</a>", L"(a'onefour')"},
        {"<!-- before --><a/><!-- behind -->", L"(a)"},
        {"<?tool?><a/><?tool?>", L"(a)"},
        // CDATA is text like any other.
        {"<a><![CDATA[<b>&amp;</b>]]></a>", L"(a'<b>&amp;</b>')"},
        {"<a>one<![CDATA[ two ]]>three</a>", L"(a'one two three')"},
        {"<a><![CDATA[]]></a>", L"(a)"},
        {"<a><![CDATA[ ]]></a>", L"(a)"},
        // References to the five entities and to characters.
        {"<a x='&lt;&gt;&amp;&quot;&apos;'>&lt;&gt;&amp;&quot;&apos;</a>",
         L"(a{x=<>&\"'}'<>&\"'')"},
        {"<a x='&#65;'>&#x42;&#67;</a>", L"(a{x=A}'BC')"},
        {"<a>&#32;&#10;</a>", L"(a)"},
        // White space in attributes is made blanks; a line end by reference stays.
        {"<a x='1\n2\t3'/>", L"(a{x=1 2 3})"},
        {"<a x='1&#10;2'/>", L"(a{x=1\n2})"},
        // An entity of the document itself: resolved in attributes, left as written in texts.
        {"<!DOCTYPE a [<!ENTITY e 'value'>]><a x='&e;'/>", L"(a{x=value})"},
        {"<!DOCTYPE a [<!ENTITY e 'value'>]><a>one &e; two</a>", L"(a'one &e; two')"},
        {"<!DOCTYPE a [<!ENTITY e '<b/>'>]><a>&e;</a>", L"(a'&e;')"},
        // The declarations of a document leave nothing, but defaults of attributes count.
        {"<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a x CDATA 'by default'>]><a/>",
         L"(a{x=by default})"},
        {"<!DOCTYPE a><a/>", L"(a)"},
        {"<?xml version='1.0' standalone='yes'?><!DOCTYPE a SYSTEM 'a.dtd'><a/>", L"(a)"},
        // Names with prefixes are names.
        {"<n:a xmlns:n='urn:x' n:b='1'/>", L"(n:a{n:b=1 xmlns:n=urn:x})"},
        // The byte order mark is no text.
        {"\xef\xbb\xbf<a>b</a>", L"(a'b')"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.document);
        EXPECT_EQ(Read(row.document), row.tree);
    }
}

TEST(XmlDocument, fault_table) {
    struct Row {
        const char* document;
        std::int32_t line;
        std::int32_t column;
        const char* text;
    };
    const Row rows[] = {
        {"", 1, 0, "no element found"},
        {" ", 1, 1, "no element found"},
        {"\n\n", 3, 0, "no element found"},
        {"text", 1, 0, "syntax error"},
        {"<", 1, 0, "unclosed token"},
        {"<a", 1, 0, "unclosed token"},
        {"<a>", 1, 3, "no element found"},
        {"<a>\n<b>\n", 3, 0, "no element found"},
        {"<a>\n  </b>", 2, 4, "mismatched tag"},
        {"<a></A>", 1, 5, "mismatched tag"},
        {"<a><b></a></b>", 1, 8, "mismatched tag"},
        {"<a/><b/>", 1, 4, "junk after document element"},
        {"<a/>text", 1, 4, "junk after document element"},
        {"<a x=1/>", 1, 5, "not well-formed (invalid token)"},
        {"<a x/>", 1, 4, "not well-formed (invalid token)"},
        {"<a\nx='1' x='2'/>", 2, 6, "duplicate attribute"},
        {"<a x='<'/>", 1, 6, "not well-formed (invalid token)"},
        {"<a>&b;</a>", 1, 3, "undefined entity"},
        {"<a>&</a>", 1, 4, "not well-formed (invalid token)"},
        {"<a>&#0;</a>", 1, 3, "reference to invalid character number"},
        {"<a>]]></a>", 1, 5, "not well-formed (invalid token)"},
        {"<a><![CDATA[", 1, 12, "unclosed CDATA section"},
        {"<a><!-- -- --></a>", 1, 10, "not well-formed (invalid token)"},
        {"<1/>", 1, 1, "not well-formed (invalid token)"},
        {" <?xml version='1.0'?><a/>", 1, 1, "XML or text declaration not at start of entity"},
        {"<?xml version='1.0' encoding='utf-8'", 1, 0, "unclosed token"},
        {"<a>\x01</a>", 1, 3, "not well-formed (invalid token)"},
        {"<a>\xff</a>", 1, 3, "not well-formed (invalid token)"},
        {"<a>\xc3", 1, 3, "partial character"},
        {"<!DOCTYPE a SYSTEM 'a.dtd'><a/>", 1, 19, "document is not standalone"},
        {"<!DOCTYPE a [<!ENTITY e SYSTEM 'e.xml'>]><a>&e;</a>", 1, 44,
         "error in processing external entity reference"},
        {"<!DOCTYPE a [<!ENTITY e '&e;'>]><a x='&e;'/>", 1, 32, "recursive entity reference"},
        {"<!DOCTYPE a [<!ENTITY e SYSTEM 'e.xml'>]><a x='&e;'/>", 1, 47,
         "reference to external entity in attribute"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.document);
        const DocumentFile file(row.document);
        XmlParser parser;
        const Outcome outcome = OutcomeOf([&] { Open(parser, file); });
        EXPECT_TRUE(outcome.isXml);
        EXPECT_EQ(outcome.code, 13U);
        EXPECT_EQ(outcome.xmlLine, row.line);
        EXPECT_EQ(outcome.xmlColumn, row.column);
        EXPECT_EQ(outcome.text, row.text);
    }
}

// The same text, "<a n='é'>ä</a>" in three encodings and without its accents in the fourth.
const std::string kUtf8 = "<a n='\xc3\xa9'>\xc3\xa4</a>";
const std::string kLatin1 = "<a n='\xe9'>\xe4</a>";
const std::string kAscii = "<a n='e'>a</a>";

std::string Utf16(const std::string& latin1, bool littleEndian, bool withMark) {
    std::string bytes;
    const auto add = [&](char high, char low) {
        bytes += littleEndian ? low : high;
        bytes += littleEndian ? high : low;
    };
    if (withMark)
        add('\xfe', '\xff');
    for (const char character : latin1) {
        add('\0', character);
    }
    return bytes;
}

TEST(XmlDocument, encoding_table) {
    // The library hands out UTF-8, which the tree widens byte by byte here.
    const wchar_t* const accents = L"(a{n=\u00c3\u00a9}'\u00c3\u00a4')";
    struct Row {
        const char* what;
        const wchar_t* encoding;
        std::string document;
        const wchar_t* tree;
    };
    const Row rows[] = {
        {"UTF-8", L"UTF8", kUtf8, L"(a{n=\u00c3\u00a9}'\u00c3\u00a4')"},
        {"Latin-1", L"ISO_8859_1", kLatin1, accents},
        {"ASCII", L"US_ASCII", kAscii, L"(a{n=e}'a')"},
        {"UTF-16, little endian", L"UTF16", Utf16(kLatin1, true, true), accents},
        {"UTF-16, big endian", L"UTF16", Utf16(kLatin1, false, true), accents},
        {"UTF-16 without a mark", L"UTF16", Utf16(kLatin1, false, false), accents},
        // The setting counts, not what the document says.
        {"Latin-1 that says it is UTF-8", L"ISO_8859_1",
         "<?xml version='1.0' encoding='utf-8'?>" + kLatin1, accents},
        {"UTF-8 that says it is Latin-1", L"UTF8",
         "<?xml version='1.0' encoding='iso-8859-1'?>" + kUtf8, accents},
        // A document in another encoding than the one that is set.
        {"Latin-1 as UTF-8", L"UTF8", kLatin1, L"code 13"},
        {"Latin-1 as ASCII", L"US_ASCII", kLatin1, L"code 13"},
        {"UTF-8 as ASCII", L"US_ASCII", kUtf8, L"code 13"},
        {"ASCII as UTF-8", L"UTF8", kAscii, L"(a{n=e}'a')"},
        {"ASCII as Latin-1", L"ISO_8859_1", kAscii, L"(a{n=e}'a')"},
        {"ASCII as UTF-16", L"UTF16", kAscii, L"code 13"},
        {"half a unit of UTF-16", L"UTF16", Utf16(kAscii, true, true) + "<", L"code 13"},
        {"unknown", L"EBCDIC", kAscii, L"code 87"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(Read(row.document, L"/", row.encoding), row.tree);
    }
}

TEST(XmlDocument, characters_beyond_ascii_can_be_had_back) {
    const DocumentFile file("<a>Gr\xc3\xb6\xc3\xb3\xc3\xa8</a>");
    XmlParser parser;
    XmlElement element;
    Open(parser, file, L"/a");
    parser.QueryData(L"", element);
    namespace String = KrCommon::String;
    std::string bytes;
    ASSERT_TRUE(String::ToCodePage(element.GetText(), bytes, String::kThreadCodePage));
    EXPECT_EQ(String::FromUtf8(bytes), L"Gr\u00f6\u00f3\u00e8");
}

TEST(XmlDocument, tags_and_texts_longer_than_a_block_come_whole) {
    for (const std::size_t size : {1000U, 1023U, 1024U, 1025U, 5000U, 200000U}) {
        SCOPED_TRACE(size);
        const std::string name(size, 'n');
        const std::string value(size, 'v');
        const std::string text(size, 't');
        const std::string document =
            "<" + name + " " + name + "='" + value + "'>" + text + "</" + name + ">";
        const std::wstring wideName(size, L'n');
        EXPECT_EQ(Read(document), L"(" + wideName + L"{" + wideName + L"=" +
                                      std::wstring(size, L'v') + L"}'" + std::wstring(size, L't') +
                                      L"')");
    }
}

TEST(XmlDocument, place_of_the_blocks_makes_no_difference) {
    const std::string document =
        "<a k='v\xc3\xa9'>one <!-- --> \n<b/>&amp;\xc3\xa9<![CDATA[x]]> </a>";
    const std::wstring tree = Read(document);
    for (std::size_t before = 1024 - document.size(); before <= 1024; ++before) {
        ASSERT_EQ(Read(std::string(before, ' ') + document), tree) << before;
    }
}

constexpr const char* kRealistic =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<!DOCTYPE Product [<!ENTITY base \"Software\\Korvex\">]>\n"
    "<!-- the package -->\n"
    "<Product Version=\"3.1\">\n"
    "  <RegistryGroup>\n"
    "    <RegistryKey Id=\"1\" Key=\"&base;\\Module\" Action=\"create\" />\n"
    "    <RegistryValue Id=\"2\" Name=\"Gr\xc3\xb6\xc3\x9f\x65\" "
    "Type=\"dword\">&#65;</RegistryValue>\n"
    "  </RegistryGroup>\n"
    "  <FileGroup><![CDATA[text]]>\n"
    "    <File Id=\"3\" Name=\"a.dll\">one<b/>two &base;</File>\n"
    "  </FileGroup>\n"
    "</Product>\n";

TEST(XmlDocument, document_cut_off_at_every_byte_is_refused_with_a_fault) {
    const std::string whole = kRealistic;
    const std::size_t complete = whole.rfind('>') + 1;
    const DocumentFile file("");
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        file.Write(whole.substr(0, size));
        XmlParser parser;
        const Outcome outcome = OutcomeOf([&] { Open(parser, file); });
        ASSERT_EQ(outcome.code, size < complete ? 13U : 0U) << size;
        ASSERT_EQ(outcome.isXml, size < complete) << size;
        ASSERT_EQ(outcome.text.empty(), size >= complete) << size;
    }
}

TEST(XmlDocument, document_with_any_byte_changed_is_read_or_refused) {
    const std::string whole = kRealistic;
    const DocumentFile file("");
    const std::size_t step = std::getenv("WYSDK_TEST_FULL") != nullptr ? 1 : 11;
    for (std::size_t place = 0; place < whole.size(); place += step) {
        for (const char byte : {'<', '&', '\0', '\xff'}) {
            std::string changed = whole;
            changed[place] = byte;
            file.Write(changed);
            XmlParser parser;
            XmlElement element;
            const Outcome outcome = OutcomeOf([&] {
                Open(parser, file);
                parser.QueryData(L"", element);
            });
            ASSERT_TRUE(outcome.code == 0 || outcome.code == 13) << place << " " << outcome.code;
        }
    }
}

// A recursion of this depth would not fit into any stack.
int DeepestNesting() {
    return std::getenv("WYSDK_TEST_FULL") != nullptr ? 1000000 : 200000;
}

TEST(XmlDocument, deep_nesting_is_read) {
    for (const int depth : {10000, DeepestNesting()}) {
        std::string document;
        for (int i = 0; i < depth; ++i) {
            document += "<n>";
        }
        document += "bottom";
        for (int i = 0; i < depth; ++i) {
            document += "</n>";
        }
        const DocumentFile file(document);
        XmlParser parser;
        XmlElement copy;
        Open(parser, file);
        parser.QueryData(L"n", copy);
        int found = 1;
        XmlElement* element = &copy;
        while (XmlElement* const child = element->GetFirstChild()) {
            element = child;
            ++found;
        }
        EXPECT_EQ(found, depth);
        EXPECT_EQ(element->GetText(), L"bottom");
    }
}

TEST(XmlDocument, deep_nesting_is_passed_over) {
    std::string document = "<r>";
    for (int i = 0; i < 100000; ++i) {
        document += "<n>";
    }
    for (int i = 0; i < 100000; ++i) {
        document += "</n>";
    }
    EXPECT_EQ(Read(document + "<m/></r>", L"/r/m"), L"m");
}

// Entities each of which stands for ten of the one before.
std::string Laughs(int levels) {
    std::string document = "<!DOCTYPE a [<!ENTITY e0 'ha ha ha ha ha ha'>";
    for (int i = 1; i <= levels; ++i) {
        document += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) {
            document += "&e" + std::to_string(i - 1) + ";";
        }
        document += "'>";
    }
    return document + "]>";
}

TEST(XmlDocument, document_that_grows_without_measure_is_refused_in_an_attribute) {
    EXPECT_EQ(Read(Laughs(1) + "<a x='&e1;'/>").size(), 7U + 170U);
    const DocumentFile file(Laughs(9) + "<a x='&e9;'/>");
    XmlParser parser;
    const Outcome outcome = OutcomeOf([&] { Open(parser, file); });
    EXPECT_TRUE(outcome.isXml);
    EXPECT_EQ(outcome.code, 13U);
    EXPECT_EQ(outcome.text, "limit on input amplification factor (from DTD and entities) breached");
}

TEST(XmlDocument, document_that_grows_without_measure_does_not_grow_in_a_text) {
    EXPECT_EQ(Read(Laughs(9) + "<a>&e9;</a>"), L"(a'&e9;')");
}

TEST(XmlDocument, many_attributes_and_many_children_are_read_in_time) {
    constexpr int kCount = 20000;
    std::string document = "<r ";
    for (int i = kCount; i > 0; --i) {
        document += "a" + std::to_string(i) + "='" + std::to_string(i) + "' ";
    }
    document += ">";
    for (int i = 0; i < kCount; ++i) {
        document += "<c/>";
    }
    const DocumentFile file(document + "</r>");
    XmlParser parser;
    XmlElement root;
    Open(parser, file, L"/r");
    parser.QueryData(L"", root);
    std::wstring name;
    std::wstring value;
    int attributes = 0;
    for (bool more = root.GetFirstAttribute(name, value); more;
         more = root.GetNextAttribute(name, value)) {
        ++attributes;
    }
    int children = 0;
    for (auto* child = root.GetFirstChild(); child != nullptr; child = root.GetNextChild()) {
        ++children;
    }
    EXPECT_EQ(attributes, kCount);
    EXPECT_EQ(children, kCount);
    EXPECT_TRUE(root.GetAttribute(L"a1", value));
    EXPECT_EQ(value, L"1");
}

}  // namespace
