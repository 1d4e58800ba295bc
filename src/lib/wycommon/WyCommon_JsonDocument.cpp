#include "lib/wycommon/WyCommon_JsonDocument.h"

#include <json/json.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <new>
#include <stdexcept>
#include <utility>

#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_JsonText.h"

// Json::Reader, FastWriter and StyledWriter are the classes whose text form this system speaks;
// the library marks them as deprecated in favour of others with another form.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

namespace String = KrCommon::String;

// The library keeps string lengths in 32 bits and drops what does not fit.
constexpr std::size_t kMaxStringSize = 0x7fff0000;
constexpr std::uint32_t kMaxIndex = 0x7ffffffe;

// 2^64. The library's own range check lets this number pass as an unsigned one.
constexpr double kBeyondUInt64 = 18446744073709551616.0;

// Runs one operation and turns whatever it raises into a status.
template <class Operation>
std::uint32_t Guarded(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return JsonDocument::kOutOfMemory;
    } catch (const std::length_error&) {
        return JsonDocument::kOutOfMemory;
    } catch (const Json::RuntimeError&) {
        // A string that got no memory. The other reason, a text nested too deep, is ruled out
        // before the reader sees the text.
        return JsonDocument::kOutOfMemory;
    } catch (...) {
        return JsonDocument::kBadArgument;
    }
}

// True when the value and all below it need no more levels than these. Recurses no deeper.
bool FitsInto(const Json::Value& value, std::uint32_t levels) {
    if (levels == 0) {
        return false;
    }
    if (!value.isArray() && !value.isObject()) {
        return true;
    }
    for (const Json::Value& child : value) {
        if (!FitsInto(child, levels - 1)) {
            return false;
        }
    }
    return true;
}

// The writer keeps the text for itself and returns a copy: it is gone with this function.
template <class Writer>
std::string Write(const Json::Value& value) {
    Writer writer;
    return writer.write(value);
}

std::uint32_t Read(std::string_view text, std::uint32_t levels, Json::Value& value) {
    // A text shorter than the limits cannot pass them. One that is as long can: the reader goes
    // one level deeper to see that nothing follows the last bracket.
    const std::size_t harmless = std::min<std::size_t>(levels, JsonText::kMaxNumberSize);
    if (text.size() >= harmless && !JsonText::IsReadable(text, levels)) {
        return JsonDocument::kBadArgument;
    }
    // Comments are not collected: the reader's time for that grows with the square of their
    // number. The two-pointer form does not copy the text.
    constexpr bool kCollectComments = false;
    Json::Reader reader(Json::Features::all());
    const bool read = reader.parse(text.data(), text.data() + text.size(), value, kCollectComments);
    return read ? JsonDocument::kOk : JsonDocument::kBadArgument;
}

}  // namespace

JsonDocument::JsonDocument() noexcept {
    Begin();
}

void JsonDocument::Begin() noexcept {
    m_uiStatus = Guarded([this] {
        m_pRoot = boost::make_shared<Json::Value>();
        m_pValue = m_pRoot.get();
        return kOk;
    });
}

JsonDocument::JsonDocument(const boost::shared_ptr<Json::Value>& root, Json::Value* value,
                           std::uint32_t level) noexcept
    : m_pRoot(root), m_pValue(value), m_uiLevel(level) {}

JsonDocument::JsonDocument(const JsonDocument& other) noexcept
    : m_pRoot(other.m_pRoot),
      m_pValue(other.m_pValue),
      m_uiLevel(other.m_uiLevel),
      m_uiStatus(other.m_pValue != nullptr ? kOk : kOutOfMemory) {}

JsonDocument& JsonDocument::operator=(const JsonDocument& other) noexcept {
    if (this != &other) {
        m_pRoot = other.m_pRoot;
        m_pValue = other.m_pValue;
        m_uiLevel = other.m_uiLevel;
    }
    m_uiStatus = m_pValue != nullptr ? kOk : kOutOfMemory;
    return *this;
}

JsonDocument::~JsonDocument() = default;

