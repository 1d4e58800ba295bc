#pragma once

// What the product's client makes of a damaged reply, whatever the transport: each fault with the
// result of the mail and the answer that the caller is left with.

#include <cstdint>
#include <string>

#include "lib/wycommon/WyCommon_JsonDocument.h"

struct FaultEffect {
    const char* action;
    std::uint32_t result;
    const char* answer;  // as AnswerShape tells it
};

constexpr FaultEffect kFaultEffects[] = {
    // Without a result code the client does not look any further.
    {"omit resultcode", 0xe0ff0001, "none"},
    {"mistype resultcode", 0xe0ff0001, "none"},
    {"omit bodyid", 0xe0ff0007, "none"},
    {"mistype bodyid", 0xe0ff0007, "none"},
    {"omit body", 0xe0ff0007, "none"},
    {"mistype body", 0xe0ff0007, "none"},
    {"omit mailresult", 0xe0ff0007, "none"},
    {"mistype mailresult", 0xe0ff0007, "none"},
    {"omit packer", 0xe0ff0007, "none"},
    {"mistype packer", 0xe0ff0007, "none"},
    {"omit child", 0xe0ff0007, "none"},
    {"mistype child", 0xe0ff0007, "none"},
    // A missing text is no failure of the mail.
    {"omit json", 0x20ff0000, "none"},
    {"mistype json", 0x20ff0000, "none"},
    {"texthex -", 0x20ff0000, "none"},
    {"text no json", 0x20ff0000, "none"},
    {"omit retcode", 0x20ff0000, "data"},
    {"mistype retcode", 0x20ff0000, "retCode:text data"},
    {"omit data", 0x20ff0000, "retCode:number"},
    {"mistype data", 0x20ff0000, "retCode:number data:text"},
    {"retcode 0xe0ff0016", 0x20ff0000, "retCode:number data"},
    {"mailresult 0xe0ff0016", 0xe0ff0016, "none"},
    {"resultcode 0xe0ff001e", 0xe0ff001e, "none"},
    {"fail 0x12345", 0xe0012345, "none"},
    {"bytes -", 0xe0ff0009, "none"},
    {"bytes ca000000", 0xe0ff0009, "none"},
    {"truncate 0", 0xe0ff0009, "none"},
    {"truncate 20", 0xe0ff0009, "none"},
    {"delay 1", 0x20ff0000, "retCode:number data"},
    {"size 100000", 0x20ff0000, "retCode:number data"},
    // {"data": {"x": "a;b#c"}}
    {"texthex 7b2264617461223a7b2278223a22613b622363227d7d", 0x20ff0000, "data"},
    // The last one, since the client repeats the call.
    {"unknown-client", 0x20ff0000, "retCode:number data"},
};

// Each fault once, in this order, as a script for calls of one API number.
inline std::string FaultEffectScript(std::uint32_t apiId) {
    std::string script;
    for (const FaultEffect& effect : kFaultEffects)
        script += "api:" + std::to_string(apiId) + " " + effect.action + "\n";
    return script;
}

// Which members an answer has, with the type of those that have the wrong one: "none",
// "retCode:number data".
inline std::string AnswerShape(JsonDocument& answer) {
    const Json::Value& root = answer.Native();
    if (!root.isObject() || root.empty())
        return "none";
    std::string shape;
    if (root.isMember("retCode"))
        shape = root["retCode"].isUInt() ? "retCode:number" : "retCode:text";
    if (root.isMember("data")) {
        shape += shape.empty() ? "data" : " data";
        shape += root["data"].isObject() ? "" : ":text";
    }
    return shape;
}
