#pragma once

// Answers of the service for a person. The service decides what its JSON looks like, so nothing
// here knows a particular answer: objects become "name: value" lines, arrays of objects tables.

#include <json/value.h>

#include <cstdint>
#include <string>

#include "wyctl/CallValues.h"

namespace WyCtl {

// A number, a text, null, or for the output that is the whole answer the JSON value in it (its
// text, where that is no JSON).
Json::Value OutputAsJson(const OutputValue& output);

// All outputs as one object; the whole answer stands under "data".
Json::Value OutputsAsJson(const CallResult& result);

// One line without control characters; "-" for null. Arrays and objects as compact JSON.
std::string ViewScalar(const Json::Value& value);

// Lines of text, each ending in "\n".
std::string ViewResult(const Json::Value& value);

// "0 B", "512 B", "1.5 KiB", "20.0 GiB".
std::string HumanSize(std::uint64_t bytes);

}  // namespace WyCtl