JsonDocument JsonDocument::MakeArray() {
    JsonDocument document;
    document.Replace([](Json::Value& value) {
        value = Json::Value(Json::arrayValue);
        return kOk;
    });
    return document;
}

void JsonDocument::Clear() {
    m_pRoot.reset();
    m_pValue = nullptr;
    m_uiLevel = 1;
    Begin();
}

Json::Value& JsonDocument::Native() {
    if (m_pValue == nullptr) {
        m_pRoot = boost::make_shared<Json::Value>();
        m_pValue = m_pRoot.get();
    }
    return *m_pValue;
}

const Json::Value& JsonDocument::Native() const {
    return m_pValue != nullptr ? *m_pValue : Json::Value::nullSingleton();
}

// A view of the child that `find` makes in the value, or the refusal if it gives null.
template <class Find>
JsonDocument JsonDocument::Descend(Find find) {
    Json::Value* child = nullptr;
    m_uiStatus = Guarded([&] {
        if (m_uiLevel < kMaxLevels) {
            child = find(Native());
        }
        return child != nullptr ? kOk : kBadArgument;
    });
    return child != nullptr ? JsonDocument(m_pRoot, child, m_uiLevel + 1) : Detached(m_uiStatus);
}

JsonDocument JsonDocument::Detached(std::uint32_t status) {
    JsonDocument document;
    document.m_uiStatus = status;
    return document;
}

JsonDocument JsonDocument::Refuse() {
    m_uiStatus = kBadArgument;
    return Detached(kBadArgument);
}

JsonDocument JsonDocument::Member(std::string_view key) {
    return Descend([key](Json::Value& value) -> Json::Value* {
        const bool suited = value.isNull() || value.isObject();
        return suited ? value.demand(key.data(), key.data() + key.size()) : nullptr;
    });
}

JsonDocument JsonDocument::operator[](const char* key) {
    return key != nullptr ? Member(key) : Refuse();
}

JsonDocument JsonDocument::operator[](const std::string& key) {
    return Member(key);
}

JsonDocument JsonDocument::operator[](const wchar_t* key) {
    return key != nullptr ? Member(std::wstring_view(key)) : Refuse();
}

JsonDocument JsonDocument::operator[](const std::wstring& key) {
    return Member(std::wstring_view(key));
}

JsonDocument JsonDocument::Member(std::wstring_view key) {
    std::string narrow;
    if (!String::ToUtf8(key, narrow)) {
        m_uiStatus = kOutOfMemory;
        return Detached(kOutOfMemory);
    }
    return Member(std::string_view(narrow));
}

JsonDocument JsonDocument::operator[](std::uint32_t index) {
    return Descend([index](Json::Value& value) -> Json::Value* {
        const bool suited = (value.isNull() || value.isArray()) && index <= kMaxIndex;
        return suited ? &value[Json::ArrayIndex{index}] : nullptr;
    });
}

// What a reading gives, or the zero of its type when it cannot be had. That is no error: only a
// lack of memory shows in the status.
template <class Read>
auto JsonDocument::Reading(Read read) const {
    decltype(read(Native())) result{};
    const std::uint32_t status = Guarded([&] {
        result = read(Native());
        return kOk;
    });
    m_uiStatus = status == kOutOfMemory ? kOutOfMemory : kOk;
    return result;
}

bool JsonDocument::HasMember(std::string_view key) const {
    return Reading([key](const Json::Value& value) {
        return value.isObject() && value.isMember(key.data(), key.data() + key.size());
    });
}

bool JsonDocument::isMember(const char* key) const {
    if (key == nullptr) {
        m_uiStatus = kBadArgument;
        return false;
    }
    return HasMember(key);
}

bool JsonDocument::isMember(const wchar_t* key) const {
    std::string narrow;
    if (key == nullptr || !String::ToUtf8(key, narrow)) {
        m_uiStatus = key == nullptr ? kBadArgument : kOutOfMemory;
        return false;
    }
    return HasMember(narrow);
}

bool JsonDocument::isNull() const {
    return Native().isNull();
}

std::uint32_t JsonDocument::size() const {
    return Native().size();
}

