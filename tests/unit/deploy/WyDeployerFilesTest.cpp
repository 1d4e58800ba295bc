// The items of a deployment that are folders and files, and the rule of versions.

#include <gtest/gtest.h>

#include <string>

#include "deploy/WyDeployer.h"
#include "support/LogRecorder.h"
#include "unit/deploy/NotedMachine.h"

namespace {

using deploy_test::DeployerLines;
using deploy_test::FileVersion;
using deploy_test::First;
using deploy_test::Lines;
using deploy_test::NotedMachine;
using deploy_test::VersionAnswer;
using deploy_test::WithHeadings;
using test_support::LogRecorder;
using WyDeployHelper::DeployCommon::CWyDeployer;
using WyDeployHelper::DeployCommon::FileRecord;

// A package in "p" and a product in "i".
class WyDeployerItems : public testing::Test {
protected:
    bool Deploy(const std::wstring& packageDir = L"p", const std::wstring& installDir = L"i") {
        m_Machine.steps.clear();
        m_Machine.asked.clear();
        m_Log.Clear();
        return m_Deployer.Deploy(packageDir, installDir);
    }
    bool DeployFile(const FileRecord& record) {
        m_Deployer.files = {record};
        return Deploy();
    }
    bool DeployFolder(const FileRecord& record) {
        m_Deployer.folders = {record};
        return Deploy();
    }
    // The lines behind the record's own, which is checked by the way.
    Lines LinesOfItem() const {
        Lines lines = DeployerLines(m_Log);
        std::erase_if(lines, [](const std::wstring& line) { return line.ends_with(L"s..."); });
        std::erase_if(lines, [](const std::wstring& line) {
            return line == L"1 Deploy Registry Key..." || line == L"1 Deploy Registry Value...";
        });
        EXPECT_TRUE(!lines.empty() && lines[0].starts_with(L"1 Id: "));
        if (!lines.empty())
            lines.erase(lines.begin());
        return lines;
    }

