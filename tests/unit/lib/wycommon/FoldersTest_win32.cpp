// Whole folders: copies, lists, moves at the next start of the system.

#include "lib/wycommon/WyCommon_Folders.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "support/FileFixture_win32.h"
#include "support/IatPatch.h"
#include "support/PendingMoves_win32.h"
#include "support/SmallStack_win32.h"
#include "support/SystemStart_win32.h"

namespace {

namespace Utility = WyCommon::Utility;
using test_support::IatPatch;
using test_support::Lines;
using test_support::NameList;
using Moves = std::vector<test_support::PendingMove>;

using CopyDirectory = test_support::FileFixture;
using FoldersCreate = test_support::FileFixture;
using EnumFiles = test_support::FileFixture;
using MoveAfterReboot = test_support::FileFixture;

constexpr const wchar_t* kEnterCopy = L"1 [Enter] WyCommon::Utility::CopyDirectory()...";
constexpr const wchar_t* kLeaveCopy = L"1 [Leave] WyCommon::Utility::CopyDirectory()...";

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

template <class Function>
Function* Real(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

// Paths that end in this are refused with the code; "" refuses every one.
std::wstring s_Refused;
DWORD s_dwCode = 0;
std::vector<std::wstring> s_Calls;

void Refuse(const wchar_t* ending, DWORD code) {
    s_Refused = ending;
    s_dwCode = code;
    s_Calls.clear();
}

bool IsRefused(LPCWSTR path) {
    const bool refused = std::wstring(path).ends_with(s_Refused);
    if (refused)
        SetLastError(s_dwCode);
    return refused;
}

HANDLE WINAPI FindUnlessRefused(LPCWSTR path, LPWIN32_FIND_DATAW entry) {
    if (IsRefused(path))
        return INVALID_HANDLE_VALUE;
    return Real<HANDLE WINAPI(LPCWSTR, LPWIN32_FIND_DATAW)>("FindFirstFileW")(path, entry);
}
BOOL WINAPI RefuseNext(HANDLE, LPWIN32_FIND_DATAW) {
    SetLastError(ERROR_IO_DEVICE);
    return FALSE;
}
BOOL WINAPI CopyUnlessRefused(LPCWSTR source, LPCWSTR target, BOOL failIfExists) {
    s_Calls.push_back(std::to_wstring(failIfExists) + L' ' + source);
    return !IsRefused(target) &&
           Real<BOOL WINAPI(LPCWSTR, LPCWSTR, BOOL)>("CopyFileW")(source, target, failIfExists);
}
BOOL WINAPI CreateUnlessRefused(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
    return !IsRefused(path) &&
           Real<BOOL WINAPI(LPCWSTR, LPSECURITY_ATTRIBUTES)>("CreateDirectoryW")(path, security);
}

// ---- CreateDirectories

TEST_F(FoldersCreate, missing_folders_and_a_log_source_of_its_own) {
    EXPECT_TRUE(Utility::CreateDirectories(At(L"a\\b\\c")));
    EXPECT_TRUE(IsFolder(L"a\\b\\c"));
    EXPECT_TRUE(Utility::CreateDirectories(At(L"a\\b\\")));
    PutFile(L"file");
    EXPECT_TRUE(Utility::CreateDirectories(At(L"file")));
    EXPECT_EQ(LogLines(), Lines{});
    EXPECT_FALSE(Utility::CreateDirectories(At(L"file\\d")));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(LogLines(), Lines{L"256 *** ::CreateDirectory(@\\file\\d) failed. [0x00000003]"});
    EXPECT_EQ(m_Log.Lines()[0].file, "WyCommon_Folders");
}

TEST_F(FoldersCreate, folder_that_another_made_meanwhile_is_no_failure) {
    Refuse(L"", ERROR_ALREADY_EXISTS);
    const IatPatch patch(Program(), "kernel32.dll", "CreateDirectoryW", CreateUnlessRefused);
    EXPECT_TRUE(Utility::CreateDirectories(At(L"a\\b")));
    EXPECT_EQ(LogLines(), Lines{});
}

// ---- CopyDirectory

TEST_F(CopyDirectory, whole_tree_with_the_lines_of_each_folder) {
    PutFolder(L"s");
    PutFile(L"s\\a", "a");
    PutFolder(L"s\\b", FILE_ATTRIBUTE_HIDDEN);
    PutFile(L"s\\b\\c", "c", FILE_ATTRIBUTE_READONLY);
    PutFolder(L"s\\b\\empty");
    PutFile(L"s\\\xd83d\xde00", "far");
    EXPECT_TRUE(Utility::CopyDirectory(At(L"s"), At(L"new\\t"), false));
    EXPECT_EQ(Names(L"new\\t"), (NameList{L"a", L"b", L"\xd83d\xde00"}));
    EXPECT_EQ(Names(L"new\\t\\b"), (NameList{L"c", L"empty"}));
    EXPECT_EQ(Content(L"new\\t\\a"), "a");
    EXPECT_EQ(Content(L"new\\t\\b\\c"), "c");
    EXPECT_EQ(Content(L"new\\t\\\xd83d\xde00"), "far");
    EXPECT_TRUE(IsReadOnly(L"s\\b\\c"));
    EXPECT_FALSE(IsReadOnly(L"new\\t\\b\\c"));
    EXPECT_EQ(LogLines(),
              (Lines{kEnterCopy, L"16 ::CopyFile(@\\s\\a, @\\new\\t\\a, 0) succeed.", kEnterCopy,
                     L"16 ::CopyFile(@\\s\\b\\c, @\\new\\t\\b\\c, 0) succeed.", kEnterCopy,
                     kLeaveCopy, kLeaveCopy,
                     L"16 ::CopyFile(@\\s\\\xd83d\xde00, @\\new\\t\\\xd83d\xde00, 0) succeed.",
                     kLeaveCopy}));
    EXPECT_EQ(m_Log.Lines()[0].file, "WyCommon_Folders");
}

TEST_F(CopyDirectory, separators_and_names_without_an_extension) {
    PutFolder(L"s");
    PutFile(L"s\\noextension");
    PutFolder(L"s\\.d");
    EXPECT_TRUE(Utility::CopyDirectory(At(L"s\\"), At(L"t\\"), true));
    EXPECT_EQ(Names(L"t"), (NameList{L".d", L"noextension"}));
}

TEST_F(CopyDirectory, source_that_cannot_be_listed_makes_nothing) {
    EXPECT_FALSE(Utility::CopyDirectory(At(L"missing"), At(L"t"), false));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    PutFile(L"file");
    EXPECT_FALSE(Utility::CopyDirectory(At(L"file"), At(L"t"), false));
    EXPECT_TRUE(IsMissing(L"t"));
    EXPECT_EQ(LogLines(), (Lines{kEnterCopy, kEnterCopy}));
}

TEST_F(CopyDirectory, target_that_cannot_be_made_ends_without_a_leave_line) {
    PutFolder(L"s");
    PutFile(L"s\\a");
    PutFile(L"file");
    EXPECT_FALSE(Utility::CopyDirectory(At(L"s"), At(L"file\\t"), false));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(LogLines(),
              (Lines{kEnterCopy, L"256 *** ::CreateDirectory(@\\file\\t) failed. [0x00000003]"}));
}

TEST_F(CopyDirectory, target_that_is_a_file_fails_at_the_first_copy) {
    PutFolder(L"s");
    PutFile(L"s\\a");
    PutFile(L"t", "kept");
    EXPECT_FALSE(Utility::CopyDirectory(At(L"s"), At(L"t"), false));
    EXPECT_EQ(Content(L"t"), "kept");
    EXPECT_EQ(LogLines().size(), 3U);
    EXPECT_EQ(LogLines().back(), kLeaveCopy);
}

TEST_F(CopyDirectory, folder_where_a_file_is_wanted_and_the_reverse) {
    PutFolder(L"s");
    PutFile(L"s\\a");
    PutFolder(L"t");
    PutFolder(L"t\\a");
    EXPECT_FALSE(Utility::CopyDirectory(At(L"s"), At(L"t"), false));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(LogLines(),
              (Lines{kEnterCopy, L"16 ::CopyFile(@\\s\\a, @\\t\\a, 0) failed. [0x00000005]",
                     kLeaveCopy}));
    EXPECT_TRUE(IsFolder(L"t\\a"));

    PutFolder(L"s2");
    PutFolder(L"s2\\d");
    PutFile(L"s2\\d\\x");
    PutFolder(L"t2");
    PutFile(L"t2\\d", "kept");
    EXPECT_FALSE(Utility::CopyDirectory(At(L"s2"), At(L"t2"), false));
    EXPECT_EQ(Content(L"t2\\d"), "kept");
}

TEST_F(CopyDirectory, existing_files_by_flag) {
    // The first folder's files go by the caller's flag, those below are replaced.
    PutFolder(L"s");
    PutFile(L"s\\z", "new");
    PutFolder(L"s\\d");
    PutFile(L"s\\d\\f", "new");
    PutFolder(L"t");
    PutFolder(L"t\\d");
    PutFile(L"t\\d\\f", "old");
    EXPECT_TRUE(Utility::CopyDirectory(At(L"s"), At(L"t"), true));
    EXPECT_EQ(Content(L"t\\d\\f"), "new");
    EXPECT_EQ(LogLines(),
              (Lines{kEnterCopy, kEnterCopy, L"16 ::CopyFile(@\\s\\d\\f, @\\t\\d\\f, 0) succeed.",
                     kLeaveCopy, L"16 ::CopyFile(@\\s\\z, @\\t\\z, 1) succeed.", kLeaveCopy}));
    m_Log.Clear();
    // Now the first folder's file exists: 80 is a failure.
    EXPECT_FALSE(Utility::CopyDirectory(At(L"s"), At(L"t"), true));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_EXISTS));
    EXPECT_EQ(LogLines().at(4), L"16 ::CopyFile(@\\s\\z, @\\t\\z, 1) failed. [0x00000050]");
    EXPECT_EQ(LogLines().at(5), kLeaveCopy);
    EXPECT_TRUE(Utility::CopyDirectory(At(L"s"), At(L"t"), false));
}

