#pragma once

// What the functions over files and folders are made of: the listing of a folder, the folders of
// a path, and the read-only mark.

#include <cstdint>
#include <cwchar>
#include <string>
#include <utility>

#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage {

// The handle of a listing (FindFirstFileW); closed when it goes.
//
// It does not hold the entry that was found, which is large: one place for it serves a walk of
// any depth.
class FileFind {
public:
    // Finds the first entry. The system's error tells why there is none.
    FileFind(const std::wstring& pattern, WIN32_FIND_DATAW& entry) noexcept
        : m_hFind(FindFirstFileW(pattern.c_str(), &entry)) {}
    FileFind(FileFind&& other) noexcept
        : m_hFind(std::exchange(other.m_hFind, INVALID_HANDLE_VALUE)) {}
    FileFind& operator=(FileFind&&) = delete;
    ~FileFind() {
        if (IsOpen())
            FindClose(m_hFind);
    }

    bool IsOpen() const noexcept { return m_hFind != INVALID_HANDLE_VALUE; }
    // Finds the next entry; false at the end. A listing that breaks off ends in the same way: the
    // walks over files take what they were given, and the log tells that it was not all.
    bool Next(WIN32_FIND_DATAW& entry) const noexcept;

private:
    HANDLE m_hFind;
};

inline bool IsFolder(const WIN32_FIND_DATAW& entry) noexcept {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// True for "." and "..".
inline bool IsDots(const WIN32_FIND_DATAW& entry) noexcept {
    return std::wcscmp(entry.cFileName, L".") == 0 || std::wcscmp(entry.cFileName, L"..") == 0;
}

// Takes the read-only mark away. A path that does not exist is harmless.
inline void ClearReadOnly(const std::wstring& path) noexcept {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    SetFileAttributesW(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
}

// Keeps the system's last error over what is done in its scope: closing and logging change it, and
// callers of a failed walk read it.
class KeepLastError {
public:
    KeepLastError() noexcept : m_dwError(GetLastError()) {}
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;
    ~KeepLastError() { SetLastError(m_dwError); }
    DWORD Code() const noexcept { return m_dwError; }

private:
    DWORD m_dwError;
};

// Makes each folder of a path that is missing, from the left; a name that exists counts as made,
// and 183 is no failure. False when one cannot be made: `failed` is that one then. `error` (null is
// allowed) is set by each call that fails.
bool MakeFolders(const std::wstring& path, std::wstring& failed, std::uint32_t* error);

}  // namespace KrCommon::Storage
