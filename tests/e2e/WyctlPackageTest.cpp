// wyctl package as a program of its own: it needs neither service nor library.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <string>

#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "support/FolderSnapshot.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using test_support::Snapshot;
using ::testing::HasSubstr;

class WyctlPackage : public testing::Test {
protected:
    void SetUp() override {
        Put("pkg/Setup.ini", "");
        Put("pkg/x64/foundation/libexpat.dll", "x");
        Put("pkg/win32/foundation/libexpat.dll", "x");
        Put("pkg/common/a.txt", "12345");
        Put("pkg/InstCfg.xml",
            "<Product><FileGroup>\n"
            "<File Id='a' Action='write' Name='a.txt' SourceDir='common' TargetDir='doc'/>\n"
            "</FileGroup></Product>");
    }

    void Put(const fs::path& name, const std::string& text) const {
        fs::create_directories((m_Folder.Path() / name).parent_path());
        WriteBytes(m_Folder.Path() / name, text);
    }
    std::wstring At(const wchar_t* name) const { return (m_Folder.Path() / name).wstring(); }

    test_support::TemporaryFolder m_Folder{kTestFolder};
};

TEST_F(WyctlPackage, plan_and_lint_of_a_sound_package) {
    const auto before = Snapshot(m_Folder.Path());
    const ProgramResult plan =
        Wyctl({L"--json", L"package", L"plan", At(L"pkg"), L"--to", At(L"Wy")});
    EXPECT_EQ(plan.exitCode, 0U) << plan.err;
    const Json::Value answer = OneJsonLine(plan.out);
    EXPECT_EQ(answer["bytes"].asUInt(), 5U);
    EXPECT_EQ(answer["codeHex"], Json::Value("0x20ff0000"));
    EXPECT_EQ(answer["items"].size(), 5U) << "folder, file, folder and two places of tools";

    const ProgramResult lint = Wyctl({L"package", L"lint", At(L"pkg")});
    EXPECT_EQ(lint.exitCode, 0U) << lint.out;
    EXPECT_EQ(lint.out, "0 error(s), 0 warning(s) in 1 item(s)\n");
    EXPECT_EQ(Snapshot(m_Folder.Path()), before);
}

TEST_F(WyctlPackage, findings_are_told_and_errors_end_with_1) {
    fs::remove(m_Folder.Path() / "pkg" / "common" / "a.txt");
    const ProgramResult text = Wyctl({L"package", L"lint", At(L"pkg")});
    EXPECT_EQ(text.exitCode, 1U);
    EXPECT_THAT(text.out, HasSubstr("InstCfg.xml:2: error missing-source: File 'a': "));
    EXPECT_THAT(text.out, HasSubstr("\n1 error(s), 0 warning(s) in 1 item(s)\n"));
    const ProgramResult json = Wyctl({L"--json", L"package", L"lint", At(L"pkg")});
    EXPECT_EQ(json.exitCode, 1U);
    EXPECT_EQ(OneJsonLine(json.out)["findings"][0]["id"], Json::Value("missing-source"));
}

TEST_F(WyctlPackage, what_is_no_package_is_named) {
    fs::create_directory(m_Folder.Path() / "empty");
    Put("bad/InstCfg.xml", "<Product>\n<FileGroup></Product>");
    Put("bad/Setup.ini", "");
    const struct {
        const wchar_t* command;
        const wchar_t* folder;
        const char* words;
        bool onStdout;  // a finding, no failure
    } rows[] = {
        {L"plan", L"none", " is no folder", false},
        {L"lint", L"none", " is no folder", false},
        {L"lint", L"pkg\\Setup.ini", " is no folder", false},
        {L"plan", L"empty", "InstCfg.xml cannot be read: there is no such file", false},
        {L"lint", L"empty", "error manifest-missing: there is no InstCfg.xml", true},
        {L"plan", L"bad", "mismatched tag in line 2, column 13", false},
        {L"lint", L"bad", "InstCfg.xml:2: error manifest-faulty: ", true},
    };
    for (const auto& row : rows) {
        const ProgramResult result = Wyctl({L"package", row.command, At(row.folder)});
        EXPECT_EQ(result.exitCode, 1U) << row.words;
        EXPECT_THAT(row.onStdout ? result.out : result.err, HasSubstr(row.words));
        EXPECT_EQ((row.onStdout ? result.err : result.out), "");
    }
    EXPECT_EQ(Wyctl({L"package", L"lint"}).exitCode, 2U);
    EXPECT_EQ(Wyctl({L"package"}).exitCode, 2U);
}

}  // namespace
