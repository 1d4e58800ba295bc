#pragma once

// The host as a Windows process: one of each mode, its events, its handles, its end.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devhost/FaultScript.h"
#include "devhost/HostOptions.h"

namespace DevHost {

// One per process, made before anything listens.
class HostProcess {
public:
    // Why the host stops.
    enum class Reason { kAsked, kTime, kParentGone, kRestart };

    HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    ~HostProcess();

    // Takes the place of the one host of this product id (CreateMutexW), after the end of the
    // predecessor if there is one. False when another host has it.
    bool TakePlace(const std::wstring& productId, std::optional<std::uint32_t> predecessor);

    // Opens what Wait() waits for. False, with what is wrong in `error`, when something is missing.
    bool Prepare(const HostOptions& options, std::string& error);

    // Tells the world that the host listens: the line "ready", and the named event.
    void AnnounceReady();

    Reason Wait();

    // Waits before it listens. False when something asked for the end in the meantime.
    bool StayAway(std::uint32_t milliseconds);

    // Asks Wait() to come back with kAsked. Any thread may call while there is a HostProcess.
    static void RequestStop();

    // Asks Wait() to come back with kRestart. Any thread may call.
    void RequestRestart();

    // Ends this process at once, in the middle of whatever it does (TerminateProcess).
    [[noreturn]] static void Crash();

    // Starts this program anew with the given arguments, on the same output.
    static bool StartSuccessor(const std::vector<std::string>& arguments);

    // A handle of this process that another process can wait for (DuplicateHandle); kNoHandle
    // when that process cannot be opened.
    static std::uint64_t DuplicateInto(std::uint32_t processId);

private:
    struct Handles;

    Reason WaitFor(std::uint32_t milliseconds);

    std::unique_ptr<Handles> m_pHandles;
    std::optional<std::uint32_t> m_RunSeconds;
};

// The arguments of this process without the program's name, as UTF-8 (CommandLineToArgvW).
std::vector<std::string> OwnArguments();

// Quotes one argument so that a program of this platform reads it back unchanged.
std::wstring QuoteArgument(const std::wstring& argument);

}  // namespace DevHost
