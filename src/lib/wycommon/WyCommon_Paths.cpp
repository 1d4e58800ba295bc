#include "lib/wycommon/WyCommon_Paths.h"

#include "utilMode/FrwkMode.h"

namespace WyCommon::Utility {

std::wstring GetProductRegistryKey() {
    return L"SOFTWARE\\KorvexData\\" + Frwk::Mode::GetWyvarionId();
}

}  // namespace WyCommon::Utility
