#include "deployment/SetupMachine_win32.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "Common/KrCommon/KrComn_String.h"
#include "support/RunProgram.h"
#include "utilMode/FrwkMode.h"

namespace deployment_test {

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using test_support::SampleOptions;
using test_support::SampleMode::kTavrenox;

constexpr wchar_t kMaker[] = L"SOFTWARE\\KorvexData";
constexpr wchar_t kPrograms[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr const wchar_t* kEntries[] = {L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}",
                                       L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}"};
constexpr REGSAM kView = KEY_WOW64_64KEY;

void Put(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.string());
}

std::vector<std::string> LinesOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

// "21/11/2026 23:00:14.408 0020:0024 .w. <WySdk> Module: [INFO] text - Source(63)": from behind the
// angle brackets on, without the source.
std::string ModuleAndText(const std::string& line) {
    constexpr std::string_view kHead = "<WySdk> ";
    const std::size_t head = line.find(kHead);
    const std::size_t source = line.rfind(" - ");
    if (head == std::string::npos || source == std::string::npos || source < head)
        return line;
    return line.substr(head + kHead.size(), source - head - kHead.size());
}

std::wstring FolderVariable(const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    GetEnvironmentVariableW(name, text, MAX_PATH);
    return text;
}

// Temporary folders lie below C:\ from now on.
const wchar_t* ShortName() {
    SetEnvironmentVariableW(L"TMP", L"C:\\");
    return L"deploy";
}

void SetText(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& text) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | kView, nullptr, &key,
                        nullptr) != ERROR_SUCCESS)
        throw std::runtime_error("a key cannot be made");
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

}  // namespace

SetupMachine::SetupMachine()
    : m_Folder(ShortName()), m_hManager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
    for (const wchar_t* folder : {L"Temp", L"Logs", L"Records", L"Programs"})
        fs::create_directories(At(folder));
    Put(At(L"Programs\\Foreign\\keep.txt"), "somebody's");
    SetEnvironmentVariableW(L"TMP", At(L"Temp").c_str());
    SetEnvironmentVariableW(L"TEMP", At(L"Temp").c_str());
    SetEnvironmentVariableW(L"WY_STANDIN_RECORDS", At(L"Records").c_str());
    for (const wchar_t* suffix : {L"", L"_P", L"_C"}) {
        const std::wstring folder = At(std::wstring(L"Sdk") + suffix);
        fs::create_directories(folder);
        fs::copy_file(test_support::ProgramFolder() / L"WySdk.dll", folder + L"\\WySdk.dll");
        Put(folder + L"\\WySvcHost" + suffix + L".exe", "");
    }
    Clean();
}

SetupMachine::~SetupMachine() {
    Clean();
    m_pHost.reset();
    CloseServiceHandle(m_hManager);
}

std::wstring SetupMachine::At(const std::wstring& relative) const {
    return m_strBase + L'\\' + relative;
}

std::wstring SetupMachine::Backup() const {
    return At(L"Programs\\WyvarionBackup");
}

std::wstring SetupMachine::DataFolder() const {
    return FolderVariable(L"ProgramData") + L"\\Korvex Data\\" + m_Places.id;
}

const test_support::SamplePackage& SetupMachine::Package(const std::string& name) {
    auto& package = m_Packages[name + std::to_string(m_iMode)];
    if (package == nullptr) {
        SampleOptions options = OptionsOf(name);
        options.mode = m_iMode;
        options.logFolder = At(L"Logs");
        const fs::path folder = At(L"Packages") + L"\\" + std::wstring(name.begin(), name.end()) +
                                std::to_wstring(m_iMode);
        package = std::make_unique<test_support::SamplePackage>(folder, options);
        if (name == "no-manifest")
            fs::remove(folder / L"InstCfg.xml");
        if (name == "no-setup-file")
            fs::remove(folder / L"Setup.ini");
    }
    return *package;
}

std::unique_ptr<LoadedSdk> SetupMachine::Load() const {
    const std::wstring suffix = m_iMode == kTavrenox ? L"_P" : m_iMode == 0 ? L"" : L"_C";
    return std::make_unique<LoadedSdk>(At(L"Sdk" + suffix + L"\\WySdk.dll"),
                                       At(L"Nowhere\\Installer.exe"));
}

