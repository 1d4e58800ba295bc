#include <optional>
#include <utility>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage::Reg {

namespace {

constexpr std::uint32_t kView32 = 1;
constexpr std::uint32_t kView64 = 2;

REGSAM AccessFlag(std::uint32_t view) {
    switch (view) {
        case kView32:
            return KEY_WOW64_32KEY;
        case kView64:
            return KEY_WOW64_64KEY;
        default:
            return 0;
    }
}

class OpenKey {
public:
    OpenKey(const std::wstring& path, std::uint32_t view) noexcept {
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE | AccessFlag(view),
                          &m_hKey) != ERROR_SUCCESS) {
            m_hKey = nullptr;
        }
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    ~OpenKey() {
        if (m_hKey != nullptr) {
            RegCloseKey(m_hKey);
        }
    }
    HKEY Get() const noexcept { return m_hKey; }

private:
    HKEY m_hKey = nullptr;
};

// One query of a text value; data may be null to ask for the size alone.
bool QueryText(HKEY key, const std::wstring& name, wchar_t* data, DWORD& size) {
    DWORD type = REG_NONE;
    const LSTATUS status =
        RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
    return status == ERROR_SUCCESS &&
           (type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ);
}

std::optional<std::wstring> ReadText(const std::wstring& path, const std::wstring& name,
                                     std::uint32_t view) {
    const OpenKey key(path, view);
    DWORD size = 0;
    if (key.Get() == nullptr || !QueryText(key.Get(), name, nullptr, size)) {
        return std::nullopt;
    }
    // Zeros behind the data end a text that was stored without its NUL, or with an odd size.
    std::wstring text(size / sizeof(wchar_t) + 2, L'\0');
    if (!QueryText(key.Get(), name, text.data(), size)) {
        return std::nullopt;
    }
    text.resize(text.find(L'\0'));
    return text;
}

}  // namespace

std::uint32_t ProductView() {
    return OsVersion::Is64Bit() ? kView64 : 0;
}

std::wstring LoadValue(void*, const std::wstring& path, const std::wstring& name,
                       std::wstring defaultValue, std::uint32_t view) noexcept {
    try {
        std::optional<std::wstring> text = ReadText(path, name, view);
        return text ? *std::move(text) : std::move(defaultValue);
    } catch (...) {
        return defaultValue;
    }
}

}  // namespace KrCommon::Storage::Reg
