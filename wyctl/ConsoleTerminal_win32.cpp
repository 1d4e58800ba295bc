#include "wyctl/ConsoleTerminal_win32.h"

#include <algorithm>
#include <optional>
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
constexpr std::size_t kSecretSize = 1024;

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

// The next key that gives a character; nothing when Ctrl+C came first.
std::optional<wchar_t> NextCharacter(HANDLE input) {
    const HANDLE handles[] = {g_hInterrupt, input};
    while (WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
        INPUT_RECORD record;
        DWORD count = 0;
        if (ReadConsoleInputW(input, &record, 1, &count) == FALSE || count == 0) {
            break;
        }
        const KEY_EVENT_RECORD& key = record.Event.KeyEvent;
        if (record.EventType == KEY_EVENT && key.bKeyDown != FALSE &&
            key.uChar.UnicodeChar != L'\0') {
            return key.uChar.UnicodeChar;
        }
    }
    return std::nullopt;
}

// Takes what is typed up to the end of the line, key by key: read so, nothing is shown, and Ctrl+C
// ends it at once. Returns the length, nothing for Ctrl+C. Raises Failure for what does not fit.
std::optional<std::size_t> ReadKeys(HANDLE input, wchar_t (&line)[kSecretSize]) {
    std::size_t length = 0;
    for (;;) {
        const std::optional<wchar_t> key = NextCharacter(input);
        if (!key) {
            return std::nullopt;
        }
        if (*key == L'\r' || *key == L'\n') {
            return length;
        }
        if (*key == L'\b') {
            length -= length > 0 ? 1 : 0;
        } else if (length < kSecretSize) {
            line[length++] = *key;
        } else {
            throw Failure("so long a password must come from a file");
        }
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
    if (GetConsoleMode(input, &mode) == FALSE) {
        return std::nullopt;
    }
    Err(prompt);
    wchar_t line[kSecretSize];
    const KrCommon::WipeAtEnd wipe(line, sizeof line);
    const std::optional<std::size_t> length = ReadKeys(input, line);
    Err("\n");
    if (!length) {
        throw Cancelled("no password was given");
    }
    return KrCommon::String::ToUtf8(std::wstring_view(line, *length));
}

bool ConsoleTerminal::WaitForInterrupt(std::uint32_t milliseconds) {
    return WaitForSingleObject(g_hInterrupt, milliseconds) == WAIT_OBJECT_0;
}

}  // namespace WyCtl
