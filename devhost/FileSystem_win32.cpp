#include "devhost/FileSystem.h"

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace DevHost::FileSystem {

namespace {

constexpr std::size_t kShortPathLimit = 240;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kUnixEpochInSeconds = 11'644'473'600;

class Handle {
public:
    explicit Handle(HANDLE handle) : m_hValue(handle) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
        if (IsOpen())
            CloseHandle(m_hValue);
    }
    bool IsOpen() const { return m_hValue != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return m_hValue; }

private:
    HANDLE m_hValue;
};

bool IsDrivePath(const std::wstring& path) {
    return path.size() >= 3 && path[1] == L':' && path[2] == L'\\';
}

std::uint64_t Join(DWORD high, DWORD low) {
    return (static_cast<std::uint64_t>(high) << 32) | low;
}

std::int64_t ToUnixTime(const FILETIME& time) {
    return static_cast<std::int64_t>(Join(time.dwHighDateTime, time.dwLowDateTime) /
                                     kTicksPerSecond) -
           kUnixEpochInSeconds;
}

HANDLE Open(const Path& path, DWORD access, DWORD flags) {
    return CreateFileW(ForSystem(path).c_str(), access,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
}

std::optional<Path> FinalPath(HANDLE file) {
    std::wstring buffer(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetFinalPathNameByHandleW(
            file, buffer.data(), static_cast<DWORD>(buffer.size()), VOLUME_NAME_DOS);
        if (length == 0)
            return std::nullopt;
        if (length < buffer.size()) {
            buffer.resize(length);
            break;
        }
        buffer.resize(length + 1U);
    }
    constexpr std::wstring_view kPrefix = L"\\\\?\\";
    constexpr std::wstring_view kUncPrefix = L"\\\\?\\UNC\\";
    if (buffer.starts_with(kUncPrefix))
        return Path(L"\\\\" + buffer.substr(kUncPrefix.size()));
    if (buffer.starts_with(kPrefix))
        buffer.erase(0, kPrefix.size());
    return Path(buffer);
}

// Orders by the system's own upper-case table, as file names are compared.
bool EqualText(std::wstring_view left, std::wstring_view right) {
    if (left.size() != right.size())
        return false;
    if (left.empty())
        return true;
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

FileFacts FactsOf(const BY_HANDLE_FILE_INFORMATION& info) {
    FileFacts facts;
    facts.size = Join(info.nFileSizeHigh, info.nFileSizeLow);
    facts.modified = ToUnixTime(info.ftLastWriteTime);
    facts.identity = {info.dwVolumeSerialNumber, Join(info.nFileIndexHigh, info.nFileIndexLow)};
    return facts;
}

}  // namespace

Path::string_type ForSystem(const Path& path) {
    std::wstring text = path.native();
    for (wchar_t& character : text) {
        if (character == L'/')
            character = L'\\';
    }
    if (text.size() < kShortPathLimit || !IsDrivePath(text))
        return text;
    return L"\\\\?\\" + text;
}

bool ListFolder(const Path& folder, std::vector<Entry>& entries) {
    entries.clear();
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(ForSystem(folder / L"*").c_str(), &data);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    do {
        const std::wstring_view name = data.cFileName;
        if (name == L"." || name == L"..")
            continue;
        Entry entry;
        entry.name = name;
        entry.size = Join(data.nFileSizeHigh, data.nFileSizeLow);
        entry.modified = ToUnixTime(data.ftLastWriteTime);
        entry.isFolder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        entry.isLink = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        entries.push_back(std::move(entry));
    } while (FindNextFileW(search, &data));
    FindClose(search);
    return true;
}

std::optional<Path> Resolve(const Path& path) {
    const Handle file(Open(path, FILE_READ_ATTRIBUTES, 0));
    if (!file.IsOpen())
        return std::nullopt;
    return FinalPath(file.Get());
}

bool IsFolder(const Path& path) {
    const DWORD attributes = GetFileAttributesW(ForSystem(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::optional<FileFacts> Inspect(const Path& path) {
    const Handle file(Open(path, FILE_READ_ATTRIBUTES, 0));
    BY_HANDLE_FILE_INFORMATION info;
    if (!file.IsOpen() || !GetFileInformationByHandle(file.Get(), &info))
        return std::nullopt;
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return std::nullopt;
    return FactsOf(info);
}

RemoveOutcome RemoveBelow(const Path& root, const Path& path,
                          const std::optional<FileFacts>& expected, std::uint32_t& systemError) {
    const Handle file(Open(path, DELETE | FILE_READ_ATTRIBUTES, FILE_FLAG_OPEN_REPARSE_POINT));
    if (!file.IsOpen()) {
        systemError = GetLastError();
        const bool missing = systemError == ERROR_FILE_NOT_FOUND ||
                             systemError == ERROR_PATH_NOT_FOUND ||
                             systemError == ERROR_INVALID_NAME;
        return missing ? RemoveOutcome::kMissing : RemoveOutcome::kFailed;
    }
    BY_HANDLE_FILE_INFORMATION info;
    const std::optional<Path> real = FinalPath(file.Get());
    if (!real.has_value() || !GetFileInformationByHandle(file.Get(), &info)) {
        systemError = GetLastError();
        return RemoveOutcome::kFailed;
    }
    if (!IsBelow(root, *real, false))
        return RemoveOutcome::kOutsideRoot;
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return RemoveOutcome::kNotAFile;
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
        !EqualText(real->native(), path.lexically_normal().native())) {
        return RemoveOutcome::kIndirect;
    }
    if (expected.has_value()) {
        const FileFacts facts = FactsOf(info);
        if (facts.size != expected->size || facts.modified != expected->modified) {
            return RemoveOutcome::kChanged;
        }
    }
    FILE_DISPOSITION_INFO disposition{TRUE};
    if (!SetFileInformationByHandle(file.Get(), FileDispositionInfo, &disposition,
                                    sizeof disposition)) {
        systemError = GetLastError();
        return RemoveOutcome::kFailed;
    }
    return RemoveOutcome::kRemoved;
}

std::optional<DiskSpace> GetDiskSpace(const Path& folder) {
    ULARGE_INTEGER total;
    ULARGE_INTEGER free;
    if (!GetDiskFreeSpaceExW(ForSystem(folder).c_str(), nullptr, &total, &free)) {
        return std::nullopt;
    }
    return DiskSpace{total.QuadPart, free.QuadPart};
}

bool IsBelow(const Path& root, const Path& path, bool orSame) {
    std::wstring base = root.native();
    while (!base.empty() && base.back() == L'\\')
        base.pop_back();
    const std::wstring_view text = path.native();
    if (base.empty() || text.size() < base.size())
        return false;
    if (!EqualText(text.substr(0, base.size()), base))
        return false;
    const std::wstring_view rest = text.substr(base.size());
    if (rest.find_first_not_of(L'\\') == std::wstring_view::npos)
        return orSame;
    return rest.front() == L'\\';
}

std::string NameToUtf8(const Path::string_type& name) {
    return KrCommon::String::ToUtf8(name);
}

Path FromUtf8(const std::string& text) {
    return Path(KrCommon::String::FromUtf8(text));
}

}  // namespace DevHost::FileSystem
