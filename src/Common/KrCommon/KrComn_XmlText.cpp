#include "Common/KrCommon/KrComn_XmlText.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "Common/KrCommon/KrComn_CodePage.h"

namespace KrCommon::Storage {

namespace {

// Nearly all text is ASCII, which every code page of the system reads the same way.
bool IsAscii(std::string_view text) {
    unsigned bits = 0;
    for (const char byte : text) {
        bits |= static_cast<unsigned char>(byte);
    }
    return bits < 0x80;
}

}  // namespace

void AppendWidened(std::wstring& wide, std::string_view narrow) {
    if (IsAscii(narrow)) {
        const std::size_t length = wide.size();
        wide.resize(length + narrow.size());
        std::copy(narrow.begin(), narrow.end(), wide.begin() + static_cast<std::ptrdiff_t>(length));
        return;
    }
    std::wstring converted;
    if (!String::FromCodePage(narrow, converted, String::kThreadCodePage))
        throw std::bad_alloc();
    wide += converted;
}

}  // namespace KrCommon::Storage
