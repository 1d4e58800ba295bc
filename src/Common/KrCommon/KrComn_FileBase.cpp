#include "Common/KrCommon/KrComn_FileBase.h"

#include <cstring>

#include "Common/KrCommon/KrComn_ErrorCode.h"

namespace KrCommon::Storage {

namespace {

bool Give(std::uint32_t* error, std::uint32_t code) {
    if (error != nullptr)
        *error = code;
    return code == ErrorCode::kSuccess;
}

}  // namespace

FileBase::~FileBase() {
    Close();
}

bool FileBase::OpenForRead(const wchar_t* path, std::uint32_t* error) {
    if (path == nullptr || *path == L'\0')
        return Give(error, ErrorCode::kBadArguments);
    if (IsOpen())
        return Give(error, ErrorCode::kObjectAlreadyExists);
    return Give(error, OpenPath(path));
}

bool FileBase::Read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                    std::uint32_t* error) {
    std::uint32_t count = 0;
    std::uint32_t code = ErrorCode::kSuccess;
    if (!IsOpen()) {
        code = ErrorCode::kInvalidHandle;
    } else if (buffer == nullptr) {
        code = ErrorCode::kBadArguments;
    } else {
        code = ReadBlock(buffer, length, count);
    }
    if (bytesRead != nullptr)
        *bytesRead = count;
    return Give(error, code);
}

bool FileBase::ReadExact(void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                         std::uint32_t* error) {
    if (!IsOpen())
        return false;
    if (buffer != nullptr)
        std::memset(buffer, 0, length);
    std::uint32_t count = 0;
    std::uint32_t code = ErrorCode::kSuccess;
    Read(buffer, length, &count, &code);
    if (code == ErrorCode::kSuccess && count == 0) {
        code = ErrorCode::kHandleEof;
    } else if (code == ErrorCode::kSuccess && count != length) {
        code = ErrorCode::kInvalidData;
    }
    if (bytesRead != nullptr)
        *bytesRead = count;
    return Give(error, code);
}

}  // namespace KrCommon::Storage
