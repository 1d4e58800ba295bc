#include "wyctl/CommandText.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>

#include "wyctl/Errors.h"

namespace WyCtl {

std::vector<std::string> SplitCommandLine(const std::string& line) {
    std::vector<std::string> arguments;
    std::string current;
    bool inside = false;  // an argument has begun
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted && c == '\\' && i + 1 < line.size() && line[i + 1] == '"') {
            current += '"';
            ++i;
        } else if (c == '"') {
            quoted = !quoted;
            inside = true;
        } else if (!quoted && (c == ' ' || c == '\t')) {
            if (inside) {
                arguments.push_back(std::move(current));
            }
            current.clear();
            inside = false;
        } else {
            current += c;
            inside = true;
        }
    }
    if (quoted) {
        throw UsageError("a quote is not closed: " + line);
    }
    if (inside) {
        arguments.push_back(std::move(current));
    }
    return arguments;
}

std::optional<std::uint64_t> ParseNumber(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::uint32_t ParseEventId(const std::string& text) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
    const std::optional<std::uint64_t> number = ParseNumber(text);
    if (!number.has_value() || *number > kLargest) {
        throw UsageError(
            fmt::format("'{}' is no number of an event (0 to {}, or 0x...)", text, kLargest));
    }
    return static_cast<std::uint32_t>(*number);
}

std::uint64_t ParseSize(const std::string& text) {
    constexpr std::string_view kUnits = "KMG";
    std::string_view digits = text;
    unsigned shift = 0;
    if (!digits.empty()) {
        const std::size_t unit = kUnits.find(digits.back());
        if (unit != std::string_view::npos) {
            shift = static_cast<unsigned>(10 * (unit + 1));
            digits.remove_suffix(1);
        }
    }
    std::uint64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || stop != end ||
        number > std::numeric_limits<std::uint64_t>::max() >> shift) {
        throw UsageError(fmt::format("'{}' is no size (bytes, or 64K, 10M, 2G)", text));
    }
    return number << shift;
}

}  // namespace WyCtl
