#include "WySdk/SdkPrimitive.h"

#include <array>
#include <cstddef>
#include <string>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "WySdk/SdkJson.h"
#include "WySdk/SdkMail.h"
#include "WySdk/SdkOutput.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace {

using KrCommon::Result::Failed;
using KrCommon::Result::kInvalidArgument;
using KrCommon::Result::kSuccess;

constexpr char kLogSource[] = "SdkPrimitive";
constexpr wchar_t kLogModule[] = L"WySdk";

constexpr wchar_t kNullKey[] = L"Null JSON key! argument NO = ";
constexpr wchar_t kNullKeyOfPointer[] = L"Null JSON key!, argument NO = ";
constexpr wchar_t kNullPointer[] = L"Input parameter is NULL! argument NO = ";
constexpr wchar_t kNullNumberPointer[] = L"Invalid Parameter, pnValue is NULL!, argument NO = ";

// What an input argument of a type must have, as the text of the log line when it is missing.
struct InputRule {
    const wchar_t* withoutKey;   // null: the type is no input
    const wchar_t* nullPointer;  // null: the argument is passed by value
};

constexpr InputRule kNoInput{nullptr, nullptr};

// By ApiParamType.
constexpr std::array<InputRule, ParamNone + 1> kInputRules{{
    {kNullKey, nullptr},                // ParamUInt32
    {kNullKey, nullptr},                // ParamUInt64
    {kNullKey, kNullNumberPointer},     // ParamUInt32Ptr
    {kNullKeyOfPointer, kNullPointer},  // ParamUInt64Ptr
    {kNullKeyOfPointer, kNullPointer},  // ParamWString
    kNoInput,                           // ParamWStringOut
    {kNullKeyOfPointer, kNullPointer},  // ParamJsonText
    {kNullKey, kNullPointer},           // ParamWStringList
    kNoInput,                           // ParamNone
}};

constexpr const InputRule& RuleOf(std::uint32_t paramType) {
    return paramType < kInputRules.size() ? kInputRules[paramType] : kNoInput;
}

template <class Type>
Type* PointerIn(std::uint64_t slot) {
    // A slot carries an argument of any kind as a number.
    return reinterpret_cast<Type*>(  // NOLINT(performance-no-int-to-ptr)
        static_cast<std::uintptr_t>(slot));
}

// Hands out the argument slots one after the other.
class SlotReader {
public:
    explicit SlotReader(std::span<const std::uint64_t> slots) : m_Slots(slots) {}

    std::uint64_t Next() { return m_uiNext < m_Slots.size() ? m_Slots[m_uiNext++] : 0; }

private:
    std::span<const std::uint64_t> m_Slots;
    std::size_t m_uiNext = 0;
};