    NotedMachine m_Machine;
    CWyDeployer m_Deployer{m_Machine};
    LogRecorder m_Log;
};

// ---- paths

TEST_F(WyDeployerItems, paths_get_separators_where_they_lack) {
    const struct {
        const wchar_t* package;
        const wchar_t* source;
        const wchar_t* install;
        const wchar_t* target;
        const wchar_t* copied;
    } rows[] = {
        {L"C:\\p", L"s", L"C:\\i", L"t", L"C:\\p\\s\\ C:\\i\\t\\"},
        {L"C:\\p\\", L"s\\", L"C:\\i\\", L"t\\", L"C:\\p\\s\\ C:\\i\\t\\"},
        {L"C:\\p", L"", L"C:\\i", L"", L"C:\\p\\ C:\\i\\"},
        {L"C:\\p\\", L"", L"C:\\i\\", L"", L"C:\\p\\ C:\\i\\"},
        {L"C:\\p", L"s\\u", L"C:\\i", L"t\\u\\v", L"C:\\p\\s\\u\\ C:\\i\\t\\u\\v\\"},
        {L"", L"s", L"", L"t", L"s\\ t\\"},
        {L"", L"s\\", L"C:\\i", L"", L"s\\ C:\\i\\"},
        // Nothing is mended, and nothing is kept inside the two folders.
        {L"C:\\p", L"\\s", L"C:\\i", L"\\\\t", L"C:\\p\\\\s\\ C:\\i\\\\\\t\\"},
        {L"C:\\p", L"s/u", L"C:\\i", L"t/", L"C:\\p\\s/u\\ C:\\i\\t/\\"},
        {L"C:\\p", L"..\\..", L"C:\\i", L"..", L"C:\\p\\..\\..\\ C:\\i\\..\\"},
        {L"C:\\p", L"D:\\s", L"C:\\i", L"D:\\t", L"C:\\p\\D:\\s\\ C:\\i\\D:\\t\\"},
        {L"C:\\p", L"\\\\.\\COM1", L"C:\\i", L"\\\\?\\C:\\t",
         L"C:\\p\\\\\\.\\COM1\\ C:\\i\\\\\\?\\C:\\t\\"},
        {L"C:\\p", L"a<b|c", L"C:\\i", L"nul", L"C:\\p\\a<b|c\\ C:\\i\\nul\\"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.copied);
        m_Deployer.folders = {{L"", L"write", L"", L"", row.source, row.target, L""}};
        m_Deployer.files = {{L"", L"write", L"", L"n", row.source, row.target, L""}};
        const std::wstring both = row.copied;
        const std::size_t blank = both.find(L' ');
        const std::wstring source = both.substr(0, blank);
        const std::wstring target = both.substr(blank + 1);
        m_Machine.existing = {source.substr(0, source.size() - 1), source + L"n"};
        EXPECT_TRUE(Deploy(row.package, row.install));
        EXPECT_EQ(m_Machine.steps,
                  (Lines{L"copy folder " + both, L"make " + target,
                         L"copy new " + source + L" n " + target, L"writable " + target + L"n"}));
        // Names without a "\" at their end.
        EXPECT_EQ(m_Machine.asked,
                  (Lines{source.substr(0, source.size() - 1), target.substr(0, target.size() - 1),
                         source + L"n", target + L"n"}));
    }
}

TEST_F(WyDeployerItems, no_path_at_all_is_nothing_that_exists) {
    m_Deployer.folders = {{L"", L"write", L"", L"", L"", L"", L""},
                          {L"", L"delete", L"", L"", L"", L"", L""}};
    m_Deployer.files = {{L"", L"write", L"", L"", L"", L"", L""},
                        {L"", L"delete", L"", L"", L"", L"", L""}};
    EXPECT_TRUE(Deploy(L"", L""));
    EXPECT_EQ(m_Machine.steps, Lines{});
    EXPECT_EQ(m_Machine.asked, (Lines{L"", L"", L"", L"", L"", L""}));
}

TEST_F(WyDeployerItems, whole_drive_is_asked_for_by_a_name_that_is_never_found) {
    m_Deployer.folders = {{L"", L"delete", L"", L"", L"", L"", L""}};
    EXPECT_TRUE(Deploy(L"C:\\", L"D:\\"));
    EXPECT_EQ(m_Machine.asked, (Lines{L"C:\\", L"D:\\"}));
    EXPECT_EQ(m_Machine.steps, Lines{});
}

// ---- folders

TEST_F(WyDeployerItems, which_folders_are_copied) {
    const struct {
        const wchar_t* what;
        const wchar_t* overwrite;
        const wchar_t* keyModule;
        Lines existing;
        std::uint32_t source;  // versions of the key module, 0 for none
        std::uint32_t target;
        bool copied;
    } rows[] = {
        {L"new", L"", L"", {L"p\\s"}, 0, 0, true},
        {L"new, with a key", L"no", L"k.dll", {L"p\\s"}, 1, 9, true},
        {L"there", L"", L"", {L"p\\s", L"i\\t"}, 0, 0, false},
        {L"there, no", L"no", L"", {L"p\\s", L"i\\t"}, 0, 0, false},
        {L"there, not quite yes", L"yes ", L"", {L"p\\s", L"i\\t"}, 0, 0, false},
        {L"there, true", L"true", L"k.dll", {L"p\\s", L"i\\t"}, 9, 1, false},
        {L"overwrite", L"yes", L"", {L"p\\s", L"i\\t"}, 0, 0, true},
        {L"overwrite, other letters", L"YeS", L"", {L"p\\s", L"i\\t"}, 0, 0, true},
        {L"key not there yet", L"yes", L"k.dll", {L"p\\s", L"i\\t"}, 1, 9, true},
        {L"key newer", L"yes", L"k.dll", {L"p\\s", L"i\\t", L"i\\t\\k.dll"}, 2, 1, true},
        {L"key equal", L"yes", L"k.dll", {L"p\\s", L"i\\t", L"i\\t\\k.dll"}, 2, 2, false},
        {L"key older", L"yes", L"k.dll", {L"p\\s", L"i\\t", L"i\\t\\k.dll"}, 1, 2, false},
        {L"key without version", L"yes", L"k.dll", {L"p\\s", L"i\\t", L"i\\t\\k.dll"}, 1, 0, true},
        {L"key no program", L"yes", L"k.txt", {L"p\\s", L"i\\t", L"i\\t\\k.txt"}, 1, 2, true},
        {L"key below", L"yes", L"b\\k.exe", {L"p\\s", L"i\\t", L"i\\t\\b\\k.exe"}, 1, 2, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.what);
        m_Machine.existing = {row.existing.begin(), row.existing.end()};
        m_Machine.versions.clear();
        if (row.source != 0)
            m_Machine.versions[std::wstring(L"p\\s\\") + row.keyModule] = {row.source, 0};
        if (row.target != 0)
            m_Machine.versions[std::wstring(L"i\\t\\") + row.keyModule] = {row.target, 0};
        EXPECT_TRUE(DeployFolder({L"d", L"WRITE", row.overwrite, row.keyModule, L"s", L"t", L""}));
        EXPECT_EQ(m_Machine.steps, row.copied ? Lines{L"copy folder p\\s\\ i\\t\\"} : Lines{});
        EXPECT_EQ(DeployerLines(m_Log)[3], std::wstring(L"1 Id: d,Action: WRITE,Overwrite: ") +
                                               row.overwrite + L",KeyModule: " + row.keyModule +
                                               L",SourceDir: s,TargetDir: t,Platform: ");
    }
}

TEST_F(WyDeployerItems, folder_that_is_missing_is_a_warning) {
    m_Machine.existing = {L"i\\t"};
    EXPECT_TRUE(DeployFolder({L"", L"write", L"yes", L"", L"s", L"t", L""}));
    EXPECT_EQ(m_Machine.steps, Lines{});
    EXPECT_EQ(LinesOfItem(), Lines{L"16 Does not exist this folder...Path:p\\s\\"});
}

TEST_F(WyDeployerItems, folder_that_cannot_be_copied) {
    m_Machine.existing = {L"p\\s"};
    m_Machine.Refuse(L"copy", 5);
    EXPECT_FALSE(DeployFolder({L"", L"write", L"", L"", L"s", L"t", L""}));
    EXPECT_EQ(LinesOfItem(), Lines{L"256 Copy folder failed..."});
}

TEST_F(WyDeployerItems, how_folders_are_deleted) {
    const struct {
        const wchar_t* what;
        bool exists;
        bool rebootNeeded;
        const wchar_t* refused;
        bool result;
        Lines steps;
        Lines lines;
    } rows[] = {
        {L"none", false, false, L"", true, {}, {}},
        {L"whole", true, false, L"", true, {L"empty i\\t\\", L"remove folder i\\t"}, {}},
        {L"something stays", true, true, L"", true, {L"empty i\\t\\", L"at next start i\\t"}, {}},
        {L"folder stays",
         true,
         false,
         L"remove",
         true,
         {L"empty i\\t\\", L"remove folder i\\t", L"at next start i\\t"},
         {}},
        {L"cannot be marked",
         true,
         true,
         L"at next start",
         true,
         {L"empty i\\t\\", L"at next start i\\t"},
         {}},
        {L"cannot be listed",
         true,
         true,
         L"empty",
         false,
         {L"empty i\\t\\"},
         {L"256 KrCommon::Storage::File::DeleteAllFiles failed! tstrTargetDir: i\\t\\ "
          L"dwErrorCode=0x5"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.what);
        m_Machine.existing.clear();
        if (row.exists)
            m_Machine.existing.insert(L"i\\t");
        m_Machine.rebootNeeded = row.rebootNeeded;
        m_Machine.Refuse(row.refused, 5);
        // The source is looked for, but plays no part.
        EXPECT_EQ(DeployFolder({L"", L"Delete", L"", L"k.dll", L"s", L"t", L""}), row.result);
        EXPECT_EQ(m_Machine.asked, (Lines{L"p\\s", L"i\\t"}));
        EXPECT_EQ(m_Machine.steps, row.steps);
        EXPECT_EQ(LinesOfItem(), row.lines);
    }
}

TEST_F(WyDeployerItems, other_actions_do_nothing) {
    for (const wchar_t* action : {L"", L"create", L"copy", L"writes", L"delet", L" write"}) {
        SCOPED_TRACE(testing::Message() << action);
        m_Machine.existing = {L"p\\s", L"i\\t", L"p\\s\\n", L"i\\t\\n"};
        m_Deployer.folders = {{L"", action, L"yes", L"", L"s", L"t", L""}};
        m_Deployer.files = {{L"", action, L"yes", L"n", L"s", L"t", L""}};
        EXPECT_TRUE(Deploy());
        EXPECT_EQ(m_Machine.steps, Lines{});
        EXPECT_EQ(DeployerLines(m_Log).size(), 6U);
    }
}

// ---- files

TEST_F(WyDeployerItems, which_files_are_copied) {
    const struct {
        const wchar_t* what;
        const wchar_t* overwrite;
        const wchar_t* name;
        bool exists;
        std::uint32_t source;  // versions, 0 for none
        std::uint32_t target;
        bool copied;
    } rows[] = {
        {L"new", L"", L"a.txt", false, 0, 0, true},
        {L"new program, older", L"no", L"a.exe", false, 1, 2, true},
        {L"new, yes", L"yes", L"a.exe", false, 1, 2, true},
        {L"there", L"", L"a.txt", true, 0, 0, false},
        {L"there, no", L"no", L"a.dll", true, 2, 1, false},
        {L"there, not quite yes", L"yess", L"a.txt", true, 0, 0, false},
        {L"text", L"yes", L"a.txt", true, 0, 0, true},
        {L"text with versions", L"YES", L"a.txt", true, 1, 2, true},
        {L"no extension", L"yes", L"dll", true, 1, 2, true},
        {L"program newer", L"yes", L"a.exe", true, 2, 1, true},
        {L"program equal", L"yes", L"a.exe", true, 2, 2, false},
        {L"program older", L"yes", L"a.exe", true, 1, 2, false},
        {L"library newer", L"Yes", L"a.DLL", true, 2, 1, true},
        {L"library equal", L"yes", L"a.Dll", true, 2, 2, false},
        {L"library older", L"yes", L"a.dll", true, 1, 2, false},
        {L"library, ours without version", L"yes", L"a.dll", true, 0, 2, true},
        {L"library, theirs without version", L"yes", L"a.dll", true, 1, 0, true},
        {L"library, both without version", L"yes", L"a.dll", true, 0, 0, true},
        {L"neither program nor library", L"yes", L"a.ocx", true, 1, 2, true},
        {L"extension with a tail", L"yes", L"a.dll2", true, 1, 2, true},
        {L"last extension counts", L"yes", L"a.dll.bak", true, 1, 2, true},
        {L"last extension counts, too", L"yes", L"a.bak.dll", true, 1, 2, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.what);
        const std::wstring name = row.name;
        m_Machine.existing = {L"p\\" + name};
        if (row.exists)
            m_Machine.existing.insert(L"i\\" + name);
        m_Machine.versions.clear();
        if (row.source != 0)
            m_Machine.versions[L"p\\" + name] = {row.source, 0};
        if (row.target != 0)
            m_Machine.versions[L"i\\" + name] = {row.target, 0};
        EXPECT_TRUE(DeployFile({L"f", L"Write", row.overwrite, name, L"", L"", L""}));
        const Lines over = {L"copy over p\\ " + name + L" i\\", L"writable i\\" + name};
        const Lines fresh = {L"make i\\", L"copy new p\\ " + name + L" i\\",
                             L"writable i\\" + name};
        EXPECT_EQ(m_Machine.steps, !row.copied ? Lines{} : row.exists ? over : fresh);
        const Lines lines = DeployerLines(m_Log);
        EXPECT_EQ(lines[4], std::wstring(L"1 Id: f,Action: Write,Overwrite: ") + row.overwrite +
                                L",Name: " + name + L",SourceDir: ,TargetDir: ,Platform: ");
        EXPECT_EQ(
            lines.back() == L"1 KrCommon::Storage::File::CopyFile: SourceDir: p\\ File Name: " +
                                name + L" TargetDir: i\\",
            row.copied);
    }
}

TEST_F(WyDeployerItems, file_that_is_missing_is_a_warning) {
    m_Machine.existing = {L"i\\a"};
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a", L"s", L"", L""}));
    EXPECT_EQ(m_Machine.steps, Lines{});
    EXPECT_EQ(LinesOfItem(), Lines{L"16 Does not exist this file...Path: p\\s\\, File: a"});
    // One name from a pattern is looked for alike; it may have gone meanwhile.
    m_Machine.listed = {L"b"};
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"*", L"s", L"", L""}));
    EXPECT_EQ(m_Machine.steps, Lines{L"list p\\s\\*"});
    EXPECT_EQ(LinesOfItem(), Lines{L"16 Does not exist this file...Path: p\\s\\, File: b"});
}

