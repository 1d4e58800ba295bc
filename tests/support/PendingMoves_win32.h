#pragma once

// What the system is to move or delete at its next start.

#include <string>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

using PendingMove = std::pair<std::wstring, std::wstring>;

// The entries in order: source and target as the registry keeps them ("\??\C:\a"; the target is
// empty for a deletion, and begins with "!" where it may be replaced).
inline std::vector<PendingMove> PendingMoves() {
    std::vector<PendingMove> moves;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager", 0,
                      KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
        return moves;
    }
    constexpr const wchar_t* kName = L"PendingFileRenameOperations";
    DWORD size = 0;
    RegQueryValueExW(key, kName, nullptr, nullptr, nullptr, &size);
    std::wstring texts(size / sizeof(wchar_t), L'\0');
    RegQueryValueExW(key, kName, nullptr, nullptr, reinterpret_cast<BYTE*>(texts.data()), &size);
    RegCloseKey(key);
    std::size_t at = 0;
    const auto next = [&] {
        std::wstring text = texts.substr(at, texts.find(L'\0', at) - at);
        at += text.size() + 1;
        return text;
    };
    while (at < texts.size()) {
        std::wstring source = next();
        if (source.empty())
            break;
        std::wstring target = next();
        moves.emplace_back(std::move(source), std::move(target));
    }
    return moves;
}

// The entries that were added since `before`.
inline std::vector<PendingMove> PendingMovesSince(const std::vector<PendingMove>& before) {
    std::vector<PendingMove> moves = PendingMoves();
    const std::size_t known = before.size() < moves.size() ? before.size() : moves.size();
    moves.erase(moves.begin(), moves.begin() + static_cast<std::ptrdiff_t>(known));
    return moves;
}

}  // namespace test_support
