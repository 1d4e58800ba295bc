#pragma once

// What ends a command. All of these are caught where the command was started and become a text on
// stderr, a JSON object where JSON was asked for, and an exit code.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "wyctl/CallValues.h"

namespace WyCtl {

// Exit codes of the program.
constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// A wrong command line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A failure outside of any call: a file that cannot be read, a library that cannot be loaded.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// An export returned a negative code.
class CallFailed : public std::runtime_error {
public:
    // `advice`, where there is one, tells a person what to do.
    CallFailed(const std::string& function, CallResult result, std::string advice = {})
        : std::runtime_error(function + " failed"),
          m_strFunction(function),
          m_Result(std::move(result)),
          m_strAdvice(std::move(advice)) {}

    const std::string& Function() const { return m_strFunction; }
    const CallResult& Result() const { return m_Result; }
    const std::string& Advice() const { return m_strAdvice; }

private:
    std::string m_strFunction;
    CallResult m_Result;
    std::string m_strAdvice;
};

// The person pressed Ctrl+C and the service was told.
class Cancelled : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace WyCtl
