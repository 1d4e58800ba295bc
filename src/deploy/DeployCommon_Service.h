#pragma once

// The entry of the service host in the service manager. For Windows builds alone.
//
// Results are 0x20ff0000, or 0xe0fe0000 with the low 16 bits of the error of the call that failed,
// which stands in the log; lack of memory is such an error, 8. Nothing raises. The functions belong
// to one thread at a time: between their steps others see the entry half made.

#include <cstdint>
#include <string>

namespace WyDeployHelper::DeployCommon {

// The path of the service program in an install folder: "WySvcHost.exe" with the suffix of the
// product's identity.
std::wstring ServiceProgram(const std::wstring& installDir);

// Enters the service: started with the system, as LocalSystem, in a process of its own, with a
// description (CreateServiceW, ChangeServiceConfig2W).
//
// An entry of that name is not touched: 0xe0fe0431, or 0xe0fe0430 while it is marked for deletion.
// When the description alone fails, the call fails and the entry stays.
std::uint32_t InstallWySvc(const std::wstring& installDir) noexcept;

// Stops the service and deletes its entry (ControlService, DeleteService). One that does not exist
// is a success.
//
// A service that takes the stop is waited for, without a limit, as long as it says that it is
// stopping. One that does not is deleted all the same: its entry goes when it ends. An entry that
// is marked for deletion already is a success after 2 seconds, with a warning in the log.
std::uint32_t UninstallWySvc() noexcept;

}  // namespace WyDeployHelper::DeployCommon
