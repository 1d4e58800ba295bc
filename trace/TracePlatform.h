#pragma once

// What the trace module needs of the system. Codes are Win32 codes, 0 for success; paths have "\"
// as separator on every system.

#include <cstddef>
#include <cstdint>
#include <string>

namespace Trace {

// The application data of the machine (SHGetFolderPathW); in a native build the folder for
// temporary files. Empty when it cannot be told.
std::wstring CommonDataFolder();

// The file name of the running program without its extension.
std::wstring ExecutableName();

// Makes a folder and all above it that are missing.
std::uint32_t MakeFolder(const std::wstring& path);

// Moves a file over another one. A missing source is a success (MoveFileExW).
std::uint32_t MoveOver(const std::wstring& from, const std::wstring& to);

// Hands a line to a debugger (OutputDebugStringW); does nothing in a native build.
void TellDebugger(const wchar_t* line);

// A log file, open for writing at its end. Others may read it meanwhile, and other processes write
// it; nobody can delete it. One thread at a time.
class File {
public:
    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    // Opens a file, or makes it. `empty`: what it held goes.
    std::uint32_t Open(const std::wstring& path, bool empty);
    std::uint32_t GetSize(std::uint64_t& size);
    // The local day of the last write, as year, month and day in one number: 20261114.
    std::uint32_t GetWriteDay(std::uint32_t& day);
    // Writes all at the end of the file, or nothing.
    std::uint32_t Append(const char* bytes, std::size_t size);
    // Reads up to `size` bytes; 0 of them at the end.
    std::uint32_t Read(std::uint64_t offset, char* bytes, std::size_t size, std::size_t& read);
    std::uint32_t Truncate(std::uint64_t size);
    // Hands what was written to the disk (FlushFileBuffers).
    std::uint32_t Flush();

private:
    std::intptr_t m_hFile = kNone;
    static constexpr std::intptr_t kNone = -1;
};

// A lock that all processes share which write one file (CreateMutexW). A process that dies while
// it holds the lock gives it up. Held and released by the same thread.
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    // `path`: of the file that is to be guarded.
    std::uint32_t Open(const std::wstring& path);
    // False when the lock is not to be had in time. A native build waits for ever.
    bool Lock(std::uint32_t milliseconds);
    void Unlock();

private:
    std::intptr_t m_hLock = kNone;
    static constexpr std::intptr_t kNone = -1;
};

}  // namespace Trace
