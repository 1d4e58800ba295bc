// The native build runs test programs only: no registry, no known folders, nothing to make.

#include "lib/wycommon/WyCommon_PathsPlatform.h"

namespace WyCommon::PathsPlatform {

std::wstring LoadMachineValue(const std::wstring&, const wchar_t*) {
    return {};
}

bool Is64BitSystem() {
    return true;
}

std::optional<std::wstring> FolderPath(int) {
    return std::nullopt;
}

void EnsureFolder(const std::wstring&) {}

}  // namespace WyCommon::PathsPlatform
