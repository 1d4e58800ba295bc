#include "Common/KrCommon/KrComn_XmlTag.h"

#include <cstring>
#include <map>

#include "Common/KrCommon/KrComn_XmlText.h"

namespace KrCommon::Storage {

void XmlTag::Append(std::wstring_view text) {
    m_strTexts.append(text.substr(0, text.find(L'\0'))).push_back(L'\0');
}

void XmlTag::SetName(std::wstring_view name) {
    XmlTag changed;
    changed.m_strTexts.reserve(m_strTexts.size() + name.size() + 1);
    changed.Append(name);
    if (!m_strTexts.empty())
        changed.m_strTexts.append(m_strTexts, FirstPosition());
    m_strTexts.swap(changed.m_strTexts);
}

bool XmlTag::Next(std::size_t& position, std::wstring_view& name, std::wstring_view& value) const {
    if (position >= m_strTexts.size())
        return false;
    name = m_strTexts.data() + position;
    position += name.size() + 1;
    value = m_strTexts.data() + position;
    position += value.size() + 1;
    return true;
}

bool XmlTag::Find(std::wstring_view name, std::wstring_view& value) const {
    std::wstring_view candidate;
    for (std::size_t position = FirstPosition(); Next(position, candidate, value);) {
        if (candidate == name)
            return true;
    }
    value = {};
    return false;
}

std::size_t XmlTag::Order() {
    std::map<std::wstring_view, std::wstring_view> attributes;
    std::wstring_view name;
    std::wstring_view value;
    for (std::size_t position = FirstPosition(); Next(position, name, value);) {
        attributes[name] = value;
    }
    XmlTag ordered;
    ordered.m_strTexts.reserve(m_strTexts.size() + 1);
    ordered.Append(Name());
    for (const auto& [orderedName, orderedValue] : attributes) {
        ordered.Append(orderedName);
        ordered.Append(orderedValue);
    }
    m_strTexts.swap(ordered.m_strTexts);
    return FirstPosition();
}

void XmlTag::Set(std::wstring_view name, std::wstring_view value) {
    const std::wstring_view key = name.substr(0, name.find(L'\0'));
    // Put together anew: the arguments may be views of this tag.
    XmlTag changed;
    changed.m_strTexts.reserve(m_strTexts.size() + name.size() + value.size() + 3);
    changed.Append(Name());
    std::wstring_view otherName;
    std::wstring_view otherValue;
    for (std::size_t position = FirstPosition(); Next(position, otherName, otherValue);) {
        if (otherName != key) {
            changed.Append(otherName);
            changed.Append(otherValue);
        }
    }
    changed.Append(name);
    changed.Append(value);
    m_strTexts.swap(changed.m_strTexts);
}

void XmlTag::Fill(const char* name, const char* const* attributes) {
    if (FillAscii(name, attributes))
        return;
    m_strTexts.clear();
    AppendWidened(m_strTexts, name);
    m_strTexts.push_back(L'\0');
    for (std::size_t i = 0; attributes[i] != nullptr; ++i) {
        AppendWidened(m_strTexts, attributes[i]);
        m_strTexts.push_back(L'\0');
    }
    // The names of a tag differ; a code page can make them the same.
    Order();
}

// Nearly all tags are ASCII, which every code page of the system reads the same way. False when
// this one is not.
bool XmlTag::FillAscii(const char* name, const char* const* attributes) {
    std::size_t size = std::strlen(name) + 1;
    for (std::size_t i = 0; attributes[i] != nullptr; ++i) {
        size += std::strlen(attributes[i]) + 1;
    }
    m_strTexts.resize(size);
    wchar_t* out = m_strTexts.data();
    unsigned bits = 0;
    const auto copy = [&out, &bits](const char* text) {
        unsigned char byte = 0;
        do {
            byte = static_cast<unsigned char>(*text++);
            bits |= byte;
            *out++ = static_cast<wchar_t>(byte);
        } while (byte != 0);
    };
    copy(name);
    for (std::size_t i = 0; attributes[i] != nullptr; ++i) {
        copy(attributes[i]);
    }
    return bits < 0x80;
}

}  // namespace KrCommon::Storage
