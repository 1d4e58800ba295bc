#pragma once

#include "wyctl/CommandRegistry.h"

namespace WyCtl {

// Enters "install", "postinstall", "uninstall", "verify" and "leftovers".
void AddDeployCommands(CommandRegistry& commands);

}  // namespace WyCtl
