#include "devhost/MachineFeatures.h"

#include <functional>
#include <optional>
#include <utility>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/AutorunCommand.h"

namespace DevHost {

namespace {

using KrCommon::String::ToUtf8;

constexpr std::size_t kLongestValue = 64 * 1024;

// A place in the registry where settings of programs lie.
struct Hive {
    HKEY root;
    REGSAM view;
    const wchar_t* name;
};

std::vector<Hive> Hives() {
    SYSTEM_INFO system;
    GetNativeSystemInfo(&system);
    std::vector<Hive> hives = {{HKEY_CURRENT_USER, 0, L"HKCU"},
                               {HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, L"HKLM"}};
    if (system.wProcessorArchitecture != PROCESSOR_ARCHITECTURE_INTEL) {
        hives.push_back({HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, L"HKLM32"});
    }
    return hives;
}

// A key that is open for reading, or none.
class Key {
public:
    Key(HKEY parent, const std::wstring& path, REGSAM view) {
        if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ | view, &m_hKey) != ERROR_SUCCESS) {
            m_hKey = nullptr;
        }
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() {
        if (m_hKey != nullptr)
            RegCloseKey(m_hKey);
    }

    bool IsOpen() const { return m_hKey != nullptr; }
    HKEY Get() const { return m_hKey; }

