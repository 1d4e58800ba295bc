#include "wyctl/LogExplain.h"

#include <fmt/format.h>

#include <charconv>
#include <map>
#include <string_view>
#include <utility>

#include "wyctl/ResultCodes.h"

namespace WyCtl {

namespace {

struct SystemError {
    std::uint32_t code;
    const char* text;
};

// Those that the library's own calls meet.
constexpr SystemError kSystemErrors[] = {
    {1, "invalid function"},
    {2, "file not found"},
    {3, "path not found"},
    {5, "access denied"},
    {6, "invalid handle"},
    {8, "not enough memory"},
    {13, "invalid data"},
    {18, "no more files"},
    {19, "the medium is write-protected"},
    {32, "the file is in use by another process"},
    {33, "part of the file is locked by another process"},
    {38, "end of file"},
    {50, "not supported"},
    {80, "the file exists"},
    {87, "invalid parameter"},
    {112, "the disk is full"},
    {122, "the buffer is too small"},
    {123, "the name is wrong"},
    {126, "the module was not found"},
    {127, "the function was not found in the module"},
    {145, "the folder is not empty"},
    {160, "bad arguments"},
    {183, "it exists already"},
    {193, "not a program of this system"},
    {206, "the name is too long"},
    {234, "more data is there"},
    {258, "the wait timed out"},
    {259, "no more items"},
    {267, "not a folder"},
    {1018, "the registry key was deleted"},
    {1053, "the service did not answer in time"},
    {1056, "the service runs already"},
    {1058, "the service is disabled"},
    {1060, "there is no such service"},
    {1062, "the service was not started"},
    {1072, "the service is marked for deletion"},
    {1073, "the service exists already"},
    {1114, "the module failed to start"},
    {1314, "a privilege is missing"},
    {1722, "the RPC server is unavailable"},
    {1726, "the remote call failed"},
    {5010, "the object exists already"},
};

// Words that stand directly before a code, in the order in which they are looked for.
constexpr std::string_view kMarks[] = {"retCode = ", "retCode=",   "return code ",
                                       "ErrorCode=", "ErrorCode:", "error code ",
                                       "error = ",   "error: ",    "with error "};
// COM's codes come as bare hexadecimal digits behind this one.
constexpr std::string_view kComMark = "failed: ";

// The number at the front of a text: decimal, or hexadecimal behind "0x".
std::optional<std::uint32_t> NumberAtFront(std::string_view text) {
    const bool hex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    if (hex) {
        text.remove_prefix(2);
    }
    const bool negative = !hex && !text.empty() && text.front() == '-';
    if (negative) {
        text.remove_prefix(1);
    }
    std::uint32_t number = 0;
    const auto result =
        std::from_chars(text.data(), text.data() + text.size(), number, hex ? 16 : 10);
    if (result.ec != std::errc()) {
        return std::nullopt;
    }
    return negative ? 0U - number : number;
}

// The number of the first "[0x00000005]", or of a last "[5]".
std::optional<std::uint32_t> NumberInBracket(std::string_view message) {
    std::size_t open = message.find("[0x");
    if (open == std::string_view::npos) {
        open = message.rfind('[');
    }
    if (open == std::string_view::npos || message.find(']', open) == std::string_view::npos) {
        return std::nullopt;
    }
    return NumberAtFront(message.substr(open + 1));
}

std::optional<std::uint32_t> NumberOfCom(std::string_view message) {
    constexpr std::size_t kDigits = 8;
    const std::size_t found = message.rfind(kComMark);
    if (found == std::string_view::npos || message.size() < found + kComMark.size() + kDigits) {
        return std::nullopt;
    }
    return NumberAtFront("0x" + std::string(message.substr(found + kComMark.size(), kDigits)));
}

std::optional<std::uint32_t> NumberOf(std::string_view message) {
    for (const std::string_view mark : kMarks) {
        const std::size_t found = message.rfind(mark);
        if (found == std::string_view::npos) {
            continue;
        }
        if (const auto number = NumberAtFront(message.substr(found + mark.size()))) {
            return number;
        }
    }
    const auto number = NumberOfCom(message);
    return number ? number : NumberInBracket(message);
}

std::string Meaning(std::uint32_t code) {
    // Errors of the system are small numbers; codes of the library and of COM have high bits.
    constexpr std::uint32_t kLow = 0xffff;
    if (code <= kLow || (code & ~kLow) == 0x80070000U) {
        return DescribeSystemError(code & kLow);
    }
    return DescribeResult(code);
}

bool Fails(const LogRecord& record) {
    return record.severity == LogSeverity::Error ||
           record.message.find(": [ERROR] ") != std::string::npos ||
           record.message.find(": [FATAL] ") != std::string::npos;
}

// "==> Name" enters a function, "<== Name" leaves it.
std::optional<std::string> FunctionBehind(const LogRecord& record, std::string_view arrow) {
    if (record.message.compare(0, 7, "[INFO],") != 0) {
        return std::nullopt;
    }
    const std::size_t found = record.message.find(arrow);
    return found == std::string::npos ? std::nullopt
                                      : std::optional(record.message.substr(found + arrow.size()));
}

class Explainer {
public:
    void Add(const LogRecord& record) {
        Thread& thread = m_Threads[{record.processId, record.threadId}];
        if (const auto entered = FunctionBehind(record, "], ==> ")) {
            thread.functions.push_back(*entered);
        } else if (const auto left = FunctionBehind(record, "], <== ")) {
            Leave(thread, *left);
        } else if (Fails(record)) {
            AddFailure(thread, record);
        }
    }

