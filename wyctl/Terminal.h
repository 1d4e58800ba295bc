#pragma once

// Where a command writes and how it learns of Ctrl+C.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace WyCtl {

// All text is UTF-8 with "\n" at line ends. Used by one thread.
class Terminal {
public:
    Terminal() = default;
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    virtual ~Terminal() = default;

    // Results.
    virtual void Out(std::string_view text) = 0;
    // Progress, notes and errors.
    virtual void Err(std::string_view text) = 0;
    // True when what Out writes is shown on a screen that takes colour sequences (ECMA-48).
    virtual bool OutTakesColors() const = 0;
    // True when a person watches what Err writes.
    virtual bool ErrIsInteractive() const = 0;
    // Asks a person for one line that is not shown while it is typed; nothing when no person can
    // be asked. Raises Cancelled for Ctrl+C.
    virtual std::optional<std::string> ReadSecret(std::string_view prompt) = 0;
    // Waits, and returns true at once when Ctrl+C was pressed since the program's start.
    virtual bool WaitForInterrupt(std::uint32_t milliseconds) = 0;
};

}  // namespace WyCtl
