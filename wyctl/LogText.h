#pragma once

// A debug log, taken apart into its records.
//
// A record is a line of the form
//
//     14/11/2026 03:10:56.120 0a1c:0f20 !!! <WySdk> WySdk: [ERROR] text - WySdk(1060)
//
// and the lines behind it that do not begin like one: a message may have line ends of its own.
// All text is UTF-8.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace WyCtl {

enum class LogSeverity { Info, Warning, Error, Other };

struct LogRecord {
    std::string time;  // "14/11/2026 03:10:56.120"
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    LogSeverity severity = LogSeverity::Other;  // by the three-character label
    std::string module;                         // in angle brackets
    std::string message;
    std::string source;  // name and line number, "WySdk(1060)"; empty when the record has none
    std::string text;    // the whole record as it stands, without its last line end
};

// True when a line is the beginning of a record.
bool BeginsRecord(std::string_view line);

// Collects records from text that comes in pieces. A record is complete when the next one begins
// or TakeLast() is called.
class LogReader {
public:
    // Adds text and returns the records that it completes.
    std::vector<LogRecord> Add(std::string_view text);

    // The record that is still open, if there is one; text that belongs to no record is dropped.
    std::vector<LogRecord> TakeLast();

private:
    void AddLine(std::string_view line, std::vector<LogRecord>& complete);

    std::string m_strLine;    // a line that has not ended
    std::string m_strRecord;  // the lines of the record that is open
};

}  // namespace WyCtl
