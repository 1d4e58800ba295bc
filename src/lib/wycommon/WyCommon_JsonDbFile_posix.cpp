#include <cerrno>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_JsonDbFile.h"

namespace WyCommon::JsonDb::Platform {

namespace {

std::string NativePath(const std::wstring& path) {
    return KrCommon::String::ToUtf8(KrCommon::String::ReplaceAll(path, L"\\", L"/"));
}

}  // namespace

void Open(std::ofstream& file, const std::wstring& path) {
    file.open(NativePath(path));
}

void Open(std::ifstream& file, const std::wstring& path) {
    file.open(NativePath(path));
}

std::uint32_t LastError() noexcept {
    return errno == ENOENT ? KrCommon::ErrorCode::kFileNotFound
                           : KrCommon::ErrorCode::kAccessDenied;
}

}  // namespace WyCommon::JsonDb::Platform
