#include "Common/KrCommon/KrComn_String.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace KrCommon::String {

namespace {

constexpr char32_t kReplacement = 0xfffd;
constexpr char32_t kLastCharacter = 0x10ffff;
constexpr char32_t kFirstBeyondBmp = 0x10000;
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

constexpr bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xd800 && unit <= 0xdbff;
}

constexpr bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xdc00 && unit <= 0xdfff;
}

constexpr bool IsSurrogate(char32_t unit) {
    return unit >= 0xd800 && unit <= 0xdfff;
}

constexpr char32_t Unit(wchar_t character) {
    if constexpr (kWideIsUtf16) {
        return static_cast<std::uint16_t>(character);
    } else {
        return static_cast<char32_t>(character);
    }
}

// Takes one character off the front of a wide text that is not empty.
char32_t TakeWide(const wchar_t*& position, const wchar_t* end) {
    const char32_t first = Unit(*position++);
    if (!IsSurrogate(first))
        return first <= kLastCharacter ? first : kReplacement;
    if (kWideIsUtf16 && IsHighSurrogate(first) && position != end &&
        IsLowSurrogate(Unit(*position))) {
        const char32_t second = Unit(*position++);
        return kFirstBeyondBmp + ((first - 0xd800) << 10) + (second - 0xdc00);
    }
    return kReplacement;
}

// How a UTF-8 sequence goes on behind its first byte. The range of the second byte keeps out
// overlong forms and what lies beyond the last character.
struct Sequence {
    int following = 0;  // 0: the byte begins no sequence
    unsigned char secondMin = 0x80;
    unsigned char secondMax = 0xbf;
};

constexpr Sequence SequenceOf(unsigned char first) {
    if (first >= 0xc2 && first <= 0xdf)
        return {1};
    if (first == 0xe0)
        return {2, 0xa0, 0xbf};
    if (first >= 0xe1 && first <= 0xef)
        return {2};
    if (first == 0xf0)
        return {3, 0x90, 0xbf};
    if (first >= 0xf1 && first <= 0xf3)
        return {3};
    if (first == 0xf4)
        return {3, 0x80, 0x8f};
    return {};
}

// Takes one character off the front of a UTF-8 text that is not empty.
char32_t TakeUtf8(const char*& position, const char* end) {
    const auto first = static_cast<unsigned char>(*position++);
    if (first < 0x80)
        return first;
    const Sequence sequence = SequenceOf(first);
    if (sequence.following == 0)
        return kReplacement;
    char32_t character = first & (0x3fU >> sequence.following);
    for (int i = 0; i < sequence.following; ++i) {
        if (position == end)
            return kReplacement;
        const auto next = static_cast<unsigned char>(*position);
        const unsigned char min = i == 0 ? sequence.secondMin : 0x80;
        const unsigned char max = i == 0 ? sequence.secondMax : 0xbf;
        if (next < min || next > max)
            return kReplacement;
        character = character << 6 | (next & 0x3fU);
        ++position;
    }
    return IsSurrogate(character) ? kReplacement : character;
}

std::size_t Utf8Length(char32_t character) {
    if (character < 0x80)
        return 1;
    if (character < 0x800)
        return 2;
    return character < kFirstBeyondBmp ? 3 : 4;
}

char* PutUtf8(char* out, char32_t character) {
    if (character < 0x80) {
        *out++ = static_cast<char>(character);
        return out;
    }
    const std::size_t length = Utf8Length(character);
    constexpr unsigned char kMarks[] = {0, 0, 0xc0, 0xe0, 0xf0};
    unsigned shift = static_cast<unsigned>(length - 1) * 6;
    *out++ = static_cast<char>(kMarks[length] | (character >> shift));
    while (shift != 0) {
        shift -= 6;
        *out++ = static_cast<char>(0x80 | ((character >> shift) & 0x3f));
    }
    return out;
}

std::size_t WideLength(char32_t character) {
    return kWideIsUtf16 && character >= kFirstBeyondBmp ? 2 : 1;
}

wchar_t* PutWide(wchar_t* out, char32_t character) {
    if (WideLength(character) == 2) {
        const char32_t offset = character - kFirstBeyondBmp;
        *out++ = static_cast<wchar_t>(0xd800 + (offset >> 10));
        *out++ = static_cast<wchar_t>(0xdc00 + (offset & 0x3ff));
        return out;
    }
    *out++ = static_cast<wchar_t>(character);
    return out;
}

