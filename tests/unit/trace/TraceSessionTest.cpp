#include "trace/TraceSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Common/KrCommon/KrComn_LogPlatform.h"
#include "TraceRecord.h"
#include "support/TemporaryFolder.h"

namespace {

using test_support::Fill;
using test_support::Record;
using test_support::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class TraceSession : public testing::Test {
protected:
    KrDbgConfig Config() const { return Record(folder.Path().wstring()); }

    std::string Read(const char* name) const { return ReadFile(folder.Path() / name); }

    // The names in the folder, in order.
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    const KrDbgTime now = KrCommon::LogPlatform::LocalTime();
    TemporaryFolder folder{L"session"};
};

TEST_F(TraceSession, file_is_named_from_prefix_module_or_file_and_extension) {
    const struct {
        const wchar_t* file;
        std::uint32_t process;
        const char* name;
    } rows[] = {{L"", 0, "qrn_WySdk.log"},
                {L"other", 0, "qrn_other.log"},
                {L"..\\..\\other", 0, "qrn_.._.._other.log"},
                {L"", 1, "qrn_WySdk_TraceTest.log"},
                {L"", 0xffffffff, "qrn_WySdk_TraceTest.log"}};
    for (const auto& row : rows) {
        Trace::Session session;
        KrDbgConfig config = Config();
        Fill(config.szLogFile, row.file);
        config.uiLogProcess = row.process;
        ASSERT_EQ(session.Open(config), 0U);
        EXPECT_EQ(session.Write(now, L"line\r\n"), 0U);
        EXPECT_THAT(Names(), testing::Contains(row.name));
    }
    EXPECT_EQ(Names().size(), 4U);
    EXPECT_EQ(Read("qrn_WySdk_TraceTest.log"), "line\r\nline\r\n") << "what is there stays";
}

TEST_F(TraceSession, lines_are_utf_8) {
    Trace::Session session;
    ASSERT_EQ(session.Open(Config()), 0U);
    EXPECT_EQ(session.Write(now, L"\xe4\x20ac\U0001f600\r\n"), 0U);
    EXPECT_EQ(session.Write(now, L""), 0U);
    EXPECT_EQ(Read("qrn_WySdk.log"), "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\r\n");
}

TEST_F(TraceSession, folder_is_made_with_its_parents) {
    Trace::Session session;
    ASSERT_EQ(session.Open(Record((folder.Path() / "a" / "b" / "c").wstring())), 0U);
    EXPECT_EQ(session.Write(now, L"line"), 0U);
    EXPECT_EQ(ReadFile(folder.Path() / "a" / "b" / "c" / "qrn_WySdk.log"), "line");
}

TEST_F(TraceSession, robust_and_debugger_write_the_same_lines) {
    KrDbgConfig config = Config();
    config.bRobust = true;
    config.bDebugger = true;
    Trace::Session session;
    ASSERT_EQ(session.Open(config), 0U);
    EXPECT_EQ(session.Write(now, L"line"), 0U);
    EXPECT_EQ(Read("qrn_WySdk.log"), "line");
}

TEST_F(TraceSession, full_file_becomes_the_youngest_old_one_and_the_oldest_goes) {
    Trace::Session session(Trace::Limits{.fileSize = 10, .oldFiles = 2});
    ASSERT_EQ(session.Open(Config()), 0U);
    const struct {
        const wchar_t* line;
        const char* current;
        const char* first;
        const char* second;
    } rows[] = {{L"12345", "12345", "", ""},
                {L"67890", "1234567890", "", ""},
                {L"a", "a", "1234567890", ""},
                {L"longer than a whole file", "longer than a whole file", "a", "1234567890"},
                {L"b", "b", "longer than a whole file", "a"},
                {L"c", "bc", "longer than a whole file", "a"}};
    for (const auto& row : rows) {
        EXPECT_EQ(session.Write(now, row.line), 0U);
        EXPECT_EQ(Read("qrn_WySdk.log"), row.current);
        EXPECT_EQ(Read("qrn_WySdk.1.log"), row.first);
        EXPECT_EQ(Read("qrn_WySdk.2.log"), row.second);
    }
    EXPECT_THAT(Names(), ElementsAre("qrn_WySdk.1.log", "qrn_WySdk.2.log", "qrn_WySdk.log"));
}

TEST_F(TraceSession, file_that_is_over_full_from_before_is_exchanged_whole) {
    std::ofstream(folder.Path() / "qrn_WySdk.log") << std::string(200000, 'x');
    Trace::Session session(Trace::Limits{.fileSize = 1000, .oldFiles = 1});
    ASSERT_EQ(session.Open(Config()), 0U);
    EXPECT_EQ(session.Write(now, L"line"), 0U);
    EXPECT_EQ(Read("qrn_WySdk.log"), "line");
    EXPECT_EQ(Read("qrn_WySdk.1.log"), std::string(200000, 'x'));
}

TEST_F(TraceSession, exchange_that_fails_lets_the_file_grow_and_comes_back) {
    // A folder that is not empty is in the way of the old file.
    std::filesystem::create_directories(folder.Path() / "qrn_WySdk.1.log" / "in the way");
    Trace::Session session(Trace::Limits{.fileSize = 32, .oldFiles = 1});
    ASSERT_EQ(session.Open(Config()), 0U);
    std::string written;
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(session.Write(now, L"0123456789"), 0U);
        written += "0123456789";
        EXPECT_EQ(Read("qrn_WySdk.log"), written) << "nothing is lost";
    }
    std::filesystem::remove_all(folder.Path() / "qrn_WySdk.1.log");
    EXPECT_EQ(session.Write(now, L"later"), 0U);
    EXPECT_EQ(Read("qrn_WySdk.log"), "later");
    EXPECT_EQ(Read("qrn_WySdk.1.log"), written);
}

