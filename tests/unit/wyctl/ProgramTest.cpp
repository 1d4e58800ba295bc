#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "ProgramFixture.h"
#include "wyctl/Batch.h"
#include "wyctl/CommandText.h"
#include "wyctl/Errors.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using Program = ProgramFixture;

TEST_F(Program, call_shows_outputs_by_name) {
    EXPECT_EQ(Run({"call", "WyGetSysMemUsage"}), 0);
    EXPECT_EQ(m_Terminal.out,
              "memUsage = 3221225472\nmemAvail = 5368709120\nmemTotal = 8589934592\n");
    EXPECT_EQ(m_Terminal.err, "");
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyGetSysMemUsage()"));
}

TEST_F(Program, call_without_outputs_shows_the_code) {
    EXPECT_EQ(Run({"call", "WySetScheduleScanTime", "3", "0x10"}), 0);
    EXPECT_EQ(m_Terminal.out, "0x20ff0000 success\n");
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WySetScheduleScanTime(3, 16)"));
}

TEST_F(Program, call_passes_text_unchanged) {
    EXPECT_EQ(Run({"call", "WyScan", "1", ""}), 0);
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyScan(1, )");
    EXPECT_EQ(Run({"call", "WyScan", "1", "list"}), 0) << "the name of a command";
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyScan(1, list)");
    EXPECT_EQ(Run({"call", "WyScan", "1", "\xc3\xa4,\xe2\x82\xac"}), 0);
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyScan(1, \xc3\xa4,\xe2\x82\xac)");
    EXPECT_EQ(Run({"call", "WyPublishEventEx", "5", "[\"a\",{\"b\":1}]"}), 0);
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyPublishEventEx(5, [\"a\",{\"b\":1}])");
    EXPECT_EQ(Run({"call", "WyScan", "1", "--", "--json"}), 0);
    EXPECT_EQ(FakeSdk::Get().calls.at(0), "WyScan(1, --json)");
}

TEST_F(Program, call_notes_an_argument_that_is_no_json) {
    EXPECT_EQ(Run({"call", "WyPublishEventEx", "5", "{bad"}), 0);
    EXPECT_THAT(m_Terminal.err, HasSubstr("param is no JSON"));
    EXPECT_EQ(FakeSdk::Get().calls.size(), 1U);
}

TEST_F(Program, call_as_json) {
    EXPECT_EQ(Run({"call", "WyGetFixProgressV2", "s", "f", "--json"}), 0);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["ok"], Json::Value(true));
    EXPECT_EQ(answer["function"], Json::Value("WyGetFixProgressV2"));
    EXPECT_EQ(answer["id"].asUInt(), 400000032U);
    EXPECT_EQ(answer["codeHex"], Json::Value("0x20ff0000"));
    EXPECT_EQ(answer["outputs"]["progress"].asUInt(), 55U);
    EXPECT_EQ(answer["outputs"]["feature"].asString(), "x\ny");
    EXPECT_TRUE(answer["outputs"]["object"].isNull());
}

TEST_F(Program, failed_call_tells_code_and_meaning) {
    FakeSdk::Get().codes["WyGetSysCpuUsage"] = 0xe00106ba;
    EXPECT_EQ(Run({"call", "WyGetSysCpuUsage"}), 1);
    EXPECT_EQ(m_Terminal.out, "");
    EXPECT_THAT(m_Terminal.err, HasSubstr("WyGetSysCpuUsage failed with 0xe00106ba: no service"));

    EXPECT_EQ(Run({"--json", "call", "WyGetSysCpuUsage"}), 1);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["ok"], Json::Value(false));
    EXPECT_EQ(answer["error"], Json::Value("call"));
    EXPECT_EQ(answer["function"], Json::Value("WyGetSysCpuUsage"));
    EXPECT_EQ(answer["code"].asUInt(), 0xe00106baU);
    EXPECT_THAT(answer["meaning"].asString(), HasSubstr("no service listens"));
    // What the call wrote all the same.
    EXPECT_EQ(answer["outputs"]["cpuUsage"].asUInt(), 37U);
}

