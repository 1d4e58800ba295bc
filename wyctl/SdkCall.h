#pragma once

// One call of a table-driven export: values in, result code and values out.

#include <cstdint>
#include <span>
#include <string>

#include "wyctl/ApiDirectory.h"
#include "wyctl/CallThunk.h"
#include "wyctl/CallValues.h"

namespace WyCtl {

// Releases a string that an export returned (LocalFree).
using TextRelease = void (*)(wchar_t* text);

// Turns what a person typed into the value of an argument. Numbers are decimal or "0x"
// hexadecimal. Raises UsageError, naming argument and type, for a text that is no such number or
// out of range.
InputValue ParseInput(const Argument& argument, const std::string& text);

// Makes the call. `inputs` has one value of the fitting kind per input argument. Strings that come
// back are copied and released.
CallResult CallFunction(ExportAddress address, const Function& function,
                        std::span<const InputValue> inputs, TextRelease release);

}  // namespace WyCtl
