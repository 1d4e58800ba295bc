#include "lib/wycommon/WyCommon_Process.h"

#include <memory>
#include <new>

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Psapi.h"

namespace WyCommon::Utility {

namespace {

namespace OsVersion = KrCommon::OsVersion;
namespace String = KrCommon::String;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using Library::PsapiLib;

constexpr const char* kLogSource = "WyCommon_Utility";
constexpr DWORD kEndLimit = 3000;  // milliseconds

using Handle = KrCommon::UniqueHandle;

bool Initialize(PsapiLib& library) {
    if (library.Initialize())
        return true;
    WY_TRACE(kError, L"*** WyCommon::PsapiLib::Initialize() failed.");
    return false;
}

// A buffer that comes back full may hold a list that was cut.
bool AppendProcessIds(std::vector<std::uint32_t>& list, const PsapiLib& library) {
    std::vector<DWORD> ids(1024);
    for (;;) {
        const DWORD size = static_cast<DWORD>(ids.size() * sizeof(DWORD));
        DWORD used = 0;
        if (!library.EnumProcesses(ids.data(), size, &used)) {
            WY_TRACE(kError, L"*** ::EnumProcesses() failed. [0x%08x]", GetLastError());
            return false;
        }
        if (used < size) {
            list.insert(list.end(), ids.data(), ids.data() + used / sizeof(DWORD));
            return true;
        }
        ids.resize(ids.size() * 2);
    }
}

// As the file system compares: every letter, not only those of ASCII.
void ToLower(std::wstring& text) {
    std::wstring lower(text.size(), L'\0');
    const int length = static_cast<int>(text.size());
    if (LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, text.data(), length, lower.data(),
                     length) == length)
        text.swap(lower);
}

// The path of the executable of a process; empty, with a line in the log, on failure.
std::wstring ExecutableOf(HANDLE process, const PsapiLib& library) {
    HMODULE module = nullptr;
    DWORD needed = 0;
    if (!library.EnumProcessModules(process, &module, sizeof module, &needed)) {
        WY_TRACE(kError, L"*** ::EnumProcessModules() failed. [0x%08x]", GetLastError());
        return {};
    }
    wchar_t path[MAX_PATH] = {};
    const DWORD length = library.GetModuleFileNameExW(process, module, path, MAX_PATH);
    if (length == 0) {
        WY_TRACE(kError, L"*** ::GetModuleFileNameEx() failed. [0x%08x]", GetLastError());
        return {};
    }
    path[MAX_PATH - 1] = L'\0';
    WY_TRACE(kWarning, L"Enum module file name: %ls", path);
    return path;
}

void Terminate(HANDLE process) {
    if (TerminateProcess(process, 0) == 0) {
        WY_TRACE(kError, L"*** ::TerminateProcess() failed. [0x%08x]", GetLastError());
        return;
    }
    const DWORD result = WaitForSingleObject(process, kEndLimit);
    if (result != WAIT_OBJECT_0) {
        WY_TRACE(kError, L"WaitForSingleObject failed with return code %d, error code %d", result,
                 GetLastError());
    }
}

// Both texts in lower case.
void TerminateIfIn(DWORD id, const std::wstring& folder, const std::wstring& excluded,
                   const PsapiLib& library) {
    constexpr DWORD kAccess =
        SYNCHRONIZE | PROCESS_VM_READ | PROCESS_QUERY_INFORMATION | PROCESS_TERMINATE;
    const Handle process(OpenProcess(kAccess, FALSE, id));
    if (process == nullptr) {
        WY_TRACE(kError, L"*** ::OpenProcess(%d) failed. [0x%08x]", id, GetLastError());
        return;
    }
    std::wstring path = ExecutableOf(process.get(), library);
    ToLower(path);
    if (!excluded.empty() && path.find(excluded) != std::wstring::npos)
        return;
    if (String::RemoveFileName(path).rfind(folder) != std::wstring_view::npos)
        Terminate(process.get());
}

bool TerminateAllIn(std::wstring folder, std::wstring excluded) {
    String::RemoveSeparator(folder);
    ToLower(folder);
    ToLower(excluded);
    PsapiLib library;
    if (!Initialize(library))
        return false;
    std::vector<std::uint32_t> ids;
    if (!EnumProcessId(ids, &library)) {
        WY_TRACE(kError, L"*** WyCommon::Utility::EnumProcessId() failed.");
        return false;
    }
    if (folder.empty())
        return true;
    for (const std::uint32_t id : ids)
        TerminateIfIn(id, folder, excluded, library);
    return true;
}

}  // namespace

bool EnumProcessId(std::vector<std::uint32_t>& list, PsapiLib* library) {
    std::unique_ptr<PsapiLib> temporary;
    if (library == nullptr) {
        temporary.reset(new (std::nothrow) PsapiLib);
        library = temporary.get();
    }
    if (library == nullptr) {
        WY_TRACE(kError, L"*** Out of memory.");
        return false;
    }
    if (!library->IsBound() && !Initialize(*library))
        return false;
    return AppendProcessIds(list, *library);
}

bool ForceTerminateModule(std::wstring folder, std::wstring excluded) {
    WY_TRACE(kInformation, L"[Enter] WyCommon::Utility::ForceTerminateModule()...");
    const bool listed = TerminateAllIn(std::move(folder), std::move(excluded));
    WY_TRACE(kInformation, L"[Leave] WyCommon::Utility::ForceTerminateModule()...");
    return listed;
}

bool EnableDebugPrivilege(std::uint32_t attribute) noexcept {
    HANDLE opened = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &opened) == 0)
        return false;
    const Handle token(opened);
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = attribute;
    return LookupPrivilegeValueW(nullptr, SE_DEBUG_NAME, &privileges.Privileges[0].Luid) != 0 &&
           AdjustTokenPrivileges(token.get(), FALSE, &privileges, sizeof privileges, nullptr,
                                 nullptr) != 0;
}

bool IsSystemAccount(bool& isSystem) noexcept {
    isSystem = false;
    if (OsVersion::GetError() != ERROR_SUCCESS ||
        !OsVersion::Is(OsVersion::Condition::kNt50OrLater))
        return false;
    KrCommon::Library::Function<BOOL WINAPI(WELL_KNOWN_SID_TYPE, PSID, PSID, DWORD*)> create;
    KrCommon::Library::Function<BOOL WINAPI(HANDLE, PSID, BOOL*)> check;
    if (!create.Find(L"advapi32.dll", "CreateWellKnownSid", nullptr) ||
        !check.Find(L"advapi32.dll", "CheckTokenMembership", nullptr))
        return false;
    alignas(SID) unsigned char sid[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof sid;
    BOOL isMember = FALSE;
    if (create.Get()(WinLocalSystemSid, nullptr, sid, &size) == 0 ||
        check.Get()(nullptr, sid, &isMember) == 0)
        return false;
    isSystem = isMember != 0;
    return true;
}

}  // namespace WyCommon::Utility
