#pragma once

// The commands that look at the service, start it and stop it.

#include "wyctl/Context.h"

namespace WyCtl {

// Shows what the service manager, the watchdog's events and the endpoint say. Nothing that is
// missing is a failure.
void RunServiceStatus(Context& context);

// Start and stop the service by WyStartService and WyStopService, showing how far it is. Raise
// CallFailed, and Cancelled after Ctrl+C: the call then goes on behind the command's back until
// the program ends.
void RunServiceStart(Context& context);
void RunServiceStop(Context& context);

}  // namespace WyCtl
