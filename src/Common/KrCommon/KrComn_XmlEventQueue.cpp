#include "Common/KrCommon/KrComn_XmlEventQueue.h"

#include <cstring>

namespace KrCommon::Storage {

namespace {

// Copies a text and its NUL and gives the place behind it.
char* Put(char* out, const char* text, std::size_t length) {
    std::memcpy(out, text, length);
    out[length] = '\0';
    return out + length + 1;
}

}  // namespace

char* XmlEventQueue::Extend(const Head& head) {
    DropTaken();
    const std::size_t begin = m_strEvents.size();
    m_strEvents.resize(begin + sizeof(Head) + head.textLength + 1 + head.attributesSize);
    std::memcpy(m_strEvents.data() + begin, &head, sizeof(Head));
    m_uiLastText = head.kind == XmlEventKind::kText ? begin : kNowhere;
    return m_strEvents.data() + begin + sizeof(Head);
}

void XmlEventQueue::DropTaken() noexcept {
    if (m_uiTaken != m_strEvents.size())
        return;
    Clear();
}

void XmlEventQueue::AddStartTag(const char* name, const char* const* attributes) {
    Head head{XmlEventKind::kStartTag, std::strlen(name), 0, 0};
    for (; attributes[head.attributeTexts] != nullptr; ++head.attributeTexts) {
        head.attributesSize += std::strlen(attributes[head.attributeTexts]) + 1;
    }
    char* out = Put(Extend(head), name, head.textLength);
    for (std::size_t i = 0; i < head.attributeTexts; ++i) {
        out = Put(out, attributes[i], std::strlen(attributes[i]));
    }
}

void XmlEventQueue::AddEndTag(const char* name) {
    const Head head{XmlEventKind::kEndTag, std::strlen(name), 0, 0};
    Put(Extend(head), name, head.textLength);
}

void XmlEventQueue::AddText(std::string_view text) {
    if (m_uiLastText == kNowhere) {
        const Head head{XmlEventKind::kText, text.size(), 0, 0};
        Put(Extend(head), text.data(), text.size());
        return;
    }
    Head head{};
    m_strEvents.reserve(m_strEvents.size() + text.size());
    std::memcpy(&head, m_strEvents.data() + m_uiLastText, sizeof(Head));
    head.textLength += text.size();
    std::memcpy(m_strEvents.data() + m_uiLastText, &head, sizeof(Head));
    m_strEvents.pop_back();
    m_strEvents.append(text).push_back('\0');
}

bool XmlEventQueue::Take(XmlEvent& event) {
    if (m_uiTaken == m_strEvents.size())
        return false;
    Head head{};
    const char* position = m_strEvents.data() + m_uiTaken;
    std::memcpy(&head, position, sizeof(Head));
    position += sizeof(Head);
    const std::string_view text(position, head.textLength);
    position += head.textLength + 1;
    m_Attributes.resize(head.attributeTexts + 1);
    for (std::size_t i = 0; i < head.attributeTexts; ++i) {
        m_Attributes[i] = position;
        position += std::strlen(position) + 1;
    }
    m_Attributes.back() = nullptr;
    event = {head.kind, text, m_Attributes.data()};
    m_uiTaken += sizeof(Head) + head.textLength + 1 + head.attributesSize;
    m_uiLastText = kNowhere;
    return true;
}

void XmlEventQueue::Clear() noexcept {
    m_strEvents.clear();
    m_uiTaken = 0;
    m_uiLastText = kNowhere;
}

}  // namespace KrCommon::Storage
