#include "wyctl/CommandLine_Deploy.h"

#include <memory>

#include "wyctl/DeployCommands.h"
#include "wyctl/Errors.h"

namespace WyCtl {

namespace {

struct Options {
    InstallOptions install;
    std::string folder;
};

}  // namespace

void AddDeployCommands(CommandRegistry& commands) {
    const auto options = std::make_shared<Options>();
    CLI::App* const install =
        commands.Add("install", "Lay an unpacked package down", [options](Context& context) {
            RunInstall(context, options->install);
            return kExitSuccess;
        });
    install->add_option("DIR", options->install.package, "The folder with the package")->required();
    install
        ->add_option("--to", options->install.folder,
                     "The product's folder; a product that is installed keeps its own")
        ->option_text("FOLDER");
    install
        ->add_option("--product-id", options->install.productId,
                     "The product number; without it the registered one")
        ->option_text("TEXT");
    install
        ->add_option("--vendor-id", options->install.vendorId,
                     "The vendor number; without it the registered one")
        ->option_text("TEXT");
    commands.Add("postinstall", "Start what was laid down", [](Context& context) {
        RunPostInstall(context);
        return kExitSuccess;
    });
    commands.Add("uninstall", "Remove the product from this machine", [](Context& context) {
        RunUninstall(context);
        return kExitSuccess;
    });
    commands
        .Add("verify", "Compare the installed product with a package",
             [options](Context& context) { return RunVerify(context, options->folder); })
        ->add_option("DIR", options->folder, "The folder with the package")
        ->required();
    commands
        .Add("leftovers", "Show what is left of the product after its removal",
             [options](Context& context) { return RunLeftovers(context, options->folder); })
        ->add_option("FOLDER", options->folder,
                     "Where it lay; none: what the registry still tells");
}

}  // namespace WyCtl
