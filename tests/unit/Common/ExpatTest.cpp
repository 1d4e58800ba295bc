// The XML library at run time, and its callbacks and calls behind virtual operations.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_ExpatLibrary.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_XmlParserExpatBase.h"
#include "XmlTestSupport.h"

namespace {

using KrCommon::Library::Expat;
using KrCommon::Storage::CopyIntoBuffer;
using KrCommon::Storage::XmlParserExpatBase;
using KrCommon::Storage::XmlParsingState;

constexpr const wchar_t* kLibrary = L".\\libexpat.dll";
constexpr const wchar_t* kOldLibrary = L"data\\old-expat\\libexpat.dll";

TEST(ExpatLibrary, all_functions_of_the_library_bind) {
    Expat library;
    std::uint32_t error = 1;
    ASSERT_TRUE(library.Load(kLibrary, 0, &error)) << error;
    EXPECT_FALSE(library.IsBound());
    ASSERT_TRUE(library.Bind(true, &error)) << error;
    EXPECT_TRUE(library.IsBound());
    const void* const functions[] = {
        reinterpret_cast<void*>(library.m_pParserCreate),
        reinterpret_cast<void*>(library.m_pParserCreateNS),
        reinterpret_cast<void*>(library.m_pParserCreateMM),
        reinterpret_cast<void*>(library.m_pParserReset),
        reinterpret_cast<void*>(library.m_pSetElementHandler),
        reinterpret_cast<void*>(library.m_pSetStartElementHandler),
        reinterpret_cast<void*>(library.m_pSetEndElementHandler),
        reinterpret_cast<void*>(library.m_pSetCharacterDataHandler),
        reinterpret_cast<void*>(library.m_pSetProcessingInstructionHandler),
        reinterpret_cast<void*>(library.m_pSetCommentHandler),
        reinterpret_cast<void*>(library.m_pSetDefaultHandler),
        reinterpret_cast<void*>(library.m_pSetUnparsedEntityDeclHandler),
        reinterpret_cast<void*>(library.m_pSetNotationDeclHandler),
        reinterpret_cast<void*>(library.m_pSetNamespaceDeclHandler),
        reinterpret_cast<void*>(library.m_pSetStartNamespaceDeclHandler),
        reinterpret_cast<void*>(library.m_pSetEndNamespaceDeclHandler),
        reinterpret_cast<void*>(library.m_pSetNotStandaloneHandler),
        reinterpret_cast<void*>(library.m_pSetExternalEntityRefHandler),
        reinterpret_cast<void*>(library.m_pSetExternalEntityRefHandlerArg),
        reinterpret_cast<void*>(library.m_pSetUserData),
        reinterpret_cast<void*>(library.m_pSetEncoding),
        reinterpret_cast<void*>(library.m_pParse),
        reinterpret_cast<void*>(library.m_pGetBuffer),
        reinterpret_cast<void*>(library.m_pParseBuffer),
        reinterpret_cast<void*>(library.m_pStopParser),
        reinterpret_cast<void*>(library.m_pResumeParser),
        reinterpret_cast<void*>(library.m_pGetParsingStatus),
        reinterpret_cast<void*>(library.m_pGetErrorCode),
        reinterpret_cast<void*>(library.m_pGetCurrentLineNumber),
        reinterpret_cast<void*>(library.m_pGetCurrentColumnNumber),
        reinterpret_cast<void*>(library.m_pGetCurrentByteIndex),
        reinterpret_cast<void*>(library.m_pGetCurrentByteCount),
        reinterpret_cast<void*>(library.m_pParserFree),
        reinterpret_cast<void*>(library.m_pErrorString),
        reinterpret_cast<void*>(library.m_pExpatVersion),
        reinterpret_cast<void*>(library.m_pExpatVersionInfo),
        reinterpret_cast<void*>(library.m_pGetFeatureList),
    };
    EXPECT_EQ(std::size(functions), 37U);
    for (std::size_t i = 0; i < std::size(functions); ++i) {
        EXPECT_NE(functions[i], nullptr) << i;
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_NE(functions[i], functions[j]) << i << " and " << j;
        }
    }
    EXPECT_EQ(std::string(library.m_pExpatVersion()).substr(0, 6), "expat_");
    EXPECT_TRUE(library.Bind(false, &error));
    EXPECT_FALSE(library.IsBound());
    EXPECT_EQ(library.m_pParse, nullptr);
    EXPECT_EQ(library.m_pGetFeatureList, nullptr);
}

