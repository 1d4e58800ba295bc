#include "Common/KrCommon/KrComn_ServiceSession.h"

namespace KrCommon {

bool IsServiceSession() {
    return false;
}

}  // namespace KrCommon
