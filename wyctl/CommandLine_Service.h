#pragma once

namespace WyCtl {

class CommandRegistry;

// Enters service with status, start and stop.
void AddServiceCommands(CommandRegistry& commands);

}  // namespace WyCtl
