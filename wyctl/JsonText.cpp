#include "wyctl/JsonText.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>
#include <memory>

#include "wyctl/ResultCodes.h"

namespace WyCtl {

namespace {

std::string Write(const Json::Value& value, const char* indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

}  // namespace

std::optional<Json::Value> ParseJson(std::string_view text) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) {
            return value;
        }
    } catch (const std::exception&) {
        // The reader raises where it refuses to go deeper; that is no JSON for this program.
    }
    return std::nullopt;
}

std::string WriteJson(const Json::Value& value) {
    return Write(value, "");
}

std::string WriteJsonForPeople(const Json::Value& value) {
    return Write(value, "  ");
}

void AddResultCode(Json::Value& object, std::uint32_t code) {
    object["code"] = code;
    object["codeHex"] = HexCode(code);
    object["meaning"] = DescribeResult(code);
}

}  // namespace WyCtl
