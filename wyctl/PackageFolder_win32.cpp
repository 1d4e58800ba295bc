#include "wyctl/PackageFolder.h"

#include <fmt/format.h>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/Errors.h"
#include "wyctl/FolderTree.h"

namespace WyCtl {

namespace {

using KrCommon::String::ToUtf8;
using WyCommon::Utility::JoinPath;

constexpr const wchar_t* kManifest = L"InstCfg.xml";

// The library that comes with this program goes before that of a package, whose code is then not
// loaded for a look at it.
std::wstring XmlLibraryFolder(const std::wstring& package) {
    const std::wstring own = WyCommon::Utility::GetHostModuleFolder();
    if (PathExists(JoinPath(own, L"libexpat.dll"))) {
        return own;
    }
    // That of this process, whatever the machine is.
    return package + (sizeof(void*) == sizeof(std::uint64_t) ? L"x64" : L"win32") + L"\\foundation";
}

}  // namespace

std::wstring WholePath(const std::string& path, const char* what) {
    if (path.empty()) {
        throw UsageError(fmt::format("{} is empty", what));
    }
    const std::wstring typed = KrCommon::String::FromUtf8(path);
    std::wstring whole(GetFullPathNameW(typed.c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD length =
        GetFullPathNameW(typed.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr);
    if (length == 0 || length >= whole.size()) {
        throw Failure(fmt::format("{} is no path", path));
    }
    whole.resize(length);
    if (!whole.ends_with(L":\\")) {
        KrCommon::String::RemoveSeparator(whole);
    }
    return whole;
}

std::wstring FindPackage(const std::string& path) {
    std::wstring folder = WholePath(path, "DIR");
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        throw Failure(fmt::format("{} is no folder", ToUtf8(folder)));
    }
    if (!PathExists(JoinPath(folder, kManifest))) {
        throw Failure(
            fmt::format("{} is no package: it has no {}", ToUtf8(folder), ToUtf8(kManifest)));
    }
    KrCommon::String::AppendSeparator(folder);
    return folder;
}

PackageFolder OpenPackage(const std::string& path) {
    PackageFolder package{FindPackage(path), {}};
    const std::wstring library = XmlLibraryFolder(package.path);
    const std::wstring manifest = package.path + kManifest;
    if (!package.manifest.Read(library, manifest, true)) {
        if (!PathExists(JoinPath(library, L"libexpat.dll"))) {
            throw Failure(
                fmt::format("{} cannot be read without libexpat.dll, which is neither "
                            "beside this program nor in the package",
                            ToUtf8(manifest)));
        }
        throw Failure(fmt::format("{} is no manifest: it is no XML, or has no element Product",
                                  ToUtf8(manifest)));
    }
    return package;
}

std::wstring PlatformTree(const PackageFolder& package) {
    return package.path + (KrCommon::OsVersion::Is64Bit() ? L"x64\\" : L"win32\\");
}

}  // namespace WyCtl
