#include "support/ServiceHost.h"

#include <stdexcept>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/RunProgram.h"

namespace test_support {

namespace {

constexpr DWORD kPatienceMs = 30000;

std::wstring NewName() {
    static unsigned s_uiCount = 0;
    return L"abi-test-host." + std::to_wstring(GetCurrentProcessId()) + L"." +
           std::to_wstring(++s_uiCount);
}

}  // namespace

ServiceHost::ServiceHost(const std::wstring& faults, int mode, const std::wstring& log)
    : m_strName(NewName()),
      m_hReady(CreateEventW(nullptr, TRUE, FALSE, (m_strName + L".ready").c_str())),
      m_hStop(CreateEventW(nullptr, TRUE, FALSE, (m_strName + L".stop").c_str())) {
    Start(faults, mode, log);
    const HANDLE either[] = {m_hReady, m_hProcess};
    if (WaitForMultipleObjects(2, either, FALSE, kPatienceMs) != WAIT_OBJECT_0)
        throw std::runtime_error("the service host does not come up");
}

ServiceHost::~ServiceHost() {
    SetEvent(m_hStop);
    if (!WaitForEnd(kPatienceMs).has_value())
        Kill();
    CloseHandle(m_hProcess);
    CloseHandle(m_hReady);
    CloseHandle(m_hStop);
}

void ServiceHost::Start(const std::wstring& faults, int mode, const std::wstring& log) {
    std::wstring commandLine =
        L"\"" + (ProgramFolder() / L"WySvcHost.exe").wstring() + L"\" --ready-event " + m_strName +
        L".ready --stop-event " + m_strName + L".stop --parent " +
        std::to_wstring(GetCurrentProcessId()) + L" --mode " + std::to_wstring(mode);
    // Scripts hold no quotation marks but in JSON texts, where the host's own reader needs them
    // doubled by a backslash.
    if (!faults.empty()) {
        commandLine += L" --fault \"";
        for (const wchar_t c : faults)
            commandLine += c == L'"' ? std::wstring(L"\\\"") : std::wstring(1, c);
        commandLine += L"\"";
    }
    if (!log.empty())
        commandLine += L" --log \"" + log + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        throw std::runtime_error("WySvcHost.exe cannot be started, error " +
                                 std::to_string(GetLastError()));
    }
    CloseHandle(process.hThread);
    m_hProcess = process.hProcess;
    m_uiProcessId = process.dwProcessId;
}

void ServiceHost::Kill() {
    TerminateProcess(m_hProcess, 1);
    WaitForSingleObject(m_hProcess, kPatienceMs);
}

std::optional<std::uint32_t> ServiceHost::WaitForEnd(std::uint32_t milliseconds) {
    DWORD status = 0;
    if (WaitForSingleObject(m_hProcess, milliseconds) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(m_hProcess, &status))
        return std::nullopt;
    return status;
}

std::uint32_t ServiceHost::ProcessId() const {
    return m_uiProcessId;
}

}  // namespace test_support
