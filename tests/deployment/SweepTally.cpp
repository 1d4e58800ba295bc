#include "deployment/SweepTally.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <vector>

namespace deploy_test {

namespace {

constexpr const char* kBegin = "<!-- deployment sweep: begin -->";
constexpr const char* kEnd = "<!-- deployment sweep: end -->";
constexpr std::size_t kColumns = 5;

std::vector<std::string> Split(const std::string& line, const std::string& separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t at = line.find(separator); at != std::string::npos;
         at = line.find(separator, begin)) {
        parts.push_back(line.substr(begin, at - begin));
        begin = at + separator.size();
    }
    parts.push_back(line.substr(begin));
    return parts;
}

std::string ResultText(std::uint32_t result) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(result));
    return text;
}

}  // namespace

SweepTally SweepTally::FromDocument(const std::string& text) {
    SweepTally tally;
    const std::size_t begin = text.find(kBegin);
    const std::size_t end = text.find(kEnd);
    if (begin == std::string::npos || end == std::string::npos)
        return tally;
    std::istringstream lines(text.substr(begin, end - begin));
    for (std::string line; std::getline(lines, line);) {
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        if (!line.starts_with("| ") || !line.ends_with(" |"))
            continue;
        const std::vector<std::string> cells = Split(line.substr(2, line.size() - 4), " | ");
        if (cells.size() != kColumns || !cells[1].starts_with("0x"))
            continue;
        Row& row = tally.m_Rows[{cells[0], cells[1]}];
        row.ones = std::stoi(cells[2]);
        row.alls = std::stoi(cells[3]);
        for (const std::string& function : Split(cells[4], ", ")) {
            if (function != "-")
                row.functions.insert(function);
        }
    }
    return tally;
}

void SweepTally::AddOne(const std::string& operation, std::uint32_t result,
                        const std::string& function) {
    Row& row = m_Rows[{operation, ResultText(result)}];
    ++row.ones;
    row.functions.insert(function);
}

void SweepTally::AddAll(const std::string& operation, std::uint32_t result) {
    ++m_Rows[{operation, ResultText(result)}].alls;
}

std::string SweepTally::Rows(const std::string& operation) const {
    std::string rows;
    for (const auto& [key, row] : m_Rows) {
        if (!operation.empty() && key.first != operation)
            continue;
        std::string functions;
        for (const std::string& function : row.functions)
            functions += (functions.empty() ? "" : ", ") + function;
        rows += "| " + key.first + " | " + key.second + " | " + std::to_string(row.ones) + " | " +
                std::to_string(row.alls) + " | " + (functions.empty() ? "-" : functions) + " |\n";
    }
    return rows;
}

std::string SweepTally::Difference(const SweepTally& documented, const std::string& operation,
                                   bool isSample) const {
    if (!isSample) {
        const std::string here = Rows(operation);
        return here == documented.Rows(operation) ? std::string() : "the whole is\n" + here;
    }
    std::string text;
    for (const auto& [key, row] : m_Rows) {
        if (key.first != operation)
            continue;
        const auto found = documented.m_Rows.find(key);
        const bool isKnown = found != documented.m_Rows.end();
        if (!isKnown)
            text += key.second + "\n";
        for (const std::string& function : row.functions) {
            if (isKnown && found->second.functions.count(function) == 0)
                text += key.second + " of " + function + "\n";
        }
    }
    return text;
}

}  // namespace deploy_test
