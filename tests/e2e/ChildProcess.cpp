#include "e2e/ChildProcess.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/RunProgram.h"

namespace {

constexpr DWORD kLongestRunMs = 100'000;
constexpr int kTextPolls = 600;
constexpr DWORD kTextPollMs = 50;

// The rules by which CommandLineToArgvW takes a command line apart.
std::wstring Quoted(const std::wstring& argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        text.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        text += c;
        backslashes = 0;
    }
    text.append(2 * backslashes, L'\\');
    return text + L"\"";
}

HANDLE OpenInheritable(const std::filesystem::path& file, DWORD access, DWORD disposition) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    const HANDLE handle =
        CreateFileW(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    &inherit, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("cannot open a file for a program's output");
    }
    return handle;
}

// The test program survives what it sends.
BOOL WINAPI IgnoreConsoleEvent(DWORD) {
    return TRUE;
}

}  // namespace

ChildProcess::ChildProcess(const std::wstring& program, const std::vector<std::wstring>& arguments,
                           const std::string& input, Console console) {
    std::wstring command = Quoted((test_support::ProgramFolder() / program).wstring());
    for (const std::wstring& argument : arguments) {
        command += L" " + Quoted(argument);
    }
    WriteBytes(m_Folder.Path() / "in", input);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = OpenInheritable(m_Folder.Path() / "in", GENERIC_READ, OPEN_EXISTING);
    startup.hStdOutput = OpenInheritable(m_Folder.Path() / "out", GENERIC_WRITE, CREATE_ALWAYS);
    startup.hStdError = OpenInheritable(m_Folder.Path() / "err", GENERIC_WRITE, CREATE_ALWAYS);
    PROCESS_INFORMATION process{};
    const BOOL created = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE,
                                        console == Console::Own ? CREATE_NO_WINDOW : 0, nullptr,
                                        nullptr, &startup, &process);
    CloseHandle(startup.hStdInput);
    CloseHandle(startup.hStdOutput);
    CloseHandle(startup.hStdError);
    if (created == FALSE) {
        throw std::runtime_error("cannot start a program");
    }
    CloseHandle(process.hThread);
    m_hProcess = process.hProcess;
    m_uiId = process.dwProcessId;
}

ChildProcess::~ChildProcess() {
    if (IsRunning()) {
        TerminateProcess(m_hProcess, 1);
        WaitForSingleObject(m_hProcess, kLongestRunMs);
    }
    CloseHandle(m_hProcess);
}

bool ChildProcess::IsRunning() const {
    return WaitForSingleObject(m_hProcess, 0) == WAIT_TIMEOUT;
}

std::string ChildProcess::Out() const {
    return ReadTextFile(m_Folder.Path() / "out");
}

std::string ChildProcess::Err() const {
    return ReadTextFile(m_Folder.Path() / "err");
}

bool ChildProcess::WaitForText(const std::filesystem::path& file, const std::string& text) const {
    for (int i = 0; i < kTextPolls; ++i) {
        const bool running = IsRunning();
        if (ReadTextFile(file).find(text) != std::string::npos) {
            return true;
        }
        if (!running) {
            return false;
        }
        Sleep(kTextPollMs);
    }
    return false;
}

bool ChildProcess::WaitForErr(const std::string& text) const {
    return WaitForText(m_Folder.Path() / "err", text);
}

bool ChildProcess::WaitForOut(const std::string& text) const {
    return WaitForText(m_Folder.Path() / "out", text);
}

bool ChildProcess::Interrupt() const {
    // An event reaches all processes of the sender's console, so the test joins the program's for
    // a moment. Named groups are no way: Ctrl+C is off in them.
    SetConsoleCtrlHandler(IgnoreConsoleEvent, TRUE);
    FreeConsole();
    const bool sent =
        AttachConsole(m_uiId) != FALSE && GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE;
    FreeConsole();
    AttachConsole(ATTACH_PARENT_PROCESS);
    return sent;
}

ProgramResult ChildProcess::Wait() {
    ProgramResult result;
    if (WaitForSingleObject(m_hProcess, kLongestRunMs) == WAIT_OBJECT_0) {
        DWORD code = 0;
        GetExitCodeProcess(m_hProcess, &code);
        result.exitCode = code;
    } else {
        TerminateProcess(m_hProcess, 1);
        result.exitCode = 0xdeadbeef;
    }
    result.out = Out();
    result.err = Err();
    return result;
}

ProgramResult Wyctl(const std::vector<std::wstring>& arguments, const std::string& input) {
    return ChildProcess(L"wyctl.exe", arguments, input).Wait();
}

std::string ReadTextFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    std::erase(text, '\r');
    return text;
}

void WriteBytes(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}
