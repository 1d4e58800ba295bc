// The native build loads shared objects, whatever their file is called.

#include <dlfcn.h>

#include <string>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_LibraryPlatform.h"
#include "Common/KrCommon/KrComn_String.h"

namespace KrCommon::Library::Platform {

void* LoadModule(const wchar_t* name, std::uint32_t& error) {
    void* module = nullptr;
    try {
        module = dlopen(String::ToUtf8(String::ReplaceAll(name, L"\\", L"/")).c_str(),
                        RTLD_NOW | RTLD_LOCAL);
        error = module != nullptr ? ErrorCode::kSuccess : ErrorCode::kModuleNotFound;
    } catch (...) {
        error = ErrorCode::kNotEnoughMemory;
    }
    return module;
}

std::uint32_t UnloadModule(void* module) {
    return dlclose(module) == 0 ? ErrorCode::kSuccess : ErrorCode::kInvalidHandle;
}

void* FindFunction(void* module, const char* name, std::uint32_t& error) {
    void* const function = dlsym(module, name);
    error = function != nullptr ? ErrorCode::kSuccess : ErrorCode::kProcedureNotFound;
    return function;
}

}  // namespace KrCommon::Library::Platform
