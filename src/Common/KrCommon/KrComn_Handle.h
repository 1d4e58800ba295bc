#pragma once

// Handles of the system with an owner. For Windows builds alone.

#include <memory>

#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon {

struct HandleCloser {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

// Closed at the end of the scope (CloseHandle); null is no handle.
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

}  // namespace KrCommon
