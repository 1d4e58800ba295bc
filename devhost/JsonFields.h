#pragma once

// Typed reading of a request object. Nothing in a request is trusted: each reading either gives a
// value of the wanted type or raises RequestError with 0xe0ff0007 and the name of the field.

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

namespace DevHost {

// A view of the members of a request; the value must outlive it.
class JsonFields {
public:
    // Raises when the value is no object.
    explicit JsonFields(const Json::Value& object);

    bool Has(const char* key) const;
    std::uint32_t UInt32(const char* key) const;
    std::uint64_t UInt64(const char* key) const;
    // UTF-8, at most kTextLimit bytes.
    std::string Text(const char* key) const;
    // An array of texts, at most kListLimit of them.
    std::vector<std::string> TextList(const char* key) const;
    // Any value but a missing one.
    const Json::Value& Member(const char* key) const;

    static constexpr std::size_t kTextLimit = 64 * 1024;
    static constexpr std::size_t kListLimit = 100'000;

private:
    const Json::Value* m_pObject;
};

}  // namespace DevHost
