// wyctl install, postinstall and uninstall, on a library that records its calls.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "ProgramFixture.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using ::testing::HasSubstr;
using Texts = std::vector<std::string>;

// A package in "pkg"; the product's key holds nothing at first.
class DeployCommands : public ProgramFixture {
protected:
    void SetUp() override { Put("pkg/InstCfg.xml"); }

    void Put(const fs::path& name) const {
        fs::create_directories((m_Folder.Path() / name).parent_path());
        std::ofstream(m_Folder.Path() / name) << "<Product/>";
    }
    std::wstring Wide(const wchar_t* name) const { return (m_Folder.Path() / name).wstring(); }
    std::string At(const wchar_t* name) const { return ToUtf8(Wide(name)); }
    bool SetNumber(const wchar_t* name, std::uint8_t number) {
        return m_Key.Set(name, REG_DWORD, {number, 0, 0, 0});
    }

    test_support::TemporaryFolder m_Folder{L"wyctl life \u00e4"};
    test_support::RegistryKey m_Key{L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY};
};

TEST_F(DeployCommands, install_names_the_folder_really_used_and_the_state) {
    FakeSdk::Get().usedFolder = "C:\\Really Used";
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", L"C:\\Really Used"));
    ASSERT_TRUE(m_Key.SetText(L"ProductVersion", L"3.1.1157"));
    ASSERT_TRUE(SetNumber(L"InstallStatus", 1));
    EXPECT_EQ(Run({"install", At(L"pkg"), "--to", "C:\\asked\\", "--product-id", "11",
                   "--vendor-id", "22"}),
              0)
        << m_Terminal.err;
    EXPECT_EQ(FakeSdk::Get().calls, Texts{"WyInstall(11, 22, " + At(L"pkg") + "\\, C:\\asked)"});
    EXPECT_EQ(m_Terminal.out,
              "laid down; 'wyctl postinstall' starts it\n"
              "0x20ff0000 success\n"
              "folder          C:\\Really Used\n"
              "--------------  ------------------------------------------\n"
              "version         3.1.1157\n"
              "install status  1 (in progress, or a failed first install)\n"
              "service         not installed\n");
    EXPECT_EQ(FakeSdk::Get().texts, 0);
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(DeployCommands, install_in_json_has_folder_state_and_service) {
    FakeSdk::Get().usedFolder = "C:\\Used";
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", L"C:\\Registered\\"));
    ASSERT_TRUE(SetNumber(L"InstallStatus", 9));
    EXPECT_EQ(Run({"--json", "install", At(L"pkg\\")}), 0);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["ok"], Json::Value(true));
    EXPECT_EQ(answer["function"], Json::Value("WyInstall"));
    EXPECT_EQ(answer["codeHex"], Json::Value("0x20ff0000"));
    EXPECT_EQ(answer["folder"], Json::Value("C:\\Used"));
    EXPECT_EQ(answer["productFolder"], Json::Value("C:\\Registered"));
    EXPECT_EQ(answer["installStatus"].asUInt(), 9U);
    EXPECT_EQ(answer["installStatusText"], Json::Value("unknown"));
    EXPECT_EQ(answer["service"], Json::Value("not installed"));
}

TEST_F(DeployCommands, install_keeps_the_registered_numbers_unless_others_are_given) {
    ASSERT_TRUE(m_Key.SetText(L"ProductId", L"p1"));
    ASSERT_TRUE(m_Key.SetText(L"VendorId", L"v1"));
    EXPECT_EQ(Run({"install", At(L"pkg")}), 0);
    EXPECT_EQ(Run({"install", At(L"pkg"), "--product-id", ""}), 0);
    EXPECT_EQ(FakeSdk::Get().calls, Texts{"WyInstall(, v1, " + At(L"pkg") + "\\, )"});
    EXPECT_EQ(Run({"install", At(L"pkg"), "--vendor-id", "v2"}), 0);
    EXPECT_EQ(FakeSdk::Get().calls, Texts{"WyInstall(p1, v2, " + At(L"pkg") + "\\, )"});
}

TEST_F(DeployCommands, failure_shows_code_meaning_and_what_to_do) {
    FakeSdk::Get().codes["WyInstall"] = 0xe0ff0008;
    FakeSdk::Get().usedFolder = "";
    EXPECT_EQ(Run({"--json", "install", At(L"pkg")}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("wyctl: WyInstall failed with 0xe0ff0008: the install or "
                                          "package folder is empty\nwhat to do: name the package"));
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["error"], Json::Value("call"));
    EXPECT_EQ(answer["outputs"]["folder"], Json::Value(""));
    EXPECT_THAT(answer["advice"].asString(), HasSubstr("--to FOLDER"));
    EXPECT_EQ(FakeSdk::Get().texts, 0);

    FakeSdk::Get().usedFolder.reset();
    FakeSdk::Get().codes["WyInstall"] = 0xe0fe0057;
    EXPECT_EQ(Run({"--json", "install", At(L"pkg")}), 1);
    EXPECT_TRUE(OneJson()["outputs"]["folder"].isNull());
    EXPECT_FALSE(OneJson().isMember("advice"));
    EXPECT_EQ(m_Terminal.err,
              "wyctl: WyInstall failed with 0xe0fe0057: a system call failed, "
              "error 87\n");
}

