#include "lib/wycommon/WyCommon_PathsPlatform.h"

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Session.h"

#include <shlobj.h>

namespace WyCommon::PathsPlatform {

std::wstring LoadMachineValue(const std::wstring& key, const wchar_t* name) {
    namespace Reg = KrCommon::Storage::Reg;
    return Reg::LoadValueOrRaise(key, name, {}, Reg::ProductView());
}

bool Is64BitSystem() {
    return KrCommon::OsVersion::Is64Bit();
}

std::optional<std::wstring> FolderPath(int folder) {
    // A service has folders of its own; the user at the console is the one who is meant.
    HANDLE user = nullptr;
    Utility::GetSessionUserToken(Utility::kNoSession, user);
    wchar_t path[MAX_PATH] = {};
    const HRESULT result = SHGetFolderPathW(nullptr, folder, user, 0, path);
    if (user != nullptr)
        CloseHandle(user);
    return SUCCEEDED(result) ? std::optional<std::wstring>(path) : std::nullopt;
}

void EnsureFolder(const std::wstring& folder) {
    namespace File = KrCommon::Storage::File;
    if (!File::Exists(folder, nullptr))
        File::CreateDirectories(folder, nullptr);
}

}  // namespace WyCommon::PathsPlatform
