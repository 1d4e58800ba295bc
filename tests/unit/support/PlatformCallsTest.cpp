// The watch over platform calls, on the calls of this program.

#include "support/PlatformCalls_win32.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <set>
#include <thread>

#include "support/TemporaryFolder.h"

namespace {

using test_support::FindPlatformFunction;
using test_support::Holding;
using test_support::Plan;
using test_support::PlatformCall;
using test_support::PlatformCalls;
using test_support::PlatformCode;
using test_support::PlatformRun;
using test_support::TemporaryFolder;

constexpr PlatformCode kDenied = PlatformCode::kAccessDenied;
constexpr PlatformCode kSecond = PlatformCode::kSecond;

// Functions of their own: the compiler may read the address of an import once for a whole function.
[[gnu::noinline]] DWORD OpenEvents(const wchar_t* name, int times) {
    DWORD failures = 0;
    for (int i = 0; i < times; ++i) {
        const HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, name);
        if (event == nullptr)
            failures |= 1u << i;
    }
    return failures;
}

[[gnu::noinline]] HANDLE MakeEvent() {
    return CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

[[gnu::noinline]] BOOL Close(HANDLE handle) {
    return CloseHandle(handle);
}

[[gnu::noinline]] BOOL MakeFolder(const std::wstring& path) {
    return CreateDirectoryW(path.c_str(), nullptr);
}

class WatchedCalls : public testing::Test {
protected:
    const PlatformCalls m_Calls{GetModuleHandleW(nullptr)};
};

TEST_F(WatchedCalls, are_written_down_in_their_order_with_their_texts) {
    PlatformRun run;
    OpenEvents(L"no such event", 1);
    GetPrivateProfileIntW(L"Section", L"Key", 7, L"Z:\\missing.ini");
    run.Stop();
    Close(nullptr);
    ASSERT_EQ(2u, run.Calls().size());
    EXPECT_STREQ("OpenEventW", run.Calls()[0].function->name);
    EXPECT_EQ("no such event", run.Calls()[0].texts);
    EXPECT_STREQ("GetPrivateProfileIntW", run.Calls()[1].function->name);
    EXPECT_EQ("Section | Key | Z:\\missing.ini", run.Calls()[1].texts);
    EXPECT_EQ(nullptr, run.Spoilt());
}

TEST_F(WatchedCalls, of_other_threads_do_not_count_and_do_not_fail) {
    std::atomic<bool> go{false};
    std::atomic<bool> done{false};
    HANDLE event = nullptr;
    std::thread other([&] {
        while (!go)
            continue;
        event = MakeEvent();
        done = true;
    });
    PlatformRun run(Plan::FailOne(0, kDenied));
    go = true;
    while (!done)
        continue;
    run.Stop();
    other.join();
    EXPECT_NE(nullptr, event);
    EXPECT_TRUE(run.Calls().empty());
    CloseHandle(event);
}

TEST_F(WatchedCalls, one_fails_and_the_others_pass) {
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, L"watched");
    {
        PlatformRun run(Plan::FailOne(1, kDenied));
        EXPECT_EQ(2u, OpenEvents(L"watched", 4));
        run.Stop();
        ASSERT_EQ(4u, run.Calls().size());
        EXPECT_EQ(&run.Calls()[1], run.Spoilt());
    }
    CloseHandle(event);
}

TEST_F(WatchedCalls, fail_from_one_on) {
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, L"watched");
    {
        const PlatformRun run(Plan::FailFrom(1, kDenied));
        EXPECT_EQ(0xeu, OpenEvents(L"watched", 4));
    }
    CloseHandle(event);
}

TEST_F(WatchedCalls, plan_beyond_the_last_call_spoils_nothing) {
    PlatformRun run(Plan::FailOne(3, kDenied));
    EXPECT_EQ(7u, OpenEvents(L"no such event", 3));
    run.Stop();
    EXPECT_EQ(nullptr, run.Spoilt());
}

