#pragma once

// An XML file as a tree of elements that are looked up by path.
//
//     XmlParser parser;
//     parser.SetOption(L"PathOfDll", folder.c_str());
//     parser.Open(L"C:\\package\\InstCfg.xml", L"/");
//     XmlElement product;
//     parser.QueryProduct(product);
//
// The library that does the work, "libexpat.dll", is loaded for the time of Open(). What a tree
// holds of a document is told at XmlParserExpat.
//
// Failures raise XmlException by pointer, with a Win32 code; code 6 also stands for a lack of
// memory. When not even the exception can be made, std::bad_alloc goes out. Callers have one try
// around the whole use of a parser, and Close() after it. An object belongs to one thread at a
// time.

#include <cstdint>
#include <memory>

#include "Common/KrCommon/KrComn_FileBase.h"
#include "Common/KrCommon/KrComn_XmlElement.h"
#include "Common/KrCommon/KrComn_XmlParsingState.h"

namespace KrCommon::Storage {

class XmlParserExpat;

class XmlParser {
public:
    XmlParser();
    XmlParser(const XmlParser&) = delete;
    XmlParser& operator=(const XmlParser&) = delete;
    virtual ~XmlParser();

    // Sets an option for the next Open(); other names are ignored. A null or empty name or value
    // raises 160, a value of 260 characters or more 122.
    //
    //     "Encoding"   of the file, above what the file says itself: "UTF8" (by default), "UTF16",
    //                  "ISO_8859_1" or "US_ASCII"
    //     "PathOfDll"  the folder of the XML library; without one, where the system looks
    void SetOption(const wchar_t* name, const wchar_t* value);

    // Reads the file as far as an element and keeps that with all below it.
    //
    // `rootPath` names the element from the document down: "/Product/Files". The first child with a
    // name is followed, others are passed over. "/" keeps the whole document, as an element without
    // a name whose one child is the outermost element. What follows the element in the file is not
    // looked at.
    //
    // On failure the file is closed, and nothing is kept. Codes:
    //     160       a null or empty path
    //     122       a path of 260 characters or more
    //     2, 3, 5, 32, ...  the file cannot be opened or read
    //     126, 127  the library is missing, or a function of it
    //     87        an encoding that is not known; a rootPath that does not begin with "/"
    //     6         the parser cannot be made; no memory
    //     13        the document is faulty: line, column and words of the fault are in the
    //     exception
    // When there is no such element, a plain Storage::Exception with code 160 is raised.
    //
    // Until Close() the file stays open for reading, and its path stays: a second Open() before it
    // reads the first file again.
    void Open(const wchar_t* path, const wchar_t* rootPath);

    // Copies out the element with this path (see XmlElement), looked up from the element that
    // Open() kept. Returns true; raises 6 when nothing is kept, there is no such element, or memory
    // runs out, and 160 for a null path.
    bool QueryData(const wchar_t* path, XmlElement& element);

    // QueryData() with "./Product".
    bool QueryProduct(XmlElement& element);

    // Frees all and forgets path and options. Harmless at any time.
    void Close();

private:
    void FillDefaults(const wchar_t* path);
    void ReadTree(const wchar_t* rootPath);
    std::uint32_t FeedBlock(bool& isFinal);
    [[noreturn]] void RaiseFault(std::uint32_t code, std::uint32_t sourceLine);
    void Release() noexcept;

    std::unique_ptr<XmlParserExpat> m_pParser;
    FileBase m_File;
    XmlElement m_Root;
    XmlElement* m_pCurrent = nullptr;
    XmlParsingState m_State;
};

}  // namespace KrCommon::Storage
