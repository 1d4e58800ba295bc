#include "Common/KrCommon/KrComn_ServiceSession.h"

namespace KrCommon {

namespace {

constexpr std::uint32_t kPlatformNt = 2;
constexpr std::uint32_t kMajorWindows2000 = 5;
constexpr std::uint32_t kMajorVista = 6;

}  // namespace

bool IsServiceSession(SessionSystem& system) {
    std::uint32_t platform = 0;
    std::uint32_t major = 0;
    if (!system.GetVersion(platform, major) || platform != kPlatformNt || major < kMajorWindows2000)
        return false;
    if (major >= kMajorVista) {
        std::uint32_t session = 0;
        return system.GetSessionId(session) && session == 0;
    }
    bool member = false;
    return system.IsLocalSystem(member) && member;
}

}  // namespace KrCommon
