#include "Common/KrCommon/KrComn_Event.h"
#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Process.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_TerminalService.h"
#include "Common/KrCommon/KrComn_WindowStation.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Processes.h"
#include "lib/wycommon/WyCommon_Launcher.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_Process.h"
#include "utilMode/FrwkMode.h"
#include "utilMode/FrwkPlatform.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace Launcher = WyCommon::Launcher;
namespace OsVersion = KrCommon::OsVersion;
namespace Result = KrCommon::Result;
namespace String = KrCommon::String;
namespace TerminalService = KrCommon::TerminalService;
namespace Utility = WyCommon::Utility;
using KrCommon::UniqueHandle;
using KrCommon::Synchronize::Event;

constexpr char kLogSource[] = "DeployCommon_Processes";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr std::uint32_t kNoMemory = Result::FromSystem(ERROR_NOT_ENOUGH_MEMORY);

// The watchdog makes the first and waits for it; it sets the second on its way out, when that is
// there. The names are those of the watchdog.
constexpr wchar_t kStopWatchdog[] = L"Global\\WATCHDOG_EVENT_STOP_WATCHDOG";
constexpr wchar_t kWatchdogExit[] = L"Global\\WATCHDOG_NOTIFY_WATCHDOG_EXIT";
constexpr DWORD kWatchdogLimitMs = 20000;
constexpr DWORD kWatchdogSettleMs = 2000;

// What the privilege is given back: neither enabled nor enabled by default.
constexpr std::uint32_t kPrivilegeAsBefore = SE_PRIVILEGE_USED_FOR_ACCESS;

// The debug privilege for the length of a scope, also of one that memory runs out in.
class DebugPrivilege {
public:
    DebugPrivilege() { Utility::EnableDebugPrivilege(SE_PRIVILEGE_ENABLED); }
    DebugPrivilege(const DebugPrivilege&) = delete;
    DebugPrivilege& operator=(const DebugPrivilege&) = delete;
    ~DebugPrivilege() { Utility::EnableDebugPrivilege(kPrivilegeAsBefore); }
};

// The folder of the set-up program when this process is one on a 64-bit system; it runs from a
// package, whose own programs do what needs the 64-bit side.
class SetupOn64Bit {
public:
    SetupOn64Bit()
        : m_strPath(Frwk::Platform::ExecutablePath()),
          m_bIs(String::EqualNoCase(String::GetFileName(m_strPath),
                                    Frwk::Mode::GetModeFileName(L"Setup.exe")) &&
                OsVersion::Is64Bit()) {}

    bool Is() const { return m_bIs; }
    std::wstring Folder() const { return std::wstring(String::RemoveFileName(m_strPath)); }

private:
    const std::wstring m_strPath;
    const bool m_bIs;
};

std::uint32_t StartPlainly(const std::wstring& installDir, const std::wstring& line) {
    WY_LOG_DEBUG << L"Use KrCommon::Process::InvokeProcess to start WySessionAgent. Commandline: "
                 << line;
    // Its failure stands in the log already.
    return KrCommon::Process::InvokeProcess(line, installDir, nullptr)
               ? Result::kSuccess
               : Result::kSessionAgentNotStarted;
}

std::uint32_t StartThroughLauncher(int startMode) {
    WY_LOG_DEBUG << L"Use WyCommon::Launcher::Impersonate to start WySessionAgent.";
    const std::wstring agent = Utility::GetProductPathOrModuleFolder() + L"\\" + SessionAgentName();
    const std::uint32_t result = Launcher::Impersonate(L"open", agent, std::to_wstring(startMode),
                                                       nullptr, 0, std::wstring(), std::wstring());
    if (Result::Failed(result)) {
        WY_LOG_ERROR << L"WyCommon::Launcher::Impersonate() failed. [retCode=" << WyHex{result}
                     << L"]";
    }
    return result;
}

std::uint32_t StartInActiveSession(const std::wstring& line) {
    WY_LOG_DEBUG << L"Use KrCommon::WindowStation::InvokeProcessOnInteractiveSession to start "
                    L"WySessionAgent. Commandline: "
                 << line;
    std::uint32_t session = TerminalService::kNoSession;
    TerminalService::GetActiveSessionId(&session, nullptr);
    // No format: the line is known with these words, and the number behind them.
    WY_LOG_INFO << L"Active session: %d" << static_cast<std::int32_t>(session);
    const bool wait = false;
    std::uint32_t error = ERROR_SUCCESS;
    if (KrCommon::WindowStation::InvokeProcessOnInteractiveSession(line, session, &wait, &error))
        return Result::kSuccess;
    WY_LOG_ERROR << L"KrCommon::WindowStation::InvokeProcessOnInteractiveSession failed... "
                    L"ErrorCode="
                 << WyHex{error};
    return Result::kSessionAgentNotStarted;
}

