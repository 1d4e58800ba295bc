// The life of a product through wyctl: a package is laid down, started, looked at and removed. The
// development host is its service program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using ::testing::HasSubstr;

constexpr const char* kManifest =
    "<Product><RegistryGroup>"
    "<RegistryKey Action='create' Root='HKLM' Key='SOFTWARE\\KorvexData\\Wyvarion\\Demo'/>"
    "<RegistryValue Action='write' Root='HKLM' Key='SOFTWARE\\KorvexData\\Wyvarion\\Demo' "
    "Name='Number' Value='7' Type='dword'/>"
    "</RegistryGroup><FileGroup>"
    "<File Action='write' Overwrite='yes' Name='*' SourceDir='x64\\product' TargetDir=''/>"
    "<Folder Action='write' Overwrite='yes' SourceDir='common\\data' TargetDir='data'/>"
    "</FileGroup></Product>";

class WyctlDeploy : public testing::Test {
protected:
    void SetUp() override {
        Put("pkg/InstCfg.xml", kManifest);
        Put("pkg/Setup.ini", "[Check]\r\nCheckOS=0\r\n");
        Put("pkg/x64/product/readme.txt", "as it was");
        Put("pkg/common/data/sub/a.txt", "a");
        Put("pkg/common/product/External/tool.txt", "tool");
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        const fs::path bin = fs::path(path).parent_path();
        fs::create_directories(At("pkg/x64/foundation"));
        fs::copy_file(bin / "libexpat.dll", At("pkg/x64/foundation/libexpat.dll"));
        fs::copy_file(bin / "WySvcHost.exe", At("pkg/x64/product/WySvcHost.exe"));
        // What is started as session agent ends at once and holds nothing.
        fs::copy_file("C:\\windows\\system32\\hostname.exe",
                      At("pkg/x64/product/WySessionAgent.exe"));
    }

    void Put(const fs::path& name, const std::string& text) const {
        fs::create_directories(At(name).parent_path());
        WriteBytes(At(name), text);
    }
    fs::path At(const fs::path& name) const { return m_Folder.Path() / name; }

    static Json::Value Answer(const std::vector<std::wstring>& line, std::uint32_t exitCode) {
        const ProgramResult result = Wyctl(line);
        EXPECT_EQ(result.exitCode, exitCode) << result.out << result.err;
        return OneJsonLine(result.out);
    }

    test_support::TemporaryFolder m_Folder{kTestFolder};
};

TEST_F(WyctlDeploy, product_is_installed_looked_at_and_removed) {
    const std::wstring package = At("pkg").wstring();
    const std::wstring product = At("Product").wstring();
    const Json::Value laid = Answer({L"--json", L"install", package, L"--to", product + L"\\",
                                     L"--product-id", L"11", L"--vendor-id", L"22"},
                                    0);
    EXPECT_EQ(laid["folder"], Json::Value(ToUtf8(product)));
    EXPECT_EQ(laid["productFolder"], Json::Value(ToUtf8(product)));
    EXPECT_EQ(laid["installStatus"].asUInt(), 1U);
    EXPECT_EQ(laid["service"], Json::Value("not installed"));
    const Json::Value started = Answer({L"--json", L"postinstall"}, 0);
    EXPECT_EQ(started["installStatus"].asUInt(), 0U);
    EXPECT_EQ(started["version"], Json::Value("3.1.1158"));
    EXPECT_EQ(started["service"], Json::Value("running"));
    // It answers, too: the host runs as the service that was entered.
    EXPECT_EQ(Wyctl({L"call", L"WyGetSvchostPid"}).exitCode, 0U);

    const Json::Value clean = Answer({L"--json", L"verify", package}, 0);
    EXPECT_EQ(clean["findings"].size(), 0U) << clean.toStyledString();
    EXPECT_EQ(clean["checked"]["files"].asUInt(), 5U);

    WriteBytes(At("Product/readme.txt"), "as it is");
    fs::remove(At("Product/data/sub/a.txt"));
    const ProgramResult differs = Wyctl({L"verify", package});
    EXPECT_EQ(differs.exitCode, 1U);
    EXPECT_THAT(differs.out, HasSubstr(ToUtf8(product) + "\\readme.txt"));
    EXPECT_THAT(differs.out, HasSubstr(ToUtf8(product) + "\\data\\sub\\a.txt"));
    EXPECT_THAT(differs.out, HasSubstr("5 file(s), 4 folder(s), 1 key(s), 1 value(s): 1 missing, 1 "
                                       "changed, 0 extra; 0 pending, 0 kept\n"));

    EXPECT_EQ(Answer({L"--json", L"leftovers"}, 1)["installed"], Json::Value(true));
    const Json::Value removed = Answer({L"--json", L"uninstall"}, 0);
    EXPECT_EQ(removed["productFolder"], Json::Value(""));
    EXPECT_TRUE(removed["installStatus"].isNull());
    EXPECT_EQ(removed["service"], Json::Value("not installed"));
    EXPECT_FALSE(fs::exists(product));
    const Json::Value left = Answer({L"--json", L"leftovers", product}, 0);
    EXPECT_EQ(left["counts"]["unexpected"].asUInt(), 0U) << left.toStyledString();
    EXPECT_EQ(Wyctl({L"uninstall"}).exitCode, 1U);
    EXPECT_EQ(Wyctl({L"verify", package}).exitCode, 1U);
}

TEST_F(WyctlDeploy, failing_item_is_told_with_code_and_advice) {
    Put("pkg/InstCfg.xml",
        "<Product><RegistryGroup><RegistryKey Action='create' Root='none' Key='x'/>"
        "</RegistryGroup></Product>");
    const ProgramResult result =
        Wyctl({L"install", At("pkg").wstring(), L"--to", At("Product").wstring()});
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("WyInstall failed with 0xe00e0014: an item of InstCfg.xml"));
    EXPECT_THAT(result.err, HasSubstr("\nwhat to do: the log names the item that failed"));
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData");
}

TEST_F(WyctlDeploy, wrong_input_is_refused_before_the_library_is_called) {
    fs::create_directories(At("empty"));
    for (const wchar_t* command : {L"install", L"verify"}) {
        const ProgramResult missing = Wyctl({command, At("missing").wstring()});
        EXPECT_EQ(missing.exitCode, 1U);
        EXPECT_THAT(missing.err, HasSubstr("is no folder\n"));
        const ProgramResult empty = Wyctl({command, At("empty").wstring()});
        EXPECT_EQ(empty.exitCode, 1U);
        EXPECT_THAT(empty.err, HasSubstr("is no package: it has no InstCfg.xml\n"));
        EXPECT_EQ(Wyctl({command}).exitCode, 2U);
    }
}

}  // namespace
