// The functions of the trace module. None of them raises; what fails is told by a Win32 code.

#include <memory>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_LogContract.h"
#include "trace/TraceSession.h"

namespace {

namespace ErrorCode = KrCommon::ErrorCode;

// Runs the action; running out of memory is its only failure that is raised.
template <class Action>
int Guarded(Action action) noexcept {
    try {
        return static_cast<int>(action());
    } catch (...) {
        return static_cast<int>(ErrorCode::kNotEnoughMemory);
    }
}

}  // namespace

extern "C" {

int KrDbgInitialize(void** session, const KrDbgConfig* config) {
    if (session == nullptr || config == nullptr)
        return static_cast<int>(ErrorCode::kInvalidParameter);
    *session = nullptr;
    return Guarded([&] {
        auto made = std::make_unique<Trace::Session>();
        const std::uint32_t error = made->Open(*config);
        if (error == ErrorCode::kSuccess)
            *session = made.release();
        return error;
    });
}

int KrDbgTrace(void* session, const KrDbgTime* time, const wchar_t* line) {
    if (session == nullptr)
        return static_cast<int>(ErrorCode::kInvalidHandle);
    if (time == nullptr || line == nullptr)
        return static_cast<int>(ErrorCode::kInvalidParameter);
    return Guarded([&] { return static_cast<Trace::Session*>(session)->Write(*time, line); });
}

int KrDbgUninitialize(void* session) {
    delete static_cast<Trace::Session*>(session);
    return static_cast<int>(ErrorCode::kSuccess);
}
}
