// Splitting and formatting.
//
// Input: one byte (bit 1: UTF-16 units instead of a character for
// each byte), one byte (length of the delimiter), two bytes (the size that formatting tries first),
// delimiter, text.

#include <cwctype>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "FuzzInput.h"

namespace {

namespace String = KrCommon::String;

bool IsSpace(wchar_t character) {
    return std::iswspace(static_cast<std::wint_t>(character)) != 0;
}

std::wstring WithoutSpace(const std::wstring& text) {
    std::wstring result;
    for (const wchar_t character : text) {
        if (!IsSpace(character)) {
            result += character;
        }
    }
    return result;
}

std::size_t Occurrences(const std::wstring& text, const std::wstring& part) {
    std::size_t count = 0;
    if (part.empty()) {
        return count;
    }
    for (std::size_t at = text.find(part); at != std::wstring::npos;
         at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

void CheckSplit(const std::wstring& text, const std::wstring& delimiter) {
    std::vector<std::wstring> all = {L"before"};
    String::Split(all, text, delimiter, true);
    fuzz::Require(all.front() == L"before", "the list is not appended to");
    fuzz::Require(all.size() == Occurrences(text + L' ', delimiter) + 2, "number of pieces");
    std::wstring pieces;
    for (std::size_t i = 1; i < all.size(); ++i) {
        const std::wstring& piece = all[i];
        fuzz::Require(piece.empty() || !(IsSpace(piece.front()) || IsSpace(piece.back())),
                      "a piece is not trimmed");
        pieces += piece;
    }
    const std::wstring rest = String::ReplaceAll(text + L' ', delimiter, L"");
    fuzz::Require(WithoutSpace(pieces) == WithoutSpace(rest), "text is lost or made up");

    std::vector<std::wstring> some;
    String::Split(some, text, delimiter, false);
    fuzz::Require(some.size() < all.size(), "more pieces than with the empty ones");
    std::size_t next = 1;
    for (const std::wstring& piece : some) {
        while (next < all.size() && all[next] != piece) {
            fuzz::Require(all[next++].empty(), "a piece that is not empty was dropped");
        }
        fuzz::Require(next++ < all.size(), "a piece that is not among all");
    }
    for (; next < all.size(); ++next) {
        fuzz::Require(all[next].empty(), "a piece that is not empty was dropped");
    }
}

void FormatWithSize(std::wstring& out, std::size_t size, const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        String::FormatV(out, size, format, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
}

void CheckFormat(const std::wstring& text, std::size_t size) {
    // The C library refuses what no character has the number of, or it ends at a NUL.
    const std::wstring ended = text.substr(0, text.find(L'\0'));
    std::wstring out = L"before";
    std::wstring sized = L"before";
    try {
        String::Format(out, L"%ls|%d|%ls", ended.c_str(), -7, ended.c_str());
        FormatWithSize(sized, size, L"%ls|%d|%ls", ended.c_str(), -7, ended.c_str());
    } catch (String::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        fuzz::Require(raised->Code() == 6, "the code of a failure");
        fuzz::Require(out == L"before", "a failure changed the text");
        return;
    }
    fuzz::Require(out == ended + L"|-7|" + ended, "formatted text");
    fuzz::Require(out == sized, "the first size changes the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::uint8_t form = input.Byte();
    const std::size_t length = input.Byte() % 8;
    const std::size_t first = input.Byte() | static_cast<std::size_t>(input.Byte() << 8);
    const std::wstring text = (form & 2) != 0 ? input.RestAsUnits() : input.RestAsText();
    const std::wstring delimiter = text.substr(0, length);
    const std::wstring rest = text.substr(delimiter.size());
    CheckSplit(rest, delimiter);
    CheckFormat(rest, first);
    return 0;
}