    std::vector<LogFailure> Take() { return std::move(m_Failures); }

private:
    struct Thread {
        std::vector<std::string> functions;
        std::optional<std::size_t> lastFailure;  // index into m_Failures
    };

    // A function whose entry the log does not have leaves nothing.
    static void Leave(Thread& thread, const std::string& function) {
        for (std::size_t i = thread.functions.size(); i > 0; --i) {
            if (thread.functions[i - 1] == function) {
                thread.functions.resize(i - 1);
                return;
            }
        }
    }

    void AddFailure(Thread& thread, const LogRecord& record) {
        auto code = FindLogCode(record.message);
        if (thread.lastFailure && PassesOn(m_Failures[*thread.lastFailure], code)) {
            m_Failures[*thread.lastFailure].passedOn.push_back(record);
            return;
        }
        thread.lastFailure = m_Failures.size();
        m_Failures.push_back(
            {record, std::move(code), thread.functions.empty() ? "" : thread.functions.back(), {}});
    }

    // The same code, or the system's error inside a code of the library.
    static bool PassesOn(const LogFailure& failure, const std::optional<LogCode>& code) {
        if (!failure.code || !code) {
            return false;
        }
        constexpr std::uint32_t kLow = 0xffff;
        const bool wraps = !failure.code->isResult && code->isResult &&
                           (code->code & ~kLow) == 0xe0fe0000U &&
                           (code->code & kLow) == (failure.code->code & kLow);
        return wraps || failure.code->code == code->code;
    }

    std::map<std::pair<std::uint32_t, std::uint32_t>, Thread> m_Threads;
    std::vector<LogFailure> m_Failures;
};

}  // namespace

std::string DescribeSystemError(std::uint32_t code) {
    for (const SystemError& error : kSystemErrors) {
        if (error.code == code) {
            return error.text;
        }
    }
    return fmt::format("system error {}", code);
}

std::optional<LogCode> FindLogCode(const std::string& message) {
    const auto number = NumberOf(message);
    if (!number) {
        return std::nullopt;
    }
    return LogCode{*number, *number > 0xffff, Meaning(*number)};
}

std::vector<LogFailure> ExplainLog(const std::vector<LogRecord>& records) {
    Explainer explainer;
    for (const LogRecord& record : records) {
        explainer.Add(record);
    }
    return explainer.Take();
}

}  // namespace WyCtl
