#pragma once

// Keys of the registry, read only. For Windows builds alone.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace WyCtl {

// A value of a key. Text is read up to its first NUL.
struct RegistryData {
    std::uint32_t type = 0;    // REG_SZ ...
    std::uint32_t number = 0;  // of a REG_DWORD
    std::wstring text;         // of the text types
};

// One open key, or one that is not there. `root` is an HKEY; the view is that of KrComn_Reg.h.
class RegistryReader {
public:
    RegistryReader(void* root, const std::wstring& path, std::uint32_t view);
    RegistryReader(const RegistryReader&) = delete;
    RegistryReader& operator=(const RegistryReader&) = delete;
    ~RegistryReader();

    // True also for a key that may not be read.
    bool Exists() const;
    // Nothing when the value is missing or cannot be read.
    std::optional<RegistryData> Value(const std::wstring& name) const;
    std::wstring Text(const std::wstring& name) const;
    std::vector<std::wstring> ValueNames() const;
    std::vector<std::wstring> SubKeys() const;

private:
    void* m_hKey = nullptr;
    std::uint32_t m_uiError = 0;
};

}  // namespace WyCtl
