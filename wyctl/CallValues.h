#pragma once

// What goes into a call and what comes out of it.

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace WyCtl {

// A number or a text, for one input argument.
using InputValue = std::variant<std::uint64_t, std::wstring>;

// What came back through one output argument.
struct OutputValue {
    std::string key;  // empty for the output that is the whole answer
    bool isText = false;
    std::uint64_t number = 0;         // 0 where nothing was written
    std::optional<std::string> text;  // UTF-8; empty where the pointer is null
};

struct CallResult {
    std::uint32_t code = 0;
    std::vector<OutputValue> outputs;  // in the order of declaration
};

}  // namespace WyCtl
