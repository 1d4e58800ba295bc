#pragma once

// What the product's paths need to know of the system.

#include <optional>
#include <string>

namespace WyCommon::PathsPlatform {

// A text value of the machine's registry in the product's view, or empty text. Raises
// std::bad_alloc: without memory nobody is to take an installed product for one that is not there.
std::wstring LoadMachineValue(const std::wstring& key, const wchar_t* name);

// True on a 64-bit system, whatever this process is.
bool Is64BitSystem();

// The path of a folder id of the system; nothing when it does not tell.
std::optional<std::wstring> FolderPath(int folder);

// Makes a folder that is missing, with those above it, if that can be done.
void EnsureFolder(const std::wstring& folder);

}  // namespace WyCommon::PathsPlatform
