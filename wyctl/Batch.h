#pragma once

// Several commands in one session.

#include <functional>
#include <string>
#include <vector>

#include "wyctl/Context.h"

namespace WyCtl {

// Runs one command in the given context and returns its exit code.
using CommandRunner = std::function<int(Context& context, const std::vector<std::string>& line)>;

// Opens a session, runs the commands of a text, one per line, and closes the session. Empty lines
// and lines that begin with "#" are skipped. Stops at the first command that fails and returns its
// exit code.
int RunBatch(Context& context, const std::string& text, const CommandRunner& run);

}  // namespace WyCtl
