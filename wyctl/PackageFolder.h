#pragma once

// An unpacked package, read with the library's own code. Nothing of it is run but, where this
// program's folder has none, its XML library. For Windows builds alone.

#include <string>

#include "deploy/PackageManifest.h"

namespace WyCtl {

struct PackageFolder {
    std::wstring path;  // whole, with a "\" at its end
    WyDeployHelper::DeployCommon::PackageManifest manifest;
};

// A path as a person typed it, made whole (GetFullPathNameW), without a "\" at its end but for that
// of a drive. Raises UsageError for an empty one.
std::wstring WholePath(const std::string& path, const char* what);

// The folder of a package, with a "\" at its end. Raises UsageError for an empty path, Failure when
// it is no folder or has no InstCfg.xml.
std::wstring FindPackage(const std::string& path);

// Reads the manifest. Raises what FindPackage() does, and Failure when it cannot be read.
PackageFolder OpenPackage(const std::string& path);

// The folder of a package's tree for one kind of machine, "x64" or "win32", with a "\" at its end.
std::wstring PlatformTree(const PackageFolder& package);

}  // namespace WyCtl
