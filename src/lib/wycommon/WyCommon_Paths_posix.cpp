#include "lib/wycommon/WyCommon_Paths.h"

namespace WyCommon::Utility {

std::wstring GetProductPath() {
    return {};  // no registry, and thus no product, on this system
}

}  // namespace WyCommon::Utility
