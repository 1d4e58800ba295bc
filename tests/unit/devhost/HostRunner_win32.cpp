#include "unit/devhost/HostRunner.h"

#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/HostProcess.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_server.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

constexpr DWORD kPatienceMs = 30'000;
constexpr DWORD kIntervalMs = 20;

std::wstring UniqueName(const wchar_t* what) {
    static unsigned s_uiCount = 0;
    return std::wstring(what) + L"." + std::to_wstring(GetCurrentProcessId()) + L"." +
           std::to_wstring(++s_uiCount);
}

std::wstring ProgramBeside(const wchar_t* name) {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return (std::filesystem::path(path).parent_path() / name).wstring();
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Waits until no host of the mode has the place that each of them holds to its end.
void WaitUntilPlaceIsFree(int mode) {
    const std::wstring name = std::wstring(L"Global\\WySvcHost.DevelopmentHost.") +
                              (mode == 0 ? L"Wyvarion" : L"Tavrenox");
    for (DWORD waited = 0; waited < kPatienceMs; waited += kIntervalMs) {
        const HANDLE place = OpenMutexW(SYNCHRONIZE, FALSE, name.c_str());
        if (place == nullptr)
            return;
        CloseHandle(place);
        Sleep(kIntervalMs);
    }
    std::fprintf(stderr, "a host of mode %d does not end\n", mode);
}

}  // namespace

struct HostRunner::State {
    int mode = 0;
    std::filesystem::path output;
    std::filesystem::path log;
    HANDLE ready = nullptr;
    HANDLE stop = nullptr;
    PROCESS_INFORMATION process{};
};

HostRunner::HostRunner(const std::vector<std::wstring>& arguments, int mode)
    : m_pState(std::make_unique<State>()) {
    const std::wstring readyName = UniqueName(L"WyHostReady");
    const std::wstring stopName = UniqueName(L"WyHostStop");
    m_pState->ready = CreateEventW(nullptr, TRUE, FALSE, readyName.c_str());
    m_pState->stop = CreateEventW(nullptr, TRUE, FALSE, stopName.c_str());
    m_pState->output =
        std::filesystem::temp_directory_path() / (UniqueName(L"WyHostOutput") + L".txt");

    m_pState->log = std::filesystem::temp_directory_path() / (UniqueName(L"WyHostLog") + L".txt");
    m_pState->mode = mode;

    std::vector<std::wstring> all = {ProgramBeside(L"WySvcHost.exe"),
                                     L"--mode",
                                     std::to_wstring(mode),
                                     L"--ready-event",
                                     readyName,
                                     L"--stop-event",
                                     stopName};
    const auto add = [&](const wchar_t* name, const std::wstring& value) {
        if (std::find(arguments.begin(), arguments.end(), name) != arguments.end())
            return;
        all.emplace_back(name);
        all.push_back(value);
    };
    add(L"--parent", std::to_wstring(GetCurrentProcessId()));
    add(L"--log", m_pState->log.wstring());
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::wstring commandLine;
    for (const std::wstring& argument : all) {
        if (!commandLine.empty())
            commandLine += L" ";
        commandLine += DevHost::QuoteArgument(argument);
    }
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const HANDLE output = CreateFileW(m_pState->output.c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      &inheritable, CREATE_ALWAYS, 0, nullptr);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = output;
    CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                   &startup, &m_pState->process);
    CloseHandle(output);
}

HostRunner::~HostRunner() {
    RequestStop();
    if (!WaitForEnd().has_value()) {
        std::fprintf(stderr, "the host does not end; its log:\n%s\n", Log().c_str());
        Kill();
    }
    // A host that never listened never had the place.
    if (WaitForSingleObject(m_pState->ready, 0) == WAIT_OBJECT_0)
        WaitUntilPlaceIsFree(m_pState->mode);
    CloseHandle(m_pState->process.hThread);
    CloseHandle(m_pState->process.hProcess);
    CloseHandle(m_pState->ready);
    CloseHandle(m_pState->stop);
    std::error_code ignored;
    std::filesystem::remove(m_pState->output, ignored);
    std::filesystem::remove(m_pState->log, ignored);
}

bool HostRunner::WaitUntilReady() {
    const HANDLE either[] = {m_pState->ready, m_pState->process.hProcess};
    return WaitForMultipleObjects(2, either, FALSE, kPatienceMs) == WAIT_OBJECT_0;
}

bool HostRunner::WaitForSuccessor() {
    if (!WaitForEnd().has_value())
        return false;
    // The host set the event before it ended, so it counts from here on only.
    ResetEvent(m_pState->ready);
    return WaitForSingleObject(m_pState->ready, kPatienceMs) == WAIT_OBJECT_0;
}

void HostRunner::RequestStop() {
    SetEvent(m_pState->stop);
}

std::optional<std::uint32_t> HostRunner::WaitForEnd() {
    DWORD status = 0;
    if (WaitForSingleObject(m_pState->process.hProcess, kPatienceMs) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(m_pState->process.hProcess, &status)) {
        return std::nullopt;
    }
    return status;
}

void HostRunner::Kill() {
    TerminateProcess(m_pState->process.hProcess, 1);
    WaitForSingleObject(m_pState->process.hProcess, kPatienceMs);
}

std::uint32_t HostRunner::ProcessId() const {
    return m_pState->process.dwProcessId;
}

std::string HostRunner::Output() const {
    return ReadFile(m_pState->output);
}

std::string HostRunner::Log() const {
    return ReadFile(m_pState->log);
}

CKrRpcClientHelper& HostClient::Helper() {
    // The identity is that of mode 0; the helper goes with the process.
    static CKrRpcClientHelper* const s_pHelper = [] {
        Frwk::Mode::SetWyvarionId(L"Wyvarion");
        CRPCClient::ReadMode();
        CRPCServer::ReadMode();
        return new CKrRpcClientHelper(ProductIdentity::kProductNumber,
                                      ProductIdentity::kProductIdString, 0, false,
                                      ProductIdentity::kTimeout);
    }();
    return *s_pHelper;
}

CallResult HostClient::Mail(std::uint32_t destination, std::uint32_t mailId,
                            const std::wstring& json) {
    JsonDocument input;
    input.Parse(json);
    CallResult call;
    call.result = Helper().SendMail2ProductPlugin(destination, mailId, input, call.answer, false);
    if (call.answer.isMember("retCode"))
        call.retCode = call.answer["retCode"].AsUInt32();
    return call;
}

CallResult HostClient::Call(std::uint32_t apiId, const std::wstring& json) {
    return Mail(MailDestination::kApiCall, apiId, json);
}

std::uint32_t HostClient::CallApart(std::uint32_t apiId) {
    const std::filesystem::path answer =
        std::filesystem::temp_directory_path() / (UniqueName(L"WyHostAnswer") + L".txt");
    std::wstring commandLine = DevHost::QuoteArgument(ProgramBeside(L"devhostCaller.exe")) + L" " +
                               std::to_wstring(apiId) + L" " +
                               DevHost::QuoteArgument(answer.wstring());
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return 0;
    }
    WaitForSingleObject(process.hProcess, kPatienceMs);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    const std::string text = ReadFile(answer);
    std::error_code ignored;
    std::filesystem::remove(answer, ignored);
    return text.empty() ? 0 : static_cast<std::uint32_t>(std::stoul(text));
}
