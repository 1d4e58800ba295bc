// Deployments to this machine: files of all kinds and states, with what they leave on the disk.

#include <fstream>

#include "support/PendingMoves_win32.h"
#include "support/ProcessFigures.h"
#include "unit/deploy/SystemDeployment_win32.h"

namespace {

using deploy_test::DeployerLines;
using deploy_test::Lines;
using deploy_test::WithHeadings;
using test_support::LockedFile;
using test_support::NameList;
using test_support::PendingMoves;
using test_support::PendingMovesSince;
using WyDeployHelper::DeployCommon::CWyDeployer;
using Moves = std::vector<test_support::PendingMove>;

using DeployedFiles = deploy_test::SystemDeployment;

// ---- versions

TEST_F(DeployedFiles, overwrite_rule_with_versions_of_real_files) {
    const struct {
        const wchar_t* name;
        std::uint32_t source[2];
        std::uint32_t target[2];
        const wchar_t* overwrite;
        bool copied;
    } rows[] = {
        {L"a.dll", {1, 1}, {1, 1}, L"yes", false},
        {L"a.dll", {1, 2}, {1, 1}, L"yes", true},
        {L"a.dll", {1, 2}, {1, 1}, L"", false},
        {L"a.dll", {1, 0}, {1, 1}, L"yes", false},
        {L"a.exe", {2, 0}, {1, 9}, L"YES", true},
        {L"a.exe", {1, 9}, {2, 0}, L"yes", false},
        {L"A.EXE", {2, 2}, {2, 2}, L"yes", false},
        {L"a.dll", {0x80000000, 0}, {0x7fffffff, 0}, L"yes", true},
        {L"a.dat", {1, 1}, {1, 1}, L"yes", true},
        {L"a.dat", {1, 1}, {2, 1}, L"yes", true},
        {L"a.dat", {2, 1}, {1, 1}, L"no", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.name << row.source[0] << L"." << row.source[1]);
        const std::wstring source = std::wstring(L"p\\") + row.name;
        const std::wstring target = std::wstring(L"i\\") + row.name;
        PutVersioned(source, row.source[0], row.source[1]);
        PutVersioned(target, row.target[0], row.target[1]);
        // Tells a copy of an equal file, too: behind the end of what is read.
        std::ofstream(At(source).c_str(), std::ios::binary | std::ios::app) << "new";
        EXPECT_TRUE(DeployFile({L"", L"write", row.overwrite, row.name, L"", L"", L""}));
        EXPECT_EQ(Content(target).ends_with("new"), row.copied);
        DeleteFileW(At(target).c_str());
    }
}

TEST_F(DeployedFiles, files_without_a_version_are_replaced) {
    PutFile(L"p\\a.dll", "new");
    PutFile(L"i\\a.dll", "old");
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.dll", L"", L"", L""}));
    EXPECT_EQ(Content(L"i\\a.dll"), "new");
    // The newest of versions does not stand against that.
    PutVersioned(L"i\\a.dll", 9, 9);
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.dll", L"", L"", L""}));
    EXPECT_EQ(Content(L"i\\a.dll"), "new");
    PutVersioned(L"p\\a.dll", 1, 0);
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.dll", L"", L"", L""}));
    EXPECT_NE(Content(L"i\\a.dll"), "new");
}

TEST_F(DeployedFiles, key_module_stands_for_its_folder) {
    PutFolder(L"p\\d");
    PutFolder(L"i\\d");
    PutFile(L"p\\d\\x", "new");
    PutFile(L"i\\d\\x", "old");
    PutFile(L"i\\d\\own");
    PutVersioned(L"p\\d\\k.dll", 1, 1);
    PutVersioned(L"i\\d\\k.dll", 1, 1);
    EXPECT_TRUE(DeployFolder({L"", L"write", L"yes", L"k.dll", L"d", L"d", L""}));
    EXPECT_EQ(Content(L"i\\d\\x"), "old");
    PutVersioned(L"p\\d\\k.dll", 1, 2);
    EXPECT_TRUE(DeployFolder({L"", L"write", L"yes", L"k.dll", L"d", L"d", L""}));
    EXPECT_EQ(Content(L"i\\d\\x"), "new");
    EXPECT_EQ(Names(L"i\\d"), (NameList{L"k.dll", L"own", L"x"}));
    EXPECT_EQ(LastLine(), L"1 Deploy Module files...");
}

// ---- files

TEST_F(DeployedFiles, folders_are_made_and_copies_can_be_written) {
    PutFolder(L"p\\s");
    PutFile(L"p\\s\\a", "a", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"a", L"s", L"x\\y\\z", L""}));
    EXPECT_EQ(Content(L"i\\x\\y\\z\\a"), "a");
    EXPECT_FALSE(IsReadOnly(L"i\\x\\y\\z\\a"));
    EXPECT_TRUE(IsReadOnly(L"p\\s\\a"));
}