TEST_F(WyDeployerItems, item_without_a_name_is_a_file_that_is_missing) {
    m_Machine.existing = {L"p", L"i"};
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"", L"", L"", L""}));
    EXPECT_EQ(LinesOfItem(), Lines{L"16 Does not exist this file...Path: p\\, File: "});
    EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"", L"", L"", L""}));
    EXPECT_EQ(m_Machine.steps, Lines{});
}

TEST_F(WyDeployerItems, patterns_stand_for_the_files_of_the_source) {
    m_Machine.existing = {L"p\\s\\a", L"p\\s\\b", L"i\\t\\b", L"i\\t\\c"};
    m_Machine.listed = {};
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"*.x", L"s", L"t", L""}));
    EXPECT_EQ(m_Machine.steps, Lines{L"list p\\s\\*.x"});
    EXPECT_EQ(LinesOfItem(), Lines{});

    // Several names are not looked for in the source.
    m_Machine.listed = {L"a", L"b", L"gone"};
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"a*b", L"s", L"t", L""}));
    EXPECT_EQ(
        m_Machine.steps,
        (Lines{L"list p\\s\\a*b", L"make i\\t\\", L"copy new p\\s\\ a i\\t\\", L"writable i\\t\\a",
               L"make i\\t\\", L"copy new p\\s\\ gone i\\t\\", L"writable i\\t\\gone"}));

    // The target's own files are not what is deleted.
    m_Machine.listed = {L"a", L"b"};
    EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"*", L"s", L"t", L""}));
    EXPECT_EQ(m_Machine.steps,
              (Lines{L"list p\\s\\*", L"writable i\\t\\b", L"delete file i\\t\\b"}));

    // What has a "?" alone is one name.
    m_Machine.existing.insert(L"p\\s\\?");
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"?", L"s", L"t", L""}));
    EXPECT_EQ(m_Machine.steps,
              (Lines{L"make i\\t\\", L"copy new p\\s\\ ? i\\t\\", L"writable i\\t\\?"}));
}

