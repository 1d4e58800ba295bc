#pragma once

// Programs started by a test, with their output kept in files.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

// The name of every folder that a test makes: not plain ASCII, with blanks.
constexpr const wchar_t* kTestFolder = L"wy e2e \u00e4\u20ac";

// What a program that has ended left behind.
struct ProgramResult {
    std::uint32_t exitCode = 0;
    std::string out;  // UTF-8
    std::string err;
};

// One running program; ended by force with the object unless it was waited for.
class ChildProcess {
public:
    // Where the program gets Ctrl+C from. A console of its own is invisible (CREATE_NO_WINDOW).
    enum class Console { Shared, Own };

    // Starts a program that lies beside the test. `arguments` are quoted as needed; `input`
    // becomes standard input.
    ChildProcess(const std::wstring& program, const std::vector<std::wstring>& arguments,
                 const std::string& input = "", Console console = Console::Shared);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    bool IsRunning() const;
    // What the program has written so far.
    std::string Out() const;
    std::string Err() const;
    // Waits until Err() contains the text; false when it ended or the time (30 s) is over first.
    bool WaitForErr(const std::string& text) const;
    // The same with Out().
    bool WaitForOut(const std::string& text) const;
    // Presses Ctrl+C on the console that the program has for itself (GenerateConsoleCtrlEvent).
    bool Interrupt() const;
    // Waits at most 100 seconds. The exit code is 0xdeadbeef when the program had to be ended.
    ProgramResult Wait();

private:
    bool WaitForText(const std::filesystem::path& file, const std::string& text) const;

    void* m_hProcess = nullptr;
    std::uint32_t m_uiId = 0;
    test_support::TemporaryFolder m_Folder{kTestFolder};
};

// Runs wyctl.exe to its end.
ProgramResult Wyctl(const std::vector<std::wstring>& arguments, const std::string& input = "");

std::string ReadTextFile(const std::filesystem::path& file);
void WriteBytes(const std::filesystem::path& file, const std::string& bytes);
