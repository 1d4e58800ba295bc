#pragma once

// Calls an exported function whose arguments are known only at run time.

#include <WySdk/WySdk.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace WyCtl {

// How one argument is passed. The classes decide about size and place of an argument on both
// targets: on i686 a 64-bit number takes two stack slots, everything else one.
enum class SlotClass { UInt8, UInt32, UInt64, Pointer };

// An export of no particular type, as it comes from the library.
using ExportAddress = void(WYAPI*)();

constexpr std::size_t kMaxArguments = 5;

// Calls the function with exactly the declared parameter types and returns its result code.
//
// `slots` holds one value per class: numbers by value, pointers as their address. The function
// must have this very signature. 8-bit numbers are supported as two and nothing else, at most
// kMaxArguments arguments otherwise; anything beyond raises std::invalid_argument and calls
// nothing.
std::uint32_t CallExport(ExportAddress address, std::span<const SlotClass> classes,
                         std::span<const std::uint64_t> slots);

}  // namespace WyCtl
