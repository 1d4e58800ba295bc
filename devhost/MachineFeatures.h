#pragma once

#include <memory>
#include <vector>

#include "devhost/ScanFeature.h"

namespace DevHost {

// The features that look at the registry and the service manager: "uninstallEntries" (entries of
// installed programs whose folder is gone), "autorunEntries" (what starts at log-on; a problem
// where the program is gone) and "startupServices" (services that start by themselves).
std::vector<std::unique_ptr<ScanFeature>> MakeMachineFeatures();

}  // namespace DevHost