TEST_F(WyDeployerItems, copy_that_fails_ends_the_item_and_a_folder_that_cannot_be_made_does_not) {
    m_Machine.listed = {L"a", L"b"};
    m_Machine.Refuse(L"copy new p\\ a", 5);
    EXPECT_FALSE(DeployFile({L"", L"write", L"", L"*", L"", L"", L""}));
    EXPECT_EQ(m_Machine.steps, (Lines{L"list p\\*", L"make i\\", L"copy new p\\ a i\\"}));
    EXPECT_EQ(LinesOfItem(),
              (Lines{L"1 KrCommon::Storage::File::CopyFile: SourceDir: p\\ File Name: a "
                     L"TargetDir: i\\",
                     L"256 KrCommon::Storage::File::CopyFile failed..."}));

    m_Machine.existing = {L"i\\a", L"i\\b"};
    m_Machine.Refuse(L"copy over p\\ b", 5);
    EXPECT_FALSE(DeployFile({L"", L"write", L"yes", L"*", L"", L"", L""}));
    EXPECT_EQ(m_Machine.steps, (Lines{L"list p\\*", L"copy over p\\ a i\\", L"writable i\\a",
                                      L"copy over p\\ b i\\"}));

    m_Machine.existing = {};
    for (const wchar_t* refused : {L"make", L"writable", L"list"}) {
        m_Machine.Refuse(refused, 5);
        EXPECT_TRUE(DeployFile({L"", L"write", L"", L"*", L"", L"", L""}));
        EXPECT_EQ(m_Machine.steps.size(), 7U);
    }
}

