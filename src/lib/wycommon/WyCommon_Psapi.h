#pragma once

// The process functions of psapi.dll, which not every system has. For Windows builds alone.

#include <cstdint>

#include "Common/KrCommon/KrComn_Library.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace WyCommon::Library {

// psapi.dll and the three functions that are taken from it. Used by one thread at a time.
//
// Before Initialize() has succeeded the functions fail with 6 as the last error of the thread.
class PsapiLib final : public KrCommon::Library::Wrapper {
public:
    // Loads the module and binds it. False, with a line in the log and nothing left loaded, when
    // the system has no such module or not all the functions.
    bool Initialize();

    bool Bind(bool load, std::uint32_t* error) override;

    // The ids of all processes; sizes are in bytes.
    bool EnumProcesses(DWORD* ids, DWORD size, DWORD* used) const;

    // The modules of a process, its executable first; sizes are in bytes.
    bool EnumProcessModules(HANDLE process, HMODULE* modules, DWORD size, DWORD* needed) const;

    // The path of a module of another process; its length in characters, 0 on failure.
    DWORD GetModuleFileNameExW(HANDLE process, HMODULE module, wchar_t* path, DWORD size) const;

private:
    void* m_pEnumProcesses = nullptr;
    void* m_pEnumProcessModules = nullptr;
    void* m_pGetModuleFileNameExW = nullptr;
};

}  // namespace WyCommon::Library
