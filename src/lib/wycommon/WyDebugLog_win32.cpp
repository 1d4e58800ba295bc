#include "lib/wycommon/WyDebugLog.h"

#include <cstdint>
#include <iterator>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_LogSettings.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace {

constexpr char kLogSource[] = "WyDebugLog";

constexpr wchar_t kIniFile[] = L"krdbg.ini";
constexpr wchar_t kModuleFile[] = L"krdbglog.dll";
constexpr std::uint32_t kLevel =
    KrCommon::LogLevel::kInformation | KrCommon::LogLevel::kWarning | KrCommon::LogLevel::kError;

// Empty when the system does not tell.
std::wstring TemporaryFolder() {
    wchar_t path[MAX_PATH + 1] = {};
    const DWORD length = GetTempPathW(static_cast<DWORD>(std::size(path)), path);
    return length < std::size(path) ? std::wstring(path, length) : std::wstring();
}

}  // namespace

WyDebugLog::WyDebugLog(const std::wstring& module, const std::wstring& sourceFolder,
                       const std::wstring& logFolder) noexcept {
    try {
        m_strModule = module;
        m_strLogFolder = logFolder;
        if (!sourceFolder.empty())
            Redirect(sourceFolder);
    } catch (...) {
        // Out of memory: the log is off, or stays where it is.
    }
}

WyDebugLog::~WyDebugLog() {
    try {
        Restore();
    } catch (...) {
        // As above.
    }
}

void WyDebugLog::Redirect(const std::wstring& sourceFolder) const {
    namespace File = KrCommon::Storage::File;
    namespace Utility = WyCommon::Utility;
    KrCommon::DestroyMainLog();
    const std::wstring folder = TemporaryFolder();
    if (folder.empty())
        return;
    File::CopyFile(sourceFolder, kIniFile, folder, false);
    File::CopyFile(sourceFolder, kModuleFile, folder, false);
    const std::wstring iniPath = Utility::JoinPath(folder, kIniFile);
    const std::wstring modulePath = Utility::JoinPath(folder, kModuleFile);
    WyCommon::LogSettings::WriteSwitch(iniPath, true, kLevel);
    KrCommon::CreateMainLog(m_strModule, folder);
    WyLogStream(kLogSource, __LINE__, KrCommon::LogLevel::kInformation)
        << L": [INFO] " << L"Debug log has been set to INFO";
    MoveFileExW(iniPath.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    MoveFileExW(modulePath.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
}

void WyDebugLog::Restore() {
    if (m_strLogFolder.empty())
        m_strLogFolder = WyCommon::Utility::GetProductPath();
    if (!m_strLogFolder.empty())
        KrCommon::CreateMainLog(m_strModule, m_strLogFolder);
}