TEST_F(WyDeployerItems, how_files_are_deleted) {
    const Lines deleted = {L"writable i\\t\\n", L"delete file i\\t\\n"};
    const Lines marked = {deleted[0], deleted[1], L"at next start i\\t\\n"};
    const std::wstring line = L"1 KrCommon::Storage::File::Delete:  File Name: n TargetDir: i\\t\\";
    const struct {
        const wchar_t* what;
        bool exists;
        const wchar_t* refused;
        std::uint32_t code;
        Lines steps;
        Lines lines;
    } rows[] = {
        {L"none", false, L"", 0, {}, {}},
        {L"there", true, L"", 0, deleted, {line}},
        {L"gone meanwhile", true, L"delete", 2, deleted, {line}},
        {L"in use",
         true,
         L"delete",
         32,
         marked,
         {line, L"16 KrCommon::Storage::File::Delete() failed: 0x20"}},
        {L"refused",
         true,
         L"delete",
         5,
         marked,
         {line, L"16 KrCommon::Storage::File::Delete() failed: 0x5"}},
        {L"stays read-only", true, L"writable", 5, deleted, {line}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.what);
        m_Machine.existing = {L"p\\s\\n"};
        if (row.exists)
            m_Machine.existing.insert(L"i\\t\\n");
        m_Machine.Refuse(row.refused, row.code);
        EXPECT_TRUE(DeployFile({L"", L"DELETE", L"", L"n", L"s", L"t", L""}));
        EXPECT_EQ(m_Machine.asked, Lines{L"i\\t\\n"});
        EXPECT_EQ(m_Machine.steps, row.steps);
        EXPECT_EQ(LinesOfItem(), row.lines);
    }
}

