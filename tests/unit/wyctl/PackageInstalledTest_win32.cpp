// Plans over an installed product, and the linter, as people and programs see them.

#include <gmock/gmock.h>

#include "PackageFixture_win32.h"
#include "deploy/DeployCommon_Folders.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/FileFixture_win32.h"
#include "support/RegistryKey_win32.h"
#include "utilMode/FrwkMode.h"

namespace {

namespace fs = std::filesystem;
using test_support::RegistryKey;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Texts = std::vector<std::string>;

// ---- over an installed product

class InstalledPackagePlan : public PackagePlan {
protected:
    void SetUp() override {
        PackagePlan::SetUp();
        Frwk::Mode::SetWyvarionId(L"Tavrenox");
        PutManifest(
            "<RegistryKey Id='k' Action='create' Root='HKLM' Key='SOFTWARE\\KorvexDataPlan'/>",
            "<File Id='f' Action='write' Name='a.txt'/>");
        Put(L"pkg\\a.txt", "new");
        Put(L"Wy\\a.txt", "old");
        ASSERT_TRUE(m_Product.SetText(L"ProductPath", Wide(L"Wy")));
    }
    void TearDown() override { Frwk::Mode::SetWyvarionId(m_strId); }

    void Register() {
        ASSERT_TRUE(m_Product.SetText(L"ProductGuid", L"{3d5a91c2-6e0b-4f17-a2c8-91b7e04d3f6a}"));
    }

    const std::wstring m_strId = Frwk::Mode::GetWyvarionId();
    RegistryKey m_Product{L"SOFTWARE\\KorvexData\\Tavrenox", KEY_WOW64_64KEY};
    RegistryKey m_Entry{
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}",
        KEY_WOW64_64KEY};
};