TEST(ExpatLibrary, missing_name_fails_the_binding_and_the_others_are_tried_all_the_same) {
    Expat library;
    std::uint32_t error = 0;
    ASSERT_TRUE(library.Load(kOldLibrary, 0, &error)) << error;
    EXPECT_FALSE(library.Bind(true, &error));
    EXPECT_EQ(error, 127U);
    EXPECT_FALSE(library.IsBound());
    EXPECT_EQ(library.m_pExpatVersionInfo, nullptr);
    EXPECT_NE(library.m_pParserCreate, nullptr);
    EXPECT_NE(library.m_pGetFeatureList, nullptr);
}

TEST(ExpatLibrary, each_misuse_has_its_code) {
    Expat library;
    std::uint32_t error = 0;
    EXPECT_FALSE(library.Bind(true, &error));
    EXPECT_EQ(error, 6U);
    EXPECT_FALSE(library.Load(L"data\\missing\\libexpat.dll", 0, &error));
    EXPECT_EQ(error, 126U);
    EXPECT_FALSE(library.Load(nullptr, 0, &error));
    EXPECT_EQ(error, 160U);
    ASSERT_TRUE(library.Load(kLibrary, 0, &error));
    EXPECT_FALSE(library.Load(kLibrary, 0, &error));
    EXPECT_EQ(error, 5010U);
}

// Notes what it is told, and does what a test wants in the middle of a document.
class Listener : public XmlParserExpatBase {
public:
    explicit Listener(const wchar_t* encoding = L"UTF8", const wchar_t* folder = L".") {
        XmlParsingState state;
        CopyIntoBuffer(state.wszEncoding, encoding);
        CopyIntoBuffer(state.wszPathOfDll, folder);
        CopyParsingState(state);
    }
    void Begin() {
        ASSERT_EQ(LoadLibrary(), 0U);
        ASSERT_EQ(CreateParser(), 0U);
    }
    std::uint32_t ParseAll(const std::string& text) {
        return Parse(text.data(), static_cast<int>(text.size()), true);
    }
    Expat& Functions() { return m_Library; }

    void OnStartElement(const char* name, const char** attributes) override {
        std::string note = std::string("<") + name;
        for (; *attributes != nullptr; ++attributes) {
            note += std::string(" ") + *attributes;
        }
        m_Notes.push_back(note);
        if (m_bSuspend)
            StopParser(true);
        if (m_bStop)
            StopParser(false);
        if (m_bRaise)
            throw std::runtime_error("from a handler");
    }
    void OnEndElement(const char* name) override { m_Notes.push_back(std::string(">") + name); }
    void OnCharacterData(const char* data, int length) override {
        m_Notes.push_back("text " + std::string(data, static_cast<std::size_t>(length)));
    }
    void OnProcessingInstruction(const char* target, const char* data) override {
        m_Notes.push_back(std::string("? ") + target + " " + data);
    }
    void OnUnparsedEntityDecl(const char* name, const char*, const char* systemId, const char*,
                              const char* notation) override {
        m_Notes.push_back(std::string("unparsed ") + name + " " + systemId + " " + notation);
    }
    void OnNotationDecl(const char* name, const char*, const char* systemId, const char*) override {
        m_Notes.push_back(std::string("notation ") + name + " " + systemId);
    }
    void OnComment(const char* data) override { m_Notes.push_back(std::string("!") + data); }
    int OnNotStandalone() override {
        m_Notes.emplace_back("not standalone");
        return m_bAccept ? 1 : XmlParserExpatBase::OnNotStandalone();
    }

    std::vector<std::string> m_Notes;
    bool m_bSuspend = false;
    bool m_bStop = false;
    bool m_bRaise = false;
    bool m_bAccept = false;
};

