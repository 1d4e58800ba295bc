#include "Common/KrCommon/KrComn_IniFile.h"
#include "Common/KrCommon/KrComn_LogStorage.h"
#include "Common/KrCommon/KrComn_Registry.h"

namespace KrCommon {

std::unique_ptr<Storage::Base> MakeLogStorage(std::uint32_t type) {
    switch (type) {
        case Storage::Key::kIniFile:
            return std::make_unique<Storage::IniFile>();
        case Storage::Key::kRegistry:
        case Storage::Key::kRegistryAlso:
            return std::make_unique<Storage::Registry>();
        default:
            return nullptr;
    }
}

}  // namespace KrCommon
