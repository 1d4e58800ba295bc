#pragma once

// The callbacks of expat as virtual operations, and its calls with Win32 codes.
//
// A derived class says what a document means to it by the operations named On...; expat calls them
// from within Parse(), ParseBuffer() and ResumeParser(). What they raise does not pass through
// expat: the parser is stopped, no further one is called, and the call raises it again at its end.
//
// Codes of the operations:
//     0    success
//     1    the library is not bound, there is no parser, or the parser is suspended
//     6    expat could not make the parser or the buffer
//     13   expat found a fault: GetErrorCode() tells which
//     23   the library is not bound, or there is no parser (error queries)
//     87   parsing was stopped for good or is at its end already; an encoding that is not known
//     160  the buffer is null
// Loading gives the codes of Library::Base besides. An object belongs to one thread at a time.

#include <expat.h>

#include <cstdint>
#include <exception>

#include "Common/KrCommon/KrComn_ExpatLibrary.h"
#include "Common/KrCommon/KrComn_XmlParsingState.h"

namespace KrCommon::Storage {

// The order of the operations is fixed.
class XmlParserExpatBase {
public:
    XmlParserExpatBase() = default;
    XmlParserExpatBase(const XmlParserExpatBase&) = delete;
    XmlParserExpatBase& operator=(const XmlParserExpatBase&) = delete;
    // Frees the parser, then the library.
    virtual ~XmlParserExpatBase();

    // The arguments are those of expat's handlers; texts are UTF-8. Nothing happens in the base.
    virtual void OnStartElement(const char* name, const char** attributes);
    virtual void OnEndElement(const char* name);
    virtual void OnCharacterData(const char* data, int length);
    virtual void OnProcessingInstruction(const char* target, const char* data);
    virtual void OnDefault(const char* data, int length);
    virtual void OnUnparsedEntityDecl(const char* name, const char* base, const char* systemId,
                                      const char* publicId, const char* notation);
    // 0 refuses the document. The base refuses one that needs other documents to be understood, and
    // an entity that stands in another file: nothing but the file itself is ever read.
    virtual int OnNotStandalone();
    virtual int OnExternalEntityRef(const char* context, const char* base, const char* systemId,
                                    const char* publicId);
    virtual void OnNotationDecl(const char* name, const char* base, const char* systemId,
                                const char* publicId);
    virtual void OnStartNamespace(const char* prefix, const char* uri);
    virtual void OnEndNamespace(const char* prefix);
    virtual void OnComment(const char* data);

    // Takes over what another parser knows of its file, encoding and library. It counts from the
    // next LoadLibrary() and CreateParser() on.
    virtual void CopyParsingState(const XmlParsingState& source);

    // True for no text at all, for a line end and for text of only blanks (blank, tab, CR, LF).
    virtual bool IsBlankText(const char* data, int length) const;

    // The place of the first close tag ("</") or end of a comment ("-->"), -1 without one.
    virtual int FindCloseTag(const char* data, int length) const;

    // Compare the parsing status (XML_ParsingStatus) with 0, 1, 2 and 3. False without a parser.
    virtual bool IsStatusInitialized() const;
    virtual bool IsStatusParsing() const;
    virtual bool IsStatusFinished() const;
    virtual bool IsStatusSuspended() const;

    // Makes a parser with this object's handlers and the encoding of the state, which stands above
    // that of the document (XML_ParserCreate_MM). A parser of before is freed. On failure there is
    // none.
    virtual std::uint32_t CreateParser();

    // XML_ParserFree.
    virtual std::uint32_t FreeParser();

    // Loads "libexpat.dll" from the folder of the state and binds it. A library that is loaded
    // already gives 5010. After a failed binding it is unloaded again.
    virtual std::uint32_t LoadLibrary();

    // Frees a parser that is left, then the library: 6 without one.
    virtual std::uint32_t UnloadLibrary();

    // Makes the parser ready for another document, with the same handlers and encoding
    // (XML_ParserReset).
    virtual std::uint32_t ResetParser();

    // XML_Parse, XML_ParseBuffer, XML_GetBuffer, XML_StopParser, XML_ResumeParser. Parsing that a
    // handler suspends gives 1.
    virtual std::uint32_t Parse(const char* data, int length, bool isFinal);
    virtual std::uint32_t ParseBuffer(int length, bool isFinal);
    virtual std::uint32_t GetBuffer(int length, void*& buffer);
    virtual std::uint32_t StopParser(bool resumable);
    virtual std::uint32_t ResumeParser();
    virtual std::uint32_t GetParsingStatus(XML_ParsingStatus& status) const;

    // The number of expat's last error, its words for it (never null; empty without an error), and
    // where in the document the parser is: lines from 1, columns from 0.
    virtual std::uint32_t GetErrorCode(std::uint32_t& error) const;
    virtual std::uint32_t GetErrorString(const char*& text) const;
    virtual std::uint32_t GetCurrentLineNumber(std::int32_t& line) const;
    virtual std::uint32_t GetCurrentColumnNumber(std::int32_t& column) const;

protected:
    Library::Expat m_Library;
    XML_Parser m_pParser = nullptr;

private:
    // The handlers as expat knows them.
    friend struct ExpatHandlers;

    bool HasParser() const { return m_Library.IsBound() && m_pParser != nullptr; }
    bool IsStatus(XML_Parsing status) const;
    void InstallHandlers();
    std::uint32_t CodeOf(XML_Status status) const;
    std::uint32_t FinishParsing(XML_Status status);

    XmlParsingState m_State;
    std::exception_ptr m_pRaised;  // by a handler; it waits for expat to return
};

}  // namespace KrCommon::Storage
