#pragma once

// The bytes of an XML document as wide text.

#include <string>
#include <string_view>

namespace KrCommon::Storage {

// Appends bytes, widened by the code page of the calling thread's locale.
//
// The XML library hands out UTF-8 whatever the encoding of the document. Read by a code page, ASCII
// comes out as it is, and so does everything where that code page is UTF-8; elsewhere a character
// beyond ASCII becomes as many characters as its UTF-8 has bytes, "ö" for example "Ã¶". A caller
// that needs the character converts back: String::ToCodePage with kThreadCodePage, then
// String::FromUtf8.
//
// Raises std::bad_alloc, and then `wide` is as it was.
void AppendWidened(std::wstring& wide, std::string_view narrow);

}  // namespace KrCommon::Storage
