#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Log.h"
#include "support/LogRecorder.h"
#include "support/LogSinks.h"

namespace {

constexpr const char* kLogSource = "LogStreamTest";
constexpr const wchar_t* kLogModule = L"Module";

using KrCommon::LogLevel::kDebug;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kForced;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using test_support::CountingSink;
using test_support::LogRecorder;
using test_support::RawSink;

// A log that breaks its promise and raises.
class RaisingSink : public KrCommon::LogSink {
public:
    bool IsLevelEnabled(std::uint32_t) override { return true; }
    bool Trace(const char*, std::uint32_t, std::uint32_t, const wchar_t*, ...) override { throw 1; }
};

std::wstring TextOf(const LogRecorder& log) {
    return log.Lines().size() == 1 ? log.Lines()[0].text : L"(not one line)";
}

TEST(LogStream, line_carries_source_line_number_level_and_text) {
    LogRecorder log;
    WyLogStream("Source", 1060, kError) << L"WySdk" << L": [ERROR] " << L"text";
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].file, "Source");
    EXPECT_EQ(log.Lines()[0].line, 1060U);
    EXPECT_EQ(log.Lines()[0].level, kError);
    EXPECT_EQ(log.Lines()[0].text, L"WySdk: [ERROR] text");
}

TEST(LogStream, macros_pair_tags_with_levels) {
    LogRecorder log;
    WY_LOG_INFO << L"a";
    WY_LOG_WARN << L"b";
    WY_LOG_ERROR << L"c";
    WY_LOG_FATAL << L"d";
    WY_LOG_DEBUG << L"e";
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 5U);
    const struct {
        std::uint32_t level;
        const wchar_t* text;
    } expected[] = {
        {kInformation, L"Module: [INFO] a"}, {kWarning, L"Module: [WARN] b"},
        {kError, L"Module: [ERROR] c"},      {kError, L"Module: [FATAL] d"},
        {kDebug, L"Module: [DEBUG] e"},
    };
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].level, expected[i].level);
        EXPECT_EQ(lines[i].text, expected[i].text);
        EXPECT_EQ(lines[i].file, "LogStreamTest");
    }
}

TEST(LogStream, numbers_are_written_in_full_range) {
    LogRecorder log;
    WyLogStream("s", 1, kError) << std::numeric_limits<std::int64_t>::min() << L' '
                                << std::numeric_limits<std::uint64_t>::max() << L' ' << -1 << L' '
                                << std::uint8_t{7} << L' ' << true;
    EXPECT_EQ(TextOf(log), L"-9223372036854775808 18446744073709551615 -1 7 1");
}

TEST(LogStream, hexadecimal_numbers_have_prefix_and_no_padding) {
    LogRecorder log;
    WyLogStream("s", 1, kError) << WyHex{0} << L' ' << WyHex{0xe0ff0007} << L' '
                                << WyHex{0xffffffffffffffff};
    EXPECT_EQ(TextOf(log), L"0x0 0xe0ff0007 0xffffffffffffffff");
}

TEST(LogStream, address_is_written_in_hexadecimal) {
    LogRecorder log;
    WyLogStream("s", 1, kError) << reinterpret_cast<const void*>(std::uintptr_t{0x1234});
    EXPECT_EQ(TextOf(log), L"0x1234");
}

TEST(LogStream, single_characters_are_characters) {
    LogRecorder log;
    WyLogStream("s", 1, kError) << L'\\' << 'x';
    EXPECT_EQ(TextOf(log), L"\\x");
}

TEST(LogStream, null_texts_are_named) {
    LogRecorder log;
    WyLogStream("s", 1, kError) << static_cast<const wchar_t*>(nullptr)
                                << static_cast<const char*>(nullptr);
    EXPECT_EQ(TextOf(log), L"(null)(null)");
}

TEST(LogStream, narrow_text_maps_each_byte_to_one_character) {
    LogRecorder log;
    WyLogStream("s", 1, kError) << "a\xe9" << std::string("b\xff");
    EXPECT_EQ(TextOf(log),
              L"a\x00e9"
              L"b\x00ff");
}

TEST(LogStream, percent_signs_come_out_unchanged) {
    LogRecorder log;
    WyLogStream("s", 1, kError) << L"100%s %" << "%n" << L'%' << std::wstring(L"%%");
    EXPECT_EQ(TextOf(log), L"100%s %%n%%%");
}

TEST(LogStream, percent_signs_are_doubled_for_the_log) {
    RawSink sink;
    WyLogStream(&sink, "s", 1, kError) << L"100%s" << "%";
    EXPECT_EQ(sink.m_strFormat, L"100%%s%%");
}

TEST(LogStream, enabled_level_writes_one_line_for_many_pieces) {
    CountingSink sink(true);
    WY_LOG_ERROR << L"a" << L"b" << L"c";
    EXPECT_EQ(sink.m_iLines, 1);
}

