#include "wyctl/WireDecoder.h"

#include <fmt/format.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_String.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "Framework/utilIPC/ipc_param_message.h"
#include "Framework/utilIPC/ipc_wire.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/WireNames.h"

namespace WyCtl {

namespace {

constexpr std::size_t kWord = 4;
constexpr std::size_t kHeader = MsgBuffer::kHeaderSize;
constexpr std::size_t kBytesShown = 16;

class Decoder {
public:
    Decoder(std::span<const std::uint8_t> bytes, WireCapture& capture)
        : m_Bytes(bytes), m_Capture(capture) {}

    void Request();
    void Reply();
    // An image that takes the bytes from `begin` to `end`.
    void Image(std::size_t begin, std::size_t end);
    void RequireEnd(std::size_t end);

private:
    using Fields = std::vector<WireField>;

    std::uint32_t WordAt(std::size_t offset) const { return Wire::LoadUInt32(&m_Bytes[offset]); }
    void Problem(std::size_t offset, std::string text) {
        m_Capture.problems.push_back({offset, std::move(text)});
    }
    bool TakeWord(std::size_t& at, const char* name, std::uint32_t& value);
    void Handle(std::size_t at);
    void FailureText(std::size_t at);
    void Records(std::size_t begin, std::size_t end, std::size_t depth, Fields& fields);
    WireField Record(std::size_t at, std::size_t length, std::size_t depth);
    void Payload(std::size_t begin, std::size_t end, std::uint32_t type, std::size_t depth,
                 WireField& field);
    void Number(std::size_t begin, std::size_t end, bool isSigned, WireField& field);
    void NarrowText(std::size_t begin, std::size_t end, WireField& field);
    void WideText(std::size_t begin, std::size_t end, WireField& field);
    void Raw(std::size_t begin, std::size_t end, WireField& field) const;

