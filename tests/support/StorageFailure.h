#pragma once

// What an operation of a store raised, as plain values for a test to compare.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Exception.h"

namespace test_support {

struct StorageFailure {
    static constexpr std::uint32_t kNothing = 0xffffffff;

    std::uint32_t code = kNothing;  // kNothing: the operation raised nothing
    std::uint32_t line = 0;
    std::string file;
    bool ofValue = false;  // a RegException, which tells key and value
    std::wstring keyPath;
    std::wstring valueName;
};

// Runs the action and takes over the Storage::Exception it raises. Others pass through.
template <class Action>
StorageFailure FailureOf(Action action) {
    StorageFailure failure;
    try {
        action();
    } catch (KrCommon::Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        failure.code = raised->Code();
        failure.line = raised->Line();
        failure.file = raised->File();
        if (const auto* ofValue = dynamic_cast<const KrCommon::Storage::RegException*>(raised)) {
            failure.ofValue = true;
            failure.keyPath = ofValue->KeyPath();
            failure.valueName = ofValue->ValueName();
        }
    }
    return failure;
}

// The code alone.
template <class Action>
std::uint32_t CodeOf(Action action) {
    return FailureOf(action).code;
}

}  // namespace test_support
