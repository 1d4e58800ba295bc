#include "Common/KrCommon/KrComn_FileFind_win32.h"

#include <cstddef>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"

namespace KrCommon::Storage {

namespace {

constexpr const char* kLogSource = "KrComn_FileFind";

// Behind the first separator at or after a position, or the end.
std::size_t BehindSeparator(const std::wstring& path, std::size_t from) {
    const std::size_t separator = path.find(L'\\', from);
    return separator == std::wstring::npos ? path.size() : separator + 1;
}

// What stands before the first name that is a folder: a "\" at the start, a server, or "\\?\" with
// the drive or server behind it. These exist or do not; no call makes them.
std::size_t RootLength(const std::wstring& path) {
    constexpr std::size_t kBehindPrefix = 4;
    constexpr std::size_t kBehindUncPrefix = 8;
    if (path.starts_with(L"\\\\?\\UNC\\"))
        return BehindSeparator(path, kBehindUncPrefix);
    if (path.starts_with(L"\\\\?\\"))
        return BehindSeparator(path, kBehindPrefix);
    if (path.starts_with(L"\\\\"))
        return BehindSeparator(path, 2);
    return path.starts_with(L"\\") ? 1 : 0;
}

bool Exists(const std::wstring& folder) {
    return GetFileAttributesW(folder.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

bool FileFind::Next(WIN32_FIND_DATAW& entry) const noexcept {
    if (FindNextFileW(m_hFind, &entry) != 0)
        return true;
    const KeepLastError error;
    if (error.Code() != ERROR_NO_MORE_FILES) {
        WY_TRACE(LogLevel::kError, L"*** ::FindNextFile() failed. [0x%08x] The rest is left out.",
                 static_cast<unsigned>(error.Code()));
    }
    return false;
}

bool MakeFolders(const std::wstring& path, std::wstring& failed, std::uint32_t* error) {
    std::wstring whole = path;
    String::AppendSeparator(whole);
    std::size_t end = whole.find(L'\\', RootLength(whole));
    for (; end != std::wstring::npos; end = whole.find(L'\\', end + 1)) {
        std::wstring folder = whole.substr(0, end);
        if (Exists(folder) || CreateDirectoryW(folder.c_str(), nullptr) != 0)
            continue;
        const std::uint32_t code = GetLastError();
        if (error != nullptr)
            *error = code;
        if (code != ErrorCode::kAlreadyExists) {
            failed = std::move(folder);
            return false;
        }
    }
    return true;
}

}  // namespace KrCommon::Storage
