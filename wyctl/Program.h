#pragma once

// The program without its process: command line in, exit code out.

#include <string>
#include <vector>

#include "wyctl/Context.h"

namespace WyCtl {

// Runs one command line. `arguments` are UTF-8 and do not include the program's name. Errors have
// been shown on the terminal when it returns; nothing is raised.
int RunProgram(const std::vector<std::string>& arguments, Terminal& terminal,
               const LibraryLoader& loader);

}  // namespace WyCtl
