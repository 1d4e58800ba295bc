#pragma once

#include <memory>

#include "devhost/SystemProbe.h"

namespace DevHost {

// The Windows machine that this process runs on.
std::unique_ptr<SystemProbe> MakeSystemProbe();

}  // namespace DevHost
