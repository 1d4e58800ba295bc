#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Folders.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "utilMode/FrwkMode.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace File = KrCommon::Storage::File;
namespace Result = KrCommon::Result;

constexpr char kLogSource[] = "DeployCommon_Folders";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr std::uint32_t kNoMemory = Result::FromSystem(ERROR_NOT_ENOUGH_MEMORY);

// Empty, with a line in the log, when the system does not tell its folder.
std::wstring MarkerPath() {
    std::wstring folder;
    if (!File::GetWindowsTempFolder(folder))
        return {};
    return WyCommon::Utility::JoinPath(folder, Frwk::Mode::GetWyvarionId() + L"Temp.dat");
}

bool CreateEmptyFile(const std::wstring& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file) != 0;
}

// False, with a line in the log, when the system does not take the order.
bool DeleteAtReboot(const std::wstring& path, DWORD& error) {
    if (MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT) != 0)
        return true;
    error = GetLastError();
    WY_LOG_ERROR << L"MoveFileEx failed... ErrorCode=" << WyHex{error} << L", path: " << path;
    return false;
}

}  // namespace

void SetRebootFlag() noexcept try {
    const std::wstring path = MarkerPath();
    if (path.empty() || !CreateEmptyFile(path)) {
        WY_LOG_ERROR << L"failed to open file: " << path;
        return;
    }
    DWORD error = ERROR_SUCCESS;
    DeleteAtReboot(path, error);
} catch (...) {
    WY_LOG_ERROR << L"failed to open file: not enough memory";
}

bool IsRebootPending() noexcept try {
    const std::wstring path = MarkerPath();
    return !path.empty() && File::Exists(path, nullptr);
} catch (...) {
    return false;
}

std::uint32_t DeleteFolder(const std::wstring& path, bool& rebootNeeded) noexcept try {
    std::uint32_t listError = ERROR_SUCCESS;
    if (!File::DeleteAllFiles(path, rebootNeeded, &listError)) {
        if (listError == ERROR_PATH_NOT_FOUND)
            return Result::kSuccess;
        WY_LOG_ERROR << L"KrCommon::Storage::File::DeleteAllFiles failed... ErrorCode="
                     << WyHex{listError};
        return Result::FromSystem(listError);
    }
    if (RemoveDirectoryW(path.c_str()) != 0)
        return Result::kSuccess;
    // The code is that of the last call that fails.
    DWORD error = GetLastError();
    WY_LOG_ERROR << L"RemoveDirectory failed... ErrorCode=" << WyHex{error};
    DeleteAtReboot(path, error);
    return Result::FromSystem(error);
} catch (...) {
    return kNoMemory;
}

}  // namespace WyDeployHelper::DeployCommon
