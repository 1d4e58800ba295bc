#include "wyctl/LogText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "wyctl/LogExplain.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using WyCtl::BeginsRecord;
using WyCtl::ExplainLog;
using WyCtl::FindLogCode;
using WyCtl::LogFailure;
using WyCtl::LogReader;
using WyCtl::LogRecord;
using WyCtl::LogSeverity;

const std::string kLine =
    "14/11/2026 03:10:56.120 0a1c:0f20 !!! <WySdk> WySdk: [ERROR] Install error - WySdk(1060)\r\n";

std::vector<LogRecord> Read(const std::string& text) {
    LogReader reader;
    std::vector<LogRecord> records = reader.Add(text);
    for (LogRecord& record : reader.TakeLast()) {
        records.push_back(std::move(record));
    }
    return records;
}

// A record of thread 1 with this label and message.
std::string Line(const std::string& label, const std::string& message, int thread = 1) {
    return "14/11/2026 03:10:56.120 0a1c:000" + std::to_string(thread) + " " + label + " <WySdk> " +
           message + " - Src(7)\r\n";
}

TEST(LogReader, record_is_taken_apart) {
    const auto records = Read(kLine);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].time, "14/11/2026 03:10:56.120");
    EXPECT_EQ(records[0].processId, 0x0a1cU);
    EXPECT_EQ(records[0].threadId, 0x0f20U);
    EXPECT_EQ(records[0].severity, LogSeverity::Error);
    EXPECT_EQ(records[0].module, "WySdk");
    EXPECT_EQ(records[0].message, "WySdk: [ERROR] Install error");
    EXPECT_EQ(records[0].source, "WySdk(1060)");
    EXPECT_EQ(records[0].text + "\r\n", kLine);
}

TEST(LogReader, each_label_has_its_severity) {
    const struct {
        const char* label;
        LogSeverity severity;
    } rows[] = {{".w.", LogSeverity::Info},
                {"@@@", LogSeverity::Warning},
                {"!!!", LogSeverity::Error},
                {"???", LogSeverity::Other}};
    for (const auto& row : rows) {
        const auto records = Read(Line(row.label, "text"));
        ASSERT_EQ(records.size(), 1U) << row.label;
        EXPECT_EQ(records[0].severity, row.severity) << row.label;
    }
}

TEST(LogReader, message_of_several_lines_is_one_record) {
    const auto records = Read(Line(".w.", "post data={\r\n  \"a\" : 1\r\n}") + Line(".w.", "next"));
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].message, "post data={\n  \"a\" : 1\n}");
    EXPECT_EQ(records[0].source, "Src(7)");
    EXPECT_EQ(records[1].message, "next");
}

TEST(LogReader, text_in_pieces_gives_the_same_records) {
    const std::string text = kLine + Line("@@@", "a\nb") + Line(".w.", "c");
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        LogReader reader;
        auto records = reader.Add(text.substr(0, cut));
        for (LogRecord& record : reader.Add(text.substr(cut))) {
            records.push_back(std::move(record));
        }
        for (LogRecord& record : reader.TakeLast()) {
            records.push_back(std::move(record));
        }
        ASSERT_EQ(records.size(), 3U) << cut;
        EXPECT_EQ(records[1].message, "a\nb") << cut;
    }
}

TEST(LogReader, text_that_belongs_to_no_record_is_dropped) {
    EXPECT_THAT(Read("a letter\r\nof two lines\r\n"), IsEmpty());
    EXPECT_EQ(Read("tail of a record\r\n" + kLine).size(), 1U);
    EXPECT_THAT(Read(""), IsEmpty());
}

TEST(LogReader, lines_that_look_like_records_begin_none) {
    const std::string good = kLine.substr(0, kLine.size() - 2);
    EXPECT_TRUE(BeginsRecord(good));
    EXPECT_TRUE(BeginsRecord("14/11/2026 03:10:56.120 12345:ffffffff ??? <> "));
    for (std::size_t cut = 0; cut < good.find("> ") + 2; ++cut) {
        EXPECT_FALSE(BeginsRecord(good.substr(0, cut))) << cut;
    }
    for (const char* line : {"4/11/2026 03:10:56.120 0a1c:0f20 !!! <WySdk> text",
                             "14/11/2026 03:10:56.120 xyz:0f20 !!! <WySdk> text",
                             "14/11/2026 03:10:56.120 0a1c 0f20 !!! <WySdk> text",
                             "14/11/2026 03:10:56.120 123456789:1 !!! <WySdk> text",
                             "14/11/2026 03:10:56.120 0a1c:0f20 !!! WySdk text"}) {
        EXPECT_FALSE(BeginsRecord(line)) << line;
    }
}

