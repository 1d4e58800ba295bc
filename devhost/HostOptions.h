#pragma once

// The command line of the host.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devhost/EventEmitter.h"

namespace DevHost {

// All texts are UTF-8; empty means not given.
struct HostOptions {
    int mode = 0;
    std::string root;
    bool allowRemove = false;
    bool allowKill = false;
    std::string fault;       // a script, or the name of a file that holds one
    std::string faultsFile;  // the name of a file with faults in JSON
    std::vector<Emission> emissions;
    std::string readyEvent;
    std::string stopEvent;
    std::optional<std::uint32_t> runSeconds;
    std::string logFile;
    std::optional<std::uint32_t> parentId;
    bool service = false;  // run by the service manager
    // Given by a host that restarts: wait for the end of that process first.
    std::optional<std::uint32_t> successorOf;
    std::uint32_t absenceMs = 0;  // of a successor: it waits so long before it listens
};

// Exit statuses of the program.
namespace ExitStatus {
constexpr int kClean = 0;
constexpr int kFailure = 1;         // an accident while it ran
constexpr int kBadUsage = 2;        // also a fault script with a mistake, or no such root
constexpr int kAlreadyRunning = 3;  // another host of this mode runs
constexpr int kCannotListen = 4;    // the endpoint could not be opened
constexpr int kCrashByScript = 86;  // a fault script asked for it
}  // namespace ExitStatus

// Reads the arguments, without the program's name. Nothing when the program is to end at once,
// with this status and this text, which goes to the standard error unless the status is 0.
std::optional<HostOptions> ParseHostOptions(const std::vector<std::string>& arguments, int& status,
                                            std::string& text);

// The arguments that make a successor of a host with these options, with the faults that are left.
std::vector<std::string> SuccessorArguments(const HostOptions& options, std::uint32_t ownId,
                                            const std::string& remainingFaults,
                                            std::uint32_t absenceMs);

}  // namespace DevHost
