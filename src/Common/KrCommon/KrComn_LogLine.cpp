#include "Common/KrCommon/KrComn_LogLine.h"

#include <cstddef>
#include <iterator>

#include "Common/KrCommon/KrComn_CodePage.h"
#include "Common/KrCommon/KrComn_Log.h"

namespace KrCommon {

namespace {

constexpr std::uint32_t kDecimal = 10;
constexpr std::uint32_t kHexadecimal = 16;

// All of a line but its texts stays below this.
constexpr std::size_t kNumbersSize = 128;

// Digits of a number, at least `width` of them.
void AppendNumber(std::wstring& target, std::uint32_t number, std::ptrdiff_t width,
                  std::uint32_t base = kDecimal) {
    wchar_t buffer[16];
    wchar_t* const end = std::end(buffer);
    wchar_t* digit = end;
    do {
        *--digit = L"0123456789abcdef"[number % base];
        number /= base;
    } while (number != 0);
    while (end - digit < width) {
        *--digit = L'0';
    }
    target.append(digit, end);
}

bool IsAscii(std::string_view text) {
    for (const char character : text) {
        if (static_cast<unsigned char>(character) >= 0x80)
            return false;
    }
    return true;
}

// Nearly every source name is ASCII, which needs no question about code pages.
void AppendSource(std::wstring& target, std::string_view source) {
    if (IsAscii(source)) {
        target.append(source.begin(), source.end());
    } else {
        std::wstring wide;
        String::FromCodePage(source, wide, String::kThreadCodePage);
        target += wide;
    }
}

}  // namespace

const wchar_t* LogLevelLabel(std::uint32_t level) {
    switch (level) {
        case LogLevel::kInformation:
            return L".w.";
        case LogLevel::kWarning:
            return L"@@@";
        case LogLevel::kError:
            return L"!!!";
        default:
            return L"???";
    }
}

std::string_view LogSourceName(std::string_view path) {
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < path.size(); ++i) {
        const bool separator = path[i] == '\\' || path[i] == '/' || path[i] == ':';
        if (separator && path[i + 1] != '\\' && path[i + 1] != '/')
            start = i + 1;
    }
    return path.substr(start);
}

std::wstring FormatLogLine(const LogLine& line) {
    std::wstring text;
    const std::string_view source = LogSourceName(line.sourcePath);
    text.reserve(line.moduleName.size() + line.message.size() + source.size() + kNumbersSize);

    AppendNumber(text, line.day, 2);
    text += L'/';
    AppendNumber(text, line.month, 2);
    text += L'/';
    AppendNumber(text, line.year, 4);
    text += L' ';
    AppendNumber(text, line.hour, 2);
    text += L':';
    AppendNumber(text, line.minute, 2);
    text += L':';
    AppendNumber(text, line.second, 2);
    text += L'.';
    AppendNumber(text, line.millisecond, 3);
    text += L' ';
    AppendNumber(text, line.processId, 4, kHexadecimal);
    text += L':';
    AppendNumber(text, line.threadId, 4, kHexadecimal);
    text += L' ';
    text.append(LogLevelLabel(line.level)).append(L" <").append(line.moduleName).append(L"> ");
    text.append(line.message).append(L" - ");
    AppendSource(text, source);
    text += L'(';
    AppendNumber(text, line.sourceLine, 1);
    text.append(L")\r\n");
    return text;
}

}  // namespace KrCommon
