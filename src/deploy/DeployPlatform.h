#pragma once

// What the decisions of the deployment need of the system.

#include <cstdint>
#include <memory>
#include <string>

#include "Common/KrCommon/KrComn_Storage.h"

namespace WyDeployHelper::Platform {

// True when a file or folder has this name.
bool Exists(const std::wstring& path);

// A closed store over INI files.
std::unique_ptr<KrCommon::Storage::Base> MakeIniStore();

// True when the running system meets a condition of KrComn_OsVersion.h.
bool Is(std::uint32_t condition) noexcept;

// The part of the system's version that is compared with Setup.ini.
struct Version {
    std::uint32_t servicePack = 0;  // the major number
    std::uint32_t buildNumber = 0;
};

// Asks the system anew (GetVersionExW, in the extended form of 284 bytes and, where that fails, in
// that of 276, which knows no service pack and so leaves 0). False when both fail.
bool GetVersion(Version& out) noexcept;

}  // namespace WyDeployHelper::Platform