// ---- versions

TEST_F(WyDeployerItems, greater_versions_replace) {
    const struct {
        FileVersion source;
        FileVersion target;
        bool copied;
    } rows[] = {
        {{0, 0}, {0, 0}, false},
        {{0, 1}, {0, 0}, true},
        {{0, 0}, {0, 1}, false},
        {{1, 0}, {0, 0xffffffff}, true},
        {{0, 0xffffffff}, {1, 0}, false},
        {{0x00010002, 0x00030004}, {0x00010002, 0x00030004}, false},
        {{0x00010002, 0x00030005}, {0x00010002, 0x00030004}, true},
        {{0x00010002, 0x00030003}, {0x00010002, 0x00030004}, false},
        {{0x00010003, 0}, {0x00010002, 0x00030004}, true},
        {{0x00010001, 0xffffffff}, {0x00010002, 0}, false},
        // Without a sign
        {{0x80000000, 0}, {0x7fffffff, 0}, true},
        {{0x7fffffff, 0}, {0x80000000, 0}, false},
        {{1, 0x80000000}, {1, 0x7fffffff}, true},
        {{1, 0x7fffffff}, {1, 0x80000000}, false},
        {{0xffffffff, 0xffffffff}, {0xffffffff, 0xfffffffe}, true},
    };
    m_Machine.existing = {L"p\\a.dll", L"i\\a.dll"};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.source.ms << L"." << row.source.ls);
        m_Machine.versions = {{L"p\\a.dll", row.source}, {L"i\\a.dll", row.target}};
        EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.dll", L"", L"", L""}));
        EXPECT_EQ(!m_Machine.steps.empty(), row.copied);
        const auto found = [](const std::wstring& path, FileVersion version) {
            return L"1 File name: " + path + L" dwFileVersionMS=" + std::to_wstring(version.ms) +
                   L" dwFileVersionLS=" + std::to_wstring(version.ls);
        };
        EXPECT_EQ(First(LinesOfItem(), 4), (Lines{L"1 Get file version number. File name: p\\a.dll",
                                                  found(L"p\\a.dll", row.source),
                                                  L"1 Get file version number. File name: i\\a.dll",
                                                  found(L"i\\a.dll", row.target)}));
    }
}

