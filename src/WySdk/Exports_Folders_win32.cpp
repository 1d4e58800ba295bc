// The exports of the debug log's settings and of the folders of the product on this machine.

#include <WySdk/WySdk.h>

#include <algorithm>
#include <string>

#include "Common/KrCommon/KrComn_Result.h"
#include "WySdk/ApiCall.h"
#include "lib/wycommon/WyCommon_LogSettings.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace {

namespace Result = KrCommon::Result;

// Gives a folder in the application's buffer, as far as the buffer is there and large enough.
uint32_t GiveFolder(std::wstring (*getFolder)(), wchar_t* buffer, uint32_t* size) {
    if (size == nullptr)
        return Result::kInvalidArgument;
    const std::wstring folder = getFolder();
    const uint32_t room = *size;
    *size = static_cast<uint32_t>(folder.size());
    if (buffer == nullptr)
        return Result::kBufferIsNull;
    std::fill_n(buffer, room, L'\0');
    if (folder.size() < room)
        std::copy(folder.begin(), folder.end(), buffer);
    return Result::kSuccess;
}

}  // namespace

uint32_t WYAPI WySetDebugLog(bool enable, uint32_t level) {
    return Guarded(L"WySetDebugLog", [enable, level] {
        return WyCommon::LogSettings::SetSwitch(enable, level) ? Result::kSuccess
                                                               : Result::kLogSettingsNotChanged;
    });
}

uint32_t WYAPI WyGetDebugLogFolder(wchar_t* buffer, uint32_t* size) {
    return Guarded(L"WyGetDebugLogFolder", [buffer, size] {
        return GiveFolder(WyCommon::LogSettings::GetLogFolder, buffer, size);
    });
}

uint32_t WYAPI WyGetCacheFolder(wchar_t* buffer, uint32_t* size) {
    return Guarded(L"WyGetCacheFolder", [buffer, size] {
        return GiveFolder(WyCommon::Utility::GetCacheFolder, buffer, size);
    });
}