std::wstring_view Trim(std::wstring_view text) {
    constexpr std::wstring_view kBlanks = L" \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::wstring_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Takes the piece before the first comma off the text. False behind the last piece; `rest` is
// then no longer to be read.
bool TakePiece(std::wstring_view& rest, std::wstring& piece) {
    const std::size_t comma = rest.find(L',');
    piece = Trim(rest.substr(0, comma));
    if (comma == std::wstring_view::npos)
        return false;
    rest.remove_prefix(comma + 1);
    return true;
}

// Walks from a document down to the member that the last piece of a row's key names; that piece
// is left in `key`.
JsonDocument WalkToParent(const JsonDocument& root, std::wstring_view path, std::wstring& key) {
    JsonDocument target(root);
    while (TakePiece(path, key))
        target = MemberOf(target, key);
    return target;
}

void SetList(JsonDocument& member, std::wstring_view text) {
    member.SetDocument(JsonDocument::MakeArray());
    std::wstring piece;
    bool more = true;
    for (std::uint32_t i = 0; more; ++i) {
        more = TakePiece(text, piece);
        JsonDocument element = member[i];
        RequireMemory(element);
        element.SetString(piece);
        RequireMemory(element);
    }
}

// What is no JSON goes out as null.
void SetValueOfText(JsonDocument& member, const wchar_t* text) {
    if (member.Parse(text) == JsonDocument::kBadArgument)
        member.SetDocument(JsonDocument());
}

void SetMember(JsonDocument& member, std::uint32_t paramType, std::uint64_t slot) {
    switch (paramType) {
        case ParamUInt32:
            return member.SetUInt32(static_cast<std::uint32_t>(slot));
        case ParamUInt64:
            return member.SetUInt64(slot);
        case ParamUInt32Ptr:
            return member.SetUInt32(*PointerIn<const std::uint32_t>(slot));
        case ParamUInt64Ptr:
            return member.SetUInt64(*PointerIn<const std::uint64_t>(slot));
        case ParamWString:
            return member.SetString(PointerIn<const wchar_t>(slot));
        case ParamJsonText:
            return SetValueOfText(member, PointerIn<const wchar_t>(slot));
        case ParamWStringList:
            return SetList(member, PointerIn<const wchar_t>(slot));
        default:
            return;
    }
}

// One call: the two passes over the rows, and what they share.
class CApiCall {
public:
    CApiCall(const ApiDefinition* firstRow, std::int32_t argCount,
             std::span<const std::uint64_t> slots)
        : m_pFirstRow(firstRow), m_iArgCount(argCount), m_Slots(slots) {}

    std::uint32_t Run();

private:
    std::uint32_t PutInputs();
    std::uint32_t PutInput(const ApiDefinition& row, SlotReader& slots);
    std::uint32_t GetOutputs();
    std::uint32_t GetOutput(const ApiDefinition& row, SlotReader& slots, const JsonDocument& data);
    std::uint32_t Refuse(const wchar_t* text) const;

    const ApiDefinition* m_pFirstRow;
    std::int32_t m_iArgCount;
    std::span<const std::uint64_t> m_Slots;
    // The number of the argument that the input pass is at; the output pass logs where it ended.
    std::int32_t m_iArgument = 0;
    JsonDocument m_Document;
};

std::uint32_t CApiCall::Refuse(const wchar_t* text) const {
    WY_LOG_ERROR << text << m_iArgument;
    return kInvalidArgument;
}

std::uint32_t CApiCall::PutInput(const ApiDefinition& row, SlotReader& slots) {
    std::wstring key;
    JsonDocument target = WalkToParent(m_Document, row.jsonKey, key);
    const InputRule& rule = RuleOf(row.paramType);
    if (rule.withoutKey == nullptr) {
        WY_LOG_ERROR << L"Invalid parameter type! argument type = " << row.paramType;
        return kSuccess;
    }
    if (key.empty())
        return Refuse(rule.withoutKey);
    const std::uint64_t slot = slots.Next();
    if (rule.nullPointer != nullptr && PointerIn<const void>(slot) == nullptr) {
        return Refuse(rule.nullPointer);
    }
    JsonDocument member = MemberOf(target, key);
    SetMember(member, row.paramType, slot);
    RequireMemory(member);
    return kSuccess;
}

std::uint32_t CApiCall::PutInputs() {
    SlotReader slots(m_Slots);
    const ApiDefinition* row = m_pFirstRow;
    for (m_iArgument = 0; m_iArgument < m_iArgCount; ++m_iArgument, ++row) {
        if (row->apiId == kSentinelApiId) {
            WY_LOG_ERROR << L"Invalid API definition";
            return kInvalidArgument;
        }
        if ((row->direction & ApiDirection::kIn) == 0) {
            slots.Next();
            continue;
        }
        const std::uint32_t result = PutInput(*row, slots);
        if (Failed(result))
            return result;
    }
    // Without inputs an object is sent, too.
    if (m_Document.isNull())
        m_Document.Parse(L"{}");
    RequireMemory(m_Document);
    return kSuccess;
}

std::uint32_t CApiCall::GetOutput(const ApiDefinition& row, SlotReader& slots,
                                  const JsonDocument& data) {
    std::wstring key;
    JsonDocument target = WalkToParent(data, row.jsonKey, key);
    const bool isNumber = row.paramType == ParamUInt32Ptr || row.paramType == ParamUInt64Ptr;
    if (!isNumber && row.paramType != ParamWStringOut) {
        WY_LOG_ERROR << L"invalid parameter type: " << row.paramType;
        return kSuccess;
    }
    if (isNumber && key.empty())
        return Refuse(kNullKey);
    const std::uint64_t slot = slots.Next();
    if (PointerIn<const void>(slot) == nullptr) {
        // A text that nobody wants is no mistake.
        return isNumber ? Refuse(kNullPointer) : kSuccess;
    }
    const JsonDocument value = key.empty() ? data : MemberOf(target, key);
    if (row.paramType == ParamUInt32Ptr) {
        *PointerIn<std::uint32_t>(slot) = value.AsUInt32();
    } else if (row.paramType == ParamUInt64Ptr) {
        *PointerIn<std::uint64_t>(slot) = value.AsUInt64();
    } else {
        *PointerIn<wchar_t*>(slot) =
            AllocateOutputText(key.empty() ? value.ToCompactString() : value.AsString());
    }
    RequireMemory(value);
    return kSuccess;
}

std::uint32_t CApiCall::GetOutputs() {
    const JsonDocument data = m_Document[L"data"];
    RequireMemory(data);
    SlotReader slots(m_Slots);
    const ApiDefinition* row = m_pFirstRow;
    for (std::int32_t i = 0; i < m_iArgCount; ++i, ++row) {
        if (row->apiId == kSentinelApiId) {
            WY_LOG_ERROR << L"Invalid API definition!, Api ID = " << m_pFirstRow->apiId;
            return kInvalidArgument;
        }
        if ((row->direction & ApiDirection::kOut) == 0) {
            slots.Next();
            continue;
        }
        const std::uint32_t result = GetOutput(*row, slots, data);
        if (Failed(result))
            return result;
    }
    return kSuccess;
}

std::uint32_t CApiCall::Run() {
    const std::uint32_t apiId = m_pFirstRow->apiId;
    WY_LOG_INFO << L"Api ID = " << apiId;

    RequireMemory(m_Document);
    std::uint32_t result = PutInputs();
    if (Failed(result))
        return result;

    result = SendMail2Wyvarion(MailDestination::kApiCall, apiId, m_Document);
    if (Failed(result)) {
        WY_LOG_ERROR << L"Failed to send mail to Wyvarion, return code = " << WyHex{result};
        return result;
    }

    const std::uint32_t outputs = GetOutputs();
    if (Failed(outputs))
        return outputs;

    if (m_Document.isMember(L"retCode"))
        result = m_Document[L"retCode"].AsUInt32();
    RequireMemory(m_Document);
    WY_LOG_INFO << L"Return code = " << WyHex{result};
    return result;
}

}  // namespace

std::uint32_t WySdkPrimitive(const ApiDefinition* table, std::wstring_view apiName,
                             std::int32_t argCount, std::span<const std::uint64_t> slots) {
    const WyFunctionTrace trace(kLogModule, kLogSource, L"WySdkPrimitive", __LINE__);
    WY_LOG_INFO << L"Function name = " << apiName << L", argument number = " << argCount;
    return CApiCall(FindApiDefinition(table, apiName), argCount, slots).Run();
}

std::uint32_t WySdkPrimitive(std::wstring_view apiName, std::int32_t argCount,
                             std::span<const std::uint64_t> slots) {
    return WySdkPrimitive(g_ApiDefinitions.data(), apiName, argCount, slots);
}
