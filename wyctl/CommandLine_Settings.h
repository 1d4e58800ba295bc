#pragma once

namespace WyCtl {

class CommandRegistry;

// Enters proxy, identifier, reamer, debuglog, language, schedule and urls.
void AddSettingsCommands(CommandRegistry& commands);

}  // namespace WyCtl
