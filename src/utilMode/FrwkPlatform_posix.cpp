// The native build runs test programs only: an executable, and no modules to ask for.

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "utilMode/FrwkPlatform.h"

std::wstring Frwk::Platform::ExecutablePath() {
    char path[kPathLimit] = {};
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
    if (length <= 0) {
        return {};
    }
    const std::string_view narrow(path, static_cast<std::size_t>(length));
    return KrCommon::String::ReplaceAll(KrCommon::String::FromUtf8(narrow), L"/", L"\\");
}

std::optional<std::wstring> Frwk::Platform::ModulePath(const std::wstring&) {
    return std::nullopt;
}

bool Frwk::Platform::Exists(const std::wstring& path) {
    const std::wstring native = KrCommon::String::ReplaceAll(path, L"\\", L"/");
    struct stat status {};
    return stat(KrCommon::String::ToUtf8(native).c_str(), &status) == 0;
}
