#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Service.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_Watchdog.h"
#include "utilMode/FrwkMode.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "DeployCommon_Service";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr std::uint32_t kNoMemory = Result::FromSystem(ERROR_NOT_ENOUGH_MEMORY);
constexpr DWORD kStopRoundMs = 1000;
constexpr DWORD kMarkedMs = 2000;
constexpr wchar_t kNoDependencies[] = L"";  // a list of texts, each with its NUL, and a NUL

using Handle = KrCommon::UniqueServiceHandle;

std::uint32_t Fail(const wchar_t* what, DWORD error) {
    WY_LOG_ERROR << what << L" failed, w/err=" << WyHex{error};
    return Result::FromSystem(error);
}

bool Describe(SC_HANDLE service) {
    wchar_t text[] = L"Provides system optimization functionality";
    SERVICE_DESCRIPTIONW description = {text};
    return ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description) != 0;
}

// A service whose state cannot be asked for any more counts as one that is not stopping.
bool IsStopping(SC_HANDLE service, SERVICE_STATUS& status) {
    if (QueryServiceStatus(service, &status) != 0)
        return status.dwCurrentState == SERVICE_STOP_PENDING;
    const DWORD error = GetLastError();
    Fail(L"QueryServiceStatus", error);
    status.dwCurrentState = 0;
    return false;
}

// Returns when the service has stopped, or at once when it does not take the stop.
void Stop(SC_HANDLE service) {
    SERVICE_STATUS status = {};
    if (ControlService(service, SERVICE_CONTROL_STOP, &status) == 0)
        return;
    do {
        Sleep(kStopRoundMs);
    } while (IsStopping(service, status));
    if (status.dwCurrentState != SERVICE_STOPPED)
        return;
    WY_LOG_INFO << L"SERVICE_STOPPED!";
    // It belongs to the notes of the service's life, too.
    WyLogStream(g_pEventLog, kLogSource, __LINE__, KrCommon::LogLevel::kForced)
        << L": WyCommon SERVICE_STOPPED!";
}

}  // namespace

std::wstring ServiceProgram(const std::wstring& installDir) {
    return Utility::JoinPath(installDir, Frwk::Mode::GetModeFileName(L"WySvcHost.exe"));
}

std::uint32_t InstallWySvc(const std::wstring& installDir) noexcept try {
    const std::wstring program = L"\"" + ServiceProgram(installDir) + L"\"";
    const std::wstring name = Utility::HostServiceName();
    const Handle manager(
        OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
    if (manager == nullptr)
        return Fail(L"OpenSCManager", GetLastError());
    const Handle service(CreateServiceW(
        manager.get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
        SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, program.c_str(), nullptr, nullptr,
        kNoDependencies, L"LocalSystem", nullptr));
    if (service == nullptr)
        return Fail(L"CreateService", GetLastError());
    // The entry stays, as callers know it: the next install meets it as one that exists.
    if (!Describe(service.get()))
        return Fail(L"ChangeServiceConfig2 for SERVICE_CONFIG_DESCRIPTION", GetLastError());
    return Result::kSuccess;
} catch (...) {
    return kNoMemory;
}

std::uint32_t UninstallWySvc() noexcept try {
    const std::wstring name = Utility::HostServiceName();
    Handle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (manager == nullptr)
        return Fail(L"OpenSCManager", GetLastError());
    Handle service(
        OpenServiceW(manager.get(), name.c_str(), DELETE | SERVICE_STOP | SERVICE_QUERY_STATUS));
    if (service == nullptr) {
        const DWORD error = GetLastError();
        return error == ERROR_SERVICE_DOES_NOT_EXIST ? Result::kSuccess
                                                     : Fail(L"OpenService", error);
    }
    Stop(service.get());
    if (DeleteService(service.get()) != 0)
        return Result::kSuccess;
    const DWORD error = GetLastError();
    // A marked entry goes with its last handle: these must not be what keeps it there.
    service.reset();
    manager.reset();
    if (error != ERROR_SERVICE_MARKED_FOR_DELETE)
        return Fail(L"DeleteService", error);
    WY_LOG_WARN << L"The specified service has been already marked for deletion.";
    Sleep(kMarkedMs);
    return Result::kSuccess;
} catch (...) {
    return kNoMemory;
}

}  // namespace WyDeployHelper::DeployCommon
