#pragma once

#include "wyctl/Terminal.h"

namespace WyCtl {

// The console of this process, or whatever its output was redirected to.
//
// A console gets wide text (WriteConsoleW), so that its code page plays no part; files and pipes
// get UTF-8. One instance per process: it installs the handler of Ctrl+C and Ctrl+Break
// (SetConsoleCtrlHandler), which from then on do not end the process.
class ConsoleTerminal : public Terminal {
public:
    ConsoleTerminal();
    ~ConsoleTerminal() override;

    void Out(std::string_view text) override;
    void Err(std::string_view text) override;
    bool OutTakesColors() const override;
    bool ErrIsInteractive() const override;
    std::optional<std::string> ReadSecret(std::string_view prompt) override;
    bool WaitForInterrupt(std::uint32_t milliseconds) override;

private:
    void* m_hOut;
    void* m_hErr;
};

}  // namespace WyCtl
