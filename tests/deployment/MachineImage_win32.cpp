#include "deployment/MachineImage_win32.h"

#include <algorithm>
#include <stdexcept>

#include "Common/KrCommon/KrComn_String.h"

namespace deploy_test {

namespace {

constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kPending[] = L"PendingFileRenameOperations";
constexpr REGSAM kViews[] = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};

void Write(const std::wstring& path, const std::string& bytes) {
    HANDLE const file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const bool done =
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != 0;
    CloseHandle(file);
    if (!done || written != bytes.size())
        throw std::runtime_error("cannot write " + KrCommon::String::ToUtf8(path));
}

}  // namespace

MachineImage::MachineImage(const test_support::MachineScope& scope)
    : m_Scope(scope), m_Content(Read(scope)) {}

void MachineImage::PutBack() const {
    const Content now = Read(m_Scope);
    PutFilesBack(now);
    PutRegistryBack(now);
}

void MachineImage::PutFilesBack(const Content& now) const {
    for (const auto& [path, bytes] : now.files) {
        if (m_Content.files.count(path) == 0) {
            SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            DeleteFileW(path.c_str());
        }
    }
    for (auto folder = now.folders.rbegin(); folder != now.folders.rend(); ++folder) {
        if (std::find(m_Content.folders.begin(), m_Content.folders.end(), *folder) ==
            m_Content.folders.end())
            RemoveDirectoryW(folder->c_str());
    }
    for (const std::wstring& folder : m_Content.folders)
        CreateDirectoryW(folder.c_str(), nullptr);
    for (const auto& [path, bytes] : m_Content.files) {
        const auto found = now.files.find(path);
        if (found == now.files.end() || found->second != bytes)
            Write(path, bytes);
    }
}

void MachineImage::PutRegistryBack(const Content& now) const {
    // Keys below come behind those above.
    for (auto key = now.keys.rbegin(); key != now.keys.rend(); ++key) {
        if (m_Content.keys.count(key->first) == 0)
            RegDeleteKeyExW(key->first.root, key->first.path.c_str(), key->first.view, 0);
    }
    const auto open = [](const KeyName& name) {
        HKEY key = nullptr;
        RegCreateKeyExW(name.root, name.path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | name.view,
                        nullptr, &key, nullptr);
        return key;
    };
    for (const auto& [name, values] : m_Content.keys) {
        const auto found = now.keys.find(name);
        if (found != now.keys.end() && found->second == values)
            continue;
        HKEY const key = open(name);
        if (found != now.keys.end()) {
            for (const auto& [value, content] : found->second)
                RegDeleteValueW(key, value.c_str());
        }
        for (const auto& [value, content] : values)
            WriteValue(key, value, content);
        RegCloseKey(key);
    }
    for (const auto& [place, content] : now.values) {
        if (m_Content.values.count(place) != 0)
            continue;
        HKEY const key = open(place.first);
        RegDeleteValueW(key, place.second.c_str());
        RegCloseKey(key);
    }
    for (const auto& [place, content] : m_Content.values) {
        const auto found = now.values.find(place);
        if (found != now.values.end() && found->second == content)
            continue;
        HKEY const key = open(place.first);
        WriteValue(key, place.second, content);
        RegCloseKey(key);
    }
}

MachineImage::Content MachineImage::Read(const test_support::MachineScope& scope) {
    Content content;
    for (const std::wstring& folder : scope.folders)
        ReadFolder(folder, content);
    for (const std::wstring& file : scope.files)
        ReadFile(file, content);
    for (const REGSAM view : kViews) {
        for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
            for (const std::wstring& key : scope.keys)
                ReadKey({root, view, key}, content);
            for (const auto& [key, value] : scope.values)
                ReadValue({root, view, key}, value, content);
        }
    }
    ReadValue({HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, kSessionManager}, kPending, content);
    return content;
}

void MachineImage::ReadFolder(const std::wstring& folder, Content& content) {
    WIN32_FIND_DATAW found{};
    HANDLE const search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return;
    content.folders.push_back(folder);
    do {
        const std::wstring name = found.cFileName;
        const std::wstring path = folder + L"\\" + name;
        if (name == L"." || name == L"..")
            continue;
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            ReadFolder(path, content);
        } else {
            ReadFile(path, content);
        }
    } while (FindNextFileW(search, &found) != 0);
    FindClose(search);
}

void MachineImage::ReadFile(const std::wstring& path, Content& content) {
    HANDLE const file = CreateFileW(path.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    std::string bytes(GetFileSize(file, nullptr), '\0');
    DWORD count = 0;
    ::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    CloseHandle(file);
    content.files[path] = std::move(bytes);
}

void MachineImage::ReadKey(const KeyName& name, Content& content) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(name.root, name.path.c_str(), 0, KEY_READ | name.view, &key) != 0)
        return;
    Values& values = content.keys[name];
    for (DWORD i = 0;; ++i) {
        wchar_t value[256];
        DWORD length = 256;
        BYTE bytes[4096];
        DWORD size = sizeof bytes;
        DWORD type = 0;
        if (RegEnumValueW(key, i, value, &length, nullptr, &type, bytes, &size) != 0)
            break;
        values[value] = {type, {bytes, bytes + size}};
    }
    wchar_t below[256];
    for (DWORD i = 0; RegEnumKeyW(key, i, below, 256) == ERROR_SUCCESS; ++i)
        ReadKey({name.root, name.view, name.path + L"\\" + below}, content);
    RegCloseKey(key);
}

void MachineImage::ReadValue(const KeyName& name, const std::wstring& value, Content& content) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(name.root, name.path.c_str(), 0, KEY_READ | name.view, &key) != 0)
        return;
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExW(key, value.c_str(), nullptr, &type, nullptr, &size) == ERROR_SUCCESS) {
        std::vector<BYTE> bytes(size);
        RegQueryValueExW(key, value.c_str(), nullptr, &type, bytes.data(), &size);
        content.values[{name, value}] = {type, std::move(bytes)};
    }
    RegCloseKey(key);
}

void MachineImage::WriteValue(HKEY key, const std::wstring& name, const Value& value) {
    RegSetValueExW(key, name.c_str(), 0, value.type, value.bytes.data(),
                   static_cast<DWORD>(value.bytes.size()));
}

}  // namespace deploy_test
