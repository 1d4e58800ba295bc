// wyctl.exe, WySdk.dll and WySvcHost.exe together.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <memory>
#include <set>

#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "e2e/ServiceHost.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;

// UTF-8 of the one file name that is not plain ASCII.
constexpr const char* kMusic =
    "\xc3\x9c"
    "bung \xe2\x82\xac.mp3";

void Sparse(const fs::path& file, std::uintmax_t size) {
    WriteBytes(file, "");
    fs::resize_file(file, size);
}

// Three big files, two groups of duplicates, temporary files.
void MakeTree(const fs::path& root) {
    for (const char* folder : {"Videos", "Pictures/a", "Pictures/b", "Temp", "Music"}) {
        fs::create_directories(root / folder);
    }
    Sparse(root / "Videos" / "one.mp4", 300U << 20);
    Sparse(root / "Videos" / "two.mov", 200U << 20);
    Sparse(root / "Videos" / "three.iso", 150U << 20);
    const std::string photo(500000, 'p');
    WriteBytes(root / "Pictures" / "a" / "photo.jpg", photo);
    WriteBytes(root / "Pictures" / "b" / "photo.jpg", photo);
    WriteBytes(root / "Pictures" / "b" / "copy.jpg", photo);
    WriteBytes(root / "Pictures" / "b" / "other.jpg", std::string(500000, 'q'));
    WriteBytes(root / "Music" / L"\u00dcbung \u20ac.mp3", std::string(70000, 'm'));
    WriteBytes(root / "Music" / "again.mp3", std::string(70000, 'm'));
    WriteBytes(root / "Temp" / "install.tmp", std::string(12345, 't'));
    WriteBytes(root / "Temp" / "~draft.doc", std::string(100, 'd'));
}

class WyctlWithHost : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // Not below the folder for temporary files, all of which the scan takes for temporary.
        s_root = fs::path(L"C:\\") / kTestFolder;
        fs::remove_all(s_root);
        MakeTree(s_root);
        s_host = std::make_unique<ServiceHost>(s_root);
    }
    static void TearDownTestSuite() {
        s_host.reset();
        std::error_code ignored;  // what stays goes with the test's prefix
        fs::remove_all(s_root, ignored);
    }

    static Json::Value Json(std::vector<std::wstring> arguments) {
        arguments.insert(arguments.begin(), L"--json");
        const ProgramResult result = Wyctl(arguments);
        EXPECT_EQ(result.exitCode, 0U) << result.out << result.err;
        EXPECT_EQ(result.err, "");
        return OneJsonLine(result.out);
    }

    static std::string FileName(const Json::Value& file) {
        const std::string path = file["path"].asString();
        return path.substr(path.rfind('\\') + 1);
    }

    static fs::path s_root;
    static std::unique_ptr<ServiceHost> s_host;
};

fs::path WyctlWithHost::s_root;
std::unique_ptr<ServiceHost> WyctlWithHost::s_host;

TEST_F(WyctlWithHost, call_prints_measured_numbers) {
    const Json::Value memory = Json({L"call", L"WyGetSysMemUsage"});
    EXPECT_EQ(memory["id"].asUInt(), 400013002U);
    const Json::Value& outputs = memory["outputs"];
    EXPECT_GT(outputs["memTotal"].asUInt64(), 0U);
    EXPECT_EQ(outputs["memUsage"].asUInt64() + outputs["memAvail"].asUInt64(),
              outputs["memTotal"].asUInt64());
    EXPECT_LE(Json({L"call", L"WyGetSysCpuUsage"})["outputs"]["cpuUsage"].asUInt(), 100U);

    const ProgramResult text = Wyctl({L"call", L"WyGetSvchostPid"});
    EXPECT_EQ(text.exitCode, 0U);
    EXPECT_THAT(text.out, ::testing::MatchesRegex("currentPid = \\d+\n"));
}

TEST_F(WyctlWithHost, whole_answer_is_json_inside_json_and_a_table_for_people) {
    const Json::Value answer = Json({L"call", L"WyGetProcessInfo"});
    const Json::Value& processes = answer["outputs"]["data"]["processes"];
    ASSERT_GT(processes.size(), 0U);
    EXPECT_TRUE(std::any_of(processes.begin(), processes.end(), [](const Json::Value& process) {
        return process["name"].asString() == "WySvcHost.exe";
    }));
    const ProgramResult text = Wyctl({L"call", L"WyGetProcessInfo"});
    EXPECT_THAT(text.out, HasSubstr("processes ("));
    EXPECT_THAT(text.out, HasSubstr("WySvcHost.exe"));
}

