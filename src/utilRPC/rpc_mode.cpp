#include "utilRPC/rpc_mode.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "utilMode/FrwkMode.h"

namespace {

constexpr const wchar_t* kLogModule = L"utilRPC";

}  // namespace

int RpcMode::ReadFromFramework(const char* source) {
    const char* const kLogSource = source;
    const int mode = Frwk::Mode::GetModeId();
    WY_LOG_INFO << L"m_eWyMode = " << mode;
    return mode;
}
