#include "wyctl/CommandLine_Package.h"

#include <memory>

#include "wyctl/Errors.h"
#include "wyctl/PackageCommands.h"

namespace WyCtl {

void AddPackageCommands(CommandRegistry& commands) {
    CLI::App* const group =
        commands.AddGroup("package", "Look at an unpacked package before it is installed");
    const auto options = std::make_shared<PackagePlanOptions>();
    CLI::App* const plan = commands.Add(
        *group, "plan", "Show what an installation would do to this machine; changes nothing",
        [options](Context& context) {
            RunPackagePlan(context, *options);
            return kExitSuccess;
        });
    plan->add_option("DIR", options->package, "The folder of the package")->required();
    plan->add_flag("--installed", options->installed, "Over the product that is installed");
    plan->add_option("--to", options->target, "The folder of a first installation")
        ->option_text("FOLDER");
    const auto package = std::make_shared<std::string>();
    commands
        .Add(*group, "lint", "Tell what is wrong with a package",
             [package](Context& context) { return RunPackageLint(context, *package); })
        ->add_option("DIR", *package, "The folder of the package")
        ->required();
}

}  // namespace WyCtl