wchar_t LowerAscii(wchar_t character) {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a')
                                                  : character;
}

}  // namespace

// Both conversions go over their input twice, so that the output is allocated once and exactly:
// answers of many megabytes pass through here. Most text is ASCII, and then the first pass is all
// that looks at it.

std::string ToUtf8(std::wstring_view wide) {
    char32_t bits = 0;
    for (const wchar_t unit : wide) {
        bits |= Unit(unit);
    }
    if (bits < 0x80) {
        std::string narrow(wide.size(), '\0');
        std::transform(wide.begin(), wide.end(), narrow.begin(),
                       [](wchar_t unit) { return static_cast<char>(unit); });
        return narrow;
    }
    const wchar_t* const end = wide.data() + wide.size();
    std::size_t length = 0;
    for (const wchar_t* position = wide.data(); position != end;) {
        length += Utf8Length(TakeWide(position, end));
    }
    std::string narrow(length, '\0');
    char* out = narrow.data();
    for (const wchar_t* position = wide.data(); position != end;) {
        out = PutUtf8(out, TakeWide(position, end));
    }
    return narrow;
}

std::wstring FromUtf8(std::string_view narrow) {
    unsigned bits = 0;
    for (const char byte : narrow) {
        bits |= static_cast<unsigned char>(byte);
    }
    if (bits < 0x80) {
        return std::wstring(narrow.begin(), narrow.end());
    }
    const char* const end = narrow.data() + narrow.size();
    std::size_t length = 0;
    for (const char* position = narrow.data(); position != end;) {
        length += WideLength(TakeUtf8(position, end));
    }
    std::wstring wide(length, L'\0');
    wchar_t* out = wide.data();
    for (const char* position = narrow.data(); position != end;) {
        out = PutWide(out, TakeUtf8(position, end));
    }
    return wide;
}

bool ToUtf8(std::wstring_view wide, std::string& narrow) noexcept {
    try {
        narrow = ToUtf8(wide);
        return true;
    } catch (...) {
        narrow.clear();
        return false;
    }
}

bool FromUtf8(std::string_view narrow, std::wstring& wide) noexcept {
    try {
        wide = FromUtf8(narrow);
        return true;
    } catch (...) {
        wide.clear();
        return false;
    }
}

int CompareNoCase(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const char32_t left = Unit(LowerAscii(a[i]));
        const char32_t right = Unit(LowerAscii(b[i]));
        if (left != right)
            return left < right ? -1 : 1;
    }
    if (a.size() == b.size())
        return 0;
    return a.size() < b.size() ? -1 : 1;
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b) noexcept {
    return a.size() == b.size() && CompareNoCase(a, b) == 0;
}

std::wstring ReplaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to) {
    std::wstring result;
    if (from.empty())
        return result.assign(text);
    for (;;) {
        const std::size_t found = text.find(from);
        if (found == std::wstring_view::npos)
            return result.append(text);
        result.append(text.substr(0, found)).append(to);
        text.remove_prefix(found + from.size());
    }
}

void AppendSeparator(std::wstring& path) {
    if (!path.empty() && path.back() != L'\\')
        path.push_back(L'\\');
}

void RemoveSeparator(std::wstring& path) {
    if (!path.empty() && path.back() == L'\\')
        path.pop_back();
}

std::wstring_view RemoveFileName(std::wstring_view path) noexcept {
    const std::size_t last = path.rfind(L'\\');
    return last == std::wstring_view::npos ? std::wstring_view() : path.substr(0, last);
}

std::wstring_view GetFileName(std::wstring_view path) noexcept {
    if (!path.empty() && path.back() == L'\\')
        path.remove_suffix(1);
    const std::size_t last = path.rfind(L'\\');
    return last == std::wstring_view::npos ? path : path.substr(last + 1);
}

std::wstring_view GetExtension(std::wstring_view path) noexcept {
    const std::size_t last = path.find_last_of(L".\\ ");
    if (last == std::wstring_view::npos || path[last] != L'.')
        return {};
    return path.substr(last);
}

}  // namespace KrCommon::String
