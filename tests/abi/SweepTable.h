#pragma once

// The table "call, code, result" of a sweep of faults, as it stands in docs/verification.md.

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "support/PlatformCalls_win32.h"

class SweepTable {
public:
    // Adds what an operation gave when a function failed with a code.
    void Add(const std::string& operation, const test_support::PlatformFunction& function,
             std::uint32_t code, std::uint32_t result);

    // The rows of one operation, or of all, as lines of Markdown below their head.
    std::string Rows(const std::string& operation = {}) const;

    // Nothing when all that was added for an operation stands in the documents, else what differs.
    // A sample has no more than the rows of the whole, each seen no more often.
    std::string Difference(const SweepTable& documented, const std::string& operation,
                           bool sample) const;

    // The table between its two marks in a text.
    static SweepTable FromDocument(const std::string& text);

private:
    // Operation, function, code, result.
    using Row = std::tuple<std::string, std::string, std::string, std::string>;

    std::map<Row, int> m_Rows;
};
