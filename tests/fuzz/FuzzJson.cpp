// JSON text of any characters: parsed, read, written and parsed again.
//
// Input: one byte (bit 0: the rest is UTF-16 units instead of a character for each byte), text.

#include "FuzzInput.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace {

// Reads of the value and of what lies in it, of every type.
void ReadAll(JsonDocument document, int depth) {
    document.AsUInt32();
    document.AsInt32();
    document.AsUInt64();
    document.AsString();
    document.isNull();
    document.isMember(L"data");
    document.isMember("retCode");
    const std::uint32_t size = document.size();
    if (depth == 0 || size == 0) {
        return;
    }
    if (document.isMember(L"data")) {
        ReadAll(document[L"data"], depth - 1);
    } else {
        // Refused for an object that has no such member and for everything that is no array.
        ReadAll(document[size - 1], depth - 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool units = (input.Byte() & 1) != 0;
    const std::wstring text = units ? input.RestAsUnits() : input.RestAsText();
    JsonDocument document;
    const std::uint32_t status = document.Parse(text);
    fuzz::Require(status == document.Status(), "the status is not kept");
    fuzz::Require(status == JsonDocument::kOk || document.isNull(), "bad text left a value");

    const std::wstring compact = document.ToCompactString();
    fuzz::Require(!compact.empty() && compact.back() == L'\n', "compact text without its end");
    fuzz::Require(!document.ToStyledString().empty(), "no styled text");

    JsonDocument again;
    fuzz::Require(again.Parse(compact) == JsonDocument::kOk, "compact text does not parse");
    fuzz::Require(again.ToCompactString() == compact, "compact text changes when it is read");
    ReadAll(document, 8);

    JsonDocument target;
    target[L"value"].SetDocument(again);
    target[L"value"].ToCompactString();
    return 0;
}
