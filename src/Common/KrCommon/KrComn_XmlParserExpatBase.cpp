#include "Common/KrCommon/KrComn_XmlParserExpatBase.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_String.h"

namespace KrCommon::Storage {

namespace {

constexpr const wchar_t* kModuleName = L"libexpat.dll";

struct Encoding {
    std::wstring_view word;
    const char* expatName;
};

constexpr Encoding kEncodings[] = {
    {L"UTF8", "UTF-8"},
    {L"UTF16", "UTF-16"},
    {L"ISO_8859_1", "ISO-8859-1"},
    {L"US_ASCII", "US-ASCII"},
};

// Null for a word that is none of them.
const char* ExpatNameOf(std::wstring_view word) {
    for (const Encoding& encoding : kEncodings) {
        if (encoding.word == word)
            return encoding.expatName;
    }
    return nullptr;
}

}  // namespace

struct ExpatHandlers {
    // Runs a handler. Nothing may be raised through the frames of expat, which are C.
    template <class Handler>
    static void Run(void* user, Handler handler) noexcept {
        auto& parser = *static_cast<XmlParserExpatBase*>(user);
        if (parser.m_pRaised != nullptr)
            return;
        try {
            handler(parser);
        } catch (...) {
            parser.m_pRaised = std::current_exception();
            parser.m_Library.m_pStopParser(parser.m_pParser, XML_FALSE);
        }
    }

