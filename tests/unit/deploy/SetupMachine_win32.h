#pragma once

// The machine of an installation: files and registry are real, below a folder and keys of the
// test's own; services, programs, events of the watchdog, mails and the next start of the system
// are by script, and each call that matters can fail.

#include <rpc.h>

#include <cerrno>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/FakeClientHelper.h"
#include "support/FakeTaskService_win32.h"
#include "support/IatPatch.h"
#include "unit/deploy/FakeProcesses_win32.h"
#include "unit/deploy/FakeServiceEntry_win32.h"

#include <shlobj.h>

namespace deploy_test {

// Stands in for what the test program imports, as long as it lives. One at a time.
class SetupMachine {
public:
    // Errors of a call, each time it is made, 0 for none; the last one stays. The call is written
    // as in Steps(), or as one of these, which leave no step:
    //   CopyFile TARGET, CreateDirectory PATH, DeleteFile PATH, Find PATTERN, CreateKey PATH,
    //   OpenKey PATH, DeleteKey PATH, SpecialFolder, FolderPath NUMBER, FolderPath NUMBER made,
    //   AllUsers, Session, Guid, GuidText
    std::map<std::wstring, std::deque<DWORD>> failures;
    // What the watchdog's event answers: there is none. 0 opens one that nobody waits for.
    DWORD watchdogError = ERROR_FILE_NOT_FOUND;
    DWORD session = 1;
    // The answers to mails in turn; the last one stays.
    std::deque<std::uint32_t> mailResults{0x20ff0000};
    int guidTexts = 0;  // given out and not freed
    // Runs at each step, before it is carried out.
    std::function<void(const std::wstring& step)> onStep;

    FakeProcesses processes;
    FakeServiceEntry manager;  // its pauses count, not those of the processes
    test_support::FakeClientHelper helper;
    test_support::task_service::Script tasks;

    explicit SetupMachine(const std::wstring& base) : m_strBase(base) {
        s_pCurrent = this;
        test_support::task_service::g_pScript = &tasks;
        helper.onMail = [this] { OnMail(); };
        for (const wchar_t* folder : {L"\\Common", L"\\Local", L"\\Windows", L"\\Windows\\temp"})
            CreateDirectoryW((base + folder).c_str(), nullptr);
    }
    SetupMachine(const SetupMachine&) = delete;
    SetupMachine& operator=(const SetupMachine&) = delete;
    ~SetupMachine() { s_pCurrent = nullptr; }

    // What was done, in order, the test's folder written "@":
    //   Status NUMBER                the number InstallStatus
    //   Store VALUE, DeleteValue VALUE
    //   Rename FOLDER -> FOLDER      Remove FOLDER
    //   AtRestart PATH -> PATH       without a target: deleted
    //   StopWatchdog                 Run LINE
    //   CreateService, StartService, DeleteService
    //   Mail TEXT                    Sleep MILLISECONDS, other than the rounds of 1000
    std::vector<std::wstring> Steps() const {
        std::vector<std::wstring> steps;
        for (const std::wstring& call : manager.calls) {
            if (call.starts_with(L"* ")) {
                steps.push_back(call.substr(2));
            } else if (call == L"Delete" || call.starts_with(L"CreateService") ||
                       call.starts_with(L"StartService")) {
                steps.push_back(call == L"Delete" ? L"DeleteService"
                                                  : call.substr(0, call.find(L' ')));
            } else if (call.starts_with(L"Sleep ") && call != L"Sleep 1000") {
                steps.push_back(call);
            }
        }
        return steps;
    }
    void ClearSteps() { manager.calls.clear(); }

    std::wstring Short(std::wstring text) const {
        for (std::size_t at = text.find(m_strBase); at != std::wstring::npos;
             at = text.find(m_strBase))
            text.replace(at, m_strBase.size(), L"@");
        return text;
    }

private:
    static SetupMachine& Self() { return *s_pCurrent; }

    void Note(const std::wstring& step) {
        manager.calls.push_back(L"* " + step);
        if (onStep)
            onStep(step);
    }

    // The error of this call, 0 for none.
    DWORD Error(const std::wstring& call) {
        const auto found = failures.find(call);
        if (found == failures.end())
            return 0;
        const DWORD error = found->second.front();
        if (found->second.size() > 1)
            found->second.pop_front();
        return error;
    }
    DWORD NoteAndFail(const std::wstring& step) {
        Note(step);
        return Error(step);
    }
    static std::wstring Short(const wchar_t* text) { return Self().Short(std::wstring(text)); }

