#pragma once

// Looks at the machine once a second, so that loads and speeds are those of the last second
// whoever asks and however often.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "devhost/IdleHistory.h"
#include "devhost/SystemProbe.h"

namespace DevHost {

// The figures of the last look.
struct Measurements {
    std::uint32_t cpuPercent = 0;
    // Bytes per second; nothing when the machine has no figures of its disks.
    std::optional<DiskCounters> diskSpeed;
    std::uint64_t received = 0;      // bytes since the host started
    std::uint64_t sent = 0;          // bytes since the host started
    std::uint64_t receiveSpeed = 0;  // bytes per second
    std::uint64_t sendSpeed = 0;     // bytes per second
};

// Any thread may ask.
class Sampler {
public:
    explicit Sampler(SystemProbe& probe) : m_Probe(probe) {}
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;
    ~Sampler();

    // Takes the first look and starts the thread that takes the others.
    void Start();
    void Stop();

    // One look, `elapsed` after the one before it. The thread calls this; tests do too.
    void Look(std::chrono::milliseconds elapsed);

    Measurements Get() const;
    std::optional<std::int64_t> FindIdle(std::uint32_t duration, std::uint32_t period) const;

private:
    void Run();
    void LookAtCpu();
    void LookAtDisks(std::uint64_t elapsedMs);
    void LookAtNetwork(std::uint64_t elapsedMs);

    SystemProbe& m_Probe;
    mutable std::mutex m_Mutex;
    std::condition_variable m_Wake;
    bool m_bStop = false;
    std::thread m_Thread;

    Measurements m_Current;
    IdleHistory m_IdleHistory;
    CpuTimes m_LastCpu;
    std::optional<DiskCounters> m_LastDisks;
    bool m_bDisksCounted = true;  // a machine that does not count them is not asked again
    std::map<std::uint32_t, NetworkCounters> m_mapLastNetwork;  // by interface
};

}  // namespace DevHost