TEST_F(DeployedFiles, read_only_target_is_replaced_and_deleted) {
    PutFile(L"p\\a", "new");
    PutFile(L"i\\a", "old", FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a", L"", L"", L""}));
    EXPECT_EQ(Content(L"i\\a"), "new");
    EXPECT_FALSE(IsReadOnly(L"i\\a"));

    ASSERT_NE(SetFileAttributesW(At(L"i\\a").c_str(), FILE_ATTRIBUTE_READONLY), 0);
    const Moves before = PendingMoves();
    EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"a", L"", L"", L""}));
    EXPECT_TRUE(IsMissing(L"i\\a"));
    EXPECT_EQ(PendingMovesSince(before), Moves{});
    EXPECT_EQ(LastLine(), L"1 KrCommon::Storage::File::Delete:  File Name: a TargetDir: @\\i\\");
    EXPECT_TRUE(IsFile(L"p\\a"));
}

TEST_F(DeployedFiles, locked_file_is_left_to_the_next_start_and_the_pass_goes_on) {
    PutFile(L"i\\a");
    PutFile(L"i\\b");
    const LockedFile lock(At(L"i\\a"));
    const Moves before = PendingMoves();
    CWyDeployer deployer;
    deployer.files = {{L"", L"delete", L"", L"a", L"", L"", L""},
                      {L"", L"delete", L"", L"b", L"", L"", L""}};
    EXPECT_TRUE(Deploy(deployer));
    EXPECT_EQ(Names(L"i"), NameList{L"a"});
    EXPECT_EQ(PendingMovesSince(before), (Moves{{L"\\??\\" + At(L"i\\a"), L""}}));
    EXPECT_EQ(DeployerLines(m_Log)[6], L"16 KrCommon::Storage::File::Delete() failed: 0x20");
}

TEST_F(DeployedFiles, locked_target_of_a_copy_is_a_failure) {
    PutFile(L"p\\a", "new");
    PutFile(L"i\\a", "old");
    const LockedFile lock(At(L"i\\a"));
    EXPECT_FALSE(DeployFile({L"", L"write", L"yes", L"a", L"", L"", L""}));
    EXPECT_EQ(Content(L"i\\a"), "old");
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
    EXPECT_FALSE(DeployFolder({L"", L"write", L"yes", L"", L"", L"", L""}));
    EXPECT_EQ(LastLine(), L"256 Copy folder failed...");
    // What is not to be replaced does not matter.
    EXPECT_TRUE(DeployFile({L"", L"write", L"no", L"a", L"", L"", L""}));
}

