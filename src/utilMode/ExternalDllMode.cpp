#include "utilMode/ExternalDllMode.h"

#include <optional>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "utilMode/FrwkMode.h"
#include "utilMode/FrwkPlatform.h"

namespace String = KrCommon::String;

namespace {

constexpr const char* kLogSource = "ExternalDllMode";
constexpr const wchar_t* kLogModule = L"utilMode";

void Decide(const wchar_t* dll, const wchar_t* host) {
    const std::optional<std::wstring> module = Frwk::Platform::ModulePath(dll);
    if (!module) {
        return;
    }
    std::wstring folder(String::RemoveFileName(*module));
    String::AppendSeparator(folder);
    for (const Frwk::Mode::Row* row = Frwk::Mode::Table(); !Frwk::Mode::IsEnd(*row); ++row) {
        const std::wstring path = folder + Frwk::Mode::WithSuffix(host, row->wszSuffix);
        if (!path.empty() && Frwk::Platform::Exists(path)) {
            Frwk::Mode::SetWyvarionId(row->wszName);
            WY_LOG_INFO << L"SetWyvarionID:" << row->wszSuffix;
            return;
        }
    }
}

}  // namespace

Frwk::Mode::ExternalDllMode::ExternalDllMode(const wchar_t* dll, const wchar_t* host) noexcept {
    const WyFunctionTrace trace(kLogModule, kLogSource,
                                L"Frwk::Mode::ExternalDllMode::ExternalDllMode", __LINE__);
    try {
        Decide(dll, host);
    } catch (...) {
        // Without memory the executable's name decides, as it does without a host.
    }
}
