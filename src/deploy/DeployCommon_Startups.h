#pragma once

// Everything by which the product starts of itself or is started from the desktop: the service, the
// autorun value of the session agent, the shortcuts. For Windows builds alone.
//
// An *install folder* is given without a "\" at its end: one there would stand before the quote
// that ends the folder's name on a command line. Every failure leaves a line in the log. Nothing
// raises. The functions belong to one thread at a time.

#include <cstdint>
#include <string>

namespace WyDeployHelper::DeployCommon {

// Enters the service, has the shortcuts made if asked to, and sets the autorun value, in this
// order. What was done before a failure stays.
//
// A service of that name is replaced when its program in the install folder is signed by the maker
// (IsMakerSignedFile). 0xe0fe0431 when it is not; 0xe0fe0430 when the former entry is still there
// after five attempts with 3 seconds behind each. An entry that is marked for deletion from the
// start is not waited for. Otherwise the code of the service step, 0xe00e0002 for the shortcuts,
// 0xe00e0004 for the autorun value, or 0x20ff0000.
std::uint32_t InstallWyStartups(const std::wstring& installDir, bool createShortcuts) noexcept;

// Takes all three away in the same order, and stops at the first failure: the code of
// UninstallWySvc(), 0xe00e0001 for the shortcuts, 0xe00e0005 for the autorun value.
std::uint32_t UninstallWyStartups(const std::wstring& installDir, bool removeShortcuts) noexcept;

// Runs the shortcut tool of the install folder to its end, hidden and without a limit; `action` is
// "-Create" or "-Delete".
//
// The tool is given the folder and the description in the user's language, "Shortcut.xml" in the
// folder of its locale below "Configuration\Shortcut". Without tool or description there is nothing
// to do: true, with a warning. The tool's exit code plays no part. False when the tool could not be
// run.
bool ShortcutsConfig(const std::wstring& installDir, const std::wstring& action) noexcept;

// Stores the command line that the system runs at each log-on, under the product id in the Run key
// of the machine. The key of a 64-bit system is the 64-bit one.
bool SetAutoRun(const std::wstring& commandLine) noexcept;

// Deletes that value; a missing one is a success.
bool RemoveAutoRun() noexcept;

}  // namespace WyDeployHelper::DeployCommon
