#pragma once

// What each export promises when one of its calls to the system fails.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "abi/SweepMachine_win32.h"
#include "support/PlatformCalls_win32.h"

namespace test_support {
class FakeServiceManager;
}

constexpr int kAnyNumber = 1 << 20;

// How an operation ends in which one call has failed.
struct SweepEnding {
    enum class Kind {
        kAsWithout,  // as if the call had not failed: result, output and machine
        kSuccess,    // success; some of the work is left out
        kResult,     // this result
        kSystem,     // the member of the family 0xe0fe.... for the code
    };
    Kind kind;
    std::uint32_t result = 0;
    int mayBeOld = kAnyNumber;    // so many things at most are as they were before
    int mustBeOld = 0;            // so many at least
    std::string output = {};      // instead of the usual one
    std::wstring place = {};      // things whose names begin so may be there besides
    std::wstring untouched = {};  // things with this in their names are as they were before
};

// For calls of some functions: those with a text among their arguments, from one to another of
// them in the order of the operation, and with one code; the first rule that fits holds.
struct SweepRule {
    std::vector<const char*> functions;
    SweepEnding ending;
    const char* text = "";
    int first = 1;
    int last = kAnyNumber;
    std::uint32_t code = 0;  // 0: any

    // `position` in the calls of the operation.
    bool Fits(const std::vector<test_support::PlatformCall>& calls, std::size_t position,
              std::uint32_t failure) const;
};

// One operation of the sweep.
struct SweepOperation {
    const char* name;
    // Runs it; what it gives beside the result goes to `output`.
    std::function<std::uint32_t(std::string& output)> call;
    std::vector<SweepRule> rules;
    // It opens the log anew, so that after a failure it must run once without.
    bool opensLog = false;
    // Every so-manieth call is made to fail in a sample.
    std::size_t stride = 1;
};

std::vector<SweepOperation> SweepOperations(const SweepMachine& machine,
                                            test_support::FakeServiceManager& services);
