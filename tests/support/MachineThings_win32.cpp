#include "support/MachineThings_win32.h"

#include <algorithm>
#include <cwctype>

#include "Common/KrCommon/KrComn_String.h"

namespace test_support {

namespace {

constexpr wchar_t kAtNextStart[] = L"at the next start: ";

std::wstring Lower(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    return text;
}

// The registry.

struct Half {
    const wchar_t* name;
    HKEY root;
    REGSAM view;
};
const Half kHalves[] = {
    {L"HKLM 64 ", HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY},
    {L"HKLM 32 ", HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY},
    {L"HKCU 64 ", HKEY_CURRENT_USER, KEY_WOW64_64KEY},
    {L"HKCU 32 ", HKEY_CURRENT_USER, KEY_WOW64_32KEY},
};

std::wstring Hex(const std::vector<BYTE>& bytes) {
    std::wstring text;
    for (const BYTE byte : bytes) {
        wchar_t digits[4];
        std::swprintf(digits, 4, L"%02x", byte);
        text += digits;
    }
    return text;
}

std::wstring ValueText(DWORD type, const std::vector<BYTE>& bytes) {
    if (type == REG_SZ && bytes.size() >= sizeof(wchar_t) && bytes.size() % sizeof(wchar_t) == 0)
        return TextValue(
            {reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t) - 1});
    if (type == REG_DWORD && bytes.size() == sizeof(DWORD))
        return NumberValue(*reinterpret_cast<const DWORD*>(bytes.data()));
    return L"type " + std::to_wstring(type) + L", " + Hex(bytes);
}

void AddValue(const Half& half, const std::wstring& path, const std::wstring& name, HKEY key,
              MachineThings& things) {
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS status = RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
    std::vector<BYTE> bytes(size);
    if (status == ERROR_SUCCESS)
        status = RegQueryValueExW(key, name.c_str(), nullptr, &type, bytes.data(), &size);
    if (status == ERROR_FILE_NOT_FOUND)
        return;
    things[half.name + path + L": " + name] =
        status == ERROR_SUCCESS ? ValueText(type, bytes) : L"error " + std::to_wstring(status);
}

// Null when it is not there; another failure becomes the thing's value.
HKEY OpenKey(const Half& half, const std::wstring& path, MachineThings& things) {
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(half.root, path.c_str(), 0, KEY_READ | half.view, &key);
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
        things[half.name + path] = L"error " + std::to_wstring(status);
    return status == ERROR_SUCCESS ? key : nullptr;
}

void AddKey(const Half& half, const std::wstring& path, MachineThings& things) {
    HKEY const key = OpenKey(half, path, things);
    if (key == nullptr)
        return;
    things[half.name + path] = L"key";
    wchar_t name[16384];
    for (DWORD i = 0;; ++i) {
        DWORD length = static_cast<DWORD>(std::size(name));
        if (RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != 0)
            break;
        AddValue(half, path, name, key, things);
    }
    for (DWORD i = 0; RegEnumKeyW(key, i, name, 256) == ERROR_SUCCESS; ++i)
        AddKey(half, path + L"\\" + name, things);
    RegCloseKey(key);
}

void AddRegistry(const MachineScope& scope, MachineThings& things) {
    for (const Half& half : kHalves) {
        for (const std::wstring& key : scope.keys)
            AddKey(half, key, things);
        for (const auto& [path, name] : scope.values) {
            if (HKEY const key = OpenKey(half, path, things); key != nullptr) {
                AddValue(half, path, name, key, things);
                RegCloseKey(key);
            }
        }
    }
}

// Files.

bool IsLeftOut(const MachineScope& scope, const std::wstring& path) {
    return std::any_of(scope.leftOut.begin(), scope.leftOut.end(),
                       [&](const std::wstring& one) { return BeginsWithNoCase(path, one); });
}

void AddFolder(const MachineScope& scope, const std::wstring& folder, MachineThings& things) {
    if (IsLeftOut(scope, folder))
        return;
    WIN32_FIND_DATAW found{};
    HANDLE const search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        if (error != ERROR_PATH_NOT_FOUND && error != ERROR_FILE_NOT_FOUND)
            things[L"folder " + folder] = L"error " + std::to_wstring(error);
        return;
    }
    things[L"folder " + folder] = L"folder";
    do {
        const std::wstring name = found.cFileName;
        const std::wstring path = folder + L"\\" + name;
        if (name == L"." || name == L"..")
            continue;
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            AddFolder(scope, path, things);
        } else if (!IsLeftOut(scope, path)) {
            things[L"file " + path] = HashOfFile(path);
        }
    } while (FindNextFileW(search, &found) != 0);
    FindClose(search);
}

