#include "WySdk/ApiCall.h"

#include "Common/KrCommon/KrComn_Log.h"

namespace {

constexpr char kLogSource[] = "ApiCall";
constexpr wchar_t kLogModule[] = L"WySdk";

}  // namespace

void LogCaughtException(const wchar_t* function, const wchar_t* what) noexcept {
    WY_LOG_ERROR << function << L": " << what;
}

std::uint32_t CallApiWithSlots(const wchar_t* name, std::span<const std::uint64_t> slots) noexcept {
    return Guarded(name, [&] { return WySdkPrimitive(name, GetApiArgumentCount(name), slots); });
}

std::uint32_t Reported(const wchar_t* prefix, const wchar_t* name, std::uint32_t result) noexcept {
    if (KrCommon::Result::Failed(result)) {
        WyLogStream(g_pFeedbackErrorLog, kLogSource, __LINE__, KrCommon::LogLevel::kForced)
            << prefix << name << L", retCode = " << WyHex{result};
    }
    return result;
}
