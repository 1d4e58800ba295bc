#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyLocaleHelper.h"

std::uint32_t WyCommon::UserLanguage() {
    return GetUserDefaultUILanguage();
}
