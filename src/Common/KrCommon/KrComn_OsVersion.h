#pragma once

// What the operating system is. For Windows builds alone.

namespace KrCommon::OsVersion {

// True on a system for x86-64 processors, also when this process is a 32-bit one
// (GetNativeSystemInfo). Asked once; false where the system cannot tell. Any thread.
bool Is64Bit();

}  // namespace KrCommon::OsVersion