TEST_F(DeployedFiles, patterns) {
    PutFile(L"p\\a.txt");
    PutFile(L"p\\b.txt");
    PutFile(L"p\\c.dat");
    PutFolder(L"p\\d.txt");
    PutFolder(L"p\\hidden.txt", FILE_ATTRIBUTE_HIDDEN);
    PutFile(L"i\\own.txt");
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"*.none", L"", L"", L""}));
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"*", L"missing", L"", L""}));
    EXPECT_EQ(Names(L"i"), NameList{L"own.txt"});
    // A folder with one more attribute is listed like a file, but never copied.
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"*.txt", L"", L"", L""}));
    EXPECT_EQ(Names(L"i"), (NameList{L"a.txt", L"b.txt", L"own.txt"}));
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"*", L"", L"", L""}));
    EXPECT_EQ(Names(L"i"), (NameList{L"a.txt", L"b.txt", L"c.dat", L"own.txt"}));
    // Of the target only what the package holds, too.
    EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"*.txt", L"", L"", L""}));
    EXPECT_EQ(Names(L"i"), (NameList{L"c.dat", L"own.txt"}));
    // One name, which the system takes for a pattern.
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"?.txt", L"", L"", L""}));
    EXPECT_EQ(Names(L"i"), (NameList{L"a.txt", L"b.txt", L"c.dat", L"own.txt"}));
}

TEST_F(DeployedFiles, names_that_stand_in_the_way) {
    PutFile(L"p\\a");
    PutFolder(L"p\\d");
    PutFile(L"p\\d\\x");
    PutFolder(L"i\\a");
    PutFile(L"i\\t");
    PutFile(L"i\\d");
    // A folder where a file is wanted, a file where a folder is.
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"a", L"", L"", L""}));
    EXPECT_FALSE(DeployFile({L"", L"write", L"yes", L"a", L"", L"", L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
    EXPECT_FALSE(DeployFile({L"", L"write", L"", L"a", L"", L"t", L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
    EXPECT_FALSE(DeployFolder({L"", L"write", L"yes", L"", L"d", L"d", L""}));
    EXPECT_EQ(LastLine(), L"256 Copy folder failed...");
    EXPECT_FALSE(DeployFolder({L"", L"write", L"", L"", L"a", L"u", L""}));
    EXPECT_EQ(LastLine(), L"256 Copy folder failed...");
    // A file that is to go as a folder cannot be listed.
    EXPECT_FALSE(DeployFolder({L"", L"delete", L"", L"", L"", L"d", L""}));
    EXPECT_TRUE(LastLine().starts_with(
        L"256 KrCommon::Storage::File::DeleteAllFiles failed! tstrTargetDir: @\\i\\d\\ "
        L"dwErrorCode="));
    EXPECT_EQ(Names(L"i"), (NameList{L"a", L"d", L"t"}));
}

// ---- folders

TEST_F(DeployedFiles, folders_are_copied_whole_and_deleted_whole) {
    PutFolder(L"p\\d");
    PutFolder(L"p\\d\\e");
    PutFile(L"p\\d\\e\\x", "x", FILE_ATTRIBUTE_READONLY);
    PutFile(L"p\\d\\y");
    EXPECT_TRUE(DeployFolder({L"", L"write", L"", L"", L"d", L"t\\u", L""}));
    EXPECT_EQ(Content(L"i\\t\\u\\e\\x"), "x");
    EXPECT_FALSE(IsReadOnly(L"i\\t\\u\\e\\x"));
    const Moves before = PendingMoves();
    EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", L"t\\u", L""}));
    EXPECT_EQ(Names(L"i\\t"), NameList{});
    // The folder itself where none is named.
    EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", L"", L""}));
    EXPECT_TRUE(IsMissing(L"i"));
    EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", L"", L""}));
    EXPECT_EQ(PendingMovesSince(before), Moves{});
    EXPECT_EQ(LastLine(), L"1 Deploy Module files...");
}

TEST_F(DeployedFiles, folder_with_a_locked_file_goes_at_the_next_start) {
    PutFolder(L"i\\t");
    PutFile(L"i\\t\\a");
    PutFile(L"i\\t\\b");
    const LockedFile lock(At(L"i\\t\\a"));
    const Moves before = PendingMoves();
    EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", L"t", L""}));
    EXPECT_EQ(Names(L"i\\t"), NameList{L"a"});
    EXPECT_EQ(PendingMovesSince(before),
              (Moves{{L"\\??\\" + At(L"i\\t\\a"), L""}, {L"\\??\\" + At(L"i\\t"), L""}}));
}

// ---- what a manifest may ask for

TEST_F(DeployedFiles, parent_folders_lead_out_of_package_and_product) {
    PutFile(L"outside");
    PutFolder(L"other");
    PutFile(L"other\\x");
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"outside", L"..", L"", L""}));
    EXPECT_EQ(Names(L"i"), NameList{L"outside"});
    // A name with folders in it is found, but not copied.
    EXPECT_FALSE(DeployFile({L"", L"write", L"yes", L"..\\outside", L"", L"sub", L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
    EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"x", L"", L"..\\other", L""}));
    EXPECT_TRUE(IsMissing(L"other\\x"));
    EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"..\\outside", L"", L"", L""}));
    EXPECT_TRUE(IsMissing(L"outside"));
    EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", L"..\\other", L""}));
    EXPECT_TRUE(IsMissing(L"other"));
}

