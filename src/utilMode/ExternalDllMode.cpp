#include "utilMode/ExternalDllMode.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "utilMode/FrwkMode.h"
#include "utilMode/FrwkPlatform.h"

namespace String = KrCommon::String;

namespace {

constexpr const char* kLogSource = "ExternalDllMode";
constexpr const wchar_t* kLogModule = L"utilMode";

}  // namespace

Frwk::Mode::ExternalDllMode::ExternalDllMode(const std::wstring& dll, const std::wstring& host) {
    const WyFunctionTrace trace(kLogModule, kLogSource,
                                L"Frwk::Mode::ExternalDllMode::ExternalDllMode", __LINE__);
    const std::wstring module = Platform::ModulePath(dll);
    if (module.empty()) {
        return;
    }
    std::wstring folder(String::RemoveFileName(module));
    String::AppendSeparator(folder);
    for (const Row* row = Table(); !IsEnd(*row); ++row) {
        if (Platform::Exists(folder + WithSuffix(host, row->wszSuffix))) {
            SetWyvarionId(row->wszName);
            WY_LOG_INFO << L"SetWyvarionID:" << row->wszSuffix;
            return;
        }
    }
}
