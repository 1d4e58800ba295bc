#include "Common/KrCommon/KrComn_XmlParserExpat.h"

#include <algorithm>
#include <climits>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_XmlText.h"

namespace KrCommon::Storage {

XmlParserSaxBase::~XmlParserSaxBase() = default;
XmlParserExpat::~XmlParserExpat() = default;

bool XmlParserExpat::Start(std::uint32_t* error) {
    std::uint32_t code = ErrorCode::kObjectAlreadyExists;
    if (!m_bStarted) {
        code = LoadLibrary();
        m_bLibraryLoaded = code == ErrorCode::kSuccess;
        if (m_bLibraryLoaded) {
            code = CreateParser();
            m_bParserCreated = code == ErrorCode::kSuccess;
        }
        m_bStarted = m_bParserCreated;
        if (!m_bStarted)
            Release();
    }
    if (error != nullptr)
        *error = code;
    return code == ErrorCode::kSuccess;
}

bool XmlParserExpat::Stop() {
    if (!m_bStarted)
        return false;
    Release();
    m_Queue.Clear();
    m_Event = {};
    m_uiDepth = 0;
    m_pReadRoot = nullptr;
    m_pReadTarget = nullptr;
    m_strText.clear();
    return true;
}

void XmlParserExpat::Release() {
    if (m_bParserCreated)
        FreeParser();
    m_bParserCreated = false;
    if (m_bLibraryLoaded)
        UnloadLibrary();
    m_bLibraryLoaded = false;
    m_bStarted = false;
}

std::uint32_t XmlParserExpat::Feed(const char* data, int length, bool isFinal) {
    return Parse(data, length, isFinal);
}

bool XmlParserExpat::NextEvent(const char*& event, int& length) {
    if (!m_Queue.Take(m_Event))
        return false;
    event = m_Event.text.data();
    length = static_cast<int>(m_Event.text.size());
    return true;
}

int XmlParserExpat::QueryState() const {
    return static_cast<int>(m_Event.kind);
}

bool XmlParserExpat::ReadElement(XmlElement& element) {
    if (m_pReadRoot != &element) {
        element.Clear();
        m_pReadRoot = &element;
        m_pReadTarget = &element;
        m_strText.clear();
        if (m_Event.kind == XmlEventKind::kStartTag)
            element.m_Tag.Fill(m_Event.text.data(), m_Event.attributes);
    }
    while (IsReading() && m_Queue.Take(m_Event)) {
        if (m_Event.kind == XmlEventKind::kText) {
            m_strText += m_Event.text;
        } else if (m_Event.kind == XmlEventKind::kStartTag) {
            ReadStartTag(m_Event.text.data(), m_Event.attributes);
        } else {
            ReadEndTag();
        }
    }
    if (IsReading())
        return false;
    m_pReadRoot = nullptr;
    return true;
}

void XmlParserExpat::ReadStartTag(const char* name, const char* const* attributes) {
    EndText();
    m_pReadTarget = m_pReadTarget->AppendNew();
    m_pReadTarget->m_Tag.Fill(name, attributes);
}

void XmlParserExpat::ReadEndTag() {
    EndText();
    m_pReadTarget = m_pReadTarget != m_pReadRoot ? m_pReadTarget->GetParent() : nullptr;
}

void XmlParserExpat::EndText() {
    const std::size_t looked = std::min<std::size_t>(m_strText.size(), INT_MAX);
    if (!IsBlankText(m_strText.data(), static_cast<int>(looked)))
        AppendWidened(m_pReadTarget->m_strText, m_strText);
    m_strText.clear();
}

void XmlParserExpat::OnStartElement(const char* name, const char** attributes) {
    ++m_uiDepth;
    if (IsReading()) {
        m_Event.kind = XmlEventKind::kStartTag;
        ReadStartTag(name, attributes);
    } else {
        m_Queue.AddStartTag(name, attributes);
    }
}

void XmlParserExpat::OnEndElement(const char* name) {
    --m_uiDepth;
    if (IsReading()) {
        m_Event.kind = XmlEventKind::kEndTag;
        ReadEndTag();
    } else {
        m_Queue.AddEndTag(name);
    }
}

void XmlParserExpat::OnCharacterData(const char* data, int length) {
    const std::string_view text(data, static_cast<std::size_t>(length));
    if (IsReading()) {
        m_Event.kind = XmlEventKind::kText;
        m_strText += text;
    } else {
        m_Queue.AddText(text);
    }
}

void XmlParserExpat::OnDefault(const char* data, int length) {
    if (m_uiDepth != 0 && length > 0 && *data == '&')
        OnCharacterData(data, length);
}

void XmlParserExpat::OnComment(const char*) {}

}  // namespace KrCommon::Storage
