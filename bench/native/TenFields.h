#pragma once

// The ten fields that every format of the benchmarks carries: four texts, six numbers.

#include <json/json.h>

#include <cstdint>

namespace TenFields {

constexpr const char* kTexts[] = {"C:\\Users\\person\\Documents", "video and pictures",
                                  "0b1d5a3e-7f1c-4b0e-9a51-1f3a7e2c4d60", "temporaryFiles"};
constexpr std::uint32_t kNumbers[] = {1, 25, 400010000, 1048576};
constexpr std::uint64_t kLarge[] = {8589934592ULL, 1732190400123ULL};

inline void Fill(Json::Value& object) {
    object["filterParamDiskDrive"] = kTexts[0];
    object["category"] = kTexts[1];
    object["sessionId"] = kTexts[2];
    object["feature"] = kTexts[3];
    object["activeSessionId"] = kNumbers[0];
    object["progress"] = kNumbers[1];
    object["apiNumber"] = kNumbers[2];
    object["filterParamHighBound"] = kNumbers[3];
    object["filterParamFileSize"] = static_cast<Json::UInt64>(kLarge[0]);
    object["timestamp"] = static_cast<Json::UInt64>(kLarge[1]);
}

}  // namespace TenFields