TEST_F(Program, wrong_command_lines_are_usage_errors) {
    const struct {
        std::vector<std::string> arguments;
        const char* words;
    } rows[] = {
        {{}, "subcommand"},
        {{"nonsense"}, "there is no command 'nonsense'"},
        {{"call", "WySubscribeEvent", "1", "x"}, "needs a callback"},
        {{"call", "WyUnsubscribeEvent", "1", "x"}, "'wyctl events' subscribes"},
        {{"call"}, "NAME"},
        {{"call", "WyNothing"}, "there is no function WyNothing"},
        {{"call", "wyscan"}, "there is no function wyscan"},
        {{"call", "WyScan"}, "takes 2 argument(s), 0 given: in activeSessionId"},
        {{"call", "WyGetSysCpuUsage", "1"}, "takes 0 argument(s), 1 given"},
        {{"call", "WyScan", "1", "2", "3", "4", "5", "6", "7", "8", "9"}, "9"},
        {{"call", "WyScan", "x", "a"}, "argument activeSessionId: 'x' is no uint32"},
        {{"call", "WyScan", "4294967296", "a"}, "is no uint32"},
        {{"call", "WySetScheduleScanTime", "1", "256"}, "is no uint8"},
        {{"call", "WyFix", "s", "i"}, "has a row in the table, but WySdk.dll does not export it"},
        {{"scan", "--nonsense"}, "--nonsense"},
        {{"scan", "--active-session", "-1"}, "active-session"},
        {{"--progress", "loud", "scan"}, "progress"},
        {{"bigfiles", "--min-size", "12Q"}, "'12Q' is no size"},
        {{"monitor", "--count", "many"}, "count"},
        {{"events", "x"}, "'x' is no number of an event"},
        {{"events", "7", "4294967296"}, "'4294967296' is no number of an event"},
        {{"events", "0x"}, "'0x' is no number of an event"},
        {{"events", "--", "-1"}, "'-1' is no number of an event"},
        {{"events", ""}, "'' is no number of an event"},
        {{"events", "7", "--count", "x"}, "count"},
        {{"publish"}, "ID"},
        {{"publish", "7.5"}, "'7.5' is no number of an event"},
        {{"publish", "0x100000000", "{}"}, "'0x100000000' is no number of an event"},
        {{"publish", "7", "{bad"}, "the parameter of an event must be JSON"},
        {{"publish", "7", ""}, "the parameter of an event must be JSON"},
        {{"publish", "7", "1", "2"}, "2"},
        {{"decode"}, "FILE"},
        {{"decode", "x", "--as", "poem"}, "as"},
    };
    for (const auto& row : rows) {
        for (const bool json : {false, true}) {
            auto arguments = row.arguments;
            if (json) {
                arguments.insert(arguments.begin(), "--json");
            }
            EXPECT_EQ(Run(arguments), 2) << row.words;
            EXPECT_THAT(m_Terminal.err, HasSubstr(row.words));
            EXPECT_TRUE(FakeSdk::Get().calls.empty()) << row.words;
            if (json) {
                const Json::Value answer = OneJson();
                EXPECT_EQ(answer["ok"], Json::Value(false));
                EXPECT_EQ(answer["error"], Json::Value("usage"));
                EXPECT_THAT(answer["message"].asString(), HasSubstr(row.words));
            } else {
                EXPECT_EQ(m_Terminal.out, "");
            }
        }
    }
}

