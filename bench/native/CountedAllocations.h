#pragma once

#include <cstdint>

// Number of calls of operator new of this program so far. Linking CountedAllocations.cpp replaces
// the operator.
std::uint64_t CountedAllocations();
