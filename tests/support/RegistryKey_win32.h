#pragma once

// A key under HKEY_LOCAL_MACHINE for one test.

#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

// Made with its values by the test, removed with them at the end. The view is the access flag of
// the half of the registry that is meant (KEY_WOW64_64KEY, KEY_WOW64_32KEY).
class RegistryKey {
public:
    RegistryKey(const std::wstring& path, REGSAM view) : m_Path(path), m_View(view) {
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view,
                        nullptr, &m_hKey, nullptr);
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    ~RegistryKey() {
        RegCloseKey(m_hKey);
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, m_Path.c_str(), m_View, 0);
    }

    bool IsOpen() const { return m_hKey != nullptr; }

    // Stores raw bytes under any type.
    bool Set(const wchar_t* name, DWORD type, const std::vector<std::uint8_t>& bytes) {
        return RegSetValueExW(m_hKey, name, 0, type, bytes.data(),
                              static_cast<DWORD>(bytes.size())) == ERROR_SUCCESS;
    }

    // Stores text with its NUL.
    bool SetText(const wchar_t* name, const std::wstring& text) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
        return Set(name, REG_SZ, {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)});
    }

private:
    std::wstring m_Path;
    REGSAM m_View;
    HKEY m_hKey = nullptr;
};

}  // namespace test_support
