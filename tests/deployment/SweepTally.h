#pragma once

// How often a deployment with failing calls came to which result, as docs/verification.md tells it.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace deploy_test {

class SweepTally {
public:
    // The rows between the marks of a document.
    static SweepTally FromDocument(const std::string& text);

    // `function` has failed alone.
    void AddOne(const std::string& operation, std::uint32_t result, const std::string& function);
    // All calls from one on have failed.
    void AddAll(const std::string& operation, std::uint32_t result);

    // "| install | 0x20ff0000 | 100 | 20 | CloseHandle, CopyFileW |", a line each; all operations
    // for an empty name.
    std::string Rows(const std::string& operation = {}) const;
    // What of an operation is not in the document: of a sample the results and functions that are
    // not named there, otherwise all that differs.
    std::string Difference(const SweepTally& documented, const std::string& operation,
                           bool isSample) const;

private:
    struct Row {
        int ones = 0;
        int alls = 0;
        std::set<std::string> functions;
        bool operator==(const Row&) const = default;
    };

    std::map<std::pair<std::string, std::string>, Row> m_Rows;  // by operation and result
};

}  // namespace deploy_test
