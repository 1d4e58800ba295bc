#pragma once

// The parser behind XmlParser: what expat tells goes into a queue, from which tags and texts are
// taken one by one; while an element is read, it goes straight into the tree.
//
// What a tree holds:
// - Names, attributes and texts are widened as AppendWidened says.
// - The text between two tags is one piece, whatever comments, processing instructions and CDATA
//   sections stand in it. A piece of only blanks is dropped: it is the layout of the document. All
//   other pieces are appended to the text of the element that they stand in, unchanged. So mixed
//   content keeps its words, but not their places between the children.
// - References to the five entities of XML and to characters are resolved. One to an entity that
//   the document declares itself stays in a text as it is written ("&name;"); in an attribute it is
//   resolved, with expat's limit on how much a document may grow.
// - Declarations, comments and processing instructions leave nothing.

#include <string>

#include "Common/KrCommon/KrComn_XmlEventQueue.h"
#include "Common/KrCommon/KrComn_XmlParserExpatBase.h"
#include "Common/KrCommon/KrComn_XmlParserSaxBase.h"

namespace KrCommon::Storage {

class XmlParserExpat : public XmlParserSaxBase, public XmlParserExpatBase {
public:
    ~XmlParserExpat() override;

    // Loads the library and makes the parser. On a parser that is started the code is 5010;
    // otherwise it is that of LoadLibrary() or CreateParser(), and nothing stays loaded.
    bool Start(std::uint32_t* error) override;
    // The code of Parse(); what memory runs out for raises std::bad_alloc.
    std::uint32_t Feed(const char* data, int length, bool isFinal) override;
    bool ReadElement(XmlElement& element) override;
    bool Stop() override;
    bool NextEvent(const char*& event, int& length) override;
    int QueryState() const override;

    void OnStartElement(const char* name, const char** attributes) override;
    void OnEndElement(const char* name) override;
    void OnCharacterData(const char* data, int length) override;
    // Gets all that has no handler of its own; of that only references to entities are kept.
    void OnDefault(const char* data, int length) override;
    // A comment ends no piece of text.
    void OnComment(const char* data) override;

    bool IsStarted() const { return m_bStarted; }
    bool IsLibraryLoaded() const { return m_bLibraryLoaded; }
    bool IsParserCreated() const { return m_bParserCreated; }

private:
    void Release();
    bool IsReading() const { return m_pReadTarget != nullptr; }
    void ReadStartTag(const char* name, const char* const* attributes);
    void ReadEndTag();
    void EndText();

    bool m_bStarted = false;
    bool m_bLibraryLoaded = false;
    bool m_bParserCreated = false;
    std::size_t m_uiDepth = 0;  // of the tags that expat has told of
    XmlEventQueue m_Queue;
    XmlEvent m_Event;                     // taken last
    XmlElement* m_pReadRoot = nullptr;    // that ReadElement() was called for
    XmlElement* m_pReadTarget = nullptr;  // the innermost one that is open; null behind the last
    std::string m_strText;                // since the last tag
};

}  // namespace KrCommon::Storage
