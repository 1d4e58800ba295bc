// The parser as its callers use it: options, the search for the root, queries, closing.

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_XmlParser.h"
#include "Common/KrCommon/KrComn_XmlParserExpat.h"
#include "XmlTestSupport.h"
#include "support/AllocationFaults.h"

namespace {

using KrCommon::Storage::CopyIntoBuffer;
using KrCommon::Storage::XmlElement;
using KrCommon::Storage::XmlParser;
using KrCommon::Storage::XmlParserExpat;
using KrCommon::Storage::XmlParsingState;
using KrCommon::String::ToUtf8;
using test_support::FailAllocations;
using xml_test::DocumentFile;
using xml_test::kFolderOfDll;
using xml_test::Open;
using xml_test::Outcome;
using xml_test::OutcomeOf;
using xml_test::Print;
using xml_test::Read;

constexpr const char* kManifest =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<Product>\n"
    "  <RegistryGroup>\n"
    "    <RegistryKey Id=\"1\" Key=\"Software\\Korvex\" Action=\"create\" />\n"
    "  </RegistryGroup>\n"
    "  <FileGroup>\n"
    "    <File Id=\"2\" Name=\"a.dll\" />\n"
    "    <File Id=\"3\" Name=\"b.dll\" />\n"
    "  </FileGroup>\n"
    "  <FileGroup><Folder Id=\"4\"/></FileGroup>\n"
    "</Product>\n";

TEST(XmlParser, set_option_table) {
    const std::wstring longest(259, L'x');
    const std::wstring tooLong(260, L'x');
    struct Row {
        const wchar_t* name;
        const wchar_t* value;
        std::uint32_t code;
    };
    const Row rows[] = {
        {L"Encoding", L"UTF8", 0},
        {L"Encoding", L"no encoding", 0},
        {L"PathOfDll", L"C:\\folder", 0},
        {L"PathOfDll", longest.c_str(), 0},
        {L"PathOfDll", tooLong.c_str(), 122},
        {L"Encoding", tooLong.c_str(), 122},
        {L"Other", L"value", 0},
        {L"Other", tooLong.c_str(), 0},
        {L"encoding", L"value", 0},
        {L"", L"value", 160},
        {nullptr, L"value", 160},
        {L"Encoding", L"", 160},
        {L"Encoding", nullptr, 160},
        {L"PathOfDll", L"", 160},
        {L"Other", L"", 160},
        {nullptr, nullptr, 160},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name != nullptr ? ToUtf8(row.name) : "null");
        XmlParser parser;
        const Outcome outcome = OutcomeOf([&] { parser.SetOption(row.name, row.value); });
        EXPECT_EQ(outcome.code, row.code);
        EXPECT_EQ(outcome.isXml, row.code != 0);
        EXPECT_EQ(outcome.xmlLine, 0);
        EXPECT_EQ(outcome.xmlColumn, 0);
        EXPECT_EQ(outcome.text, "");
    }
}

TEST(XmlParser, option_of_another_name_changes_nothing) {
    const DocumentFile file("<a/>");
    XmlParser parser;
    parser.SetOption(L"encoding", L"no encoding");
    parser.SetOption(L"pathofdll", L"nowhere");
    EXPECT_EQ(OutcomeOf([&] { Open(parser, file); }).code, 0U);
}

