#include "WySdk/UpdateDeploy.h"

#include <cstddef>
#include <new>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Folders.h"

namespace {

namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "UpdateDeploy";
constexpr wchar_t kLogModule[] = L"WySdk";

// A folder and all folders below it, each before those that it holds. What a link points to is not
// below.
std::vector<std::wstring> FolderTree(const std::wstring& folder) {
    std::vector<std::wstring> folders{folder};
    WIN32_FIND_DATAW entry;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        const std::wstring head = folders[i] + L"\\";
        const KrCommon::Storage::FileFind find(head + L"*", entry);
        for (bool found = find.IsOpen(); found; found = find.Next(entry)) {
            const bool link = (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
            if (KrCommon::Storage::IsFolder(entry) && !link && !KrCommon::Storage::IsDots(entry))
                folders.push_back(head + entry.cFileName);
        }
    }
    return folders;
}

// Has the folders of the temporary one removed behind the moves, which leave every folder that the
// product has already. One that is not empty then stays; so nothing is lost where a move fails.
void RemoveAfterReboot(const std::wstring& temporary) noexcept {
    try {
        const std::vector<std::wstring> folders = FolderTree(temporary);
        for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
            if (MoveFileExW(folder->c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT) == 0) {
                const DWORD error = GetLastError();
                WY_LOG_WARN << L"Folder stays after the restart, error = " << error << L", "
                            << *folder;
            }
        }
    } catch (const std::bad_alloc&) {
        WY_LOG_WARN << L"Temporary folder stays after the restart: out of memory";
    }
}

}  // namespace

std::wstring UpdateDeploy::TemporaryFolder(const std::wstring& productPath) {
    std::wstring folder = productPath;
    KrCommon::String::RemoveSeparator(folder);
    return folder += L"AuTemp";
}

std::uint32_t UpdateDeploy::Deploy(const wchar_t* downloadPath, const std::wstring& productPath) {
    if (downloadPath == nullptr) {
        WY_LOG_ERROR << L"Invalid param...";
        return Result::kInvalidArgument;
    }
    std::wstring source = downloadPath;
    KrCommon::String::RemoveSeparator(source);
    if (!KrCommon::Storage::File::Exists(source, nullptr)) {
        WY_LOG_ERROR << L"Invalid download path...";
        return Result::kBadPath;
    }
    WY_LOG_INFO << L"Param is correct, now start AU process";
    const std::wstring temporary = TemporaryFolder(productPath);
    WY_LOG_INFO << L"Call CopyDirectory. Temp au file folder: " << temporary;
    if (!Utility::CopyDirectory(source, temporary, false)) {
        const std::uint32_t result = Result::FromSystem(GetLastError());
        WY_LOG_ERROR << L"Copy download package to temp folder fail, retCode = " << WyHex{result};
        return result;
    }
    WY_LOG_INFO << L"Call MoveAllFilesAfterReboot";
    const std::uint32_t result = Utility::MoveAllFilesAfterReboot(temporary, productPath);
    if (Result::Failed(result)) {
        WY_LOG_ERROR << L"MoveAllFilesAfterReboot fail, retCode = " << WyHex{result};
        return result;
    }
    if (!productPath.empty())
        RemoveAfterReboot(temporary);
    WY_LOG_INFO << L"AU process complete";
    return result;
}
