#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_FileBase.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage {

namespace {

HANDLE HandleOf(std::intptr_t file) {
    return reinterpret_cast<HANDLE>(file);
}

}  // namespace

std::uint32_t FileBase::OpenPath(const wchar_t* path) {
    m_hFile =
        reinterpret_cast<std::intptr_t>(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return IsOpen() ? ErrorCode::kSuccess : GetLastError();
}

void FileBase::Close() {
    if (IsOpen())
        CloseHandle(HandleOf(m_hFile));
    m_hFile = kNoFile;
}

std::uint32_t FileBase::ReadBlock(void* buffer, std::uint32_t length, std::uint32_t& bytesRead) {
    DWORD count = 0;
    if (ReadFile(HandleOf(m_hFile), buffer, length, &count, nullptr) == 0)
        return GetLastError();
    bytesRead = count;
    return ErrorCode::kSuccess;
}

}  // namespace KrCommon::Storage
