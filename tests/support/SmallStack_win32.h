#pragma once

// Runs a function on a thread with little stack, so that a recursion over a deep tree would fault.

#include <functional>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

constexpr SIZE_T kSmallStack = std::size_t{128} * 1024;

inline DWORD WINAPI CallOnSmallStack(void* function) {
    (*static_cast<const std::function<void()>*>(function))();
    return 0;
}

// False when the thread could not be made.
inline bool RunOnSmallStack(std::function<void()> function) {
    HANDLE const thread = CreateThread(nullptr, kSmallStack, CallOnSmallStack, &function,
                                       STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == nullptr)
        return false;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return true;
}

}  // namespace test_support