[[gnu::noinline]] void ExpectFailures(PlatformCode code) {
    const auto plan = Plan::FailOne(0, code);
    const auto secondOf = [](const char* name) { return FindPlatformFunction(name)->secondCode; };
    {
        SetLastError(0);
        const PlatformRun run(plan);
        EXPECT_EQ(nullptr, OpenEventW(SYNCHRONIZE, FALSE, L"watched"));
        EXPECT_EQ(code == kDenied ? ERROR_ACCESS_DENIED : secondOf("OpenEventW"), GetLastError());
    }
    {
        const PlatformRun run(plan);
        WIN32_FIND_DATAW entry;
        EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(L"C:\\*", &entry));
        EXPECT_EQ(code == kDenied ? ERROR_ACCESS_DENIED : secondOf("FindFirstFileW"),
                  GetLastError());
    }
    {
        const PlatformRun run(plan);
        HKEY key = nullptr;
        EXPECT_EQ(
            code == kDenied ? ERROR_ACCESS_DENIED : secondOf("RegOpenKeyExW"),
            static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key)));
    }
    {
        const PlatformRun run(plan);
        errno = 0;
        EXPECT_EQ(nullptr, _wfopen(L"C:\\windows\\win.ini", L"r"));
        EXPECT_EQ(code == kDenied ? EACCES : static_cast<int>(secondOf("_wfopen")), errno);
    }
}

TEST_F(WatchedCalls, fail_in_the_way_of_each_function) {
    ExpectFailures(kDenied);
    ExpectFailures(kSecond);
}

TEST_F(WatchedCalls, reads_of_a_profile_fail_with_the_default_cut_to_the_buffer) {
    wchar_t text[4] = L"???";
    {
        const PlatformRun run(Plan::FailOne(0, kDenied));
        EXPECT_EQ(3u, GetPrivateProfileStringW(L"s", L"k", L"default", text, 4, L"C:\\x.ini"));
    }
    EXPECT_STREQ(L"def", text);
    {
        const PlatformRun run(Plan::FailOne(0, kDenied));
        EXPECT_EQ(0u, GetPrivateProfileSectionNamesW(text, 4, L"C:\\x.ini"));
    }
    EXPECT_EQ(L'\0', text[0]);
    const PlatformRun run(Plan::FailOne(0, kDenied));
    EXPECT_EQ(9u, GetPrivateProfileIntW(L"s", L"k", 9, L"C:\\x.ini"));
}

TEST_F(WatchedCalls, found_by_name_are_watched_too) {
    PlatformRun run(Plan::FailOne(1, kDenied));
    using Function = DWORD WINAPI();
    const auto ask = reinterpret_cast<Function*>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetCurrentPeb")));
    const auto session = reinterpret_cast<Function*>(reinterpret_cast<void*>(
        GetProcAddress(LoadLibraryW(L"kernel32.dll"), "WTSGetActiveConsoleSessionId")));
    run.Stop();
    EXPECT_NE(nullptr, session);
    EXPECT_EQ(nullptr, ask);
    {
        const PlatformRun failing(Plan::FailOne(0, kDenied));
        EXPECT_EQ(0xffffffffu, session());
    }
    EXPECT_NE(0xffffffffu, session());
}

TEST_F(WatchedCalls, name_without_row_and_reason_is_told) {
    PlatformRun run;
    GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtClose");
    GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetTickCount64");
    run.Stop();
    EXPECT_EQ(std::vector<std::string>{"NtClose"}, run.Unknown());
}

TEST_F(WatchedCalls, what_is_not_given_back_is_told) {
    PlatformRun run;
    const HANDLE event = MakeEvent();
    Close(MakeEvent());
    run.Stop();
    EXPECT_EQ((std::map<Holding, int>{{Holding::kHandle, 1}}), run.Open());
    EXPECT_EQ("1 handle", ToText(run.Open()));
    CloseHandle(event);
}

TEST_F(WatchedCalls, failed_return_leaves_a_handle_until_the_end_of_the_run) {
    const HANDLE event = MakeEvent();
    PlatformRun run(Plan::FailOne(0, kDenied));
    EXPECT_FALSE(Close(event));
    EXPECT_TRUE(SetEvent(event));
    run.Stop();
    EXPECT_FALSE(SetEvent(event));
    EXPECT_EQ((std::map<Holding, int>{{Holding::kHandle, -1}}), run.Open());
}