TEST_F(TraceSession, by_day_begins_a_file_with_the_first_line_of_a_later_day) {
    const struct {
        std::uint32_t unit;
        int years;  // from the last write to the line
        bool exchanged;
    } rows[] = {{1, 0, false}, {1, 1, true},  {1, -1, false},
                {0, 1, false}, {2, 1, false}, {0xffffffff, 1, false}};
    for (const auto& row : rows) {
        const TemporaryFolder own(L"day");
        KrDbgConfig config = Record(own.Path().wstring());
        config.uiLogUnitType = row.unit;
        Trace::Session session;
        ASSERT_EQ(session.Open(config), 0U);
        KrDbgTime time = KrCommon::LogPlatform::LocalTime();
        EXPECT_EQ(session.Write(time, L"first"), 0U);
        time.uiYear = static_cast<std::uint16_t>(time.uiYear + row.years);
        EXPECT_EQ(session.Write(time, L"second"), 0U);
        EXPECT_EQ(ReadFile(own.Path() / "qrn_WySdk.log"), row.exchanged ? "second" : "firstsecond")
            << row.unit << ' ' << row.years;
        EXPECT_EQ(ReadFile(own.Path() / "qrn_WySdk.1.log"), row.exchanged ? "first" : "");
    }
}

TEST_F(TraceSession, configurations_that_lead_nowhere_are_refused) {
    std::ofstream(folder.Path() / "file") << "a file, no folder";
    const std::wstring here = folder.Path().wstring();
    for (const std::wstring& bad : {here + L"/file", here + L"/file/sub", here + L"/a:stream",
                                    std::wstring(L"C:relative"), std::wstring(L"\\\\.\\pipe\\log"),
                                    std::wstring(L"\\\\?\\C:\\log"), std::wstring(L"\\\\server")}) {
        Trace::Session session;
        EXPECT_NE(session.Open(Record(bad)), 0U) << std::string(bad.begin(), bad.end());
    }
}

TEST_F(TraceSession, record_without_any_nul_is_read_to_its_ends) {
    KrDbgConfig config = Config();
    Fill(config.szModuleName, std::wstring(32, L'm'));
    Fill(config.szLogPrefix, std::wstring(256, L'p'));
    Fill(config.szLogFile, std::wstring(256, L'f'));
    Fill(config.szLogExtension, std::wstring(256, L'e'));
    Trace::Session session;
    ASSERT_EQ(session.Open(config), 0U);
    EXPECT_EQ(session.Write(now, L"line"), 0U);
    EXPECT_THAT(Names(), ElementsAre(std::string(100, 'p') + "." + std::string(20, 'e')));
    Fill(config.szLogFolder, std::wstring(260, L'\\'));
    Trace::Session other;
    EXPECT_NE(other.Open(config), 0U);
}

TEST_F(TraceSession, threads_and_sessions_of_one_process_share_a_file) {
    constexpr int kThreads = 4;
    constexpr int kLines = 300;
    Trace::Session shared(Trace::Limits{.fileSize = 4096, .oldFiles = 100});
    ASSERT_EQ(shared.Open(Config()), 0U);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            Trace::Session own(Trace::Limits{.fileSize = 4096, .oldFiles = 100});
            EXPECT_EQ(own.Open(Config()), 0U);
            for (int i = 0; i < kLines; ++i) {
                const std::wstring line =
                    std::to_wstring(thread) + L"." + std::to_wstring(i) + L".end\n";
                EXPECT_EQ((i % 2 != 0 ? own : shared).Write(now, line.c_str()), 0U);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::map<std::string, int> lines;
    for (unsigned age = 0; age <= 100; ++age) {
        std::istringstream text(Read(
            age == 0 ? "qrn_WySdk.log" : ("qrn_WySdk." + std::to_string(age) + ".log").c_str()));
        for (std::string line; std::getline(text, line);) {
            ++lines[line];
        }
    }
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
    for (const auto& [line, count] : lines) {
        EXPECT_TRUE(line.ends_with(".end")) << line;
        EXPECT_EQ(count, 1) << line;
    }
}

#ifndef _WIN32
TEST(TraceFullDisk, loses_the_line_and_says_so) {
    KrDbgConfig config = Record(L"/dev");
    Fill(config.szLogPrefix, L"full");
    Fill(config.szModuleName, L"");
    Fill(config.szLogExtension, L"");
    Trace::Session session;
    ASSERT_EQ(session.Open(config), 0U);
    EXPECT_EQ(session.Write(KrCommon::LogPlatform::LocalTime(), L"line"), 112U);
}
#endif

}  // namespace
