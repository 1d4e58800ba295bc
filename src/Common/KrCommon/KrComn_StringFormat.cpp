#include <cerrno>
#include <cstdint>
#include <cwchar>
#include <cwctype>
#include <new>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_String.h"

namespace KrCommon::String {

namespace {

constexpr char kLogSource[] = "KrComn_String";
constexpr std::size_t kFirstSize = 256;
// What does not fit here cannot be formatted at all: the C library refuses it whatever the size.
constexpr std::size_t kLastSize = std::size_t{1} << 26;

[[noreturn]] void RaiseNoMemory(std::uint32_t line) {
    KrCommon::Exception::Raise<Exception>(ErrorCode::kInvalidHandle, line, kLogSource);
}

std::wstring_view Trim(std::wstring_view text) {
    const auto isSpace = [](wchar_t character) {
        return std::iswspace(static_cast<std::wint_t>(character)) != 0;
    };
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace

void Format(std::wstring& out, const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        FormatV(out, kFirstSize, format, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
}

void FormatV(std::wstring& out, std::size_t size, const wchar_t* format, std::va_list arguments) {
    try {
        std::wstring buffer;
        for (std::size_t room = size != 0 ? size : kFirstSize; room <= kLastSize; room *= 2) {
            buffer.resize(room);
            std::va_list copy;
            va_copy(copy, arguments);
            errno = 0;
            const int length = std::vswprintf(buffer.data(), room, format, copy);
            va_end(copy);
            if (length >= 0 && static_cast<std::size_t>(length) < room) {
                buffer.resize(static_cast<std::size_t>(length));
                out = std::move(buffer);
                return;
            }
            if (length < 0 && errno == EILSEQ)
                break;  // no size helps a text that has no wide form
        }
    } catch (const std::bad_alloc&) {
        RaiseNoMemory(__LINE__);
    }
    RaiseNoMemory(__LINE__);
}

void Split(std::vector<std::wstring>& list, std::wstring_view text, std::wstring_view delimiter,
           bool keepEmpty) {
    const std::wstring copy = std::wstring(text) + L' ';
    std::wstring_view rest = copy;
    for (bool last = false; !last;) {
        const std::size_t found =
            delimiter.empty() ? std::wstring_view::npos : rest.find(delimiter);
        last = found == std::wstring_view::npos;
        const std::wstring_view piece = rest.substr(0, found);
        if (keepEmpty || !piece.empty())
            list.emplace_back(Trim(piece));
        if (!last)
            rest.remove_prefix(found + delimiter.size());
    }
}

}  // namespace KrCommon::String