TEST(LogStream, arguments_of_a_line_that_is_not_written_are_not_evaluated) {
    int evaluated = 0;
    const auto argument = [&evaluated] { return ++evaluated; };
    WY_LOG_ERROR << argument();
    EXPECT_EQ(evaluated, 0) << "without a log";
    {
        CountingSink sink(false);
        WY_LOG_ERROR << argument();
        EXPECT_EQ(evaluated, 0) << "with the level off";
    }
    CountingSink sink(true);
    WY_LOG_ERROR << argument();
    EXPECT_EQ(evaluated, 1);
}

TEST(LogStream, line_is_one_statement_between_if_and_else) {
    LogRecorder log;
    for (const bool first : {true, false}) {
        if (first)
            WY_LOG_INFO << L"first";
        else
            WY_LOG_ERROR << L"second";
    }
    EXPECT_EQ(log.Texts(),
              (std::vector<std::wstring>{L"Module: [INFO] first", L"Module: [ERROR] second"}));
}

TEST(LogStream, level_filter_lets_masked_and_forced_lines_through) {
    LogRecorder log(kInformation | kWarning | kError);
    WyLogStream("s", 1, kDebug) << L"debug";
    WyLogStream("s", 1, kForced) << L"forced";
    EXPECT_EQ(TextOf(log), L"forced");
}

TEST(LogStream, other_log_takes_the_line) {
    LogRecorder main;
    LogRecorder feedback(0xffffffff, &g_pFeedbackErrorLog);
    WyLogStream(g_pFeedbackErrorLog, "s", 1, kForced) << L"scan";
    EXPECT_TRUE(main.Lines().empty());
    EXPECT_EQ(TextOf(feedback), L"scan");
}

TEST(LogStream, null_log_writes_nothing) {
    LogRecorder main;
    WyLogStream(nullptr, "s", 1, kForced) << L"scan";
    EXPECT_TRUE(main.Lines().empty());
}

TEST(LogStream, raising_log_is_silenced) {
    RaisingSink sink;
    WyLogStream(&sink, "s", 1, kError) << L"text";
    SUCCEED();  // reaching this line is the point: the destructor would have ended the process
}

TEST(FunctionTrace, writes_enter_and_leave_line_at_level_16) {
    LogRecorder log;
    { const WyFunctionTrace trace(L"FrwkMode", "ExternalDllMode", L"A::B", 42); }
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, L"[INFO],[FrwkMode], ==> A::B");
    EXPECT_EQ(lines[1].text, L"[INFO],[FrwkMode], <== A::B");
    for (const auto& line : lines) {
        EXPECT_EQ(line.level, 16U);
        EXPECT_EQ(line.line, 42U);
        EXPECT_EQ(line.file, "ExternalDllMode");
    }
}

TEST(FunctionTrace, text_goes_to_the_log_unescaped) {
    RawSink sink;
    g_pDebugLog = &sink;
    { const WyFunctionTrace trace(L"M", "s", L"half%%half", 1); }
    g_pDebugLog = nullptr;
    EXPECT_EQ(sink.m_strFormat, L"[INFO],[M], <== half%%half");
}

TEST(FunctionTrace, without_log_writes_nothing) {
    ASSERT_EQ(g_pDebugLog, nullptr);
    { const WyFunctionTrace trace(L"M", "s", L"F", 1); }
    LogRecorder log;
    EXPECT_TRUE(log.Lines().empty());
}

TEST(FunctionTrace, default_mask_filters_both_lines) {
    LogRecorder log(kError);
    { const WyFunctionTrace trace(L"M", "s", L"F", 1); }
    EXPECT_TRUE(log.Lines().empty());
}

TEST(FunctionTrace, keeps_copies_of_its_arguments) {
    LogRecorder log;
    {
        std::wstring module = L"module longer than a small string";
        std::string file = "file longer than a small string";
        std::wstring function = L"function longer than a small string";
        const WyFunctionTrace trace(module.c_str(), file.c_str(), function.c_str(), 7);
        module.assign(module.size(), L'#');
        file.assign(file.size(), '#');
        function.assign(function.size(), L'#');
    }
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].text,
              L"[INFO],[module longer than a small string], <== "
              L"function longer than a small string");
    EXPECT_EQ(lines[1].file, "file longer than a small string");
}

TEST(FunctionTrace, log_that_came_meanwhile_gets_the_leave_line) {
    LogRecorder* log = nullptr;
    {
        const WyFunctionTrace trace(L"M", "s", L"F", 1);
        log = new LogRecorder;
    }
    EXPECT_EQ(TextOf(*log), L"[INFO],[M], <== F");
    delete log;
}

TEST(FunctionTrace, raising_log_is_silenced) {
    RaisingSink sink;
    g_pDebugLog = &sink;
    { const WyFunctionTrace trace(L"M", "s", L"F", 1); }
    g_pDebugLog = nullptr;
    SUCCEED();  // reaching this line is the point: the destructor would have ended the process
}

}  // namespace
