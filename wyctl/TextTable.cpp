#include "wyctl/TextTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace WyCtl {

namespace {

constexpr std::string_view kBetween = "  ";
constexpr std::string_view kCutMark = "...";

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xc0U) == 0x80U;
}

// Numbers with a unit, percentages and times count as numbers.
bool LooksNumeric(std::string_view cell) {
    return !cell.empty() && cell.find_first_not_of("0123456789.,:-% KMGTiB/s") == cell.npos &&
           cell.find_first_of("0123456789") != cell.npos;
}

void AppendCell(std::string& line, std::string_view cell, std::size_t width, bool right) {
    const std::size_t own = DisplayWidth(cell);
    const std::string pad(width > own ? width - own : 0, ' ');
    line += right ? pad : "";
    line += cell;
    line += right ? "" : pad;
}

void FinishLine(std::string& text, std::string line) {
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    text += line + "\n";
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !IsContinuation(c); }));
}

std::string CutToWidth(std::string_view text, std::size_t width) {
    if (DisplayWidth(text) <= width) {
        return std::string(text);
    }
    std::size_t places = width > kCutMark.size() ? width - kCutMark.size() : 0;
    std::size_t end = 0;
    while (end < text.size() && (places > 0 || IsContinuation(text[end]))) {
        places -= IsContinuation(text[end]) ? 0 : 1;
        ++end;
    }
    return std::string(text.substr(0, end)) + std::string(kCutMark.substr(0, width));
}

std::string Printable(std::string_view text) {
    std::string safe;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto code = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if (code < 0x20 || code == 0x7f) {
            safe += fmt::format("\\x{:02x}", code);
        } else if (code == 0xc2 && next >= 0x80 && next < 0xa0) {
            safe += fmt::format("\\x{:02x}", next);
            ++i;
        } else {
            safe += text[i];
        }
    }
    return safe;
}

TextTable::TextTable(std::vector<std::string> head) : m_Head(std::move(head)) {}

void TextTable::AddRow(std::vector<std::string> cells) {
    cells.resize(m_Head.size());
    for (std::string& cell : cells) {
        cell = Printable(cell);
    }
    m_Rows.push_back(std::move(cells));
}

std::string TextTable::Render(std::size_t indent) const {
    const std::size_t columns = m_Head.size();
    std::vector<std::size_t> widths(columns);
    std::vector<bool> right(columns, !m_Rows.empty());
    for (std::size_t i = 0; i < columns; ++i) {
        widths[i] = DisplayWidth(m_Head[i]);
        for (const auto& row : m_Rows) {
            widths[i] = std::max(widths[i], DisplayWidth(row[i]));
            right[i] = right[i] && (row[i].empty() || LooksNumeric(row[i]));
        }
    }
    const std::string lead(indent, ' ');
    std::string text;
    const auto addLine = [&](const std::vector<std::string>& cells) {
        std::string line = lead;
        for (std::size_t i = 0; i < columns; ++i) {
            line += i == 0 ? "" : kBetween;
            AppendCell(line, cells[i], widths[i], right[i]);
        }
        FinishLine(text, std::move(line));
    };
    addLine(m_Head);
    std::vector<std::string> rule;
    for (const std::size_t width : widths) {
        rule.emplace_back(width, '-');
    }
    addLine(rule);
    for (const auto& row : m_Rows) {
        addLine(row);
    }
    return text;
}

}  // namespace WyCtl
