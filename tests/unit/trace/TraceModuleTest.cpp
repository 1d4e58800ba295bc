// The trace module as programs load it: alone, behind the log class, and in many processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "Common/KrCommon/KrComn_LogPlatform.h"
#include "Common/KrCommon/KrComn_String.h"
#include "TraceRecord.h"
#include "support/FakeLogStorage.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace {

using test_support::FakeLogStorage;
using test_support::ProgramFolder;
using test_support::Record;
using test_support::TemporaryFolder;

#ifdef _WIN32
constexpr char kWriter[] = "TraceWriter.exe";
void SetOrder(const std::string& order) {
    _putenv_s("TRACE_WRITER", order.c_str());
}
#else
constexpr char kWriter[] = "TraceWriter";
void SetOrder(const std::string& order) {
    setenv("TRACE_WRITER", order.c_str(), 1);
}
#endif

std::vector<std::string> LinesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The module, loaded for the length of a scope.
class TraceModule : public testing::Test {
protected:
    TraceModule() {
        const std::wstring path = (ProgramFolder() / "KrDbgLog.dll").wstring();
        EXPECT_TRUE(library.Load(path.c_str(), 0, nullptr));
        EXPECT_TRUE(library.Bind(true, nullptr));
    }

    const KrDbgTime now = KrCommon::LogPlatform::LocalTime();
    TemporaryFolder folder{L"module"};
    KrCommon::Library::KrDbg library;
};

TEST_F(TraceModule, opens_writes_and_closes) {
    const KrDbgConfig config = Record(folder.Path().wstring());
    void* session = nullptr;
    ASSERT_EQ(library.m_fnInitialize(&session, &config), 0);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(library.m_fnTrace(session, &now, L"line\r\n"), 0);
    library.m_fnUninitialize(session);
    EXPECT_THAT(LinesOf(folder.Path() / "qrn_WySdk.log"), testing::ElementsAre("line\r"));
}

TEST_F(TraceModule, refuses_what_it_is_not_given) {
    KrDbgConfig config = Record(folder.Path().wstring());
    void* session = &config;
    EXPECT_EQ(library.m_fnInitialize(nullptr, &config), 87);
    EXPECT_EQ(library.m_fnInitialize(&session, nullptr), 87);
    EXPECT_EQ(library.m_fnTrace(nullptr, &now, L"line"), 6);
    library.m_fnUninitialize(nullptr);
    config = Record(L"\\\\.\\pipe\\x");
    EXPECT_EQ(library.m_fnInitialize(&session, &config), 161);
    EXPECT_EQ(session, nullptr) << "no session";
    config = Record(folder.Path().wstring());
    ASSERT_EQ(library.m_fnInitialize(&session, &config), 0);
    EXPECT_EQ(library.m_fnTrace(session, nullptr, L"line"), 87);
    EXPECT_EQ(library.m_fnTrace(session, &now, nullptr), 87);
    library.m_fnUninitialize(session);
}

TEST_F(TraceModule, exchanges_files_of_4_mebibytes_and_keeps_four_old_ones) {
    const KrDbgConfig config = Record(folder.Path().wstring());
    void* session = nullptr;
    ASSERT_EQ(library.m_fnInitialize(&session, &config), 0);
    for (int i = 0; i < 24; ++i) {
        const std::wstring line =
            std::to_wstring(i) + L" " + std::wstring((1U << 20) - 20, L'x') + L"\n";
        EXPECT_EQ(library.m_fnTrace(session, &now, line.c_str()), 0);
    }
    library.m_fnUninitialize(session);
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        names.insert(entry.path().filename().string());
        EXPECT_LE(entry.file_size(), 4U << 20);
    }
    EXPECT_EQ(names, (std::set<std::string>{"qrn_WySdk.log", "qrn_WySdk.1.log", "qrn_WySdk.2.log",
                                            "qrn_WySdk.3.log", "qrn_WySdk.4.log"}));
    EXPECT_EQ(LinesOf(folder.Path() / "qrn_WySdk.log").front().substr(0, 3), "20 ");
    EXPECT_EQ(LinesOf(folder.Path() / "qrn_WySdk.4.log").front().substr(0, 2), "4 ");
}

