// How a machine is cleared of all that a traversal has left.

#include <stdexcept>

#include "deployment/SetupMachine_win32.h"

#include <psapi.h>
#include <tlhelp32.h>

namespace deployment_test {

namespace {

namespace fs = std::filesystem;

constexpr wchar_t kMaker[] = L"SOFTWARE\\KorvexData";
constexpr wchar_t kPrograms[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr const wchar_t* kEntries[] = {L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}",
                                       L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}"};
constexpr wchar_t kRun[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr REGSAM kView = KEY_WOW64_64KEY;

std::wstring FolderVariable(const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    GetEnvironmentVariableW(name, text, MAX_PATH);
    return text;
}

void DeleteTree(HKEY root, const std::wstring& path, REGSAM view) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_ALL_ACCESS | view, &key) != ERROR_SUCCESS)
        return;
    wchar_t name[256];
    while (RegEnumKeyW(key, 0, name, 256) == ERROR_SUCCESS)
        DeleteTree(root, path + L"\\" + name, view);
    RegCloseKey(key);
    RegDeleteKeyExW(root, path.c_str(), view, 0);
}

}  // namespace

void DeleteMachineValue(const std::wstring& path, const wchar_t* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_SET_VALUE | kView, &key) ==
        ERROR_SUCCESS) {
        RegDeleteValueW(key, name);
        RegCloseKey(key);
    }
}

std::size_t SetupMachine::RunningAgents() const {
    std::size_t count = 0;
    for (const HANDLE process : LoadedSdk::Started())
        count += WaitForSingleObject(process, 0) == WAIT_TIMEOUT ? 1 : 0;
    return count;
}

// Also those that a start of the system has started.
void SetupMachine::EndPrograms() const {
    for (const HANDLE process : LoadedSdk::Started())
        CloseHandle(process);
    LoadedSdk::Started().clear();
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(all, &entry); more != 0; more = Process32NextW(all, &entry)) {
        constexpr DWORD kAccess =
            PROCESS_QUERY_INFORMATION | PROCESS_VM_READ | PROCESS_TERMINATE | SYNCHRONIZE;
        const HANDLE process = OpenProcess(kAccess, FALSE, entry.th32ProcessID);
        wchar_t path[MAX_PATH] = {};
        if (process != nullptr && GetModuleFileNameExW(process, nullptr, path, MAX_PATH) != 0 &&
            test_support::BeginsWithNoCase(path, m_strBase)) {
            TerminateProcess(process, 1);
            WaitForSingleObject(process, 5000);
        }
        CloseHandle(process);
    }
    CloseHandle(all);
}

// Its program has ended already: for Wine it goes on running.
void SetupMachine::RemoveService() const {
    const std::wstring name = m_Places.id + L" Host Service";
    const SC_HANDLE service = OpenServiceW(m_hManager, name.c_str(), DELETE);
    DeleteService(service);
    CloseServiceHandle(service);
}

void SetupMachine::RemoveRegistry() const {
    for (const REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
        DeleteTree(HKEY_LOCAL_MACHINE, kMaker, view);
        DeleteTree(HKEY_CURRENT_USER, kMaker, view);
        for (const wchar_t* entry : kEntries)
            DeleteTree(HKEY_LOCAL_MACHINE, std::wstring(kPrograms) + entry, view);
    }
    DeleteMachineValue(kRun, m_Places.id.c_str());
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSessionManager, 0, KEY_SET_VALUE, &key) ==
        ERROR_SUCCESS) {
        RegDeleteValueW(key, L"PendingFileRenameOperations");
        RegCloseKey(key);
    }
}

void SetupMachine::RemoveFiles() const {
    const auto remove = [](const std::wstring& path) {
        std::error_code none;
        for (const auto& entry : fs::recursive_directory_iterator(path, none))
            SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
        // A program that has just ended may hold its file for a moment.
        std::error_code failed;
        for (int i = 0; i < 200; ++i) {
            fs::remove_all(path, failed);
            if (!failed)
                return;
            Sleep(10);
        }
        std::string left;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
            left += " " + entry.path().string();
        throw std::runtime_error("cannot be removed:" + left);
    };
    remove(At(L"Programs\\Wy"));
    remove(Backup());
    for (const wchar_t* root : {L"ProgramData", L"LOCALAPPDATA"})
        remove(FolderVariable(root) + L"\\Korvex Data");
    remove(FolderVariable(L"windir") + L"\\temp\\" + m_Places.id + L"Temp.dat");
    remove(test_support::SamplePackage::ShortcutFolder());
    remove(At(L"Records"));
    fs::create_directories(At(L"Records"));
}

}  // namespace deployment_test
