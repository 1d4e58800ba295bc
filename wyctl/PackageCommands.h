#pragma once

// The commands of the group "package". Each writes its result and returns, or raises one of
// Errors.h. None changes anything.

#include <string>

#include "wyctl/Context.h"

namespace WyCtl {

struct PackagePlanOptions {
    std::string package;     // its folder
    std::string target;      // of a first installation
    bool installed = false;  // over the product that is installed
};

// Shows what an installation of a package would do. Raises Failure for a folder that is no
// package, and when there is nothing to install over; UsageError for a target of an installed
// product.
void RunPackagePlan(Context& context, const PackagePlanOptions& options);

// Shows what is wrong with a package. Returns the exit code: kExitFailure when something is an
// error. Raises Failure for what is no folder.
int RunPackageLint(Context& context, const std::string& package);

}  // namespace WyCtl