// Each function that can be called, with an argument of the right kind for each input: whatever
// the host thinks of it, the call must come through to the host and back.
TEST_F(WyctlWithHost, every_function_reaches_the_host) {
    const Json::Value list = Json({L"list"});
    int called = 0;
    for (const Json::Value& function : list["functions"]) {
        if (!function["exported"].asBool() || !function["callable"].asBool()) {
            continue;
        }
        const std::string name = function["name"].asString();
        std::vector<std::wstring> arguments{L"--json", L"call",
                                            std::wstring(name.begin(), name.end())};
        for (const Json::Value& argument : function["arguments"]) {
            if (argument["direction"].asString() == "in") {
                const std::string type = argument["type"].asString();
                arguments.push_back(type == "json"             ? L"[]"
                                    : type.starts_with("uint") ? L"1"
                                                               : L"x");
            }
        }
        const ProgramResult result = Wyctl(arguments);
        EXPECT_LE(result.exitCode, 1U) << name << result.err;
        const std::uint32_t code = OneJsonLine(result.out)["code"].asUInt();
        EXPECT_NE(code & 0xffff0000U, 0xe0010000U) << name << ": a failure of the transport";
        EXPECT_EQ(result.exitCode, code >> 31) << name;
        ++called;
    }
    EXPECT_EQ(called, 53 + 15);
}

TEST_F(WyctlWithHost, export_without_a_row_returns_the_hosts_answer) {
    const ProgramResult result = Wyctl({L"call", L"WyGetDiskGarbage"});
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_THAT(result.err, HasSubstr("WyGetDiskGarbage failed with 0xe0"));
    EXPECT_THAT(result.err, Not(HasSubstr("0xe001")));
}

TEST_F(WyctlWithHost, failed_call_reports_what_the_host_said) {
    const ProgramResult result = Wyctl({L"--json", L"call", L"WyGetScanProgress", L"no-such-scan"});
    EXPECT_EQ(result.exitCode, 1U);
    const Json::Value answer = OneJsonLine(result.out);
    EXPECT_EQ(answer["error"], Json::Value("call"));
    EXPECT_EQ(answer["function"], Json::Value("WyGetScanProgress"));
    EXPECT_EQ(answer["codeHex"], Json::Value("0xe0ff000e"));
    EXPECT_EQ(answer["meaning"], Json::Value("not found"));
}

TEST_F(WyctlWithHost, scan_finds_the_temporary_files) {
    const Json::Value result = Json({L"scan", L"--items", L"temporaryFiles"})["result"];
    EXPECT_EQ(result["state"], Json::Value("finished"));
    ASSERT_EQ(result["items"].size(), 1U);
    std::set<std::string> names;
    for (const Json::Value& finding : result["items"][0]["findings"]) {
        names.insert(finding["name"].asString());
    }
    EXPECT_EQ(names.count("install.tmp"), 1U);
    EXPECT_EQ(names.count("~draft.doc"), 1U);
    EXPECT_EQ(names.count("photo.jpg"), 0U);
}

TEST_F(WyctlWithHost, scan_of_everything_shows_progress_and_findings) {
    const ProgramResult result = Wyctl({L"scan"});
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    EXPECT_THAT(result.err, HasSubstr("scan 100 %  done\n"));
    EXPECT_THAT(result.err, Not(HasSubstr("\r")));
    EXPECT_THAT(result.err, Not(HasSubstr("\x1b")));
    for (const char* words :
         {"temporaryFiles", "uninstallEntries", "autorunEntries", "install.tmp"}) {
        EXPECT_THAT(result.out, HasSubstr(words));
    }
}

TEST_F(WyctlWithHost, bar_is_drawn_where_it_is_asked_for) {
    const ProgramResult result = Wyctl({L"--progress", L"bar", L"usage"});
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_THAT(result.err, HasSubstr("disk usage [########################] 100 %  done"));
}

TEST_F(WyctlWithHost, bigfiles_keeps_to_size_and_limit) {
    const Json::Value two = Json({L"bigfiles", L"--min-size", L"100M", L"--limit", L"2"})["result"];
    ASSERT_EQ(two["files"].size(), 2U);
    EXPECT_EQ(FileName(two["files"][0]), "one.mp4");
    EXPECT_EQ(two["files"][0]["size"].asUInt64(), 300U << 20);
    EXPECT_EQ(FileName(two["files"][1]), "two.mov");
    EXPECT_EQ(two["matching"].asUInt(), 3U);

    const Json::Value music = Json({L"bigfiles", L"--category", L"audio"})["result"];
    std::set<std::string> names;
    for (const Json::Value& file : music["files"]) {
        names.insert(FileName(file));
    }
    EXPECT_EQ(names, (std::set<std::string>{"again.mp3", kMusic}));
}

TEST_F(WyctlWithHost, bigfiles_table_has_sizes_for_people) {
    const ProgramResult result = Wyctl({L"bigfiles", L"--min-size", L"150M"});
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_THAT(result.out, HasSubstr("files (3):"));
    EXPECT_THAT(result.out, HasSubstr("300.0 MiB"));
    EXPECT_THAT(result.out, HasSubstr("one.mp4"));
}