test_support::MachineThings SetupMachine::Look() const {
    test_support::MachineScope scope = ScopeOf(m_Places, {At(L"Programs")});
    scope.folders.push_back(test_support::SamplePackage::ShortcutFolder());
    test_support::MachineThings things = LookAt(scope);
    // The log of a set-up runs from copies, which go with the next start.
    std::erase_if(things, [this](const auto& thing) {
        return thing.first.find(At(L"Temp\\krdbg")) != std::wstring::npos;
    });
    return things;
}

void SetupMachine::Prepare(const MachineState& state) {
    Clean();
    m_iMode = state.mode;
    m_Places.id = Frwk::Mode::Table()[state.mode].wszName;
    m_Places.installDir = At(L"Programs\\Wy");
    m_Places.more = {L"file " + test_support::SamplePackage::ShortcutFolder(),
                     L"folder " + test_support::SamplePackage::ShortcutFolder()};
    Clean();
    if (state.otherProduct) {
        SetText(HKEY_LOCAL_MACHINE, std::wstring(kMaker) + L"\\Other", L"ProductPath",
                L"C:\\Other");
        SetText(HKEY_CURRENT_USER, std::wstring(kMaker) + L"\\Other", L"Language", L"en");
    }
    m_New = Look();
    PutPresent(state);
    PutEntry(state);
    PutFiles(state);
    PutRegistry(state);
    if (state.listens) {
        Listen();
    } else {
        StopListening();
    }
    if (state.watchdog != Watchdog::kNone) {
        StartWatchdog(state.watchdog == Watchdog::kDeaf     ? L"--stays"
                      : state.watchdog == Watchdog::kClosed ? L"--closed"
                                                            : L"");
    }
    TakeLog();
}

void SetupMachine::PutPresent(const MachineState& state) {
    if (state.present == Present::kNothing)
        return;
    Listen();
    const std::wstring package = Package(state.package).Folder();
    const std::uint32_t laid = Load()->Install(package, InstallDir()).code;
    const std::uint32_t done =
        state.present == Present::kInstalled && laid == WY_S_OK ? Load()->PostInstall() : WY_S_OK;
    if (laid != WY_S_OK || done != WY_S_OK) {
        char text[80];
        std::snprintf(text, sizeof text, "state: install 0x%08x, post-install 0x%08x", laid, done);
        throw std::runtime_error(text);
    }
}

void SetupMachine::PutEntry(const MachineState& state) {
    if (state.entry == Entry::kAsInstalled)
        return;
    const std::wstring name = m_Places.id + L" Host Service";
    if (state.entry == Entry::kStopped) {
        const SC_HANDLE service = OpenServiceW(m_hManager, name.c_str(), SERVICE_STOP);
        SERVICE_STATUS status;
        ControlService(service, SERVICE_CONTROL_STOP, &status);
        CloseServiceHandle(service);
        return;
    }
    EndPrograms();
    RemoveService();
    // The former entry may be there for a moment yet.
    for (int i = 0; i < 500 && m_hKept == nullptr; ++i) {
        Sleep(i == 0 ? 0 : 10);
        m_hKept = CreateServiceW(m_hManager, name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                 SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                 SERVICE_ERROR_NORMAL, L"C:\\Somebody\\service.exe", nullptr,
                                 nullptr, nullptr, nullptr, nullptr);
    }
    if (m_hKept == nullptr)
        throw std::runtime_error("the foreign service cannot be made");
    if (state.entry == Entry::kMarked) {
        DeleteService(m_hKept);
    } else {
        CloseServiceHandle(std::exchange(m_hKept, nullptr));
    }
}

void SetupMachine::PutFiles(const MachineState& state) {
    const std::wstring file = InstallDir() + L"\\release.txt";
    if (state.olderFiles) {
        Put(file, "of long ago");
        Put(InstallDir() + L"\\readme.txt", "of long ago");
        Put(InstallDir() + L"\\Retired\\old.txt", "of long ago");
    }
    if (state.readOnlyFile)
        SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
    if (state.rebootMark)
        Put(FolderVariable(L"windir") + L"\\temp\\" + m_Places.id + L"Temp.dat", "");
    if (state.oldBackup || state.lockedBackup)
        Put(Backup() + L"\\old\\file.txt", "of an older upgrade");
    if (state.lockedFile)
        Lock(file);
    if (state.lockedBackup)
        Lock(Backup() + L"\\old\\file.txt");
    if (state.foldersGone) {
        EndPrograms();
        fs::remove_all(InstallDir());
        fs::remove_all(DataFolder());
    }
}

