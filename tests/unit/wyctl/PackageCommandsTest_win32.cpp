// The commands of the group "package" as people and programs see them.

#include <gmock/gmock.h>

#include "PackageFixture_win32.h"
#include "deploy/WyDeployer.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/FileFixture_win32.h"
#include "support/FolderSnapshot.h"
#include "support/RegistryKey_win32.h"
#include "support/RegistryTree_win32.h"
#include "wyctl/PlanOverlay.h"

namespace {

namespace fs = std::filesystem;
using test_support::RegistryKey;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;
using WyCtl::PlanOverlay;

// ---- what earlier steps leave

TEST(PlanOverlay, later_steps_find_what_earlier_ones_left) {
    using enum PlanOverlay::Answer;
    PlanOverlay overlay;
    EXPECT_EQ(overlay.Find(L"C:\\a"), AsOnMachine);
    overlay.Put(L"C:\\a\\b\\c.txt", L"P:\\c.txt");
    std::wstring origin;
    EXPECT_EQ(overlay.Find(L"c:\\A\\B\\C.TXT", &origin), There);
    EXPECT_EQ(origin, L"P:\\c.txt");
    EXPECT_EQ(overlay.Find(L"C:\\a\\b"), There) << "made on the way";
    EXPECT_EQ(overlay.Find(L"C:\\a\\d"), AsOnMachine);
    EXPECT_THAT(overlay.PutBelow(L"C:\\a"), ElementsAre(L"C:\\a\\b\\c.txt"));

    overlay.Remove(L"C:\\a\\b");
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\c.txt"), Gone);
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\other"), Gone) << "also what the machine has there";
    EXPECT_EQ(overlay.Find(L"C:\\a\\bc"), AsOnMachine);
    EXPECT_THAT(overlay.PutBelow(L"C:\\a"), IsEmpty());

    overlay.Put(L"C:\\a\\b\\", {});
    EXPECT_EQ(overlay.Find(L"C:\\a\\b"), There);
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\other"), Gone) << "the new folder is empty";

    overlay.Keep(L"C:\\a\\b\\d\\held");
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\D\\HELD"), AsOnMachine);
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\d"), There) << "what holds it is there";
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\d\\other"), Gone);
    overlay.Remove(L"C:\\a\\b\\d\\held");
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\d\\held"), Gone);
    overlay.Keep(L"C:\\a\\b\\d\\held");
    overlay.Put(L"C:\\a\\b\\d\\held", L"P:\\held");
    EXPECT_EQ(overlay.Find(L"C:\\a\\b\\d\\held"), There);
}

// ---- plan

constexpr char kRegistry[] =
    "<RegistryValue Id='v1' Action='write' AllAccess='yes' Root='HKLM' Name='n' Value='text'\n"
    "  Key='SOFTWARE\\KorvexDataPlan\\a' Type='string'/>\n"
    "<RegistryValue Id='v2' Action='write' Root='HKLM' Key='SOFTWARE\\KorvexDataPlan\\a' Name='m'\n"
    "  Value='7' Type='dword'/>\n"
    "<RegistryValue Id='v3' Action='write' Root='HKLM' Key='SOFTWARE\\KorvexDataPlan\\a' Name='o'\n"
    "  Value='7' Type='qword'/>\n"
    "<RegistryValue Id='v4' Action='delete' Root='HKLM' Key='SOFTWARE\\KorvexDataPlan\\a'\n"
    "  Name='m'/>\n"
    "<RegistryValue Id='v5' Action='delete' Root='HKLM' Key='SOFTWARE\\KorvexDataPlan\\a'\n"
    "  Name='none'/>\n"
    "<RegistryKey Id='k1' Action='create' Root='HKLM' Key='SOFTWARE\\KorvexDataPlan\\a'\n"
    "  Platform='win32'/>\n"
    "<RegistryKey Id='k2' Action='delete' Root='HKLM' Key='SOFTWARE\\KorvexDataPlan\\none'/>\n";

constexpr char kFiles[] =
    "<File Id='f1' Action='write' Name='*.txt' SourceDir='common' TargetDir='doc'/>\n"
    "<File Id='f2' Action='write' Overwrite='yes' Name='v.dll' SourceDir='common'/>\n"
    "<File Id='f3' Action='write' Name='gone.txt' SourceDir='common'/>\n"
    "<File Id='f4' Action='delete' Name='old.txt'/>\n"
    "<File Id='f5' Action='delete' Name='none.txt'/>\n"
    "<File Id='f6' Action='write' Name='a.txt' SourceDir='common' Platform='win32'/>\n"
    "<File Id='f7' Action='copy' Name='a.txt' SourceDir='common'/>\n"
    "<Folder Id='d1' Action='write' SourceDir='data' TargetDir='data' Platform='x64'/>\n"
    "<Folder Id='d2' Action='write' SourceDir='data' TargetDir='kept'/>\n"
    "<Folder Id='d3' Action='delete' TargetDir='oldies'/>\n";

// A package with something of each kind, over a folder that has some of it.
class FullPackagePlan : public PackagePlan {
protected:
    void SetUp() override {
        PackagePlan::SetUp();
        PutManifest(kRegistry, kFiles);
        Put(L"pkg\\common\\a.txt", "new a");
        Put(L"pkg\\common\\b.txt", "new b");
        PutVersioned(L"pkg\\common\\v.dll");
        Put(L"pkg\\data\\sub\\c.txt", "12345");
        Put(L"pkg\\data\\d.txt", "1");
        fs::create_directories(m_Folder.Path() / L"pkg\\data\\empty");
        Put(L"pkg\\common\\product\\External\\tool.txt", "tool");
        PutVersioned(L"Wy\\v.dll");
        Put(L"Wy\\doc\\a.txt", "old a");
        Put(L"Wy\\old.txt", "old");
        Put(L"Wy\\kept\\d.txt", "old");
        Put(L"Wy\\oldies\\e\\f.txt", "old");
    }
};

TEST_F(FullPackagePlan, everything_in_the_order_in_which_it_would_happen) {
    const std::string external =
        KrCommon::String::ToUtf8(WyCommon::Utility::GetCommonDataRoot()) + "\\External";
    const Json::Value plan = Plan();
    EXPECT_THAT(
        Lines(plan),
        ElementsAre(
            "Product nothing: the folder is there",  //
            "RegistryKey k1 done", "- create key HKLM\\SOFTWARE\\KorvexDataPlan\\a",
            "RegistryKey k2 nothing: not there",  //
            "RegistryValue v1 done", "- write value HKLM\\SOFTWARE\\KorvexDataPlan\\a\\n=text",
            "RegistryValue v2 done", "- write value HKLM\\SOFTWARE\\KorvexDataPlan\\a\\m=7",
            "RegistryValue v3 nothing: its Action or Type is no word that is known",
            "RegistryValue v4 done", "- delete value HKLM\\SOFTWARE\\KorvexDataPlan\\a\\m there",
            "RegistryValue v5 nothing: not there",  //
            "Folder d1 done", "- make folder @\\Wy\\data", "- copy @\\Wy\\data\\d.txt",
            "- make folder @\\Wy\\data\\empty", "- make folder @\\Wy\\data\\sub",
            "- copy @\\Wy\\data\\sub\\c.txt",
            "Folder d2 kept: @\\Wy\\kept stays: it is there, and Overwrite is not yes",
            "Folder d3 done", "- delete file @\\Wy\\oldies\\e\\f.txt there",
            "- delete folder @\\Wy\\oldies there",
            "File f1 done: @\\Wy\\doc\\a.txt stays: it is there, and Overwrite is not yes",
            "- copy @\\Wy\\doc\\b.txt",
            testing::StartsWith("File f2 kept: @\\Wy\\v.dll stays: version "),
            "File f3 nothing: no such file in the package",  //
            "File f4 done", "- delete file @\\Wy\\old.txt there",
            "File f5 nothing: not there",        //
            "File f6 skipped: for win32 alone",  //
            "File f7 nothing: its Action or Type is no word that is known", "External folder done",
            "- make folder " + external,
            "External x64\\product\\External nothing: not in the package",
            "External common\\product\\External done", "- copy " + external + "\\tool.txt"));
    EXPECT_EQ(plan["bytes"].asUInt(), 15U);
    EXPECT_GT(plan["bytesFree"].asUInt64(), 0U);
    EXPECT_EQ(plan["codeHex"].asString(), "0x20ff0000");
    EXPECT_EQ(plan["reason"].asString(), "");
    EXPECT_EQ(plan["reinstall"].asBool(), false);
    EXPECT_EQ(plan["inUse"].size(), 0U);
}

TEST_F(FullPackagePlan, looking_changes_nothing) {
    const auto folder = test_support::Snapshot(m_Folder.Path());
    const auto registry = [] {
        using test_support::ReadRegistryTree;
        std::vector<test_support::RegistryTree> trees;
        for (const wchar_t* key : {L"SOFTWARE\\KorvexData", L"SOFTWARE\\KorvexDataPlan",
                                   L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
                                   L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
                                   L"SYSTEM\\CurrentControlSet\\Control\\Session Manager"})
            trees.push_back(ReadRegistryTree(HKEY_LOCAL_MACHINE, key, KEY_WOW64_64KEY));
        trees.push_back(ReadRegistryTree(HKEY_CURRENT_USER, L"Software\\KorvexData", 0));
        trees.push_back(ReadRegistryTree(HKEY_CURRENT_USER, L"Software\\KorvexDataPlan", 0));
        return trees;
    };
    const auto before = registry();
    ASSERT_GT(before[4].size(), 1U);
    const fs::path data = WyCommon::Utility::GetCommonDataRoot();
    const bool hadData = fs::exists(data);
    Plan();
    EXPECT_EQ(Run({"package", "plan", At(L"pkg"), "--to", At(L"new")}), 0);
    EXPECT_EQ(Run({"package", "lint", At(L"pkg")}), 1);
    EXPECT_EQ(test_support::Snapshot(m_Folder.Path()), folder);
    EXPECT_TRUE(registry() == before);
    EXPECT_EQ(fs::exists(data), hadData);
}

TEST_F(FullPackagePlan, deployment_does_what_the_plan_says) {
    const Json::Value plan = Plan();
    std::map<fs::path, std::string> expected = test_support::Snapshot(m_Folder.Path() / L"Wy");
    for (const Json::Value& item : plan["items"]) {
        if (item["element"] == "External")
            continue;
        for (const Json::Value& step : item["steps"]) {
            const fs::path place = KrCommon::String::FromUtf8(step["place"].asString());
            const std::string kind = step["step"].asString();
            if (kind == "copy") {
                const std::ifstream file(
                    fs::path(KrCommon::String::FromUtf8(step["from"].asString())),
                    std::ios::binary);
                std::ostringstream text;
                text << file.rdbuf();
                expected[place] = text.str();
            } else if (kind == "make folder") {
                expected[place] = "";
            } else if (kind == "delete file") {
                expected.erase(place);
            } else if (kind == "delete folder") {
                std::erase_if(expected, [&](const auto& entry) {
                    return entry.first.wstring().starts_with(place.wstring());
                });
            }
        }
    }
    WyDeployHelper::DeployCommon::CWyDeployer deployer;
    deployer.deployRegistry = true;
    ASSERT_TRUE(deployer.ParseConfig(L".", Wide(L"pkg\\InstCfg.xml")));
    ASSERT_TRUE(deployer.Deploy(Wide(L"pkg"), Wide(L"Wy")));
    EXPECT_EQ(test_support::Snapshot(m_Folder.Path() / L"Wy"), expected);
    const auto tree = test_support::ReadRegistryTree(HKEY_LOCAL_MACHINE,
                                                     L"SOFTWARE\\KorvexDataPlan", KEY_WOW64_64KEY);
    ASSERT_TRUE(tree.contains(L"SOFTWARE\\KorvexDataPlan\\a"));
    EXPECT_EQ(tree.at(L"SOFTWARE\\KorvexDataPlan\\a").size(), 1U) << "n alone";

    // A second time all is there already.
    EXPECT_THAT(Items(Plan()),
                ::testing::IsSupersetOf(
                    {std::string("- create key HKLM\\SOFTWARE\\KorvexDataPlan\\a same"),
                     std::string("- write value HKLM\\SOFTWARE\\KorvexDataPlan\\a\\n=text same"),
                     std::string("Folder d1 kept: @\\Wy\\data stays: it is there, and Overwrite is "
                                 "not yes")}));
    // They go at the end, what is below first.
    const RegistryKey key(L"SOFTWARE\\KorvexDataPlan", KEY_WOW64_64KEY);
    const RegistryKey below(L"SOFTWARE\\KorvexDataPlan\\a", KEY_WOW64_64KEY);
}

TEST_F(FullPackagePlan, text_for_people) {
    ASSERT_EQ(Run({"package", "plan", At(L"pkg"), "--to", At(L"Wy")}), 0);
    const std::string text = Short(m_Terminal.out);
    EXPECT_THAT(text, HasSubstr("product       @\\Wy\n"));
    EXPECT_THAT(text, HasSubstr("installation  as if nothing were installed\n"));
    EXPECT_THAT(text, HasSubstr("write value    HKLM\\SOFTWARE\\KorvexDataPlan\\a\\n"));
    EXPECT_THAT(text, HasSubstr("= text\n"));
    EXPECT_THAT(text, HasSubstr("from @\\pkg\\common\\b.txt\n"));
    EXPECT_THAT(text, HasSubstr("\n15 bytes to copy, "));
    EXPECT_THAT(text, HasSubstr("2 item(s) kept, 1 skipped, "));
    EXPECT_THAT(text, HasSubstr("Nothing was changed.\n"));
    EXPECT_THAT(text, Not(HasSubstr("refused")));
}

TEST_F(PackagePlan, file_in_use_fails_a_copy_and_delays_a_removal) {
    PutManifest("",
                "<Folder Id='d' Action='delete' TargetDir='old'/>\n"
                "<File Id='g' Action='delete' Name='gone.txt'/>\n"
                "<File Id='f' Action='write' Overwrite='yes' Name='a.txt'/>\n"
                "<File Id='h' Action='write' Name='b.txt'/>\n");
    Put(L"pkg\\a.txt", "new");
    Put(L"Wy\\a.txt", "old");
    Put(L"Wy\\gone.txt", "old");
    Put(L"Wy\\old\\b.txt", "old");
    const test_support::LockedFile one(Wide(L"Wy\\a.txt"));
    const test_support::LockedFile two(Wide(L"Wy\\gone.txt"));
    const test_support::LockedFile three(Wide(L"Wy\\old\\b.txt"));
    const Json::Value plan = Plan();
    EXPECT_THAT(
        Items(plan),
        ElementsAre("Folder d done", "- delete file @\\Wy\\old\\b.txt there in use at restart",
                    "- delete folder @\\Wy\\old there at restart",  //
                    "File g done", "- delete file @\\Wy\\gone.txt there in use at restart",
                    "File f fails: the file that is there is in use",
                    "- copy @\\Wy\\a.txt there in use", "File h not reached"));
    EXPECT_EQ(plan["codeHex"].asString(), "0xe00e0014");
    EXPECT_EQ(plan["inUse"].size(), 3U);
    ASSERT_EQ(Run({"package", "plan", At(L"pkg"), "--to", At(L"Wy")}), 0);
    EXPECT_THAT(Short(m_Terminal.out), HasSubstr("\nin use now: @\\Wy\\a.txt\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("refused       0xe00e0014: an item fails\n"));
}

TEST_F(PackagePlan, file_that_outlives_the_removal_of_its_folder_is_still_in_use) {
    PutManifest("",
                "<Folder Id='d' Action='delete' TargetDir='old'/>\n"
                "<Folder Id='e' Action='write' Overwrite='yes' SourceDir='s' TargetDir='old'/>\n");
    Put(L"pkg\\s\\a.txt", "new");
    Put(L"pkg\\s\\b.txt", "new");
    Put(L"Wy\\old\\a.txt", "old");
    Put(L"Wy\\old\\b.txt", "old");
    const test_support::LockedFile lock(Wide(L"Wy\\old\\b.txt"));
    EXPECT_THAT(Items(Plan()),
                ElementsAre("Folder d done", "- delete file @\\Wy\\old\\a.txt there",
                            "- delete file @\\Wy\\old\\b.txt there in use at restart",
                            "- delete folder @\\Wy\\old there at restart",
                            "Folder e fails: the file that is there is in use",
                            "- copy @\\Wy\\old\\a.txt", "- copy @\\Wy\\old\\b.txt there in use"));
    WyDeployHelper::DeployCommon::CWyDeployer deployer;
    ASSERT_TRUE(deployer.ParseConfig(L".", Wide(L"pkg\\InstCfg.xml")));
    EXPECT_FALSE(deployer.Deploy(Wide(L"pkg"), Wide(L"Wy")));
}

TEST_F(PackagePlan, read_only_mark_is_taken_off_by_a_file_and_refuses_a_folder) {
    PutManifest("",
                "<Folder Id='d' Action='write' Overwrite='yes' SourceDir='s' TargetDir='s'/>\n");
    Put(L"pkg\\s\\a.txt", "new");
    Put(L"Wy\\s\\a.txt", "old");
    SetFileAttributesW(Wide(L"Wy\\s\\a.txt").c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_THAT(Items(Plan()), ElementsAre("Folder d fails: the file that is there is read-only",
                                           "- copy @\\Wy\\s\\a.txt there"));
    PutManifest("",
                "<File Id='f' Action='write' Overwrite='yes' Name='a.txt' SourceDir='s'"
                " TargetDir='s'/>\n");
    EXPECT_THAT(Items(Plan()), ElementsAre("File f done", "- copy @\\Wy\\s\\a.txt there"));
    SetFileAttributesW(Wide(L"Wy\\s\\a.txt").c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(PackagePlan, name_that_the_system_takes_for_a_pattern_removes_nothing) {
    PutManifest("", "<File Id='f' Action='delete' Name='a?.txt'/>\n");
    Put(L"Wy\\ab.txt", "old");
    EXPECT_THAT(Items(Plan()), ElementsAre("File f nothing: not there"));
}

TEST_F(PackagePlan, paths_may_be_longer_than_the_system_takes_without_a_prefix) {
    PutManifest("", "<File Id='f' Action='write' Overwrite='yes' Name='a.txt'/>\n");
    Put(L"pkg\\a.txt", "new");
    std::wstring folder = L"\\\\?\\" + Wide(L"Wy");
    for (const wchar_t letter : {L'b', L'c', L'd'}) {
        ASSERT_NE(CreateDirectoryW(folder.c_str(), nullptr), 0) << GetLastError();
        folder += L'\\' + std::wstring(100, letter);
    }
    ASSERT_NE(CreateDirectoryW(folder.c_str(), nullptr), 0) << GetLastError();
    ASSERT_NE(CopyFileW(Wide(L"pkg\\a.txt").c_str(), (folder + L"\\a.txt").c_str(), TRUE), 0);
    const Texts lines = Items(Plan({"--to", KrCommon::String::ToUtf8(folder)}));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "File f done") << "it stays and is copied cannot both be";
}

TEST_F(PackagePlan, item_that_cannot_be_carried_out_ends_the_plan) {
    Put(L"pkg\\sub\\a.txt", "a");
    Put(L"pkg\\sub\\b.txt", "b");
    Put(L"pkg\\a.txt", "a");
    Put(L"Wy\\a.txt", "old");
    fs::create_directories(m_Folder.Path() / L"pkg\\empty");
    fs::create_directories(m_Folder.Path() / L"Wy\\folders\\a.txt");
    const std::string key = "Key='SOFTWARE\\KorvexDataPlan\\a'/>";
    const struct {
        std::string registry;
        std::string files;
        const char* line;
    } rows[] = {
        {"<RegistryKey Id='x' Action='create' Root='HKCR' " + key, "",
         "RegistryKey x fails: Root is no root of the registry"},
        {"<RegistryKey Id='x' Action='delete' " + key, "",
         "RegistryKey x fails: Root is no root of the registry"},
        {"<RegistryKey Id='x' Action='create' Root='HKLM' Key='\\a'/>", "",
         "RegistryKey x fails: a key cannot begin with \\"},
        {"<RegistryKey Id='x' Action='delete' Root='HKLM' Key='\\KorvexDataPlan'/>", "",
         "RegistryKey x fails: a key cannot begin with \\"},
        {"<RegistryKey Id='x' Action='delete' Root='HKCU' Key=''/>", "",
         "RegistryKey x fails: a root of the registry cannot be deleted"},
        {"<RegistryValue Id='x' Action='write' Type='string' Root='HKLM' Key='\\a'/>", "",
         "RegistryValue x fails: a key cannot begin with \\"},
        {"<RegistryValue Id='x' Action='delete' Root='HKLM' Key='\\a'/>", "",
         "RegistryValue x fails: a key cannot begin with \\"},
        {"<RegistryValue Id='x' Action='write' Type='dword' " + key, "",
         "RegistryValue x fails: Root is no root of the registry"},
        {"<RegistryValue Id='x' Action='delete' " + key, "",
         "RegistryValue x fails: Root is no root of the registry"},
        {"", "<File Id='x' Action='write' Name='sub\\b.txt'/>",
         "File x fails: a name with a folder in it cannot be copied"},
        {"", "<File Id='x' Action='write' Name='a.txt' TargetDir='a|b'/>",
         "File x fails: no file can have this name"},
        {"", "<Folder Id='x' Action='write' SourceDir='a.txt' TargetDir='t'/>",
         "Folder x fails: the source is no folder"},
        {"", "<File Id='x' Action='write' Name='sub\\a.txt'/>",
         "File x fails: another file of this name is there"},
        {"", "<File Id='x' Action='write' Overwrite='yes' Name='a.txt' TargetDir='folders'/>",
         "File x fails: a folder has this name"},
        {"",
         "<Folder Action='write' SourceDir='sub' TargetDir='new\\a.txt'/>"
         "<File Id='x' Action='write' Overwrite='yes' Name='a.txt' TargetDir='new'/>",
         "File x fails: a folder has this name"},
        {"", "<File Id='x' Action='write' Name='a.txt' TargetDir='a.txt\\deep\\er'/>",
         "File x fails: a file has the name of a folder above it"},
        {"", "<Folder Id='x' Action='write' SourceDir='empty' TargetDir='a.txt\\deep'/>",
         "Folder x fails: a file has the name of a folder above it"},
        {"", "<Folder Id='x' Action='write' Overwrite='yes' SourceDir='sub' TargetDir='a.txt'/>",
         "Folder x fails: a file has the name of a folder above it"},
        {"", "<Folder Id='x' Action='write' SourceDir='empty' TargetDir='a|b'/>",
         "Folder x fails: no file can have this name"},
        {"", "<Folder Id='x' Action='delete' TargetDir='a.txt'/>", "Folder x fails: it is a file"},
    };
    for (const auto& row : rows) {
        PutManifest(row.registry, row.files);
        const Json::Value plan = Plan();
        EXPECT_THAT(Items(plan), ::testing::Contains(row.line)) << row.registry << row.files;
        EXPECT_EQ(plan["codeHex"].asString(), "0xe00e0014");

        // The deployment ends there as well.
        WyDeployHelper::DeployCommon::CWyDeployer deployer;
        deployer.deployRegistry = true;
        ASSERT_TRUE(deployer.ParseConfig(L".", Wide(L"pkg\\InstCfg.xml")));
        EXPECT_FALSE(deployer.Deploy(Wide(L"pkg"), Wide(L"Wy"))) << row.registry << row.files;
    }
}

TEST_F(PackagePlan, folders_beside_the_manifest_that_cannot_be_made_or_copied) {
    PutManifest("", "<File Id='f' Action='delete' Name='a'/>");
    const Json::Value plan = Plan({"--to", At(L"pkg\\Setup.ini\\Wy")});
    EXPECT_EQ(plan["codeHex"].asString(), "0xe0ff0001");
    EXPECT_EQ(plan["reason"].asString(), "the folder cannot be made");
    EXPECT_THAT(Lines(plan), ElementsAre("Product fails: the folder cannot be made",
                                         "File f not reached", "External folder not reached",
                                         "External x64\\product\\External not reached",
                                         "External common\\product\\External not reached"));
    Put(L"pkg\\x64\\product\\External", "a file");
    const Json::Value other = Plan();
    EXPECT_EQ(other["codeHex"].asString(), "0xe0ff0001");
    EXPECT_THAT(Lines(other),
                ::testing::IsSupersetOf(
                    {std::string("External x64\\product\\External fails: the source is no folder"),
                     std::string("External common\\product\\External not reached")}));
}

TEST_F(PackagePlan, what_refuses_an_installation) {
    fs::remove(m_Folder.Path() / L"pkg\\x64\\foundation\\libexpat.dll");
    EXPECT_EQ(Plan()["codeHex"].asString(), "0xe00e0013");
    EXPECT_THAT(Plan()["reason"].asString(), HasSubstr("no XML library"));
    fs::remove(m_Folder.Path() / L"pkg\\Setup.ini");
    const Json::Value plan = Plan();
    EXPECT_EQ(plan["codeHex"].asString(), "0xe00e0013");
    EXPECT_EQ(plan["reason"].asString(), "Setup.ini is missing or cannot be read");
}

TEST_F(PackagePlan, folders_and_manifests_that_are_none) {
    const struct {
        Texts line;
        int exitCode;
        const char* words;
    } rows[] = {
        {{"package", "plan", At(L"none")}, 1, " is no folder"},
        {{"package", "plan", At(L"pkg\\Setup.ini")}, 1, " is no folder"},
        {{"package", "plan", ""}, 2, "DIR is empty"},
        {{"package", "plan"}, 2, "DIR is required"},
        {{"package", "plan", At(L"pkg"), "--installed", "--to", "C:\\a"}, 2, "--to is for"},
        {{"package", "plan", At(L"pkg\\x64")}, 1, "there is no such file"},
        {{"package", "lint", At(L"none")}, 1, " is no folder"},
        {{"package"}, 2, "subcommand"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Run(row.line), row.exitCode) << testing::PrintToString(row.line);
        EXPECT_THAT(m_Terminal.err, HasSubstr(row.words));
        EXPECT_EQ(m_Terminal.out, "");
    }
    for (const auto& [document, words] : {std::pair{"<Product>", "no element found in line 1"},
                                          {"<a/>", "no Product as its outermost element"}}) {
        Put(L"pkg\\InstCfg.xml", document);
        EXPECT_EQ(Run({"package", "plan", At(L"pkg")}), 1);
        EXPECT_THAT(m_Terminal.err, HasSubstr(words));
        EXPECT_THAT(m_Terminal.err, HasSubstr("would end with 0xe00e0013"));
    }
}

TEST_F(PackagePlan, usual_place_is_named_without_a_target) {
    ASSERT_EQ(Run({"--json", "package", "plan", At(L"pkg")}), 0) << m_Terminal.err;
    EXPECT_THAT(OneJson()["product"].asString(), HasSubstr("\\Korvex Data\\"));
}

}  // namespace