TEST_F(DeployedFiles, paths_that_no_file_has) {
    PutFile(L"p\\a");
    const std::wstring absolute = At(L"p");
    const std::wstring paths[] = {absolute,
                                  L"\\\\.\\" + absolute,
                                  L"\\\\?\\" + absolute,
                                  L"a<b",
                                  L"a|b",
                                  L"a\"b",
                                  L"\x01",
                                  std::wstring(300, L'n'),
                                  L"c:",
                                  L"\\\\server\\share"};
    for (const std::wstring& path : paths) {
        SCOPED_TRACE(testing::Message() << path);
        // A source of this name is missing.
        EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a", path, L"", L""}));
        EXPECT_TRUE(LastLine().starts_with(L"16 Does not exist this file...Path: @\\p\\"));
        EXPECT_TRUE(DeployFolder({L"", L"write", L"yes", L"", path, L"", L""}));
        EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"a", L"", path, L""}));
        EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", path, L""}));
        EXPECT_EQ(Names(L"i"), NameList{});
        EXPECT_EQ(Names(L"p"), NameList{L"a"});
    }
    // A target of such a name cannot be written. (Wine makes a folder "C:".)
    for (const std::wstring& path : {std::wstring(L"a|b\\d"), std::wstring(300, L'n')}) {
        SCOPED_TRACE(testing::Message() << path);
        EXPECT_FALSE(DeployFile({L"", L"write", L"", L"a", L"", path, L""}));
        EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
    }
}

// ---- what stays

TEST_F(DeployedFiles, nothing_is_held_when_a_pass_is_over) {
    PutFolder(L"p\\d");
    PutFile(L"p\\d\\x");
    PutFile(L"p\\a.txt");
    PutVersioned(L"p\\b.dll", 1, 1);
    PutFile(L"i\\locked");
    const LockedFile lock(At(L"i\\locked"));
    CWyDeployer deployer;
    deployer.registryKeys = {{L"", L"create", L"HKCU", L"Software\\WyDeployerTest", L""},
                             {L"", L"delete", L"HKCU", L"Software\\WyDeployerTest", L""}};
    deployer.registryValues = {
        {L"", L"write", L"yes", L"HKCU", L"Software\\WyDeployerTest", L"n", L"1", L"dword", L""},
        {L"", L"delete", L"", L"HKCU", L"Software\\WyDeployerTest", L"n", L"", L"", L""}};
    deployer.folders = {{L"", L"write", L"yes", L"", L"d", L"d", L""},
                        {L"", L"delete", L"", L"", L"", L"d", L""}};
    deployer.files = {{L"", L"write", L"yes", L"*.*", L"", L"", L""},
                      {L"", L"write", L"yes", L"b.dll", L"", L"", L""},
                      // Ends the pass
                      {L"", L"write", L"yes", L"a.txt", L"", L"locked", L""}};
    EXPECT_FALSE(Deploy(deployer));
    const auto before = test_support::ProcessFigures::Now();
    for (int i = 0; i < 20; ++i)
        EXPECT_FALSE(Deploy(deployer));
    EXPECT_EQ((test_support::ProcessFigures::Now() - before).handles, 0);
    DeployKey({L"", L"delete", L"HKCU", L"Software\\WyDeployerTest", L""});
}

}  // namespace
