#pragma once

#include "wyctl/CommandRegistry.h"

namespace WyCtl {

// Enters the commands of the group "update".
void AddUpdateCommands(CommandRegistry& commands);

}  // namespace WyCtl
