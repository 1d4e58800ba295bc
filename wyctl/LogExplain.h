#pragma once

// What went wrong, told from a debug log.
//
// A record fails when its label or its tag says error. A failing record that gives the same code as
// the failure before it on its thread passes that failure on; the one that came first is the step
// that failed. The function is the innermost one of the thread that was entered and not left
// before the record.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "wyctl/LogText.h"

namespace WyCtl {

// A number that a message gives as the reason.
struct LogCode {
    std::uint32_t code = 0;
    bool isResult = false;  // a code with high bits; otherwise an error of the system
    std::string meaning;
};

struct LogFailure {
    LogRecord step;  // the record that failed first
    std::optional<LogCode> code;
    std::string function;             // empty when the log has no function lines around it
    std::vector<LogRecord> passedOn;  // the records that only pass it on, in their order
};

// The failures of a log, in the order of their first records.
std::vector<LogFailure> ExplainLog(const std::vector<LogRecord>& records);

// The code in a message, if it gives one: behind "retCode = ", "error = " and their like, or in
// brackets at its end.
std::optional<LogCode> FindLogCode(const std::string& message);

// What a Win32 error means, in English; "system error N" for one that is not in the list.
std::string DescribeSystemError(std::uint32_t code);

}  // namespace WyCtl
