#pragma once

// Wine as another version of Windows.

#include <string>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

inline bool RunsUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// Tells Wine to appear to one program as another version; taken back at the end. The versions have
// Wine's names, of which "win7" and "win2008r2" are exchanged there.
class ReportedVersion {
public:
    ReportedVersion(const std::wstring& program, const std::wstring& version)
        : m_Path(L"Software\\Wine\\AppDefaults\\" + program) {
        HKEY key = nullptr;
        RegCreateKeyExW(HKEY_CURRENT_USER, m_Path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr);
        RegSetValueExW(key, L"Version", 0, REG_SZ, reinterpret_cast<const BYTE*>(version.c_str()),
                       static_cast<DWORD>((version.size() + 1) * sizeof(wchar_t)));
        RegCloseKey(key);
    }
    ReportedVersion(const ReportedVersion&) = delete;
    ReportedVersion& operator=(const ReportedVersion&) = delete;
    ~ReportedVersion() { RegDeleteKeyW(HKEY_CURRENT_USER, m_Path.c_str()); }

private:
    std::wstring m_Path;
};

}  // namespace test_support
