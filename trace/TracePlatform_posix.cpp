#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_String.h"
#include "trace/TracePlatform.h"

namespace Trace {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
namespace String = KrCommon::String;

std::string Native(const std::wstring& path) {
    return String::ToUtf8(String::ReplaceAll(path, L"\\", L"/"));
}

std::uint32_t Code(int error) {
    switch (error) {
        case 0:
            return ErrorCode::kSuccess;
        case ENOENT:
            return ErrorCode::kFileNotFound;
        case ENOTDIR:
            return ErrorCode::kPathNotFound;
        case ENOSPC:
            return ErrorCode::kDiskFull;
        default:
            return ErrorCode::kAccessDenied;
    }
}

std::uint32_t LastError() {
    return Code(errno);
}

int AsFile(std::intptr_t handle) {
    return static_cast<int>(handle);
}

}  // namespace

std::wstring CommonDataFolder() {
    return std::filesystem::temp_directory_path().wstring();
}

std::wstring ExecutableName() {
    return std::filesystem::read_symlink("/proc/self/exe").stem().wstring();
}

std::uint32_t MakeFolder(const std::wstring& path) {
    std::error_code error;
    std::filesystem::create_directories(Native(path), error);
    return Code(error.value());
}

std::uint32_t MoveOver(const std::wstring& from, const std::wstring& to) {
    if (rename(Native(from).c_str(), Native(to).c_str()) == 0 || errno == ENOENT)
        return ErrorCode::kSuccess;
    return LastError();
}

void TellDebugger(const wchar_t*) {}

File::~File() {
    if (m_hFile != kNone)
        close(AsFile(m_hFile));
}

std::uint32_t File::Open(const std::wstring& path, bool empty) {
    m_hFile = open(Native(path).c_str(),
                   O_RDWR | O_CREAT | O_CLOEXEC | O_APPEND | (empty ? O_TRUNC : 0), 0644);
    return m_hFile != kNone ? ErrorCode::kSuccess : LastError();
}

std::uint32_t File::GetSize(std::uint64_t& size) {
    const off_t end = lseek(AsFile(m_hFile), 0, SEEK_END);
    if (end < 0)
        return LastError();
    size = static_cast<std::uint64_t>(end);
    return ErrorCode::kSuccess;
}

std::uint32_t File::GetWriteDay(std::uint32_t& day) {
    struct stat status = {};
    std::tm parts = {};
    if (fstat(AsFile(m_hFile), &status) != 0)
        return LastError();
    localtime_r(&status.st_mtim.tv_sec, &parts);
    day = static_cast<std::uint32_t>(((parts.tm_year + 1900) * 100 + parts.tm_mon + 1) * 100 +
                                     parts.tm_mday);
    return ErrorCode::kSuccess;
}

std::uint32_t File::Append(const char* bytes, std::size_t size) {
    const ssize_t written = write(AsFile(m_hFile), bytes, size);
    if (written == static_cast<ssize_t>(size))
        return ErrorCode::kSuccess;
    const std::uint32_t error = written < 0 ? LastError() : ErrorCode::kDiskFull;
    std::uint64_t end = 0;
    if (written > 0 && GetSize(end) == ErrorCode::kSuccess)
        Truncate(end - static_cast<std::uint64_t>(written));
    return error;
}

std::uint32_t File::Read(std::uint64_t offset, char* bytes, std::size_t size, std::size_t& read) {
    const ssize_t count = pread(AsFile(m_hFile), bytes, size, static_cast<off_t>(offset));
    if (count < 0)
        return LastError();
    read = static_cast<std::size_t>(count);
    return ErrorCode::kSuccess;
}

std::uint32_t File::Truncate(std::uint64_t size) {
    return ftruncate(AsFile(m_hFile), static_cast<off_t>(size)) == 0 ? ErrorCode::kSuccess
                                                                     : LastError();
}

std::uint32_t File::Flush() {
    return fsync(AsFile(m_hFile)) == 0 ? ErrorCode::kSuccess : LastError();
}

// The lock is that of the file itself, through a description of its own.

FileLock::~FileLock() {
    if (m_hLock != kNone)
        close(AsFile(m_hLock));
}

std::uint32_t FileLock::Open(const std::wstring& path) {
    m_hLock = open(Native(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    return m_hLock != kNone ? ErrorCode::kSuccess : LastError();
}

bool FileLock::Lock(std::uint32_t) {
    int result = 0;
    do {
        result = flock(AsFile(m_hLock), LOCK_EX);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void FileLock::Unlock() {
    flock(AsFile(m_hLock), LOCK_UN);
}

}  // namespace Trace