TEST(XmlParser, root_path_table) {
    const char* const document = "<r><x><a>no</a></x><a n=\"1\"><b>1</b></a><a><c/></a></r>";
    struct Row {
        const wchar_t* rootPath;
        const wchar_t* tree;
        std::uint32_t code;
        bool isXml;
    };
    const Row rows[] = {
        // The document itself.
        {L"/", L"(r(x(a'no') a{n=1}(b'1') a(c)))", 0, false},
        {L"/r", L"r(x(a'no') a{n=1}(b'1') a(c))", 0, false},
        {L"/r/", L"r(x(a'no') a{n=1}(b'1') a(c))", 0, false},
        // Other elements are passed over, whatever they hold.
        {L"/r/a", L"a{n=1}(b'1')", 0, false},
        {L"/r/a/b", L"b'1'", 0, false},
        {L"/r/x/a", L"a'no'", 0, false},
        // The first one with a name is the one.
        {L"/r/a/c", nullptr, 160, false},
        {L"/R", nullptr, 160, false},
        {L"/x", nullptr, 160, false},
        {L"/r/b", nullptr, 160, false},
        {L"/r/a/b/c", nullptr, 160, false},
        {L"//r", nullptr, 160, false},
        {L"/r//a", nullptr, 160, false},
        {L"/r/..", nullptr, 160, false},
        // The path begins with "/".
        {L"", nullptr, 87, true},
        {L"r", nullptr, 87, true},
        {L"./r", nullptr, 87, true},
        {L"\\r", nullptr, 87, true},
        {nullptr, nullptr, 87, true},
    };
    const DocumentFile file(document);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.rootPath != nullptr ? ToUtf8(row.rootPath) : "null");
        XmlParser parser;
        XmlElement root;
        const Outcome outcome = OutcomeOf([&] {
            Open(parser, file, row.rootPath);
            parser.QueryData(L"", root);
        });
        EXPECT_EQ(outcome.code, row.code);
        EXPECT_EQ(outcome.isXml, row.isXml);
        if (row.tree != nullptr) {
            EXPECT_EQ(Print(root), row.tree);
        }
    }
}

TEST(XmlParser, what_follows_the_root_element_is_not_looked_at) {
    const char* const document = "<r><a>1</a><b></r>";
    EXPECT_EQ(Read(document, L"/r/a"), L"a'1'");
    EXPECT_EQ(Read(document, L"/r/c"), L"code 13");
    EXPECT_EQ(Read(document, L"/r"), L"code 13");
    EXPECT_EQ(Read("<r><a><b/></a>< ", L"/r/a/c"), L"code 160");
}

TEST(XmlParser, failure_table_of_open) {
    const DocumentFile file("<a/>");
    const DocumentFile faulty("<a>");
    const std::wstring good = file.Path().wstring();
    const std::wstring missing = (file.Path().parent_path() / "missing.xml").wstring();
    const std::wstring faultyPath = faulty.Path().wstring();
    const std::wstring folder = file.Path().parent_path().wstring();
    const std::wstring tooLong(260, L'x');
    struct Row {
        const char* what;
        const wchar_t* path;
        const wchar_t* rootPath;
        const wchar_t* folderOfDll;
        const wchar_t* encoding;
        std::uint32_t code;
    };
    const Row rows[] = {
        {"good", good.c_str(), L"/", L".", L"UTF8", 0},
        {"good, with a separator", good.c_str(), L"/", L".\\", L"UTF8", 0},
        {"null path", nullptr, L"/", L".", L"UTF8", 160},
        {"empty path", L"", L"/", L".", L"UTF8", 160},
        {"long path", tooLong.c_str(), L"/", L".", L"UTF8", 122},
        {"no file", missing.c_str(), L"/", L".", L"UTF8", 2},
        {"a folder", folder.c_str(), L"/", L".", L"UTF8", 5},
        {"no library", good.c_str(), L"/", L"data\\missing", L"UTF8", 126},
        {"an old library", good.c_str(), L"/", L"data\\old-expat", L"UTF8", 127},
        {"no such encoding", good.c_str(), L"/", L".", L"UTF-8", 87},
        {"no root path", good.c_str(), L"a", L".", L"UTF8", 87},
        {"no such root", good.c_str(), L"/b", L".", L"UTF8", 160},
        {"faulty", faultyPath.c_str(), L"/", L".", L"UTF8", 13},
        // The step that fails first counts.
        {"no file, no library", missing.c_str(), L"a", L"data\\missing", L"UTF-8", 2},
        {"no library, no encoding", good.c_str(), L"a", L"data\\missing", L"UTF-8", 126},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        XmlParser parser;
        XmlElement element;
        parser.SetOption(L"PathOfDll", row.folderOfDll);
        parser.SetOption(L"Encoding", row.encoding);
        const Outcome outcome = OutcomeOf([&] { parser.Open(row.path, row.rootPath); });
        EXPECT_EQ(outcome.code, row.code);
        // A failed parser keeps no element.
        EXPECT_EQ(OutcomeOf([&] { parser.QueryData(L"", element); }).code, row.code == 0 ? 0U : 6U);
    }
}

