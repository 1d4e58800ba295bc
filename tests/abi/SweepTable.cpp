#include "abi/SweepTable.h"

#include <cstdio>
#include <sstream>
#include <vector>

namespace {

constexpr const char* kBegin = "<!-- fault sweep: begin -->";
constexpr const char* kEnd = "<!-- fault sweep: end -->";
constexpr std::size_t kColumns = 5;

std::vector<std::string> CellsOf(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream text(line);
    std::string cell;
    std::getline(text, cell, '|');
    while (std::getline(text, cell, '|'))
        cells.push_back(cell.size() > 2 ? cell.substr(1, cell.size() - 2) : std::string());
    return cells;
}

std::string ResultText(std::uint32_t result) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(result));
    return text;
}

}  // namespace

void SweepTable::Add(const std::string& operation, const test_support::PlatformFunction& function,
                     std::uint32_t code, std::uint32_t result) {
    const std::string codeText = (function.TellsErrno() ? "errno " : "") + std::to_string(code);
    ++m_Rows[{operation, function.name, codeText, ResultText(result)}];
}

std::string SweepTable::Rows(const std::string& operation) const {
    std::string rows;
    for (const auto& [row, count] : m_Rows) {
        const auto& [name, function, code, result] = row;
        if (operation.empty() || name == operation) {
            rows += "| " + name + " | " + function + " | " + code + " | " + result + " | " +
                    std::to_string(count) + " |\n";
        }
    }
    return rows;
}

std::string SweepTable::Difference(const SweepTable& documented, const std::string& operation,
                                   bool sample) const {
    if (!sample) {
        const std::string here = Rows(operation);
        return here == documented.Rows(operation) ? std::string() : "the whole is\n" + here;
    }
    std::string difference;
    for (const auto& [row, count] : m_Rows) {
        if (std::get<0>(row) != operation)
            continue;
        const auto found = documented.m_Rows.find(row);
        if (found == documented.m_Rows.end() || found->second < count)
            difference +=
                std::get<1>(row) + ", " + std::get<2>(row) + ", " + std::get<3>(row) + "\n";
    }
    return difference;
}

SweepTable SweepTable::FromDocument(const std::string& text) {
    SweepTable table;
    const std::size_t begin = text.find(kBegin);
    const std::size_t end = text.find(kEnd);
    if (begin == std::string::npos || end == std::string::npos)
        return table;
    std::istringstream lines(text.substr(begin, end - begin));
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> cells = CellsOf(line);
        if (cells.size() == kColumns && cells[0].starts_with("Wy"))
            table.m_Rows[{cells[0], cells[1], cells[2], cells[3]}] = std::stoi(cells[4]);
    }
    return table;
}
