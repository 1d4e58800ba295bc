#include "Common/KrCommon/KrComn_LogStorage.h"

namespace KrCommon {

std::unique_ptr<Storage::Base> MakeLogStorage(std::uint32_t) {
    return nullptr;
}

}  // namespace KrCommon
