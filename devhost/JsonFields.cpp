#include "devhost/JsonFields.h"

#include "devhost/ApiTypes.h"

namespace DevHost {

namespace {

[[noreturn]] void Reject(const char* key, const char* wanted) {
    throw RequestError(KrCommon::Result::kInvalidArgument,
                       std::string("\"") + key + "\" must be " + wanted);
}

}  // namespace

JsonFields::JsonFields(const Json::Value& object) : m_pObject(&object) {
    if (!object.isObject()) {
        throw RequestError(KrCommon::Result::kInvalidArgument, "the request is no JSON object");
    }
}

bool JsonFields::Has(const char* key) const {
    return m_pObject->isMember(key);
}

const Json::Value& JsonFields::Member(const char* key) const {
    if (!m_pObject->isMember(key))
        Reject(key, "present");
    return (*m_pObject)[key];
}

std::uint32_t JsonFields::UInt32(const char* key) const {
    const Json::Value& value = Member(key);
    if (!value.isIntegral() || !value.isUInt())
        Reject(key, "an unsigned 32-bit number");
    return value.asUInt();
}

std::uint64_t JsonFields::UInt64(const char* key) const {
    const Json::Value& value = Member(key);
    if (!value.isIntegral() || !value.isUInt64())
        Reject(key, "an unsigned 64-bit number");
    return value.asUInt64();
}

std::string JsonFields::Text(const char* key) const {
    const Json::Value& value = Member(key);
    if (!value.isString())
        Reject(key, "a text");
    std::string text = value.asString();
    if (text.size() > kTextLimit)
        Reject(key, "a text of at most 64 KiB");
    return text;
}

std::vector<std::string> JsonFields::TextList(const char* key) const {
    const Json::Value& value = Member(key);
    if (!value.isArray() || value.size() > kListLimit)
        Reject(key, "a list of at most 100000 texts");
    std::vector<std::string> texts;
    texts.reserve(value.size());
    for (const Json::Value& item : value) {
        if (!item.isString())
            Reject(key, "a list of texts");
        texts.push_back(item.asString());
    }
    return texts;
}

}  // namespace DevHost
