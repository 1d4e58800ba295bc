#include "lib/wycommon/WyLocaleHelper.h"

std::uint32_t WyCommon::UserLanguage() {
    return 0x0400;
}
