#pragma once

// What a key of the registry holds, and writes of values that are refused.

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"

namespace test_support {

struct RegistryValue {
    DWORD type = 0;
    std::vector<unsigned char> bytes;

    // With its NUL.
    std::wstring Text() const {
        const auto* const text = reinterpret_cast<const wchar_t*>(bytes.data());
        return std::wstring(text, bytes.size() / sizeof(wchar_t));
    }
    DWORD Number() const {
        DWORD number = 0xdeadbeef;
        if (bytes.size() == sizeof number)
            std::memcpy(&number, bytes.data(), sizeof number);
        return number;
    }
    bool operator==(const RegistryValue&) const = default;
};

using RegistryValues = std::map<std::wstring, RegistryValue>;

// All values of a key under HKEY_LOCAL_MACHINE, up to 8 KiB each; none when there is no such key.
// The view is the access flag of the half of the registry that is meant.
inline RegistryValues ReadRegistryValues(const std::wstring& path, REGSAM view) {
    RegistryValues values;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | view, &key) != 0)
        return values;
    for (DWORD index = 0;; ++index) {
        wchar_t name[64];
        DWORD length = 64;
        RegistryValue value;
        value.bytes.resize(8192);
        DWORD size = static_cast<DWORD>(value.bytes.size());
        if (RegEnumValueW(key, index, name, &length, nullptr, &value.type, value.bytes.data(),
                          &size) != 0)
            break;
        value.bytes.resize(size);
        values[name] = value;
    }
    RegCloseKey(key);
    return values;
}

// The value as it is stored of a text or a number.
inline RegistryValue StoredText(const std::wstring& text) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.c_str());
    return {REG_SZ, {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)}};
}
inline RegistryValue StoredNumber(DWORD number) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&number);
    return {REG_DWORD, {bytes, bytes + sizeof number}};
}

// Notes the names of the values that a module writes, and refuses some of them, as long as it
// lives. One at a time.
class RegistryRefusal {
public:
    explicit RegistryRefusal(HMODULE module)
        : m_Patch(module, "advapi32.dll", "RegSetValueExW", Set) {
        s_pOriginal = m_Patch.Original<Function>();
        s_Written.clear();
        s_Refused.clear();
    }

    void Refuse(const std::wstring& name, LSTATUS status = ERROR_ACCESS_DENIED) {
        s_Refused[name] = status;
    }
    // Forgets what was written and what is refused.
    void Clear() {
        s_Written.clear();
        s_Refused.clear();
    }
    const std::vector<std::wstring>& Written() const { return s_Written; }

private:
    using Function = LSTATUS WINAPI(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD);

    static LSTATUS WINAPI Set(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size) {
        s_Written.push_back(name);
        const auto refused = s_Refused.find(name);
        return refused != s_Refused.end() ? refused->second
                                          : s_pOriginal(key, name, reserved, type, data, size);
    }

    inline static std::vector<std::wstring> s_Written;
    inline static std::map<std::wstring, LSTATUS> s_Refused;
    inline static Function* s_pOriginal = nullptr;
    IatPatch m_Patch;
};

}  // namespace test_support
