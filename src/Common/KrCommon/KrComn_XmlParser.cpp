#include "Common/KrCommon/KrComn_XmlParser.h"

#include <array>
#include <exception>
#include <string>
#include <string_view>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_XmlParserExpat.h"
#include "Common/KrCommon/KrComn_XmlText.h"

namespace KrCommon::Storage {

namespace {

constexpr const char* kSource = "KrComn_XmlParser";
constexpr std::uint32_t kLineNotFound = 176;
constexpr std::size_t kBlockSize = 1024;

[[noreturn]] void RaiseCode(std::uint32_t code, std::uint32_t line) {
    KrCommon::Exception::Raise<XmlException>(code, line, kSource);
}

[[noreturn]] void RaiseNoSuchRoot(std::uint32_t line) {
    KrCommon::Exception::Raise<Exception>(ErrorCode::kBadArguments, line, kSource);
}

bool IsEmpty(const wchar_t* text) {
    return text == nullptr || *text == L'\0';
}

void SetBuffer(XmlParsingState::Buffer& buffer, const wchar_t* value) {
    const std::uint32_t code = CopyIntoBuffer(buffer, value);
    if (code != ErrorCode::kSuccess)
        RaiseCode(code, __LINE__);
}

void FillEmptyBuffer(XmlParsingState::Buffer& buffer, const wchar_t* value) {
    if (IsEmpty(buffer))
        SetBuffer(buffer, value);
}

// Follows the path of an element from tag to tag.
class RootSearch {
public:
    // The path behind its first "/".
    explicit RootSearch(std::wstring_view path) : m_Rest(path), m_bFound(path.empty()) {
        TakeHead();
    }

    bool Found() const { return m_bFound; }

    void OnStartTag(std::string_view name) {
        if (m_uiPassedOver == 0 && IsHead(name)) {
            m_bFound = m_Rest.empty();
            TakeHead();
        } else {
            ++m_uiPassedOver;
        }
    }

    // False when the element that should hold the next one ends here.
    bool OnEndTag() {
        if (m_uiPassedOver == 0)
            return false;
        --m_uiPassedOver;
        return true;
    }

private:
    void TakeHead() {
        const std::size_t separator = m_Rest.find(L'/');
        m_Head = m_Rest.substr(0, separator);
        m_Rest.remove_prefix(separator == std::wstring_view::npos ? m_Rest.size() : separator + 1);
    }

    bool IsHead(std::string_view name) {
        m_strName.clear();
        AppendWidened(m_strName, name);
        return m_strName == m_Head;
    }

