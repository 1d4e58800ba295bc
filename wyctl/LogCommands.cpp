#include <fmt/format.h>
#include <json/value.h>

#include <algorithm>

#include "wyctl/Commands.h"
#include "wyctl/Errors.h"
#include "wyctl/FileBytes.h"
#include "wyctl/FileTail.h"
#include "wyctl/JsonText.h"
#include "wyctl/LogExplain.h"
#include "wyctl/LogText.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

constexpr std::uint32_t kPollMs = 250;

const char* SeverityName(LogSeverity severity) {
    switch (severity) {
        case LogSeverity::Info:
            return "info";
        case LogSeverity::Warning:
            return "warning";
        case LogSeverity::Error:
            return "error";
        default:
            return "other";
    }
}

// The sequence that begins a record's colour; empty for the screen's own.
const char* ColorOf(LogSeverity severity) {
    switch (severity) {
        case LogSeverity::Error:
            return "\x1b[31m";
        case LogSeverity::Warning:
            return "\x1b[33m";
        case LogSeverity::Other:
            return "\x1b[36m";
        default:
            return "";
    }
}

Json::Value RecordAsJson(const LogRecord& record) {
    Json::Value value(Json::objectValue);
    value["time"] = record.time;
    value["processId"] = record.processId;
    value["threadId"] = record.threadId;
    value["severity"] = SeverityName(record.severity);
    value["module"] = record.module;
    value["message"] = record.message;
    value["source"] = record.source;
    return value;
}

// The record's own text, with the control characters of its lines made visible.
std::string RecordAsText(const LogRecord& record) {
    std::string text;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = record.text.find('\n', start);
        text += Printable(std::string_view(record.text).substr(start, end - start));
        if (end == std::string::npos) {
            return text;
        }
        text += '\n';
        start = end + 1;
    }
}

class TailView {
public:
    TailView(Context& context, const LogTailOptions& options)
        : m_Context(context),
          m_Options(options),
          m_bColors(options.color == ColorMode::Always ||
                    (options.color == ColorMode::Auto && context.Screen().OutTakesColors())) {}

    // Shows the last of what was there before.
    void ShowFormer(std::vector<LogRecord> records) {
        std::erase_if(records, [this](const LogRecord& record) { return !IsWanted(record); });
        const std::size_t skipped =
            records.size() - std::min<std::size_t>(records.size(), m_Options.lines);
        for (std::size_t i = skipped; i < records.size(); ++i) {
            Show(records[i]);
        }
    }

    // Shows what came; false when that was all that was asked for.
    bool ShowNew(const std::vector<LogRecord>& records) {
        for (const LogRecord& record : records) {
            if (IsWanted(record)) {
                Show(record);
                if (++m_uiShown == m_Options.count) {
                    return false;
                }
            }
        }
        return true;
    }

private:
    bool IsWanted(const LogRecord& record) const {
        switch (m_Options.filter) {
            case LogFilter::Errors:
                return record.severity == LogSeverity::Error;
            case LogFilter::Warnings:
                return record.severity == LogSeverity::Error ||
                       record.severity == LogSeverity::Warning;
            default:
                return true;
        }
    }

    void Show(const LogRecord& record) {
        if (m_Context.Options().json) {
            Json::Value value = RecordAsJson(record);
            value["ok"] = true;
            m_Context.PrintJson(value);
            return;
        }
        const std::string color = m_bColors ? ColorOf(record.severity) : "";
        m_Context.Screen().Out(
            fmt::format("{}{}{}\n", color, RecordAsText(record), color.empty() ? "" : "\x1b[0m"));
    }

    Context& m_Context;
    const LogTailOptions& m_Options;
    bool m_bColors;
    std::uint32_t m_uiShown = 0;
};

// A record is written at once and ends with its line: the last one is complete then.
std::vector<LogRecord> ReadRecords(LogReader& reader, const std::string& text) {
    std::vector<LogRecord> records = reader.Add(text);
    if (!text.empty() && text.back() == '\n') {
        std::vector<LogRecord> last = reader.TakeLast();
        std::move(last.begin(), last.end(), std::back_inserter(records));
    }
    return records;
}

Json::Value FailureAsJson(const LogFailure& failure) {
    Json::Value value = RecordAsJson(failure.step);
    value["function"] = failure.function;
    if (failure.code) {
        value["code"] = failure.code->code;
        value["codeHex"] = HexCode(failure.code->code);
        value["meaning"] = failure.code->meaning;
    }
    Json::Value& passed = value["passedOn"] = Json::Value(Json::arrayValue);
    for (const LogRecord& record : failure.passedOn) {
        passed.append(RecordAsJson(record));
    }
    return value;
}

std::string FailureAsText(const LogFailure& failure) {
    const LogRecord& step = failure.step;
    std::string text =
        fmt::format("{}  process {}, thread {}\n", step.time, step.processId, step.threadId);
    text += fmt::format("  step:     {}\n", Printable(step.message));
    if (!failure.function.empty()) {
        text += fmt::format("  function: {}\n", Printable(failure.function));
    }
    if (!step.source.empty()) {
        text += fmt::format("  source:   {}\n", Printable(step.source));
    }
    text += failure.code
                ? fmt::format("  code:     {} ({})\n",
                              failure.code->isResult ? HexCode(failure.code->code)
                                                     : fmt::format("{}", failure.code->code),
                              failure.code->meaning)
                : std::string("  code:     none given\n");
    for (const LogRecord& record : failure.passedOn) {
        text += fmt::format("  passed on by: {}\n", Printable(record.message));
    }
    return text;
}

}  // namespace

void RunLogTail(Context& context, const LogTailOptions& options) {
    FileTail tail(options.file.empty() ? DefaultLogFile() : options.file);
    TailView view(context, options);
    LogReader reader;
    view.ShowFormer(ReadRecords(reader, tail.ReadNew()));
    while (options.follow && !context.Screen().WaitForInterrupt(kPollMs)) {
        if (!view.ShowNew(ReadRecords(reader, tail.ReadNew()))) {
            return;
        }
    }
}

void RunLogExplain(Context& context, const std::string& file) {
    const std::vector<std::uint8_t> bytes = ReadFileBytes(file);
    LogReader reader;
    std::vector<LogRecord> records =
        reader.Add({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    std::vector<LogRecord> last = reader.TakeLast();
    std::move(last.begin(), last.end(), std::back_inserter(records));
    if (records.empty() && !bytes.empty()) {
        throw Failure(fmt::format("{} is no debug log: none of its lines begins like one", file));
    }
    const std::vector<LogFailure> failures = ExplainLog(records);
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = true;
        answer["file"] = file;
        answer["records"] = static_cast<Json::UInt64>(records.size());
        Json::Value& list = answer["failures"] = Json::Value(Json::arrayValue);
        for (const LogFailure& failure : failures) {
            list.append(FailureAsJson(failure));
        }
        context.PrintJson(answer);
        return;
    }
    for (const LogFailure& failure : failures) {
        context.Screen().Out(FailureAsText(failure));
    }
    context.Screen().Out(
        fmt::format("{} record(s), {} failure(s)\n", records.size(), failures.size()));
}

}  // namespace WyCtl
