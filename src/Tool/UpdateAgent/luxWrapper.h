#pragma once

// The textual product identifier, such as "c11t1100v1.1.0l1p1r1o1", and its fields.
//
// All functions may run on any thread.

#include <cstdint>
#include <string>
#include <string_view>

// The fields of a product identifier, with the letter that each one has in the text.
struct UpdateComponent {
    std::int32_t iClass = 0;     // c
    std::int32_t iType = 0;      // t
    std::wstring strVersion;     // v
    std::int32_t iLanguage = 0;  // l
    std::int32_t iRegion = 0;    // r
    std::int32_t iPlatform = 0;  // p
    std::int32_t iOem = 0;       // o
};

class CLuxWrapper {
public:
    // Reads the fields of a text. Fields that the text does not have keep their value; of a field
    // that it has twice the last one counts.
    //
    // The text is a row of fields, each a letter and a value; a value ends where one of the seven
    // letters follows. Letters are lower-case. A number is read from the beginning of its value as
    // far as it is one, 0 when it is none, and kept within 32 bits. A text whose first character is
    // not one of the letters is taken for one of no field, whose value is dropped.
    //
    // Returns 0x20ff0000; 0xe0ff0007 for an empty text and for a value with anything but digits,
    // "-" and ".", 0xe0ff0001 without memory for a value. On a failure the fields read before stay.
    static std::uint32_t ConvertProductID(std::wstring_view text, UpdateComponent& component);

    // Writes the text of the fields, "c%dt%dv%sl%dp%dr%do%d". Returns 0x20ff0000, or 0xe0ff0001
    // without memory; `text` is as it was then.
    static std::uint32_t ConvertProductID(const UpdateComponent& component, std::wstring& text);
};
