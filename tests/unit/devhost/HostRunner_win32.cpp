#include "unit/devhost/HostRunner.h"

#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/HostProcess.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_server.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

constexpr DWORD kPatienceMs = 30'000;

std::wstring UniqueName(const wchar_t* what) {
    static unsigned s_uiCount = 0;
    return std::wstring(what) + L"." + std::to_wstring(GetCurrentProcessId()) + L"." +
           std::to_wstring(++s_uiCount);
}

std::wstring HostProgram() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return (std::filesystem::path(path).parent_path() / L"WySvcHost.exe").wstring();
}

}  // namespace

struct HostRunner::State {
    std::filesystem::path output;
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

    std::vector<std::wstring> all = {
        HostProgram(),    L"--mode",   std::to_wstring(mode),
        L"--ready-event", readyName,   L"--stop-event",
        stopName,         L"--parent", std::to_wstring(GetCurrentProcessId())};
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
    if (!WaitForEnd().has_value())
        Kill();
    CloseHandle(m_pState->process.hThread);
    CloseHandle(m_pState->process.hProcess);
    CloseHandle(m_pState->ready);
    CloseHandle(m_pState->stop);
    std::error_code ignored;
    std::filesystem::remove(m_pState->output, ignored);
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
    std::ifstream file(m_pState->output, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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

TemporaryTree::TemporaryTree() {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / UniqueName(L"WyHostTree");
    std::filesystem::create_directories(path);
    m_strPath = path.wstring();
}

TemporaryTree::~TemporaryTree() {
    std::error_code ignored;
    std::filesystem::remove_all(m_strPath, ignored);
}

std::wstring TemporaryTree::Write(const std::wstring& name, const std::string& content) const {
    const std::filesystem::path path = std::filesystem::path(m_strPath) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path.wstring();
}

std::wstring JsonEscape(const std::wstring& text) {
    std::wstring escaped;
    for (const wchar_t character : text) {
        if (character == L'\\' || character == L'"')
            escaped += L'\\';
        escaped += character;
    }
    return escaped;
}
