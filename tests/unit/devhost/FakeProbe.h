#pragma once

#include <optional>
#include <vector>

#include "devhost/SystemProbe.h"

// A machine of the test's own.
class FakeProbe : public DevHost::SystemProbe {
public:
    std::optional<DevHost::CpuTimes> ReadCpuTimes() override { return cpu; }
    std::optional<DevHost::MemoryFigures> ReadMemory() override { return memory; }
    std::optional<DevHost::DiskCounters> ReadDisks() override {
        ++diskReads;
        return disks;
    }
    std::vector<DevHost::NetworkCounters> ReadNetwork() override { return network; }
    std::optional<DevHost::PowerFigures> ReadPower() override { return power; }
    std::vector<DevHost::ProcessFacts> ReadProcesses(bool) override { return processes; }
    std::uint64_t UptimeMs() override { return uptimeMs; }
    std::uint64_t IdleMs() override { return idleMs; }
    std::int64_t Now() override { return now; }
    std::uint32_t OwnProcessId() override { return 10; }
    std::uint32_t EndProcess(std::uint32_t processId) override {
        ended.push_back(processId);
        return endError;
    }

    std::optional<DevHost::CpuTimes> cpu = DevHost::CpuTimes{700, 1000};
    std::optional<DevHost::MemoryFigures> memory = DevHost::MemoryFigures{1000, 300};
    std::optional<DevHost::DiskCounters> disks;
    unsigned diskReads = 0;
    std::vector<DevHost::NetworkCounters> network;
    std::optional<DevHost::PowerFigures> power = DevHost::PowerFigures{};
    std::vector<DevHost::ProcessFacts> processes;
    std::uint64_t uptimeMs = 500'000;
    std::uint64_t idleMs = 0;
    std::int64_t now = 2'000'000'000;
    std::vector<std::uint32_t> ended;
    std::uint32_t endError = 0;
};
