#include "devhost/AutorunCommand.h"

namespace DevHost {

std::vector<std::wstring> ProgramsOfCommand(const std::wstring& command) {
    const std::size_t first = command.find_first_not_of(L" \t");
    if (first == std::wstring::npos)
        return {};
    const std::wstring text = command.substr(first, command.find_last_not_of(L" \t") - first + 1);
    if (text[0] == L'"') {
        const std::wstring program = text.substr(1, text.find(L'"', 1) - 1);
        if (program.empty())
            return {};
        return {program};
    }
    std::vector<std::wstring> programs;
    for (std::size_t i = 1; i < text.size(); ++i) {
        const bool endOfWord =
            (text[i] == L' ' || text[i] == L'\t') && text[i - 1] != L' ' && text[i - 1] != L'\t';
        if (endOfWord)
            programs.push_back(text.substr(0, i));
    }
    programs.push_back(text);
    return programs;
}

}  // namespace DevHost
