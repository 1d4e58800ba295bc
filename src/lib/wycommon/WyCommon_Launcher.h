#pragma once

// Work handed to the launcher, a helper program that acts as the person at the machine. For Windows
// builds alone.
//
// A *line* is the command line of the launcher: its path in quotes, a blank, and *fields* separated
// by commas. The first field is the name of a file, enciphered (EncryptString), which keeps it from
// being read at a glance and no more; all other fields stand as they are. They are neither quoted
// nor escaped: a field MUST NOT hold a comma, which would shift the fields behind it. Of the file's
// name at most 254 bytes of the thread's code page are enciphered, and the form gives 191 of them
// back whole.
//
// An empty path of the launcher means the product's own: "WyLauncher.exe" with the suffix of the
// product's identity, in the folder of the product or of the running executable.
//
// Both functions block until the launcher has ended, and return 0x20ff0000, whatever its exit code
// was. Otherwise a line in the log tells the failure, and the result is 0xe0fe0000 with the low 16
// bits of its Win32 code; a file name that cannot be enciphered has 87, lack of memory has 8.
// Nothing here raises. They may run on any thread; see KrComn_WindowStation.h for a thread of a
// service.

#include <cstdint>
#include <string>

namespace WyCommon::Launcher {

// Has the launcher open a file with a verb ("open"), parameters and a working directory.
//
// A process of session 0 on a system that keeps people out of it (NT 6.0 or later) starts the
// launcher as the user of the active session; any other process starts it directly, hidden. Which
// one this process is, is asked once. Behind the parameters stand a null pointer, written as all
// the digits of an address (16 zeros in a 64-bit library, 8 in a 32-bit one), and a single zero;
// both reserved arguments are accepted and ignored.
std::uint32_t Impersonate(const std::wstring& verb, const std::wstring& file,
                          const std::wstring& params, const void* reservedPointer,
                          std::uint32_t reservedNumber, const std::wstring& directory,
                          const std::wstring& launcherPath) noexcept;

// Has the launcher call a function of a DLL with parameters. It is started directly, hidden.
std::uint32_t RunDll(const std::wstring& dll, const std::wstring& function,
                     const std::wstring& params, const std::wstring& launcherPath) noexcept;

}  // namespace WyCommon::Launcher
