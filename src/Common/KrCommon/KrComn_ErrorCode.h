#pragma once

// The Win32 error codes that the portable code itself gives (winerror.h).

#include <cstdint>

namespace KrCommon::ErrorCode {

constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kInvalidFunction = 1;
constexpr std::uint32_t kFileNotFound = 2;
constexpr std::uint32_t kPathNotFound = 3;
constexpr std::uint32_t kAccessDenied = 5;
constexpr std::uint32_t kInvalidHandle = 6;
constexpr std::uint32_t kNotEnoughMemory = 8;
constexpr std::uint32_t kInvalidData = 13;
constexpr std::uint32_t kCrc = 23;
constexpr std::uint32_t kHandleEof = 38;
constexpr std::uint32_t kNotSupported = 50;
constexpr std::uint32_t kFileExists = 80;
constexpr std::uint32_t kInvalidParameter = 87;
constexpr std::uint32_t kDiskFull = 112;
constexpr std::uint32_t kInsufficientBuffer = 122;
constexpr std::uint32_t kModuleNotFound = 126;
constexpr std::uint32_t kProcedureNotFound = 127;
constexpr std::uint32_t kBadArguments = 160;
constexpr std::uint32_t kBadPathname = 161;
constexpr std::uint32_t kAlreadyExists = 183;
constexpr std::uint32_t kNoMoreItems = 259;
constexpr std::uint32_t kDllInitFailed = 1114;
constexpr std::uint32_t kTimeout = 1460;
constexpr std::uint32_t kObjectAlreadyExists = 5010;

}  // namespace KrCommon::ErrorCode
