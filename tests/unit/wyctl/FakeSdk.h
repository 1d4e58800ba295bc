#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "wyctl/Context.h"

// A library of functions with the real signatures that record their arguments and answer by
// script. One state per process: exports have no object of their own.
namespace FakeSdk {

struct State {
    std::vector<std::string> calls;              // "WyScan(1, a, -)" in order
    std::map<std::string, std::uint32_t> codes;  // of a function; success where none is set
    std::vector<std::uint32_t> progress;         // of the next polls; then 100
    std::string resultText = "{\"found\":[]}";
    int texts = 0;                                       // strings given out and not released yet
    bool missing = false;                                // the library cannot be loaded
    std::set<std::string> hidden;                        // functions that it does not export
    std::map<std::uint32_t, WyEventCallback> callbacks;  // of the subscriptions that stand
    std::optional<std::uint32_t> refusedEvent;           // subscribing to it fails with not found
    std::optional<std::string> usedFolder;               // what an installation names; none: null
    std::function<void()> duringServiceCall;             // what starting and stopping wait for
};

State& Get();

// Delivers an event as the library does; the result of the callback. The event must be subscribed.
std::uint32_t Deliver(std::uint32_t event, const wchar_t* json);

// Starts over, and gives a loader of the library.
WyCtl::LibraryLoader Reset();

}  // namespace FakeSdk
