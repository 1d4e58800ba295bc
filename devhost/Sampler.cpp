#include "devhost/Sampler.h"

#include <algorithm>

namespace DevHost {

namespace {

constexpr std::chrono::milliseconds kInterval{1000};

std::uint64_t PerSecond(std::uint64_t amount, std::uint64_t elapsedMs) {
    return elapsedMs == 0 ? 0 : amount * 1000 / elapsedMs;
}

std::uint64_t Growth(std::uint64_t now, std::uint64_t before) {
    return now > before ? now - before : 0;
}

}  // namespace

Sampler::~Sampler() {
    Stop();
}

void Sampler::Start() {
    Look(std::chrono::milliseconds(0));
    m_Thread = std::thread([this] { Run(); });
}

void Sampler::Stop() {
    {
        const std::scoped_lock lock(m_Mutex);
        m_bStop = true;
        m_Wake.notify_all();
    }
    if (m_Thread.joinable())
        m_Thread.join();
}

void Sampler::Run() {
    auto last = std::chrono::steady_clock::now();
    for (;;) {
        {
            std::unique_lock lock(m_Mutex);
            if (m_Wake.wait_for(lock, kInterval, [this] { return m_bStop; }))
                return;
        }
        const auto now = std::chrono::steady_clock::now();
        Look(std::chrono::duration_cast<std::chrono::milliseconds>(now - last));
        last = now;
    }
}

void Sampler::Look(std::chrono::milliseconds elapsed) {
    const auto elapsedMs = static_cast<std::uint64_t>(elapsed.count());
    const std::scoped_lock lock(m_Mutex);
    LookAtCpu();
    LookAtDisks(elapsedMs);
    LookAtNetwork(elapsedMs);
    m_IdleHistory.Look(m_Probe.Now(), static_cast<std::int64_t>(m_Probe.IdleMs() / 1000));
}

// The first look gives the load since the machine started.
void Sampler::LookAtCpu() {
    const std::optional<CpuTimes> times = m_Probe.ReadCpuTimes();
    if (!times.has_value())
        return;
    const std::uint64_t total = Growth(times->total, m_LastCpu.total);
    if (total == 0)
        return;
    const std::uint64_t idle = std::min(Growth(times->idle, m_LastCpu.idle), total);
    m_Current.cpuPercent = static_cast<std::uint32_t>(((total - idle) * 100 + total / 2) / total);
    m_LastCpu = *times;
}

void Sampler::LookAtDisks(std::uint64_t elapsedMs) {
    if (!m_bDisksCounted)
        return;
    const std::optional<DiskCounters> counters = m_Probe.ReadDisks();
    m_bDisksCounted = counters.has_value();
    m_Current.diskSpeed.reset();
    if (counters.has_value()) {
        const DiskCounters before = m_LastDisks.value_or(*counters);
        m_Current.diskSpeed =
            DiskCounters{PerSecond(Growth(counters->read, before.read), elapsedMs),
                         PerSecond(Growth(counters->written, before.written), elapsedMs)};
    }
    m_LastDisks = counters;
}

void Sampler::LookAtNetwork(std::uint64_t elapsedMs) {
    std::uint64_t received = 0;
    std::uint64_t sent = 0;
    std::map<std::uint32_t, NetworkCounters> current;
    for (const NetworkCounters& counters : m_Probe.ReadNetwork()) {
        current[counters.index] = counters;
        const auto before = m_mapLastNetwork.find(counters.index);
        if (before == m_mapLastNetwork.end())
            continue;
        // Unsigned 32-bit differences are right across one overflow.
        received += static_cast<std::uint32_t>(counters.received - before->second.received);
        sent += static_cast<std::uint32_t>(counters.sent - before->second.sent);
    }
    m_mapLastNetwork = std::move(current);
    m_Current.received += received;
    m_Current.sent += sent;
    m_Current.receiveSpeed = PerSecond(received, elapsedMs);
    m_Current.sendSpeed = PerSecond(sent, elapsedMs);
}

Measurements Sampler::Get() const {
    const std::scoped_lock lock(m_Mutex);
    return m_Current;
}

std::optional<std::int64_t> Sampler::FindIdle(std::uint32_t duration, std::uint32_t period) const {
    const std::scoped_lock lock(m_Mutex);
    return m_IdleHistory.Find(m_Probe.Now(), duration, period);
}

}  // namespace DevHost
