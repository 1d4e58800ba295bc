#pragma once

// Text helpers: conversion between wide text and UTF-8, comparison, replacement, and the parts of
// a path. The path separator is "\".
//
// Wide text is UTF-16 where a unit has 16 bits and UTF-32 where it has 32. Bad input never fails:
// what is no character becomes U+FFFD. That is, once each: an unpaired surrogate, a number that
// Unicode does not assign, a surrogate written as three bytes of UTF-8, and the longest start of
// a well-formed UTF-8 sequence that does not go on. Only a lack of memory fails: the forms that
// return text raise std::bad_alloc, the others return false and leave their output empty.
//
// All functions may run on any thread.

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Common/KrCommon/KrComn_Exception.h"

namespace KrCommon::String {

// Formats into `out` (vswprintf). A wide text argument is written "%ls", which means the same to
// every C library; "%s" does not. An empty result gives an empty text.
//
// A text that cannot be formatted, or no memory for it, raises KrCommon::String::Exception with
// code 6 and leaves `out` as it was.
void Format(std::wstring& out, const wchar_t* format, ...);

// The same from an argument list. `size` is the number of characters to try first, doubled until
// the text fits.
void FormatV(std::wstring& out, std::size_t size, const wchar_t* format, std::va_list arguments);

// Splits at each occurrence of the delimiter and appends the pieces to the list.
//
// The text is taken with one blank behind it, and each piece is trimmed of white space at both
// ends (iswspace), so that "a;" gives "a" and an empty piece. Without `keepEmpty` a piece that had
// no length before it was trimmed is dropped. An empty delimiter occurs nowhere.
void Split(std::vector<std::wstring>& list, std::wstring_view text, std::wstring_view delimiter,
           bool keepEmpty);

// Wide text as UTF-8 (WideCharToMultiByte with code page 65001). Embedded NULs are kept.
bool ToUtf8(std::wstring_view wide, std::string& narrow) noexcept;
std::string ToUtf8(std::wstring_view wide);

// UTF-8 as wide text (MultiByteToWideChar with code page 65001). Embedded NULs are kept.
bool FromUtf8(std::string_view narrow, std::wstring& wide) noexcept;
std::wstring FromUtf8(std::string_view narrow);

// Orders two texts without regard to the case of ASCII letters (_wcsicmp): negative, 0, positive.
int CompareNoCase(std::wstring_view a, std::wstring_view b) noexcept;

// True when the texts are equal without regard to the case of ASCII letters, compared over the
// longer of the two lengths: a text does not equal its own beginning.
bool EqualNoCase(std::wstring_view a, std::wstring_view b) noexcept;

// Replaces each occurrence from left to right, without scanning a replacement again. An empty
// `from` occurs nowhere.
std::wstring ReplaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to);

// Appends "\" unless the path is empty or ends in it.
void AppendSeparator(std::wstring& path);

// Removes a "\" at the end.
void RemoveSeparator(std::wstring& path);

// The text before the last "\"; empty without one.
std::wstring_view RemoveFileName(std::wstring_view path) noexcept;

// The text behind the last "\", a "\" at the very end not counted; the whole path without one.
std::wstring_view GetFileName(std::wstring_view path) noexcept;

// The extension with its dot (PathFindExtensionW): from the last dot behind the last "\" and the
// last blank to the end; empty without one.
std::wstring_view GetExtension(std::wstring_view path) noexcept;

}  // namespace KrCommon::String