void AddPendingMoves(MachineThings& things) {
    constexpr wchar_t kPath[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    constexpr wchar_t kName[] = L"PendingFileRenameOperations";
    DWORD size = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kPath, kName, RRF_RT_REG_MULTI_SZ, nullptr, nullptr,
                     &size) != ERROR_SUCCESS)
        return;
    std::wstring list(size / sizeof(wchar_t), L'\0');
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPath, 0, KEY_QUERY_VALUE, &key);
    size = static_cast<DWORD>(list.size() * sizeof(wchar_t));
    RegQueryValueExW(key, kName, nullptr, nullptr, reinterpret_cast<BYTE*>(list.data()), &size);
    RegCloseKey(key);
    // Pairs of texts; the second is empty for a deletion.
    for (std::size_t at = 0; at < list.size() && list[at] != L'\0';) {
        const std::wstring source = list.c_str() + at;
        at += source.size() + 1;
        const std::wstring target = at < list.size() ? list.c_str() + at : L"";
        at += target.size() + 1;
        std::wstring& count = things[kAtNextStart + source + L" -> " + target];
        count = count.empty() ? L"once" : L"several times";
    }
}

// The service manager.

std::wstring Quoted(const wchar_t* text) {
    return L"\"" + std::wstring(text != nullptr ? text : L"") + L"\"";
}

std::wstring ConfigurationOf(SC_HANDLE service) {
    alignas(QUERY_SERVICE_CONFIGW) BYTE buffer[8192];
    DWORD needed = 0;
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
    if (QueryServiceConfigW(service, config, sizeof buffer, &needed) == 0)
        return L"error " + std::to_wstring(GetLastError());
    std::wstring text = L"type " + std::to_wstring(config->dwServiceType) + L", start " +
                        std::to_wstring(config->dwStartType) + L", errors " +
                        std::to_wstring(config->dwErrorControl) + L", program " +
                        Quoted(config->lpBinaryPathName) + L", as " +
                        Quoted(config->lpServiceStartName) + L", shown as " +
                        Quoted(config->lpDisplayName);
    auto* const description = reinterpret_cast<SERVICE_DESCRIPTIONW*>(buffer);
    if (QueryServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, buffer, sizeof buffer, &needed) !=
        0)
        text += L", described as " + Quoted(description->lpDescription);
    return text;
}

std::wstring StateText(DWORD state) {
    switch (state) {
        case SERVICE_STOPPED:
            return L"stopped";
        case SERVICE_START_PENDING:
            return L"starting";
        case SERVICE_STOP_PENDING:
            return L"stopping";
        case SERVICE_RUNNING:
            return L"running";
        default:
            return L"state " + std::to_wstring(state);
    }
}

void AddService(SC_HANDLE manager, const std::wstring& name, MachineThings& things) {
    SC_HANDLE const service =
        OpenServiceW(manager, name.c_str(), SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS);
    if (service == nullptr) {
        if (GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST)
            things[L"service " + name] = L"error " + std::to_wstring(GetLastError());
        return;
    }
    things[L"service " + name] = ConfigurationOf(service);
    SERVICE_STATUS status{};
    things[L"service " + name + L", state"] = QueryServiceStatus(service, &status) != 0
                                                  ? StateText(status.dwCurrentState)
                                                  : L"error " + std::to_wstring(GetLastError());
    CloseServiceHandle(service);
}

void AddServices(const MachineScope& scope, MachineThings& things) {
    if (scope.services.empty())
        return;
    SC_HANDLE const manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    for (const std::wstring& name : scope.services)
        AddService(manager, name, things);
    CloseServiceHandle(manager);
}

void AddEvents(const MachineScope& scope, MachineThings& things) {
    for (const std::wstring& name : scope.events) {
        HANDLE const event = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
        if (event == nullptr && GetLastError() == ERROR_FILE_NOT_FOUND)
            continue;
        things[L"event " + name] =
            event != nullptr ? L"event" : L"error " + std::to_wstring(GetLastError());
        CloseHandle(event);
    }
}

}  // namespace

