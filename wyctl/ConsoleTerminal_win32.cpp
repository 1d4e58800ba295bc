#include "wyctl/ConsoleTerminal_win32.h"

#include <algorithm>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "Common/KrCommon/KrComn_Wipe.h"
#include "wyctl/Errors.h"

namespace WyCtl {

namespace {

// Signalled for good by the first Ctrl+C; made before the handler that sets it.
HANDLE g_hInterrupt = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        return FALSE;
    }
    SetEvent(g_hInterrupt);
    return TRUE;
}

bool IsConsole(HANDLE handle) {
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != FALSE;
}

// Pieces stay below the size that old consoles can take in one call.
constexpr std::size_t kConsolePiece = 8000;
constexpr std::size_t kFilePiece = 1U << 20;
// More than anyone types in a line.
constexpr DWORD kSecretSize = 1024;

void WriteConsoleText(HANDLE handle, std::string_view text) {
    const std::wstring whole = KrCommon::String::FromUtf8(text);
    std::wstring_view wide = whole;
    while (!wide.empty()) {
        DWORD written = 0;
        const auto piece = static_cast<DWORD>(std::min(wide.size(), kConsolePiece));
        if (WriteConsoleW(handle, wide.data(), piece, &written, nullptr) == FALSE || written == 0) {
            return;
        }
        wide.remove_prefix(written);
    }
}

void WriteBytes(HANDLE handle, std::string_view text) {
    while (!text.empty()) {
        DWORD written = 0;
        const auto piece = static_cast<DWORD>(std::min(text.size(), kFilePiece));
        if (WriteFile(handle, text.data(), piece, &written, nullptr) == FALSE || written == 0) {
            return;
        }
        text.remove_prefix(written);
    }
}

void WriteText(HANDLE handle, std::string_view text) {
    if (IsConsole(handle)) {
        WriteConsoleText(handle, text);
    } else {
        WriteBytes(handle, text);
    }
}

}  // namespace

ConsoleTerminal::ConsoleTerminal()
    : m_hOut(GetStdHandle(STD_OUTPUT_HANDLE)), m_hErr(GetStdHandle(STD_ERROR_HANDLE)) {
    g_hInterrupt = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    // A parent may have switched Ctrl+C off for its children.
    SetConsoleCtrlHandler(nullptr, FALSE);
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

ConsoleTerminal::~ConsoleTerminal() {
    // The event stays: the handler may still be running on its own thread.
    SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
}

void ConsoleTerminal::Out(std::string_view text) {
    WriteText(m_hOut, text);
}

void ConsoleTerminal::Err(std::string_view text) {
    WriteText(m_hErr, text);
}

bool ConsoleTerminal::OutTakesColors() const {
    // Old consoles refuse the mode, and would show the sequences as text.
    DWORD mode = 0;
    return GetConsoleMode(m_hOut, &mode) != FALSE &&
           SetConsoleMode(m_hOut, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

bool ConsoleTerminal::ErrIsInteractive() const {
    return IsConsole(m_hErr);
}

std::optional<std::string> ConsoleTerminal::ReadSecret(std::string_view prompt) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(input, &mode) == FALSE ||
        SetConsoleMode(input, (mode | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT) &
                                  ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) == FALSE) {
        return std::nullopt;
    }
    Err(prompt);
    wchar_t line[kSecretSize];
    const KrCommon::WipeAtEnd wipe(line, sizeof line);
    DWORD length = 0;
    const BOOL read = ReadConsoleW(input, line, kSecretSize, &length, nullptr);
    SetConsoleMode(input, mode);
    Err("\n");
    // Ctrl+C ends the reading before its handler has run.
    if (read == FALSE || length == 0 || WaitForInterrupt(0)) {
        throw Cancelled("no password was given");
    }
    std::wstring_view text(line, length);
    text = text.substr(0, text.find_first_of(L"\r\n"));
    return KrCommon::String::ToUtf8(text);
}

bool ConsoleTerminal::WaitForInterrupt(std::uint32_t milliseconds) {
    return WaitForSingleObject(g_hInterrupt, milliseconds) == WAIT_OBJECT_0;
}

}  // namespace WyCtl
