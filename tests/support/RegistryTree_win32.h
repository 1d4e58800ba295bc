#pragma once

// All that a key of the registry holds, with the keys below it, to see that nothing was changed.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

// The keys below a root by their paths, each with type and bytes of its values by their names.
using RegistryTree =
    std::map<std::wstring, std::map<std::wstring, std::pair<DWORD, std::vector<BYTE>>>>;

inline void AddRegistryTree(HKEY root, const std::wstring& path, REGSAM view, RegistryTree& tree) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, &key) != ERROR_SUCCESS)
        return;
    auto& values = tree[path];
    wchar_t name[512];
    std::vector<BYTE> data(1U << 21U);
    for (DWORD index = 0;; ++index) {
        DWORD length = 512;
        DWORD type = 0;
        DWORD size = static_cast<DWORD>(data.size());
        if (RegEnumValueW(key, index, name, &length, nullptr, &type, data.data(), &size) !=
            ERROR_SUCCESS)
            break;
        values[name] = {type, {data.begin(), data.begin() + size}};
    }
    std::vector<std::wstring> below;
    for (DWORD index = 0;; ++index) {
        DWORD length = 512;
        if (RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        below.emplace_back(path + L"\\" + name);
    }
    RegCloseKey(key);
    for (const std::wstring& child : below)
        AddRegistryTree(root, child, view, tree);
}

inline RegistryTree ReadRegistryTree(HKEY root, const std::wstring& path, REGSAM view) {
    RegistryTree tree;
    AddRegistryTree(root, path, view, tree);
    return tree;
}

}  // namespace test_support
