#include <algorithm>
#include <cstring>

#include "Common/KrCommon/KrComn_CodePage.h"
#include "Common/KrCommon/KrComn_String.h"

namespace KrCommon::String {

namespace {

constexpr wchar_t kLastOfLatin1 = 0xff;

}  // namespace

char* NarrowToAnsi(char* narrow, const wchar_t* wide, std::size_t size,
                   std::uint32_t codePage) noexcept {
    if (narrow == nullptr || wide == nullptr || size == 0)
        return nullptr;
    narrow[0] = '\0';
    std::string text;
    if (!ToCodePage(wide, text, codePage) || text.size() >= size)
        return nullptr;
    std::memcpy(narrow, text.c_str(), text.size() + 1);
    return narrow;
}

bool ToCodePage(std::wstring_view wide, std::string& narrow, std::uint32_t codePage) noexcept {
    if (codePage == kUtf8CodePage)
        return ToUtf8(wide, narrow);
    try {
        narrow.resize(wide.size());
    } catch (...) {
        narrow.clear();
        return false;
    }
    std::transform(wide.begin(), wide.end(), narrow.begin(), [](wchar_t character) {
        return character >= 0 && character <= kLastOfLatin1 ? static_cast<char>(character) : '?';
    });
    return true;
}

bool FromCodePage(std::string_view narrow, std::wstring& wide, std::uint32_t codePage) noexcept {
    if (codePage == kUtf8CodePage)
        return FromUtf8(narrow, wide);
    try {
        wide.resize(narrow.size());
    } catch (...) {
        wide.clear();
        return false;
    }
    std::transform(narrow.begin(), narrow.end(), wide.begin(), [](char character) {
        return static_cast<wchar_t>(static_cast<unsigned char>(character));
    });
    return true;
}

}  // namespace KrCommon::String
