#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "wyctl/Terminal.h"

// Collects what a command writes. Ctrl+C comes at the wait that the test names.
class FakeTerminal : public WyCtl::Terminal {
public:
    void Out(std::string_view text) override { out += text; }
    void Err(std::string_view text) override { err += text; }
    bool OutTakesColors() const override { return colors; }
    bool ErrIsInteractive() const override { return interactive; }
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
    bool colors = false;
    bool interactive = false;
    std::uint32_t waits = 0;
    std::uint32_t interruptAtWait = UINT32_MAX;
    std::uint32_t lastWait = 0;
    std::function<void(std::uint32_t wait)> onWait;  // what happens meanwhile; waits count from 1
};
