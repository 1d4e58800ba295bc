#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Process.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Processes.h"
#include "deploy/DeployCommon_Service.h"
#include "deploy/DeployCommon_Signer.h"
#include "deploy/DeployCommon_Startups.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyLocaleHelper.h"
#include "utilMode/FrwkMode.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace File = KrCommon::Storage::File;
namespace Reg = KrCommon::Storage::Reg;
namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "DeployCommon_Startups";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr std::uint32_t kNoMemory = Result::FromSystem(ERROR_NOT_ENOUGH_MEMORY);
constexpr std::uint32_t kServiceExists = Result::FromSystem(ERROR_SERVICE_EXISTS);
constexpr std::uint32_t kServiceMarked = Result::FromSystem(ERROR_SERVICE_MARKED_FOR_DELETE);
constexpr int kAttempts = 5;
constexpr DWORD kAttemptMs = 3000;

constexpr int kAutoRunMode = 1;  // what the session agent is told when the system starts it
constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

std::uint32_t Fail(const wchar_t* what, std::uint32_t result) {
    WY_LOG_ERROR << what;
    return result;
}

std::wstring Quoted(const std::wstring& text) {
    return L'"' + text + L'"';
}

std::wstring AutoRunLine(const std::wstring& installDir) {
    return Quoted(Utility::JoinPath(installDir, SessionAgentName())) + L' ' +
           std::to_wstring(kAutoRunMode);
}

// Enters the service where the former entry is being deleted; the last attempt, too, gives it its
// time.
std::uint32_t EnterAgain(const std::wstring& installDir) {
    std::uint32_t result = kServiceMarked;
    for (int attempt = 0; attempt < kAttempts && result == kServiceMarked; ++attempt) {
        result = InstallWySvc(installDir);
        if (result == kServiceMarked)
            Sleep(kAttemptMs);
    }
    return result;
}

std::uint32_t EnterService(const std::wstring& installDir) {
    const std::uint32_t entered = InstallWySvc(installDir);
    if (entered != kServiceExists)
        return entered;
    // A service of that name that someone else has entered is not replaced.
    if (!IsMakerSignedFile(ServiceProgram(installDir)))
        return kServiceExists;
    const std::uint32_t removed = UninstallWySvc();
    return Result::Failed(removed) ? removed : EnterAgain(installDir);
}

std::wstring ShortcutDescription(const std::wstring& installDir) {
    const std::wstring configuration = installDir + L"\\Configuration";
    std::wstring locale;
    Utility::GetLocaleName(locale, configuration + L"\\localeInfo.json");
    return configuration + L"\\Shortcut\\" + locale + L"\\Shortcut.xml";
}

}  // namespace

std::uint32_t InstallWyStartups(const std::wstring& installDir, bool createShortcuts) noexcept try {
    const std::uint32_t entered = EnterService(installDir);
    if (Result::Failed(entered))
        return Fail(L"Install service failed...", entered);
    if (createShortcuts && !ShortcutsConfig(installDir, L"-Create"))
        return Fail(L"Create shortcuts failed...", Result::kShortcutsNotCreated);
    // These words are known for this failure and meant so, though no program is terminated here.
    if (!SetAutoRun(AutoRunLine(installDir)))
        return Fail(L"Terminate exe failed...", Result::kAutoRunNotWritten);
    return Result::kSuccess;
} catch (...) {
    return kNoMemory;
}

std::uint32_t UninstallWyStartups(const std::wstring& installDir, bool removeShortcuts) noexcept {
    const std::uint32_t removed = UninstallWySvc();
    if (Result::Failed(removed))
        return Fail(L"Remove service failed...", removed);
    if (removeShortcuts && !ShortcutsConfig(installDir, L"-Delete"))
        return Fail(L"Remove shortcuts failed...", Result::kShortcutsNotRemoved);
    if (!RemoveAutoRun())
        return Fail(L"Delete run key failed...", Result::kAutoRunNotRemoved);
    return Result::kSuccess;
}

bool ShortcutsConfig(const std::wstring& installDir, const std::wstring& action) noexcept try {
    const std::wstring tool = installDir + L"\\" + Frwk::Mode::GetModeFileName(L"Shortcut.exe");
    const std::wstring description = ShortcutDescription(installDir);
    if (!File::Exists(tool, nullptr) || !File::Exists(description, nullptr)) {
        WY_LOG_WARN << L"Shortcuts related files do not exist...";
        return true;
    }
    const std::wstring line =
        Quoted(tool) + L' ' + action + L' ' + Quoted(installDir) + L' ' + Quoted(description);
    WY_LOG_INFO << L"Handle shortcuts. Commandline: " << line;
    std::uint32_t exitCode = 0;
    std::uint32_t error = ERROR_SUCCESS;
    if (KrCommon::Process::InvokeProcessSynchForConsole(line, std::wstring(), &exitCode, &error))
        return true;
    WY_LOG_ERROR << L"KrCommon::Process::InvokeProcessSynchForConsole() failed. ExitCode="
                 << WyHex{exitCode} << L" ErrorCode=" << WyHex{error};
    return false;
} catch (...) {
    return false;
}

bool SetAutoRun(const std::wstring& commandLine) noexcept try {
    WY_LOG_INFO << L"Set execute to auto run. Info: " << commandLine;
    std::uint32_t error = ERROR_SUCCESS;
    if (Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, kRunKey, Frwk::Mode::GetWyvarionId(),
                                     commandLine, Reg::ProductView(), &error))
        return true;
    WY_LOG_ERROR << L"KrCommon::Storage::Reg::StoreValueWithAllAccess failed... " << WyHex{error};
    return false;
} catch (...) {
    return false;
}

bool RemoveAutoRun() noexcept try {
    std::uint32_t error = ERROR_SUCCESS;
    if (Reg::DeleteEntry(HKEY_LOCAL_MACHINE, kRunKey, Frwk::Mode::GetWyvarionId(),
                         Reg::ProductView(), &error) ||
        error == ERROR_FILE_NOT_FOUND)
        return true;
    WY_LOG_ERROR << L"KrCommon::Storage::Reg::DeleteEntry() failed: " << WyHex{error};
    return false;
} catch (...) {
    return false;
}

}  // namespace WyDeployHelper::DeployCommon
