#pragma once

// The line format of the log, from plain values. The log class fetches the values and hands the
// finished line to the trace module; this room knows neither.

#include <cstdint>
#include <string>
#include <string_view>

namespace KrCommon {

// Everything that one line shows. The texts are viewed, not copied.
struct LogLine {
    // Local time of the line.
    std::uint16_t day = 0;
    std::uint16_t month = 0;
    std::uint16_t year = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint16_t millisecond = 0;

    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    std::uint32_t level = 0;
    std::wstring_view moduleName;  // of the log, in angle brackets
    std::wstring_view message;
    std::string_view sourcePath;  // only its file name is shown
    std::uint32_t sourceLine = 0;
};

// The three-character label of a level: ".w.", "@@@", "!!!", and "???" for all but the first three.
const wchar_t* LogLevelLabel(std::uint32_t level);

// The file name part of a source path (what PathFindFileNameA gives): the text behind the last
// "\", "/" or ":" that a character other than a separator follows.
std::string_view LogSourceName(std::string_view path);

// The whole line:
//
//     14/11/2026 03:10:56.120 0a1c:0f20 !!! <WySdk> WySdk: [ERROR] text - WySdk(1060)
//
// with day before month, process and thread in hexadecimal, and "\r\n" at the end. The source name
// is text of the thread's code page. Raises std::bad_alloc alone.
std::wstring FormatLogLine(const LogLine& line);

}  // namespace KrCommon