TEST_F(CopyDirectory, codes_of_a_copy_that_end_the_walk) {
    PutFolder(L"s");
    PutFile(L"s\\a");
    PutFile(L"s\\b");
    PutFolder(L"s\\d");
    PutFile(L"s\\d\\e");
    const struct {
        const wchar_t* refused;
        DWORD code;
        bool failIfExists;
        bool result;
        std::size_t copies;
    } rows[] = {
        {L"\\a", 183, true, true, 3},   {L"\\a", 183, false, false, 1},
        {L"\\a", 80, true, false, 1},   {L"\\a", 5, true, false, 1},
        {L"\\a", 5, false, false, 1},   {L"\\b", 112, false, false, 2},
        {L"\\e", 183, true, false, 3},  // below, the flag is always false
        {L"\\e", 183, false, false, 3}, {L"nothing", 0, true, true, 3},
    };
    const IatPatch patch(Program(), "kernel32.dll", "CopyFileW", CopyUnlessRefused);
    int number = 0;
    for (const auto& row : rows) {
        Refuse(row.refused, row.code);
        const std::wstring target = At(L"t" + std::to_wstring(number++));
        SetLastError(0);
        EXPECT_EQ(Utility::CopyDirectory(At(L"s"), target, row.failIfExists), row.result) << number;
        if (!row.result) {
            EXPECT_EQ(GetLastError(), row.code) << number;
        }
        EXPECT_EQ(s_Calls.size(), row.copies) << number;
    }
}

