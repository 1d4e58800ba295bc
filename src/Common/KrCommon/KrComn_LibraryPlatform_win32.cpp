#include "Common/KrCommon/KrComn_LibraryPlatform.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Library::Platform {

namespace {

// A failure for which the system left no reason is still one.
std::uint32_t LastError() {
    const DWORD code = GetLastError();
    return code != ERROR_SUCCESS ? code : ERROR_DLL_INIT_FAILED;
}

}  // namespace

void* LoadModule(const wchar_t* name, std::uint32_t& error) {
    const HMODULE module = LoadLibraryW(name);
    error = module != nullptr ? ERROR_SUCCESS : LastError();
    return module;
}

std::uint32_t UnloadModule(void* module) {
    return FreeLibrary(static_cast<HMODULE>(module)) != 0 ? ERROR_SUCCESS : LastError();
}

void* FindFunction(void* module, const char* name, std::uint32_t& error) {
    const FARPROC function = GetProcAddress(static_cast<HMODULE>(module), name);
    error = function != nullptr ? ERROR_SUCCESS : LastError();
    return reinterpret_cast<void*>(function);
}

}  // namespace KrCommon::Library::Platform