// Puts the value that `make` fills in the place of the viewed one, if it answers kOk.
template <class Make>
void JsonDocument::Replace(Make make) {
    m_uiStatus = Guarded([&] {
        Json::Value value;
        const std::uint32_t status = make(value);
        if (status == kOk) {
            Native().swap(value);
        }
        return status;
    });
}

template <class Number>
void JsonDocument::SetNumber(Number number) {
    Replace([number](Json::Value& value) {
        value = Json::Value(number);
        return kOk;
    });
}

void JsonDocument::SetUInt32(std::uint32_t value) {
    SetNumber(Json::UInt{value});
}

void JsonDocument::SetInt32(std::int32_t value) {
    SetNumber(Json::Int{value});
}

void JsonDocument::SetUInt64(std::uint64_t value) {
    SetNumber(Json::UInt64{value});
}

void JsonDocument::SetInt64(std::int64_t value) {
    SetNumber(Json::Int64{value});
}

void JsonDocument::SetString(const wchar_t* value) {
    if (value == nullptr) {
        m_uiStatus = kBadArgument;
        return;
    }
    SetText(value);
}

void JsonDocument::SetString(const std::wstring& value) {
    SetText(value);
}

void JsonDocument::SetText(std::wstring_view text) {
    Replace([text](Json::Value& value) {
        const std::string narrow = String::ToUtf8(text);
        if (narrow.size() > kMaxStringSize) {
            return kBadArgument;
        }
        value = Json::Value(narrow.data(), narrow.data() + narrow.size());
        return kOk;
    });
}

void JsonDocument::SetDocument(const JsonDocument& source) {
    // Copied before it takes its place: the source may lie inside this value or around it.
    Replace([&](Json::Value& value) {
        if (!FitsInto(source.Native(), LevelsLeft())) {
            return kBadArgument;
        }
        value = source.Native();
        return kOk;
    });
}

std::uint32_t JsonDocument::LevelsLeft() const {
    return kMaxLevels - m_uiLevel + 1;
}

std::uint32_t JsonDocument::AsUInt32() const {
    return Reading([](const Json::Value& value) { return value.asUInt(); });
}

std::int32_t JsonDocument::AsInt32() const {
    return Reading([](const Json::Value& value) { return value.asInt(); });
}

std::uint64_t JsonDocument::AsUInt64() const {
    return Reading([](const Json::Value& value) {
        const bool beyond = value.type() == Json::realValue && value.asDouble() >= kBeyondUInt64;
        return beyond ? 0 : value.asUInt64();
    });
}

std::wstring JsonDocument::AsString() const {
    return Reading([](const Json::Value& value) {
        const char* begin = nullptr;
        const char* end = nullptr;
        if (value.getString(&begin, &end)) {
            return String::FromUtf8({begin, static_cast<std::size_t>(end - begin)});
        }
        return String::FromUtf8(value.asString());
    });
}

std::uint32_t JsonDocument::Parse(const wchar_t* text) {
    if (text == nullptr) {
        return m_uiStatus = kBadArgument;
    }
    return ParseText(text);
}

std::uint32_t JsonDocument::Parse(const std::wstring& text) {
    return ParseText(text);
}

std::uint32_t JsonDocument::ParseText(std::wstring_view text) {
    Replace([&](Json::Value& value) { return Read(String::ToUtf8(text), LevelsLeft(), value); });
    return m_uiStatus;
}

std::uint32_t JsonDocument::ParseUtf8(std::string_view text) {
    Replace([&](Json::Value& value) { return Read(text, LevelsLeft(), value); });
    return m_uiStatus;
}

std::wstring JsonDocument::ToCompactString() const {
    return Reading(
        [](const Json::Value& value) { return String::FromUtf8(Write<Json::FastWriter>(value)); });
}

std::string JsonDocument::ToCompactUtf8() const {
    return Reading([](const Json::Value& value) { return Write<Json::FastWriter>(value); });
}

std::wstring JsonDocument::ToStyledString() const {
    return Reading([](const Json::Value& value) {
        return String::FromUtf8(Write<Json::StyledWriter>(value));
    });
}