TEST_F(CopyDirectory, listing_that_breaks_off_is_logged) {
    PutFolder(L"s");
    PutFile(L"s\\a");
    const IatPatch patch(Program(), "kernel32.dll", "FindNextFileW", RefuseNext);
    EXPECT_TRUE(Utility::CopyDirectory(At(L"s"), At(L"t"), false));
    EXPECT_EQ(
        LogLines(),
        (Lines{kEnterCopy, L"256 *** ::FindNextFile() failed. [0x0000045d] The rest is left out.",
               kLeaveCopy}));
    EXPECT_TRUE(IsMissing(L"t\\a"));
}

TEST_F(CopyDirectory, failures_below_end_the_walk_and_leave_each_folder) {
    PutFolder(L"s");
    PutFolder(L"s\\d");
    PutFolder(L"s\\d\\e");
    PutFile(L"s\\z");
    {
        Refuse(L"\\t\\d\\e", ERROR_DISK_FULL);
        const IatPatch patch(Program(), "kernel32.dll", "CreateDirectoryW", CreateUnlessRefused);
        EXPECT_FALSE(Utility::CopyDirectory(At(L"s"), At(L"t"), false));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
        EXPECT_EQ(LogLines(), (Lines{kEnterCopy, kEnterCopy,
                                     L"256 *** ::CreateDirectory(@\\t\\d\\e) failed. [0x00000070]",
                                     kLeaveCopy, kLeaveCopy}));
    }
    m_Log.Clear();
    {
        Refuse(L"\\s\\d\\e\\*.*", ERROR_ACCESS_DENIED);
        const IatPatch patch(Program(), "kernel32.dll", "FindFirstFileW", FindUnlessRefused);
        EXPECT_FALSE(Utility::CopyDirectory(At(L"s"), At(L"t"), false));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
        EXPECT_EQ(LogLines(), (Lines{kEnterCopy, kEnterCopy, kEnterCopy, kLeaveCopy, kLeaveCopy}));
    }
    EXPECT_TRUE(IsMissing(L"t\\z"));
    EXPECT_TRUE(IsFolder(L"t\\d\\e"));
}