TEST_F(WatchedCalls, handle_that_is_given_back_at_the_second_try_is_not_given_back_again) {
    const HANDLE event = MakeEvent();
    PlatformRun run(Plan::FailOne(0, kDenied));
    EXPECT_FALSE(Close(event));
    EXPECT_TRUE(Close(event));
    const HANDLE other = MakeEvent();  // the same number as before, as a rule
    run.Stop();
    EXPECT_TRUE(SetEvent(other));
    EXPECT_TRUE(run.Open().empty()) << ToText(run.Open());
    CloseHandle(other);
}

TEST_F(WatchedCalls, handle_that_is_never_given_back_is_given_back_once) {
    const HANDLE event = MakeEvent();
    PlatformRun run(Plan::FailFrom(0, kDenied));
    EXPECT_FALSE(Close(event));
    EXPECT_FALSE(Close(event));
    run.Stop();
    EXPECT_FALSE(SetEvent(event));
    EXPECT_EQ((std::map<Holding, int>{{Holding::kHandle, -1}}), run.Open());
}

[[gnu::noinline]] HMODULE Load() {
    return LoadLibraryW(L"lz32.dll");
}

[[gnu::noinline]] BOOL Unload(HMODULE module) {
    return FreeLibrary(module);
}

TEST_F(WatchedCalls, failed_return_of_a_module_is_made_good_though_others_return_it) {
    PlatformRun run(Plan::FailOne(1, kDenied));
    const HMODULE module = Load();
    EXPECT_FALSE(Unload(module));
    Load();
    EXPECT_TRUE(Unload(module));
    run.Stop();
    EXPECT_TRUE(run.Open().empty()) << ToText(run.Open());
    EXPECT_EQ(nullptr, GetModuleHandleW(L"lz32.dll"));
}

TEST_F(WatchedCalls, only_changing_ones_count_when_the_plan_says_so) {
    const TemporaryFolder folder(L"watched");
    Plan plan = Plan::FailOne(1, kDenied);
    plan.changingOnly = true;
    const PlatformRun run(plan);
    EXPECT_TRUE(MakeFolder(folder.Path() / L"a"));
    Close(MakeEvent());
    EXPECT_FALSE(MakeFolder(folder.Path() / L"b"));
    EXPECT_TRUE(MakeFolder(folder.Path() / L"c"));
}

constexpr const wchar_t* kFolderVariable = L"WATCHED_FOLDER";

void MakeThreeFolders(const std::wstring& folder) {
    const PlatformRun run(Plan::EndProcess(1));
    for (const wchar_t* name : {L"\\a", L"\\b", L"\\c"})
        MakeFolder(folder + name);
}

DWORD RunChild(const std::wstring& test) {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring line = L"\"" + std::wstring(program) + L"\" --gtest_filter=" + test;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return 0;
    WaitForSingleObject(process.hProcess, 30000);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

// The test runs itself as a second process, which knows by the variable that it is that one.
TEST_F(WatchedCalls, process_ends_before_the_call_that_the_plan_names) {
    wchar_t given[MAX_PATH] = {};
    if (GetEnvironmentVariableW(kFolderVariable, given, MAX_PATH) != 0) {
        MakeThreeFolders(given);
        FAIL() << "the process goes on";
    }
    const TemporaryFolder folder(L"watched");
    SetEnvironmentVariableW(kFolderVariable, folder.Path().c_str());
    EXPECT_EQ(Plan::kEndedByPlan,
              RunChild(L"WatchedCalls.process_ends_before_the_call_that_the_plan_names"));
    SetEnvironmentVariableW(kFolderVariable, nullptr);
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / L"a"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / L"b"));
}

TEST(PlatformTable, has_each_function_once_with_two_codes_that_differ) {
    std::set<std::string> names;
    for (const test_support::PlatformFunction& function : test_support::PlatformTable()) {
        EXPECT_TRUE(names.insert(function.name).second) << function.name;
        EXPECT_TRUE(test_support::ReasonWithoutRow(function.name).empty()) << function.name;
        if (function.MayFail()) {
            EXPECT_NE(test_support::CodeOf(function, kDenied), function.secondCode)
                << function.name;
        }
    }
}

}  // namespace
