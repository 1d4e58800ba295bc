#include "lib/wycommon/WyCommon_PathsPlatform.h"

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"

#include <shlobj.h>

namespace WyCommon::PathsPlatform {

std::wstring LoadProductValue(const wchar_t* name) {
    namespace Reg = KrCommon::Storage::Reg;
    return Reg::LoadValue(HKEY_LOCAL_MACHINE, Utility::GetProductRegistryKey(), name, {},
                          Reg::ProductView());
}

bool Is64BitSystem() {
    return KrCommon::OsVersion::Is64Bit();
}

std::optional<std::wstring> FolderPath(int folder) {
    wchar_t path[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(nullptr, folder, nullptr, 0, path)))
        return std::nullopt;
    return path;
}

void EnsureFolder(const std::wstring& folder) {
    namespace File = KrCommon::Storage::File;
    if (!File::Exists(folder, nullptr))
        File::CreateDirectories(folder, nullptr);
}

}  // namespace WyCommon::PathsPlatform
