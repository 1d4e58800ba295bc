// Folders that are emptied: what goes, what is left to the next start of the system.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "support/FileFixture_win32.h"
#include "support/IatPatch.h"
#include "support/PendingMoves_win32.h"
#include "support/SmallStack_win32.h"

namespace {

namespace File = KrCommon::Storage::File;
using test_support::IatPatch;
using test_support::Lines;
using test_support::NameList;
using test_support::PendingMove;
using test_support::PendingMoves;
using test_support::PendingMovesSince;

using DeleteAllFiles = test_support::FileFixture;
using Moves = std::vector<PendingMove>;

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

// What the test's function gave, in one comparable value.
struct Outcome {
    bool result;
    bool rebootNeeded;
    std::uint32_t error;
    bool operator==(const Outcome&) const = default;
};
void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << outcome.result << " reboot " << outcome.rebootNeeded << " error " << outcome.error;
}

Outcome Delete(const std::wstring& path, bool rebootNeeded = false) {
    Outcome outcome{false, rebootNeeded, 77};
    outcome.result = File::DeleteAllFiles(path, outcome.rebootNeeded, &outcome.error);
    return outcome;
}

TEST_F(DeleteAllFiles, everything_below_goes_and_the_folder_stays) {
    PutFolder(L"dir");
    PutFile(L"dir\\a");
    PutFile(L"dir\\hidden", "h", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    PutFile(L"dir\\readonly", "r", FILE_ATTRIBUTE_READONLY);
    PutFolder(L"dir\\.dotted");
    PutFile(L"dir\\.dotted\\...x");
    PutFolder(L"dir\\inner", FILE_ATTRIBUTE_HIDDEN);
    PutFolder(L"dir\\inner\\more");
    PutFile(L"dir\\inner\\more\\\xd83d\xde00");
    PutFolder(L"dir\\\xd83d\xde80");
    const Moves before = PendingMoves();
    EXPECT_EQ(Delete(At(L"dir")), (Outcome{true, false, 0}));
    EXPECT_EQ(Names(L"dir"), NameList{});
    EXPECT_TRUE(IsFolder(L"dir"));
    EXPECT_EQ(LogLines(), Lines{});
    EXPECT_EQ(PendingMovesSince(before), Moves{});
}

TEST_F(DeleteAllFiles, separator_at_the_end_and_an_empty_folder) {
    PutFolder(L"dir");
    PutFile(L"dir\\a");
    EXPECT_EQ(Delete(At(L"dir\\")), (Outcome{true, false, 0}));
    EXPECT_EQ(Delete(At(L"dir\\")), (Outcome{true, false, 0}));
    EXPECT_TRUE(IsFolder(L"dir"));
}

TEST_F(DeleteAllFiles, names_that_are_no_folder) {
    PutFile(L"file");
    const struct {
        std::wstring path;
        std::uint32_t error;
    } rows[] = {
        {L"", ERROR_BAD_ARGUMENTS},
        {At(L"missing"), ERROR_PATH_NOT_FOUND},
        {At(L"missing\\below"), ERROR_PATH_NOT_FOUND},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Delete(row.path), (Outcome{false, false, row.error})) << row.path;
    EXPECT_FALSE(Delete(At(L"file")).result);
    EXPECT_TRUE(IsFile(L"file"));
    bool rebootNeeded = false;
    EXPECT_FALSE(File::DeleteAllFiles({}, rebootNeeded, nullptr));
    EXPECT_FALSE(File::DeleteAllFiles(At(L"missing"), rebootNeeded, nullptr));
    EXPECT_EQ(LogLines(), Lines{});
}

TEST_F(DeleteAllFiles, flag_that_is_set_stays_set) {
    PutFolder(L"dir");
    EXPECT_EQ(Delete(At(L"dir"), true), (Outcome{true, true, 0}));
    EXPECT_EQ(Delete({}, true), (Outcome{false, true, ERROR_BAD_ARGUMENTS}));
}

TEST_F(DeleteAllFiles, locked_file_is_left_to_the_next_start) {
    PutFolder(L"dir");
    PutFolder(L"dir\\inner");
    PutFile(L"dir\\inner\\locked");
    PutFile(L"dir\\inner\\zlast");
    PutFile(L"dir\\a");
    const Moves before = PendingMoves();
    {
        const test_support::LockedFile locked(At(L"dir\\inner\\locked"));
        EXPECT_EQ(Delete(At(L"dir")), (Outcome{true, true, 0}));
    }
    EXPECT_EQ(Names(L"dir"), NameList{L"inner"});
    EXPECT_EQ(Names(L"dir\\inner"), NameList{L"locked"});
    EXPECT_EQ(LogLines(),
              (Lines{L"16 DeleteFile failed...FilePath:@\\dir\\inner\\locked, ErrorCode:32",
                     L"16 RemoveDirectory failed...FilePath:@\\dir\\inner\\, ErrorCode:145"}));
    EXPECT_EQ(PendingMovesSince(before), (Moves{{L"\\??\\" + At(L"dir\\inner\\locked"), L""},
                                                {L"\\??\\" + At(L"dir\\inner\\"), L""}}));
}

// ---- calls that fail

std::wstring s_Refused;
DWORD s_dwCode = 0;
std::vector<std::wstring> s_Calls;

bool IsRefused(LPCWSTR path) {
    const bool refused = std::wstring(path).ends_with(s_Refused);
    if (refused)
        SetLastError(s_dwCode);
    return refused;
}

template <class Function>
Function* Real(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}
HANDLE WINAPI FindUnlessRefused(LPCWSTR path, LPWIN32_FIND_DATAW entry) {
    if (IsRefused(path))
        return INVALID_HANDLE_VALUE;
    return Real<HANDLE WINAPI(LPCWSTR, LPWIN32_FIND_DATAW)>("FindFirstFileW")(path, entry);
}
BOOL WINAPI DeleteUnlessRefused(LPCWSTR path) {
    return !IsRefused(path) && Real<BOOL WINAPI(LPCWSTR)>("DeleteFileW")(path);
}
BOOL WINAPI RemoveUnlessRefused(LPCWSTR path) {
    return !IsRefused(path) && Real<BOOL WINAPI(LPCWSTR)>("RemoveDirectoryW")(path);
}
BOOL WINAPI MoveRecorded(LPCWSTR source, LPCWSTR target, DWORD flags) {
    s_Calls.push_back(std::to_wstring(flags) + (target == nullptr ? L" " : L" target ") + source);
    return FALSE;
}

TEST_F(DeleteAllFiles, folder_that_cannot_be_listed_makes_the_result_false_and_stops_nothing) {
    PutFolder(L"dir");
    PutFolder(L"dir\\b");
    PutFile(L"dir\\b\\kept");
    PutFile(L"dir\\a");
    PutFile(L"dir\\c");
    s_Refused = L"\\b\\*";
    s_dwCode = ERROR_ACCESS_DENIED;
    s_Calls.clear();
    const IatPatch find(Program(), "kernel32.dll", "FindFirstFileW", FindUnlessRefused);
    const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", MoveRecorded);
    EXPECT_EQ(Delete(At(L"dir")), (Outcome{false, true, ERROR_ACCESS_DENIED}));
    EXPECT_EQ(Names(L"dir"), NameList{L"b"});
    EXPECT_EQ(LogLines(),
              Lines{L"16 RemoveDirectory failed...FilePath:@\\dir\\b\\, ErrorCode:145"});
    EXPECT_EQ(s_Calls, NameList{L"4 " + At(L"dir\\b\\")});
}

TEST_F(DeleteAllFiles, folder_that_cannot_be_listed_but_removed_needs_no_restart) {
    PutFolder(L"dir");
    PutFolder(L"dir\\b");
    s_Refused = L"\\b\\*";
    s_dwCode = ERROR_ACCESS_DENIED;
    const IatPatch find(Program(), "kernel32.dll", "FindFirstFileW", FindUnlessRefused);
    EXPECT_EQ(Delete(At(L"dir")), (Outcome{false, false, ERROR_ACCESS_DENIED}));
    EXPECT_EQ(Names(L"dir"), NameList{});
}

TEST_F(DeleteAllFiles, refusals_are_scheduled_whatever_the_code) {
    const struct {
        const wchar_t* refused;
        DWORD code;
        const wchar_t* line;
        const wchar_t* scheduled;
    } rows[] = {
        {L"\\dir\\f", 5, L"16 DeleteFile failed...FilePath:@\\dir\\f, ErrorCode:5", L"dir\\f"},
        {L"\\dir\\f", 32, L"16 DeleteFile failed...FilePath:@\\dir\\f, ErrorCode:32", L"dir\\f"},
        {L"\\dir\\f", 2, L"16 DeleteFile failed...FilePath:@\\dir\\f, ErrorCode:2", L"dir\\f"},
        {L"\\dir\\d\\", 5, L"16 RemoveDirectory failed...FilePath:@\\dir\\d\\, ErrorCode:5",
         L"dir\\d\\"},
        {L"\\dir\\d\\", 32, L"16 RemoveDirectory failed...FilePath:@\\dir\\d\\, ErrorCode:32",
         L"dir\\d\\"},
    };
    PutFolder(L"dir");
    const IatPatch file(Program(), "kernel32.dll", "DeleteFileW", DeleteUnlessRefused);
    const IatPatch folder(Program(), "kernel32.dll", "RemoveDirectoryW", RemoveUnlessRefused);
    const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", MoveRecorded);
    for (const auto& row : rows) {
        s_Refused.clear();
        if (IsMissing(L"dir\\d"))
            PutFolder(L"dir\\d");
        PutFile(L"dir\\f");
        m_Log.Clear();
        s_Calls.clear();
        s_Refused = row.refused;
        s_dwCode = row.code;
        EXPECT_EQ(Delete(At(L"dir")), (Outcome{true, true, 0})) << row.line;
        EXPECT_EQ(LogLines(), Lines{row.line});
        EXPECT_EQ(s_Calls, NameList{L"4 " + At(row.scheduled)});
    }
}

BOOL WINAPI SetAttributesRecorded(LPCWSTR path, DWORD attributes) {
    s_Calls.push_back(std::to_wstring(attributes & FILE_ATTRIBUTE_READONLY) + L' ' + path);
    return FALSE;
}

TEST_F(DeleteAllFiles, read_only_mark_of_files_and_folders_is_taken_away_first) {
    PutFolder(L"dir");
    PutFolder(L"dir\\d");
    PutFile(L"dir\\d\\f");
    s_Calls.clear();
    const IatPatch patch(Program(), "kernel32.dll", "SetFileAttributesW", SetAttributesRecorded);
    EXPECT_EQ(Delete(At(L"dir")), (Outcome{true, false, 0}));
    EXPECT_EQ(s_Calls, (NameList{L"0 " + At(L"dir\\d\\f"), L"0 " + At(L"dir\\d\\")}));
}

// ---- depth

TEST_F(DeleteAllFiles, tree_of_three_hundred_levels_needs_little_stack) {
    std::wstring path = L"\\\\?\\" + At(L"dir");
    for (int i = 0; i < 300; ++i)
        path += L"\\d";
    ASSERT_TRUE(File::CreateDirectories(path, nullptr));
    Outcome outcome{};
    ASSERT_TRUE(test_support::RunOnSmallStack([&] { outcome = Delete(L"\\\\?\\" + At(L"dir")); }));
    EXPECT_EQ(outcome, (Outcome{true, false, 0}));
    EXPECT_EQ(Names(L"dir"), NameList{});
}

}  // namespace
