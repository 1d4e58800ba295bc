#include "trace/TraceName.h"

#include <algorithm>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"

namespace Trace {

namespace {

namespace String = KrCommon::String;

constexpr std::size_t kLongestStem = 100;
constexpr std::size_t kLongestExtension = 20;
constexpr std::wstring_view kCommonData = L"%commonappdata%";

bool IsDotOrBlank(wchar_t character) {
    return character == L'.' || character == L' ';
}

void TrimEnd(std::wstring& text) {
    while (!text.empty() && IsDotOrBlank(text.back())) {
        text.pop_back();
    }
}

// A cut must not leave half of a character.
void Cut(std::wstring& text, std::size_t longest) {
    if (text.size() <= longest)
        return;
    text.resize(longest);
    if (text.back() >= 0xd800 && text.back() <= 0xdbff)
        text.pop_back();
}

std::wstring CleanPart(std::wstring_view part) {
    std::wstring clean(part);
    std::replace_if(
        clean.begin(), clean.end(),
        [](wchar_t c) {
            constexpr std::wstring_view kForbidden = L"<>:\"/\\|?*\x7f";
            return c < L' ' || kForbidden.find(c) != std::wstring_view::npos;
        },
        L'_');
    TrimEnd(clean);
    return clean;
}

// A device has its name whatever extension follows.
bool IsReserved(std::wstring_view name) {
    std::wstring base(name.substr(0, name.find(L'.')));
    TrimEnd(base);
    for (const wchar_t* device :
         {L"con", L"prn", L"aux", L"nul", L"clock$", L"conin$", L"conout$"}) {
        if (String::EqualNoCase(base, device))
            return true;
    }
    const std::wstring_view number =
        std::wstring_view(base).substr(std::min<std::size_t>(3, base.size()));
    const bool isPort = String::EqualNoCase(base.substr(0, 3), L"com") ||
                        String::EqualNoCase(base.substr(0, 3), L"lpt");
    // The three superscript digits count, too.
    return isPort && number.size() == 1 &&
           std::wstring_view(L"0123456789\xb9\xb2\xb3").find(number[0]) != std::wstring_view::npos;
}

bool IsSeparator(wchar_t character) {
    return character == L'\\' || character == L'/';
}

bool IsDrive(std::wstring_view text) {
    return text.size() >= 2 && text[1] == L':' &&
           ((text[0] >= L'a' && text[0] <= L'z') || (text[0] >= L'A' && text[0] <= L'Z'));
}

std::vector<std::wstring_view> Components(std::wstring_view text) {
    std::vector<std::wstring_view> components;
    while (!text.empty()) {
        const std::size_t end = static_cast<std::size_t>(
            std::find_if(text.begin(), text.end(), IsSeparator) - text.begin());
        if (end != 0)
            components.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return components;
}

// Whether this may be the name of a server or a share.
bool IsShareName(std::wstring_view name) {
    return name != L"." && name != L".." && name.find(L':') == std::wstring_view::npos;
}

// What no ".." leaves: a drive, a share or the separator at the front. Takes it off the path.
std::optional<std::wstring> TakeRoot(std::wstring_view& path) {
    if (IsDrive(path)) {
        if (path.size() < 3 || !IsSeparator(path[2]))
            return std::nullopt;
        std::wstring root(path.substr(0, 2));
        path.remove_prefix(2);
        return root;
    }
    if (path.size() < 2 || !IsSeparator(path[1]))
        return std::wstring();
    const std::vector<std::wstring_view> names = Components(path);
    if (names.size() < 2 || names[0] == L"?" || !IsShareName(names[0]) || !IsShareName(names[1]))
        return std::nullopt;
    path = std::wstring_view(
        names[1].data() + names[1].size(),
        static_cast<std::size_t>(path.data() + path.size() - (names[1].data() + names[1].size())));
    return L"\\\\" + std::wstring(names[0]) + L'\\' + std::wstring(names[1]);
}

// The path with the macro replaced; the case of the macro is ignored.
std::wstring Expand(std::wstring_view text, std::wstring_view commonData) {
    std::wstring out;
    while (!text.empty()) {
        if (String::EqualNoCase(text.substr(0, kCommonData.size()), kCommonData)) {
            out += commonData;
            text.remove_prefix(kCommonData.size());
        } else {
            out += text.front();
            text.remove_prefix(1);
        }
    }
    return out;
}

bool IsAbsolute(std::wstring_view path) {
    return IsSeparator(path[0]) || IsDrive(path);
}

}  // namespace

std::wstring FileStem(const NameParts& parts) {
    std::wstring stem;
    for (const std::wstring* part : {&parts.prefix, &parts.name, &parts.executable}) {
        const std::wstring clean = CleanPart(*part);
        if (!stem.empty() && !clean.empty())
            stem += L'_';
        stem += clean;
    }
    Cut(stem, kLongestStem);
    TrimEnd(stem);
    if (stem.empty())
        stem = L"trace";
    return IsReserved(stem) ? L'_' + stem : stem;
}

std::wstring FileExtension(std::wstring_view extension) {
    while (!extension.empty() && IsDotOrBlank(extension.front())) {
        extension.remove_prefix(1);
    }
    std::wstring clean = CleanPart(extension);
    Cut(clean, kLongestExtension);
    TrimEnd(clean);
    return clean.empty() ? clean : L'.' + clean;
}

std::optional<std::wstring> ResolveFolder(std::wstring_view text, std::wstring_view commonData,
                                          std::wstring_view byDefault) {
    std::wstring path = Expand(text, commonData);
    if (path.empty() || !IsAbsolute(path))
        path = std::wstring(byDefault) + L'\\' + path;
    std::wstring_view rest = path;
    std::optional<std::wstring> root = TakeRoot(rest);
    if (!root.has_value())
        return std::nullopt;
    std::vector<std::wstring_view> kept;
    for (const std::wstring_view component : Components(rest)) {
        if (component.find(L':') != std::wstring_view::npos)
            return std::nullopt;
        if (component == L"..") {
            if (!kept.empty())
                kept.pop_back();
        } else if (component != L".") {
            kept.push_back(component);
        }
    }
    for (const std::wstring_view component : kept) {
        root->append(L"\\").append(component);
    }
    return root;
}

std::wstring RecordText(const char16_t* text, std::size_t size) {
    std::wstring out;
    for (std::size_t i = 0; i < size && text[i] != u'\0'; ++i) {
        // Where a wide character has room for it, a pair of surrogates is one.
        if (sizeof(wchar_t) > 2 && i + 1 < size && text[i] >= 0xd800 && text[i] <= 0xdbff &&
            text[i + 1] >= 0xdc00 && text[i + 1] <= 0xdfff) {
            out +=
                static_cast<wchar_t>(0x10000 + ((text[i] - 0xd800) << 10) + (text[i + 1] - 0xdc00));
            ++i;
        } else {
            out += static_cast<wchar_t>(text[i]);
        }
    }
    return out;
}

}  // namespace Trace
