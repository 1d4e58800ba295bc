#pragma once

// What every export is made of.
//
// A table-driven export is one line: its own name and its arguments in declaration order go to
// CallApi. Where a function differs from that, it differs visibly.

#include <array>
#include <cstdint>
#include <new>
#include <span>

#include "Common/KrCommon/KrComn_Result.h"
#include "WySdk/SdkPrimitive.h"

// Leaves an error line about an exception that was caught at the border of the library.
void LogCaughtException(const wchar_t* function, const wchar_t* what) noexcept;

// Runs a function of the library so that nothing escapes from it. A lack of memory becomes
// 0xe0ff001e, any other exception 0xe0ff0001.
template <class Function>
std::uint32_t Guarded(const wchar_t* name, Function&& function) noexcept {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        LogCaughtException(name, L"out of memory");
        return KrCommon::Result::kOutOfMemory;
    } catch (...) {
        LogCaughtException(name, L"unexpected exception");
        return KrCommon::Result::kFailure;
    }
}

// Carries out a function by the rows that the API table has under its name. A function that the
// table lacks has no arguments, whatever slots are given.
std::uint32_t CallApiWithSlots(const wchar_t* name, std::span<const std::uint64_t> slots) noexcept;

template <class... Arguments>
std::uint32_t CallApi(const wchar_t* name, Arguments... arguments) noexcept {
    const std::array<std::uint64_t, sizeof...(Arguments)> slots{Slot(arguments)...};
    return CallApiWithSlots(name, slots);
}

// Leaves a line in the log of failed scan calls when the result is negative, and returns it.
// `prefix` names the family, `name` the function.
std::uint32_t Reported(const wchar_t* prefix, const wchar_t* name, std::uint32_t result) noexcept;