    static void XMLCALL StartElement(void* user, const XML_Char* name,
                                     const XML_Char** attributes) {
        Run(user, [&](XmlParserExpatBase& parser) { parser.OnStartElement(name, attributes); });
    }
    static void XMLCALL EndElement(void* user, const XML_Char* name) {
        Run(user, [&](XmlParserExpatBase& parser) { parser.OnEndElement(name); });
    }
    static void XMLCALL CharacterData(void* user, const XML_Char* data, int length) {
        Run(user, [&](XmlParserExpatBase& parser) { parser.OnCharacterData(data, length); });
    }
    static void XMLCALL ProcessingInstruction(void* user, const XML_Char* target,
                                              const XML_Char* data) {
        Run(user,
            [&](XmlParserExpatBase& parser) { parser.OnProcessingInstruction(target, data); });
    }
    static void XMLCALL Default(void* user, const XML_Char* data, int length) {
        Run(user, [&](XmlParserExpatBase& parser) { parser.OnDefault(data, length); });
    }
    static void XMLCALL UnparsedEntityDecl(void* user, const XML_Char* name, const XML_Char* base,
                                           const XML_Char* systemId, const XML_Char* publicId,
                                           const XML_Char* notation) {
        Run(user, [&](XmlParserExpatBase& parser) {
            parser.OnUnparsedEntityDecl(name, base, systemId, publicId, notation);
        });
    }
    static int XMLCALL ExternalEntityRef(XML_Parser expat, const XML_Char* context,
                                         const XML_Char* base, const XML_Char* systemId,
                                         const XML_Char* publicId) {
        int answer = 0;
        Run(XML_GetUserData(expat), [&](XmlParserExpatBase& parser) {
            answer = parser.OnExternalEntityRef(context, base, systemId, publicId);
        });
        return answer;
    }
    static void XMLCALL NotationDecl(void* user, const XML_Char* name, const XML_Char* base,
                                     const XML_Char* systemId, const XML_Char* publicId) {
        Run(user, [&](XmlParserExpatBase& parser) {
            parser.OnNotationDecl(name, base, systemId, publicId);
        });
    }
    static int XMLCALL NotStandalone(void* user) {
        int answer = 0;
        Run(user, [&](XmlParserExpatBase& parser) { answer = parser.OnNotStandalone(); });
        return answer;
    }
    static void XMLCALL StartNamespace(void* user, const XML_Char* prefix, const XML_Char* uri) {
        Run(user, [&](XmlParserExpatBase& parser) { parser.OnStartNamespace(prefix, uri); });
    }
    static void XMLCALL EndNamespace(void* user, const XML_Char* prefix) {
        Run(user, [&](XmlParserExpatBase& parser) { parser.OnEndNamespace(prefix); });
    }
    static void XMLCALL Comment(void* user, const XML_Char* data) {
        Run(user, [&](XmlParserExpatBase& parser) { parser.OnComment(data); });
    }
};

XmlParserExpatBase::~XmlParserExpatBase() {
    XmlParserExpatBase::FreeParser();
}

void XmlParserExpatBase::OnStartElement(const char*, const char**) {}
void XmlParserExpatBase::OnEndElement(const char*) {}
void XmlParserExpatBase::OnCharacterData(const char*, int) {}
void XmlParserExpatBase::OnProcessingInstruction(const char*, const char*) {}
void XmlParserExpatBase::OnDefault(const char*, int) {}
void XmlParserExpatBase::OnUnparsedEntityDecl(const char*, const char*, const char*, const char*,
                                              const char*) {}

int XmlParserExpatBase::OnNotStandalone() {
    return 0;
}

int XmlParserExpatBase::OnExternalEntityRef(const char*, const char*, const char*, const char*) {
    return 0;
}

void XmlParserExpatBase::OnNotationDecl(const char*, const char*, const char*, const char*) {}
void XmlParserExpatBase::OnStartNamespace(const char*, const char*) {}
void XmlParserExpatBase::OnEndNamespace(const char*) {}
void XmlParserExpatBase::OnComment(const char*) {}

void XmlParserExpatBase::CopyParsingState(const XmlParsingState& source) {
    m_State = source;
}

bool XmlParserExpatBase::IsBlankText(const char* data, int length) const {
    return std::all_of(data, data + length, [](char character) {
        return character == ' ' || character == '\t' || character == '\r' || character == '\n';
    });
}

int XmlParserExpatBase::FindCloseTag(const char* data, int length) const {
    const std::string_view text(data, static_cast<std::size_t>(length));
    const std::size_t found = std::min(text.find("</"), text.find("-->"));
    return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

bool XmlParserExpatBase::IsStatus(XML_Parsing status) const {
    XML_ParsingStatus now{};
    return GetParsingStatus(now) == ErrorCode::kSuccess && now.parsing == status;
}

bool XmlParserExpatBase::IsStatusInitialized() const {
    return IsStatus(XML_INITIALIZED);
}

bool XmlParserExpatBase::IsStatusParsing() const {
    return IsStatus(XML_PARSING);
}

bool XmlParserExpatBase::IsStatusFinished() const {
    return IsStatus(XML_FINISHED);
}

bool XmlParserExpatBase::IsStatusSuspended() const {
    return IsStatus(XML_SUSPENDED);
}

std::uint32_t XmlParserExpatBase::CreateParser() {
    if (!m_Library.IsBound())
        return ErrorCode::kInvalidFunction;
    FreeParser();
    const char* const encoding = ExpatNameOf(m_State.wszEncoding);
    if (encoding == nullptr)
        return ErrorCode::kInvalidParameter;
    m_pParser = m_Library.m_pParserCreateMM(nullptr, nullptr, nullptr);
    if (m_pParser == nullptr)
        return ErrorCode::kInvalidHandle;
    InstallHandlers();
    const std::uint32_t code = CodeOf(m_Library.m_pSetEncoding(m_pParser, encoding));
    if (code != ErrorCode::kSuccess)
        FreeParser();
    return code;
}

void XmlParserExpatBase::InstallHandlers() {
    m_Library.m_pSetUserData(m_pParser, this);
    m_Library.m_pSetElementHandler(m_pParser, ExpatHandlers::StartElement,
                                   ExpatHandlers::EndElement);
    m_Library.m_pSetCharacterDataHandler(m_pParser, ExpatHandlers::CharacterData);
    m_Library.m_pSetProcessingInstructionHandler(m_pParser, ExpatHandlers::ProcessingInstruction);
    m_Library.m_pSetDefaultHandler(m_pParser, ExpatHandlers::Default);
    m_Library.m_pSetUnparsedEntityDeclHandler(m_pParser, ExpatHandlers::UnparsedEntityDecl);
    m_Library.m_pSetExternalEntityRefHandler(m_pParser, ExpatHandlers::ExternalEntityRef);
    m_Library.m_pSetNotationDeclHandler(m_pParser, ExpatHandlers::NotationDecl);
    m_Library.m_pSetNotStandaloneHandler(m_pParser, ExpatHandlers::NotStandalone);
    m_Library.m_pSetNamespaceDeclHandler(m_pParser, ExpatHandlers::StartNamespace,
                                         ExpatHandlers::EndNamespace);
    m_Library.m_pSetCommentHandler(m_pParser, ExpatHandlers::Comment);
}

std::uint32_t XmlParserExpatBase::FreeParser() {
    if (!HasParser())
        return ErrorCode::kInvalidFunction;
    m_Library.m_pParserFree(std::exchange(m_pParser, nullptr));
    return ErrorCode::kSuccess;
}

std::uint32_t XmlParserExpatBase::LoadLibrary() {
    std::wstring path(m_State.wszPathOfDll);
    String::AppendSeparator(path);
    path += kModuleName;
    std::uint32_t code = ErrorCode::kSuccess;
    if (m_Library.Load(path.c_str(), 0, &code) && !m_Library.Bind(true, &code)) {
        m_Library.Bind(false, nullptr);
        m_Library.Unload(nullptr);
    }
    return code;
}

std::uint32_t XmlParserExpatBase::UnloadLibrary() {
    FreeParser();
    std::uint32_t code = ErrorCode::kSuccess;
    if (m_Library.Unload(&code))
        m_Library.Bind(false, nullptr);
    return code;
}

std::uint32_t XmlParserExpatBase::ResetParser() {
    if (!HasParser())
        return ErrorCode::kInvalidFunction;
    const char* const encoding = ExpatNameOf(m_State.wszEncoding);
    if (encoding == nullptr)
        return ErrorCode::kInvalidParameter;
    if (m_Library.m_pParserReset(m_pParser, encoding) == XML_FALSE)
        return ErrorCode::kInvalidData;
    InstallHandlers();
    return ErrorCode::kSuccess;
}

std::uint32_t XmlParserExpatBase::CodeOf(XML_Status status) const {
    if (status == XML_STATUS_OK)
        return ErrorCode::kSuccess;
    if (status == XML_STATUS_SUSPENDED)
        return ErrorCode::kInvalidFunction;
    switch (m_Library.m_pGetErrorCode(m_pParser)) {
        case XML_ERROR_SUSPENDED:
            return ErrorCode::kInvalidFunction;
        case XML_ERROR_ABORTED:
        case XML_ERROR_FINISHED:
            return ErrorCode::kInvalidParameter;
        default:
            return ErrorCode::kInvalidData;
    }
}

std::uint32_t XmlParserExpatBase::FinishParsing(XML_Status status) {
    if (m_pRaised != nullptr)
        std::rethrow_exception(std::exchange(m_pRaised, nullptr));
    return CodeOf(status);
}

std::uint32_t XmlParserExpatBase::Parse(const char* data, int length, bool isFinal) {
    if (!HasParser())
        return ErrorCode::kInvalidFunction;
    if (data == nullptr)
        return ErrorCode::kBadArguments;
    return FinishParsing(m_Library.m_pParse(m_pParser, data, length, isFinal ? 1 : 0));
}

std::uint32_t XmlParserExpatBase::ParseBuffer(int length, bool isFinal) {
    if (!HasParser())
        return ErrorCode::kInvalidFunction;
    return FinishParsing(m_Library.m_pParseBuffer(m_pParser, length, isFinal ? 1 : 0));
}

std::uint32_t XmlParserExpatBase::GetBuffer(int length, void*& buffer) {
    buffer = nullptr;
    if (!HasParser() || IsStatusSuspended())
        return ErrorCode::kInvalidFunction;
    buffer = m_Library.m_pGetBuffer(m_pParser, length);
    return buffer != nullptr ? ErrorCode::kSuccess : ErrorCode::kInvalidHandle;
}

std::uint32_t XmlParserExpatBase::StopParser(bool resumable) {
    if (!HasParser())
        return ErrorCode::kInvalidFunction;
    return CodeOf(m_Library.m_pStopParser(m_pParser, resumable ? XML_TRUE : XML_FALSE));
}

std::uint32_t XmlParserExpatBase::ResumeParser() {
    if (!HasParser())
        return ErrorCode::kInvalidFunction;
    return FinishParsing(m_Library.m_pResumeParser(m_pParser));
}

std::uint32_t XmlParserExpatBase::GetParsingStatus(XML_ParsingStatus& status) const {
    if (!HasParser())
        return ErrorCode::kInvalidFunction;
    m_Library.m_pGetParsingStatus(m_pParser, &status);
    return ErrorCode::kSuccess;
}

std::uint32_t XmlParserExpatBase::GetErrorCode(std::uint32_t& error) const {
    if (!HasParser())
        return ErrorCode::kCrc;
    error = static_cast<std::uint32_t>(m_Library.m_pGetErrorCode(m_pParser));
    return ErrorCode::kSuccess;
}

std::uint32_t XmlParserExpatBase::GetErrorString(const char*& text) const {
    if (!HasParser())
        return ErrorCode::kCrc;
    text = m_Library.m_pErrorString(m_Library.m_pGetErrorCode(m_pParser));
    if (text == nullptr)
        text = "";
    return ErrorCode::kSuccess;
}

std::uint32_t XmlParserExpatBase::GetCurrentLineNumber(std::int32_t& line) const {
    if (!HasParser())
        return ErrorCode::kCrc;
    line = static_cast<std::int32_t>(m_Library.m_pGetCurrentLineNumber(m_pParser));
    return ErrorCode::kSuccess;
}

std::uint32_t XmlParserExpatBase::GetCurrentColumnNumber(std::int32_t& column) const {
    if (!HasParser())
        return ErrorCode::kCrc;
    column = static_cast<std::int32_t>(m_Library.m_pGetCurrentColumnNumber(m_pParser));
    return ErrorCode::kSuccess;
}

}  // namespace KrCommon::Storage