TEST_F(CopyDirectory, locked_target_ends_the_walk) {
    PutFolder(L"s");
    PutFile(L"s\\a", "new");
    PutFolder(L"t");
    PutFile(L"t\\a", "old");
    const test_support::LockedFile locked(At(L"t\\a"));
    EXPECT_FALSE(Utility::CopyDirectory(At(L"s"), At(L"t"), false));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(Content(L"t\\a"), "old");
}

TEST_F(CopyDirectory, deep_tree_and_long_names_need_little_stack) {
    const std::wstring prefix = L"\\\\?\\";
    std::wstring path = prefix + At(L"s");
    for (int i = 0; i < 200; ++i)
        path += L"\\d";
    path += L"\\" + std::wstring(200, L'n');
    ASSERT_TRUE(KrCommon::Storage::File::CreateDirectories(path, nullptr));
    bool copied = false;
    ASSERT_TRUE(test_support::RunOnSmallStack(
        [&] { copied = Utility::CopyDirectory(prefix + At(L"s"), prefix + At(L"t"), false); }));
    EXPECT_TRUE(copied);
    path[path.find(L"\\s\\d") + 1] = L't';
    EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
    bool rebootNeeded = false;
    EXPECT_TRUE(KrCommon::Storage::File::DeleteAllFiles(prefix + At(), rebootNeeded, nullptr));
}

// ---- EnumFilesOnlyInDirectory

TEST_F(EnumFiles, names_by_attributes) {
    PutFile(L"a.txt");
    PutFile(L"hidden.txt", "", FILE_ATTRIBUTE_HIDDEN);
    PutFile(L"readonly.txt", "", FILE_ATTRIBUTE_READONLY);
    PutFile(L"\xd83d\xde00.txt");
    PutFile(L"other.dat");
    PutFolder(L"plain.txt");
    PutFolder(L"secret.txt", FILE_ATTRIBUTE_HIDDEN);
    PutFolder(L"system.txt", FILE_ATTRIBUTE_SYSTEM);
    std::vector<std::wstring> list{L"before"};
    EXPECT_TRUE(Utility::EnumFilesOnlyInDirectory(At(), list, L"*.txt"));
    std::sort(list.begin(), list.end());
    EXPECT_EQ(list, (NameList{L"a.txt", L"before", L"hidden.txt", L"readonly.txt", L"secret.txt",
                              L"system.txt", L"\xd83d\xde00.txt"}));
    EXPECT_EQ(LogLines(), (Lines{L"1 [Enter] WyCommon::Utility::EnumFilesOnlyInDirectory()...",
                                 L"16 WyCommon::Utility::EnumFilesOnlyInDirectory(@)",
                                 L"1 [Leave] WyCommon::Utility::EnumFilesOnlyInDirectory()..."}));
    SetFileAttributesW(At(L"readonly.txt").c_str(), FILE_ATTRIBUTE_NORMAL);
}

DWORD s_dwAttributes = 0;
HANDLE WINAPI FindOne(LPCWSTR path, LPWIN32_FIND_DATAW entry) {
    HANDLE const find =
        Real<HANDLE WINAPI(LPCWSTR, LPWIN32_FIND_DATAW)>("FindFirstFileW")(path, entry);
    entry->dwFileAttributes = s_dwAttributes;
    return find;
}

TEST_F(EnumFiles, listed_when_a_bit_other_than_folder_is_set) {
    PutFile(L"one");
    const struct {
        DWORD attributes;
        bool listed;
    } rows[] = {
        {FILE_ATTRIBUTE_DIRECTORY, false},
        {FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN, true},
        {FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY, true},
        {FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_SYSTEM, true},
        {FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, true},
        {FILE_ATTRIBUTE_ARCHIVE, true},
        {FILE_ATTRIBUTE_NORMAL, true},
        {0, false},
    };
    const IatPatch patch(Program(), "kernel32.dll", "FindFirstFileW", FindOne);
    for (const auto& row : rows) {
        s_dwAttributes = row.attributes;
        std::vector<std::wstring> list;
        EXPECT_TRUE(Utility::EnumFilesOnlyInDirectory(At() + L"\\", list, L"one"));
        EXPECT_EQ(list.size(), row.listed ? 1U : 0U) << row.attributes;
    }
}

