#pragma once

#include "wyctl/CommandRegistry.h"

namespace WyCtl {

// Enters the commands of the group "package".
void AddPackageCommands(CommandRegistry& commands);

}  // namespace WyCtl
