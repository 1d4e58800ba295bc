#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace WyCommon::Utility {

std::wstring GetProductPath() {
    namespace Reg = KrCommon::Storage::Reg;
    return Reg::LoadValue(HKEY_LOCAL_MACHINE, GetProductRegistryKey(), L"ProductPath", {},
                          Reg::ProductView());
}

}  // namespace WyCommon::Utility
