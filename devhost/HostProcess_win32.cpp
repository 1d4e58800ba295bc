#include "devhost/HostProcess.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/HostServer.h"

#include <shellapi.h>

#include <algorithm>
#include <cstdio>

namespace DevHost {

namespace {

constexpr const char* kLogSource = "HostProcess";
constexpr const wchar_t* kLogModule = L"WySvcHost";

constexpr DWORD kPredecessorPatienceMs = 30'000;
constexpr DWORD kPlacePatienceMs = 5'000;
constexpr DWORD kPlaceIntervalMs = 50;
constexpr DWORD kStopByConsoleMs = 10'000;

using KrCommon::String::FromUtf8;
using KrCommon::String::ToUtf8;

// Set by the console's thread. Both live as long as the process.
HANDLE g_hConsoleStop = nullptr;
HANDLE g_hStopped = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD event) {
    SetEvent(g_hConsoleStop);
    // The system ends the process when this returns from a closing window or a log-off.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        WaitForSingleObject(g_hStopped, kStopByConsoleMs);
    }
    return TRUE;
}

void Close(HANDLE& handle) {
    if (handle != nullptr)
        CloseHandle(handle);
    handle = nullptr;
}

std::wstring ProgramPath() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

}  // namespace

struct HostProcess::Handles {
    HANDLE place = nullptr;
    HANDLE ready = nullptr;
    HANDLE stop = nullptr;
    HANDLE parent = nullptr;
    HANDLE restart = nullptr;
};

HostProcess::HostProcess() : m_pHandles(std::make_unique<Handles>()) {
    g_hConsoleStop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_hStopped = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    m_pHandles->restart = CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

HostProcess::~HostProcess() {
    Close(m_pHandles->ready);
    Close(m_pHandles->stop);
    Close(m_pHandles->parent);
    Close(m_pHandles->restart);
    // The place is given up by the end of the process and not before: the endpoint lasts as long,
    // and a successor must not share it.
    SetEvent(g_hStopped);
}

bool HostProcess::TakePlace(const std::wstring& productId,
                            std::optional<std::uint32_t> predecessor) {
    const std::wstring name = L"Global\\WySvcHost.DevelopmentHost." + productId;
    DWORD patience = 0;
    if (predecessor.has_value()) {
        HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, *predecessor);
        if (process != nullptr)
            WaitForSingleObject(process, kPredecessorPatienceMs);
        Close(process);
        patience = kPlacePatienceMs;
    }
    // The place of a process that has ended may be taken a moment longer than it lives.
    for (DWORD waited = 0;; waited += kPlaceIntervalMs) {
        m_pHandles->place = CreateMutexW(nullptr, TRUE, name.c_str());
        if (m_pHandles->place != nullptr && GetLastError() != ERROR_ALREADY_EXISTS)
            return true;
        Close(m_pHandles->place);
        if (waited >= patience)
            return false;
        Sleep(kPlaceIntervalMs);
    }
}

bool HostProcess::Prepare(const HostOptions& options, std::string& error) {
    m_RunSeconds = options.runSeconds;
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    if (!options.readyEvent.empty()) {
        m_pHandles->ready =
            CreateEventW(nullptr, TRUE, FALSE, FromUtf8(options.readyEvent).c_str());
        if (m_pHandles->ready == nullptr) {
            error = "cannot make the event of --ready-event";
            return false;
        }
    }
    if (!options.stopEvent.empty()) {
        m_pHandles->stop = CreateEventW(nullptr, TRUE, FALSE, FromUtf8(options.stopEvent).c_str());
        if (m_pHandles->stop == nullptr) {
            error = "cannot make the event of --stop-event";
            return false;
        }
    }
    if (options.parentId.has_value()) {
        m_pHandles->parent = OpenProcess(SYNCHRONIZE, FALSE, *options.parentId);
        if (m_pHandles->parent == nullptr) {
            error = "the process of --parent does not run";
            return false;
        }
    }
    return true;
}

void HostProcess::AnnounceReady() {
    std::puts("ready");
    std::fflush(stdout);
    if (m_pHandles->ready != nullptr)
        SetEvent(m_pHandles->ready);
}

HostProcess::Reason HostProcess::WaitFor(std::uint32_t milliseconds) {
    std::vector<HANDLE> handles = {g_hConsoleStop, m_pHandles->restart};
    if (m_pHandles->stop != nullptr)
        handles.push_back(m_pHandles->stop);
    if (m_pHandles->parent != nullptr)
        handles.push_back(m_pHandles->parent);
    const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(),
                                                FALSE, milliseconds);
    if (result == WAIT_TIMEOUT)
        return Reason::kTime;
    if (result >= handles.size())
        return Reason::kAsked;
    if (handles[result] == m_pHandles->restart)
        return Reason::kRestart;
    if (handles[result] == m_pHandles->parent)
        return Reason::kParentGone;
    return Reason::kAsked;
}

HostProcess::Reason HostProcess::Wait() {
    if (!m_RunSeconds.has_value())
        return WaitFor(INFINITE);
    return WaitFor(static_cast<DWORD>(
        std::min<std::uint64_t>(std::uint64_t{*m_RunSeconds} * 1000, INFINITE - 1)));
}

bool HostProcess::StayAway(std::uint32_t milliseconds) {
    return WaitFor(milliseconds) == Reason::kTime;
}

void HostProcess::RequestStop() {
    SetEvent(g_hConsoleStop);
}

void HostProcess::RequestRestart() {
    SetEvent(m_pHandles->restart);
}

void HostProcess::Crash() {
    WY_LOG_WARN << L"crash by fault script";
    TerminateProcess(GetCurrentProcess(), ExitStatus::kCrashByScript);
    for (;;)
        Sleep(INFINITE);  // the process ends before this returns
}

bool HostProcess::StartSuccessor(const std::vector<std::string>& arguments) {
    const std::wstring program = ProgramPath();
    std::wstring commandLine = QuoteArgument(program);
    for (const std::string& argument : arguments) {
        commandLine += L" " + QuoteArgument(FromUtf8(argument));
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                        nullptr, &startup, &process)) {
        WY_LOG_ERROR << L"cannot start a successor, error " << GetLastError();
        return false;
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

std::uint64_t HostProcess::DuplicateInto(std::uint32_t processId) {
    HANDLE client = OpenProcess(PROCESS_DUP_HANDLE, FALSE, processId);
    if (client == nullptr) {
        WY_LOG_WARN << L"cannot open process " << processId << L", error " << GetLastError();
        return kNoHandle;
    }
    HANDLE duplicate = nullptr;
    const BOOL done = DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), client, &duplicate,
                                      SYNCHRONIZE, FALSE, 0);
    Close(client);
    return done ? static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(duplicate))
                : kNoHandle;
}

std::vector<std::string> OwnArguments() {
    std::vector<std::string> arguments;
    int count = 0;
    LPWSTR* const list = CommandLineToArgvW(GetCommandLineW(), &count);
    if (list == nullptr)
        return arguments;
    for (int i = 1; i < count; ++i)
        arguments.push_back(ToUtf8(list[i]));
    LocalFree(list);
    return arguments;
}

std::wstring QuoteArgument(const std::wstring& argument) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : argument) {
        if (character == L'\\') {
            ++backslashes;
            continue;
        }
        // Backslashes count double in front of a quote, and only there.
        quoted.append(character == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
        backslashes = 0;
        quoted += character;
    }
    quoted.append(backslashes * 2, L'\\');
    return quoted + L"\"";
}

}  // namespace DevHost
