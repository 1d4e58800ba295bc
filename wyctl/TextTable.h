#pragma once

// Columns of text for a person.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace WyCtl {

// Number of places that UTF-8 text takes on a screen, at one place per character.
std::size_t DisplayWidth(std::string_view text);

// The text cut to `width` places; a cut one ends in "...".
std::string CutToWidth(std::string_view text, std::size_t width);

// The text with control characters made visible, so that a file name cannot steer a terminal.
std::string Printable(std::string_view text);

// A head, a rule and rows. Columns whose cells are all numbers stand to the right.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> head);

    // Missing cells are empty; cells beyond the head are dropped. Control characters are made
    // visible.
    void AddRow(std::vector<std::string> cells);
    bool IsEmpty() const { return m_Rows.empty(); }

    // Lines without trailing blanks, each ending in "\n"; `indent` blanks before each.
    std::string Render(std::size_t indent = 0) const;

private:
    std::vector<std::string> m_Head;
    std::vector<std::vector<std::string>> m_Rows;
};

}  // namespace WyCtl
