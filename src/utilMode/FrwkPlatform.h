#pragma once

// What the identity needs to know of modules and files.

#include <optional>
#include <string>

namespace Frwk::Platform {

// Paths have "\" as separator on every system; longer ones than this are cut (GetModuleFileNameW).
constexpr unsigned kPathLimit = 260;

// Path of the running executable (GetModuleFileNameW); empty when it cannot be read.
std::wstring ExecutablePath();

// Path of a loaded module (GetModuleHandleW, GetModuleFileNameW): nothing when it is not loaded,
// empty when the path cannot be read.
std::optional<std::wstring> ModulePath(const std::wstring& module);

// True when the path names a file or folder (FindFirstFileW).
bool Exists(const std::wstring& path);

}  // namespace Frwk::Platform
