#pragma once

// A JSON document with wide strings over jsoncpp.
//
// Vocabulary: the *root* is the value that all copies and sub-documents share; a *document* is a
// view of one value inside a root. Copying a document copies the view, not the value, so a change
// through one is seen through the other.
//
// Nothing ever escapes as an exception: an operation that jsoncpp refuses (wrong type, too deep a
// nesting, bad text) leaves the value as it was and shows in Status(); a read that cannot be
// converted gives 0 or an empty string. Text is UTF-8 inside jsoncpp and wide outside; unpaired
// surrogates and malformed UTF-8 become U+FFFD on the way.
//
// Not thread-safe: views of one root belong to one thread at a time. The count of the shared root
// is atomic.

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace Json {
class Value;
}

class JsonDocument {
public:
    // Values of Status().
    static constexpr std::uint32_t kOk = 0;
    static constexpr std::uint32_t kOutOfMemory = 14;  // ERROR_OUTOFMEMORY
    static constexpr std::uint32_t kBadArgument = 87;  // ERROR_INVALID_PARAMETER

    // An empty document: the null value.
    JsonDocument();
    // Shares the root of the other document and views the same value.
    JsonDocument(const JsonDocument& other);
    JsonDocument& operator=(const JsonDocument& other);
    ~JsonDocument();

    // An empty array.
    static JsonDocument MakeArray();

    // Lets go of the shared root and starts over with a new null value. Other views keep theirs.
    void Clear();

    // Status of the last operation on this object: kOk, kBadArgument (a null key or text, bad JSON
    // text, or an operation that the type of the value does not allow), or kOutOfMemory.
    std::uint32_t Status() const { return m_uiStatus; }

    // A view of a member; access makes the member, as null, when it is missing. Where the value is
    // neither null nor an object, the result is a detached null document with status 87.
    JsonDocument operator[](const wchar_t* key);
    JsonDocument operator[](const std::wstring& key);
    // A narrow key is UTF-8.
    JsonDocument operator[](const char* key);
    JsonDocument operator[](const std::string& key);
    // A view of an array element, made in the same manner.
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
    // A null text leaves the value and gives status 87.
    void SetString(const wchar_t* value);
    void SetString(const std::wstring& value);
    // A deep copy of the other document's value takes the place of this value.
    void SetDocument(const JsonDocument& value);

    // Readings; 0 or empty where the JSON library rejects the conversion.
    std::uint32_t AsUInt32() const;
    std::int32_t AsInt32() const;
    std::uint64_t AsUInt64() const;
    std::wstring AsString() const;

    bool isNull() const;

    // Reads JSON text into the viewed value; comments are allowed and the root need not be an
    // object or array. Returns and keeps the status: kBadArgument on bad text, and the value is
    // then as the parser left it.
    std::uint32_t Parse(const std::wstring& text);
    std::uint32_t Parse(const wchar_t* text);

    // Compact text, one line with a final "\n". Empty only when memory ran out.
    std::wstring ToCompactString() const;
    // Text for people: right margin 74, indentation 3.
    std::wstring ToStyledString() const;

    // The viewed value itself, for code that lives below the wide-string boundary (large results
    // of the development tools). Never null.
    Json::Value& Native() { return *m_pValue; }
    const Json::Value& Native() const { return *m_pValue; }

private:
    JsonDocument(const boost::shared_ptr<Json::Value>& root, Json::Value* value,
                 std::uint32_t status);

    boost::shared_ptr<Json::Value> m_pRoot;
    Json::Value* m_pValue;  // inside *m_pRoot
    mutable std::uint32_t m_uiStatus = kOk;
};
