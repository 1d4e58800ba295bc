#include <fmt/format.h>

#include "wyctl/Commands.h"
#include "wyctl/Errors.h"
#include "wyctl/FileBytes.h"
#include "wyctl/JsonText.h"
#include "wyctl/TextTable.h"
#include "wyctl/WireDecoder.h"

namespace WyCtl {

namespace {

constexpr std::size_t kTextPlaces = 160;

const char* KindName(CaptureKind kind) {
    switch (kind) {
        case CaptureKind::Request:
            return "request";
        case CaptureKind::Message:
            return "message";
        default:
            return "reply";
    }
}

Json::Value FieldAsJson(const WireField& field) {
    Json::Value value(Json::objectValue);
    value["offset"] = static_cast<Json::UInt64>(field.offset);
    value["length"] = static_cast<Json::UInt64>(field.length);
    value["name"] = field.name;
    value["type"] = field.type;
    if (field.type == "message") {
        Json::Value& fields = value["fields"] = Json::Value(Json::arrayValue);
        for (const WireField& child : field.fields) {
            fields.append(FieldAsJson(child));
        }
        return value;
    }
    value["value"] = field.value;
    if (!field.meaning.empty()) {
        value["meaning"] = field.meaning;
    }
    return value;
}

Json::Value CaptureAsJson(const WireCapture& capture, const std::string& file, std::size_t size) {
    Json::Value answer(Json::objectValue);
    answer["ok"] = capture.problems.empty();
    answer["file"] = file;
    answer["kind"] = KindName(capture.kind);
    answer["size"] = static_cast<Json::UInt64>(size);
    Json::Value& fields = answer["fields"] = Json::Value(Json::arrayValue);
    for (const WireField& field : capture.fields) {
        fields.append(FieldAsJson(field));
    }
    Json::Value& problems = answer["problems"] = Json::Value(Json::arrayValue);
    for (const WireProblem& problem : capture.problems) {
        Json::Value& item = problems.append(Json::Value(Json::objectValue));
        item["offset"] = static_cast<Json::UInt64>(problem.offset);
        item["text"] = problem.text;
    }
    return answer;
}

std::string ValueText(const WireField& field, bool full) {
    if (field.type == "message") {
        return fmt::format("{} bytes, {} field(s)", field.length, field.fields.size());
    }
    if (field.type == "bytes") {
        return field.value.asString();
    }
    if (field.value.isString()) {
        const std::string text = Printable(field.value.asString());
        return "\"" + (full ? text : CutToWidth(text, kTextPlaces)) + "\"";
    }
    return WriteJson(field.value);
}

void AppendField(std::string& text, const WireField& field, std::size_t level, bool full) {
    text += fmt::format("{:06x}  {:{}}{}  {}  {}", field.offset, "", 2 * level, field.name,
                        field.type, ValueText(field, full));
    text += field.meaning.empty() ? "\n" : fmt::format("  ({})\n", field.meaning);
    for (const WireField& child : field.fields) {
        AppendField(text, child, level + 1, full);
    }
}

std::string CaptureAsText(const WireCapture& capture, std::size_t size, bool full) {
    std::string text = fmt::format("{}, {} bytes\n", KindName(capture.kind), size);
    for (const WireField& field : capture.fields) {
        AppendField(text, field, 0, full);
    }
    for (const WireProblem& problem : capture.problems) {
        text += fmt::format("malformed at {:06x}: {}\n", problem.offset, problem.text);
    }
    return text;
}

}  // namespace

int RunDecode(Context& context, const DecodeOptions& options) {
    const std::vector<std::uint8_t> bytes = ReadFileBytes(options.file);
    const WireCapture capture = DecodeCapture(bytes, options.kind);
    if (context.Options().json) {
        context.PrintJson(CaptureAsJson(capture, options.file, bytes.size()));
    } else {
        context.Screen().Out(CaptureAsText(capture, bytes.size(), options.full));
    }
    if (capture.problems.empty()) {
        return kExitSuccess;
    }
    context.Screen().Err(
        fmt::format("wyctl: {}: {} malformed part(s)\n", options.file, capture.problems.size()));
    return kExitFailure;
}

}  // namespace WyCtl
