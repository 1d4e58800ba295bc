// Removing folders, and the mark of a restart that is waited for.

#include "deploy/DeployCommon_Folders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/FileFixture_win32.h"
#include "support/IatPatch.h"
#include "support/PendingMoves_win32.h"
#include "support/ProcessFigures.h"
#include "utilMode/FrwkMode.h"

namespace {

using namespace WyDeployHelper::DeployCommon;
using test_support::IatPatch;
using test_support::LockedFile;
using test_support::PendingMove;
using test_support::PendingMoves;
using test_support::PendingMovesSince;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr wchar_t kMarker[] = L"C:\\windows\\temp\\DeployTestTemp.dat";

template <DWORD Error>
BOOL WINAPI RefuseRemoval(LPCWSTR) {
    SetLastError(Error);
    return FALSE;
}

BOOL WINAPI RefuseMove(LPCWSTR, LPCWSTR, DWORD) {
    SetLastError(ERROR_PRIVILEGE_NOT_HELD);
    return FALSE;
}

HANDLE WINAPI RefuseFile(LPCWSTR, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

UINT WINAPI NoFolder(LPWSTR, UINT) {
    SetLastError(ERROR_ACCESS_DENIED);
    return 0;
}

class DeployFolders : public test_support::FileFixture {
protected:
    void SetUp() override {
        Frwk::Mode::SetWyvarionId(L"DeployTest");
        CreateDirectoryW(L"C:\\windows\\temp", nullptr);
        DeleteFileW(kMarker);
        m_Log.Clear();
    }
    void TearDown() override {
        DeleteFileW(kMarker);
        Frwk::Mode::SetWyvarionId(L"Wyvarion");
    }

    // The lines of the deployment, the test's folder written "@".
    test_support::Lines Log() const {
        test_support::Lines lines;
        for (const std::wstring& line : LogLines()) {
            const std::size_t at = line.find(L"WyDeployHelper: ");
            if (at != std::wstring::npos)
                lines.push_back(line.substr(0, at) + line.substr(at + 16));
        }
        return lines;
    }

    HMODULE m_hProgram = GetModuleHandleW(nullptr);
    bool m_bRebootNeeded = false;
};

TEST_F(DeployFolders, folder_goes_with_all_that_is_in_it) {
    PutFolder(L"old");
    PutFolder(L"old\\sub");
    PutFile(L"old\\sub\\file", "x", FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(DeleteFolder(At(L"old"), m_bRebootNeeded), kSuccess);
    EXPECT_TRUE(IsMissing(L"old"));
    EXPECT_FALSE(m_bRebootNeeded);
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployFolders, missing_folder_is_a_success) {
    EXPECT_EQ(DeleteFolder(At(L"none"), m_bRebootNeeded), kSuccess);
    EXPECT_FALSE(m_bRebootNeeded);
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployFolders, empty_name_is_refused) {
    EXPECT_EQ(DeleteFolder(L"", m_bRebootNeeded), 0xe0fe00a0U);
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] KrCommon::Storage::File::DeleteAllFiles failed... "
                                   L"ErrorCode=0xa0"));
}

template <DWORD Error>
HANDLE WINAPI RefuseList(LPCWSTR, WIN32_FIND_DATAW*) {
    SetLastError(Error);
    return INVALID_HANDLE_VALUE;
}

TEST_F(DeployFolders, folder_that_cannot_be_listed_stays) {
    PutFolder(L"old");
    const auto before = PendingMoves();
    {
        const IatPatch list(m_hProgram, "kernel32.dll", "FindFirstFileW",
                            RefuseList<ERROR_ACCESS_DENIED>);
        EXPECT_EQ(DeleteFolder(At(L"old"), m_bRebootNeeded), 0xe0fe0005U);
    }
    {
        const IatPatch list(m_hProgram, "kernel32.dll", "FindFirstFileW",
                            RefuseList<ERROR_FILE_NOT_FOUND>);
        EXPECT_EQ(DeleteFolder(At(L"old"), m_bRebootNeeded), 0xe0fe0002U);
    }
    EXPECT_FALSE(IsMissing(L"old"));
    EXPECT_FALSE(m_bRebootNeeded);
    EXPECT_THAT(PendingMovesSince(before), IsEmpty());
    const std::wstring line =
        L"256 [ERROR] KrCommon::Storage::File::DeleteAllFiles failed... ErrorCode=0x";
    EXPECT_THAT(Log(), ElementsAre(line + L"5", line + L"2"));
}

TEST_F(DeployFolders, folder_with_a_file_in_use_is_left_to_the_restart) {
    PutFolder(L"old");
    PutFile(L"old\\used");
    PutFile(L"old\\free");
    const auto before = PendingMoves();
    {
        const LockedFile used(At(L"old\\used"));
        EXPECT_EQ(DeleteFolder(At(L"old"), m_bRebootNeeded), 0xe0fe0091U);
    }
    EXPECT_TRUE(m_bRebootNeeded);
    EXPECT_THAT(Names(L"old"), ElementsAre(L"used"));
    EXPECT_THAT(PendingMovesSince(before),
                ElementsAre(PendingMove{L"\\??\\" + At(L"old\\used"), L""},
                            PendingMove{L"\\??\\" + At(L"old"), L""}));
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] RemoveDirectory failed... ErrorCode=0x91"));
}

