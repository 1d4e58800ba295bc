// Files and folders by name: existence, copies, folders made.

#include "Common/KrCommon/KrComn_File.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/FileFixture_win32.h"
#include "support/IatPatch.h"

namespace {

namespace File = KrCommon::Storage::File;
using test_support::IatPatch;
using test_support::Lines;
using test_support::NameList;

// A character outside the basic plane: two units.
constexpr const wchar_t* kFarName = L"\xd83d\xde00.txt";

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

// What stand-ins were asked, in order.
std::vector<std::wstring> s_Calls;

using FileExists = test_support::FileFixture;
using FileCopy = test_support::FileFixture;
using FileCreateDirectories = test_support::FileFixture;

// ---- Exists

TEST_F(FileExists, names_and_codes) {
    PutFile(L"file.txt");
    PutFile(kFarName);
    PutFile(L"hidden", "", FILE_ATTRIBUTE_HIDDEN);
    PutFolder(L"folder");
    const struct {
        std::wstring path;
        bool exists;
        std::uint32_t error;
    } rows[] = {
        {At(L"file.txt"), true, 0},
        {At(L"FILE.TXT"), true, 0},
        {At(L"f*.txt"), true, 0},
        {At(kFarName), true, 0},
        {At(L"hidden"), true, 0},
        {At(L"folder"), true, 0},
        {At(L"missing"), false, ERROR_FILE_NOT_FOUND},
        {At(L"missing\\file"), false, ERROR_PATH_NOT_FOUND},
        {At(L"folder\\"), false, ERROR_FILE_NOT_FOUND},
        {L"", false, ERROR_BAD_ARGUMENTS},
    };
    for (const auto& row : rows) {
        std::uint32_t error = 77;
        EXPECT_EQ(File::Exists(row.path, &error), row.exists) << row.path;
        EXPECT_EQ(error, row.error) << row.path;
        EXPECT_EQ(File::Exists(row.path, nullptr), row.exists) << row.path;
    }
    EXPECT_EQ(LogLines(), Lines{});
}

// ---- CopyFile

TEST_F(FileCopy, files_that_match_and_no_folders) {
    PutFolder(L"source");
    PutFolder(L"target");
    PutFile(L"source\\a.txt", "a");
    PutFile(L"source\\b.txt", "b");
    PutFile(L"source\\c.dat", "c");
    PutFolder(L"source\\d.txt");
    EXPECT_TRUE(File::CopyFile(At(L"source"), L"*.txt", At(L"target"), false));
    EXPECT_EQ(Names(L"target"), (NameList{L"a.txt", L"b.txt"}));
    EXPECT_EQ(Content(L"target\\a.txt"), "a");
    EXPECT_EQ(LogLines(),
              (Lines{L"16 ::CopyFile(@\\source\\a.txt, @\\target\\a.txt, 0) succeed.",
                     L"16 ::CopyFile(@\\source\\b.txt, @\\target\\b.txt, 0) succeed."}));
    EXPECT_EQ(m_Log.Lines()[0].file, "KrComn_File");
}

TEST_F(FileCopy, separators_at_the_end_of_folders_are_not_doubled) {
    PutFolder(L"source");
    PutFolder(L"target");
    PutFile(L"source\\a");
    EXPECT_TRUE(File::CopyFile(At(L"source\\"), L"a", At(L"target\\"), true));
    EXPECT_EQ(LogLines(), Lines{L"16 ::CopyFile(@\\source\\a, @\\target\\a, 1) succeed."});
}

TEST_F(FileCopy, nothing_that_matches) {
    PutFolder(L"source");
    EXPECT_FALSE(File::CopyFile(At(L"source"), L"a*", At(L"target"), false));
    EXPECT_FALSE(File::CopyFile(At(L"missing"), L"*", At(L"target"), false));
    EXPECT_EQ(LogLines(), (Lines{L"256 *** ::FindFirstFile(@\\source\\a*) failed. [0x00000002]",
                                 L"1 [Leave] CopyFile()...",
                                 L"256 *** ::FindFirstFile(@\\missing\\*) failed. [0x00000003]",
                                 L"1 [Leave] CopyFile()..."}));
}

TEST_F(FileCopy, folder_that_holds_folders_alone_is_a_success) {
    PutFolder(L"source");
    PutFolder(L"source\\inner");
    EXPECT_TRUE(File::CopyFile(At(L"source"), L"*", At(L"target"), false));
    EXPECT_EQ(LogLines(), Lines{});
}

TEST_F(FileCopy, existing_target_with_fail_if_exists_is_a_failure_by_code_80) {
    PutFolder(L"source");
    PutFolder(L"target");
    PutFile(L"source\\a", "new");
    PutFile(L"target\\a", "old");
    EXPECT_FALSE(File::CopyFile(At(L"source"), L"a", At(L"target"), true));
    EXPECT_EQ(Content(L"target\\a"), "old");
    EXPECT_EQ(LogLines(),
              Lines{L"16 ::CopyFile(@\\source\\a, @\\target\\a, 1) failed. [0x00000050]"});
    EXPECT_TRUE(File::CopyFile(At(L"source"), L"a", At(L"target"), false));
    EXPECT_EQ(Content(L"target\\a"), "new");
}

TEST_F(FileCopy, one_failure_does_not_stop_the_others) {
    PutFolder(L"source");
    PutFolder(L"target");
    for (const wchar_t* name : {L"a", L"b", L"c"})
        PutFile(std::wstring(L"source\\") + name, "new");
    PutFile(L"target\\b", "old");
    const test_support::LockedFile locked(At(L"target\\b"));
    EXPECT_FALSE(File::CopyFile(At(L"source"), L"*", At(L"target"), false));
    EXPECT_EQ(LogLines(),
              (Lines{L"16 ::CopyFile(@\\source\\a, @\\target\\a, 0) succeed.",
                     L"16 ::CopyFile(@\\source\\b, @\\target\\b, 0) failed. [0x00000020]",
                     L"16 ::CopyFile(@\\source\\c, @\\target\\c, 0) succeed."}));
    EXPECT_EQ(Content(L"target\\b"), "old");
    EXPECT_EQ(Content(L"target\\c"), "new");
}

TEST_F(FileCopy, target_that_is_a_folder_and_target_folder_that_is_missing) {
    PutFolder(L"source");
    PutFolder(L"target");
    PutFile(L"source\\a");
    PutFolder(L"target\\a");
    EXPECT_FALSE(File::CopyFile(At(L"source"), L"a", At(L"target"), false));
    EXPECT_FALSE(File::CopyFile(At(L"source"), L"a", At(L"missing"), false));
    PutFile(L"file");
    EXPECT_FALSE(File::CopyFile(At(L"source"), L"a", At(L"file"), false));
    EXPECT_EQ(LogLines().at(0),
              L"16 ::CopyFile(@\\source\\a, @\\target\\a, 0) failed. [0x00000005]");
    EXPECT_EQ(LogLines().at(1),
              L"16 ::CopyFile(@\\source\\a, @\\missing\\a, 0) failed. [0x00000003]");
    EXPECT_EQ(LogLines().size(), 3U);
    EXPECT_TRUE(IsFolder(L"target\\a"));
    EXPECT_TRUE(IsFile(L"file"));
}

TEST_F(FileCopy, copy_of_a_read_only_file_is_not_read_only) {
    PutFolder(L"source");
    PutFolder(L"target");
    PutFile(L"source\\a", "a", FILE_ATTRIBUTE_READONLY);
    ASSERT_TRUE(IsReadOnly(L"source\\a"));
    EXPECT_TRUE(File::CopyFile(At(L"source"), L"a", At(L"target"), false));
    EXPECT_FALSE(IsReadOnly(L"target\\a"));
    EXPECT_TRUE(IsReadOnly(L"source\\a"));
    SetFileAttributesW(At(L"source\\a").c_str(), FILE_ATTRIBUTE_NORMAL);
}

// Copies as an ordinary user would find it: a read-only target is refused.
BOOL WINAPI CopyUnlessReadOnly(LPCWSTR source, LPCWSTR target, BOOL failIfExists) {
    const DWORD attributes = GetFileAttributesW(target);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    using Function = BOOL WINAPI(LPCWSTR, LPCWSTR, BOOL);
    static const auto copy = reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CopyFileW")));
    return copy(source, target, failIfExists);
}

TEST_F(FileCopy, read_only_target_is_overwritten) {
    PutFolder(L"source");
    PutFolder(L"target");
    PutFile(L"source\\a", "new");
    PutFile(L"target\\a", "old", FILE_ATTRIBUTE_READONLY);
    const IatPatch patch(Program(), "kernel32.dll", "CopyFileW", CopyUnlessReadOnly);
    EXPECT_TRUE(File::CopyFile(At(L"source"), L"a", At(L"target"), false));
    EXPECT_EQ(Content(L"target\\a"), "new");
    EXPECT_FALSE(IsReadOnly(L"target\\a"));
}

DWORD s_dwCopyError = 0;
BOOL WINAPI CopyRefused(LPCWSTR, LPCWSTR, BOOL) {
    SetLastError(s_dwCopyError);
    return FALSE;
}

TEST_F(FileCopy, codes_that_count_as_failures) {
    PutFile(L"a");
    const struct {
        DWORD code;
        bool failIfExists;
        bool result;
        const wchar_t* line;
    } rows[] = {
        {183, true, true, L"16 ::CopyFile(@\\a, T\\a, 1) failed. [0x000000b7]"},
        {183, false, false, L"16 ::CopyFile(@\\a, T\\a, 0) failed. [0x000000b7]"},
        {80, true, false, L"16 ::CopyFile(@\\a, T\\a, 1) failed. [0x00000050]"},
        {80, false, false, L"16 ::CopyFile(@\\a, T\\a, 0) failed. [0x00000050]"},
        {5, true, false, L"16 ::CopyFile(@\\a, T\\a, 1) failed. [0x00000005]"},
        {112, false, false, L"16 ::CopyFile(@\\a, T\\a, 0) failed. [0x00000070]"},
    };
    const IatPatch patch(Program(), "kernel32.dll", "CopyFileW", CopyRefused);
    for (const auto& row : rows) {
        m_Log.Clear();
        s_dwCopyError = row.code;
        EXPECT_EQ(File::CopyFile(At(), L"a", L"T", row.failIfExists), row.result) << row.line;
        EXPECT_EQ(LogLines(), Lines{row.line});
    }
}

DWORD WINAPI AttributesRecorded(LPCWSTR path) {
    s_Calls.push_back(std::wstring(L"get ") + path);
    return FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY;
}
BOOL WINAPI SetAttributesRecorded(LPCWSTR path, DWORD attributes) {
    s_Calls.push_back(L"set " + std::to_wstring(attributes) + L' ' + path);
    return FALSE;
}
BOOL WINAPI CopyRecorded(LPCWSTR source, LPCWSTR target, BOOL) {
    s_Calls.push_back(std::wstring(L"copy ") + source + L" to " + target);
    return TRUE;
}

TEST_F(FileCopy, read_only_mark_is_taken_away_before_and_after_without_looking_at_the_result) {
    PutFile(L"a");
    s_Calls.clear();
    const IatPatch get(Program(), "kernel32.dll", "GetFileAttributesW", AttributesRecorded);
    const IatPatch set(Program(), "kernel32.dll", "SetFileAttributesW", SetAttributesRecorded);
    const IatPatch copy(Program(), "kernel32.dll", "CopyFileW", CopyRecorded);
    EXPECT_TRUE(File::CopyFile(At(), L"a", L"T", false));
    EXPECT_EQ(s_Calls, (std::vector<std::wstring>{L"get T\\a", L"set 2 T\\a",
                                                  L"copy " + At(L"a") + L" to T\\a", L"get T\\a",
                                                  L"set 2 T\\a"}));
}

TEST_F(FileCopy, names_outside_the_basic_plane_and_hidden_files) {
    PutFolder(L"source");
    PutFolder(L"target \xd83d\xde80");
    PutFile(std::wstring(L"source\\") + kFarName, "far");
    PutFile(L"source\\hidden", "h", FILE_ATTRIBUTE_HIDDEN);
    EXPECT_TRUE(File::CopyFile(At(L"source"), L"*", At(L"target \xd83d\xde80"), false));
    EXPECT_EQ(Names(L"target \xd83d\xde80"), (NameList{L"hidden", kFarName}));
    EXPECT_EQ(Content(std::wstring(L"target \xd83d\xde80\\") + kFarName), "far");
}

BOOL WINAPI NextFails(HANDLE, LPWIN32_FIND_DATAW) {
    SetLastError(ERROR_READ_FAULT);
    return FALSE;
}

TEST_F(FileCopy, listing_that_breaks_off_ends_the_walk_and_is_logged) {
    PutFile(L"a");
    PutFile(L"b");
    PutFolder(L"target");
    const IatPatch patch(Program(), "kernel32.dll", "FindNextFileW", NextFails);
    // The first entry of "*" is ".", so that none is copied.
    EXPECT_TRUE(File::CopyFile(At(), L"*", At(L"target"), false));
    EXPECT_EQ(LogLines(),
              Lines{L"256 *** ::FindNextFile() failed. [0x0000001e] The rest is left out."});
}

// ---- CreateDirectories

TEST_F(FileCreateDirectories, what_is_missing_and_no_more) {
    const struct {
        const wchar_t* path;
        bool made;
        std::vector<std::wstring> created;
    } rows[] = {
        {L"a", true, {L"a"}},
        {L"a\\b", true, {L"a\\b"}},
        {L"a\\b", true, {}},
        {L"a\\c\\", true, {L"a\\c"}},
        {L"d\\e\\f\\g", true, {L"d", L"d\\e", L"d\\e\\f", L"d\\e\\f\\g"}},
        {L"d\\\\h", true, {L"d\\h"}},
        {L"\xd83d\xde00\\\xd83d\xde01", true, {L"\xd83d\xde00", L"\xd83d\xde00\\\xd83d\xde01"}},
    };
    for (const auto& row : rows) {
        for (const std::wstring& folder : row.created)
            EXPECT_TRUE(IsMissing(folder)) << folder;
        std::uint32_t error = 77;
        EXPECT_EQ(File::CreateDirectories(At(row.path), &error), row.made) << row.path;
        EXPECT_EQ(error, 77U) << row.path;
        for (const std::wstring& folder : row.created)
            EXPECT_TRUE(IsFolder(folder)) << folder;
    }
    EXPECT_EQ(LogLines(), Lines{});
}

BOOL WINAPI CreateRecorded(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
    EXPECT_EQ(security, nullptr);
    s_Calls.emplace_back(path);
    return TRUE;
}
DWORD WINAPI NothingThere(LPCWSTR) {
    return INVALID_FILE_ATTRIBUTES;
}

TEST_F(FileCreateDirectories, folders_asked_for_by_form_of_path) {
    const struct {
        const wchar_t* path;
        std::vector<std::wstring> folders;
    } rows[] = {
        {L"", {}},
        {L"a", {L"a"}},
        {L"a\\b\\", {L"a", L"a\\b"}},
        {L"C:\\a", {L"C:", L"C:\\a"}},
        {L"\\a\\b", {L"\\a", L"\\a\\b"}},
        {L"\\\\server\\share\\a", {L"\\\\server\\share", L"\\\\server\\share\\a"}},
        {L"\\\\?\\C:\\a\\b", {L"\\\\?\\C:\\a", L"\\\\?\\C:\\a\\b"}},
        {L"\\\\?\\UNC\\s\\h\\a", {L"\\\\?\\UNC\\s\\h", L"\\\\?\\UNC\\s\\h\\a"}},
        {L"\\\\?\\C:\\", {}},
        {L"\\\\server", {}},
        {L"\\", {}},
    };
    const IatPatch get(Program(), "kernel32.dll", "GetFileAttributesW", NothingThere);
    const IatPatch create(Program(), "kernel32.dll", "CreateDirectoryW", CreateRecorded);
    for (const auto& row : rows) {
        s_Calls.clear();
        EXPECT_TRUE(File::CreateDirectories(row.path, nullptr)) << row.path;
        EXPECT_EQ(s_Calls, row.folders) << row.path;
    }
}

TEST_F(FileCreateDirectories, file_where_a_folder_is_wanted) {
    PutFile(L"file");
    std::uint32_t error = 77;
    // A name that exists counts, whatever it is.
    EXPECT_TRUE(File::CreateDirectories(At(L"file"), &error));
    EXPECT_EQ(error, 77U);
    EXPECT_FALSE(File::CreateDirectories(At(L"file\\below\\it"), &error));
    EXPECT_EQ(error, static_cast<std::uint32_t>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(LogLines(), Lines{L"256 *** ::CreateDirectory(@\\file\\below) failed. [0x00000003]"});
    EXPECT_EQ(m_Log.Lines()[0].file, "KrComn_File");
    EXPECT_TRUE(IsFile(L"file"));
}

DWORD s_dwCreateError = 0;
BOOL WINAPI CreateRefused(LPCWSTR path, LPSECURITY_ATTRIBUTES) {
    s_Calls.emplace_back(path);
    SetLastError(s_dwCreateError);
    return FALSE;
}

TEST_F(FileCreateDirectories, codes) {
    const struct {
        DWORD code;
        bool result;
        std::size_t calls;
        Lines lines;
    } rows[] = {
        {183, true, 2, {}},
        {5, false, 1, {L"256 *** ::CreateDirectory(@\\a) failed. [0x00000005]"}},
        {80, false, 1, {L"256 *** ::CreateDirectory(@\\a) failed. [0x00000050]"}},
        {112, false, 1, {L"256 *** ::CreateDirectory(@\\a) failed. [0x00000070]"}},
    };
    const IatPatch patch(Program(), "kernel32.dll", "CreateDirectoryW", CreateRefused);
    for (const auto& row : rows) {
        m_Log.Clear();
        s_Calls.clear();
        s_dwCreateError = row.code;
        std::uint32_t error = 77;
        EXPECT_EQ(File::CreateDirectories(At(L"a\\b"), &error), row.result) << row.code;
        EXPECT_EQ(error, row.code);
        EXPECT_EQ(s_Calls.size(), row.calls);
        EXPECT_EQ(LogLines(), row.lines);
        EXPECT_EQ(File::CreateDirectories(At(L"a\\b"), nullptr), row.result) << row.code;
    }
}

TEST_F(FileCreateDirectories, paths_near_and_beyond_260) {
    for (const std::size_t length : {247U, 248U, 259U, 260U, 261U, 600U, 1500U}) {
        std::wstring path = L"\\\\?\\" + At();
        while (path.size() < length)
            path += L'\\' + std::wstring(std::min<std::size_t>(99, length - path.size()), L'n');
        EXPECT_TRUE(File::CreateDirectories(path, nullptr)) << length;
        EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES) << length;
        EXPECT_TRUE(File::Exists(path, nullptr)) << length;
    }
    std::uint32_t error = 0;
    EXPECT_FALSE(File::CreateDirectories(At(std::wstring(300, L'n')), &error));
    EXPECT_NE(error, 0U);
    bool rebootNeeded = false;
    EXPECT_TRUE(File::DeleteAllFiles(L"\\\\?\\" + At(), rebootNeeded, nullptr));
    EXPECT_FALSE(rebootNeeded);
    EXPECT_EQ(Names(), NameList{});
}

// ---- the system's temporary folder

UINT s_uiWindowsLength = 0;
UINT WINAPI WindowsFolderGiven(LPWSTR folder, UINT size) {
    EXPECT_EQ(size, 260U);
    if (s_uiWindowsLength == 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return 0;
    }
    if (s_uiWindowsLength < size) {
        wmemset(folder, L'w', s_uiWindowsLength);
        folder[s_uiWindowsLength] = L'\0';
    }
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return s_uiWindowsLength;
}

TEST_F(FileExists, folder_for_temporary_files_of_the_system) {
    std::wstring folder;
    EXPECT_TRUE(File::GetWindowsTempFolder(folder));
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    EXPECT_EQ(folder, std::wstring(windows) + L"\\temp");

    const struct {
        UINT length;
        bool result;
        std::wstring folder;
        Lines lines;
    } rows[] = {
        {259, true, std::wstring(259, L'w') + L"\\temp", {}},
        {260, false, L"before", {L"256 *** ::GetWindowsDirectory() failed. [0x0000007a]"}},
        {400, false, L"before", {L"256 *** ::GetWindowsDirectory() failed. [0x0000007a]"}},
        {0, false, L"before", {L"256 *** ::GetWindowsDirectory() failed. [0x00000005]"}},
    };
    const IatPatch patch(Program(), "kernel32.dll", "GetWindowsDirectoryW", WindowsFolderGiven);
    for (const auto& row : rows) {
        m_Log.Clear();
        s_uiWindowsLength = row.length;
        folder = L"before";
        EXPECT_EQ(File::GetWindowsTempFolder(folder), row.result) << row.length;
        EXPECT_EQ(folder, row.folder);
        EXPECT_EQ(LogLines(), row.lines);
    }
}

}  // namespace
