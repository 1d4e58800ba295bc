#include "lib/wycommon/WyCommon_Launcher.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Process.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_TerminalService.h"
#include "Common/KrCommon/KrComn_WindowStation.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "utilMode/FrwkMode.h"

namespace WyCommon::Launcher {

namespace {

namespace OsVersion = KrCommon::OsVersion;
namespace Process = KrCommon::Process;
namespace Result = KrCommon::Result;
namespace TerminalService = KrCommon::TerminalService;

constexpr char kLogSource[] = "WyCommon_Launcher";
constexpr wchar_t kLogModule[] = L"WyCommon";

// A null pointer as the launcher has always had it: all digits of an address, without a prefix.
std::wstring NullPointerText() {
    constexpr std::size_t kDigitsOfByte = 2;
    return std::wstring(sizeof(void*) * kDigitsOfByte, L'0');
}

std::wstring DefaultPath() {
    return Utility::JoinPath(Utility::GetProductPathOrModuleFolder(),
                             Frwk::Mode::GetModeFileName(L"WyLauncher.exe"));
}

// The line up to its first field; false when the file's name cannot be enciphered.
bool BeginLine(std::wstring& line, const std::wstring& launcherPath, const std::wstring& file) {
    std::wstring cipher = file;
    if (!KrCommon::Cryptograph::EncryptString(cipher)) {
        WY_LOG_ERROR << L"KrCommon::Cryptograph::EncryptString() failed, "
                     << WyHex{ERROR_INVALID_PARAMETER};
        return false;
    }
    line = L"\"" + (launcherPath.empty() ? DefaultPath() : launcherPath) + L"\" " + cipher;
    return true;
}

bool DecideServiceSession() {
    std::uint32_t session = 0;
    std::uint32_t error = ERROR_SUCCESS;
    if (!Process::GetProcessSessionId(GetCurrentProcessId(), &session, &error)) {
        WY_LOG_WARN << L"KrCommon::Process::GetProcessSessionId failed... Error: " << WyHex{error};
        return false;
    }
    return session == 0 && OsVersion::Is(OsVersion::Condition::kNt60OrLater);
}

// True when this process is a service whose session nobody sees.
bool IsInServiceSession() {
    static const bool s_bIsIn = DecideServiceSession();
    return s_bIsIn;
}

std::uint32_t RunInActiveSession(const std::wstring& line) {
    std::uint32_t session = TerminalService::kNoSession;
    std::uint32_t error = ERROR_SUCCESS;
    if (!TerminalService::GetActiveSessionId(&session, &error)) {
        WY_LOG_ERROR << L"GetActiveSessionId() failed, " << WyHex{error};
        return Result::FromSystem(error);
    }
    const bool wait = true;
    if (!KrCommon::WindowStation::InvokeProcessOnInteractiveSession(line, session, &wait, &error)) {
        WY_LOG_ERROR << L"InvokeProcessOnInteractiveSession() failed, " << WyHex{error};
        return Result::FromSystem(error);
    }
    return Result::kSuccess;
}

std::uint32_t RunDirectly(const std::wstring& line) {
    std::uint32_t exitCode = 0;
    std::uint32_t error = ERROR_SUCCESS;
    if (Process::InvokeProcessSynchForConsole(line, std::wstring(), &exitCode, &error))
        return Result::kSuccess;
    WY_LOG_ERROR << L"KrCommon::Process::InvokeProcessSynchForConsole() failed. ExitCode="
                 << WyHex{exitCode} << L", ErrorCode=" << WyHex{error} << L", wstrCmdline=" << line;
    return Result::FromSystem(error);
}

std::uint32_t OutOfMemory() {
    WY_LOG_ERROR << L"Not enough memory for the launcher's command line.";
    return Result::FromSystem(ERROR_NOT_ENOUGH_MEMORY);
}

std::uint32_t Run(const std::wstring& line, bool interactive) {
    // Asked in any case: the answer of the process is settled by its first launch.
    const bool isInServiceSession = IsInServiceSession();
    return isInServiceSession && interactive ? RunInActiveSession(line) : RunDirectly(line);
}

}  // namespace

std::uint32_t Impersonate(const std::wstring& verb, const std::wstring& file,
                          const std::wstring& params, const void* reservedPointer,
                          std::uint32_t reservedNumber, const std::wstring& directory,
                          const std::wstring& launcherPath) noexcept try {
    WY_LOG_DEBUG << L"Impersonate: [wstrVerb=" << verb << L"][wstrFile=" << file << L"][wstrParams="
                 << params << L"][pReserved=" << reservedPointer << L"][uiReserved="
                 << reservedNumber << L"][wstrDirectory=" << directory << L"][wstrLauncherPath="
                 << launcherPath << L"]";
    std::wstring line;
    if (!BeginLine(line, launcherPath, file))
        return Result::FromSystem(ERROR_INVALID_PARAMETER);
    line += L"," + verb + L"," + params + L"," + NullPointerText() + L",0," + directory;
    return Run(line, true);
} catch (...) {
    return OutOfMemory();
}

std::uint32_t RunDll(const std::wstring& dll, const std::wstring& function,
                     const std::wstring& params, const std::wstring& launcherPath) noexcept try {
    WY_LOG_DEBUG << L"RunDll: [wstrDll=" << dll << L"][wstrFunction=" << function
                 << L"][wstrParams=" << params << L"][wstrLauncherPath=" << launcherPath << L"]";
    std::wstring line;
    if (!BeginLine(line, launcherPath, dll))
        return Result::FromSystem(ERROR_INVALID_PARAMETER);
    line += L"," + function + L"," + params;
    return Run(line, false);
} catch (...) {
    return OutOfMemory();
}

}  // namespace WyCommon::Launcher
