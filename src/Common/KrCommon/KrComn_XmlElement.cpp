#include "Common/KrCommon/KrComn_XmlElement.h"

#include <cstdint>
#include <utility>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Exception.h"

namespace KrCommon::Storage {

namespace {

constexpr const char* kSource = "KrComn_XmlElement";
constexpr std::wstring_view kParent = L"..";

[[noreturn]] void RaiseCode(std::uint32_t code, std::uint32_t line) {
    KrCommon::Exception::Raise<XmlException>(code, line, kSource);
}

// Takes the names of a path off its front.
class PathNames {
public:
    explicit PathNames(std::wstring_view path) : m_Rest(path.substr(0, path.find(L'\0'))) {
        if (m_Rest.substr(0, 2) == L"./") {
            m_Rest.remove_prefix(2);
        } else if (m_Rest == L".") {
            m_Rest = {};
        }
        m_bMore = !m_Rest.empty();
    }

    bool Next(std::wstring_view& name) {
        if (!m_bMore)
            return false;
        const std::size_t separator = m_Rest.find(L'/');
        name = m_Rest.substr(0, separator);
        m_bMore = separator != std::wstring_view::npos;
        if (m_bMore)
            m_Rest.remove_prefix(separator + 1);
        return true;
    }

private:
    std::wstring_view m_Rest;
    bool m_bMore = false;
};

}  // namespace

XmlElement::~XmlElement() {
    FreeChildren();
}

bool XmlElement::GetAttribute(std::wstring_view name, std::wstring& value) const {
    std::wstring_view found;
    const bool exists = m_Tag.Find(name, found);
    value = found;
    return exists;
}

void XmlElement::SetName(std::wstring_view name) {
    m_Tag.SetName(name);
    m_uiAttributeCursor = kNoAttribute;
}

void XmlElement::SetAttribute(std::wstring_view name, std::wstring_view value) {
    m_Tag.Set(name, value);
    m_uiAttributeCursor = kNoAttribute;
}

bool XmlElement::GetFirstAttribute(std::wstring& name, std::wstring& value) {
    m_uiAttributeCursor = m_Tag.Order();
    return GetNextAttribute(name, value);
}

bool XmlElement::GetNextAttribute(std::wstring& name, std::wstring& value) {
    std::wstring_view nameView;
    std::wstring_view valueView;
    if (!m_Tag.Next(m_uiAttributeCursor, nameView, valueView))
        return false;
    name = nameView;
    value = valueView;
    return true;
}

XmlElement* XmlElement::GetFirstChild() {
    m_pCursor = m_pFirstChild;
    return m_pCursor;
}

XmlElement* XmlElement::GetNextChild() {
    if (m_pCursor != nullptr)
        m_pCursor = m_pCursor->m_pNextSibling;
    return m_pCursor;
}

XmlElement* XmlElement::FindChild(std::wstring_view name) const {
    XmlElement* child = m_pFirstChild;
    while (child != nullptr && child->GetName() != name) {
        child = child->m_pNextSibling;
    }
    return child;
}

void XmlElement::PointCursorOfParent() {
    if (m_pParent != nullptr)
        m_pParent->m_pCursor = this;
}

XmlElement* XmlElement::Find(std::wstring_view path) {
    XmlElement* element = this;
    PathNames names(path);
    for (std::wstring_view name; element != nullptr && names.Next(name);) {
        element = name == kParent ? element->m_pParent : element->FindChild(name);
    }
    if (element != nullptr)
        element->PointCursorOfParent();
    return element;
}

void XmlElement::SetValue(std::wstring_view path, std::wstring_view value) {
    XmlElement* element = this;
    PathNames names(path);
    for (std::wstring_view name; names.Next(name);) {
        if (name.empty())
            RaiseCode(ErrorCode::kInvalidParameter, __LINE__);
        XmlElement* next = name == kParent ? element->m_pParent : element->FindChild(name);
        if (next == nullptr) {
            if (name == kParent)
                RaiseCode(ErrorCode::kInvalidHandle, __LINE__);
            next = element->AppendChild(name);
        }
        element = next;
    }
    element->SetText(value);
    element->PointCursorOfParent();
}

XmlElement* XmlElement::AppendChild(std::wstring_view name) {
    XmlTag tag;
    tag.SetName(name);
    XmlElement* const child = AppendNew();
    std::swap(child->m_Tag, tag);
    return child;
}

XmlElement* XmlElement::AppendNew() {
    auto* const child = new XmlElement;
    child->m_pParent = this;
    (m_pLastChild != nullptr ? m_pLastChild->m_pNextSibling : m_pFirstChild) = child;
    m_pLastChild = child;
    return child;
}

void XmlElement::FreeChildren() noexcept {
    XmlElement* element = m_pFirstChild;
    while (element != nullptr) {
        if (XmlElement* const child = std::exchange(element->m_pFirstChild, nullptr)) {
            element = child;
            continue;
        }
        XmlElement* const next = element->m_pNextSibling;
        XmlElement* const parent = element->m_pParent;
        delete element;
        element = next != nullptr || parent == this ? next : parent;
    }
    m_pFirstChild = nullptr;
    m_pLastChild = nullptr;
    m_pCursor = nullptr;
}

void XmlElement::Clear() noexcept {
    FreeChildren();
    m_Tag.Clear();
    m_strText.clear();
    m_uiAttributeCursor = kNoAttribute;
}

void XmlElement::CopyOwnContent(const XmlElement& source) {
    m_Tag = source.m_Tag;
    m_strText = source.m_strText;
}

void XmlElement::TakeContent(XmlElement& source) noexcept {
    Clear();
    std::swap(m_Tag, source.m_Tag);
    m_strText.swap(source.m_strText);
    m_pFirstChild = std::exchange(source.m_pFirstChild, nullptr);
    m_pLastChild = std::exchange(source.m_pLastChild, nullptr);
    for (XmlElement* child = m_pFirstChild; child != nullptr; child = child->m_pNextSibling) {
        child->m_pParent = this;
    }
}

void XmlElement::Copy(const XmlElement& source) {
    XmlElement copy;
    copy.CopyOwnContent(source);
    const XmlElement* from = &source;
    XmlElement* to = &copy;
    for (;;) {
        if (from->m_pFirstChild != nullptr) {
            from = from->m_pFirstChild;
            to = to->AppendNew();
        } else {
            while (from != &source && from->m_pNextSibling == nullptr) {
                from = from->m_pParent;
                to = to->m_pParent;
            }
            if (from == &source)
                break;
            from = from->m_pNextSibling;
            to = to->m_pParent->AppendNew();
        }
        to->CopyOwnContent(*from);
    }
    TakeContent(copy);
}

}  // namespace KrCommon::Storage
