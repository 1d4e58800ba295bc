#include "Common/KrCommon/KrComn_Process.h"

#include <vector>

#include "Common/KrCommon/KrComn_ErrorOut.h"
#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_SecurityAttributes.h"

namespace KrCommon::Process {

namespace {

constexpr char kLogSource[] = "KrComn_Process";

// A started process with its first thread.
class Child {
public:
    explicit Child(const PROCESS_INFORMATION& started)
        : m_pProcess(started.hProcess), m_pThread(started.hThread) {}
    HANDLE Get() const { return m_pProcess.get(); }

private:
    UniqueHandle m_pProcess;
    UniqueHandle m_pThread;
};

// The system writes into the line it is given.
std::vector<wchar_t> Writable(const std::wstring& line) {
    return {line.c_str(), line.c_str() + line.size() + 1};
}

// The length is that of the system's record: 104 bytes on x86-64, 68 on i686.
STARTUPINFOW StartupRecord(DWORD flags, WORD showWindow) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = flags;
    startup.wShowWindow = showWindow;
    return startup;
}

bool StartHidden(const std::wstring& line, const std::wstring& directory,
                 PROCESS_INFORMATION& started, std::uint32_t* error) noexcept try {
    std::vector<wchar_t> writable = Writable(line);
    AccessControl::SecurityAttributes process(AccessControl::kProcess, false);
    AccessControl::SecurityAttributes thread(AccessControl::kDefault, false);
    STARTUPINFOW startup = StartupRecord(STARTF_USESHOWWINDOW, SW_HIDE);
    const BOOL succeeded =
        CreateProcessW(nullptr, writable.data(), process.ForCall(), thread.ForCall(), FALSE,
                       CREATE_NO_WINDOW | CREATE_NEW_PROCESS_GROUP, nullptr,
                       directory.empty() ? nullptr : directory.c_str(), &startup, &started);
    return succeeded != 0 || Fail(error, GetLastError());
} catch (...) {
    return Fail(error, ERROR_NOT_ENOUGH_MEMORY);
}

bool StartAsUser(HANDLE token, const std::wstring& line, void* environment,
                 PROCESS_INFORMATION& started, std::uint32_t* error) noexcept try {
    std::vector<wchar_t> writable = Writable(line);
    AccessControl::SecurityAttributes process(AccessControl::kProcess, false);
    // Without the flag that makes the system look at it, the show-window field changes nothing.
    STARTUPINFOW startup = StartupRecord(0, SW_SHOW);
    const BOOL succeeded =
        CreateProcessAsUserW(token, nullptr, writable.data(), process.ForCall(), nullptr, FALSE,
                             CREATE_UNICODE_ENVIRONMENT | CREATE_NEW_PROCESS_GROUP, environment,
                             nullptr, &startup, &started);
    return succeeded != 0 || Fail(error, GetLastError());
} catch (...) {
    return Fail(error, ERROR_NOT_ENOUGH_MEMORY);
}

bool WaitForEnd(HANDLE process, DWORD limitMs, std::uint32_t* error) {
    const DWORD result = WaitForSingleObject(process, limitMs);
    if (result == WAIT_OBJECT_0)
        return Succeed(error);
    return Fail(error, result == WAIT_FAILED ? GetLastError() : result);
}

}  // namespace

bool InvokeProcess(const std::wstring& line, const std::wstring& directory,
                   std::uint32_t* error) noexcept {
    PROCESS_INFORMATION started = {};
    std::uint32_t code = ERROR_SUCCESS;
    if (!StartHidden(line, directory, started, &code)) {
        constexpr unsigned kNoExitCode = 0;
        WY_TRACE(LogLevel::kError,
                 L"KrCommon::Process::InvokeProcess() failed. ExitCode=0x%x,ErrorCode=0x%x",
                 kNoExitCode, code);
        return Fail(error, code);
    }
    const Child child(started);
    return Succeed(error);
}

bool InvokeProcessSynchForConsole(const std::wstring& line, const std::wstring& directory,
                                  std::uint32_t* exitCode, std::uint32_t* error) noexcept {
    if (exitCode != nullptr)
        *exitCode = 0;
    PROCESS_INFORMATION started = {};
    if (!StartHidden(line, directory, started, error))
        return false;
    const Child child(started);
    if (!WaitForEnd(child.Get(), INFINITE, error))
        return false;
    DWORD told = 0;
    if (GetExitCodeProcess(child.Get(), &told) == 0)
        return Fail(error, GetLastError());
    if (exitCode != nullptr)
        *exitCode = told;
    return Succeed(error);
}

bool InvokeProcessAsUser(void* token, const std::wstring& line, void* environment,
                         std::uint32_t waitMs, std::uint32_t* error) noexcept {
    PROCESS_INFORMATION started = {};
    if (!StartAsUser(token, line, environment, started, error))
        return false;
    const Child child(started);
    return waitMs != 0 ? WaitForEnd(child.Get(), waitMs, error) : Succeed(error);
}

bool GetProcessSessionId(std::uint32_t processId, std::uint32_t* session,
                         std::uint32_t* error) noexcept {
    Library::Function<BOOL WINAPI(DWORD, DWORD*)> ask;
    if (!ask.Find(L"kernel32.dll", "ProcessIdToSessionId", error))
        return false;
    DWORD told = 0;
    if (ask.Get()(processId, &told) == 0)
        return Fail(error, GetLastError());
    *session = told;
    return Succeed(error);
}

}  // namespace KrCommon::Process