TEST_F(DeployFolders, empty_folder_that_cannot_be_removed_needs_no_restart_of_its_own) {
    PutFolder(L"old");
    const IatPatch remove(m_hProgram, "kernel32.dll", "RemoveDirectoryW",
                          RefuseRemoval<ERROR_SHARING_VIOLATION>);
    const auto before = PendingMoves();
    EXPECT_EQ(DeleteFolder(At(L"old"), m_bRebootNeeded), 0xe0fe0020U);
    EXPECT_FALSE(m_bRebootNeeded) << "nothing in the folder was left";
    EXPECT_THAT(PendingMovesSince(before), ElementsAre(PendingMove{L"\\??\\" + At(L"old"), L""}));
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] RemoveDirectory failed... ErrorCode=0x20"));
}

TEST_F(DeployFolders, last_error_counts_when_the_restart_cannot_be_told_either) {
    PutFolder(L"old");
    const IatPatch remove(m_hProgram, "kernel32.dll", "RemoveDirectoryW",
                          RefuseRemoval<ERROR_SHARING_VIOLATION>);
    const IatPatch move(m_hProgram, "kernel32.dll", "MoveFileExW", RefuseMove);
    EXPECT_EQ(DeleteFolder(At(L"old"), m_bRebootNeeded), 0xe0fe0522U);
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] RemoveDirectory failed... ErrorCode=0x20",
                                   L"256 [ERROR] MoveFileEx failed... ErrorCode=0x522, path: "
                                   L"@\\old"));
}

TEST_F(DeployFolders, mark_is_there_until_the_next_restart) {
    EXPECT_FALSE(IsRebootPending());
    const auto before = PendingMoves();
    SetRebootFlag();
    EXPECT_TRUE(IsRebootPending());
    WIN32_FILE_ATTRIBUTE_DATA found = {};
    ASSERT_NE(GetFileAttributesExW(kMarker, GetFileExInfoStandard, &found), 0);
    EXPECT_EQ(found.nFileSizeLow, 0U);
    const auto moves = PendingMovesSince(before);
    ASSERT_EQ(moves.size(), 1U);
    EXPECT_EQ(_wcsicmp(moves[0].first.c_str(), (std::wstring(L"\\??\\") + kMarker).c_str()), 0);
    EXPECT_EQ(moves[0].second, L"");
    SetRebootFlag();
    EXPECT_TRUE(IsRebootPending());
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployFolders, mark_is_emptied) {
    const HANDLE file = CreateFileW(kMarker, GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    DWORD written = 0;
    EXPECT_NE(WriteFile(file, "x", 1, &written, nullptr), 0);
    CloseHandle(file);
    SetRebootFlag();
    WIN32_FILE_ATTRIBUTE_DATA found = {};
    EXPECT_NE(GetFileAttributesExW(kMarker, GetFileExInfoStandard, &found), 0);
    EXPECT_EQ(found.nFileSizeLow, 0U);
}

TEST_F(DeployFolders, mark_belongs_to_one_identity) {
    SetRebootFlag();
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    EXPECT_FALSE(IsRebootPending());
}

TEST_F(DeployFolders, mark_that_cannot_be_made_is_told_and_not_queued) {
    const auto before = PendingMoves();
    {
        const IatPatch create(m_hProgram, "kernel32.dll", "CreateFileW", RefuseFile);
        SetRebootFlag();
    }
    EXPECT_FALSE(IsRebootPending());
    EXPECT_THAT(PendingMovesSince(before), IsEmpty());
    ASSERT_EQ(Log().size(), 1U);
    const std::wstring line = std::wstring(L"256 [ERROR] failed to open file: ") + kMarker;
    EXPECT_EQ(_wcsicmp(Log()[0].c_str(), line.c_str()), 0) << testing::PrintToString(Log()[0]);
}

TEST_F(DeployFolders, mark_without_a_folder_of_the_system_is_nowhere) {
    SetRebootFlag();
    const IatPatch folder(m_hProgram, "kernel32.dll", "GetWindowsDirectoryW", NoFolder);
    EXPECT_FALSE(IsRebootPending());
    m_Log.Clear();
    SetRebootFlag();
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] failed to open file: "));
}

TEST_F(DeployFolders, mark_that_cannot_be_queued_is_told) {
    const IatPatch move(m_hProgram, "kernel32.dll", "MoveFileExW", RefuseMove);
    SetRebootFlag();
    EXPECT_TRUE(IsRebootPending());
    ASSERT_EQ(Log().size(), 1U);
    EXPECT_EQ(Log()[0].rfind(L"256 [ERROR] MoveFileEx failed... ErrorCode=0x522, path: ", 0), 0U);
}

TEST_F(DeployFolders, repetition_leaves_no_handles) {
    SetRebootFlag();
    const auto before = test_support::ProcessFigures::Now();
    for (int round = 0; round < 20; ++round) {
        PutFolder(L"old");
        PutFile(L"old\\file");
        EXPECT_EQ(DeleteFolder(At(L"old"), m_bRebootNeeded), kSuccess);
        SetRebootFlag();
        EXPECT_TRUE(IsRebootPending());
    }
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
}

}  // namespace