void SetupMachine::PutRegistry(const MachineState& state) {
    const std::wstring key = kMaker + (L"\\" + m_Places.id);
    if (state.version.has_value() && state.version->empty()) {
        DeleteMachineValue(key, L"ProductVersion");
    } else if (state.version.has_value()) {
        SetProductValue(L"ProductVersion", *state.version);
    }
    if (state.guid.has_value())
        SetProductValue(L"ProductGuid", *state.guid);
    if (state.programEntry)
        SetText(HKEY_LOCAL_MACHINE, std::wstring(kPrograms) + kEntries[0], L"DisplayName", L"Wy");
}

void SetupMachine::Lock(const std::wstring& path) {
    m_pLock = std::make_unique<Handle>(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                   nullptr, OPEN_EXISTING, 0, nullptr));
    if (m_pLock->value == INVALID_HANDLE_VALUE)
        throw std::runtime_error("a file cannot be locked");
}

void SetupMachine::Unlock() {
    m_pLock.reset();
    if (m_hKept != nullptr)
        CloseServiceHandle(std::exchange(m_hKept, nullptr));
}

void SetupMachine::StopListening() {
    m_pHost.reset();
    m_iHostMode = -1;
}

// The third identity has no endpoint.
void SetupMachine::Listen() {
    if (m_iHostMode == m_iMode || m_iMode > kTavrenox)
        return;
    m_pHost.reset();
    m_pHost = std::make_unique<test_support::ServiceHost>(std::wstring(), m_iMode);
    m_iHostMode = m_iMode;
}

void SetupMachine::StartWatchdog(const std::wstring& options) {
    m_pWatchdog = std::make_unique<test_support::WatchdogProcess>(L"--product " + m_Places.id +
                                                                  L" " + options);
}

std::optional<std::uint32_t> SetupMachine::InstallStatus() const {
    DWORD number = 0;
    DWORD size = sizeof number;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kMaker + (L"\\" + m_Places.id)).c_str(), 0,
                      KEY_READ | kView, &key) != ERROR_SUCCESS)
        return std::nullopt;
    const LSTATUS status = RegQueryValueExW(key, L"InstallStatus", nullptr, nullptr,
                                            reinterpret_cast<BYTE*>(&number), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? std::optional<std::uint32_t>(number) : std::nullopt;
}

std::wstring SetupMachine::ProductValue(const wchar_t* name) const {
    wchar_t text[512] = {};
    DWORD size = sizeof text - sizeof(wchar_t);
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kMaker + (L"\\" + m_Places.id)).c_str(), 0,
                      KEY_READ | kView, &key) != ERROR_SUCCESS)
        return {};
    RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
    RegCloseKey(key);
    return text;
}

void SetupMachine::SetProductValue(const wchar_t* name, const std::wstring& text) const {
    SetText(HKEY_LOCAL_MACHINE, kMaker + (L"\\" + m_Places.id), name, text);
}

std::vector<std::string> SetupMachine::TakeLog() const {
    std::vector<std::string> lines;
    for (const fs::directory_entry& entry : fs::directory_iterator(At(L"Logs"))) {
        for (const std::string& line : LinesOf(entry.path()))
            lines.push_back(ModuleAndText(line));
        std::error_code ignored;
        fs::remove(entry.path(), ignored);
    }
    const std::string base = ToUtf8(m_strBase);
    for (std::string& line : lines) {
        for (std::size_t at = line.find(base); at != std::string::npos; at = line.find(base))
            line.replace(at, base.size(), "@");
    }
    return lines;
}

std::vector<std::string> SetupMachine::Asked(const std::wstring& program) const {
    std::vector<std::string> lines = LinesOf(At(L"Records\\" + program + L".asked.txt"));
    const std::string base = ToUtf8(m_strBase);
    for (std::string& line : lines) {
        for (std::size_t at = line.find(base); at != std::string::npos; at = line.find(base))
            line.replace(at, base.size(), "@");
    }
    return lines;
}

void SetupMachine::Clean() {
    Unlock();
    EndWatchdog();
    EndPrograms();
    if (m_Places.id.empty())
        return;
    RemoveService();
    RemoveRegistry();
    RemoveFiles();
}

}  // namespace deployment_test
