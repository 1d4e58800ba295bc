#pragma once

// The settings of the debug log that a program may change or ask for. For Windows builds alone.
//
// They stand in krdbg.ini, see KrComn_DebugLog.h. A change reaches the file only: running logs keep
// their values until they are initialised again. Failures are in the results; nothing is raised
// but std::bad_alloc. All functions may run on any thread.

#include <cstdint>
#include <string>

namespace WyCommon::LogSettings {

// Writes switch and level into both sections of a file, the level as "0x%08x". All four values are
// tried even after a failure; true when all were written.
bool WriteSwitch(const std::wstring& file, bool enable, std::uint32_t level);

// The same for krdbg.ini of the installed product, and for win32\krdbg.ini below it where that
// exists. False without the first file, also where the second exists.
bool SetSwitch(bool enable, std::uint32_t level);

// The folder of the logs: LogFolder of the section "ServiceSession", or
// "C:\ProgramData\Korvex Data\" and the product id. Each "%commonappdata%" in it is replaced by
// the application data of the machine (CSIDL_COMMON_APPDATA).
std::wstring GetLogFolder();

// The folder of the memory dumps: "Korvex Data\", the product id and "\dump" below the application
// data of the machine (SHGetFolderPathW, which makes that folder, or else
// GetAllUsersProfileDirectoryW). It is not made. Without an answer of the system it begins with
// "\".
std::wstring GetDumpFolder();

}  // namespace WyCommon::LogSettings
