#include "Common/KrCommon/KrComn_ServiceSession.h"

#include "Common/KrCommon/KrComn_OsVersion.h"

namespace KrCommon {

bool IsServiceSession(SessionSystem& system) {
    if (!system.Meets(OsVersion::Condition::kNt50OrLater))
        return false;
    if (system.Meets(OsVersion::Condition::kNt60OrLater)) {
        std::uint32_t session = 0;
        return system.GetSessionId(session) && session == 0;
    }
    bool member = false;
    return system.IsLocalSystem(member) && member;
}

}  // namespace KrCommon