TEST(LogReader, message_that_ends_like_a_source_keeps_what_is_none) {
    const std::string head = "14/11/2026 03:10:56.120 0a1c:0f20 .w. <M> ";
    const struct {
        const char* text;
        const char* message;
        const char* source;
    } rows[] = {{"a - b - c(1)", "a - b", "c(1)"},
                {"a - c(x)", "a - c(x)", ""},
                {"a - c()", "a - c()", ""},
                {"a - c", "a - c", ""},
                {"a (1)", "a (1)", ""},
                {" - (1)", "", "(1)"},
                {"", "", ""}};
    for (const auto& row : rows) {
        const auto records = Read(head + row.text + "\n");
        ASSERT_EQ(records.size(), 1U) << row.text;
        EXPECT_EQ(records[0].message, row.message) << row.text;
        EXPECT_EQ(records[0].source, row.source) << row.text;
    }
}

TEST(FindLogCode, codes_of_every_form_are_found) {
    const struct {
        const char* message;
        std::uint32_t code;
        bool isResult;
        const char* meaning;
    } rows[] = {
        {"WySdk: [ERROR] Install error, now rollback. retCode = 0xe0ff0007", 0xe0ff0007, true,
         "invalid argument or definition, or an answer that lacks a field"},
        {"WySdk: [ERROR] Scan error, retCode = 3758161927", 0xe0010007, true,
         "remote or RPC error 7"},
        {"*** ::CreateDirectory(C:\\a) failed. [0x00000005]", 5, false, "access denied"},
        {"::CopyFile(a, b, 0) failed. [0x00000020]", 32, false,
         "the file is in use by another process"},
        {"RemoveDirectory failed...FilePath:C:\\a, ErrorCode:145", 145, false,
         "the folder is not empty"},
        {"::MoveFileEx failed with error 3, src: a, dst: b", 3, false, "path not found"},
        {"failed to open file <a>, error = 2", 2, false, "file not found"},
        {"WaitForSingleObject failed with return code 258, error code 0", 258, false,
         "the wait timed out"},
        {"ITaskService::Connect failed: 80070005", 0x80070005, true, "access denied"},
        {"KrCommon::Storage::Exception(): [0x00000006] [12]", 6, false, "invalid handle"},
        {"failed, error = 4711", 4711, false, "system error 4711"},
        {"failed, retCode = -1", 0xffffffff, true, "a failure of the service's own"},
    };
    for (const auto& row : rows) {
        const auto code = FindLogCode(row.message);
        ASSERT_TRUE(code.has_value()) << row.message;
        EXPECT_EQ(code->code, row.code) << row.message;
        EXPECT_EQ(code->isResult, row.isResult) << row.message;
        EXPECT_EQ(code->meaning, row.meaning) << row.message;
    }
}

TEST(FindLogCode, message_without_a_code_has_none) {
    for (const char* message : {"", "Param is correct", "retCode = ", "retCode = none", "[]", "[x]",
                                "a [1 b", "error: name"}) {
        EXPECT_FALSE(FindLogCode(message).has_value()) << message;
    }
}

TEST(ExplainLog, first_failure_is_the_step_and_the_others_pass_it_on) {
    const auto failures = ExplainLog(Read(
        Line("@@@", "[INFO],[WySdk], ==> WyInstall") + Line("@@@", "[INFO],[WySdk], ==> Copy") +
        Line("!!!", "*** ::CreateDirectory(C:\\a) failed. [0x00000005]") +
        Line("@@@", "[INFO],[WySdk], <== Copy") +
        Line("!!!", "WySdk: [ERROR] Deploy fail, retCode = 0xe0fe0005") +
        Line(".w.", "WySdk: [ERROR] Install error, retCode = 0xe0fe0005") +
        Line("!!!", "WySdk: [ERROR] Rollback, retCode = 0xe0ff0001")));
    ASSERT_EQ(failures.size(), 2U);
    EXPECT_EQ(failures[0].function, "Copy");
    ASSERT_TRUE(failures[0].code.has_value());
    EXPECT_EQ(failures[0].code->code, 5U);
    ASSERT_EQ(failures[0].passedOn.size(), 2U) << "both pass on the wrapped code";
    EXPECT_EQ(failures[0].passedOn[0].message, "WySdk: [ERROR] Deploy fail, retCode = 0xe0fe0005");
    EXPECT_EQ(failures[1].function, "WyInstall");
}

TEST(ExplainLog, threads_do_not_mix) {
    const auto failures = ExplainLog(Read(
        Line("@@@", "[INFO],[M], ==> First", 1) + Line("@@@", "[INFO],[M], ==> Second", 2) +
        Line("!!!", "x, retCode = 0xe0ff0007", 1) + Line("!!!", "y, retCode = 0xe0ff0007", 2)));
    ASSERT_EQ(failures.size(), 2U);
    EXPECT_EQ(failures[0].function, "First");
    EXPECT_EQ(failures[1].function, "Second");
}

TEST(ExplainLog, log_without_failures_has_none) {
    EXPECT_THAT(ExplainLog(Read(Line(".w.", "Debug server constructed!") +
                                Line("@@@", "[INFO],[M], <== Unknown"))),
                IsEmpty());
}

}  // namespace
