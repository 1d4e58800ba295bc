#pragma once

// The names of log files and folders, from what a configuration says.
//
// A configuration is written by hand, and a log must not end up where nobody expects it: a part of
// a file name never becomes a path, a device or a stream, and a folder is a plain absolute path.
// All functions raise std::bad_alloc alone and may run on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Common/KrCommon/KrComn_LogContract.h"

namespace Trace {

// What the names are made of.
struct NameParts {
    std::wstring prefix;
    std::wstring name;        // of the module, or the file named in its place
    std::wstring executable;  // empty: all programs share one file
    std::wstring extension;
};

// The file name of the current log without its extension: the parts that are not empty, joined by
// "_"; "trace" when all are empty.
//
// Characters that a file name cannot have become "_", blanks and dots at the end of a part go, a
// reserved name ("con", "lpt1") gets a "_" in front, and the whole is cut to 100 characters.
std::wstring FileStem(const NameParts& parts);

// The extension with its dot, cleaned in the same way and cut to 20 characters; may be empty.
std::wstring FileExtension(std::wstring_view extension);

// An absolute folder without a separator at its end, "." and ".." resolved.
//
// `text`: each "%commonappdata%", case ignored, stands for `commonData`. An empty folder is
// `byDefault`, a relative one lies below that. Nothing for a device path ("\\.\", "\\?\"), a share
// without a name, a path relative to a drive's current folder ("C:logs") or one with a stream.
std::optional<std::wstring> ResolveFolder(std::wstring_view text, std::wstring_view commonData,
                                          std::wstring_view byDefault);

// A text of the record, up to its NUL or its end.
std::wstring RecordText(const char16_t* text, std::size_t size);

}  // namespace Trace
