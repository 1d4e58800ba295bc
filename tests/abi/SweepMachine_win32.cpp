#include "abi/SweepMachine_win32.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "Common/KrCommon/KrComn_String.h"
#include "support/PendingMoves_win32.h"
#include "support/RunProgram.h"

namespace {

namespace fs = std::filesystem;

constexpr REGSAM kView = KEY_WOW64_64KEY;

constexpr wchar_t kProductKey[] = L"SOFTWARE\\KorvexData\\Wyvarion";
constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kPending[] = L"PendingFileRenameOperations";

void Put(const fs::path& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (file.fail())
        throw std::runtime_error("cannot write " + path.string());
}

std::string Content(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Switched on for all levels, in both sections. A log of this process goes by the second one, the
// folder that an application asks for stands in the first.
std::string LogConfiguration(const std::string& folder) {
    const std::string levels = "Enable=1\r\nLevel=0x00001111\r\n";
    return "[ServiceSession]\r\n" + levels +
           "LogFolder=%commonappdata%\\Korvex Data\\log\r\n[InteractiveSession]\r\n" + levels +
           "LogFolder=" + folder + "\r\n";
}

HKEY OpenKey(const std::wstring& path) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | kView,
                        nullptr, &key, nullptr) != ERROR_SUCCESS)
        throw std::runtime_error("the product's key cannot be made");
    return key;
}

void SetText(const std::wstring& path, const wchar_t* name, const std::wstring& text) {
    const HKEY key = OpenKey(path);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

void SetNumber(const std::wstring& path, const wchar_t* name, DWORD number) {
    const HKEY key = OpenKey(path);
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    RegCloseKey(key);
}

void DeleteKey(const std::wstring& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS | kView, &key) !=
        ERROR_SUCCESS)
        return;
    wchar_t name[256];
    while (RegEnumKeyW(key, 0, name, 256) == ERROR_SUCCESS)
        DeleteKey(path + L"\\" + name);
    RegCloseKey(key);
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), kView, 0);
}

// Adds the values of a key and of all below it.
void ReadKey(const std::wstring& path, MachineState& state) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | kView, &key) != ERROR_SUCCESS)
        return;
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD length = 256;
        DWORD type = 0;
        BYTE data[2048];
        DWORD size = sizeof data;
        if (RegEnumValueW(key, i, name, &length, nullptr, &type, data, &size) != ERROR_SUCCESS)
            break;
        state[L"HKLM\\" + path + L"\\" + name] =
            std::to_string(type) + ":" + std::string(data, data + size);
    }
    for (DWORD i = 0; RegEnumKeyW(key, i, name, 256) == ERROR_SUCCESS; ++i)
        ReadKey(path + L"\\" + name, state);
    RegCloseKey(key);
}

void ForgetPendingMoves() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSessionManager, 0, KEY_SET_VALUE, &key) == ERROR_SUCCESS)
        RegDeleteValueW(key, kPending);
    RegCloseKey(key);
}

// Temporary folders lie below this one from now on.
const wchar_t* ShallowName() {
    SetEnvironmentVariableW(L"TMP", L"C:\\");
    return L"sweep";
}

std::string Trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r,";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::wstring Wide(const std::string& text) {
    return {text.begin(), text.end()};
}

void AddIniFile(const std::wstring& path, const std::string& content, MachineState& state) {
    std::istringstream lines(content);
    std::string section;
    for (std::string line; std::getline(lines, line);) {
        line = Trimmed(line);
        const std::size_t sign = line.find('=');
        if (line.starts_with("[")) {
            section = line;
        } else if (sign != std::string::npos) {
            state[path + L" " + Wide(section + line.substr(0, sign))] = line.substr(sign + 1);
        }
    }
}

// The members of the record that have plain values; the time is not the same twice.
void AddRecord(const std::wstring& path, const std::string& content, MachineState& state) {
    std::istringstream lines(content);
    for (std::string line; std::getline(lines, line);) {
        line = Trimmed(line);
        const std::size_t sign = line.find(" : ");
        if (sign == std::string::npos)
            continue;
        const std::string name = line.substr(0, sign);
        state[path + L" " + Wide(name)] = name == "\"time\"" ? "now" : line.substr(sign + 3);
    }
}

void AddFile(const std::wstring& name, const fs::path& path, MachineState& state) {
    // The trace module is large, and copied or not.
    const std::string content =
        path.extension() == L".dll" ? std::to_string(fs::file_size(path)) : Content(path);
    if (path.extension() == L".ini") {
        AddIniFile(name, content, state);
    } else if (path.filename() == L"AuFeedbackTemp.json") {
        AddRecord(name, content, state);
    } else {
        state[name] = content;
    }
}

bool IsSet(HANDLE event) {
    const bool set = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
    if (set)
        SetEvent(event);
    return set;
}

HANDLE WatchdogEvent(const wchar_t* name) {
    return CreateEventW(
        nullptr, FALSE, FALSE,
        (std::wstring(L"Global\\WATCHDOG_EVENT_") + name + L"_SERVICEWyvarion").c_str());
}

}  // namespace

