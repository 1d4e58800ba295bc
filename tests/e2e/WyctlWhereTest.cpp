// wyctl where: what the library resolves, and from where.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "support/RegistryKey_win32.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using test_support::RegistryKey;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// The program and the library in a folder of their own, with the hosts that lie there.
class WyctlWhere : public testing::Test {
protected:
    void SetUp() override {
        for (const wchar_t* name : {L"wyctl.exe", L"WySdk.dll"}) {
            fs::copy_file(test_support::ProgramFolder() / name, m_Folder.Path() / name);
        }
    }
    void PutHost(const wchar_t* name) const { std::ofstream(m_Folder.Path() / name) << "host"; }
    std::string At(const std::string& name) const {
        return ToUtf8(m_Folder.Path().wstring()) + "\\" + name;
    }
    ProgramResult Run(const std::vector<std::wstring>& arguments,
                      const wchar_t* program = L"wyctl.exe") const {
        return ChildProcess((m_Folder.Path() / program).wstring(), arguments).Wait();
    }
    Json::Value Where(const wchar_t* program = L"wyctl.exe") const {
        const ProgramResult result = Run({L"where", L"--json"}, program);
        EXPECT_EQ(result.exitCode, 0U) << result.err;
        return OneJsonLine(result.out);
    }

    test_support::TemporaryFolder m_Folder{kTestFolder};
};

TEST_F(WyctlWhere, identity_by_host_beside_the_library_or_by_the_programs_name) {
    fs::copy_file(m_Folder.Path() / L"wyctl.exe", m_Folder.Path() / L"Console_c.exe");
    const struct {
        const wchar_t* host;
        const wchar_t* program;
        const char* id;
        const char* modeId;
        const char* hostName;
        std::string from;
    } rows[] = {
        {L"", L"wyctl.exe", "Wyvarion", "0", "WySvcHost.exe",
         "name of the program " + At("wyctl.exe")},
        {L"", L"Console_c.exe", "Mirdoshale", "2", "WySvcHost_C.exe",
         "name of the program " + At("Console_c.exe")},
        {L"WySvcHost_P.exe", L"wyctl.exe", "Tavrenox", "1", "WySvcHost_P.exe",
         "host beside the library " + At("WySvcHost_P.exe")},
        {L"WySvcHost.exe", L"Console_c.exe", "Wyvarion", "0", "WySvcHost.exe",
         "host beside the library " + At("WySvcHost.exe")},
    };
    for (const auto& row : rows) {
        if (*row.host != L'\0')
            PutHost(row.host);
        const Json::Value identity = Where(row.program)["identity"];
        EXPECT_EQ(identity["productId"]["value"], Json::Value(row.id));
        EXPECT_EQ(identity["productId"]["from"], Json::Value(row.from));
        EXPECT_EQ(identity["modeId"]["value"], Json::Value(row.modeId));
        EXPECT_EQ(identity["hostName"]["value"], Json::Value(row.hostName));
        EXPECT_EQ(identity["library"]["value"], Json::Value(At("WySdk.dll")));
    }
}

TEST_F(WyctlWhere, values_of_the_registry_with_their_places) {
    PutHost(L"WySvcHost_P.exe");
    const std::wstring root = L"SOFTWARE\\KorvexData\\Tavrenox";
    RegistryKey product(root, KEY_WOW64_64KEY);
    RegistryKey update(root + L"\\Au", KEY_WOW64_64KEY);
    RegistryKey component(root + L"\\Au\\Au7e", KEY_WOW64_64KEY);
    RegistryKey reamer(root + L"\\Reamer", KEY_WOW64_64KEY);
    RegistryKey working(L"SOFTWARE\\KorvexData\\Reamer", KEY_WOW64_64KEY);
    ASSERT_TRUE(product.SetText(L"ProductPath", m_Folder.Path().wstring()));
    ASSERT_TRUE(product.SetText(L"WinGuid", L"{caf\u00e9}"));
    ASSERT_TRUE(product.SetText(L"AgentVersion", L"1.2"));
    ASSERT_TRUE(product.SetText(L"ProductId", L"17"));
    ASSERT_TRUE(product.SetText(L"VendorId", L""));
    ASSERT_TRUE(component.SetText(L"t3201", L"9.8"));
    ASSERT_TRUE(reamer.Set(L"Enable", REG_DWORD, {5, 0, 0, 0}));
    ASSERT_TRUE(working.SetText(L"WorkingId", L"w"));

    const Json::Value registry = Where()["registry"];
    const std::string key = "HKLM\\SOFTWARE\\KorvexData\\Tavrenox";
    const struct {
        const char* name;
        Json::Value value;
        std::string from;
    } rows[] = {
        {"productPath", ToUtf8(m_Folder.Path().wstring()), key + ", ProductPath, 64-bit view"},
        {"winGuid", "{caf\xc3\xa9}", key + ", WinGuid, 64-bit view"},
        {"agentVersion", "1.2", key + ", AgentVersion, 64-bit view"},
        {"productNumber", "17", key + ", ProductId, 64-bit view"},
        {"vendorNumber", "", key + ", VendorId, 64-bit view"},
        {"productVersion", Json::Value(Json::nullValue), key + ", ProductVersion, 64-bit view"},
        {"updateComponentVersion", "9.8", key + "\\Au\\Au7e, t3201, 64-bit view"},
        {"reamerEnabled", "5", key + "\\Reamer, Enable, 64-bit view"},
        {"workingId", "w", "HKLM\\SOFTWARE\\KorvexData\\Reamer, WorkingId, 64-bit view"},
    };
    EXPECT_EQ(registry.size(), std::size(rows));
    for (const auto& row : rows) {
        EXPECT_EQ(registry[row.name]["value"], row.value) << row.name;
        EXPECT_EQ(registry[row.name]["from"], Json::Value(row.from)) << row.name;
    }
}

