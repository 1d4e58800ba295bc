#pragma once

// Declared machine states, and declared ways through them: state, action, state.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "deployment/SetupMachine_win32.h"

namespace deployment_test {

// What is done to the machine.
enum class Act {
    kInstall,       // WyInstall of a package
    kPostInstall,   // WyPostInstall
    kUninstall,     // WyUninstall
    kRestart,       // the next start of the system, as far as files wait for it
    kUnlock,        // the open file, or the handle on the deleted service, is closed
    kWatchdog,      // a watchdog comes up
    kEndWatchdog,   // it is ended from outside
    kEndPrograms,   // and so are the session agent and the service
    kListen,        // somebody answers from now on
    kStopListening  // nobody does any more
};

// What the machine must be afterwards.
enum class After {
    kAnything,
    kAsBefore,       // but for InstallStatus
    kLaidDown,       // the first phase of the package is done
    kInstalled,      // both are
    kRestored,       // the files are those from before the step, and the product is started
    kFolderGone,     // the install folder is deleted, the rest is as it happened to be
    kGone,           // but for what stays by intention
    kGoneAtRestart,  // the same, with files that wait for the next start of the system
};

struct Step {
    Act act = Act::kInstall;
    const char* package = "";
    std::uint32_t code = 0x20ff0000;
    std::optional<std::uint32_t> status = {};  // InstallStatus; nothing: there must be none
    After after = After::kAnything;
    std::vector<std::string> log = {};  // lines, each by its words from the first one on
    std::vector<std::string> notInLog = {};
    // Where the product is asked to go, below the machine's folder.
    const wchar_t* target = L"Programs\\Wy";
    // Whose registry items are in force; the package's own, if not said.
    const char* registryOf = nullptr;
    // The package whose files lay in the folder already. What may not be replaced is still its.
    const char* over = nullptr;
    bool toolsWait = false;  // the external tools wait for the next start of the system
    std::function<void(SetupMachine&)> also = {};
};

struct Traversal {
    const char* name;
    const char* state;
    std::vector<Step> steps;
};

const std::vector<MachineState>& MachineStates();
std::vector<Traversal> AllTraversals();

// Parts of the table, by the first action.
std::vector<Traversal> FirstInstalls();
std::vector<Traversal> FailedInstalls();
std::vector<Traversal> Reinstalls();
std::vector<Traversal> Rollbacks();
std::vector<Traversal> Removals();

}  // namespace deployment_test
