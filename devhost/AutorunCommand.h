#pragma once

#include <string>
#include <vector>

namespace DevHost {

// The texts of a command line that may be the program it starts, the likeliest first: what stands
// in quotes; otherwise the text up to each blank and the whole of it, since a path with blanks need
// not be quoted. Empty for an empty command.
std::vector<std::wstring> ProgramsOfCommand(const std::wstring& command);

}  // namespace DevHost