TEST_F(Program, help_is_a_success) {
    EXPECT_EQ(Run({"--help"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("bigfiles"));
    EXPECT_EQ(m_Terminal.err, "");
    EXPECT_EQ(Run({"call", "--help"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("NAME"));
    EXPECT_THAT(m_Terminal.out, Not(HasSubstr("ARG2")));
}

TEST_F(Program, library_that_cannot_be_loaded_is_a_failure) {
    FakeSdk::Get().missing = true;
    EXPECT_EQ(Run({"call", "WyGetSysCpuUsage", "--library", "other.dll"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("cannot load other.dll"));
    EXPECT_EQ(Run({"scan", "--json"}), 1);
    EXPECT_EQ(OneJson()["error"], Json::Value("failure"));
}

TEST_F(Program, list_shows_every_function) {
    EXPECT_EQ(Run({"list"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("WyScan                       400000000  "
                                          "in activeSessionId: uint32, in items: list"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("in sessionId: string, in items: list  [not exported]"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("ignores its arguments"));
    EXPECT_TRUE(FakeSdk::Get().calls.empty());
}

TEST_F(Program, list_says_of_subscription_calls_that_they_need_a_callback) {
    const auto lineOf = [this](const std::string& function) {
        const std::size_t start = m_Terminal.out.find(function + " ");
        EXPECT_NE(start, std::string::npos) << function;
        return m_Terminal.out.substr(start, m_Terminal.out.find('\n', start) - start);
    };
    EXPECT_EQ(Run({"list"}), 0);
    for (const char* function : {"WySubscribeEvent", "WyUnsubscribeEvent"}) {
        EXPECT_THAT(lineOf(function), HasSubstr("[needs a callback, see 'wyctl events']"));
        EXPECT_THAT(lineOf(function), Not(HasSubstr("not exported")));
    }
    FakeSdk::Get().hidden = {"WyUnsubscribeEvent"};
    EXPECT_EQ(Run({"list"}), 0);
    EXPECT_THAT(lineOf("WySubscribeEvent"), Not(HasSubstr("not exported")));
    EXPECT_THAT(lineOf("WyUnsubscribeEvent"), HasSubstr("[not exported]"));
}

TEST_F(Program, list_as_json_with_and_without_the_library) {
    EXPECT_EQ(Run({"list", "--json"}), 0);
    Json::Value functions = OneJson()["functions"];
    ASSERT_EQ(functions.size(), 85U);
    EXPECT_EQ(functions[0]["name"], Json::Value("WyScan"));
    EXPECT_EQ(functions[0]["exported"], Json::Value(true));
    EXPECT_EQ(functions[0]["arguments"][1]["key"], Json::Value("items"));
    EXPECT_EQ(functions[0]["arguments"][1]["type"], Json::Value("list"));
    EXPECT_EQ(functions[0]["arguments"][2]["direction"], Json::Value("out"));
    EXPECT_EQ(functions[6]["name"], Json::Value("WyFix"));
    EXPECT_EQ(functions[6]["exported"], Json::Value(false));
    std::vector<std::string> notCallable;
    for (const Json::Value& function : functions) {
        if (!function["callable"].asBool()) {
            notCallable.push_back(function["name"].asString());
            EXPECT_EQ(function["exported"], Json::Value(true)) << notCallable.back();
        }
    }
    EXPECT_THAT(notCallable,
                ElementsAre("WySubscribeEvent", "WyUnsubscribeEvent", "WyAuDeploy",
                            "WyGetCacheFolder", "WyGetDebugLogFolder", "WyInstall", "WyPostInstall",
                            "WySetDebugLog", "WySetIdentifier", "WySetIdentifierEx", "WySetProxy",
                            "WySetReamerStatus", "WyStartService", "WyStopService", "WyUninstall"));
    EXPECT_TRUE(functions[72]["id"].isNull());
    FakeSdk::Get().missing = true;
    EXPECT_EQ(Run({"list", "--json"}), 0);
    functions = OneJson()["functions"];
    EXPECT_TRUE(functions[0]["exported"].isNull());
}

TEST_F(Program, scan_runs_in_one_session_to_its_end) {
    FakeSdk::Get().progress = {0, 60};
    FakeSdk::Get().resultText = R"({"count":1,"found":[{"path":"C:\\x","size":5}]})";
    EXPECT_EQ(Run({"scan", "--items", "a,b", "--active-session", "4"}), 0);
    EXPECT_THAT(FakeSdk::Get().calls,
                ElementsAre("WyInitialize(wyctl)", "WyScan(4, a,b)", "WyGetScanProgress(scan-7)",
                            "WyGetScanProgress(scan-7)", "WyGetScanProgress(scan-7)",
                            "WyGetScanResult(scan-7, a,b)", "WyUninitialize()"));
    EXPECT_EQ(m_Terminal.out, "count  1\nfound (1):\n  [1] path C:\\x, size 5 B\n");
    EXPECT_EQ(m_Terminal.err,
              "scan   0 %  temporary files\nscan  60 %  temporary files\nscan 100 %  done\n");
    EXPECT_EQ(FakeSdk::Get().texts, 0) << "a string was not released";
}

TEST_F(Program, scan_as_json_has_no_progress) {
    FakeSdk::Get().progress = {10};
    EXPECT_EQ(Run({"scan", "--json", "--progress", "bar"}), 0);
    EXPECT_EQ(OneJson()["result"]["found"].size(), 0U);
    EXPECT_EQ(OneJson()["command"], Json::Value("scan"));
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Program, interrupted_scan_is_cancelled_at_the_service) {
    FakeSdk::Get().progress = {1, 2, 3, 4, 5};
    m_Terminal.interruptAtWait = 2;
    EXPECT_EQ(Run({"scan", "--json"}), 1);
    EXPECT_THAT(
        FakeSdk::Get().calls,
        ElementsAre("WyInitialize(wyctl)", "WyScan(1, )", "WyGetScanProgress(scan-7)",
                    "WyGetScanProgress(scan-7)", "WyCancelScan(scan-7)", "WyUninitialize()"));
    EXPECT_EQ(OneJson()["error"], Json::Value("cancelled"));
    EXPECT_THAT(m_Terminal.err, HasSubstr("cancelled by Ctrl+C; the service was told"));
}

TEST_F(Program, file_searches_call_their_family) {
    FakeSdk::Get().progress = {50};
    EXPECT_EQ(Run({"bigfiles", "--drive", "C:", "--category", "video", "--min-size", "10M",
                   "--limit", "7"}),
              0);
    EXPECT_THAT(FakeSdk::Get().calls,
                ElementsAre("WyInitialize(wyctl)", "WyScanBigFile(C:, video, 10485760)",
                            "WyGetBigFileProgress()", "WyGetBigFileProgress()",
                            "WyGetBigFileResult(7)", "WyUninitialize()"));
    EXPECT_EQ(Run({"duplicates", "--min-size", "1"}), 0);
    EXPECT_THAT(FakeSdk::Get().calls,
                ElementsAre("WyInitialize(wyctl)", "WyScanDupFile(, , 1)", "WyGetDupFileProgress()",
                            "WyGetDupFileResult()", "WyUninitialize()"));
    EXPECT_EQ(Run({"usage", "--drive", "D:"}), 0);
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyInitialize(wyctl)", "WyScanDiskUsage(D:)",
                                                  "WyGetDiskUsageProgress()",
                                                  "WyGetDiskUsageResult()", "WyUninitialize()"));
}

TEST_F(Program, interrupted_file_searches_are_cancelled_at_the_service) {
    const struct {
        const char* command;
        const char* cancel;
    } rows[] = {{"bigfiles", "WyCancelBigFileScan()"},
                {"duplicates", "WyCancelDupFileScan()"},
                {"usage", "WyCancelDiskUsageScan()"}};
    for (const auto& row : rows) {
        FakeSdk::Get().progress = {1, 2, 3};
        m_Terminal.waits = 0;
        m_Terminal.interruptAtWait = 1;
        EXPECT_EQ(Run({row.command}), 1);
        EXPECT_THAT(FakeSdk::Get().calls, ::testing::Contains(row.cancel));
        EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()");
    }
}

TEST_F(Program, failed_step_closes_the_session) {
    for (const char* step : {"WyScan", "WyGetScanProgress", "WyGetScanResult"}) {
        FakeSdk::Get().codes = {{step, 0xe0ff0009}};
        EXPECT_EQ(Run({"scan"}), 1);
        EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()") << step;
        EXPECT_THAT(m_Terminal.err, HasSubstr(std::string(step) + " failed with 0xe0ff0009"));
        EXPECT_EQ(FakeSdk::Get().texts, 0) << step;
    }
    FakeSdk::Get().codes = {{"WyInitialize", 0xe00106ba}};
    EXPECT_EQ(Run({"scan"}), 1);
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyInitialize(wyctl)"));
    FakeSdk::Get().codes = {{"WyUninitialize", 0xe00106be}};
    EXPECT_EQ(Run({"scan"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("WyUninitialize failed with 0xe00106be"));
}

TEST_F(Program, monitor_ends_after_count_samples) {
    EXPECT_EQ(Run({"monitor", "--count", "2", "--interval", "250"}), 0);
    EXPECT_EQ(m_Terminal.waits, 1U);
    EXPECT_EQ(m_Terminal.lastWait, 250U);
    EXPECT_THAT(m_Terminal.out, HasSubstr("   37 %    3.0 GiB    8.0 GiB    1.0 KiB/s"));
    EXPECT_EQ(FakeSdk::Get().calls.size(), 2U + 2U * 5U);
}

TEST_F(Program, monitor_ends_with_success_at_interrupt) {
    m_Terminal.interruptAtWait = 3;
    EXPECT_EQ(Run({"monitor", "--json"}), 0);
    const auto lines = JsonLines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[2]["sample"].asUInt(), 3U);
    EXPECT_EQ(lines[2]["cpuUsage"].asUInt(), 37U);
    EXPECT_EQ(lines[2]["memTotal"].asUInt64(), 8ULL << 30);
    EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()");
}

TEST_F(Program, monitor_stops_at_a_failed_call) {
    FakeSdk::Get().codes["WyGetSysDiskUsage"] = 0xe0ff0001;
    EXPECT_EQ(Run({"monitor", "--count", "5"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("WyGetSysDiskUsage failed"));
    EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()");
}

class Batch : public Program {
protected:
    void SetUp() override { m_strPath = ::testing::TempDir() + "wyctl-batch.txt"; }
    void TearDown() override { std::remove(m_strPath.c_str()); }

    int RunText(const std::string& text, bool json = false) {
        std::ofstream(m_strPath, std::ios::binary) << text;
        std::vector<std::string> arguments{"batch", m_strPath};
        if (json) {
            arguments.push_back("--json");
        }
        return Run(arguments);
    }

    std::string m_strPath;
};

TEST_F(Batch, commands_share_one_session) {
    EXPECT_EQ(RunText("# a look\r\n\r\ncall WyGetSysCpuUsage\r\n  usage --drive \"C: \"\nscan\n"),
              0);
    EXPECT_EQ(FakeSdk::Get().calls.front(), "WyInitialize(wyctl)");
    EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()");
    EXPECT_EQ(
        std::count(FakeSdk::Get().calls.begin(), FakeSdk::Get().calls.end(), "WyInitialize(wyctl)"),
        1);
    EXPECT_THAT(FakeSdk::Get().calls, ::testing::Contains("WyScanDiskUsage(C: )"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("session opened\n\n> wyctl call WyGetSysCpuUsage\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("\nsession closed\n"));
}

TEST_F(Batch, stops_at_the_first_failure_with_its_exit_code) {
    EXPECT_EQ(RunText("call WyGetSysCpuUsage\ncall WyNothing\nscan\n"), 2);
    EXPECT_THAT(FakeSdk::Get().calls,
                ElementsAre("WyInitialize(wyctl)", "WyGetSysCpuUsage()", "WyUninitialize()"));
    FakeSdk::Get().codes["WyGetSysCpuUsage"] = 0xe0ff0001;
    EXPECT_EQ(RunText("call WyGetSysCpuUsage\nscan\n"), 1);
    EXPECT_EQ(RunText("call \"WyGetSysCpuUsage\n"), 2);
    EXPECT_THAT(m_Terminal.err, HasSubstr("a quote is not closed"));
    EXPECT_EQ(RunText("batch x\n"), 2);
    EXPECT_THAT(m_Terminal.err, HasSubstr("a batch cannot run a batch"));
}

TEST_F(Batch, json_is_one_object_per_line) {
    EXPECT_EQ(RunText("call WyGetSysCpuUsage\nscan\n", true), 0);
    const auto lines = JsonLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["outputs"]["cpuUsage"].asUInt(), 37U);
    EXPECT_EQ(lines[1]["command"], Json::Value("scan"));
}

TEST_F(Batch, file_that_is_missing_is_a_failure) {
    EXPECT_EQ(Run({"batch", "no-such-file"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("cannot open no-such-file"));
}

TEST(SplitCommandLine, quotes_keep_blanks_together) {
    using WyCtl::SplitCommandLine;
    EXPECT_TRUE(SplitCommandLine("  ").empty());
    EXPECT_THAT(SplitCommandLine("call  WyScan\t1 \"\""), ElementsAre("call", "WyScan", "1", ""));
    EXPECT_THAT(SplitCommandLine("a\"b c\"d"), ElementsAre("ab cd"));
    EXPECT_THAT(SplitCommandLine(R"("{\"a\":1}" C:\dir)"), ElementsAre("{\"a\":1}", "C:\\dir"));
    EXPECT_THROW(SplitCommandLine("\"open"), WyCtl::UsageError);
}

TEST(ParseSize, units_and_limits) {
    using WyCtl::ParseSize;
    EXPECT_EQ(ParseSize("0"), 0U);
    EXPECT_EQ(ParseSize("64K"), 65536U);
    EXPECT_EQ(ParseSize("10M"), 10485760U);
    EXPECT_EQ(ParseSize("2G"), 2ULL << 30);
    EXPECT_EQ(ParseSize("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(ParseSize("17179869183G"), 17179869183ULL << 30);
    for (const char* text :
         {"", "K", "-1", "1.5M", "17179869184G", "18446744073709551616", "1KK"}) {
        EXPECT_THROW(ParseSize(text), WyCtl::UsageError) << text;
    }
}

}  // namespace
