#pragma once

// The store in which a log finds its configuration.

#include <cstdint>
#include <memory>

#include "Common/KrCommon/KrComn_Storage.h"

namespace KrCommon {

// Makes a store for a type of key: 1 an INI file, 0 and 4 the registry; null for every other one.
using LogStorageFactory = std::unique_ptr<Storage::Base>(std::uint32_t type);

// The stores of the system. A native build has none: null for all types.
std::unique_ptr<Storage::Base> MakeLogStorage(std::uint32_t type);

}  // namespace KrCommon
