#pragma once

// The tags and the text of a document between the XML library, which finds them, and the reader,
// which takes them one by one.
//
// The library tells of all that stands in the piece of the document it is given. The events wait
// here, in one block of memory that is used again and again.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace KrCommon::Storage {

// The numbers are those of XmlParserSaxBase::QueryState().
enum class XmlEventKind : int { kNone = 0, kStartTag = 1, kEndTag = 2, kText = 3 };

struct XmlEvent {
    XmlEventKind kind = XmlEventKind::kNone;
    // The name of the tag, or the text; a NUL stands behind it.
    std::string_view text;
    // Of a start tag: names and values in turn, with a null pointer at the end.
    const char* const* attributes = nullptr;
};

// Without memory the operations raise std::bad_alloc and leave the queue as it was.
class XmlEventQueue {
public:
    // `attributes` as in an event.
    void AddStartTag(const char* name, const char* const* attributes);
    void AddEndTag(const char* name);
    // Text that follows on text is one event with it, unless that was taken already.
    void AddText(std::string_view text);

    // Takes the oldest event. What it points to holds until the next call of Add... or Take.
    bool Take(XmlEvent& event);

    void Clear() noexcept;

private:
    struct Head {
        XmlEventKind kind;
        std::size_t textLength;
        std::size_t attributesSize;  // of all their texts, each with a NUL
        std::size_t attributeTexts;  // how many these are
    };
    static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

    // Makes room for an event behind the others and gives the place of its text.
    char* Extend(const Head& head);
    // What was taken makes room for what comes.
    void DropTaken() noexcept;

    std::string m_strEvents;                // each a head, the text and a NUL, the attributes
    std::vector<const char*> m_Attributes;  // of the event taken last
    std::size_t m_uiTaken = 0;
    std::size_t m_uiLastText = kNowhere;  // the head of the last event, when it is text
};

}  // namespace KrCommon::Storage