TEST(XmlParser, query_table) {
    struct Row {
        const wchar_t* path;
        const wchar_t* tree;  // null: not found
    };
    const Row rows[] = {
        {L"./Product/FileGroup/File", L"File{Id=2 Name=a.dll}"},
        {L"Product/RegistryGroup",
         L"RegistryGroup(RegistryKey{Action=create Id=1 Key=Software\\Korvex})"},
        {L"./Product/FileGroup", L"FileGroup(File{Id=2 Name=a.dll} File{Id=3 Name=b.dll})"},
        {L"./Product/FileGroup/../RegistryGroup/RegistryKey",
         L"RegistryKey{Action=create Id=1 Key=Software\\Korvex}"},
        {L"./Product/FileGroup/Folder", nullptr},
        {L"./product", nullptr},
        {L"./RegistryGroup", nullptr},
        {L"..", nullptr},
        {L"./..", nullptr},
        {L"./Product/../..", nullptr},
    };
    const DocumentFile file(kManifest);
    XmlParser parser;
    Open(parser, file);
    for (const Row& row : rows) {
        SCOPED_TRACE(ToUtf8(row.path));
        XmlElement element;
        bool result = false;
        const Outcome outcome = OutcomeOf([&] { result = parser.QueryData(row.path, element); });
        EXPECT_EQ(result, row.tree != nullptr);
        if (row.tree != nullptr) {
            EXPECT_EQ(Print(element), row.tree);
        } else {
            EXPECT_TRUE(outcome.isXml);
            EXPECT_EQ(outcome.code, 6U);
            EXPECT_EQ(outcome.line, 176U);
        }
    }
    XmlElement element;
    EXPECT_EQ(OutcomeOf([&] { parser.QueryData(nullptr, element); }).code, 160U);
}

TEST(XmlParser, paths_without_a_name_give_the_element_that_was_kept) {
    const DocumentFile file("<a><b/></a>");
    XmlParser parser;
    Open(parser, file, L"/a");
    for (const wchar_t* const path : {L"", L".", L"./"}) {
        XmlElement element;
        parser.QueryData(path, element);
        EXPECT_EQ(Print(element), L"a(b)");
    }
}

TEST(XmlParser, query_leaves_the_element_alone_when_nothing_is_found) {
    const DocumentFile file("<a/>");
    XmlParser parser;
    Open(parser, file);
    XmlElement element;
    element.SetName(L"kept");
    EXPECT_EQ(OutcomeOf([&] { parser.QueryData(L"b", element); }).code, 6U);
    EXPECT_EQ(element.GetName(), L"kept");
}

TEST(XmlParser, product_is_a_child_of_what_was_kept) {
    const DocumentFile file("<Product><x/></Product>");
    XmlElement element;
    {
        XmlParser parser;
        Open(parser, file);
        EXPECT_TRUE(parser.QueryProduct(element));
        // Each query starts from the same element.
        EXPECT_TRUE(parser.QueryProduct(element));
    }
    EXPECT_EQ(Print(element), L"Product(x)");
    XmlParser parser;
    Open(parser, file, L"/Product");
    const Outcome outcome = OutcomeOf([&] { parser.QueryProduct(element); });
    EXPECT_EQ(outcome.code, 6U);
    EXPECT_EQ(outcome.line, 176U);
}

TEST(XmlParser, close_is_harmless_in_all_states) {
    const DocumentFile good("<a/>");
    const DocumentFile faulty("<a>");
    XmlElement element;
    XmlParser parser;
    parser.Close();
    parser.Close();
    for (const DocumentFile* const file : {&good, &faulty, &good}) {
        const Outcome outcome = OutcomeOf([&] { Open(parser, *file); });
        EXPECT_EQ(outcome.code, file == &good ? 0U : 13U);
        parser.Close();
        parser.Close();
        const Outcome query = OutcomeOf([&] { parser.QueryData(L"", element); });
        EXPECT_TRUE(query.isXml);
        EXPECT_EQ(query.code, 6U);
        EXPECT_NE(query.line, 176U);
    }
}

