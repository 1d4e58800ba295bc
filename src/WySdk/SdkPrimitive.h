#pragma once

// The engine under every table-driven function: arguments in, one mail, answer out.
//
// Vocabulary: an argument travels in a *slot* of 64 bits. Numbers stand in it zero-extended,
// pointers as their address. Input problems are found before anything is sent, output problems
// after the service has acted; what was written by then stays written.

#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "WySdk/ApiTable.h"

// The slot of a number.
template <class Integer>
requires std::is_integral_v<Integer>
constexpr std::uint64_t Slot(Integer number) {
    if constexpr (std::is_same_v<Integer, bool>) {
        return number ? 1 : 0;
    } else {
        return static_cast<std::make_unsigned_t<Integer>>(number);
    }
}

// The slot of a pointer.
inline std::uint64_t Slot(const void* pointer) {
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

// Carries out one call by the table's rows, and returns the service's result.
//
// `argCount` is the number of rows to walk, `slots` holds one slot per row in row order, input and
// output alike; a slot that is missing reads as 0. A name that the table lacks sends an empty
// object under the sentinel's identifier when `argCount` is 0, and fails otherwise.
//
// Output texts belong to the application, which releases them with LocalFree.
//
// 0xe0ff0007: a null or ill-defined argument, or more rows than the table has. A negative code of
// the transport leaves all outputs untouched. Else the member "retCode" of the answer, if it has
// one: the outputs are then written whatever that code is.
//
// Runs on any number of threads at once; blocks until the answer is there. Raises std::bad_alloc.
std::uint32_t WySdkPrimitive(std::wstring_view apiName, std::int32_t argCount,
                             std::span<const std::uint64_t> slots);

// The same over another table, which ends with a sentinel.
std::uint32_t WySdkPrimitive(const ApiDefinition* table, std::wstring_view apiName,
                             std::int32_t argCount, std::span<const std::uint64_t> slots);
