// Expansion of folder tokens. First byte: bit 0 the folder is told, bit 1 the folder's path holds a
// token itself, bit 2 the rest is 16-bit units instead of bytes. The rest: the text.

#include <map>
#include <optional>
#include <string>

#include "FuzzInput.h"
#include "lib/wycommon/WyCommon_CsidlTokens.h"

namespace {

namespace Csidl = WyCommon::Csidl;
using fuzz::Require;

std::map<std::wstring, int> Names() {
    std::map<std::wstring, int> names;
    for (const Csidl::Token& token : Csidl::Tokens()) {
        names.emplace(token.name, token.iFolder);
    }
    return names;
}

// The same rule, character by character: what stands before the first sign, between the two, and
// behind the second.
struct Parts {
    std::wstring before;
    std::wstring name;
    std::wstring behind;
    int signs = 0;
};

Parts TakeApart(const std::wstring& text) {
    Parts parts;
    for (const wchar_t c : text) {
        if (c == L'#' && parts.signs < 2) {
            ++parts.signs;
        } else if (parts.signs == 0) {
            parts.before += c;
        } else if (parts.signs == 1) {
            parts.name += c;
        } else {
            parts.behind += c;
        }
    }
    return parts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::map<std::wstring, int> names = Names();
    fuzz::Input input(data, size);
    const std::uint8_t how = input.Byte();
    const std::wstring text = (how & 4) != 0 ? input.RestAsUnits() : input.RestAsText();
    const std::wstring folder = (how & 2) != 0 ? L"#CSIDL_WINDOWS#" : L"C:\\Folder";

    int asked = 0;
    int id = -1;
    const std::wstring expanded =
        Csidl::Expand(text, [&](int wanted) -> std::optional<std::wstring> {
            ++asked;
            id = wanted;
            return (how & 1) != 0 ? std::optional(folder) : std::nullopt;
        });

    const Parts parts = TakeApart(text);
    const auto known = parts.signs == 2 ? names.find(parts.name) : names.end();
    Require(asked == (known != names.end() ? 1 : 0), "a folder is asked for once, or not at all");
    Require(known == names.end() || id == known->second, "another folder was asked for");
    const bool replaced = known != names.end() && (how & 1) != 0;
    Require(expanded == (replaced ? parts.before + folder + parts.behind : text),
            "the text is not what the rule says");
    return 0;
}
