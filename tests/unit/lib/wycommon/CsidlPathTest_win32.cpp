// Folder tokens against the folders of the system.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_CsidlTokens.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/IatPatch.h"

#include <shlobj.h>

namespace {

using test_support::IatPatch;
using WyCommon::Utility::ExpandCsidlPath;

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

// One row for each name, with the value that the system's header gives it.
#define WY_ROW(name) \
    { L## #name, name }
const struct {
    const wchar_t* name;
    int folder;
} kHeader[] = {
    WY_ROW(CSIDL_APPDATA),
    WY_ROW(CSIDL_BITBUCKET),
    WY_ROW(CSIDL_COMMON_APPDATA),
    WY_ROW(CSIDL_COMMON_DESKTOPDIRECTORY),
    WY_ROW(CSIDL_COMMON_DOCUMENTS),
    WY_ROW(CSIDL_COMMON_FAVORITES),
    WY_ROW(CSIDL_COMMON_MUSIC),
    WY_ROW(CSIDL_COMMON_PICTURES),
    WY_ROW(CSIDL_COMMON_PROGRAMS),
    WY_ROW(CSIDL_COMMON_STARTMENU),
    WY_ROW(CSIDL_COMMON_STARTUP),
    WY_ROW(CSIDL_COMMON_TEMPLATES),
    WY_ROW(CSIDL_COMMON_VIDEO),
    WY_ROW(CSIDL_COMPUTERSNEARME),
    WY_ROW(CSIDL_COOKIES),
    WY_ROW(CSIDL_DESKTOP),
    WY_ROW(CSIDL_DESKTOPDIRECTORY),
    WY_ROW(CSIDL_FAVORITES),
    WY_ROW(CSIDL_HISTORY),
    WY_ROW(CSIDL_INTERNET),
    WY_ROW(CSIDL_INTERNET_CACHE),
    WY_ROW(CSIDL_LOCAL_APPDATA),
    WY_ROW(CSIDL_MYDOCUMENTS),
    WY_ROW(CSIDL_MYMUSIC),
    WY_ROW(CSIDL_MYPICTURES),
    WY_ROW(CSIDL_MYVIDEO),
    WY_ROW(CSIDL_PROFILE),
    WY_ROW(CSIDL_PROGRAMS),
    WY_ROW(CSIDL_PROGRAM_FILES),
    WY_ROW(CSIDL_PROGRAM_FILESX86),
    WY_ROW(CSIDL_PROGRAM_FILES_COMMON),
    WY_ROW(CSIDL_PROGRAM_FILES_COMMONX86),
    WY_ROW(CSIDL_RECENT),
    WY_ROW(CSIDL_STARTMENU),
    WY_ROW(CSIDL_STARTUP),
    WY_ROW(CSIDL_SYSTEM),
    WY_ROW(CSIDL_SYSTEMX86),
    WY_ROW(CSIDL_WINDOWS),
};
#undef WY_ROW

TEST(CsidlPath, values_are_those_of_the_systems_header) {
    EXPECT_EQ(WyCommon::Csidl::Tokens().size(), std::size(kHeader));
    for (const auto& row : kHeader)
        EXPECT_EQ(WyCommon::Csidl::FindFolder(row.name), row.folder) << row.name;
}

TEST(CsidlPath, each_token_is_the_folder_that_the_system_tells) {
    int told = 0;
    for (const auto& row : kHeader) {
        wchar_t folder[MAX_PATH] = {};
        const bool known = SUCCEEDED(SHGetFolderPathW(nullptr, row.folder, nullptr, 0, folder));
        const std::wstring token = std::wstring(L"#") + row.name + L'#';
        EXPECT_EQ(ExpandCsidlPath(token + L"\\rest"), (known ? folder : token) + L"\\rest");
        told += known ? 1 : 0;
    }
    EXPECT_GE(told, 30) << "the comparison would be of nothing";
}

// ---- what is asked of the system

struct Question {
    HWND window;
    int folder;
    HANDLE token;
    DWORD flags;
};
std::vector<Question> s_Asked;
HRESULT s_hResult = S_OK;

HRESULT WINAPI FolderGiven(HWND window, int folder, HANDLE token, DWORD flags, LPWSTR path) {
    s_Asked.push_back({window, folder, token, flags});
    wcscpy(path, L"X:\\given");
    return s_hResult;
}

TEST(CsidlPath, users_folder_is_asked_for_with_the_token_of_the_user_at_the_console) {
    s_Asked.clear();
    s_hResult = S_OK;
    const IatPatch patch(Program(), "shell32.dll", "SHGetFolderPathW", FolderGiven);
    EXPECT_EQ(ExpandCsidlPath(L"a#CSIDL_LOCAL_APPDATA#b"), L"aX:\\givenb");
    ASSERT_EQ(s_Asked.size(), 1U);
    EXPECT_EQ(s_Asked[0].window, nullptr);
    EXPECT_EQ(s_Asked[0].folder, 0x1c);
    EXPECT_NE(s_Asked[0].token, nullptr);
    EXPECT_EQ(s_Asked[0].flags, 0U);
    DWORD flags = 0;
    EXPECT_EQ(GetHandleInformation(s_Asked[0].token, &flags), 0) << "the token was left open";
}

TEST(CsidlPath, call_that_fails_leaves_the_text) {
    const IatPatch patch(Program(), "shell32.dll", "SHGetFolderPathW", FolderGiven);
    for (const HRESULT result : {E_FAIL, E_INVALIDARG, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)}) {
        s_hResult = result;
        EXPECT_EQ(ExpandCsidlPath(L"#CSIDL_SYSTEM#\\a"), L"#CSIDL_SYSTEM#\\a");
    }
    s_hResult = S_FALSE;  // a success: the folder does not exist
    EXPECT_EQ(ExpandCsidlPath(L"#CSIDL_SYSTEM#\\a"), L"X:\\given\\a");
}

TEST(CsidlPath, text_without_a_known_token_asks_nothing) {
    s_Asked.clear();
    const IatPatch patch(Program(), "shell32.dll", "SHGetFolderPathW", FolderGiven);
    for (const wchar_t* text : {L"", L"#", L"#CSIDL_SYSTEM", L"#CSIDL_NOTHING#", L"##"})
        EXPECT_EQ(ExpandCsidlPath(text), text);
    EXPECT_TRUE(s_Asked.empty());
}

}  // namespace
