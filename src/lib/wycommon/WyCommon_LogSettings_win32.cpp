#include "lib/wycommon/WyCommon_LogSettings.h"

#include <cwchar>
#include <iterator>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_IniFile.h"
#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "utilMode/FrwkMode.h"

#include <shlobj.h>

namespace WyCommon::LogSettings {

namespace {

constexpr wchar_t kFileName[] = L"krdbg.ini";
constexpr wchar_t kService[] = L"ServiceSession";
constexpr wchar_t kInteractive[] = L"InteractiveSession";
constexpr wchar_t kVendorFolder[] = L"Korvex Data\\";

std::wstring CommonDataFolder() {
    wchar_t path[MAX_PATH] = {};
    if (SUCCEEDED(
            SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, path)))
        return path;
    KrCommon::Library::Function<BOOL WINAPI(wchar_t*, DWORD*)> ask;
    DWORD size = MAX_PATH;
    if (ask.Find(L"userenv.dll", "GetAllUsersProfileDirectoryW", nullptr) &&
        ask.Get()(path, &size) != 0)
        return path;
    return {};
}

}  // namespace

bool WriteSwitch(const std::wstring& file, bool enable, std::uint32_t level) {
    const wchar_t* const enableText = enable ? L"1" : L"0";
    wchar_t levelText[sizeof "0xffffffff"];
    std::swprintf(levelText, std::size(levelText), L"0x%08x", level);
    const struct {
        const wchar_t* section;
        const wchar_t* name;
        const wchar_t* value;
    } writes[] = {{kInteractive, L"Enable", enableText},
                  {kService, L"Enable", enableText},
                  {kService, L"Level", levelText},
                  {kInteractive, L"Level", levelText}};
    bool done = true;
    for (const auto& write : writes) {
        done = KrCommon::Storage::StoreIniString(file.c_str(), write.section, write.name,
                                                 write.value, nullptr) &&
               done;
    }
    return done;
}

bool SetSwitch(bool enable, std::uint32_t level) {
    namespace File = KrCommon::Storage::File;
    const std::wstring productPath = Utility::GetProductPath();
    const std::wstring file = productPath + L"\\" + kFileName;
    const std::wstring file32 = productPath + L"\\win32\\" + kFileName;
    if (productPath.empty() || !File::Exists(file, nullptr))
        return false;
    const bool done = WriteSwitch(file, enable, level);
    return (!File::Exists(file32, nullptr) || WriteSwitch(file32, enable, level)) && done;
}

std::wstring GetLogFolder() {
    const std::wstring file = Utility::GetProductPath() + L"\\" + kFileName;
    const std::wstring byDefault =
        std::wstring(L"C:\\ProgramData\\") + kVendorFolder + Frwk::Mode::GetWyvarionId();
    const std::wstring folder =
        KrCommon::Storage::LoadIniString(file, kService, L"LogFolder", byDefault, nullptr);
    return KrCommon::String::ReplaceAll(folder, L"%commonappdata%",
                                        Utility::ExpandCsidlPath(L"#CSIDL_COMMON_APPDATA#"));
}

std::wstring GetDumpFolder() {
    return CommonDataFolder() + L"\\" + kVendorFolder + Frwk::Mode::GetWyvarionId() + L"\\dump";
}

}  // namespace WyCommon::LogSettings
