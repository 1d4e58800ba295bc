#pragma once

// What all one-shot operations of the backends share: nothing gets out but a code.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Exception.h"

namespace KrCommon::Storage::OneShot {

// Stands for every failure that is not a Storage::Exception.
constexpr std::uint32_t kUnknownFailure = 0x800300fd;

// Runs the action. True when it raised nothing; `error` (may be null) receives 0, the code of a
// Storage::Exception or kUnknownFailure.
template <class Action>
bool Run(std::uint32_t* error, Action action) noexcept {
    bool done = false;
    std::uint32_t code = 0;
    try {
        action();
        done = true;
    } catch (Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        code = raised->Code();
    } catch (KrCommon::Exception::Base* raised) {
        const KrCommon::Exception::Caught caught(raised);
        code = kUnknownFailure;
    } catch (...) {
        code = kUnknownFailure;
    }
    if (error != nullptr)
        *error = code;
    return done;
}

// Null stands for the empty text.
inline std::wstring Text(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

}  // namespace KrCommon::Storage::OneShot
