// The way from an answer to the application's pointers: every function of the table with a
// scripted answer of any text.
//
// Input: one byte for the function, one for the form of the text and for the pointers that are
// null (bit 0: UTF-16 units; bits 1 to 7: a null pointer for the first to seventh argument), text.

#include <cwchar>

#include "FuzzInput.h"
#include "WySdk/SdkMail.h"
#include "WySdk/SdkPrimitive.h"

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint64_t kUntouched = 0x5a5a5a5a5a5a5a5aULL;

std::wstring& Answer() {
    static std::wstring answer;
    return answer;
}

const std::vector<const ApiDefinition*>& Functions() {
    static const std::vector<const ApiDefinition*> functions = [] {
        std::vector<const ApiDefinition*> first;
        for (const ApiDefinition& row : g_ApiDefinitions) {
            if (first.empty() || first.back()->apiName != row.apiName) {
                first.push_back(&row);
            }
        }
        first.pop_back();  // the sentinel
        return first;
    }();
    return functions;
}

// What one argument points to.
struct Target {
    std::uint64_t number = kUntouched;
    wchar_t* text = nullptr;
};

std::uint64_t SlotOf(const ApiDefinition& row, Target& target) {
    switch (row.paramType) {
        case ParamUInt32Ptr:
        case ParamUInt64Ptr:
            return Slot(&target.number);
        case ParamWStringOut:
            return Slot(&target.text);
        case ParamWString:
        case ParamWStringList:
            return Slot(L"a,b");
        case ParamJsonText:
            return Slot(L"{\"a\":[1]}");
        default:
            return 5;
    }
}

bool IsPointer(const ApiDefinition& row) {
    return row.paramType != ParamUInt32 && row.paramType != ParamUInt64;
}

void Check(const ApiDefinition& row, Target& target) {
    if ((row.direction & ApiDirection::kOut) == 0) {
        return;
    }
    if (row.paramType == ParamUInt32Ptr) {
        fuzz::Require(target.number >> 32 == kUntouched >> 32, "a number is wider than its type");
    }
    if (target.text != nullptr) {
        // Read to its end, so that a sanitizer sees a terminator outside the block.
        fuzz::Require(std::wcslen(target.text) <= 64 + 32 * Answer().size(), "too much text");
        std::free(target.text);
    }
}

}  // namespace

// Stands in for the road to the service.
std::uint32_t SendMail2Wyvarion(std::uint32_t, std::uint32_t, JsonDocument& document) {
    document.ToCompactString();
    document.Clear();
    if (document.Parse(Answer()) != JsonDocument::kOk) {
        document.Clear();
    }
    return kSuccess;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::LogIntoNothing();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const ApiDefinition* first = Functions()[input.Byte() % Functions().size()];
    const std::uint8_t form = input.Byte();
    Answer() = (form & 1) != 0 ? input.RestAsUnits() : input.RestAsText();

    const std::int32_t count = GetApiArgumentCount(first->apiName);
    std::vector<Target> targets(static_cast<std::size_t>(count));
    std::vector<std::uint64_t> slots;
    bool allGiven = true;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const bool null = IsPointer(first[i]) && i < 7 && (form >> (i + 1) & 1) != 0;
        slots.push_back(null ? 0 : SlotOf(first[i], targets[i]));
        allGiven = allGiven && !null;
    }
    const std::uint32_t result = WySdkPrimitive(first->apiName, count, slots);
    JsonDocument answer;
    const bool parsed = answer.Parse(Answer()) == JsonDocument::kOk;
    if (allGiven && (!parsed || !answer.isMember("retCode"))) {
        fuzz::Require(result == kSuccess, "an answer without a code is a failure");
    }
    for (std::size_t i = 0; i < targets.size(); ++i) {
        Check(first[i], targets[i]);
    }
    return 0;
}