TEST_F(WyctlWithHost, duplicates_are_grouped_by_content) {
    const Json::Value result = Json({L"duplicates", L"--min-size", L"1K"})["result"];
    ASSERT_EQ(result["groups"].size(), 2U);
    EXPECT_EQ(result["groups"][0]["size"].asUInt(), 500000U);
    EXPECT_EQ(result["groups"][0]["files"].size(), 3U);
    ASSERT_EQ(result["groups"][1]["files"].size(), 2U);
    EXPECT_EQ(FileName(result["groups"][1]["files"][0]), "again.mp3");
    EXPECT_EQ(FileName(result["groups"][1]["files"][1]), kMusic);
}

TEST_F(WyctlWithHost, usage_adds_up_folders) {
    const Json::Value result = Json({L"usage"})["result"];
    EXPECT_EQ(FileName(result["folders"][0]), "Videos");
    EXPECT_EQ(result["folders"][0]["size"].asUInt64(), 650ULL << 20);
    EXPECT_EQ(result["folders"].size(), 4U);
}

TEST_F(WyctlWithHost, search_outside_of_the_root_is_refused) {
    const ProgramResult result = Wyctl({L"usage", L"--drive", L"C:\\windows"});
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_THAT(result.err, HasSubstr("WyScanDiskUsage failed with 0xe0ff0002"));
}

TEST_F(WyctlWithHost, monitor_writes_one_object_per_sample) {
    const ProgramResult result =
        Wyctl({L"monitor", L"--count", L"3", L"--interval", L"20", L"--json"});
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    const auto samples = JsonLines(result.out);
    ASSERT_EQ(samples.size(), 3U);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(samples[i]["sample"].asUInt(), i + 1);
        EXPECT_LE(samples[i]["cpuUsage"].asUInt(), 100U);
        EXPECT_GT(samples[i]["memTotal"].asUInt64(), 0U);
        EXPECT_TRUE(samples[i].isMember("pcRecvSpeed"));
    }
}

// More calls than a process could have callback endpoints without a session.
TEST_F(WyctlWithHost, long_monitoring_needs_one_endpoint) {
    const ProgramResult result =
        Wyctl({L"monitor", L"--count", L"40", L"--interval", L"0", L"--json"});
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    EXPECT_EQ(JsonLines(result.out).size(), 40U);
}

TEST_F(WyctlWithHost, batch_runs_many_commands_in_one_session) {
    std::string commands = "# a hundred calls\n";
    for (int i = 0; i < 100; ++i) {
        commands += "call WyGetSysCpuUsage\n";
    }
    const ProgramResult result = Wyctl({L"batch", L"--json"}, commands + "usage\n");
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    const auto lines = JsonLines(result.out);
    ASSERT_EQ(lines.size(), 101U);
    EXPECT_EQ(lines.back()["command"], Json::Value("usage"));

    const ProgramResult text = Wyctl({L"batch"}, "call WyGetSysCpuUsage\ncall Nothing\nscan\n");
    EXPECT_EQ(text.exitCode, 2U);
    EXPECT_THAT(text.out,
                HasSubstr("session opened\n\n> wyctl call WyGetSysCpuUsage\ncpuUsage = "));
    EXPECT_THAT(text.out, Not(HasSubstr("> wyctl scan")));
}

TEST_F(WyctlWithHost, interrupt_ends_the_monitor_with_success) {
    ChildProcess monitor(L"wyctl.exe", {L"monitor", L"--json", L"--interval", L"50"}, "",
                         ChildProcess::Console::Own);
    ASSERT_TRUE(monitor.WaitForOut("\"sample\":2"));
    ASSERT_TRUE(monitor.Interrupt());
    const ProgramResult result = monitor.Wait();
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    EXPECT_GE(JsonLines(result.out).size(), 2U);
}

// Two files of equal size that take long to compare.
TEST_F(WyctlWithHost, interrupt_cancels_a_search_at_the_host) {
    const fs::path folder = s_root / "huge";
    fs::create_directories(folder);
    Sparse(folder / "a.bin", 20ULL << 30);
    Sparse(folder / "b.bin", 20ULL << 30);
    ChildProcess search(L"wyctl.exe", {L"duplicates", L"--min-size", L"1G"}, "",
                        ChildProcess::Console::Own);
    ASSERT_TRUE(search.WaitForErr("duplicates  2")) << search.Err();
    ASSERT_TRUE(search.Interrupt());
    const ProgramResult result = search.Wait();
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("duplicates: cancelled\n"));
    EXPECT_THAT(result.err, HasSubstr("cancelled by Ctrl+C; the service was told"));
    // The host has stopped working on it.
    const Json::Value after = Json({L"call", L"WyGetDupFileResult"});
    EXPECT_EQ(after["outputs"]["data"]["state"], Json::Value("cancelled"));
    fs::remove_all(folder);
}

}  // namespace