TEST_F(WyDeployerItems, versions_that_cannot_be_read) {
    const std::wstring copied =
        L"1 KrCommon::Storage::File::CopyFile: SourceDir: p\\ File Name: a.exe TargetDir: i\\";
    const struct {
        VersionAnswer answer;
        Lines lines;
    } rows[] = {
        {VersionAnswer::kNoSize, {L"16 GetFileVersionInfoSize fail! dwError=0x714"}},
        {VersionAnswer::kNoMemory, {}},
        {VersionAnswer::kNoData, {L"256 GetFileVersionInfo fail!"}},
        {VersionAnswer::kNoRoot, {L"256 VerQueryValue fail!"}},
    };
    m_Machine.existing = {L"p\\a.exe", L"i\\a.exe"};
    m_Machine.code = 1812;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(row.answer));
        m_Machine.noVersion = row.answer;
        // That of the source: the target's is not asked for.
        m_Machine.versions = {{L"i\\a.exe", {9, 9}}};
        EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.exe", L"", L"", L""}));
        Lines lines = {L"1 Get file version number. File name: p\\a.exe"};
        lines.insert(lines.end(), row.lines.begin(), row.lines.end());
        lines.push_back(copied);
        EXPECT_EQ(LinesOfItem(), lines);

        m_Machine.versions = {{L"p\\a.exe", {0, 7}}};
        EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.exe", L"", L"", L""}));
        lines = {L"1 Get file version number. File name: p\\a.exe",
                 L"1 File name: p\\a.exe dwFileVersionMS=0 dwFileVersionLS=7",
                 L"1 Get file version number. File name: i\\a.exe"};
        lines.insert(lines.end(), row.lines.begin(), row.lines.end());
        lines.push_back(copied);
        EXPECT_EQ(LinesOfItem(), lines);
    }
}

TEST_F(WyDeployerItems, versions_are_asked_for_only_where_they_decide) {
    m_Machine.existing = {L"p\\a.dll", L"p\\s"};
    EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.dll", L"", L"", L""}));
    m_Machine.existing.insert(L"i\\a.dll");
    EXPECT_TRUE(DeployFile({L"", L"write", L"no", L"a.dll", L"", L"", L""}));
    EXPECT_EQ(m_Machine.asked, (Lines{L"p\\a.dll", L"i\\a.dll"}));
    EXPECT_EQ(LinesOfItem(), Lines{});
}

}  // namespace
