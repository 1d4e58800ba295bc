#pragma once

// One-shot registry operations: open, act and close in one call. For Windows builds alone.
//
// A *view* says which half of the registry of a 64-bit system is meant: 0 the one of this
// process, 1 the 32-bit one (KEY_WOW64_32KEY), 2 the 64-bit one (KEY_WOW64_64KEY). Other values
// mean the same as 0. Nothing here raises; all functions may run on any thread.

#include <cstdint>
#include <string>

namespace KrCommon::Storage::Reg {

// The view of all keys of the product: 2 on a 64-bit system, 0 otherwise.
std::uint32_t ProductView();

// A text value (RegQueryValueExW), or the default on any failure: no such key or value, a type
// other than REG_SZ, REG_EXPAND_SZ and REG_MULTI_SZ, no right to read, no memory.
//
// The text ends at its first NUL, or where the data ends: a multi-string gives its first string,
// environment variables are not expanded, and half a character at the end counts as a whole one.
// `root` is ignored, the key always lies under HKEY_LOCAL_MACHINE.
std::wstring LoadValue(void* root, const std::wstring& path, const std::wstring& name,
                       std::wstring defaultValue, std::uint32_t view) noexcept;

}  // namespace KrCommon::Storage::Reg
