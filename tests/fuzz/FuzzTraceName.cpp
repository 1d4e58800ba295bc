// File names and folders of the trace module, from what a configuration says.
//
// Input: one byte (bit 0: the rest is UTF-16 units, otherwise a character for each byte), the rest:
// prefix, name, program and extension separated by "|", and behind them the folder.

#include <string>
#include <string_view>

#include "FuzzInput.h"
#include "trace/TraceName.h"

namespace {

std::wstring TakePart(std::wstring& text) {
    const std::size_t end = text.find(L'|');
    std::wstring part = text.substr(0, end);
    text.erase(0, end == std::wstring::npos ? end : end + 1);
    return part;
}

void CheckFileName(std::wstring_view name) {
    fuzz::Require(name.find_first_of(L"<>:\"/\\|?*") == std::wstring_view::npos,
                  "a character that no file name has");
    for (const wchar_t character : name) {
        fuzz::Require(character >= L' ', "a control character in a file name");
    }
    fuzz::Require(name.empty() || (name.back() != L'.' && name.back() != L' '),
                  "a file name ends in a dot or a blank");
}

void CheckFolder(std::wstring_view folder) {
    fuzz::Require(folder.find(L'/') == std::wstring_view::npos, "a slash in a folder");
    fuzz::Require(folder.size() < 2 || folder.find(L':', 2) == std::wstring_view::npos,
                  "a stream in a folder");
    fuzz::Require(!folder.starts_with(L"\\\\.\\") && !folder.starts_with(L"\\\\?\\"), "a device");
    while (!folder.empty()) {
        const std::size_t end = folder.find(L'\\');
        const std::wstring_view component = folder.substr(0, end);
        fuzz::Require(component != L".." && component != L".", "dots in a folder");
        folder.remove_prefix(end == std::wstring_view::npos ? folder.size() : end + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool units = (input.Byte() & 1) != 0;
    std::wstring text = units ? input.RestAsUnits() : input.RestAsText();
    Trace::NameParts parts;
    parts.prefix = TakePart(text);
    parts.name = TakePart(text);
    parts.executable = TakePart(text);
    parts.extension = TakePart(text);

    const std::wstring stem = Trace::FileStem(parts);
    const std::wstring extension = Trace::FileExtension(parts.extension);
    fuzz::Require(!stem.empty() && stem.size() <= 101, "length of the stem");
    fuzz::Require(extension.size() <= 21, "length of the extension");
    fuzz::Require(extension.empty() || extension[0] == L'.', "an extension without its dot");
    CheckFileName(stem);
    CheckFileName(stem + extension);

    const auto folder = Trace::ResolveFolder(text, L"C:\\data", L"C:\\data\\Log");
    if (folder.has_value())
        CheckFolder(*folder);
    return 0;
}