    template <class Result>
    static Result Fail(DWORD error, Result result) {
        SetLastError(error);
        return result;
    }

    void OnMail() {
        std::wstring text = helper.mailRequest;
        if (!text.empty() && text.back() == L'\n')
            text.pop_back();
        Note(L"Mail " + text);
        helper.mailResult = mailResults.front();
        if (mailResults.size() > 1)
            mailResults.pop_front();
    }

    // ---- files

    static BOOL WINAPI Copy(LPCWSTR source, LPCWSTR target, BOOL failIfExists) {
        const DWORD error = Self().Error(L"CopyFile " + Short(target));
        return error != 0
                   ? Fail(error, FALSE)
                   : Self().m_Copy.Original<decltype(CopyFileW)>()(source, target, failIfExists);
    }
    static BOOL WINAPI MakeFolder(LPCWSTR path, SECURITY_ATTRIBUTES* attributes) {
        const DWORD error = Self().Error(L"CreateDirectory " + Short(path));
        return error != 0
                   ? Fail(error, FALSE)
                   : Self().m_MakeFolder.Original<decltype(CreateDirectoryW)>()(path, attributes);
    }
    static BOOL WINAPI RemoveFolder(LPCWSTR path) {
        const DWORD error = Self().NoteAndFail(L"Remove " + Short(path));
        return error != 0 ? Fail(error, FALSE)
                          : Self().m_RemoveFolder.Original<decltype(RemoveDirectoryW)>()(path);
    }
    static BOOL WINAPI DeleteOne(LPCWSTR path) {
        const DWORD error = Self().Error(L"DeleteFile " + Short(path));
        return error != 0 ? Fail(error, FALSE)
                          : Self().m_DeleteFile.Original<decltype(DeleteFileW)>()(path);
    }
    static HANDLE WINAPI Find(LPCWSTR pattern, WIN32_FIND_DATAW* entry) {
        const DWORD error = Self().Error(L"Find " + Short(pattern));
        return error != 0 ? Fail(error, INVALID_HANDLE_VALUE)
                          : Self().m_Find.Original<decltype(FindFirstFileW)>()(pattern, entry);
    }
    static BOOL WINAPI MoveLater(LPCWSTR source, LPCWSTR target, DWORD) {
        const std::wstring behind = target != nullptr ? L" -> " + Short(target) : L"";
        const DWORD error = Self().NoteAndFail(L"AtRestart " + Short(source) + behind);
        return error != 0 ? Fail(error, FALSE) : TRUE;
    }
    static int __cdecl Rename(const wchar_t* from, const wchar_t* to) {
        const DWORD error = Self().NoteAndFail(L"Rename " + Short(from) + L" -> " + Short(to));
        if (error == 0)
            return Self().m_Rename.Original<decltype(_wrename)>()(from, to);
        errno = static_cast<int>(error);
        return -1;
    }

    // ---- registry

    static LSTATUS WINAPI OpenKey(HKEY root, LPCWSTR path, DWORD options, REGSAM access,
                                  PHKEY key) {
        const DWORD error = Self().Error(std::wstring(L"OpenKey ") + path);
        return error != 0 ? static_cast<LSTATUS>(error)
                          : Self().m_OpenKey.Original<decltype(RegOpenKeyExW)>()(
                                root, path, options, access, key);
    }
    static LSTATUS WINAPI CreateKey(HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type,
                                    DWORD options, REGSAM access, SECURITY_ATTRIBUTES* attributes,
                                    PHKEY key, LPDWORD disposition) {
        const DWORD error = Self().Error(std::wstring(L"CreateKey ") + path);
        return error != 0
                   ? static_cast<LSTATUS>(error)
                   : Self().m_CreateKey.Original<decltype(RegCreateKeyExW)>()(
                         root, path, reserved, type, options, access, attributes, key, disposition);
    }
    static LSTATUS WINAPI SetValue(HKEY key, LPCWSTR name, DWORD reserved, DWORD type,
                                   const BYTE* data, DWORD size) {
        const bool status = std::wstring(name) == L"InstallStatus" && type == REG_DWORD;
        const std::wstring step =
            status ? L"Status " + std::to_wstring(*reinterpret_cast<const DWORD*>(data))
                   : std::wstring(L"Store ") + name;
        const DWORD error = Self().NoteAndFail(step);
        return error != 0 ? static_cast<LSTATUS>(error)
                          : Self().m_SetValue.Original<decltype(RegSetValueExW)>()(
                                key, name, reserved, type, data, size);
    }
    static LSTATUS WINAPI DeleteValue(HKEY key, LPCWSTR name) {
        const DWORD error = Self().NoteAndFail(std::wstring(L"DeleteValue ") + name);
        return error != 0 ? static_cast<LSTATUS>(error)
                          : Self().m_DeleteValue.Original<decltype(RegDeleteValueW)>()(key, name);
    }
    static LSTATUS WINAPI DeleteKey(HKEY root, LPCWSTR path) {
        const std::wstring tree = root == HKEY_LOCAL_MACHINE ? L"HKLM " : L"HKCU ";
        const DWORD error = Self().Error(L"DeleteKey " + tree + path);
        return error != 0 ? static_cast<LSTATUS>(error)
                          : Self().m_DeleteKey.Original<decltype(RegDeleteKeyW)>()(root, path);
    }

