#pragma once

// A parser that is fed a document piece by piece and gives its tags and texts one by one.

#include <cstdint>

#include "Common/KrCommon/KrComn_XmlElement.h"

namespace KrCommon::Storage {

// The order of the operations is fixed. Codes are Win32 errors, 0 for success.
class XmlParserSaxBase {
public:
    XmlParserSaxBase() = default;
    XmlParserSaxBase(const XmlParserSaxBase&) = delete;
    XmlParserSaxBase& operator=(const XmlParserSaxBase&) = delete;
    virtual ~XmlParserSaxBase();

    // Makes the parser ready for one document. False, with a code in `error` (null is allowed),
    // when it cannot be; also on one that is started.
    virtual bool Start(std::uint32_t* error) = 0;

    // Parses the next piece of the document; after the last one, or with it, `isFinal` says so.
    // What a piece holds before a fault can still be taken.
    virtual std::uint32_t Feed(const char* data, int length, bool isFinal) = 0;

    // Takes events into an element and its descendants: first call after the start tag of the
    // element, or before any event, when the element stands for the whole document. True when the
    // end tag was taken; false when all that was fed is taken and more is needed.
    //
    // The element must not change between the calls for it.
    virtual bool ReadElement(XmlElement& element) = 0;

    // Lets go of the document. False on a parser that is not started.
    virtual bool Stop() = 0;

    // Takes the next event and gives the name of a tag, or a text, as `length` bytes of UTF-8; they
    // hold until the next Feed(). False when all that was fed is taken.
    virtual bool NextEvent(const char*& event, int& length) = 0;

    // What was taken last: 0 nothing yet, 1 a start tag, 2 an end tag, 3 a text.
    virtual int QueryState() const = 0;
};

}  // namespace KrCommon::Storage
