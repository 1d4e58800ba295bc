#pragma once

// A client of the host in a process of its own, which subscribes to events and writes them down.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Starts devhostListener.exe, which lies beside the test program, for the length of a scope.
class ListenerRunner {
public:
    ListenerRunner(const std::wstring& name, const std::wstring& events);
    ListenerRunner(const ListenerRunner&) = delete;
    ListenerRunner& operator=(const ListenerRunner&) = delete;
    // Kills what still runs.
    ~ListenerRunner();

    // True when it has registered and subscribed; false when it ended or took half a minute.
    bool WaitUntilReady();

    // Waits until it unregistered and ended; its exit status, or nothing after half a minute.
    std::optional<std::uint32_t> Close();
    // Ends it in the middle of whatever it does, and waits until it is gone.
    void Kill();

    std::uint32_t ProcessId() const;

    // The events that arrived, as lines of JSON without their line ends.
    std::vector<std::string> Events() const;
    // False when there are not so many after twenty seconds.
    bool WaitForEvents(std::size_t count) const;

private:
    struct State;
    std::unique_ptr<State> m_pState;
};
