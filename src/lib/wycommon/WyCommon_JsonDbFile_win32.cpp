#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_JsonDbFile.h"

namespace WyCommon::JsonDb::Platform {

void Open(std::ofstream& file, const std::wstring& path) {
    file.open(path.c_str());
}

void Open(std::ifstream& file, const std::wstring& path) {
    file.open(path.c_str());
}

std::uint32_t LastError() noexcept {
    return GetLastError();
}

}  // namespace WyCommon::JsonDb::Platform
