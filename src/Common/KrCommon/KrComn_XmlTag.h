#pragma once

// What stands in the start tag of an XML element: its name, and its attributes as an ordered map
// from name to value.
//
// Tags are made by the thousand, have few attributes and are rarely changed. So a tag is one
// string, a list of texts each with a NUL at its end: the name, then names and values in turn, in
// any order until a walk puts them in theirs. Names of attributes are unique. Texts that are given
// end at a NUL. Views that are handed out hold until the next change. A change that raises
// std::bad_alloc leaves the tag as it was.

#include <cstddef>
#include <string>
#include <string_view>

namespace KrCommon::Storage {

class XmlTag {
public:
    std::wstring_view Name() const { return m_strTexts.c_str(); }
    void SetName(std::wstring_view name);

    // The value of an attribute; false, and an empty value, when there is none.
    bool Find(std::wstring_view name, std::wstring_view& value) const;

    // Adds an attribute, or gives one that exists a new value.
    void Set(std::wstring_view name, std::wstring_view value);

    // A walk over the attributes: Order() puts them in the order of their names and gives the
    // position of the first one, Next() an attribute and the position behind it. Next() is false at
    // the end.
    std::size_t Order();
    bool Next(std::size_t& position, std::wstring_view& name, std::wstring_view& value) const;

    void Clear() noexcept { m_strTexts.clear(); }

    // Makes the tag one of a document. `attributes` are names and values in turn, with a null
    // pointer at the end. All are widened as AppendWidened says; of two attributes whose names are
    // then the same the later one counts. Without memory the tag is left with some of it.
    void Fill(const char* name, const char* const* attributes);

private:
    std::size_t FirstPosition() const { return Name().size() + 1; }
    void Append(std::wstring_view text);
    bool FillAscii(const char* name, const char* const* attributes);

    std::wstring m_strTexts;
};

}  // namespace KrCommon::Storage