    std::span<const std::uint8_t> m_Bytes;
    WireCapture& m_Capture;
    std::size_t m_uiFields = 0;
};

bool Decoder::TakeWord(std::size_t& at, const char* name, std::uint32_t& value) {
    if (m_Bytes.size() - at < kWord) {
        Problem(at, fmt::format("the {} needs 4 bytes, {} are left", name, m_Bytes.size() - at));
        return false;
    }
    value = WordAt(at);
    WireField field;
    field.offset = at;
    field.length = kWord;
    field.name = name;
    field.type = "uint32";
    field.value = value;
    m_Capture.fields.push_back(std::move(field));
    at += kWord;
    return true;
}

void Decoder::Request() {
    std::size_t at = 0;
    std::uint32_t id = 0;
    if (TakeWord(at, "message id", id)) {
        m_Capture.fields.back().meaning = CommandName(id);
        Handle(at);
    }
}

void Decoder::Reply() {
    std::size_t at = 0;
    std::uint32_t marker = 0;
    if (!TakeWord(at, "marker", marker)) {
        return;
    }
    m_Capture.fields.back().meaning = marker == IPC_REPLY_FAILURE ? "failure" : "success";
    if (marker != IPC_REPLY_FAILURE) {
        Handle(at);
        return;
    }
    std::uint32_t code = 0;
    if (TakeWord(at, "error code", code)) {
        const std::uint32_t seen = 0xe0010000U | (code & 0xffffU);
        m_Capture.fields.back().meaning =
            fmt::format("the caller gets {} {}", HexCode(seen), DescribeResult(seen));
        FailureText(at);
    }
}

void Decoder::FailureText(std::size_t at) {
    std::uint32_t length = 0;
    if (!TakeWord(at, "text length", length)) {
        return;
    }
    const std::size_t left = m_Bytes.size() - at;
    if (length > left) {
        Problem(at - kWord,
                fmt::format("the text of {} bytes passes the end by {}", length, length - left));
    }
    const std::size_t end = at + std::min<std::size_t>(length, left);
    WireField field;
    field.offset = at;
    field.length = end - at;
    field.name = "text";
    WideText(at, end, field);
    m_Capture.fields.push_back(std::move(field));
    RequireEnd(end);
}

void Decoder::Handle(std::size_t at) {
    std::uint32_t size = 0;
    if (!TakeWord(at, "message size", size)) {
        return;
    }
    if (static_cast<std::int32_t>(size) <= 0) {
        Problem(at - kWord, "there is no message: its size is 0 or negative");
        RequireEnd(at);
        return;
    }
    const std::size_t left = m_Bytes.size() - at;
    if (size > left) {
        Problem(at - kWord,
                fmt::format("the message of {} bytes passes the end by {}", size, size - left));
    }
    const std::size_t end = at + std::min<std::size_t>(size, left);
    Image(at, end);
    RequireEnd(end);
}

void Decoder::RequireEnd(std::size_t end) {
    if (end < m_Bytes.size()) {
        Problem(end, fmt::format("{} byte(s) behind the end", m_Bytes.size() - end));
    }
}

void Decoder::Image(std::size_t begin, std::size_t end) {
    if (end - begin < kHeader) {
        Problem(begin, fmt::format("a message header needs 12 bytes, {} are left", end - begin));
        return;
    }
    const std::uint32_t id = WordAt(begin);
    const std::uint32_t type = WordAt(begin + kWord);
    const std::uint32_t length = WordAt(begin + 2 * kWord);
    if (type != ParamTag::kMessage) {
        Problem(begin + kWord, fmt::format("the message has type {} in place of 100", type));
    }
    if (length != end - begin - kHeader) {
        Problem(begin + 2 * kWord, fmt::format("the message header counts {} bytes, {} are there",
                                               length, end - begin - kHeader));
    }
    WireField field;
    field.offset = begin;
    field.length = end - begin;
    const std::string name = MessageName(id);
    field.name = fmt::format("{} ({:#x})", name.empty() ? "message" : name, id);
    field.type = "message";
    Records(begin + kHeader, end, 1, field.fields);
    m_Capture.fields.push_back(std::move(field));
}

void Decoder::Records(std::size_t begin, std::size_t end, std::size_t depth, Fields& fields) {
    std::size_t at = begin;
    while (end - at >= kHeader) {
        if (++m_uiFields > kMaxWireFields) {
            if (m_uiFields == kMaxWireFields + 1) {
                Problem(at,
                        fmt::format("more than {} fields; the rest is not shown", kMaxWireFields));
            }
            return;
        }
        const std::size_t length = WordAt(at + 2 * kWord);
        const std::size_t left = end - at - kHeader;
        if (length > left) {
            Problem(at, fmt::format("the payload of {} bytes passes the end of its message by {}",
                                    length, length - left));
        }
        fields.push_back(Record(at, std::min(length, left), depth));
        at += kHeader + std::min(length, left);
    }
    if (at < end) {
        Problem(at, fmt::format("{} byte(s) where a record header needs 12", end - at));
    }
}

WireField Decoder::Record(std::size_t at, std::size_t length, std::size_t depth) {
    const std::uint32_t id = WordAt(at);
    const std::uint32_t type = WordAt(at + kWord);
    WireField field;
    field.offset = at;
    field.length = kHeader + length;
    const bool isMessage = type == ParamTag::kMessage;
    const std::string name = isMessage ? MessageName(id) : ParameterName(id);
    field.name = fmt::format("{} ({:#x})", name.empty() ? "unknown" : name, id);
    Payload(at + kHeader, at + kHeader + length, type, depth, field);
    if (field.value.isIntegral()) {
        field.meaning = ValueMeaning(id, WordAt(at + kHeader));
    }
    return field;
}

void Decoder::Payload(std::size_t begin, std::size_t end, std::uint32_t type, std::size_t depth,
                      WireField& field) {
    switch (type) {
        case ParamTag::kInt:
        case ParamTag::kUInt:
            Number(begin, end, type == ParamTag::kInt, field);
            return;
        case ParamTag::kStringA:
            NarrowText(begin, end, field);
            return;
        case ParamTag::kStringW:
            WideText(begin, end, field);
            return;
        case ParamTag::kMessage:
            if (depth < kMaxWireDepth) {
                field.type = "message";
                Records(begin, end, depth + 1, field.fields);
                return;
            }
            Problem(begin, fmt::format("messages are nested more than {} deep", kMaxWireDepth));
            break;
        default:
            Problem(begin - kHeader + kWord, fmt::format("unknown type tag {}", type));
            break;
    }
    Raw(begin, end, field);
}

void Decoder::Number(std::size_t begin, std::size_t end, bool isSigned, WireField& field) {
    if (end - begin != kWord) {
        Problem(begin, fmt::format("a number has 4 bytes, this one {}", end - begin));
        Raw(begin, end, field);
        return;
    }
    const std::uint32_t number = WordAt(begin);
    field.type = isSigned ? "int32" : "uint32";
    field.value =
        isSigned ? Json::Value(static_cast<Json::Int>(number)) : Json::Value(Json::UInt(number));
}

void Decoder::NarrowText(std::size_t begin, std::size_t end, WireField& field) {
    field.type = "string";
    std::string text(m_Bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                     m_Bytes.begin() + static_cast<std::ptrdiff_t>(end));
    if (text.empty() || text.back() != '\0') {
        Problem(begin, "the string has no terminator");
    } else {
        text.pop_back();
    }
    // Through wide text and back, so that bytes which are no UTF-8 cannot reach the terminal.
    field.value = KrCommon::String::ToUtf8(KrCommon::String::FromUtf8(text));
}

void Decoder::WideText(std::size_t begin, std::size_t end, WireField& field) {
    field.type = "wide string";
    if ((end - begin) % 2 != 0) {
        Problem(begin, fmt::format("a wide string of {} bytes, an odd number", end - begin));
    }
    const std::size_t units = (end - begin) / 2;
    std::wstring text(units, L'\0');
    text.resize(units == 0 ? 0 : Wire::DecodeUnits(&m_Bytes[begin], units, text.data()));
    if (text.empty() || text.back() != L'\0') {
        Problem(begin, "the wide string has no terminator");
    } else {
        text.pop_back();
    }
    field.value = KrCommon::String::ToUtf8(text);
}

void Decoder::Raw(std::size_t begin, std::size_t end, WireField& field) const {
    field.type = "bytes";
    std::string text;
    for (std::size_t i = begin; i < std::min(end, begin + kBytesShown); ++i) {
        text += fmt::format("{}{:02x}", text.empty() ? "" : " ", m_Bytes[i]);
    }
    field.value = end - begin > kBytesShown ? text + " ..." : text;
}

// A bare message shows its type 100 where an envelope has the size of what follows.
CaptureKind Judge(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kWord) {
        return CaptureKind::Reply;
    }
    const std::uint32_t first = Wire::LoadUInt32(bytes.data());
    if (!CommandName(first).empty()) {
        return CaptureKind::Request;
    }
    if (bytes.size() >= kHeader && !MessageName(first).empty() &&
        Wire::LoadUInt32(bytes.data() + kWord) == ParamTag::kMessage) {
        return CaptureKind::Message;
    }
    return CaptureKind::Reply;
}

}  // namespace

WireCapture DecodeCapture(std::span<const std::uint8_t> bytes, CaptureKind kind) {
    WireCapture capture;
    capture.kind = kind == CaptureKind::Auto ? Judge(bytes) : kind;
    Decoder decoder(bytes, capture);
    switch (capture.kind) {
        case CaptureKind::Request:
            decoder.Request();
            break;
        case CaptureKind::Message:
            decoder.Image(0, bytes.size());
            break;
        default:
            decoder.Reply();
            break;
    }
    return capture;
}

}  // namespace WyCtl