TEST(XmlParser, close_forgets_the_options) {
    const DocumentFile file("<a/>");
    XmlParser parser;
    parser.SetOption(L"Encoding", L"no encoding");
    parser.SetOption(L"PathOfDll", kFolderOfDll);
    EXPECT_EQ(OutcomeOf([&] { parser.Open(file.Path().wstring().c_str(), L"/"); }).code, 87U);
    parser.Close();
    parser.SetOption(L"PathOfDll", kFolderOfDll);
    EXPECT_EQ(OutcomeOf([&] { parser.Open(file.Path().wstring().c_str(), L"/"); }).code, 0U);
}

TEST(XmlParser, second_open_before_close_reads_the_first_file_again) {
    const DocumentFile first("<first/>");
    const DocumentFile second("<second/>");
    XmlElement element;
    XmlParser parser;
    Open(parser, first);
    Open(parser, second);
    parser.QueryData(L"", element);
    EXPECT_EQ(Print(element), L"(first)");
    parser.Close();
    Open(parser, second);
    parser.QueryData(L"", element);
    EXPECT_EQ(Print(element), L"(second)");
}

// A parser that reads the library of the tests.
void Prepare(XmlParserExpat& parser, const wchar_t* encoding = L"UTF8",
             const wchar_t* folder = kFolderOfDll) {
    XmlParsingState state;
    CopyIntoBuffer(state.wszEncoding, encoding);
    CopyIntoBuffer(state.wszPathOfDll, folder);
    parser.CopyParsingState(state);
}

TEST(XmlParserExpat, start_and_stop_table) {
    struct Row {
        const char* what;
        const wchar_t* folder;
        const wchar_t* encoding;
        std::uint32_t code;
    };
    const Row rows[] = {
        {"good", L".", L"UTF8", 0},
        {"no library", L"data\\missing", L"UTF8", 126},
        {"old library", L"data\\old-expat", L"UTF8", 127},
        {"no encoding", L".", L"", 87},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const bool good = row.code == 0;
        XmlParserExpat parser;
        Prepare(parser, row.encoding, row.folder);
        EXPECT_FALSE(parser.Stop());
        std::uint32_t error = 1;
        EXPECT_EQ(parser.Start(&error), good);
        EXPECT_EQ(error, row.code);
        EXPECT_EQ(parser.IsStarted(), good);
        EXPECT_EQ(parser.IsLibraryLoaded(), good);
        EXPECT_EQ(parser.IsParserCreated(), good);
        EXPECT_EQ(parser.UnloadLibrary(), good ? 0U : 6U);
    }
}

TEST(XmlParserExpat, started_parser_cannot_be_started_and_a_stopped_one_not_stopped) {
    XmlParserExpat parser;
    Prepare(parser);
    for (int round = 0; round < 2; ++round) {
        std::uint32_t error = 1;
        EXPECT_TRUE(parser.Start(nullptr));
        EXPECT_FALSE(parser.Start(&error));
        EXPECT_EQ(error, 5010U);
        EXPECT_TRUE(parser.IsStarted());
        EXPECT_EQ(parser.Feed("<a/>", 4, true), 0U);
        EXPECT_TRUE(parser.Stop());
        EXPECT_FALSE(parser.IsStarted());
        EXPECT_FALSE(parser.IsLibraryLoaded());
        EXPECT_FALSE(parser.IsParserCreated());
        EXPECT_FALSE(parser.Stop());
        EXPECT_EQ(parser.Feed("<a/>", 4, true), 1U);
        EXPECT_EQ(parser.QueryState(), 0);
    }
}

std::vector<std::string> TakeAll(XmlParserExpat& parser) {
    std::vector<std::string> taken;
    const char* event = nullptr;
    for (int length = 0; parser.NextEvent(event, length);) {
        taken.push_back(std::to_string(parser.QueryState()) + " " +
                        std::string(event, static_cast<std::size_t>(length)));
    }
    return taken;
}

