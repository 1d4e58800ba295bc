#include "trace/TracePlatform.h"

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_SecurityAttributes.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

#include <shlobj.h>

namespace Trace {

namespace {

std::uint32_t LastError() {
    const DWORD code = GetLastError();
    return code != ERROR_SUCCESS ? code : ERROR_GEN_FAILURE;
}

HANDLE AsHandle(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

std::uint32_t Seek(HANDLE file, std::uint64_t offset, DWORD from, std::uint64_t* reached) {
    LARGE_INTEGER distance = {};
    LARGE_INTEGER position = {};
    distance.QuadPart = static_cast<LONGLONG>(offset);
    if (SetFilePointerEx(file, distance, &position, from) == 0)
        return LastError();
    if (reached != nullptr)
        *reached = static_cast<std::uint64_t>(position.QuadPart);
    return ERROR_SUCCESS;
}

// The same name for the same file: case does not count.
std::wstring LockName(const std::wstring& path) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (wchar_t unit : path) {
        if (unit >= L'A' && unit <= L'Z')
            unit = static_cast<wchar_t>(unit - L'A' + L'a');
        hash = (hash ^ unit) * 0x100000001b3;
    }
    std::wstring name;
    KrCommon::String::Format(name, L"Global\\KrDbgLog_%08x%08x", static_cast<unsigned>(hash >> 32),
                             static_cast<unsigned>(hash));
    return name;
}

}  // namespace

std::wstring CommonDataFolder() {
    wchar_t path[MAX_PATH] = {};
    return SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0,
                                      path))
               ? path
               : L"";
}

std::wstring ExecutableName() {
    // Old systems do not end a path that was cut.
    wchar_t path[MAX_PATH + 1] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring name(KrCommon::String::GetFileName(path));
    return name.substr(0, name.rfind(L'.'));
}

std::uint32_t MakeFolder(const std::wstring& path) {
    std::uint32_t error = ERROR_SUCCESS;
    if (KrCommon::Storage::File::CreateDirectories(path, &error))
        return ERROR_SUCCESS;
    return error != ERROR_SUCCESS ? error : ERROR_PATH_NOT_FOUND;
}

std::uint32_t MoveOver(const std::wstring& from, const std::wstring& to) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0)
        return ERROR_SUCCESS;
    const std::uint32_t error = LastError();
    return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;
}

void TellDebugger(const wchar_t* line) {
    OutputDebugStringW(line);
}

File::~File() {
    if (m_hFile != kNone)
        CloseHandle(AsHandle(m_hFile));
}

std::uint32_t File::Open(const std::wstring& path, bool empty) {
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, empty ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return LastError();
    // The name may belong to something that is no file of a disk.
    if (GetFileType(file) != FILE_TYPE_DISK) {
        CloseHandle(file);
        return ERROR_BAD_PATHNAME;
    }
    m_hFile = reinterpret_cast<std::intptr_t>(file);
    return ERROR_SUCCESS;
}

std::uint32_t File::GetSize(std::uint64_t& size) {
    return Seek(AsHandle(m_hFile), 0, FILE_END, &size);
}

std::uint32_t File::GetWriteDay(std::uint32_t& day) {
    BY_HANDLE_FILE_INFORMATION information = {};
    FILETIME local = {};
    SYSTEMTIME time = {};
    if (GetFileInformationByHandle(AsHandle(m_hFile), &information) == 0 ||
        FileTimeToLocalFileTime(&information.ftLastWriteTime, &local) == 0 ||
        FileTimeToSystemTime(&local, &time) == 0)
        return LastError();
    day = (time.wYear * 100U + time.wMonth) * 100U + time.wDay;
    return ERROR_SUCCESS;
}

std::uint32_t File::Append(const char* bytes, std::size_t size) {
    std::uint64_t end = 0;
    if (const std::uint32_t error = GetSize(end); error != ERROR_SUCCESS)
        return error;
    DWORD written = 0;
    const BOOL done =
        WriteFile(AsHandle(m_hFile), bytes, static_cast<DWORD>(size), &written, nullptr);
    if (done != 0 && written == size)
        return ERROR_SUCCESS;
    const std::uint32_t error = done != 0 ? std::uint32_t{ERROR_DISK_FULL} : LastError();
    Truncate(end);
    return error;
}

std::uint32_t File::Read(std::uint64_t offset, char* bytes, std::size_t size, std::size_t& read) {
    if (const std::uint32_t error = Seek(AsHandle(m_hFile), offset, FILE_BEGIN, nullptr);
        error != ERROR_SUCCESS)
        return error;
    DWORD count = 0;
    if (ReadFile(AsHandle(m_hFile), bytes, static_cast<DWORD>(size), &count, nullptr) == 0)
        return LastError();
    read = count;
    return ERROR_SUCCESS;
}

std::uint32_t File::Truncate(std::uint64_t size) {
    const std::uint32_t error = Seek(AsHandle(m_hFile), size, FILE_BEGIN, nullptr);
    if (error != ERROR_SUCCESS)
        return error;
    return SetEndOfFile(AsHandle(m_hFile)) != 0 ? std::uint32_t{ERROR_SUCCESS} : LastError();
}

std::uint32_t File::Flush() {
    return FlushFileBuffers(AsHandle(m_hFile)) != 0 ? std::uint32_t{ERROR_SUCCESS} : LastError();
}

FileLock::~FileLock() {
    if (m_hLock != kNone)
        CloseHandle(AsHandle(m_hLock));
}

std::uint32_t FileLock::Open(const std::wstring& path) {
    const std::wstring name = LockName(path);
    // Services and people write the same file: everyone may take the lock.
    namespace AccessControl = KrCommon::AccessControl;
    AccessControl::SecurityAttributes attributes(AccessControl::kMutexLimited, false);
    HANDLE lock = CreateMutexW(attributes.ForCall(), FALSE, name.c_str());
    // One that another user made does not grant all that making it would ask for.
    if (lock == nullptr && GetLastError() == ERROR_ACCESS_DENIED)
        lock = OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name.c_str());
    if (lock == nullptr)
        return LastError();
    m_hLock = reinterpret_cast<std::intptr_t>(lock);
    return ERROR_SUCCESS;
}

bool FileLock::Lock(std::uint32_t milliseconds) {
    const DWORD result = WaitForSingleObject(AsHandle(m_hLock), milliseconds);
    // Abandoned: a process died with the lock. The lines it wrote are whole.
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

void FileLock::Unlock() {
    ReleaseMutex(AsHandle(m_hLock));
}

}  // namespace Trace
