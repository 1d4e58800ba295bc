#pragma once

// A JSON document in a file, as text or enciphered.
//
// The enciphered form is eight bytes of magic and behind them the hexadecimal form of
// KrComn_StringCrypt.h of the document's UTF-8 text, to the end of the file; the other form is that
// text itself. Both are read by the same call, which tells them apart by the magic. The cipher
// keeps the text from being read at a glance and no more (docs/security.md).
//
// Nothing is raised. The functions may run on any thread, but not two at a time with one document.

#include <cstdint>
#include <string>
#include <string_view>

#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace WyCommon::JsonDb {

// The first bytes of an enciphered file. Upper case alone.
constexpr std::string_view kMagic = "WYJSONDB";

// True when a file of this content would be deciphered.
bool IsEnciphered(std::string_view content) noexcept;

// Writes the document into the file, which is replaced, as styled text with the line ends of the
// system.
//
// kJsonDbNotWritten when the file cannot be opened, for example because its folder does not exist;
// kFailure when memory runs out, and then the file is empty or cut. A failure to write or close is
// not reported.
std::uint32_t Save(const std::wstring& path, const JsonDocument& document, bool encrypt) noexcept;

// Reads the file into the document and leaves in its Status() 0 when the text was read, 87
// (kBadArgument) when it is no JSON: the document is null then. A lack of memory shows in the
// status as well. Malformed UTF-8 becomes U+FFFD.
//
// kJsonDbNotRead when the file cannot be opened: the document is as it was. Everything else is
// kSuccess, so the caller MUST look at the status.
std::uint32_t Load(const std::wstring& path, JsonDocument& document) noexcept;

}  // namespace WyCommon::JsonDb
