#pragma once

// Ends a test program when an operation does not come back.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

// 30 seconds for each operation, from one Restart() to the next.
class TimeLimit {
public:
    TimeLimit() : m_Thread([this] { Watch(); }) {}
    TimeLimit(const TimeLimit&) = delete;
    TimeLimit& operator=(const TimeLimit&) = delete;
    ~TimeLimit() {
        m_bDone = true;
        m_Thread.join();
    }

    void Restart() { m_uiTurns = 0; }

private:
    static constexpr unsigned kTurnMs = 100;
    static constexpr unsigned kTurns = 300;

    void Watch() {
        while (!m_bDone) {
            Sleep(kTurnMs);
            if (++m_uiTurns > kTurns) {
                std::printf("an operation does not return\n");
                std::fflush(stdout);
                std::_Exit(1);
            }
        }
    }

    std::atomic<unsigned> m_uiTurns{0};
    std::atomic<bool> m_bDone{false};
    std::thread m_Thread;
};

}  // namespace test_support