    // ---- the system's folders

    std::wstring DataFolder(int folder) const {
        switch (folder & 0xff) {
            case CSIDL_COMMON_APPDATA:
                return m_strBase + L"\\Common";
            case CSIDL_LOCAL_APPDATA:
                return m_strBase + L"\\Local";
            default:
                return {};
        }
    }
    static HRESULT WINAPI FolderPath(HWND, int folder, HANDLE, DWORD, LPWSTR path) {
        const bool made = (folder & CSIDL_FLAG_CREATE) != 0;
        const DWORD error =
            Self().Error(L"FolderPath " + std::to_wstring(folder & 0xff) + (made ? L" made" : L""));
        const std::wstring found = Self().DataFolder(folder);
        if (error != 0 || found.empty())
            return E_FAIL;
        std::wcscpy(path, found.c_str());
        return S_OK;
    }
    static BOOL WINAPI SpecialFolder(HWND, LPWSTR path, int folder, BOOL create) {
        EXPECT_NE(create, FALSE);
        if (const DWORD error = Self().Error(L"SpecialFolder"); error != 0)
            return Fail(error, FALSE);
        std::wcscpy(path, Self().DataFolder(folder).c_str());
        return TRUE;
    }
    static UINT WINAPI WindowsFolder(LPWSTR path, UINT) {
        const std::wstring folder = Self().m_strBase + L"\\Windows";
        std::wcscpy(path, folder.c_str());
        return static_cast<UINT>(folder.size());
    }
    static BOOL WINAPI AllUsers(LPWSTR path, DWORD* size) {
        if (const DWORD error = Self().Error(L"AllUsers"); error != 0)
            return Fail(error, FALSE);
        const std::wstring folder = Self().m_strBase + L"\\AllUsers";
        EXPECT_GT(*size, folder.size());
        std::wcscpy(path, folder.c_str());
        return TRUE;
    }

    // ---- the rest

