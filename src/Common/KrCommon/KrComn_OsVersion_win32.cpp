#include <atomic>
#include <cstdint>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::OsVersion {

namespace {

constexpr std::uint16_t kUnknown = 0xffff;
constinit std::atomic<std::uint16_t> s_Architecture{kUnknown};

using GetNativeSystemInfoFunction = void(WINAPI*)(SYSTEM_INFO*);

}  // namespace

bool Is64Bit() {
    std::uint16_t architecture = s_Architecture.load(std::memory_order_relaxed);
    if (architecture == kUnknown) {
        const FARPROC function =
            GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetNativeSystemInfo");
        if (function == nullptr) {
            return false;
        }
        SYSTEM_INFO info = {};
        reinterpret_cast<GetNativeSystemInfoFunction>(reinterpret_cast<std::uintptr_t>(function))(
            &info);
        architecture = info.wProcessorArchitecture;
        s_Architecture.store(architecture, std::memory_order_relaxed);
    }
    return architecture == PROCESSOR_ARCHITECTURE_AMD64;
}

}  // namespace KrCommon::OsVersion
