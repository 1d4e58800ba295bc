#include "lib/wycommon/WyCommon_Psapi.h"

#include <iterator>

#include "Common/KrCommon/KrComn_Log.h"

namespace WyCommon::Library {

namespace {

constexpr const char* kLogSource = "WyCommon_Utility";
constexpr std::uint32_t kInitializeLine = 80;

// The function behind a pointer of the binding; null, with the last error set, without one.
template <class Signature>
Signature* As(void* function) {
    if (function == nullptr)
        SetLastError(ERROR_INVALID_HANDLE);
    return reinterpret_cast<Signature*>(function);
}

}  // namespace

bool PsapiLib::Initialize() {
    std::uint32_t error = ERROR_SUCCESS;
    if (Load(L"psapi.dll", 0, &error)) {
        if (Bind(true, &error))
            return true;
        Bind(false, nullptr);
        Unload(nullptr);
    }
    if (g_pDebugLog != nullptr) {
        g_pDebugLog->Trace(kLogSource, kInitializeLine, KrCommon::LogLevel::kError,
                           L"*** PsapiLib::InitializeLibrary() failed. [0x%08x]", error);
    }
    return false;
}

bool PsapiLib::Bind(bool load, std::uint32_t* error) {
    const Entry entries[] = {
        {"EnumProcesses", &m_pEnumProcesses},
        {"EnumProcessModules", &m_pEnumProcessModules},
        {"GetModuleFileNameExW", &m_pGetModuleFileNameExW},
    };
    return load ? BindAll(entries, std::size(entries), error)
                : UnbindAll(entries, std::size(entries));
}

bool PsapiLib::EnumProcesses(DWORD* ids, DWORD size, DWORD* used) const {
    auto* const function = As<BOOL WINAPI(DWORD*, DWORD, DWORD*)>(m_pEnumProcesses);
    return function != nullptr && function(ids, size, used) != 0;
}

bool PsapiLib::EnumProcessModules(HANDLE process, HMODULE* modules, DWORD size,
                                  DWORD* needed) const {
    auto* const function = As<BOOL WINAPI(HANDLE, HMODULE*, DWORD, DWORD*)>(m_pEnumProcessModules);
    return function != nullptr && function(process, modules, size, needed) != 0;
}

DWORD PsapiLib::GetModuleFileNameExW(HANDLE process, HMODULE module, wchar_t* path,
                                     DWORD size) const {
    auto* const function =
        As<DWORD WINAPI(HANDLE, HMODULE, wchar_t*, DWORD)>(m_pGetModuleFileNameExW);
    return function != nullptr ? function(process, module, path, size) : 0;
}

}  // namespace WyCommon::Library
