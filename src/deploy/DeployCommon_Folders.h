#pragma once

// Removing folders, and the mark that a removal waits for the next start of the system. For Windows
// builds alone.
//
// Failures leave a line in the log. Nothing raises. All functions may run on any thread.

#include <cstdint>
#include <string>

namespace WyDeployHelper::DeployCommon {

// Leaves a mark that is gone after the next start of the system: an empty file in the temporary
// folder of the system, which the system is told to delete then (MoveFileExW).
void SetRebootFlag() noexcept;

// True while that mark is there.
bool IsRebootPending() noexcept;

// Removes a folder with all that is in it. A folder that does not exist is a success.
//
// What is in use is left to the next start of the system, and then the folder, too: the result is
// then 0xe0fe0000 with the low 16 bits of the error that kept it. `rebootNeeded` becomes true when
// something in the folder is left to that start, and is otherwise as it was. A folder that cannot
// be listed has the code of its error, 0xe0fe00a0 for an empty name.
std::uint32_t DeleteFolder(const std::wstring& path, bool& rebootNeeded) noexcept;

}  // namespace WyDeployHelper::DeployCommon