TEST(XmlParserExpatBase, handlers_are_told_of_everything_in_the_order_of_the_document) {
    Listener parser;
    parser.Begin();
    parser.m_bAccept = true;
    EXPECT_EQ(parser.ParseAll("<!DOCTYPE a SYSTEM \"a.dtd\" [<!NOTATION gif SYSTEM \"viewer\">"
                              "<!ENTITY logo SYSTEM \"logo.gif\" NDATA gif>]>"
                              "<?tool do this?><a x=\"1\" y=\"2\"><!--note--><b>text</b></a>"),
              0U);
    const std::vector<std::string> expected = {"not standalone",
                                               "notation gif viewer",
                                               "unparsed logo logo.gif gif",
                                               "? tool do this",
                                               "<a x 1 y 2",
                                               "!note",
                                               "<b",
                                               "text text",
                                               ">b",
                                               ">a"};
    EXPECT_EQ(parser.m_Notes, expected);
    EXPECT_TRUE(parser.IsStatusFinished());
}

TEST(XmlParserExpatBase, base_refuses_what_needs_other_documents) {
    Listener parser;
    parser.Begin();
    EXPECT_EQ(parser.ParseAll("<!DOCTYPE a SYSTEM \"a.dtd\"><a/>"), 13U);
    std::uint32_t error = 0;
    const char* text = nullptr;
    EXPECT_EQ(parser.GetErrorCode(error), 0U);
    EXPECT_EQ(error, static_cast<std::uint32_t>(XML_ERROR_NOT_STANDALONE));
    EXPECT_EQ(parser.GetErrorString(text), 0U);
    EXPECT_STREQ(text, "document is not standalone");
    EXPECT_EQ(parser.OnExternalEntityRef(nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(XmlParserExpatBase, what_a_handler_raises_comes_out_of_the_call_and_no_handler_follows) {
    Listener parser;
    parser.Begin();
    parser.m_bRaise = true;
    EXPECT_THROW(parser.ParseAll("<a><b/></a>"), std::runtime_error);
    EXPECT_EQ(parser.m_Notes, std::vector<std::string>{"<a"});
    // The parser is at its end until it is reset.
    EXPECT_EQ(parser.ParseAll("<a/>"), 87U);
    parser.m_bRaise = false;
    EXPECT_EQ(parser.ResetParser(), 0U);
    EXPECT_EQ(parser.ParseAll("<c/>"), 0U);
    EXPECT_EQ(parser.m_Notes, (std::vector<std::string>{"<a", "<c", ">c"}));
}

TEST(XmlParserExpatBase, without_library_or_parser_each_operation_has_its_code) {
    Listener parser;
    XML_ParsingStatus status{};
    void* buffer = &parser;
    const char* text = nullptr;
    std::uint32_t error = 0;
    std::int32_t place = 0;
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round == 0 ? "no library" : "no parser");
        EXPECT_EQ(parser.FreeParser(), 1U);
        EXPECT_EQ(parser.ResetParser(), 1U);
        EXPECT_EQ(parser.Parse("<a/>", 4, true), 1U);
        EXPECT_EQ(parser.ParseBuffer(0, true), 1U);
        EXPECT_EQ(parser.GetBuffer(16, buffer), 1U);
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(parser.StopParser(true), 1U);
        EXPECT_EQ(parser.ResumeParser(), 1U);
        EXPECT_EQ(parser.GetParsingStatus(status), 1U);
        EXPECT_EQ(parser.GetErrorCode(error), 23U);
        EXPECT_EQ(parser.GetErrorString(text), 23U);
        EXPECT_EQ(parser.GetCurrentLineNumber(place), 23U);
        EXPECT_EQ(parser.GetCurrentColumnNumber(place), 23U);
        EXPECT_FALSE(parser.IsStatusInitialized());
        EXPECT_FALSE(parser.IsStatusParsing());
        EXPECT_FALSE(parser.IsStatusFinished());
        EXPECT_FALSE(parser.IsStatusSuspended());
        if (round == 0) {
            EXPECT_EQ(parser.CreateParser(), 1U);
            EXPECT_EQ(parser.UnloadLibrary(), 6U);
            ASSERT_EQ(parser.LoadLibrary(), 0U);
        }
    }
    EXPECT_EQ(parser.LoadLibrary(), 5010U);
    EXPECT_EQ(parser.UnloadLibrary(), 0U);
    EXPECT_EQ(parser.UnloadLibrary(), 6U);
    EXPECT_EQ(parser.LoadLibrary(), 0U);
}

TEST(XmlParserExpatBase, loading_gives_the_code_of_each_failure) {
    struct Row {
        const wchar_t* folder;
        std::uint32_t code;
    };
    const Row rows[] = {
        {L".", 0},
        {L".\\", 0},
        {L"data\\missing", 126},
        {L"data\\old-expat", 127},
        {L"data\\old-expat\\", 127},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(KrCommon::String::ToUtf8(row.folder));
        Listener parser(L"UTF8", row.folder);
        EXPECT_EQ(parser.LoadLibrary(), row.code);
        // After a failure nothing stays loaded.
        EXPECT_EQ(parser.UnloadLibrary(), row.code == 0 ? 0U : 6U);
    }
}

TEST(XmlParserExpatBase, encoding_is_one_of_four_words_compared_exactly) {
    struct Row {
        const wchar_t* word;
        std::uint32_t code;
        const char* expatName;
    };
    const Row rows[] = {
        {L"UTF8", 0, "UTF-8"},        {L"UTF16", 0, "UTF-16"}, {L"ISO_8859_1", 0, "ISO-8859-1"},
        {L"US_ASCII", 0, "US-ASCII"}, {L"", 87, ""},           {L"utf8", 87, ""},
        {L"UTF-8", 87, ""},           {L"UTF8 ", 87, ""},      {L"UTF", 87, ""},
        {L"UTF16LE", 87, ""},
    };
    static std::string s_Given;
    for (const Row& row : rows) {
        SCOPED_TRACE(KrCommon::String::ToUtf8(row.word));
        Listener parser(row.word);
        ASSERT_EQ(parser.LoadLibrary(), 0U);
        s_Given.clear();
        parser.Functions().m_pSetEncoding = [](XML_Parser, const XML_Char* name) {
            s_Given = name;
            return XML_STATUS_OK;
        };
        EXPECT_EQ(parser.CreateParser(), row.code);
        EXPECT_EQ(s_Given, row.expatName);
        EXPECT_EQ(parser.FreeParser(), row.code == 0 ? 0U : 1U);
    }
}

// The calls that make a parser, in their order.
std::vector<std::string> s_Calls;
const void* s_pUserData = nullptr;

TEST(XmlParserExpatBase, parser_is_made_in_the_stated_order) {
    Listener parser;
    ASSERT_EQ(parser.LoadLibrary(), 0U);
    Expat& expat = parser.Functions();
    s_Calls.clear();
    expat.m_pParserCreateMM = [](const XML_Char* encoding, const XML_Memory_Handling_Suite* memory,
                                 const XML_Char* separator) {
        s_Calls.emplace_back(
            encoding == nullptr && memory == nullptr && separator == nullptr ? "create" : "other");
        return reinterpret_cast<XML_Parser>(&s_Calls);
    };
    expat.m_pSetUserData = [](XML_Parser, void* data) {
        s_Calls.emplace_back("user data");
        s_pUserData = data;
    };
    expat.m_pSetElementHandler = [](XML_Parser, XML_StartElementHandler start,
                                    XML_EndElementHandler end) {
        s_Calls.emplace_back(start != nullptr && end != nullptr ? "element" : "other");
    };
    expat.m_pSetCharacterDataHandler = [](XML_Parser, XML_CharacterDataHandler) {
        s_Calls.emplace_back("character data");
    };
    expat.m_pSetProcessingInstructionHandler = [](XML_Parser, XML_ProcessingInstructionHandler) {
        s_Calls.emplace_back("processing instruction");
    };
    expat.m_pSetDefaultHandler = [](XML_Parser, XML_DefaultHandler) {
        s_Calls.emplace_back("default");
    };
    expat.m_pSetUnparsedEntityDeclHandler = [](XML_Parser, XML_UnparsedEntityDeclHandler) {
        s_Calls.emplace_back("unparsed entity");
    };
    expat.m_pSetExternalEntityRefHandler = [](XML_Parser, XML_ExternalEntityRefHandler) {
        s_Calls.emplace_back("external entity");
    };
    expat.m_pSetNotationDeclHandler = [](XML_Parser, XML_NotationDeclHandler) {
        s_Calls.emplace_back("notation");
    };
    expat.m_pSetNotStandaloneHandler = [](XML_Parser, XML_NotStandaloneHandler) {
        s_Calls.emplace_back("not standalone");
    };
    expat.m_pSetNamespaceDeclHandler = [](XML_Parser, XML_StartNamespaceDeclHandler start,
                                          XML_EndNamespaceDeclHandler end) {
        s_Calls.emplace_back(start != nullptr && end != nullptr ? "namespace" : "other");
    };
    expat.m_pSetCommentHandler = [](XML_Parser, XML_CommentHandler) {
        s_Calls.emplace_back("comment");
    };
    expat.m_pSetEncoding = [](XML_Parser, const XML_Char*) {
        s_Calls.emplace_back("encoding");
        return XML_STATUS_ERROR;
    };
    expat.m_pGetErrorCode = [](XML_Parser) { return XML_ERROR_UNKNOWN_ENCODING; };
    expat.m_pParserFree = [](XML_Parser) { s_Calls.emplace_back("free"); };

    EXPECT_EQ(parser.CreateParser(), 13U);
    const std::vector<std::string> expected = {"create",
                                               "user data",
                                               "element",
                                               "character data",
                                               "processing instruction",
                                               "default",
                                               "unparsed entity",
                                               "external entity",
                                               "notation",
                                               "not standalone",
                                               "namespace",
                                               "comment",
                                               "encoding",
                                               "free"};
    EXPECT_EQ(s_Calls, expected);
    EXPECT_EQ(s_pUserData, static_cast<XmlParserExpatBase*>(&parser));
}

TEST(XmlParserExpatBase, what_expat_cannot_make_is_an_invalid_handle) {
    Listener parser;
    ASSERT_EQ(parser.LoadLibrary(), 0U);
    Expat& expat = parser.Functions();
    const auto create = expat.m_pParserCreateMM;
    expat.m_pParserCreateMM = [](const XML_Char*, const XML_Memory_Handling_Suite*,
                                 const XML_Char*) -> XML_Parser { return nullptr; };
    EXPECT_EQ(parser.CreateParser(), 6U);
    expat.m_pParserCreateMM = create;
    ASSERT_EQ(parser.CreateParser(), 0U);
    expat.m_pGetBuffer = [](XML_Parser, int) -> void* { return nullptr; };
    void* buffer = &parser;
    EXPECT_EQ(parser.GetBuffer(16, buffer), 6U);
    EXPECT_EQ(buffer, nullptr);
}

TEST(XmlParserExpatBase, codes_of_parsing) {
    Listener parser;
    parser.Begin();
    EXPECT_TRUE(parser.IsStatusInitialized());
    EXPECT_EQ(parser.Parse(nullptr, 0, true), 160U);
    EXPECT_EQ(parser.Parse("<a>", 3, false), 0U);
    EXPECT_TRUE(parser.IsStatusParsing());
    EXPECT_EQ(parser.Parse("\n </b>", 6, true), 13U);
    std::int32_t line = 0;
    std::int32_t column = 0;
    EXPECT_EQ(parser.GetCurrentLineNumber(line), 0U);
    EXPECT_EQ(parser.GetCurrentColumnNumber(column), 0U);
    EXPECT_EQ(line, 2);
    EXPECT_EQ(column, 3);
    EXPECT_EQ(parser.ParseAll("<a/>"), 13U);
    EXPECT_EQ(parser.ResumeParser(), 13U);
    EXPECT_EQ(parser.ResetParser(), 0U);
    EXPECT_TRUE(parser.IsStatusInitialized());
    EXPECT_EQ(parser.ParseAll("<a/>"), 0U);
    // Behind its end a parser takes nothing more.
    EXPECT_TRUE(parser.IsStatusFinished());
    EXPECT_EQ(parser.ParseAll("<a/>"), 87U);
    EXPECT_EQ(parser.StopParser(false), 87U);
    EXPECT_EQ(parser.FreeParser(), 0U);
}

TEST(XmlParserExpatBase, suspended_parser_goes_on_only_by_resuming) {
    Listener parser;
    parser.Begin();
    parser.m_bSuspend = true;
    void* buffer = nullptr;
    EXPECT_EQ(parser.ParseAll("<a><b/></a>"), 1U);
    EXPECT_TRUE(parser.IsStatusSuspended());
    EXPECT_EQ(parser.ParseAll("<c/>"), 1U);
    EXPECT_EQ(parser.GetBuffer(16, buffer), 1U);
    EXPECT_EQ(parser.m_Notes, std::vector<std::string>{"<a"});
    parser.m_bSuspend = false;
    EXPECT_EQ(parser.ResumeParser(), 0U);
    EXPECT_EQ(parser.m_Notes, (std::vector<std::string>{"<a", "<b", ">b", ">a"}));
    EXPECT_TRUE(parser.IsStatusFinished());
}

TEST(XmlParserExpatBase, parser_that_was_stopped_is_aborted) {
    Listener parser;
    parser.Begin();
    parser.m_bStop = true;
    EXPECT_EQ(parser.ParseAll("<a><b/></a>"), 87U);
    EXPECT_EQ(parser.m_Notes, std::vector<std::string>{"<a"});
}

TEST(XmlParserExpatBase, buffer_of_expat_is_parsed_in_place) {
    Listener parser;
    parser.Begin();
    void* buffer = nullptr;
    ASSERT_EQ(parser.GetBuffer(16, buffer), 0U);
    std::memcpy(buffer, "<a/>", 4);
    EXPECT_EQ(parser.ParseBuffer(4, true), 0U);
    EXPECT_EQ(parser.m_Notes, (std::vector<std::string>{"<a", ">a"}));
}

TEST(XmlParserExpatBase, blank_text_table) {
    struct Row {
        const char* text;
        bool blank;
    };
    const Row rows[] = {
        {"", true},    {"\n", true},  {"\r\n", true},   {"\r", true},      {" ", true},
        {"   ", true}, {"\t ", true}, {"\n    ", true}, {"\n \n\t", true}, {"x", false},
        {" x", false}, {"x ", false}, {"\n x", false},  {"0", false},      {"\xc2\xa0", false},
    };
    const Listener parser;
    for (const Row& row : rows) {
        const std::string text = row.text;
        EXPECT_EQ(parser.IsBlankText(text.data(), static_cast<int>(text.size())), row.blank)
            << text;
    }
    EXPECT_TRUE(parser.IsBlankText(" x", 1));
    EXPECT_TRUE(parser.IsBlankText(nullptr, 0));
}

TEST(XmlParserExpatBase, close_tag_table) {
    struct Row {
        const char* text;
        int place;
    };
    const Row rows[] = {
        {"", -1},         {"text", -1},    {"<a>", -1},    {"</a>", 0},   {"text</a>", 4},
        {"-->", 0},       {"note -->", 5}, {"-- > -", -1}, {"< /a>", -1}, {"a</b-->", 1},
        {"a-->b</c>", 1}, {"</", 0},       {"--", -1},
    };
    const Listener parser;
    for (const Row& row : rows) {
        const std::string text = row.text;
        EXPECT_EQ(parser.FindCloseTag(text.data(), static_cast<int>(text.size())), row.place)
            << text;
    }
    EXPECT_EQ(parser.FindCloseTag("</a>", 1), -1);
}

TEST(XmlParsingState, block_has_its_size_and_buffers_take_what_fits) {
    EXPECT_EQ(sizeof(XmlParsingState), 3 * 260 * sizeof(wchar_t));
    XmlParsingState state;
    const std::wstring longest(259, L'x');
    EXPECT_EQ(CopyIntoBuffer(state.wszFilePath, longest.c_str()), 0U);
    EXPECT_EQ(state.wszFilePath, longest);
    EXPECT_EQ(CopyIntoBuffer(state.wszFilePath, (longest + L'x').c_str()), 122U);
    EXPECT_EQ(state.wszFilePath, longest);
    EXPECT_EQ(CopyIntoBuffer(state.wszFilePath, nullptr), 160U);
    EXPECT_EQ(CopyIntoBuffer(state.wszFilePath, L""), 0U);
    EXPECT_EQ(state.wszFilePath, std::wstring());
    EXPECT_EQ(state.wszEncoding, std::wstring());
}

}  // namespace