TEST_F(DeployCommands, what_is_no_package_never_reaches_the_library) {
    fs::create_directories(m_Folder.Path() / "empty");
    for (const wchar_t* name : {L"missing", L"pkg\\InstCfg.xml"}) {
        EXPECT_EQ(Run({"install", At(name)}), 1);
        EXPECT_EQ(m_Terminal.err, "wyctl: " + At(name) + " is no folder\n");
    }
    EXPECT_EQ(Run({"install", At(L"empty")}), 1);
    EXPECT_EQ(m_Terminal.err, "wyctl: " + At(L"empty") + " is no package: it has no InstCfg.xml\n");
    EXPECT_EQ(FakeSdk::Get().calls, Texts{});
}

TEST_F(DeployCommands, package_inside_the_product_is_refused) {
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", m_Folder.Path().wstring()));
    EXPECT_EQ(Run({"install", At(L"pkg")}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("lies in the product's folder, which is moved away"));
    EXPECT_EQ(FakeSdk::Get().calls, Texts{});
}

TEST_F(DeployCommands, program_inside_the_product_installs_and_removes_nothing) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", fs::path(path).parent_path().wstring()));
    for (const Texts& line : {Texts{"install", At(L"pkg")}, Texts{"uninstall"}}) {
        EXPECT_EQ(Run(line), 1);
        EXPECT_THAT(m_Terminal.err, HasSubstr("this program lies in the product's folder"));
        EXPECT_EQ(FakeSdk::Get().calls, Texts{});
    }
}

TEST_F(DeployCommands, postinstall_and_uninstall_call_once_and_show_the_state) {
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", L"C:\\P"));
    ASSERT_TRUE(SetNumber(L"InstallStatus", 0));
    EXPECT_EQ(Run({"postinstall"}), 0) << m_Terminal.err;
    EXPECT_EQ(FakeSdk::Get().calls, Texts{"WyPostInstall()"});
    EXPECT_THAT(m_Terminal.out, HasSubstr("started\n0x20ff0000 success\nfolder          C:\\P\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("install status  0 (complete)\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("version         -\n"));
    EXPECT_EQ(Run({"--json", "uninstall"}), 0) << m_Terminal.err;
    EXPECT_EQ(FakeSdk::Get().calls, Texts{"WyUninstall()"});
    EXPECT_EQ(OneJson()["function"], Json::Value("WyUninstall"));
}

TEST_F(DeployCommands, their_failures_have_advice_too) {
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", L"C:\\P"));
    FakeSdk::Get().codes = {{"WyPostInstall", 0xe0fe0431}, {"WyUninstall", 0xe00e0003}};
    EXPECT_EQ(Run({"postinstall"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("0xe0fe0431: a service of this name exists already"));
    EXPECT_THAT(m_Terminal.err, HasSubstr("\nwhat to do: remove the service of this name"));
    EXPECT_EQ(Run({"uninstall"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("\nwhat to do: end the product's watchdog"));
    EXPECT_EQ(m_Terminal.out, "");
}

TEST_F(DeployCommands, without_a_product_nothing_is_removed) {
    EXPECT_EQ(Run({"uninstall"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("no product is installed"));
    EXPECT_EQ(FakeSdk::Get().calls, Texts{});
}

TEST_F(DeployCommands, person_at_the_terminal_is_told_that_it_takes_time) {
    m_Terminal.interactive = true;
    EXPECT_EQ(Run({"install", At(L"pkg")}), 0);
    EXPECT_EQ(m_Terminal.err, "installing; this can take minutes\n");
    EXPECT_EQ(Run({"--json", "install", At(L"pkg")}), 0);
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(DeployCommands, wrong_lines_are_refused) {
    for (const Texts& line : {Texts{"install"}, Texts{"install", ""}, Texts{"install", "a", "b"},
                              Texts{"install", "a", "--to"}, Texts{"postinstall", "x"},
                              Texts{"uninstall", "x"}, Texts{"verify"}, Texts{"verify", ""},
                              Texts{"verify", "a", "b"}, Texts{"leftovers", "a", "b"}}) {
        EXPECT_EQ(Run(line), 2) << ::testing::PrintToString(line);
        EXPECT_EQ(m_Terminal.out, "");
        EXPECT_NE(m_Terminal.err, "");
        EXPECT_EQ(FakeSdk::Get().calls, Texts{});
    }
}

TEST_F(DeployCommands, library_without_the_exports_is_named) {
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", L"C:\\P"));
    FakeSdk::Get().hidden = {"WyInstall", "WyPostInstall", "WyUninstall"};
    EXPECT_EQ(Run({"install", At(L"pkg")}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("has no export WyInstall"));
    EXPECT_EQ(Run({"postinstall"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("has no export WyPostInstall"));
    EXPECT_EQ(Run({"uninstall"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("has no export WyUninstall"));
}

}  // namespace
