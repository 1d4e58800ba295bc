#include "Common/KrCommon/KrComn_Windows.h"
#include "utilMode/FrwkPlatform.h"

namespace {

std::wstring PathOf(HMODULE module) {
    // Old systems do not end a path that was cut.
    wchar_t path[Frwk::Platform::kPathLimit + 1] = {};
    GetModuleFileNameW(module, path, Frwk::Platform::kPathLimit);
    return path;
}

}  // namespace

std::wstring Frwk::Platform::ExecutablePath() {
    return PathOf(nullptr);
}

std::optional<std::wstring> Frwk::Platform::ModulePath(const std::wstring& module) {
    HMODULE const handle = GetModuleHandleW(module.c_str());
    return handle != nullptr ? std::optional(PathOf(handle)) : std::nullopt;
}

bool Frwk::Platform::Exists(const std::wstring& path) {
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(path.c_str(), &data);
    return search != INVALID_HANDLE_VALUE && FindClose(search) != 0;
}
