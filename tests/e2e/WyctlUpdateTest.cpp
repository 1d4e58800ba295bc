// wyctl update with the real library, where no service listens.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "support/FolderSnapshot.h"
#include "support/PendingMoves_win32.h"
#include "support/RegistryKey_win32.h"
#include "support/SystemStart_win32.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using test_support::Snapshot;
using ::testing::HasSubstr;

class WyctlUpdate : public testing::Test {
protected:
    void SetUp() override {
        Put("Wy/a.txt", "old");
        Put("Wy/Configuration/FeedbackCfg.json", "{\"feedbackAu\":1}");
        Put("dl/a.txt", "new");
        Put("dl/sub/b.txt", "new");
        ASSERT_TRUE(m_Key.SetText(L"ProductPath", At(L"Wy")));
    }

    void Put(const fs::path& name, const std::string& text) const {
        fs::create_directories((m_Folder.Path() / name).parent_path());
        WriteBytes(m_Folder.Path() / name, text);
    }
    std::wstring At(const wchar_t* name) const { return (m_Folder.Path() / name).wstring(); }

    test_support::TemporaryFolder m_Folder{kTestFolder};
    test_support::RegistryKey m_Key{L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY};
};

TEST_F(WyctlUpdate, plan_is_what_a_deployment_then_queues) {
    const auto before = Snapshot(m_Folder.Path());
    const auto queuedBefore = test_support::PendingMoves();
    const ProgramResult planned = Wyctl({L"--json", L"update", L"deploy", At(L"dl"), L"--plan"});
    EXPECT_EQ(planned.exitCode, 0U) << planned.err;
    EXPECT_EQ(Snapshot(m_Folder.Path()), before);
    EXPECT_EQ(test_support::PendingMoves(), queuedBefore);
    const Json::Value plan = OneJsonLine(planned.out);

    const ProgramResult deployed = Wyctl({L"--json", L"update", L"deploy", At(L"dl")});
    EXPECT_EQ(deployed.exitCode, 0U) << deployed.err;
    EXPECT_EQ(OneJsonLine(deployed.out)["queued"].asUInt(),
              plan["moves"].size() + plan["removals"].size());
    for (const Json::Value& copy : plan["copies"])
        EXPECT_TRUE(fs::exists(fs::path(KrCommon::String::FromUtf8(copy["to"].asString()))));

    const ProgramResult pending = Wyctl({L"--json", L"update", L"pending"});
    EXPECT_EQ(pending.exitCode, 0U) << pending.err;
    std::vector<std::string> queued;
    const Json::Value list = OneJsonLine(pending.out);
    for (const Json::Value& entry : list["entries"]) {
        if (entry["own"].asBool())
            queued.push_back(entry["source"].asString());
    }
    std::vector<std::string> promised;
    for (const Json::Value& move : plan["moves"])
        promised.push_back(move["from"].asString());
    for (const Json::Value& folder : plan["removals"])
        promised.push_back(folder.asString());
    EXPECT_EQ(queued, promised);

    if (!test_support::RunSystemStart())
        GTEST_SKIP() << "no wineboot.exe: a start of the system cannot be had inside a test";
    EXPECT_EQ(ReadTextFile(m_Folder.Path() / "Wy" / "a.txt"), "new");
    EXPECT_EQ(ReadTextFile(m_Folder.Path() / "Wy" / "sub" / "b.txt"), "new");
    EXPECT_FALSE(fs::exists(m_Folder.Path() / "WyAuTemp"));
    EXPECT_EQ(Wyctl({L"update", L"pending"}).out, "nothing is queued for the next restart\n");
}

TEST_F(WyctlUpdate, missing_download_is_told_with_its_code) {
    const ProgramResult result = Wyctl({L"update", L"deploy", At(L"missing")});
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("WyAuDeploy failed with 0xe0ff0002"));
    EXPECT_THAT(ReadTextFile(m_Folder.Path() / "Wy" / "AuFeedbackTemp.json"),
                HasSubstr("\"auErrorCode\" : -520159230"));
}

}  // namespace
