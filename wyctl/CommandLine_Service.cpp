#include "wyctl/CommandLine_Service.h"

#include "wyctl/CommandRegistry.h"
#include "wyctl/Errors.h"
#include "wyctl/ServiceCommands.h"

namespace WyCtl {

namespace {

void AddOne(CommandRegistry& commands, CLI::App& group, const char* name, const char* about,
            void (*run)(Context&)) {
    commands.Add(group, name, about, [run](Context& context) {
        run(context);
        return kExitSuccess;
    });
}

}  // namespace

void AddServiceCommands(CommandRegistry& commands) {
    CLI::App& group = *commands.AddGroup("service", "Look at the service, start and stop it");
    AddOne(commands, group, "status", "Show the service, its watchdog and its endpoint",
           RunServiceStatus);
    AddOne(commands, group, "start", "Have the watchdog start the service, and wait until it runs",
           RunServiceStart);
    AddOne(commands, group, "stop",
           "Have the watchdog stop the service, and wait until it is stopped", RunServiceStop);
}

}  // namespace WyCtl
