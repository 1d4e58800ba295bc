#include "WySdk/AuFeedback.h"

#include <iterator>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"

std::wstring AuFeedback::Platform::OsName() {
    std::wstring name;
    KrCommon::OsVersion::GetName(name);
    return name;
}

std::uint32_t AuFeedback::Platform::Locale() {
    return GetUserDefaultUILanguage();
}

std::wstring AuFeedback::Platform::ComputerName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = static_cast<DWORD>(std::size(name));
    if (GetComputerNameW(name, &size) == 0)
        return {};
    return {name, size};
}
