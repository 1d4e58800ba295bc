#include "wyctl/RegistryReader.h"

#include <iterator>

#include "Common/KrCommon/KrComn_Windows.h"

namespace WyCtl {

namespace {

// The longest name of a value, with its NUL; that of a key is shorter.
constexpr DWORD kLongestName = 16384;

REGSAM AccessOf(std::uint32_t view) {
    constexpr REGSAM kViews[] = {0, KEY_WOW64_32KEY, KEY_WOW64_64KEY};
    return KEY_READ | (view < std::size(kViews) ? kViews[view] : 0);
}

// Collects the names that a listing of the system gives.
template <class Next>
std::vector<std::wstring> Names(HKEY key, Next next) {
    std::vector<std::wstring> names;
    std::wstring name(kLongestName, L'\0');
    for (DWORD i = 0; key != nullptr; ++i) {
        DWORD length = kLongestName;
        if (next(i, name.data(), &length) != ERROR_SUCCESS) {
            break;
        }
        names.emplace_back(name, 0, length);
    }
    return names;
}

}  // namespace

RegistryReader::RegistryReader(void* root, const std::wstring& path, std::uint32_t view) {
    HKEY key = nullptr;
    m_uiError = static_cast<std::uint32_t>(
        RegOpenKeyExW(static_cast<HKEY>(root), path.c_str(), 0, AccessOf(view), &key));
    m_hKey = key;
}

RegistryReader::~RegistryReader() {
    if (m_hKey != nullptr) {
        RegCloseKey(static_cast<HKEY>(m_hKey));
    }
}

bool RegistryReader::Exists() const {
    return m_hKey != nullptr || m_uiError == ERROR_ACCESS_DENIED;
}

std::optional<RegistryData> RegistryReader::Value(const std::wstring& name) const {
    RegistryData data;
    DWORD size = 0;
    LSTATUS error = m_hKey == nullptr ? ERROR_INVALID_HANDLE : ERROR_MORE_DATA;
    std::vector<BYTE> bytes;
    // Another process may change the value meanwhile.
    while (error == ERROR_MORE_DATA) {
        bytes.resize(size + sizeof(std::uint32_t));
        size = static_cast<DWORD>(bytes.size());
        DWORD type = 0;
        error = RegQueryValueExW(static_cast<HKEY>(m_hKey), name.c_str(), nullptr, &type,
                                 bytes.data(), &size);
        data.type = type;
    }
    if (error != ERROR_SUCCESS) {
        return std::nullopt;
    }
    if (data.type == REG_DWORD && size == sizeof(DWORD)) {
        data.number = bytes[0] | bytes[1] * 0x100U | bytes[2] * 0x10000U | bytes[3] * 0x1000000U;
    } else if (data.type == REG_SZ || data.type == REG_EXPAND_SZ || data.type == REG_MULTI_SZ) {
        for (std::size_t i = 0; i + 1 < size; i += sizeof(wchar_t)) {
            const auto character = static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8U);
            if (character == L'\0') {
                break;
            }
            data.text += character;
        }
    }
    return data;
}

std::wstring RegistryReader::Text(const std::wstring& name) const {
    const std::optional<RegistryData> data = Value(name);
    return data ? data->text : std::wstring();
}

std::vector<std::wstring> RegistryReader::ValueNames() const {
    HKEY const key = static_cast<HKEY>(m_hKey);
    return Names(key, [key](DWORD i, wchar_t* name, DWORD* length) {
        return RegEnumValueW(key, i, name, length, nullptr, nullptr, nullptr, nullptr);
    });
}

std::vector<std::wstring> RegistryReader::SubKeys() const {
    HKEY const key = static_cast<HKEY>(m_hKey);
    return Names(key, [key](DWORD i, wchar_t* name, DWORD* length) {
        return RegEnumKeyExW(key, i, name, length, nullptr, nullptr, nullptr, nullptr);
    });
}

}  // namespace WyCtl