TEST_F(EnumFiles, nothing_that_matches) {
    std::vector<std::wstring> list{L"before"};
    EXPECT_FALSE(Utility::EnumFilesOnlyInDirectory(At(), list, L"*.txt"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(list, NameList{L"before"});
    EXPECT_EQ(LogLines(), (Lines{L"1 [Enter] WyCommon::Utility::EnumFilesOnlyInDirectory()...",
                                 L"16 WyCommon::Utility::EnumFilesOnlyInDirectory(@)",
                                 L"16 *** ::FindFirstFile(@\\*.txt) failed. [0x00000002]",
                                 L"1 [Leave] WyCommon::Utility::EnumFilesOnlyInDirectory()..."}));
}

// Seconds of work each, whatever the machine does beside it.
TEST_F(EnumFiles, ten_thousand_entries_are_listed_and_deleted_in_bounded_time) {
    for (int i = 0; i < 10000; ++i)
        PutFile(std::to_wstring(i), "");
    DWORD start = GetTickCount();
    std::vector<std::wstring> list;
    EXPECT_TRUE(Utility::EnumFilesOnlyInDirectory(At(), list, L"*"));
    EXPECT_EQ(list.size(), 10000U);
    EXPECT_LT(GetTickCount() - start, 10000U);

    start = GetTickCount();
    bool rebootNeeded = false;
    EXPECT_TRUE(KrCommon::Storage::File::DeleteAllFiles(At(), rebootNeeded, nullptr));
    EXPECT_FALSE(rebootNeeded);
    EXPECT_LT(GetTickCount() - start, 20000U);
    EXPECT_EQ(Names(), NameList{});
}

// ---- MoveAllFilesAfterReboot

BOOL WINAPI MoveRecorded(LPCWSTR source, LPCWSTR target, DWORD flags) {
    s_Calls.push_back(std::to_wstring(flags) + L' ' + source + L" to " + target);
    return !IsRefused(source);
}

TEST_F(MoveAfterReboot, entries_are_written_folders_before_what_is_in_them) {
    PutFolder(L"s");
    PutFile(L"s\\a");
    PutFolder(L"s\\d");
    PutFile(L"s\\d\\b");
    PutFolder(L"s\\d\\e");
    PutFile(L"s\\\xd83d\xde00");
    const Moves before = test_support::PendingMoves();
    EXPECT_EQ(Utility::MoveAllFilesAfterReboot(At(L"s"), At(L"t")), 0x20ff0000U);
    const std::wstring nt = L"\\??\\";
    EXPECT_EQ(test_support::PendingMovesSince(before),
              (Moves{{nt + At(L"s\\a"), L"!" + nt + At(L"t\\a")},
                     {nt + At(L"s\\d"), nt + At(L"t\\d")},
                     {nt + At(L"s\\d\\b"), L"!" + nt + At(L"t\\d\\b")},
                     {nt + At(L"s\\d\\e"), nt + At(L"t\\d\\e")},
                     {nt + At(L"s\\\xd83d\xde00"), L"!" + nt + At(L"t\\\xd83d\xde00")}}));
    EXPECT_EQ(LogLines(), (Lines{L"1 ::MoveFileEx src dir: @\\s\\a, dst dir: @\\t\\a",
                                 L"1 ::MoveFileEx src dir: @\\s\\d, dst dir: @\\t\\d",
                                 L"1 ::MoveFileEx src dir: @\\s\\d\\b, dst dir: @\\t\\d\\b",
                                 L"1 ::MoveFileEx src dir: @\\s\\d\\e, dst dir: @\\t\\d\\e",
                                 L"1 ::MoveFileEx src dir: @\\s\\\xd83d\xde00, dst dir: "
                                 L"@\\t\\\xd83d\xde00"}));
    EXPECT_EQ(m_Log.Lines()[0].file, "WyCommon_Folders");
}

TEST_F(MoveAfterReboot, failures_are_logged_and_passed_over) {
    PutFolder(L"s");
    PutFile(L"s\\a");
    PutFolder(L"s\\d");
    PutFile(L"s\\d\\b");
    Refuse(L"\\d", ERROR_ACCESS_DENIED);
    const IatPatch patch(Program(), "kernel32.dll", "MoveFileExW", MoveRecorded);
    EXPECT_EQ(Utility::MoveAllFilesAfterReboot(At(L"s\\"), L"C:\\t\\"), 0x20ff0000U);
    EXPECT_EQ(s_Calls, (NameList{L"5 " + At(L"s\\a") + L" to C:\\t\\a",
                                 L"4 " + At(L"s\\d") + L" to C:\\t\\d",
                                 L"5 " + At(L"s\\d\\b") + L" to C:\\t\\d\\b"}));
    EXPECT_EQ(LogLines(),
              (Lines{L"1 ::MoveFileEx src dir: @\\s\\a, dst dir: C:\\t\\a",
                     L"1 ::MoveFileEx src dir: @\\s\\d, dst dir: C:\\t\\d",
                     L"256 ::MoveFileEx failed with error 5, src: @\\s\\d, dst: C:\\t\\d",
                     L"1 ::MoveFileEx src dir: @\\s\\d\\b, dst dir: C:\\t\\d\\b"}));
}

TEST_F(MoveAfterReboot, folder_below_that_cannot_be_listed_is_passed_over) {
    PutFolder(L"s");
    PutFolder(L"s\\d");
    PutFile(L"s\\z");
    const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", MoveRecorded);
    const IatPatch find(Program(), "kernel32.dll", "FindFirstFileW", FindUnlessRefused);
    Refuse(L"\\d\\*", ERROR_ACCESS_DENIED);
    EXPECT_EQ(Utility::MoveAllFilesAfterReboot(At(L"s"), L"C:\\t"), 0x20ff0000U);
    EXPECT_EQ(s_Calls, (NameList{L"4 " + At(L"s\\d") + L" to C:\\t\\d",
                                 L"5 " + At(L"s\\z") + L" to C:\\t\\z"}));
}

TEST_F(MoveAfterReboot, results) {
    PutFolder(L"empty");
    const struct {
        std::wstring source;
        std::wstring target;
        std::uint32_t result;
    } rows[] = {
        {At(L"missing"), L"C:\\t", 0xe0fe0003},
        {At(L"missing"), L"", 0xe0fe0003},
        {At(L"empty"), L"C:\\t", 0x20ff0000},
        {At(), L"", 0x20ff0000},
    };
    const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", MoveRecorded);
    Refuse(L"nothing", 0);
    for (const auto& row : rows)
        EXPECT_EQ(Utility::MoveAllFilesAfterReboot(row.source, row.target), row.result);
    EXPECT_EQ(s_Calls, NameList{});
    EXPECT_EQ(LogLines(), Lines{});
    const IatPatch find(Program(), "kernel32.dll", "FindFirstFileW", FindUnlessRefused);
    Refuse(L"*", 0x12345);
    EXPECT_EQ(Utility::MoveAllFilesAfterReboot(At(), L"C:\\t"), 0xe0fe2345U);
}

// ---- the next start of the system

TEST_F(MoveAfterReboot, next_start_moves_and_deletes_what_is_pending) {
    PutFolder(L"s");
    PutFile(L"s\\a", "new");
    PutFolder(L"s\\d");
    PutFile(L"s\\d\\b", "inner");
    PutFile(L"s\\\xd83d\xde00", "far");
    PutFolder(L"t");
    PutFile(L"t\\a", "old");
    EXPECT_EQ(Utility::MoveAllFilesAfterReboot(At(L"s"), At(L"t")), 0x20ff0000U);

    PutFolder(L"gone");
    PutFolder(L"gone\\inner");
    PutFile(L"gone\\inner\\locked");
    bool rebootNeeded = false;
    {
        const test_support::LockedFile locked(At(L"gone\\inner\\locked"));
        EXPECT_TRUE(KrCommon::Storage::File::DeleteAllFiles(At(L"gone"), rebootNeeded, nullptr));
    }
    EXPECT_TRUE(rebootNeeded);
    EXPECT_EQ(Content(L"t\\a"), "old");
    EXPECT_TRUE(IsFile(L"gone\\inner\\locked"));

    if (!test_support::RunSystemStart()) {
        GTEST_SKIP() << "no wineboot.exe: a start of the system cannot be had inside a test";
    }
    EXPECT_EQ(test_support::PendingMoves(), Moves{});
    EXPECT_EQ(Content(L"t\\a"), "new");
    EXPECT_EQ(Content(L"t\\d\\b"), "inner");
    EXPECT_EQ(Content(L"t\\\xd83d\xde00"), "far");
    EXPECT_EQ(Names(L"s"), NameList{});
    EXPECT_EQ(Names(L"gone"), NameList{});
}

}  // namespace
