// The deployment of a download: what is copied, what is queued, and what each failure leaves.
#include "WySdk/UpdateDeploy.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/FileFixture_win32.h"
#include "support/IatPatch.h"

namespace {

using test_support::IatPatch;
using test_support::Lines;
using test_support::NameList;
using UpdateDeploy::Deploy;
using UpdateDeploy::TemporaryFolder;

constexpr std::uint32_t kSuccess = 0x20ff0000;

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

template <class Function>
Function* Real(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

// Paths with this ending are refused with the code.
std::wstring s_Refused;
DWORD s_dwCode = 0;
std::wstring s_Base;
std::vector<std::wstring> s_Moves;

bool IsRefused(const std::wstring& path) {
    if (s_Refused.empty() || !path.ends_with(s_Refused))
        return false;
    SetLastError(s_dwCode);
    return true;
}

std::wstring Short(std::wstring path) {
    if (path.starts_with(s_Base))
        path.replace(0, s_Base.size(), L"@");
    return path;
}

BOOL WINAPI CopyUnlessRefused(LPCWSTR source, LPCWSTR target, BOOL failIfExists) {
    return !IsRefused(source) &&
           Real<BOOL WINAPI(LPCWSTR, LPCWSTR, BOOL)>("CopyFileW")(source, target, failIfExists);
}
HANDLE WINAPI FindUnlessRefused(LPCWSTR path, LPWIN32_FIND_DATAW entry) {
    if (IsRefused(path))
        return INVALID_HANDLE_VALUE;
    return Real<HANDLE WINAPI(LPCWSTR, LPWIN32_FIND_DATAW)>("FindFirstFileW")(path, entry);
}
BOOL WINAPI MoveRecorded(LPCWSTR source, LPCWSTR target, DWORD flags) {
    s_Moves.push_back(Short(source) + (target == nullptr ? L"" : L" to " + Short(target)) + L", " +
                      std::to_wstring(flags));
    return !IsRefused(source);
}

// A product in the folder "Wy" with a sub-folder, and a download in the folder "dl".
class UpdateDeployTest : public test_support::FileFixture {
protected:
    void SetUp() override {
        PutFolder(L"Wy");
        PutFile(L"Wy\\a", "old");
        PutFolder(L"Wy\\sub");
        PutFolder(L"dl");
        PutFile(L"dl\\a", "new a");
        PutFolder(L"dl\\sub");
        PutFile(L"dl\\sub\\b", "new b");
        s_Base = At();
        Refuse(L"", 0);
    }

    static void Refuse(const wchar_t* ending, DWORD code) {
        s_Refused = ending;
        s_dwCode = code;
        s_Moves.clear();
    }

    // The lines of the deployment itself, without those of copying and moving.
    Lines OwnLines() const {
        Lines lines = LogLines();
        std::erase_if(lines, [](const std::wstring& line) {
            return line.find(L" WySdk: ") == std::wstring::npos;
        });
        return lines;
    }

    const IatPatch m_Move{Program(), "kernel32.dll", "MoveFileExW", MoveRecorded};
};

const NameList kAllMoves = {L"@\\WyAuTemp\\a to @\\Wy\\a, 5", L"@\\WyAuTemp\\sub to @\\Wy\\sub, 4",
                            L"@\\WyAuTemp\\sub\\b to @\\Wy\\sub\\b, 5", L"@\\WyAuTemp\\sub, 4",
                            L"@\\WyAuTemp, 4"};

constexpr wchar_t kStart[] = L"1 WySdk: [INFO] Param is correct, now start AU process";
constexpr wchar_t kCopy[] = L"1 WySdk: [INFO] Call CopyDirectory. Temp au file folder: @\\WyAuTemp";
constexpr wchar_t kMove[] = L"1 WySdk: [INFO] Call MoveAllFilesAfterReboot";
constexpr wchar_t kComplete[] = L"1 WySdk: [INFO] AU process complete";

TEST(UpdateFolders, temporary_folder_lies_beside_the_product_with_its_name) {
    const struct {
        std::wstring product;
        std::wstring temporary;
    } rows[] = {
        {L"C:\\P\\Wy\\", L"C:\\P\\WyAuTemp"},         {L"C:\\P\\Wy", L"C:\\P\\WyAuTemp"},
        {L"C:\\P\\Wy\\\\", L"C:\\P\\Wy\\AuTemp"},     {L"C:\\P\\W y.1", L"C:\\P\\W y.1AuTemp"},
        {L"C:\\P\\\u00e4\\", L"C:\\P\\\u00e4AuTemp"}, {L"", L"AuTemp"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TemporaryFolder(row.product), row.temporary);
}

TEST_F(UpdateDeployTest, null_is_refused) {
    EXPECT_EQ(Deploy(nullptr, At(L"Wy")), 0xe0ff0007U);
    EXPECT_EQ(LogLines(), Lines{L"256 WySdk: [ERROR] Invalid param..."});
    EXPECT_EQ(Names(), (NameList{L"Wy", L"dl"}));
    EXPECT_EQ(s_Moves, NameList{});
}

TEST_F(UpdateDeployTest, path_that_does_not_exist_is_refused) {
    for (const std::wstring& path : {At(L"missing"), At(L"missing\\"), At(L"no\\folder"),
                                     std::wstring(), std::wstring(L"\\"), At(L"dl\\\\\\")}) {
        m_Log.Clear();
        EXPECT_EQ(Deploy(path.c_str(), At(L"Wy")), 0xe0ff0002U) << path;
        EXPECT_EQ(OwnLines(), Lines{L"256 WySdk: [ERROR] Invalid download path..."}) << path;
    }
    EXPECT_EQ(Names(), (NameList{L"Wy", L"dl"}));
    EXPECT_EQ(s_Moves, NameList{});
}

TEST_F(UpdateDeployTest, backslashes_at_the_ends_do_not_count) {
    for (const wchar_t* download : {L"dl", L"dl\\"}) {
        for (const wchar_t* product : {L"Wy", L"Wy\\"}) {
            SCOPED_TRACE(std::wstring(download) + L" " + product);
            Refuse(L"", 0);
            EXPECT_EQ(Deploy(At(download).c_str(), At(product)), kSuccess);
            EXPECT_EQ(s_Moves, kAllMoves);
            EXPECT_EQ(Content(L"WyAuTemp\\a"), "new a");
            EXPECT_EQ(Content(L"WyAuTemp\\sub\\b"), "new b");
            EXPECT_EQ(Content(L"Wy\\a"), "old");
        }
    }
    EXPECT_EQ(Names(), (NameList{L"Wy", L"WyAuTemp", L"dl"}));
}

TEST_F(UpdateDeployTest, success_leaves_the_lines_of_each_step) {
    EXPECT_EQ(Deploy(At(L"dl").c_str(), At(L"Wy")), kSuccess);
    EXPECT_EQ(
        LogLines(),
        (Lines{kStart, kCopy, L"1 [Enter] WyCommon::Utility::CopyDirectory()...",
               L"16 ::CopyFile(@\\dl\\a, @\\WyAuTemp\\a, 0) succeed.",
               L"1 [Enter] WyCommon::Utility::CopyDirectory()...",
               L"16 ::CopyFile(@\\dl\\sub\\b, @\\WyAuTemp\\sub\\b, 0) succeed.",
               L"1 [Leave] WyCommon::Utility::CopyDirectory()...",
               L"1 [Leave] WyCommon::Utility::CopyDirectory()...", kMove,
               L"1 ::MoveFileEx src dir: @\\WyAuTemp\\a, dst dir: @\\Wy\\a",
               L"1 ::MoveFileEx src dir: @\\WyAuTemp\\sub, dst dir: @\\Wy\\sub",
               L"1 ::MoveFileEx src dir: @\\WyAuTemp\\sub\\b, dst dir: @\\Wy\\sub\\b", kComplete}));
    EXPECT_EQ(m_Log.Lines()[0].file, "UpdateDeploy");
}

TEST_F(UpdateDeployTest, copy_that_fails_gives_the_systems_code_and_keeps_what_was_copied) {
    const struct {
        DWORD code;
        std::uint32_t result;
        const wchar_t* text;
    } rows[] = {
        {ERROR_ACCESS_DENIED, 0xe0fe0005, L"0xe0fe0005"},
        {ERROR_DISK_FULL, 0xe0fe0070, L"0xe0fe0070"},
        {0x12345678, 0xe0fe5678, L"0xe0fe5678"},
    };
    const IatPatch patch(Program(), "kernel32.dll", "CopyFileW", CopyUnlessRefused);
    for (const auto& row : rows) {
        m_Log.Clear();
        Refuse(L"\\sub\\b", row.code);
        EXPECT_EQ(Deploy(At(L"dl").c_str(), At(L"Wy")), row.result);
        EXPECT_EQ(OwnLines(),
                  (Lines{kStart, kCopy,
                         std::wstring(L"256 WySdk: [ERROR] Copy download package to temp folder "
                                      L"fail, retCode = ") +
                             row.text}));
        EXPECT_EQ(Names(L"WyAuTemp"), (NameList{L"a", L"sub"}));
        EXPECT_EQ(Names(L"WyAuTemp\\sub"), NameList{});
        EXPECT_EQ(s_Moves, NameList{});
    }
}

TEST_F(UpdateDeployTest, download_that_is_a_file_cannot_be_copied) {
    const std::uint32_t result = Deploy(At(L"dl\\a").c_str(), At(L"Wy"));
    EXPECT_EQ(result & 0xffff0000, 0xe0fe0000) << std::hex << result;
    EXPECT_NE(result & 0xffff, 0U);
    EXPECT_TRUE(IsMissing(L"WyAuTemp"));
    EXPECT_EQ(s_Moves, NameList{});
}

TEST_F(UpdateDeployTest, folder_that_cannot_be_listed_for_the_move_gives_its_code) {
    const struct {
        DWORD code;
        std::uint32_t result;
        const wchar_t* text;
    } rows[] = {
        {ERROR_ACCESS_DENIED, 0xe0fe0005, L"0xe0fe0005"},
        {0x23456789, 0xe0fe6789, L"0xe0fe6789"},
    };
    const IatPatch patch(Program(), "kernel32.dll", "FindFirstFileW", FindUnlessRefused);
    for (const auto& row : rows) {
        m_Log.Clear();
        Refuse(L"WyAuTemp\\*", row.code);
        EXPECT_EQ(Deploy(At(L"dl").c_str(), At(L"Wy")), row.result);
        EXPECT_EQ(
            OwnLines(),
            (Lines{kStart, kCopy, kMove,
                   std::wstring(L"256 WySdk: [ERROR] MoveAllFilesAfterReboot fail, retCode = ") +
                       row.text}));
        EXPECT_EQ(s_Moves, NameList{});
        EXPECT_EQ(Content(L"WyAuTemp\\sub\\b"), "new b");
    }
}

TEST_F(UpdateDeployTest, move_that_is_refused_is_left_out) {
    Refuse(L"WyAuTemp\\a", ERROR_ACCESS_DENIED);
    EXPECT_EQ(Deploy(At(L"dl").c_str(), At(L"Wy")), kSuccess);
    EXPECT_EQ(s_Moves, kAllMoves);
    EXPECT_EQ(OwnLines(), (Lines{kStart, kCopy, kMove, kComplete}));
    EXPECT_EQ(m_Log.CountContaining(L"::MoveFileEx failed with error 5"), 1U);
}

TEST_F(UpdateDeployTest, removal_that_is_refused_is_logged) {
    Refuse(L"WyAuTemp", ERROR_ACCESS_DENIED);
    EXPECT_EQ(Deploy(At(L"dl").c_str(), At(L"Wy")), kSuccess);
    EXPECT_EQ(s_Moves, kAllMoves);
    EXPECT_EQ(OwnLines(), (Lines{kStart, kCopy, kMove,
                                 L"16 WySdk: [WARN] Folder stays after the restart, error = 5, "
                                 L"@\\WyAuTemp",
                                 kComplete}));
}

TEST_F(UpdateDeployTest, what_an_earlier_failure_left_is_taken_along) {
    PutFolder(L"WyAuTemp");
    PutFolder(L"WyAuTemp\\left");
    PutFile(L"WyAuTemp\\left\\c");
    EXPECT_EQ(Deploy(At(L"dl").c_str(), At(L"Wy")), kSuccess);
    EXPECT_EQ(
        s_Moves,
        (NameList{L"@\\WyAuTemp\\a to @\\Wy\\a, 5", L"@\\WyAuTemp\\left to @\\Wy\\left, 4",
                  L"@\\WyAuTemp\\left\\c to @\\Wy\\left\\c, 5",
                  L"@\\WyAuTemp\\sub to @\\Wy\\sub, 4", L"@\\WyAuTemp\\sub\\b to @\\Wy\\sub\\b, 5",
                  L"@\\WyAuTemp\\sub, 4", L"@\\WyAuTemp\\left, 4", L"@\\WyAuTemp, 4"}));
}

TEST_F(UpdateDeployTest, without_a_product_path_the_copies_go_to_the_present_folder_and_stay) {
    wchar_t before[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, before);
    ASSERT_NE(SetCurrentDirectoryW(At().c_str()), 0);
    EXPECT_EQ(Deploy(At(L"dl").c_str(), L""), kSuccess);
    SetCurrentDirectoryW(before);
    EXPECT_EQ(Content(L"AuTemp\\sub\\b"), "new b");
    EXPECT_EQ(s_Moves, NameList{});
}

}  // namespace