SweepMachine::SweepMachine()
    : m_Folder(ShallowName()),
      m_HostRecord(test_support::ProgramFolder() / L"AuFeedbackTemp.json"),
      m_hStart(WatchdogEvent(L"START")),
      m_hStop(WatchdogEvent(L"STOP")) {
    MakeFolders();
    SetCurrentDirectoryW(At(L"Present").c_str());
    fs::copy_file(test_support::ProgramFolder() / L"KrDbgLog.dll", At(L"Wy\\KrDbgLog.dll"));
    SetEnvironmentVariableW(L"TMP", At(L"Temp").c_str());
    RemoveNew();
    DeleteKey(kProductKey);
    PutFiles();
    PutValues();
    m_Prepared = State();
}

SweepMachine::~SweepMachine() {
    SetCurrentDirectoryW(L"C:\\");
    CloseHandle(m_hStart);
    CloseHandle(m_hStop);
    DeleteKey(kProductKey);
    ForgetPendingMoves();
}

std::wstring SweepMachine::At(const std::wstring& relative) const {
    return m_Base + L'\\' + relative;
}

std::string SweepMachine::Plain(const std::string& text) const {
    std::string plain = text;
    const std::string base = KrCommon::String::ToUtf8(m_Base);
    for (std::size_t at = plain.find(base); at != std::string::npos; at = plain.find(base))
        plain.replace(at, base.size(), "@");
    return plain;
}

void SweepMachine::MakeFolders() const {
    for (const wchar_t* folder : {L"Wy\\win32", L"Wy\\Configuration", L"Temp", L"Logs", L"Present",
                                  L"Download\\data\\deep"})
        fs::create_directories(At(folder));
}

void SweepMachine::PutFiles() const {
    const std::string logs = fs::path(At(L"Logs")).string();
    Put(At(L"Wy\\krdbg.ini"), LogConfiguration(logs));
    Put(At(L"Wy\\win32\\krdbg.ini"), LogConfiguration(logs));
    Put(At(L"Wy\\product.txt"), "old");
    Put(At(L"Wy\\Configuration\\FeedbackCfg.json"), R"({"feedbackAu":1,"feedbackCptName":1})");
    Put(At(L"Download\\product.txt"), "new");
    Put(At(L"Download\\data\\first.txt"), "first");
    Put(At(L"Download\\data\\deep\\second.txt"), "second");
}

void SweepMachine::PutValues() const {
    const std::wstring key = kProductKey;
    SetText(key, L"ProductPath", At(L"Wy"));
    SetText(key, L"WinGuid", L"{guid}");
    SetText(key, L"ProductId", L"c11t1100v1.1.0l1p1r1o1");
    SetText(key, L"ProductVersion", L"1.1.0");
    SetText(key, L"AgentVersion", L"1.0.0");
    SetText(key, L"SpnGuid", L"old");
    SetText(key + L"\\Proxy", L"Server", L"old");
    SetNumber(key + L"\\Proxy", L"Enable", 0);
    SetNumber(key + L"\\Reamer", L"Enable", 0);
}

void SweepMachine::RemoveNew() const {
    std::error_code ignored;
    for (const wchar_t* folder : {L"WyAuTemp", L"Present\\AuTemp"})
        fs::remove_all(At(folder), ignored);
    for (const wchar_t* file :
         {L"Temp\\krdbg.ini", L"Temp\\KrDbgLog.dll", L"Wy\\AuFeedbackTemp.json"})
        fs::remove(At(file), ignored);
    fs::remove(m_HostRecord, ignored);
    ForgetPendingMoves();
    ResetEvent(m_hStart);
    ResetEvent(m_hStop);
}

void SweepMachine::Restore(const MachineState& left) const {
    RemoveNew();
    for (const auto& [name, value] : m_Prepared) {
        const auto found = left.find(name);
        if (found == left.end() || found->second != value) {
            PutFiles();
            PutValues();
            break;
        }
    }
    for (const auto& [name, value] : left) {
        if (name.starts_with(L"HKLM") && m_Prepared.count(name) == 0) {
            DeleteKey(kProductKey);
            PutValues();
            break;
        }
    }
}

MachineState SweepMachine::State() const {
    MachineState state;
    ReadKey(kProductKey, state);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(fs::path(m_Base))) {
        const std::wstring name = entry.path().wstring().substr(m_Base.size() + 1);
        if (name.starts_with(L"Logs"))
            continue;
        if (entry.is_directory()) {
            state[name] = "folder";
        } else {
            AddFile(name, entry.path(), state);
        }
    }
    if (fs::exists(m_HostRecord))
        AddFile(L"(program) AuFeedbackTemp.json", m_HostRecord, state);
    for (const test_support::PendingMove& move : test_support::PendingMoves())
        state[L"at the next start " + move.first + L" -> " + move.second] = "";
    if (IsSet(m_hStart))
        state[L"event"] = "start";
    if (IsSet(m_hStop))
        state[L"event"] = "stop";
    return state;
}
