#pragma once

// The commands of a product's life on a machine. Each writes its result and returns, or raises one
// of Errors.h.

#include <optional>
#include <string>

#include "wyctl/Context.h"

namespace WyCtl {

struct InstallOptions {
    std::string package;
    std::string folder;                    // empty: the installed product's own
    std::optional<std::string> productId;  // none: what is registered already
    std::optional<std::string> vendorId;
};

// Lays a package down (WyInstall). Raises UsageError for an empty path, Failure for a folder that
// is no package, before the library is called; CallFailed.
void RunInstall(Context& context, const InstallOptions& options);

// Starts what was laid down (WyPostInstall), and removes the product (WyUninstall). Raise
// CallFailed.
void RunPostInstall(Context& context);
void RunUninstall(Context& context);

// Compares the machine with a package. Returns the exit code: kExitFailure when something differs.
// Raises UsageError for an empty path; Failure when no product is installed and for a package that
// cannot be read.
int RunVerify(Context& context, const std::string& package);

// Shows what of the product is on the machine after its removal. `folder` is where it lay; empty:
// what the registry still tells. Returns the exit code: kExitFailure when something is left that
// should not be.
int RunLeftovers(Context& context, const std::string& folder);

}  // namespace WyCtl
