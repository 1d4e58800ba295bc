#pragma once

// Handles of the system with an owner. For Windows builds alone.

#include <memory>
#include <type_traits>

#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon {

struct HandleCloser {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

// Closed at the end of the scope (CloseHandle); null is no handle.
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

struct ServiceHandleCloser {
    void operator()(SC_HANDLE handle) const noexcept { CloseServiceHandle(handle); }
};

// The same of the service manager and of a service (CloseServiceHandle).
using UniqueServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceHandleCloser>;

}  // namespace KrCommon
