#pragma once

// The machine as the host sees it. Windows stands behind it; tests put a machine of their own
// there.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace DevHost {

// Processor time of all processors since the start of the machine, in one unit.
struct CpuTimes {
    std::uint64_t idle = 0;
    std::uint64_t total = 0;
};

struct MemoryFigures {
    std::uint64_t total = 0;  // bytes
    std::uint64_t available = 0;
};

// Bytes of all disks since some moment in the past.
struct DiskCounters {
    std::uint64_t read = 0;
    std::uint64_t written = 0;
};

// One network interface that is no loopback. The counters run over at 2^32.
struct NetworkCounters {
    std::uint32_t index = 0;
    std::uint32_t received = 0;
    std::uint32_t sent = 0;
};

struct PowerFigures {
    bool onMains = false;
    bool hasBattery = false;
    std::optional<std::uint32_t> percent;           // of the battery
    std::optional<std::uint32_t> remainingSeconds;  // of the battery
    bool charging = false;
};

struct ProcessFacts {
    std::uint32_t processId = 0;
    std::uint32_t parentId = 0;
    std::uint32_t threads = 0;
    std::string name;  // of the executable, without folder; UTF-8
    // Below: only with details, and zero or empty where the system refuses them.
    std::string path;
    std::uint64_t workingSet = 0;  // bytes
    std::uint64_t cpuMilliseconds = 0;
    std::int64_t started = 0;  // Unix time in seconds
    std::uint32_t session = 0;
};

// All operations may run on any thread and raise nothing but std::bad_alloc. What the machine
// does not tell is absent.
class SystemProbe {
public:
    SystemProbe() = default;
    SystemProbe(const SystemProbe&) = delete;
    SystemProbe& operator=(const SystemProbe&) = delete;
    virtual ~SystemProbe() = default;

    virtual std::optional<CpuTimes> ReadCpuTimes() = 0;                 // GetSystemTimes
    virtual std::optional<MemoryFigures> ReadMemory() = 0;              // GlobalMemoryStatusEx
    virtual std::optional<DiskCounters> ReadDisks() = 0;                // IOCTL_DISK_PERFORMANCE
    virtual std::vector<NetworkCounters> ReadNetwork() = 0;             // GetIfTable
    virtual std::optional<PowerFigures> ReadPower() = 0;                // GetSystemPowerStatus
    virtual std::vector<ProcessFacts> ReadProcesses(bool details) = 0;  // toolhelp, psapi

    // Milliseconds since the machine started, and since the last input of a person.
    virtual std::uint64_t UptimeMs() = 0;  // GetTickCount64
    virtual std::uint64_t IdleMs() = 0;    // GetLastInputInfo
    virtual std::int64_t Now() = 0;        // Unix time in seconds

    virtual std::uint32_t OwnProcessId() = 0;
    // Ends a process (TerminateProcess). 0, or the error of the system.
    virtual std::uint32_t EndProcess(std::uint32_t processId) = 0;
};

}  // namespace DevHost