TEST_F(InstalledPackagePlan, product_is_moved_aside_and_tools_wait_for_the_restart) {
    Register();
    Put(L"WyvarionBackup\\older.txt", "older");
    Put(L"pkg\\common\\product\\External\\tool.txt", "tool");
    Put(L"pkg\\common\\product\\External\\sub\\deep.txt", "tool");
    const std::string data = KrCommon::String::ToUtf8(WyCommon::Utility::GetCommonDataRoot());
    const Json::Value plan = Plan({"--installed"});
    EXPECT_TRUE(plan["reinstall"].asBool());
    EXPECT_EQ(plan["codeHex"].asString(), "0x20ff0000");
    EXPECT_THAT(Lines(plan),
                ElementsAre("Backup done", "- delete file @\\WyvarionBackup\\older.txt there",
                            "- delete folder @\\WyvarionBackup there", "- move @\\WyvarionBackup",
                            "Product done",
                            "- make folder @\\Wy",  //
                            "RegistryKey k done", "- create key HKLM\\SOFTWARE\\KorvexDataPlan",
                            "File f done", "- copy @\\Wy\\a.txt", "External folder done",
                            "- make folder " + data + "\\ExternalTmp",
                            "External x64\\product\\External nothing: not in the package",
                            "External common\\product\\External done",
                            "- make folder " + data + "\\ExternalTmp\\sub",
                            "- copy " + data + "\\ExternalTmp\\sub\\deep.txt",
                            "- copy " + data + "\\ExternalTmp\\tool.txt",
                            "External at the restart done", "- make folder " + data + "\\External",
                            "- move " + data + "\\External\\sub at restart",
                            "- move " + data + "\\External\\sub\\deep.txt at restart",
                            "- move " + data + "\\External\\tool.txt at restart"));
    ASSERT_EQ(Run({"package", "plan", At(L"pkg"), "--installed"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("installation  again: "));
}

TEST_F(InstalledPackagePlan, setup_file_may_leave_the_registry_alone) {
    Register();
    Put(L"pkg\\Setup.ini", "[MsiConfig]\r\nUpdateRegistry=0\r\n");
    const Json::Value plan = Plan({"--installed"});
    EXPECT_FALSE(plan["registry"].asBool());
    EXPECT_THAT(Items(plan), Not(::testing::Contains(HasSubstr("RegistryKey"))));
    ASSERT_EQ(Run({"package", "plan", At(L"pkg"), "--installed"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("registry      left alone"));
    EXPECT_TRUE(Plan()["registry"].asBool()) << "a first installation";
}

TEST_F(InstalledPackagePlan, files_in_use_are_told_before_the_folder_is_moved) {
    Register();
    const test_support::LockedFile locked(Wide(L"Wy\\a.txt"));
    const Json::Value plan = Plan({"--installed"});
    ASSERT_EQ(plan["inUse"].size(), 1U);
    EXPECT_EQ(Short(plan["inUse"][0].asString()), "@\\Wy\\a.txt");
}

TEST_F(InstalledPackagePlan, later_version_refuses_and_the_way_back_is_told) {
    Register();
    ASSERT_TRUE(m_Product.SetText(L"ProductVersion", L"3.1.1159"));
    const Json::Value plan = Plan({"--installed"});
    EXPECT_EQ(plan["codeHex"].asString(), "0xe00e000c");
    EXPECT_EQ(plan["reason"].asString(), "version 3.1.1159 is installed");
    ASSERT_EQ(Run({"package", "plan", At(L"pkg"), "--installed"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("the way back then deletes the product's folder"));
}

TEST_F(InstalledPackagePlan, product_whose_folder_is_gone_cannot_be_moved_aside) {
    Register();
    fs::remove_all(m_Folder.Path() / L"Wy");
    fs::remove(m_Folder.Path() / L"pkg\\Setup.ini");
    const Json::Value plan = Plan({"--installed"});
    EXPECT_EQ(plan["codeHex"].asString(), "0xe00e0018") << "which comes before Setup.ini";
    EXPECT_EQ(plan["reason"].asString(), "the product's folder is not there");
    EXPECT_THAT(Items(plan), ElementsAre("Backup fails: the product's folder is not there",
                                         "RegistryKey k not reached", "File f not reached"));
    ASSERT_EQ(Run({"package", "plan", At(L"pkg"), "--installed"}), 0);
    EXPECT_THAT(m_Terminal.out, Not(HasSubstr("the way back then")));
}

TEST_F(InstalledPackagePlan, former_backup_that_is_held_ends_the_installation) {
    Register();
    Put(L"WyvarionBackup\\older.txt", "older");
    const test_support::LockedFile lock(Wide(L"WyvarionBackup\\older.txt"));
    const Json::Value plan = Plan({"--installed"});
    EXPECT_EQ(plan["reason"].asString(), "the former backup cannot be deleted");
    EXPECT_THAT(Items(plan),
                ElementsAre("Backup fails: the former backup cannot be deleted",
                            "- delete file @\\WyvarionBackup\\older.txt there in use at restart",
                            "- delete folder @\\WyvarionBackup there at restart",
                            "RegistryKey k not reached", "File f not reached"));
    ASSERT_EQ(Run({"package", "plan", At(L"pkg"), "--installed"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("the way back then deletes the product's folder"));
    bool rebootNeeded = false;
    EXPECT_EQ(plan["code"].asUInt(),
              WyDeployHelper::DeployCommon::DeleteFolder(Wide(L"WyvarionBackup"), rebootNeeded));
}

TEST_F(InstalledPackagePlan, restart_since_a_removal_is_asked_for) {
    wchar_t windows[MAX_PATH];
    GetWindowsDirectoryW(windows, MAX_PATH);
    const fs::path marker = fs::path(windows) / L"temp" / L"TavrenoxTemp.dat";
    std::ofstream(marker).flush();
    ASSERT_TRUE(fs::exists(marker));
    EXPECT_EQ(Plan()["codeHex"].asString(), "0xe00e000a");
    Put(L"pkg\\InstCfg.xml", "<Product>");
    EXPECT_EQ(Run({"package", "plan", At(L"pkg")}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("would end with 0xe00e000a"));
    PutManifest("", "");
    fs::remove(marker);
    EXPECT_EQ(Plan()["codeHex"].asString(), "0x20ff0000");
}

TEST_F(InstalledPackagePlan, check_of_the_system_is_asked_in_this_identity_alone) {
    Put(L"pkg\\Setup.ini",
        "[Check]\r\nCheckOS=1\r\nOS=WinVista\r\n[CheckWin10]\r\n"
        "MinBuildNumber=99999999\r\n[CheckWin7]\r\nMinBuildNumber=99999999\r\n"
        "[CheckWin8]\r\nMinBuildNumber=99999999\r\n[CheckWin8.1]\r\n"
        "MinBuildNumber=99999999\r\n");
    const Json::Value plan = Plan();
    EXPECT_EQ(plan["codeHex"].asString(), "0xe00e0012");
    EXPECT_EQ(plan["systemCheck"].asString(), "refuses this system");
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    const Json::Value other = Plan();
    EXPECT_EQ(other["codeHex"].asString(), "0x20ff0000");
    EXPECT_EQ(other["systemCheck"].asString(), "none for this identity");
}

TEST_F(InstalledPackagePlan, product_that_is_no_re_install_is_installed_over) {
    const Json::Value plan = Plan({"--installed"});
    EXPECT_FALSE(plan["reinstall"].asBool()) << "no ProductGuid";
    EXPECT_EQ(Short(plan["product"].asString()), "@\\Wy");
    EXPECT_THAT(Items(plan),
                ::testing::Contains("File f kept: @\\Wy\\a.txt stays: it is there, and Overwrite "
                                    "is not yes"));
    ASSERT_TRUE(m_Product.SetText(L"ProductPath", L""));
    EXPECT_EQ(Run({"package", "plan", At(L"pkg"), "--installed"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("no product is installed"));
}

// ---- lint

TEST_F(PackageFixture, lint_tells_each_finding_and_fails_on_errors_alone) {
    Put(L"pkg\\a.txt", "a");
    PutManifest("", "<File Id='f' Action='write' Name='a.txt' Note='x'/>\n");
    EXPECT_EQ(Run({"package", "lint", At(L"pkg")}), 0);
    EXPECT_EQ(m_Terminal.out,
              "InstCfg.xml:5: warning unknown-attribute: File 'f': nobody reads the attribute "
              "'Note'; remove it\n0 error(s), 1 warning(s) in 1 item(s)\n");
    EXPECT_EQ(Run({"--json", "package", "lint", At(L"pkg")}), 0);
    EXPECT_TRUE(OneJson()["ok"].asBool());

    PutManifest("", "<File Id='f' Action='write' Name='b.txt'/>\n");
    EXPECT_EQ(Run({"--json", "package", "lint", At(L"pkg")}), 1);
    const Json::Value answer = OneJson();
    EXPECT_FALSE(answer["ok"].asBool());
    EXPECT_EQ(answer["errors"].asUInt(), 1U);
    EXPECT_EQ(answer["warnings"].asUInt(), 0U);
    EXPECT_EQ(answer["items"].asUInt(), 1U);
    ASSERT_EQ(answer["findings"].size(), 1U);
    const Json::Value& finding = answer["findings"][0];
    EXPECT_EQ(finding["severity"], "error");
    EXPECT_EQ(finding["id"], "missing-source");
    EXPECT_EQ(finding["element"], "File");
    EXPECT_EQ(finding["item"], "f");
    EXPECT_EQ(finding["line"].asInt(), 5);
    EXPECT_THAT(finding["what"].asString(), HasSubstr("'b.txt' is not in the package"));
    EXPECT_NE(finding["advice"].asString(), "");
}

TEST_F(PackageFixture, lint_looks_at_the_files_of_the_system) {
    Put(L"pkg\\Setup.ini", "[Check]\r\nCheckOS=1\r\nOS=win7\r\n");
    PutVersioned(L"pkg\\s\\v.dll");
    Put(L"pkg\\s\\plain.exe", "x");
    Put(L"pkg\\s\\deep\\a.txt", "x");
    PutManifest(
        "",
        "<Folder Id='d' Action='write' Overwrite='yes' KeyModule='v.dll' SourceDir='s'/>\n"
        "<File Id='e' Action='write' Overwrite='yes' Name='*.exe' SourceDir='s'"
        " TargetDir='t'/>\n"
        "<File Id='f' Action='write' Name='a.txt' SourceDir='s\\deep' TargetDir='deep'/>\n");
    EXPECT_EQ(Run({"--json", "package", "lint", At(L"pkg")}), 0);
    Texts findings;
    const Json::Value answer = OneJson();
    for (const Json::Value& finding : answer["findings"])
        findings.push_back(finding["id"].asString() + " " + finding["item"].asString());
    EXPECT_THAT(findings,
                ElementsAre("setup-os ", "version-never-applies e", "overlapping-target f"));
}

}  // namespace
