#pragma once

// Starting the session agent, and ending everything of the product that runs. For Windows builds
// alone.
//
// Failures leave a line in the log. Nothing raises but std::bad_alloc out of SessionAgentName().
// The functions block their thread and belong to one at a time.

#include <cstdint>
#include <string>

namespace WyDeployHelper::DeployCommon {

// The file name of the session agent: "WySessionAgent.exe" with the suffix of the product's
// identity.
std::wstring SessionAgentName();

// Starts the session agent of an install folder and does not wait for it. `startMode` is handed to
// it: 1 at log-on, 2 after a rollback, 3 after an install.
//
// Outside the session of services (`inSystemSession` false) it is started as it is, hidden, with
// the install folder as its working folder. Inside that session it has to come up before the person
// at the machine: the set-up program has the launcher open the agent of the registered product
// folder on a 64-bit system; any other process starts it as the user of the active session.
//
// Returns 0x20ff0000, 0xe00e0010, or the code of WyCommon::Launcher::Impersonate().
std::uint32_t StartWySessionAgent(const std::wstring& installDir, int startMode,
                                  bool inSystemSession) noexcept;

// Has the watchdog end, and then ends every process of the product.
//
// The watchdog has 20 seconds; where it does not tell its end the work goes on. Without a watchdog
// nothing is ended at all, and the result is true: a process of the product that outlived its
// watchdog stays. The set-up program of a 64-bit system leaves the ending to the launcher of its
// package, beside the 64-bit library there, and gives its result; every other process does it
// itself and is true whatever becomes of it. False otherwise only when the watchdog's events cannot
// be had.
//
// A process whose path contains `excluded` lives on; an empty text excludes none.
bool ExitAllExec(const std::wstring& excluded) noexcept;

// Ends every process whose executable lies in the product's folder or below it, those of other
// users included (WyCommon::Utility::ForceTerminateModule). A caller that lies there itself ends,
// too, unless it is excluded.
bool KillWyExec(const std::wstring& excluded) noexcept;

}  // namespace WyDeployHelper::DeployCommon
