#pragma once

// How functions that report by true or false give a Win32 code through an optional out-parameter.
//
//     if (CloseHandle(handle) == 0)
//         return Fail(error, GetLastError());
//     return Succeed(error);
//
// A failure for which the system left no code stays a failure, with 0.

#include <cstdint>

#include "Common/KrCommon/KrComn_ErrorCode.h"

namespace KrCommon {

// Always false.
inline bool Fail(std::uint32_t* error, std::uint32_t code) noexcept {
    if (error != nullptr)
        *error = code;
    return false;
}

// Always true; the code is 0.
inline bool Succeed(std::uint32_t* error) noexcept {
    if (error != nullptr)
        *error = ErrorCode::kSuccess;
    return true;
}

}  // namespace KrCommon