TEST(XmlParserExpat, events_come_in_the_order_of_the_document_with_their_states) {
    XmlParserExpat parser;
    Prepare(parser);
    ASSERT_TRUE(parser.Start(nullptr));
    EXPECT_EQ(parser.QueryState(), 0);
    using Events = std::vector<std::string>;
    EXPECT_EQ(parser.Feed("<a x='1'>one<!-- -->two", 23, false), 0U);
    EXPECT_EQ(parser.Feed("three<b/>", 9, false), 0U);
    EXPECT_EQ(TakeAll(parser), (Events{"1 a", "3 onetwothree", "1 b", "2 b"}));
    EXPECT_EQ(parser.QueryState(), 2);
    EXPECT_EQ(TakeAll(parser), Events{});
    EXPECT_EQ(parser.QueryState(), 2);
    EXPECT_EQ(parser.Feed("four", 4, false), 0U);
    EXPECT_EQ(TakeAll(parser), (Events{"3 four"}));
    EXPECT_EQ(parser.Feed("five</a>", 8, true), 0U);
    EXPECT_EQ(TakeAll(parser), (Events{"3 five", "2 a"}));
}

TEST(XmlParserExpat, events_before_a_fault_can_be_taken) {
    XmlParserExpat parser;
    Prepare(parser);
    ASSERT_TRUE(parser.Start(nullptr));
    EXPECT_EQ(parser.Feed("<a><b/></c>", 11, false), 13U);
    EXPECT_EQ(TakeAll(parser), (std::vector<std::string>{"1 a", "1 b", "2 b"}));
}

TEST(XmlParserExpat, element_can_be_read_from_the_middle_and_events_go_on_behind_it) {
    const std::string document = "<a>x<b n='1'>y<c/></b>z</a>";
    for (const bool byteByByte : {false, true}) {
        XmlParserExpat parser;
        Prepare(parser);
        ASSERT_TRUE(parser.Start(nullptr));
        std::size_t fed = 0;
        const auto feed = [&] {
            const std::size_t size = byteByByte ? 1 : document.size();
            EXPECT_EQ(parser.Feed(document.data() + fed, static_cast<int>(size), false), 0U);
            fed += size;
        };
        std::string taken;
        while (taken != "b") {
            const char* event = nullptr;
            int length = 0;
            if (parser.NextEvent(event, length)) {
                taken.assign(event, static_cast<std::size_t>(length));
            } else {
                feed();
            }
        }
        XmlElement element;
        while (!parser.ReadElement(element)) {
            feed();
        }
        EXPECT_EQ(Print(element), L"b{n=1}'y'(c)");
        while (fed < document.size()) {
            feed();
        }
        EXPECT_EQ(TakeAll(parser), (std::vector<std::string>{"3 z", "2 a"}));
    }
}

// One time the allocation fails alone, one time all that follow fail too.
class XmlMemory : public testing::TestWithParam<FailAllocations::Mode> {};

TEST_P(XmlMemory, open_and_query_raise_and_leave_nothing_behind) {
    const DocumentFile file(std::string(kManifest) + std::string(3000, '\n'));
    const std::wstring path = file.Path().wstring();
    bool complete = false;
    std::size_t passed = 0;
    for (; !complete; ++passed) {
        SCOPED_TRACE(passed);
        XmlParser parser;
        XmlElement element;
        parser.SetOption(L"PathOfDll", kFolderOfDll);
        bool raised = false;
        bool happened = false;
        {
            const FailAllocations fault(passed, GetParam());
            try {
                const Outcome outcome = OutcomeOf([&] {
                    parser.Open(path.c_str(), L"/Product");
                    parser.QueryData(L"FileGroup", element);
                });
                raised = outcome.code != 0;
                happened = fault.Happened();
                if (raised && outcome.code != 6 && outcome.code != 8) {
                    ADD_FAILURE() << "code " << outcome.code;
                }
            } catch (const std::bad_alloc&) {
                raised = true;
                happened = fault.Happened();
            }
        }
        EXPECT_EQ(raised, happened);
        complete = !happened;
        if (raised) {
            EXPECT_EQ(Print(element), L"");
            parser.Close();
            parser.SetOption(L"PathOfDll", kFolderOfDll);
            parser.Open(path.c_str(), L"/Product");
            parser.QueryData(L"FileGroup", element);
        }
        EXPECT_EQ(Print(element), L"FileGroup(File{Id=2 Name=a.dll} File{Id=3 Name=b.dll})");
    }
    EXPECT_GT(passed, 20U);
}

INSTANTIATE_TEST_SUITE_P(Modes, XmlMemory,
                         testing::Values(FailAllocations::Mode::kOnce,
                                         FailAllocations::Mode::kFromThenOn));

}  // namespace
