#pragma once

// Folder tokens in paths: "#CSIDL_COMMON_APPDATA#\Name" means a folder of the system.

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace WyCommon::Csidl {

// A token and the folder id that ShlObj.h gives its name.
struct Token {
    std::wstring_view name;
    int iFolder;
};

// All tokens, in the order of their names.
std::span<const Token> Tokens();

// The folder id of a token name, which must be written as in the table.
std::optional<int> FindFolder(std::wstring_view name);

// Answers the path of a folder id; nothing when the system does not tell it.
using FolderLookup = std::function<std::optional<std::wstring>(int folder)>;

// The text with its first token expanded.
//
// The token is what stands between the first "#" and the one that follows. The folder takes the
// place of both signs and the name, and no separator is added. Without two signs, with an unknown
// name or a folder that the lookup does not tell the text comes back unchanged. Any thread; raises
// std::bad_alloc and what the lookup raises.
std::wstring Expand(std::wstring_view text, const FolderLookup& lookup);

}  // namespace WyCommon::Csidl
