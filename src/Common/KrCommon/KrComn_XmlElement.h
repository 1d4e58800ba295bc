#pragma once

// The tree that an XML document is read into.
//
// An element has a name, a text, attributes and children in the order of the document; it owns its
// children. Two cursors serve walks: one over the attributes, one over the children.
//
// A path names an element from where it is looked up: names with "/" between them, each standing
// for the first child with exactly that name, ".." for the parent. A "." at the start stands for
// the element itself, as does a path without any name ("", ".", "./"). An empty name between or
// behind separators names nothing. Like names and values, a path ends at a NUL.
//
// Trees may be of any depth: no operation calls itself. Operations that need memory raise
// std::bad_alloc without it. A tree belongs to one thread at a time.

#include <cstddef>
#include <string>
#include <string_view>

#include "Common/KrCommon/KrComn_XmlTag.h"

namespace KrCommon::Storage {

class XmlElement {
public:
    XmlElement() = default;
    XmlElement(const XmlElement&) = delete;
    XmlElement& operator=(const XmlElement&) = delete;
    // Frees all children.
    virtual ~XmlElement();

    // The name holds until the name or an attribute changes; a NUL stands behind it.
    std::wstring_view GetName() const { return m_Tag.Name(); }
    const std::wstring& GetText() const { return m_strText; }
    void SetName(std::wstring_view name);
    void SetText(std::wstring_view text) { m_strText = text; }

    // Null at the root of a tree.
    XmlElement* GetParent() const { return m_pParent; }

    // False, and an empty value, when there is no such attribute.
    bool GetAttribute(std::wstring_view name, std::wstring& value) const;

    // Adds an attribute, or gives one that exists a new value. Like a new name, it ends a walk over
    // the attributes. Names and values end at a NUL.
    void SetAttribute(std::wstring_view name, std::wstring_view value);

    // A walk over the attributes in the order of their names. False behind the last one, and then
    // `name` and `value` stay as they were.
    bool GetFirstAttribute(std::wstring& name, std::wstring& value);
    bool GetNextAttribute(std::wstring& name, std::wstring& value);

    // A walk over the children: moves the cursor to the first child, or from the child where it
    // stands to the next one, and gives that child. Null behind the last one, and for
    // GetNextChild() also before a first look-up. The child stays the element's.
    XmlElement* GetFirstChild();
    XmlElement* GetNextChild();

    // The element with this path, null when there is none. The cursor of its parent moves to it.
    XmlElement* Find(std::wstring_view path);

    // Gives the element with this path a text; children that are missing on the way are made.
    // Raises XmlException: code 6 for ".." without a parent, 87 for an empty name. What was made
    // until then stays.
    void SetValue(std::wstring_view path, std::wstring_view value);

    // Adds an element behind the last child.
    XmlElement* AppendChild(std::wstring_view name);

    // Makes the element what a new one is, except that it stays a child of its parent.
    void Clear() noexcept;

    // Makes the element a copy of another one with all below it; the cursors of the copy stand
    // nowhere. Both may be of one tree. Without memory the element stays as it was.
    void Copy(const XmlElement& source);

private:
    // Fills elements with what stands in the tags of a document.
    friend class XmlParserExpat;

    XmlElement* AppendNew();
    XmlElement* FindChild(std::wstring_view name) const;
    void CopyOwnContent(const XmlElement& source);
    void FreeChildren() noexcept;
    void TakeContent(XmlElement& source) noexcept;
    void PointCursorOfParent();

    static constexpr std::size_t kNoAttribute = static_cast<std::size_t>(-1);

    XmlTag m_Tag;
    std::wstring m_strText;
    std::size_t m_uiAttributeCursor = kNoAttribute;  // a position in the tag
    // The children are a list through their own pointers.
    XmlElement* m_pFirstChild = nullptr;
    XmlElement* m_pLastChild = nullptr;
    XmlElement* m_pNextSibling = nullptr;
    XmlElement* m_pCursor = nullptr;
    XmlElement* m_pParent = nullptr;
};

}  // namespace KrCommon::Storage
