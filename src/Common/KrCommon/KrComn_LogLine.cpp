#include "Common/KrCommon/KrComn_LogLine.h"

#include <cstdio>

#include "Common/KrCommon/KrComn_Log.h"

namespace KrCommon {

namespace {

void AppendWidened(std::wstring& target, std::string_view text) {
    for (const char character : text) {
        target.push_back(static_cast<wchar_t>(static_cast<unsigned char>(character)));
    }
}

// Seven numbers of at most five digits with their separators stay below this.
constexpr std::size_t kNumbersSize = 64;

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
    char numbers[kNumbersSize];
    std::wstring text;
    const std::string_view source = LogSourceName(line.sourcePath);
    text.reserve(line.moduleName.size() + line.message.size() + source.size() + 2 * kNumbersSize);

    std::snprintf(numbers, sizeof(numbers), "%02u/%02u/%04u %02u:%02u:%02u.%03u", line.day,
                  line.month, line.year, line.hour, line.minute, line.second, line.millisecond);
    AppendWidened(text, numbers);
    std::snprintf(numbers, sizeof(numbers), " %04x:%04x ", line.processId, line.threadId);
    AppendWidened(text, numbers);
    text.append(LogLevelLabel(line.level)).append(L" <").append(line.moduleName).append(L"> ");
    text.append(line.message).append(L" - ");
    AppendWidened(text, source);
    std::snprintf(numbers, sizeof(numbers), "(%u)\r\n", line.sourceLine);
    AppendWidened(text, numbers);
    return text;
}

}  // namespace KrCommon
