#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "wyctl/Terminal.h"

// Collects what a command writes. Ctrl+C comes at the wait that the test names.
class FakeTerminal : public WyCtl::Terminal {
public:
    void Out(std::string_view text) override { out += text; }
    void Err(std::string_view text) override { err += text; }
    bool OutTakesColors() const override { return colors; }
    bool ErrIsInteractive() const override { return interactive; }
    std::optional<std::string> ReadSecret(std::string_view text) override {
        prompt = text;
        return secret;
    }
    bool WaitForInterrupt(std::uint32_t milliseconds) override {
        lastWait = milliseconds;
        ++waits;
        if (onWait) {
            onWait(waits);
        }
        return waits >= interruptAtWait;
    }

    std::string out;
    std::string err;
    std::optional<std::string> secret;  // what a person types; none: there is no person
    std::string prompt;                 // of the last question
    bool colors = false;
    bool interactive = false;
    std::uint32_t waits = 0;
    std::uint32_t interruptAtWait = UINT32_MAX;
    std::uint32_t lastWait = 0;
    std::function<void(std::uint32_t wait)> onWait;  // what happens meanwhile; waits count from 1
};
