#include "wyctl/PendingMoves.h"

#include <fmt/format.h>

#include "Common/KrCommon/KrComn_Windows.h"
#include "wyctl/Errors.h"

namespace WyCtl {

namespace {

constexpr const wchar_t* kKey = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr const wchar_t* kValue = L"PendingFileRenameOperations";
// How the kernel names a path of the Win32 world.
constexpr std::wstring_view kNtPrefix = L"\\??\\";
constexpr wchar_t kReplaces = L'!';

std::wstring WithoutPrefix(std::wstring_view path) {
    if (path.starts_with(kNtPrefix)) {
        path.remove_prefix(kNtPrefix.size());
    }
    return std::wstring(path);
}

// The text up to the next NUL, which is taken off the texts with it.
std::wstring_view TakeText(std::wstring_view& texts) {
    const std::wstring_view text = texts.substr(0, texts.find(L'\0'));
    texts.remove_prefix(text.size() < texts.size() ? text.size() + 1 : texts.size());
    return text;
}

class Key {
public:
    Key() { m_lError = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_QUERY_VALUE, &m_hKey); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() {
        if (m_hKey != nullptr) {
            RegCloseKey(m_hKey);
        }
    }

    // The code of the first call that failed, 0 without one.
    LSTATUS Read(std::wstring& texts) const {
        LSTATUS error = m_lError;
        DWORD size = 0;
        DWORD type = 0;
        if (error == ERROR_SUCCESS) {
            error = RegQueryValueExW(m_hKey, kValue, nullptr, &type, nullptr, &size);
        }
        // Another process may add to the list meanwhile.
        while (error == ERROR_SUCCESS || error == ERROR_MORE_DATA) {
            texts.resize(size / sizeof(wchar_t) + 1);
            size = static_cast<DWORD>(texts.size() * sizeof(wchar_t));
            error = RegQueryValueExW(m_hKey, kValue, nullptr, &type,
                                     reinterpret_cast<BYTE*>(texts.data()), &size);
            if (error == ERROR_SUCCESS) {
                texts.resize(size / sizeof(wchar_t));
                return type == REG_MULTI_SZ ? ERROR_SUCCESS : ERROR_INVALID_DATA;
            }
        }
        return error;
    }

private:
    HKEY m_hKey = nullptr;
    LSTATUS m_lError = ERROR_SUCCESS;
};

}  // namespace

std::vector<PendingMove> ParsePendingMoves(std::wstring_view texts) {
    std::vector<PendingMove> moves;
    for (std::wstring_view source = TakeText(texts); !source.empty(); source = TakeText(texts)) {
        std::wstring_view target = TakeText(texts);
        PendingMove move;
        move.source = WithoutPrefix(source);
        move.replaces = target.starts_with(kReplaces);
        target.remove_prefix(move.replaces ? 1 : 0);
        move.target = WithoutPrefix(target);
        moves.push_back(std::move(move));
    }
    return moves;
}

std::vector<PendingMove> ReadPendingMoves() {
    std::wstring texts;
    const LSTATUS error = Key().Read(texts);
    if (error == ERROR_FILE_NOT_FOUND) {
        return {};
    }
    if (error != ERROR_SUCCESS) {
        throw Failure(fmt::format("what is queued for the restart cannot be read, error {}",
                                  static_cast<long>(error)));
    }
    return ParsePendingMoves(texts);
}

bool LiesBelow(std::wstring_view path, std::wstring_view folder) {
    if (folder.ends_with(L'\\')) {
        folder.remove_suffix(1);
    }
    if (folder.empty() || path.size() < folder.size()) {
        return false;
    }
    const bool same = CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, path.data(),
                                     static_cast<int>(folder.size()), folder.data(),
                                     static_cast<int>(folder.size())) == CSTR_EQUAL;
    return same && (path.size() == folder.size() || path[folder.size()] == L'\\');
}

}  // namespace WyCtl
