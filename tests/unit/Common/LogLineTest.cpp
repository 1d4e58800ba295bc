#include "Common/KrCommon/KrComn_LogLine.h"

#include <gtest/gtest.h>

namespace {

using KrCommon::FormatLogLine;
using KrCommon::LogLevelLabel;
using KrCommon::LogLine;
using KrCommon::LogSourceName;

LogLine ExampleLine() {
    LogLine line;
    line.day = 14;
    line.month = 11;
    line.year = 2026;
    line.hour = 3;
    line.minute = 10;
    line.second = 56;
    line.millisecond = 120;
    line.processId = 0x0a1c;
    line.threadId = 0x0f20;
    line.level = 256;
    line.moduleName = L"WySdk";
    line.message = L"WySdk: [ERROR] Install error, now rollback. retCode = 0xe0ff0007";
    line.sourcePath = "WySdk";
    line.sourceLine = 1060;
    return line;
}

TEST(LogLine, whole_line_in_its_fixed_form) {
    EXPECT_EQ(FormatLogLine(ExampleLine()),
              L"14/11/2026 03:10:56.120 0a1c:0f20 !!! <WySdk> WySdk: [ERROR] Install error, now "
              L"rollback. retCode = 0xe0ff0007 - WySdk(1060)\r\n");
}

TEST(LogLine, small_values_are_padded_and_large_ones_kept_whole) {
    LogLine line = ExampleLine();
    line.day = 1;
    line.month = 2;
    line.year = 33;
    line.hour = line.minute = line.second = line.millisecond = 0;
    line.processId = 0xffffffff;
    line.threadId = 1;
    line.sourceLine = 0xffffffff;
    line.message = L"m";
    EXPECT_EQ(FormatLogLine(line),
              L"01/02/0033 00:00:00.000 ffffffff:0001 !!! <WySdk> m - WySdk(4294967295)\r\n");
}

TEST(LogLine, values_out_of_every_range_do_not_overrun) {
    LogLine line = ExampleLine();
    line.day = line.month = line.year = line.hour = 65535;
    line.minute = line.second = line.millisecond = 65535;
    line.message = L"";
    EXPECT_EQ(FormatLogLine(line),
              L"65535/65535/65535 65535:65535:65535.65535 0a1c:0f20 !!! <WySdk>  - "
              L"WySdk(1060)\r\n");
}

TEST(LogLine, message_keeps_percent_signs_and_line_ends) {
    LogLine line = ExampleLine();
    line.message = L"100%s\r\n%n";
    EXPECT_NE(FormatLogLine(line).find(L"> 100%s\r\n%n - WySdk("), std::wstring::npos);
}

TEST(LogLine, empty_module_and_empty_source_leave_their_frames) {
    LogLine line = ExampleLine();
    line.moduleName = L"";
    line.sourcePath = "";
    line.message = L"m";
    EXPECT_EQ(FormatLogLine(line), L"14/11/2026 03:10:56.120 0a1c:0f20 !!! <> m - (1060)\r\n");
}

TEST(LogLine, source_shows_file_name_part_and_widens_each_byte) {
    LogLine line = ExampleLine();
    line.sourcePath = "d:\\src\\caf\xe9.cpp";
    line.message = L"m";
    EXPECT_NE(FormatLogLine(line).find(L" m - caf\x00e9.cpp(1060)\r\n"), std::wstring::npos);
}

TEST(LogLine, labels_by_level) {
    const struct {
        std::uint32_t level;
        const wchar_t* label;
    } rows[] = {{1, L".w."},          {16, L"@@@"}, {256, L"!!!"}, {4096, L"???"}, {0, L"???"},
                {0x10000000, L"???"}, {2, L"???"},  {17, L"???"},  {273, L"???"}};
    for (const auto& row : rows)
        EXPECT_STREQ(LogLevelLabel(row.level), row.label) << row.level;
}

TEST(LogLine, file_name_part_of_source_paths) {
    const struct {
        const char* path;
        const char* name;
    } rows[] = {
        {"", ""},        {"a.cpp", "a.cpp"},     {"d\\a.cpp", "a.cpp"}, {"/d/e/a.cpp", "a.cpp"},
        {"c:a", "a"},    {"d\\e/a", "a"},        {"d\\", "d\\"},        {"d\\e\\", "e\\"},
        {"d\\\\a", "a"}, {"\\", "\\"},           {"\\\\", "\\\\"},      {":", ":"},
        {"a:\\b", "b"},  {"dir\\a b.c", "a b.c"}};
    for (const auto& row : rows)
        EXPECT_EQ(LogSourceName(row.path), row.name) << row.path;
}

}  // namespace
