#include "lib/wycommon/WyCommon_CsidlTokens.h"

#include <algorithm>
#include <cstddef>

namespace WyCommon::Csidl {

namespace {

constexpr Token kTokens[] = {
    {L"CSIDL_APPDATA", 0x1a},
    {L"CSIDL_BITBUCKET", 0x0a},
    {L"CSIDL_COMMON_APPDATA", 0x23},
    {L"CSIDL_COMMON_DESKTOPDIRECTORY", 0x19},
    {L"CSIDL_COMMON_DOCUMENTS", 0x2e},
    {L"CSIDL_COMMON_FAVORITES", 0x1f},
    {L"CSIDL_COMMON_MUSIC", 0x35},
    {L"CSIDL_COMMON_PICTURES", 0x36},
    {L"CSIDL_COMMON_PROGRAMS", 0x17},
    {L"CSIDL_COMMON_STARTMENU", 0x16},
    {L"CSIDL_COMMON_STARTUP", 0x18},
    {L"CSIDL_COMMON_TEMPLATES", 0x2d},
    {L"CSIDL_COMMON_VIDEO", 0x37},
    {L"CSIDL_COMPUTERSNEARME", 0x3d},
    {L"CSIDL_COOKIES", 0x21},
    {L"CSIDL_DESKTOP", 0x00},
    {L"CSIDL_DESKTOPDIRECTORY", 0x10},
    {L"CSIDL_FAVORITES", 0x06},
    {L"CSIDL_HISTORY", 0x22},
    {L"CSIDL_INTERNET", 0x01},
    {L"CSIDL_INTERNET_CACHE", 0x20},
    {L"CSIDL_LOCAL_APPDATA", 0x1c},
    {L"CSIDL_MYDOCUMENTS", 0x05},
    {L"CSIDL_MYMUSIC", 0x0d},
    {L"CSIDL_MYPICTURES", 0x27},
    {L"CSIDL_MYVIDEO", 0x0e},
    {L"CSIDL_PROFILE", 0x28},
    {L"CSIDL_PROGRAMS", 0x02},
    {L"CSIDL_PROGRAM_FILES", 0x26},
    {L"CSIDL_PROGRAM_FILESX86", 0x2a},
    {L"CSIDL_PROGRAM_FILES_COMMON", 0x2b},
    {L"CSIDL_PROGRAM_FILES_COMMONX86", 0x2c},
    {L"CSIDL_RECENT", 0x08},
    {L"CSIDL_STARTMENU", 0x0b},
    {L"CSIDL_STARTUP", 0x07},
    {L"CSIDL_SYSTEM", 0x25},
    {L"CSIDL_SYSTEMX86", 0x29},
    {L"CSIDL_WINDOWS", 0x24},
};

constexpr bool ByName(const Token& left, const Token& right) {
    return left.name < right.name;
}

static_assert(std::is_sorted(std::begin(kTokens), std::end(kTokens), ByName));

}  // namespace

std::span<const Token> Tokens() {
    return kTokens;
}

std::optional<int> FindFolder(std::wstring_view name) {
    const auto* const end = std::end(kTokens);
    const auto* const token = std::lower_bound(std::begin(kTokens), end, Token{name, 0}, ByName);
    if (token == end || token->name != name)
        return std::nullopt;
    return token->iFolder;
}

std::wstring Expand(std::wstring_view text, const FolderLookup& lookup) {
    std::wstring expanded(text);
    const std::size_t first = text.find(L'#');
    if (first == std::wstring_view::npos)
        return expanded;
    const std::size_t second = text.find(L'#', first + 1);
    if (second == std::wstring_view::npos)
        return expanded;
    const std::optional<int> folder = FindFolder(text.substr(first + 1, second - first - 1));
    if (!folder)
        return expanded;
    if (const std::optional<std::wstring> path = lookup(*folder))
        expanded.replace(first, second - first + 1, *path);
    return expanded;
}

}  // namespace WyCommon::Csidl
