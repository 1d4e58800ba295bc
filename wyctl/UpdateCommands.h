#pragma once

// The commands of the group "update". Each writes its result and returns, or raises one of
// Errors.h.

#include <string>

#include "wyctl/Context.h"

namespace WyCtl {

struct UpdateDeployOptions {
    std::string path;  // of the download
    bool plan = false;
};

// Deploys a download (WyAuDeploy), or says what that would do. Raises UsageError for an empty path,
// Failure when no product is installed, CallFailed; a plan raises Failure for a path that cannot be
// listed.
void RunUpdateDeploy(Context& context, const UpdateDeployOptions& options);

// Shows what the system moves and removes at its next start, the product's own entries marked.
void RunUpdatePending(Context& context);

}  // namespace WyCtl