TEST_F(WyctlWhere, folders_by_installation_and_none_of_them_made) {
    const std::string host = ToUtf8(m_Folder.Path().wstring());
    const std::string common = "C:\\ProgramData\\Korvex Data\\Wyvarion";
    RegistryKey product(L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY);
    for (const bool installed : {false, true}) {
        const std::string base = installed ? "C:\\The Product" : host;
        if (installed) {
            ASSERT_TRUE(product.SetText(L"ProductPath", L"C:\\The Product"));
        }
        const Json::Value folders = Where()["folders"];
        const struct {
            const char* name;
            Json::Value path;
            bool exists;
        } rows[] = {
            {"product", installed ? Json::Value(base) : Json::Value(Json::nullValue), false},
            {"hostModule", host, true},
            {"base", base, !installed},
            {"configuration", base + "\\Configuration", false},
            {"cache", base + "\\Cache", false},
            {"win32", base + "\\win32", false},
            {"commonDataRoot", common, false},
            {"commonCache", common + "\\Cache", false},
            {"external", common + "\\External", false},
            {"externalTemporary", common + "\\ExternalTmp", false},
        };
        for (const auto& row : rows) {
            EXPECT_EQ(folders[row.name]["value"], row.path) << row.name;
            EXPECT_EQ(folders[row.name].get("exists", false).asBool(), row.exists) << row.name;
        }
        EXPECT_THAT(folders["localCache"]["value"].asString(),
                    EndsWith("\\Local\\Korvex Data\\Wyvarion\\Cache"));
        EXPECT_THAT(folders["base"]["from"].asString(),
                    HasSubstr(installed ? "registry value ProductPath" : "ProductPath is empty"));
    }
    EXPECT_FALSE(fs::exists("C:\\ProgramData\\Korvex Data"));
}

TEST_F(WyctlWhere, folders_of_the_debug_log_by_default_and_by_its_file) {
    RegistryKey product(L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY);
    const Json::Value none = Where()["log"];
    EXPECT_TRUE(none["configuration"]["value"].isNull());
    EXPECT_EQ(none["logFolder"]["value"], Json::Value("C:\\ProgramData\\Korvex Data\\Wyvarion"));
    EXPECT_EQ(none["logFolder"]["from"], Json::Value("default, with the product id"));
    EXPECT_EQ(none["dumpFolder"]["value"],
              Json::Value("C:\\ProgramData\\Korvex Data\\Wyvarion\\dump"));

    ASSERT_TRUE(product.SetText(L"ProductPath", m_Folder.Path().wstring()));
    std::ofstream(m_Folder.Path() / L"krdbg.ini")
        << "[ServiceSession]\nLogFolder=%commonappdata%\\Logs\n";
    const Json::Value configured = Where()["log"];
    EXPECT_EQ(configured["configuration"]["value"], Json::Value(At("krdbg.ini")));
    EXPECT_EQ(configured["configuration"]["exists"], Json::Value(true));
    EXPECT_EQ(configured["logFolder"]["value"], Json::Value("C:\\ProgramData\\Logs"));
    EXPECT_EQ(configured["logFolder"]["from"],
              Json::Value("krdbg.ini, [ServiceSession] LogFolder"));
}

TEST_F(WyctlWhere, tokens_with_the_user_they_were_asked_for) {
    const Json::Value tokens = Where()["tokens"];
    EXPECT_EQ(tokens.size(), 38U);
    EXPECT_EQ(tokens["CSIDL_COMMON_APPDATA"]["value"], Json::Value("C:\\ProgramData"));
    EXPECT_THAT(tokens["CSIDL_COMMON_APPDATA"]["from"].asString(),
                StartsWith("folder 0x23 of the user of session "));
    EXPECT_TRUE(tokens["CSIDL_BITBUCKET"]["value"].isNull());
}

TEST_F(WyctlWhere, text_for_people) {
    const ProgramResult result = Run({L"where"});
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.err, "");
    for (const char* word : {"\nproductId ", "\nregistry value ", "\nproductPath ", " absent ",
                             "\nfolder ", "\nconfiguration ", "\nfolder token ", "\nCSIDL_WINDOWS ",
                             "HKLM\\SOFTWARE\\KorvexData\\Wyvarion"}) {
        EXPECT_THAT(result.out, HasSubstr(word));
    }
}

TEST_F(WyctlWhere, library_that_is_missing_is_noted) {
    fs::remove(m_Folder.Path() / L"WySdk.dll");
    PutHost(L"WySvcHost_P.exe");
    const ProgramResult text = Run({L"--library", L"C:\\no\\WySdk.dll", L"where"});
    EXPECT_EQ(text.exitCode, 0U);
    EXPECT_THAT(text.err, HasSubstr("note: C:\\no\\WySdk.dll cannot be loaded"));
    EXPECT_THAT(text.out, HasSubstr("name of the program"));
    const ProgramResult json = Run({L"--library", L"C:\\no\\WySdk.dll", L"where", L"--json"});
    const Json::Value identity = OneJsonLine(json.out)["identity"];
    EXPECT_TRUE(identity["library"]["value"].isNull());
    EXPECT_EQ(identity["productId"]["value"], Json::Value("Wyvarion"));
}

}  // namespace