    std::wstring_view m_Rest;
    std::wstring_view m_Head;
    std::wstring m_strName;
    std::size_t m_uiPassedOver = 0;  // open elements below the last one that was followed
    bool m_bFound;
};

// Takes the events that were fed until the element is found; false when more is needed.
bool SearchOn(XmlParserExpat& parser, RootSearch& search) {
    const char* event = nullptr;
    for (int length = 0; !search.Found() && parser.NextEvent(event, length);) {
        const auto state = static_cast<XmlEventKind>(parser.QueryState());
        if (state == XmlEventKind::kStartTag) {
            search.OnStartTag({event, static_cast<std::size_t>(length)});
        } else if (state == XmlEventKind::kEndTag && !search.OnEndTag()) {
            RaiseNoSuchRoot(__LINE__);
        }
    }
    return search.Found();
}

}  // namespace

XmlParser::XmlParser() = default;

XmlParser::~XmlParser() = default;

void XmlParser::SetOption(const wchar_t* name, const wchar_t* value) {
    if (IsEmpty(name) || IsEmpty(value))
        RaiseCode(ErrorCode::kBadArguments, __LINE__);
    if (std::wstring_view(name) == L"Encoding") {
        SetBuffer(m_State.wszEncoding, value);
    } else if (std::wstring_view(name) == L"PathOfDll") {
        SetBuffer(m_State.wszPathOfDll, value);
    }
}

void XmlParser::Open(const wchar_t* path, const wchar_t* rootPath) {
    try {
        Release();
        FillDefaults(path);
        std::uint32_t error = ErrorCode::kSuccess;
        if (!m_File.OpenForRead(m_State.wszFilePath, &error))
            RaiseCode(error, __LINE__);
        m_pParser = std::make_unique<XmlParserExpat>();
        m_pParser->CopyParsingState(m_State);
        if (!m_pParser->Start(&error))
            RaiseCode(error, __LINE__);
        ReadTree(rootPath);
        m_pParser.reset();
        m_pCurrent = &m_Root;
    } catch (const std::exception&) {  // no memory, or more text than a string can hold
        Release();
        RaiseCode(ErrorCode::kInvalidHandle, __LINE__);
    } catch (...) {
        Release();
        throw;
    }
}

void XmlParser::FillDefaults(const wchar_t* path) {
    FillEmptyBuffer(m_State.wszFilePath, path);
    FillEmptyBuffer(m_State.wszEncoding, L"UTF8");
    FillEmptyBuffer(m_State.wszPathOfDll, L"");
}

void XmlParser::ReadTree(const wchar_t* rootPath) {
    if (rootPath == nullptr || *rootPath != L'/')
        RaiseCode(ErrorCode::kInvalidParameter, __LINE__);
    RootSearch search(rootPath + 1);
    for (bool isFinal = false, done = false; !done && !isFinal;) {
        const std::uint32_t code = FeedBlock(isFinal);
        // What came before a fault counts: where the blocks begin makes no difference.
        done = SearchOn(*m_pParser, search) && m_pParser->ReadElement(m_Root);
        if (!done && code != ErrorCode::kSuccess)
            RaiseFault(code, __LINE__);
    }
    if (!search.Found())
        RaiseNoSuchRoot(__LINE__);
}

std::uint32_t XmlParser::FeedBlock(bool& isFinal) {
    std::array<char, kBlockSize> block;
    std::uint32_t count = 0;
    std::uint32_t error = ErrorCode::kSuccess;
    if (!m_File.Read(block.data(), kBlockSize, &count, &error))
        RaiseCode(error, __LINE__);
    isFinal = count == 0;
    return m_pParser->Feed(block.data(), static_cast<int>(count), isFinal);
}

void XmlParser::RaiseFault(std::uint32_t code, std::uint32_t sourceLine) {
    std::int32_t line = 0;
    std::int32_t column = 0;
    const char* text = "";
    m_pParser->GetCurrentLineNumber(line);
    m_pParser->GetCurrentColumnNumber(column);
    m_pParser->GetErrorString(text);
    KrCommon::Exception::Raise<XmlException>(code, sourceLine, kSource, line, column, text);
}

bool XmlParser::QueryData(const wchar_t* path, XmlElement& element) {
    if (m_pCurrent == nullptr)
        RaiseCode(ErrorCode::kInvalidHandle, __LINE__);
    if (path == nullptr)
        RaiseCode(ErrorCode::kBadArguments, __LINE__);
    const XmlElement* const found = m_pCurrent->Find(path);
    if (found == nullptr)
        RaiseCode(ErrorCode::kInvalidHandle, kLineNotFound);
    try {
        element.Copy(*found);
    } catch (const std::exception&) {
        RaiseCode(ErrorCode::kInvalidHandle, __LINE__);
    }
    return true;
}

bool XmlParser::QueryProduct(XmlElement& element) {
    return QueryData(L"./Product", element);
}

void XmlParser::Close() {
    Release();
    m_State = {};
}

// Leaves nothing behind but path and options.
void XmlParser::Release() noexcept {
    m_pCurrent = nullptr;
    m_Root.Clear();
    m_pParser.reset();
    m_File.Close();
}

}  // namespace KrCommon::Storage
