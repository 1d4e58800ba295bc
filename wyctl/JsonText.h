#pragma once

// JSON as the program reads and writes it: UTF-8 text, jsoncpp values.

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

namespace WyCtl {

// The value of a JSON text, of any kind at its root; nothing for text that is no JSON or is nested
// more than 1000 levels deep.
std::optional<Json::Value> ParseJson(std::string_view text);

// One line without an end of line.
std::string WriteJson(const Json::Value& value);

// Indented text for people, without a final end of line.
std::string WriteJsonForPeople(const Json::Value& value);

// "0x20ff0000", its number and its meaning, as the members "code", "codeHex" and "meaning".
void AddResultCode(Json::Value& object, std::uint32_t code);

}  // namespace WyCtl
