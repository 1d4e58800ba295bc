#pragma once

// What run-time loading needs of the system. Codes are Win32 codes, 0 for success.

#include <cstdint>

namespace KrCommon::Library::Platform {

// LoadLibraryW; null and a code on failure.
void* LoadModule(const wchar_t* name, std::uint32_t& error);

// FreeLibrary.
std::uint32_t UnloadModule(void* module);

// GetProcAddress; null and a code on failure.
void* FindFunction(void* module, const char* name, std::uint32_t& error);

}  // namespace KrCommon::Library::Platform