MachineThings LookAt(const MachineScope& scope) {
    MachineThings things;
    for (const std::wstring& folder : scope.folders)
        AddFolder(scope, folder, things);
    for (const std::wstring& file : scope.files) {
        if (GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES)
            things[L"file " + file] = HashOfFile(file);
    }
    AddRegistry(scope, things);
    AddServices(scope, things);
    AddEvents(scope, things);
    AddPendingMoves(things);
    return things;
}

std::map<std::wstring, std::wstring> FilesOf(const std::wstring& folder) {
    MachineThings things;
    AddFolder({}, folder, things);
    std::map<std::wstring, std::wstring> files;
    for (const auto& [thing, hash] : things) {
        if (thing.starts_with(L"file "))
            files[PathOfThing(thing).substr(folder.size() + 1)] = hash;
    }
    return files;
}

std::wstring HashOfFile(const std::wstring& path) {
    HANDLE const file = CreateFileW(path.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return L"error " + std::to_wstring(GetLastError());
    // FNV-1a: told apart are files of tests, which nobody makes to be mistaken.
    std::uint64_t hash = 0xcbf29ce484222325;
    std::uint64_t size = 0;
    BYTE bytes[16384];
    DWORD count = 0;
    while (ReadFile(file, bytes, sizeof bytes, &count, nullptr) != 0 && count != 0) {
        size += count;
        for (DWORD i = 0; i < count; ++i)
            hash = (hash ^ bytes[i]) * 0x100000001b3;
    }
    CloseHandle(file);
    wchar_t text[64];
    std::swprintf(text, std::size(text), L"%llu bytes, %016llx",
                  static_cast<unsigned long long>(size), static_cast<unsigned long long>(hash));
    return text;
}

std::string DifferenceLine(const char* sign, const std::wstring& thing, const std::wstring& text) {
    return sign + KrCommon::String::ToUtf8(thing) + ": " + KrCommon::String::ToUtf8(text) + "\n";
}

std::string Difference(const MachineThings& before, const MachineThings& after,
                       const std::function<bool(const std::wstring& thing)>& isMeant) {
    std::string text;
    for (const auto& [name, value] : before) {
        if (!isMeant(name))
            continue;
        const auto found = after.find(name);
        if (found == after.end()) {
            text += DifferenceLine("- ", name, value);
        } else if (found->second != value) {
            text += DifferenceLine("~ ", name, value + L" -> " + found->second);
        }
    }
    for (const auto& [name, value] : after) {
        if (isMeant(name) && before.find(name) == before.end())
            text += DifferenceLine("+ ", name, value);
    }
    return text;
}

std::string Difference(const MachineThings& before, const MachineThings& after) {
    return Difference(before, after, [](const std::wstring&) { return true; });
}

// The path of a file or folder, or of one that waits for the next start; empty for other things.
std::wstring PathOfThing(const std::wstring& thing) {
    for (const wchar_t* kind : {L"file ", L"folder "}) {
        if (thing.starts_with(kind))
            return thing.substr(std::wcslen(kind));
    }
    if (!thing.starts_with(kAtNextStart))
        return {};
    const std::wstring path =
        thing.substr(std::wcslen(kAtNextStart), thing.find(L" -> ") - std::wcslen(kAtNextStart));
    return path.starts_with(L"\\??\\") ? path.substr(4) : path;
}

// The key of a thing of the registry without hive and view, with ": name" behind it for a value.
std::wstring RegistryPathOfThing(const std::wstring& thing) {
    for (const Half& half : kHalves) {
        if (thing.starts_with(half.name))
            return thing.substr(std::wcslen(half.name));
    }
    return {};
}

std::wstring TextValue(const std::wstring& text) {
    return L"text \"" + text + L"\"";
}

std::wstring NumberValue(std::uint32_t number) {
    return L"number " + std::to_wstring(number);
}

bool Is64BitSystem() {
    SYSTEM_INFO info{};
    GetNativeSystemInfo(&info);
    return info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64;
}

bool BeginsWithNoCase(const std::wstring& text, const std::wstring& beginning) {
    return Lower(text).starts_with(Lower(beginning));
}

}  // namespace test_support
