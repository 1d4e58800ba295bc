#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_FileBase.h"
#include "Common/KrCommon/KrComn_String.h"

namespace KrCommon::Storage {

namespace {

int DescriptorOf(std::intptr_t file) {
    return static_cast<int>(file);
}

std::uint32_t CodeOf(int failure) {
    switch (failure) {
        case ENOENT:
            return ErrorCode::kFileNotFound;
        case ENOTDIR:
            return ErrorCode::kPathNotFound;
        case ENOMEM:
            return ErrorCode::kNotEnoughMemory;
        default:
            return ErrorCode::kAccessDenied;
    }
}

bool IsFolder(int descriptor) {
    struct stat facts {};
    return fstat(descriptor, &facts) == 0 && S_ISDIR(facts.st_mode);
}

// A folder is refused as Windows refuses it.
std::uint32_t OpenDescriptor(const wchar_t* path, int& descriptor) {
    try {
        descriptor = open(String::ToUtf8(String::ReplaceAll(path, L"\\", L"/")).c_str(),
                          O_RDONLY | O_CLOEXEC);
    } catch (...) {
        return ErrorCode::kNotEnoughMemory;
    }
    if (descriptor < 0)
        return CodeOf(errno);
    if (!IsFolder(descriptor))
        return ErrorCode::kSuccess;
    close(descriptor);
    descriptor = -1;
    return ErrorCode::kAccessDenied;
}

}  // namespace

std::uint32_t FileBase::OpenPath(const wchar_t* path) {
    int descriptor = -1;
    const std::uint32_t code = OpenDescriptor(path, descriptor);
    m_hFile = descriptor;
    return code;
}

void FileBase::Close() {
    if (IsOpen())
        close(DescriptorOf(m_hFile));
    m_hFile = kNoFile;
}

std::uint32_t FileBase::ReadBlock(void* buffer, std::uint32_t length, std::uint32_t& bytesRead) {
    ssize_t count = 0;
    do {
        count = read(DescriptorOf(m_hFile), buffer, length);
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        return CodeOf(errno);
    bytesRead = static_cast<std::uint32_t>(count);
    return ErrorCode::kSuccess;
}

}  // namespace KrCommon::Storage
