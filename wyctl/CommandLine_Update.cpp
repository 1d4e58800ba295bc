#include "wyctl/CommandLine_Update.h"

#include <memory>

#include "wyctl/Errors.h"
#include "wyctl/UpdateCommands.h"

namespace WyCtl {

void AddUpdateCommands(CommandRegistry& commands) {
    CLI::App* const group =
        commands.AddGroup("update", "Deploy a downloaded update, and see what is queued");
    const auto options = std::make_shared<UpdateDeployOptions>();
    CLI::App* const deploy = commands.Add(
        *group, "deploy", "Copy an update beside the product and queue it for the next restart",
        [options](Context& context) {
            RunUpdateDeploy(context, *options);
            return kExitSuccess;
        });
    deploy->add_option("PATH", options->path, "The folder with the downloaded update")->required();
    deploy->add_flag("--plan", options->plan,
                     "Only say what would be copied and queued; changes nothing");
    commands.Add(*group, "pending", "Show what the next restart moves and removes",
                 [](Context& context) {
                     RunUpdatePending(context);
                     return kExitSuccess;
                 });
}

}  // namespace WyCtl
