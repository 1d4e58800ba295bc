#include "unit/devhost/ListenerRunner.h"

#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/HostProcess.h"

#include <filesystem>
#include <fstream>

namespace {

constexpr DWORD kPatienceMs = 30'000;
constexpr DWORD kEventPatienceMs = 20'000;
constexpr DWORD kIntervalMs = 20;

std::filesystem::path ProgramFile() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path() / L"devhostListener.exe";
}

}  // namespace

struct ListenerRunner::State {
    std::filesystem::path file;
    HANDLE ready = nullptr;
    HANDLE stop = nullptr;
    PROCESS_INFORMATION process{};
};

ListenerRunner::ListenerRunner(const std::wstring& name, const std::wstring& events)
    : m_pState(std::make_unique<State>()) {
    const std::wstring suffix = name + L"." + std::to_wstring(GetCurrentProcessId());
    const std::wstring readyName = L"WyListenerReady." + suffix;
    const std::wstring stopName = L"WyListenerStop." + suffix;
    m_pState->ready = CreateEventW(nullptr, TRUE, FALSE, readyName.c_str());
    m_pState->stop = CreateEventW(nullptr, TRUE, FALSE, stopName.c_str());
    m_pState->file = std::filesystem::temp_directory_path() / (L"WyListener." + suffix + L".txt");
    std::wstring commandLine = DevHost::QuoteArgument(ProgramFile().wstring());
    for (const std::wstring& argument :
         {name, events, readyName, stopName, m_pState->file.wstring()}) {
        commandLine += L" " + DevHost::QuoteArgument(argument);
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                   &startup, &m_pState->process);
}

ListenerRunner::~ListenerRunner() {
    Kill();
    CloseHandle(m_pState->process.hThread);
    CloseHandle(m_pState->process.hProcess);
    CloseHandle(m_pState->ready);
    CloseHandle(m_pState->stop);
    std::error_code ignored;
    std::filesystem::remove(m_pState->file, ignored);
}

bool ListenerRunner::WaitUntilReady() {
    const HANDLE either[] = {m_pState->ready, m_pState->process.hProcess};
    return WaitForMultipleObjects(2, either, FALSE, kPatienceMs) == WAIT_OBJECT_0;
}

std::optional<std::uint32_t> ListenerRunner::Close() {
    SetEvent(m_pState->stop);
    DWORD status = 0;
    if (WaitForSingleObject(m_pState->process.hProcess, kPatienceMs) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(m_pState->process.hProcess, &status)) {
        return std::nullopt;
    }
    return status;
}

void ListenerRunner::Kill() {
    TerminateProcess(m_pState->process.hProcess, 1);
    WaitForSingleObject(m_pState->process.hProcess, kPatienceMs);
}

std::uint32_t ListenerRunner::ProcessId() const {
    return m_pState->process.dwProcessId;
}

std::vector<std::string> ListenerRunner::Events() const {
    std::ifstream file(m_pState->file, std::ios::binary);
    std::vector<std::string> events;
    for (std::string line; std::getline(file, line);)
        events.push_back(line);
    return events;
}

bool ListenerRunner::WaitForEvents(std::size_t count) const {
    for (DWORD waited = 0; waited < kEventPatienceMs; waited += kIntervalMs) {
        if (Events().size() >= count)
            return true;
        Sleep(kIntervalMs);
    }
    return false;
}