// Tells the watchdog to end and waits until it says that it does. How that ends has no result: what
// is left of it is ended by force afterwards.
void StopWatchdog(HANDLE stop, HANDLE exit) {
    SetEvent(stop);
    const DWORD result = WaitForSingleObject(exit, kWatchdogLimitMs);
    if (result == WAIT_OBJECT_0) {
        WY_LOG_INFO << L"WatchDog is already exit...";
        Sleep(kWatchdogSettleMs);
        return;
    }
    const bool known = result == WAIT_TIMEOUT || result == WAIT_ABANDONED;
    const DWORD error = known ? result : GetLastError();
    WY_LOG_ERROR << L"WaitForSingleObject for hWatchdogExitEvent failed...ErrorCode="
                 << WyHex{error};
}

// False, with a line in the log, when the watchdog could not be told. `present` is false when there
// is none.
bool EndWatchdog(bool& present) {
    const std::wstring id = Frwk::Mode::GetWyvarionId();
    present = true;
    const UniqueHandle stop(OpenEventW(EVENT_MODIFY_STATE, FALSE, (kStopWatchdog + id).c_str()));
    if (stop == nullptr) {
        const DWORD error = GetLastError();
        present = error != ERROR_FILE_NOT_FOUND;
        if (!present) {
            WY_LOG_WARN << L"WyWatchDog is already exit...";
            return true;
        }
        WY_LOG_ERROR << L"OpenEvent for WATCHDOG_EVENT_STOP_WATCHDOG failed...ErrorCode="
                     << WyHex{error};
        return false;
    }
    KrCommon::AccessControl::SecurityAttributes attributes(KrCommon::AccessControl::kEvent, false);
    Event exit;
    std::uint32_t error = ERROR_SUCCESS;
    if (!exit.CreateMultipleGlobal(kWatchdogExit + id, Event::Reset::kManual, attributes, &error)) {
        WY_LOG_ERROR << L"CreateMultipleGlobal failed... ErrorCode=" << WyHex{error};
        return false;
    }
    StopWatchdog(stop.get(), exit.Get());
    exit.Close();
    ResetEvent(stop.get());
    return true;
}

bool KillThroughLauncher(const std::wstring& folder, const std::wstring& excluded) {
    const std::wstring launcher =
        folder + L"\\x64\\product\\" + Frwk::Mode::GetModeFileName(L"WyLauncher.exe");
    return Result::Succeeded(Launcher::RunDll(folder + L"\\CustomAct64.dll",
                                              L"ForceKillProcessWrapper", excluded, launcher));
}

}  // namespace

std::wstring SessionAgentName() {
    return Frwk::Mode::GetModeFileName(L"WySessionAgent.exe");
}

std::uint32_t StartWySessionAgent(const std::wstring& installDir, int startMode,
                                  bool inSystemSession) noexcept try {
    const std::wstring line =
        L"\"" + installDir + L"\\" + SessionAgentName() + L"\" " + std::to_wstring(startMode);
    if (!inSystemSession)
        return StartPlainly(installDir, line);
    return SetupOn64Bit().Is() ? StartThroughLauncher(startMode) : StartInActiveSession(line);
} catch (...) {
    return kNoMemory;
}

bool ExitAllExec(const std::wstring& excluded) noexcept try {
    bool present = false;
    if (!EndWatchdog(present))
        return false;
    if (!present)
        return true;
    const SetupOn64Bit setup;
    if (setup.Is())
        return KillThroughLauncher(setup.Folder(), excluded);
    KillWyExec(excluded);
    return true;
} catch (...) {
    return false;
}

bool KillWyExec(const std::wstring& excluded) noexcept try {
    const DebugPrivilege privilege;
    if (Utility::ForceTerminateModule(Utility::GetProductPathOrModuleFolder(), excluded))
        return true;
    WY_LOG_ERROR << L"WyCommon::Utility::ForceTerminateModule failed...";
    return false;
} catch (...) {
    return false;
}

}  // namespace WyDeployHelper::DeployCommon
