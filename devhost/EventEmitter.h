#pragma once

// Events that the host publishes by itself, by the clock.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

namespace DevHost {

// One event, again and again.
struct Emission {
    std::uint32_t eventId = 0;
    std::uint32_t intervalMs = 0;  // 1 to 86400000
};

// Reads "ID:MILLISECONDS"; the id decimal or, with 0x, hexadecimal. Nothing for any other text.
std::optional<Emission> ParseEmission(std::string_view text);

// One thread that publishes all emissions when they are due, the first time one interval after the
// start. A publication that comes late is not made up for.
class EventEmitter {
public:
    // `publish` gets the event and how often it was emitted before; it runs on the thread of the
    // emitter and raises nothing.
    using Publish = std::function<void(std::uint32_t eventId, std::uint64_t number)>;

    EventEmitter(std::vector<Emission> emissions, Publish publish);
    EventEmitter(const EventEmitter&) = delete;
    EventEmitter& operator=(const EventEmitter&) = delete;
    // Stops.
    ~EventEmitter();

    // Without emissions there is no thread. Start and Stop belong to one thread.
    void Start();
    // Waits for a publication that is under way.
    void Stop();
    // Whether there is a thread.
    bool IsRunning() const { return m_Thread.joinable(); }

private:
    using Clock = std::chrono::steady_clock;

    void Run();

    const std::vector<Emission> m_vecEmission;
    const Publish m_fnPublish;
    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    std::thread m_Thread;
    bool m_bStop = false;
};

}  // namespace DevHost
