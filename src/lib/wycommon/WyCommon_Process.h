#pragma once

// Processes: finding and ending them, and what this one may do. For Windows builds alone.
//
// Failures are results and lines in the log. Functions that take or give text or lists raise
// std::bad_alloc alone. All functions may run on any thread.

#include <cstdint>
#include <string>
#include <vector>

namespace WyCommon::Library {
class PsapiLib;
}

namespace WyCommon::Utility {

// Appends the ids of all processes to the list (EnumProcesses).
//
// `library` is used, and bound first when it is not; null makes one for the call. False, with the
// list as it was, when there is no such library or it fails.
bool EnumProcessId(std::vector<std::uint32_t>& list, Library::PsapiLib* library);

// Ends all processes whose executable lies in a folder or below it (TerminateProcess with exit code
// 0), and waits for each up to 3 seconds.
//
// A process belongs to the folder when the folder of its executable contains the text of it, both
// in lower case; a "\" at the end of the text does not count. One whose path contains `excluded`
// lives on; an empty text excludes none. An empty folder is no process' folder.
//
// A process that cannot be opened, read or ended, or that does not end in time, has its line in the
// log and does not change the result; a 32-bit caller cannot read 64-bit ones. False only when the
// processes cannot be listed. A caller that wants to reach processes of others switches
// EnableDebugPrivilege() on first; one whose own executable lies in the folder has to exclude it.
bool ForceTerminateModule(std::wstring folder, std::wstring excluded);

// Gives the privilege SeDebugPrivilege of this process an attribute: 2 (SE_PRIVILEGE_ENABLED)
// switches it on, 0 off.
//
// True when the system takes the request (AdjustTokenPrivileges), which it does also for a process
// that does not have the privilege.
bool EnableDebugPrivilege(std::uint32_t attribute) noexcept;

// Tells whether this thread acts as the local system account (CheckTokenMembership). False, with
// false in `isSystem`, where that cannot be told, as below NT 5.
bool IsSystemAccount(bool& isSystem) noexcept;

}  // namespace WyCommon::Utility