    std::vector<std::wstring> SubKeys() const {
        std::vector<std::wstring> names;
        wchar_t name[256];
        for (DWORD index = 0; IsOpen(); ++index) {
            DWORD length = static_cast<DWORD>(std::size(name));
            if (RegEnumKeyExW(m_hKey, index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS) {
                break;
            }
            names.emplace_back(name, length);
        }
        return names;
    }

    // Calls `visit` with name and text of each value that is a text.
    void ForEachText(
        const std::function<void(const std::wstring&, const std::wstring&)>& visit) const {
        wchar_t name[16384];
        for (DWORD index = 0; IsOpen(); ++index) {
            DWORD length = static_cast<DWORD>(std::size(name));
            const LSTATUS status =
                RegEnumValueW(m_hKey, index, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (status == ERROR_MORE_DATA)
                continue;
            if (status != ERROR_SUCCESS)
                break;
            const std::wstring valueName(name, length);
            if (const auto text = Text(valueName))
                visit(valueName, *text);
        }
    }

    // The text of a value, with variables expanded; nothing for a value of another type.
    std::optional<std::wstring> Text(const std::wstring& name) const {
        DWORD type = 0;
        DWORD size = 0;
        if (!IsOpen() || RegQueryValueExW(m_hKey, name.c_str(), nullptr, &type, nullptr, &size) !=
                             ERROR_SUCCESS) {
            return std::nullopt;
        }
        if ((type != REG_SZ && type != REG_EXPAND_SZ) || size > kLongestValue)
            return std::nullopt;
        // The data may lack its terminator and have an odd number of bytes.
        std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
        DWORD capacity = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        if (RegQueryValueExW(m_hKey, name.c_str(), nullptr, nullptr,
                             reinterpret_cast<BYTE*>(text.data()), &capacity) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        text.resize(capacity / sizeof(wchar_t));
        text.resize(std::min(text.size(), text.find(L'\0')));
        return type == REG_EXPAND_SZ ? Expand(text) : text;
    }

private:
    static std::wstring Expand(const std::wstring& text) {
        const DWORD length = ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
        if (length == 0 || length > kLongestValue)
            return text;
        std::wstring expanded(length, L'\0');
        const DWORD written = ExpandEnvironmentStringsW(text.c_str(), expanded.data(), length);
        if (written == 0 || written > length)
            return text;
        expanded.resize(written - 1);
        return expanded;
    }

    HKEY m_hKey = nullptr;
};

class UninstallEntries : public ScanFeature {
public:
    const char* Name() const override { return "uninstallEntries"; }

    void Run(const Sink& found, JobControl& control) const override {
        const std::wstring path = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
        const std::vector<Hive> hives = Hives();
        for (std::size_t i = 0; i < hives.size(); ++i) {
            const Key list(hives[i].root, path, hives[i].view);
            for (const std::wstring& name : list.SubKeys()) {
                const std::wstring object =
                    std::wstring(hives[i].name) + L"\\" + path + L"\\" + name;
                control.SetStep({}, ToUtf8(object));
                if (!control.Continue())
                    return;
                Look(Key(list.Get(), name, hives[i].view), name, object, found);
            }
            control.SetProgress(static_cast<double>(i + 1) / static_cast<double>(hives.size()));
        }
    }

private:
    static void Look(const Key& entry, const std::wstring& name, const std::wstring& object,
                     const Sink& found) {
        std::wstring folder = entry.Text(L"InstallLocation").value_or(L"");
        if (folder.size() > 1 && folder.front() == L'"' && folder.back() == L'"') {
            folder = folder.substr(1, folder.size() - 2);
        }
        if (folder.empty() || FileSystem::IsFolder(FileSystem::Path(folder)))
            return;
        Finding finding;
        finding.kind = "uninstall-entry";
        finding.object = ToUtf8(object);
        finding.name = ToUtf8(entry.Text(L"DisplayName").value_or(name));
        finding.detail["installLocation"] = ToUtf8(folder);
        found(std::move(finding));
    }
};

class AutorunEntries : public ScanFeature {
public:
    const char* Name() const override { return "autorunEntries"; }

    void Run(const Sink& found, JobControl& control) const override {
        const std::vector<Hive> hives = Hives();
        const wchar_t* const places[] = {L"Run", L"RunOnce"};
        double done = 0;
        for (const Hive& hive : hives) {
            for (const wchar_t* const place : places) {
                const std::wstring path =
                    std::wstring(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\") + place;
                if (!control.Continue())
                    return;
                const Key key(hive.root, path, hive.view);
                key.ForEachText([&](const std::wstring& name, const std::wstring& command) {
                    const std::string object =
                        ToUtf8(std::wstring(hive.name) + L"\\" + path + L"\\" + name);
                    control.SetStep({}, object);
                    Report(object, name, command, found);
                });
                done += 1;
                control.SetProgress(done / static_cast<double>(hives.size() * std::size(places)));
            }
        }
    }

private:
    static void Report(const std::string& object, const std::wstring& name,
                       const std::wstring& command, const Sink& found) {
        const std::optional<std::wstring> program = FindProgram(command);
        Finding finding;
        finding.kind = "autorun-entry";
        finding.object = object;
        finding.name = ToUtf8(name);
        finding.isProblem = !program.has_value();
        finding.detail["command"] = ToUtf8(command);
        if (program.has_value())
            finding.detail["program"] = ToUtf8(*program);
        found(std::move(finding));
    }

    static std::optional<std::wstring> FindProgram(const std::wstring& command) {
        for (const std::wstring& candidate : ProgramsOfCommand(command)) {
            wchar_t path[1024];
            const DWORD length = SearchPathW(nullptr, candidate.c_str(), L".exe",
                                             static_cast<DWORD>(std::size(path)), path, nullptr);
            if (length == 0 || length >= std::size(path))
                continue;
            if (!FileSystem::IsFolder(FileSystem::Path(path)))
                return std::wstring(path, length);
        }
        return std::nullopt;
    }
};

class StartupServices : public ScanFeature {
public:
    const char* Name() const override { return "startupServices"; }

    void Run(const Sink& found, JobControl& control) const override {
        const SC_HANDLE manager =
            OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE);
        if (manager == nullptr)
            return;
        const std::vector<std::uint64_t> memory = ListServices(manager);
        const auto* const services =
            reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(memory.data());
        const std::size_t count = memory.empty() ? 0 : static_cast<std::size_t>(memory.back());
        for (std::size_t i = 0; i < count && control.Continue(); ++i) {
            control.SetStep({}, ToUtf8(services[i].lpServiceName));
            Look(manager, services[i], found);
            control.SetProgress(static_cast<double>(i + 1) / static_cast<double>(count));
        }
        CloseServiceHandle(manager);
    }

private:
    // The system's list in its own form, with the number of its entries in the last element.
    static std::vector<std::uint64_t> ListServices(SC_HANDLE manager) {
        DWORD needed = 0;
        DWORD count = 0;
        std::vector<std::uint64_t> memory;
        for (int attempt = 0; attempt < 3; ++attempt) {
            DWORD resume = 0;
            if (EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_WIN32,
                                      SERVICE_STATE_ALL, reinterpret_cast<BYTE*>(memory.data()),
                                      static_cast<DWORD>(memory.size() * sizeof(std::uint64_t)),
                                      &needed, &count, &resume, nullptr)) {
                memory.push_back(count);
                return memory;
            }
            if (GetLastError() != ERROR_MORE_DATA)
                break;
            memory.resize(memory.size() + needed / sizeof(std::uint64_t) + 1);
        }
        return {};
    }

    static void Look(SC_HANDLE manager, const ENUM_SERVICE_STATUS_PROCESSW& service,
                     const Sink& found) {
        const SC_HANDLE handle = OpenServiceW(manager, service.lpServiceName, SERVICE_QUERY_CONFIG);
        if (handle == nullptr)
            return;
        DWORD needed = 0;
        QueryServiceConfigW(handle, nullptr, 0, &needed);
        std::vector<std::uint64_t> memory(needed / sizeof(std::uint64_t) + 1);
        auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(memory.data());
        const bool read =
            QueryServiceConfigW(handle, config,
                                static_cast<DWORD>(memory.size() * sizeof(std::uint64_t)),
                                &needed) != FALSE;
        CloseServiceHandle(handle);
        if (!read || config->dwStartType != SERVICE_AUTO_START)
            return;
        Finding finding;
        finding.kind = "service";
        finding.object = ToUtf8(service.lpServiceName);
        finding.name = ToUtf8(service.lpDisplayName);
        finding.isProblem = false;
        finding.detail["running"] = service.ServiceStatusProcess.dwCurrentState == SERVICE_RUNNING;
        finding.detail["command"] =
            config->lpBinaryPathName != nullptr ? ToUtf8(config->lpBinaryPathName) : "";
        found(std::move(finding));
    }
};

}  // namespace

std::vector<std::unique_ptr<ScanFeature>> MakeMachineFeatures() {
    std::vector<std::unique_ptr<ScanFeature>> features;
    features.push_back(std::make_unique<UninstallEntries>());
    features.push_back(std::make_unique<AutorunEntries>());
    features.push_back(std::make_unique<StartupServices>());
    return features;
}

}  // namespace DevHost
