#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_IniFile.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployPlatform.h"

namespace WyDeployHelper::Platform {

namespace {

constexpr DWORD kForms[] = {sizeof(OSVERSIONINFOEXW), sizeof(OSVERSIONINFOW)};
static_assert(kForms[0] == 284 && kForms[1] == 276);

}  // namespace

bool Exists(const std::wstring& path) {
    return KrCommon::Storage::File::Exists(path, nullptr);
}

std::unique_ptr<KrCommon::Storage::Base> MakeIniStore() {
    return std::make_unique<KrCommon::Storage::IniFile>();
}

bool Is(std::uint32_t condition) noexcept {
    return KrCommon::OsVersion::Is(condition);
}

bool GetVersion(Version& out) noexcept {
    for (const DWORD size : kForms) {
        OSVERSIONINFOEXW version = {};
        version.dwOSVersionInfoSize = size;
        if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) != 0) {
            out.servicePack = version.wServicePackMajor;
            out.buildNumber = version.dwBuildNumber;
            return true;
        }
    }
    return false;
}

}  // namespace WyDeployHelper::Platform
