#pragma once

// A JSON document with wide strings over jsoncpp.
//
// Vocabulary: the *root* is the value that all copies and sub-documents share; a *document* is a
// view of one value inside a root. Copying a document copies the view, not the value, so a change
// through one is seen through the other. A view MUST NOT be used any more when a value around the
// viewed one was replaced: the viewed value is gone then, only its root lives on.
//
// Nothing ever escapes as an exception: an operation that cannot be carried out (wrong type, too
// deep a nesting, bad text, no memory) leaves the value as it was and shows in Status(); a read
// that cannot be converted gives 0 or an empty string. Text is UTF-8 inside jsoncpp and wide
// outside; unpaired surrogates and malformed UTF-8 become U+FFFD on the way, embedded NULs stay.
//
// The root stands at level 1, its members and elements at level 2, and no value at a level below
// kMaxLevels can be made: writing, copying and destroying recurse, and no text or sequence of
// operations may exhaust the stack.
//
// Not thread-safe: views of one root belong to one thread at a time. The count of the shared root
// is atomic.

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Json {
class Value;
}

class JsonDocument {
public:
    // Values of Status().
    static constexpr std::uint32_t kOk = 0;
    static constexpr std::uint32_t kOutOfMemory = 14;  // ERROR_OUTOFMEMORY
    static constexpr std::uint32_t kBadArgument = 87;  // ERROR_INVALID_PARAMETER

    // The deepest level of a value; the same limit holds for the texts that Parse() takes.
    static constexpr std::uint32_t kMaxLevels = 1000;

    // An empty document: the null value. Without memory for it the document reads as null, has
    // status kOutOfMemory, and the next operation that writes tries again.
    JsonDocument() noexcept;
    // Shares the root of the other document and views the same value.
    JsonDocument(const JsonDocument& other) noexcept;
    JsonDocument& operator=(const JsonDocument& other) noexcept;
    ~JsonDocument();

    // An empty array.
    static JsonDocument MakeArray();

    // Lets go of the shared root and starts over with a new null value. Other views keep theirs.
    void Clear();

    // Status of the last operation on this object: kOk, kBadArgument (a null key or text, bad JSON
    // text, or an operation that the type of the value does not allow), or kOutOfMemory.
    std::uint32_t Status() const { return m_uiStatus; }

    // A view of a member; access makes the member, as null, when it is missing. Where the value is
    // neither null nor an object, where the member would lie below kMaxLevels, or for a null key,
    // the result is a detached null document with status kBadArgument, as is this one's status.
    JsonDocument operator[](const wchar_t* key);
    JsonDocument operator[](const std::wstring& key);
    // A narrow key is UTF-8.
    JsonDocument operator[](const char* key);
    JsonDocument operator[](const std::string& key);
    // A view of an array element, made in the same manner, with null elements up to it. An index
    // above 2^31 - 2 is a bad argument.
    JsonDocument operator[](std::uint32_t index);

    // True when the value is an object that has this member; false for a null key.
    bool isMember(const wchar_t* key) const;
    bool isMember(const char* key) const;

    // Number of elements or members; 0 for everything that has none.
    std::uint32_t size() const;

    void SetUInt32(std::uint32_t value);
    void SetInt32(std::int32_t value);
    void SetUInt64(std::uint64_t value);
    void SetInt64(std::int64_t value);
    // A null text is a bad argument.
    void SetString(const wchar_t* value);
    void SetString(const std::wstring& value);
    // A deep copy of the other document's value takes the place of this value. A bad argument when
    // part of it would come to lie below kMaxLevels.
    void SetDocument(const JsonDocument& source);

    // Readings; 0 or empty where the JSON library rejects the conversion: a negative or too large
    // number for its type, text read as a number, an array or object read as anything.
    std::uint32_t AsUInt32() const;
    std::int32_t AsInt32() const;
    std::uint64_t AsUInt64() const;
    std::wstring AsString() const;

    bool isNull() const;

    // Reads JSON text into the viewed value; comments are allowed and skipped, the root need not be
    // an object or array, and text behind the root is not looked at. Returns and keeps the status:
    // kBadArgument on bad text, and then the value is as it was, null in a new document.
    std::uint32_t Parse(const std::wstring& text);
    std::uint32_t Parse(const wchar_t* text);
    // The same for UTF-8, the form that the JSON library reads, without a wide text in between.
    std::uint32_t ParseUtf8(std::string_view text);

    // Compact text, one line with a final "\n", members in the order of their UTF-8 bytes. All that
    // is not ASCII is escaped. Empty only when memory ran out.
    std::wstring ToCompactString() const;
    // The same as the JSON library writes it.
    std::string ToCompactUtf8() const;
    // Text for people: right margin 74, indentation 3. A key is cut at an embedded NUL.
    std::wstring ToStyledString() const;

    // The viewed value itself, for code that lives below the wide-string boundary (large results
    // of the development tools). What is written through it MUST stay within kMaxLevels. Raises
    // std::bad_alloc for a document that was made without memory.
    Json::Value& Native();
    const Json::Value& Native() const;

private:
    JsonDocument(const boost::shared_ptr<Json::Value>& root, Json::Value* value,
                 std::uint32_t level) noexcept;

    void Begin() noexcept;
    static JsonDocument Detached(std::uint32_t status);
    JsonDocument Refuse();
    template <class Find>
    JsonDocument Descend(Find find);
    JsonDocument Member(std::string_view key);
    JsonDocument Member(std::wstring_view key);
    template <class Read>
    auto Reading(Read read) const;
    bool HasMember(std::string_view key) const;
    template <class Make>
    void Replace(Make make);
    template <class Number>
    void SetNumber(Number number);
    void SetText(std::wstring_view text);
    std::uint32_t ParseText(std::wstring_view text);
    std::uint32_t LevelsLeft() const;

    boost::shared_ptr<Json::Value> m_pRoot;  // null only after a lack of memory
    Json::Value* m_pValue = nullptr;         // inside *m_pRoot, null with it
    std::uint32_t m_uiLevel = 1;             // of the viewed value in its root
    mutable std::uint32_t m_uiStatus = kOk;
};