TEST_F(TraceModule, writes_the_lines_of_the_log_class) {
    FakeLogStorage::Clear();
    FakeLogStorage::Set(L"Enable", L"1");
    FakeLogStorage::Set(L"LogFolder", folder.Path().wstring());
    KrCommon::DebugLog log(&FakeLogStorage::Make);
    ASSERT_TRUE(log.Initialize(L"WySdk", {1, L"", L""}, ProgramFolder().wstring()));
    const std::wstring text(1 << 20, L'\x20ac');
    EXPECT_TRUE(log.Trace("Some", 1, 256, L"100%%"));
    EXPECT_TRUE(log.Trace("Some", 2, 256, L"%ls", text.c_str()));
    EXPECT_TRUE(log.Uninitialize());
    const std::vector<std::string> lines = LinesOf(folder.Path() / "qrn_WySdk.log");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].ends_with(" !!! <WySdk> 100% - Some(1)\r")) << lines[0];
    EXPECT_EQ(lines[1].size(), lines[0].size() - 4 + 3 * text.size());
}

TEST_F(TraceModule, folder_that_cannot_be_had_leaves_the_log_closed) {
    FakeLogStorage::Clear();
    const std::filesystem::path file = folder.Path() / "file";
    std::ofstream(file) << "no folder";
    FakeLogStorage::Set(L"LogFolder", file.wstring());
    KrCommon::DebugLog log(&FakeLogStorage::Make);
    EXPECT_FALSE(log.Initialize(L"WySdk", {1, L"", L""}, ProgramFolder().wstring()));
    EXPECT_FALSE(log.Trace("Some", 1, 0x10000000, L"text"));
}

// What the programs wrote: each line once and whole, those of one program in their order.
void CheckLines(const std::vector<std::string>& lines, std::size_t programs, int count) {
    std::map<int, int> next;
    for (const std::string& line : lines) {
        int program = 0;
        int number = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "%d %d ", &program, &number), 2) << line;
        EXPECT_EQ(number, next[program]++) << program;
        EXPECT_EQ(line, std::to_string(program) + " " + std::to_string(number) + " " +
                            std::string(static_cast<std::size_t>(number % 97), 'x') + " end\r");
    }
    EXPECT_EQ(next.size(), programs);
    for (const auto& [program, written] : next) {
        EXPECT_EQ(written, count) << program;
    }
}

void RunWriters(const char* mode, std::size_t programs, int lines,
                const std::filesystem::path& folder) {
    SetOrder(std::string(mode) + " " + std::to_string(lines) + " " +
             KrCommon::String::ToUtf8(folder.wstring()));
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < programs; ++i) {
        threads.emplace_back(
            [] { EXPECT_EQ(test_support::RunProgram(ProgramFolder() / kWriter), 0); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(TraceModule, lines_of_several_processes_are_whole) {
    RunWriters("module", 4, 2000, folder.Path());
    CheckLines(LinesOf(folder.Path() / "qrn_WySdk.log"), 4, 2000);
}

TEST_F(TraceModule, process_that_died_with_the_lock_stops_nobody) {
    RunWriters("die", 1, 0, folder.Path());
    RunWriters("module", 2, 10, folder.Path());
    CheckLines(LinesOf(folder.Path() / "qrn_WySdk.log"), 2, 10);
}

TEST_F(TraceModule, nothing_is_lost_while_several_processes_exchange_files) {
    RunWriters("session", 4, 2000, folder.Path());
    std::vector<std::string> lines;
    int files = 0;
    for (int age = 99; age >= 0; --age) {
        const std::string name =
            age == 0 ? "qrn_WySdk.log" : "qrn_WySdk." + std::to_string(age) + ".log";
        const std::vector<std::string> more = LinesOf(folder.Path() / name);
        files += more.empty() ? 0 : 1;
        lines.insert(lines.end(), more.begin(), more.end());
    }
    EXPECT_GT(files, 8);
    CheckLines(lines, 4, 2000);
}

}  // namespace
