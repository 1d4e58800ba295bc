#include "wyctl/LogText.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace WyCtl {

namespace {

// Where a digit stands in "14/11/2026 03:10:56.120 ".
constexpr std::string_view kTimeForm = "00/00/0000 00:00:00.000 ";

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

bool HasTime(std::string_view line) {
    return line.size() >= kTimeForm.size() &&
           std::equal(kTimeForm.begin(), kTimeForm.end(), line.begin(), [](char form, char found) {
               return form == '0' ? IsDigit(found) : form == found;
           });
}

// Takes a hexadecimal number and the character behind it off the front.
std::optional<std::uint32_t> TakeHex(std::string_view& text, char end) {
    std::uint32_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    const auto length = static_cast<std::size_t>(stop - text.data());
    if (error != std::errc() || length >= text.size() || text[length] != end) {
        return std::nullopt;
    }
    text.remove_prefix(length + 1);
    return number;
}

LogSeverity SeverityOf(std::string_view label) {
    if (label == ".w.") {
        return LogSeverity::Info;
    }
    if (label == "@@@") {
        return LogSeverity::Warning;
    }
    return label == "!!!" ? LogSeverity::Error : LogSeverity::Other;
}

// Takes the head of a record off the front of its text.
bool TakeHead(std::string_view& text, LogRecord& record) {
    constexpr std::size_t kLabel = 3;
    if (!HasTime(text)) {
        return false;
    }
    record.time = text.substr(0, kTimeForm.size() - 1);
    text.remove_prefix(kTimeForm.size());
    const auto process = TakeHex(text, ':');
    const auto thread = process ? TakeHex(text, ' ') : std::nullopt;
    if (!thread || text.size() < kLabel + 2 || text.substr(kLabel, 2) != " <") {
        return false;
    }
    record.processId = *process;
    record.threadId = *thread;
    record.severity = SeverityOf(text.substr(0, kLabel));
    text.remove_prefix(kLabel + 2);
    const std::size_t end = text.find("> ");
    if (end == std::string_view::npos) {
        return false;
    }
    record.module = text.substr(0, end);
    text.remove_prefix(end + 2);
    return true;
}

// Splits " - name(line)" off the end.
void TakeSource(std::string_view& text, LogRecord& record) {
    const std::size_t dash = text.rfind(" - ");
    if (dash == std::string_view::npos || text.back() != ')') {
        return;
    }
    const std::string_view source = text.substr(dash + 3);
    const std::size_t open = source.rfind('(');
    if (open == std::string_view::npos || open + 2 > source.size() - 1 ||
        !std::all_of(source.begin() + static_cast<std::ptrdiff_t>(open) + 1, source.end() - 1,
                     IsDigit)) {
        return;
    }
    record.source = source;
    text = text.substr(0, dash);
}

LogRecord Parse(std::string whole) {
    LogRecord record;
    std::string_view text = whole;
    TakeHead(text, record);
    TakeSource(text, record);
    record.message = text;
    record.text = std::move(whole);
    return record;
}

}  // namespace

bool BeginsRecord(std::string_view line) {
    LogRecord record;
    return TakeHead(line, record);
}

void LogReader::AddLine(std::string_view line, std::vector<LogRecord>& complete) {
    if (BeginsRecord(line)) {
        if (!m_strRecord.empty()) {
            complete.push_back(Parse(std::move(m_strRecord)));
        }
        m_strRecord = line;
    } else if (!m_strRecord.empty()) {
        m_strRecord.append("\n").append(line);
    }
}

std::vector<LogRecord> LogReader::Add(std::string_view text) {
    std::vector<LogRecord> complete;
    for (;;) {
        const std::size_t end = text.find('\n');
        m_strLine += text.substr(0, end);
        if (end == std::string_view::npos) {
            return complete;
        }
        text.remove_prefix(end + 1);
        if (!m_strLine.empty() && m_strLine.back() == '\r') {
            m_strLine.pop_back();
        }
        AddLine(m_strLine, complete);
        m_strLine.clear();
    }
}

std::vector<LogRecord> LogReader::TakeLast() {
    std::vector<LogRecord> complete;
    if (!m_strLine.empty()) {
        AddLine(m_strLine, complete);
        m_strLine.clear();
    }
    if (!m_strRecord.empty()) {
        complete.push_back(Parse(std::move(m_strRecord)));
        m_strRecord.clear();
    }
    return complete;
}

}  // namespace WyCtl