    static BOOL WINAPI SessionOf(DWORD process, DWORD* session) {
        EXPECT_EQ(process, GetCurrentProcessId());
        if (const DWORD error = Self().Error(L"Session"); error != 0)
            return Fail(error, FALSE);
        *session = Self().session;
        return TRUE;
    }
    static FARPROC WINAPI LookUp(HMODULE module, LPCSTR name) {
        if (!IS_INTRESOURCE(name)) {
            if (std::strcmp(name, "ProcessIdToSessionId") == 0)
                return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(SessionOf));
            if (std::strcmp(name, "GetAllUsersProfileDirectoryW") == 0)
                return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(AllUsers));
        }
        return Self().m_LookUp.Original<decltype(GetProcAddress)>()(module, name);
    }
    static HANDLE WINAPI OpenNamedEvent(DWORD access, BOOL inherit, LPCWSTR name) {
        if (std::wcsstr(name, L"STOP_WATCHDOG") == nullptr)
            return Self().m_OpenEvent.Original<decltype(OpenEventW)>()(access, inherit, name);
        Self().Note(L"StopWatchdog");
        if (Self().watchdogError == 0)
            return CreateEventW(nullptr, TRUE, FALSE, nullptr);
        SetLastError(Self().watchdogError);
        return nullptr;
    }
    static BOOL WINAPI Create(LPCWSTR application, LPWSTR line, SECURITY_ATTRIBUTES* process,
                              SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags,
                              LPVOID environment, LPCWSTR folder, STARTUPINFOW* record,
                              PROCESS_INFORMATION* started) {
        const DWORD error = Self().NoteAndFail(L"Run " + Short(line));
        return error != 0 ? Fail(error, FALSE)
                          : Self().m_Create.Original<decltype(CreateProcessW)>()(
                                application, line, process, thread, inherit, flags, environment,
                                folder, record, started);
    }
    static HRESULT WINAPI MakeGuid(GUID* guid) {
        return Self().Error(L"Guid") != 0
                   ? E_FAIL
                   : Self().m_MakeGuid.Original<decltype(CoCreateGuid)>()(guid);
    }
    static RPC_STATUS RPC_ENTRY GuidText(UUID* guid, RPC_WSTR* text) {
        if (Self().Error(L"GuidText") != 0)
            return RPC_S_OUT_OF_MEMORY;
        ++Self().guidTexts;
        return Self().m_GuidText.Original<decltype(UuidToStringW)>()(guid, text);
    }
    static RPC_STATUS RPC_ENTRY FreeText(RPC_WSTR* text) {
        --Self().guidTexts;
        return Self().m_FreeText.Original<decltype(RpcStringFreeW)>()(text);
    }

    static inline SetupMachine* s_pCurrent = nullptr;

    const std::wstring m_strBase;
    HMODULE m_hProgram = GetModuleHandleW(nullptr);
    test_support::task_service::FakeTaskService m_TaskService;
    test_support::IatPatch m_Copy{m_hProgram, "kernel32.dll", "CopyFileW", Copy};
    test_support::IatPatch m_MakeFolder{m_hProgram, "kernel32.dll", "CreateDirectoryW", MakeFolder};
    test_support::IatPatch m_RemoveFolder{m_hProgram, "kernel32.dll", "RemoveDirectoryW",
                                          RemoveFolder};
    test_support::IatPatch m_DeleteFile{m_hProgram, "kernel32.dll", "DeleteFileW", DeleteOne};
    test_support::IatPatch m_Find{m_hProgram, "kernel32.dll", "FindFirstFileW", Find};
    test_support::IatPatch m_Move{m_hProgram, "kernel32.dll", "MoveFileExW", MoveLater};
    test_support::IatPatch m_Rename{m_hProgram, "msvcrt.dll", "_wrename", Rename};
    test_support::IatPatch m_OpenKey{m_hProgram, "advapi32.dll", "RegOpenKeyExW", OpenKey};
    test_support::IatPatch m_CreateKey{m_hProgram, "advapi32.dll", "RegCreateKeyExW", CreateKey};
    test_support::IatPatch m_SetValue{m_hProgram, "advapi32.dll", "RegSetValueExW", SetValue};
    test_support::IatPatch m_DeleteValue{m_hProgram, "advapi32.dll", "RegDeleteValueW",
                                         DeleteValue};
    test_support::IatPatch m_DeleteKey{m_hProgram, "advapi32.dll", "RegDeleteKeyW", DeleteKey};
    test_support::IatPatch m_Folder{m_hProgram, "shell32.dll", "SHGetFolderPathW", FolderPath};
    test_support::IatPatch m_Special{m_hProgram, "shell32.dll", "SHGetSpecialFolderPathW",
                                     SpecialFolder};
    test_support::IatPatch m_Windows{m_hProgram, "kernel32.dll", "GetWindowsDirectoryW",
                                     WindowsFolder};
    test_support::IatPatch m_LookUp{m_hProgram, "kernel32.dll", "GetProcAddress", LookUp};
    test_support::IatPatch m_OpenEvent{m_hProgram, "kernel32.dll", "OpenEventW", OpenNamedEvent};
    test_support::IatPatch m_Create{m_hProgram, "kernel32.dll", "CreateProcessW", Create};
    test_support::IatPatch m_MakeGuid{m_hProgram, "ole32.dll", "CoCreateGuid", MakeGuid};
    test_support::IatPatch m_GuidText{m_hProgram, "rpcrt4.dll", "UuidToStringW", GuidText};
    test_support::IatPatch m_FreeText{m_hProgram, "rpcrt4.dll", "RpcStringFreeW", FreeText};
};

}  // namespace deploy_test
