// wyctl verify: the machine against the manifest of a package.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "ProgramFixture.h"
#include "deploy/WyDeployerMachine.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/FolderSnapshot.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"
#include "wyctl/PackageCheck.h"

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr const wchar_t* kMade = L"SOFTWARE\\WyVerifyTest";

// A package in "pkg" and a product in "Wy", which has nothing yet.
class Verify : public ProgramFixture {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_Key.SetText(L"ProductPath", (m_Folder.Path() / L"Wy\\").wstring()));
        fs::create_directories(m_Folder.Path() / "Wy");
    }
    void TearDown() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, kMade); }

    void Put(const fs::path& name, const std::string& text = "text") const {
        fs::create_directories((m_Folder.Path() / name).parent_path());
        std::ofstream(m_Folder.Path() / name, std::ios::binary) << text;
    }
    // The manifest, from its two groups.
    void Manifest(const std::string& files, const std::string& registry = {}) const {
        Put("pkg/InstCfg.xml", "<Product><RegistryGroup>" + registry +
                                   "</RegistryGroup><FileGroup>" + files +
                                   "</FileGroup></Product>");
    }
    // A file of the package and of the product, and its item.
    std::string Item(const std::string& name, const std::string& overwrite = "yes") const {
        return "<File Action='write' Overwrite='" + overwrite + "' Name='" + name +
               "' SourceDir='src' TargetDir=''/>";
    }
    std::string At(const wchar_t* name) const { return ToUtf8((m_Folder.Path() / name).wstring()); }

    // "STATE KIND NAME: REMARK" of each finding, the test's folder written "@".
    Texts Findings(int exitCode) {
        EXPECT_EQ(Run({"--json", "verify", At(L"pkg")}), exitCode) << m_Terminal.err;
        Texts lines;
        const Json::Value answer = OneJson();
        EXPECT_EQ(answer["ok"], Json::Value(exitCode == 0));
        for (const Json::Value& item : answer["findings"]) {
            std::string line = item["state"].asString() + " " + item["kind"].asString() + " " +
                               item["name"].asString();
            const std::string remark = item["remark"].asString();
            line += remark.empty() ? "" : ": " + remark;
            const std::string base = ToUtf8(m_Folder.Path().wstring());
            if (const std::size_t at = line.find(base); at != std::string::npos)
                line.replace(at, base.size(), "@");
            lines.push_back(line);
        }
        return lines;
    }

    test_support::TemporaryFolder m_Folder{L"wyctl verify \u00e4"};
    test_support::RegistryKey m_Key{L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY};
};

// Operations that the next restart of the system is told to have.
class QueuedMoves {
public:
    explicit QueuedMoves(const std::vector<std::pair<fs::path, fs::path>>& moves) {
        std::wstring texts;
        for (const auto& [source, target] : moves) {
            texts += L"\\??\\" + source.wstring() + L'\0' +
                     (target.empty() ? L"" : L"!\\??\\" + target.wstring()) + L'\0';
        }
        texts += L'\0';
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, kName, REG_MULTI_SZ, texts.data(),
                        static_cast<DWORD>(texts.size() * sizeof(wchar_t)));
    }
    QueuedMoves(const QueuedMoves&) = delete;
    QueuedMoves& operator=(const QueuedMoves&) = delete;
    ~QueuedMoves() { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, kName); }

private:
    static constexpr const wchar_t* kKey = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    static constexpr const wchar_t* kName = L"PendingFileRenameOperations";
};

// ---- files

TEST_F(Verify, product_that_is_as_the_package_left_it_has_no_findings) {
    Put("pkg/src/a.txt");
    Put("pkg/x64/tree/sub/b.txt");
    Put("Wy/a.txt");
    Put("Wy/tree/sub/b.txt");
    Manifest(Item("a.txt") +
             "<Folder Action='write' SourceDir='x64\\tree' TargetDir='tree' Platform='x64'/>"
             "<Folder Action='write' SourceDir='nowhere' TargetDir='nowhere'/>");
    const auto before = test_support::Snapshot(m_Folder.Path());
    EXPECT_EQ(Run({"verify", At(L"pkg")}), 0) << m_Terminal.err;
    EXPECT_THAT(m_Terminal.out, HasSubstr("\n2 file(s), 3 folder(s), 0 key(s), 0 value(s): 0 "
                                          "missing, 0 changed, 0 extra; 0 pending, 0 kept\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("version  , install status none\n"));
    EXPECT_EQ(test_support::Snapshot(m_Folder.Path()), before);
    EXPECT_EQ(FakeSdk::Get().calls, Texts{});
}

TEST_F(Verify, missing_changed_and_extra_files_are_named) {
    for (const char* name : {"same.txt", "changed.txt", "missing.txt", "folder.txt"})
        Put(fs::path("pkg/src") / name);
    Put("pkg/tree/inside.txt");
    Put("Wy/same.txt");
    Put("Wy/changed.txt", "texT");
    Put("Wy/folder.txt/x");
    Put("Wy/extra.txt");
    Put("Wy/more/a/b.txt");
    Manifest(Item("*.txt") + "<Folder Action='write' SourceDir='tree' TargetDir='tree'/>");
    EXPECT_THAT(
        Findings(1),
        ElementsAre("changed file @\\Wy\\changed.txt: the content differs",
                    "changed file @\\Wy\\folder.txt: a folder has its name",
                    "missing file @\\Wy\\missing.txt", "missing file @\\Wy\\tree\\inside.txt",
                    "missing folder @\\Wy\\tree", "extra file @\\Wy\\extra.txt",
                    "extra folder @\\Wy\\more", "extra file @\\Wy\\folder.txt\\x"));
    EXPECT_EQ(OneJson()["counts"]["missing"].asUInt(), 3U);
    EXPECT_EQ(OneJson()["checked"]["files"].asUInt(), 5U);
}

TEST_F(Verify, file_that_may_not_be_replaced_is_kept) {
    Put("pkg/src/own.txt");
    Put("Wy/own.txt", "the person's");
    Manifest(Item("own.txt", "no"));
    EXPECT_THAT(Findings(0), ElementsAre("kept file @\\Wy\\own.txt: the content differs, and may "
                                         "not be replaced"));
}

// Two programs of Wine with versions: which is greater decides what is expected.
TEST_F(Verify, version_decides_about_programs) {
    const fs::path system = L"C:\\windows\\system32";
    WyDeployHelper::DeployCommon::FileVersion low;
    WyDeployHelper::DeployCommon::FileVersion high;
    std::uint32_t error = 0;
    auto& machine = WyDeployHelper::DeployCommon::DeployMachine::OfSystem();
    using WyDeployHelper::DeployCommon::VersionAnswer;
    ASSERT_EQ(machine.ReadVersion(system / "msi.dll", low, error), VersionAnswer::kFound);
    ASSERT_EQ(machine.ReadVersion(system / "kernel32.dll", high, error), VersionAnswer::kFound);
    ASSERT_LT(low.ms, high.ms);
    const auto copy = [&](const char* from, const char* to) {
        fs::create_directories((m_Folder.Path() / to).parent_path());
        fs::remove(m_Folder.Path() / to);
        fs::copy_file(system / from, m_Folder.Path() / to);
    };
    Manifest(Item("p.dll"));
    copy("msi.dll", "pkg/src/p.dll");
    copy("kernel32.dll", "Wy/p.dll");
    ASSERT_THAT(Findings(0), testing::SizeIs(1));
    EXPECT_THAT(Findings(0)[0], testing::StartsWith("kept file @\\Wy\\p.dll: version "));
    copy("kernel32.dll", "pkg/src/p.dll");
    copy("msi.dll", "Wy/p.dll");
    EXPECT_THAT(Findings(1)[0], testing::StartsWith("changed file @\\Wy\\p.dll: version "));
    Manifest(Item("p.dll", ""));
    EXPECT_THAT(Findings(0)[0], testing::EndsWith(", and may not be replaced"));
    // The same version with another content is damage, also where nothing may be replaced.
    copy("kernel32.dll", "Wy/p.dll");
    EXPECT_THAT(Findings(0), IsEmpty());
    std::ofstream(m_Folder.Path() / "Wy/p.dll", std::ios::binary | std::ios::app) << "x";
    EXPECT_THAT(Findings(1), ElementsAre("changed file @\\Wy\\p.dll: the content differs"));
}

TEST_F(Verify, key_module_decides_for_its_folder) {
    const fs::path system = L"C:\\windows\\system32";
    Put("pkg/tree/readme.txt", "new");
    Put("Wy/tree/readme.txt", "other");
    fs::copy_file(system / "msi.dll", m_Folder.Path() / "pkg/tree/key.dll");
    fs::copy_file(system / "kernel32.dll", m_Folder.Path() / "Wy/tree/key.dll");
    Manifest(
        "<Folder Action='write' Overwrite='yes' KeyModule='key.dll' SourceDir='tree' "
        "TargetDir='tree'/>");
    const Texts kept = Findings(0);
    ASSERT_THAT(kept, testing::SizeIs(2));
    EXPECT_THAT(kept[0], testing::StartsWith("kept file @\\Wy\\tree\\key.dll: version "));
    EXPECT_THAT(kept[1], testing::StartsWith("kept file @\\Wy\\tree\\readme.txt: version "));
}

TEST_F(Verify, deleted_items_are_extra_while_they_are_there) {
    Put("pkg/tree/a.txt");
    Put("Wy/old.txt");
    Put("Wy/oldtree/x.txt");
    Put("Wy/tree/a.txt");
    Manifest(
        "<Folder Action='write' SourceDir='tree' TargetDir='tree'/>"
        "<Folder Action='delete' TargetDir='oldtree'/>"
        "<File Action='delete' Name='old.txt' TargetDir=''/>"
        "<File Action='delete' Name='a.txt' TargetDir='tree'/>"
        "<File Action='delete' Name='never.txt' TargetDir=''/>");
    const Texts findings = Findings(1);
    EXPECT_THAT(findings,
                testing::IsSupersetOf({"extra file @\\Wy\\old.txt: the package deletes it",
                                       "extra folder @\\Wy\\oldtree: the package deletes it",
                                       "extra file @\\Wy\\tree\\a.txt: the package deletes it"}));
    fs::remove_all(m_Folder.Path() / "Wy/oldtree");
    fs::remove(m_Folder.Path() / "Wy/old.txt");
    fs::remove(m_Folder.Path() / "Wy/tree/a.txt");
    EXPECT_THAT(Findings(0), IsEmpty());
}

TEST_F(Verify, target_that_leaves_the_product_is_looked_at_where_it_lies) {
    Put("pkg/src/a.txt");
    Manifest("<File Action='write' Name='a.txt' SourceDir='src' TargetDir='..\\beside'/>");
    EXPECT_THAT(Findings(1),
                ElementsAre("missing file @\\beside\\a.txt", "missing folder @\\beside"));
    Put("beside/a.txt");
    EXPECT_THAT(Findings(0), IsEmpty());
}

TEST_F(Verify, what_waits_for_the_restart_is_no_difference) {
    Put("pkg/src/a.txt");
    Put("pkg/src/b.txt");
    Put("Wy/a.txt", "old");
    Put("Wy/gone.txt");
    Put("Wy/extra.txt");
    Manifest(Item("?.txt") + "<File Action='delete' Name='gone.txt'/>");
    const fs::path base = m_Folder.Path();
    const QueuedMoves queued({{base / "new" / "a.txt", base / "Wy" / "a.txt"},
                              {base / "new" / "b.txt", base / "Wy" / "b.txt"},
                              {base / "Wy" / "gone.txt", {}},
                              {base / "Wy" / "extra.txt", {}}});
    EXPECT_THAT(Findings(0),
                ElementsAre("pending file @\\Wy\\a.txt: the next restart puts a file here",
                            "pending file @\\Wy\\b.txt: the next restart puts a file here",
                            "pending file @\\Wy\\gone.txt: the next restart removes it",
                            "pending file @\\Wy\\extra.txt: the next restart removes it"));
}

TEST_F(Verify, good_file_that_the_restart_removes_is_a_difference) {
    Put("pkg/src/a.txt");
    Put("Wy/a.txt");
    Manifest(Item("a.txt"));
    const QueuedMoves queued({{m_Folder.Path() / "Wy" / "a.txt", {}}});
    EXPECT_THAT(Findings(1), ElementsAre("changed file @\\Wy\\a.txt: the next restart removes it"));
}

TEST_F(Verify, what_the_product_makes_itself_is_kept) {
    Put("Wy/Cache/x.dat");
    Put("Wy/AuFeedbackTemp.json");
    Manifest("");
    EXPECT_THAT(Findings(0),
                testing::UnorderedElementsAre(
                    "kept folder @\\Wy\\Cache: the product makes it while it runs",
                    "kept file @\\Wy\\AuFeedbackTemp.json: the product makes it while it runs"));
}

TEST_F(Verify, external_tools_of_both_trees_are_expected_in_the_data_of_the_machine) {
    Put("pkg/x64/product/External/one.txt");
    Put("pkg/common/product/External/two.txt");
    Manifest("");
    const fs::path external = fs::path(WyCommon::Utility::GetCommonDataRoot()) / "External";
    const std::string at = ToUtf8(external.wstring());
    EXPECT_THAT(Findings(1),
                ElementsAre("missing file " + at + "\\one.txt", "missing file " + at + "\\two.txt",
                            "missing folder " + at));
    const QueuedMoves queued({{external.parent_path() / "ExternalTmp", external}});
    const Texts waiting = Findings(0);
    ASSERT_THAT(waiting, testing::SizeIs(3));
    EXPECT_EQ(waiting[0], "pending file " + at + "\\one.txt: the next restart puts a file here");
    EXPECT_EQ(waiting[2], "pending folder " + at + ": the next restart makes it");
}

// ---- registry

class VerifyRegistry : public Verify {
protected:
    void SetUp() override {
        Verify::SetUp();
        Manifest("",
                 "<RegistryKey Action='create' Root='HKLM' Key='SOFTWARE\\WyVerifyTest'/>"
                 "<RegistryValue Action='write' Root='HKLM' Key='SOFTWARE\\WyVerifyTest' "
                 "Name='Text' Value='one' Type='string'/>"
                 "<RegistryValue Action='write' Root='HKLM' Key='SOFTWARE\\WyVerifyTest\\Sub' "
                 "Name='Number' Value='7' Type='dword'/>"
                 "<RegistryValue Action='write' Root='HKLM' Key='SOFTWARE\\WyVerifyTest' "
                 "Name='Other' Value='x' Type='string' Platform='win32'/>"
                 "<RegistryValue Action='write' Root='HKLM' Key='SOFTWARE\\WyVerifyTest' "
                 "Name='None' Value='x' Type='binary'/>"
                 "<RegistryValue Action='write' Root='HKCR' Key='SOFTWARE\\WyVerifyTest' "
                 "Name='Rootless' Value='x' Type='string'/>"
                 "<RegistryValue Action='delete' Root='HKLM' Key='SOFTWARE\\WyVerifyTest' "
                 "Name='Old'/>"
                 "<RegistryKey Action='delete' Root='HKLM' Key='SOFTWARE\\WyVerifyTest\\Gone'/>");
    }
    static void Text(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_SZ, text.c_str(),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    static void Number(const wchar_t* key, const wchar_t* name, DWORD number) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_DWORD, &number, sizeof number);
    }
};

TEST_F(VerifyRegistry, keys_and_values_that_are_as_the_package_left_them_are_fine) {
    Text(kMade, L"tExt", L"one");
    Number(L"SOFTWARE\\WyVerifyTest\\Sub", L"Number", 7);
    EXPECT_THAT(Findings(0), IsEmpty());
    EXPECT_EQ(OneJson()["checked"]["keys"].asUInt(), 2U);
    EXPECT_EQ(OneJson()["checked"]["values"].asUInt(), 3U);
}

TEST_F(VerifyRegistry, missing_changed_and_extra_ones_are_named) {
    EXPECT_THAT(Findings(1),
                ElementsAre("missing key HKLM\\SOFTWARE\\WyVerifyTest",
                            "missing value HKLM\\SOFTWARE\\WyVerifyTest, Text",
                            "missing value HKLM\\SOFTWARE\\WyVerifyTest\\Sub, Number"));
    Text(kMade, L"Text", L"two");
    Text(kMade, L"Old", L"x");
    Text(kMade, L"Extra", L"x");
    Text(L"SOFTWARE\\WyVerifyTest\\Sub", L"Number", L"7");
    Text(L"SOFTWARE\\WyVerifyTest\\Gone", L"x", L"x");
    Text(L"SOFTWARE\\WyVerifyTest\\More", L"x", L"x");
    const Texts findings = Findings(1);
    EXPECT_THAT(findings,
                testing::IsSupersetOf(
                    {"extra key HKLM\\SOFTWARE\\WyVerifyTest\\Gone: the package deletes it",
                     "changed value HKLM\\SOFTWARE\\WyVerifyTest, Text: \"two\", in the package "
                     "\"one\"",
                     "changed value HKLM\\SOFTWARE\\WyVerifyTest\\Sub, Number: type 1, in the "
                     "package 7",
                     "extra value HKLM\\SOFTWARE\\WyVerifyTest, Old: the package deletes it",
                     "extra value HKLM\\SOFTWARE\\WyVerifyTest, Extra",
                     "extra key HKLM\\SOFTWARE\\WyVerifyTest\\More"}));
    Number(L"SOFTWARE\\WyVerifyTest\\Sub", L"Number", 8);
    EXPECT_THAT(Findings(1), testing::Contains("changed value HKLM\\SOFTWARE\\WyVerifyTest\\Sub, "
                                               "Number: 8, in the package 7"));
}

TEST_F(VerifyRegistry, version_in_the_list_of_programs_is_the_librarys) {
    constexpr const wchar_t* kEntry =
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}";
    test_support::RegistryKey entry(kEntry, KEY_WOW64_64KEY);
    Manifest("", "<RegistryKey Action='create' Root='HKLM' Key='" + ToUtf8(kEntry) + "'/>");
    ASSERT_TRUE(entry.SetText(L"DisplayVersion", L"3.1.1158"));
    EXPECT_THAT(Findings(0), IsEmpty());
    ASSERT_TRUE(entry.SetText(L"Other", L"x"));
    EXPECT_THAT(Findings(1), ElementsAre("extra value HKLM\\" + ToUtf8(kEntry) + ", Other"));
}

TEST_F(VerifyRegistry, package_that_leaves_the_registry_alone_says_so) {
    EXPECT_EQ(Run({"verify", At(L"pkg")}), 1);
    EXPECT_EQ(m_Terminal.err, "");
    Put("pkg/Setup.ini", "[MsiConfig]\r\nUpdateRegistry=0\r\n");
    EXPECT_EQ(Run({"verify", At(L"pkg")}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("note: UpdateRegistry is 0 in this package"));
}

// ---- hostile manifests

TEST_F(Verify, long_texts_are_cut) {
    const std::string text(1U << 20, 'x');
    Manifest("",
             "<RegistryValue Action='write' Root='HKLM' Key='SOFTWARE\\WyVerifyTest' "
             "Name='Text' Type='string' Value='" +
                 text + "'/>");
    const std::wstring other = L"y";
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kMade, L"Text", REG_SZ, other.c_str(), 4);
    EXPECT_THAT(Findings(1), ElementsAre("changed value HKLM\\SOFTWARE\\WyVerifyTest, Text: \"y\", "
                                         "in the package \"" +
                                         text.substr(0, 57) + "...\""));
}

TEST_F(Verify, targets_that_no_file_can_have_are_missing) {
    Put("pkg/src/a.txt");
    Manifest(
        "<File Action='write' Name='a.txt' SourceDir='src' TargetDir='C:\\absolute'/>"
        "<File Action='write' Name='a.txt' SourceDir='src' TargetDir='a|b?'/>"
        "<File Action='write' Name='a.txt' SourceDir='src' TargetDir='" +
        std::string(40000, 'd') +
        "'/>"
        "<Folder Action='write' SourceDir='..\\..\\..\\..\\nowhere' TargetDir='x'/>");
    const Texts findings = Findings(1);
    EXPECT_EQ(OneJson()["checked"]["files"].asUInt(), 3U);
    EXPECT_EQ(OneJson()["counts"]["missing"].asUInt(), findings.size());
}

TEST_F(Verify, many_items_are_compared_one_by_one) {
    Put("pkg/src/a.txt");
    std::string items;
    constexpr int kItems = 4000;
    for (int i = 0; i < kItems; ++i) {
        const std::string folder = "'d" + std::to_string(i) + "'/>";
        items += i % 2 == 0
                     ? "<File Action='write' Name='a.txt' SourceDir='src' TargetDir=" + folder
                     : "<Folder Action='delete' TargetDir=" + folder;
    }
    Manifest(items);
    EXPECT_EQ(Findings(1).size(), kItems);
}

// ---- what cannot be compared

TEST_F(Verify, wrong_input_is_told) {
    fs::create_directories(m_Folder.Path() / "pkg");
    EXPECT_EQ(Run({"verify", At(L"missing")}), 1);
    EXPECT_EQ(m_Terminal.err, "wyctl: " + At(L"missing") + " is no folder\n");
    EXPECT_EQ(Run({"verify", At(L"pkg")}), 1);
    EXPECT_EQ(m_Terminal.err, "wyctl: " + At(L"pkg") + " is no package: it has no InstCfg.xml\n");
    for (const char* text : {"no xml", "<Other/>"}) {
        Put("pkg/InstCfg.xml", text);
        EXPECT_EQ(Run({"--json", "verify", At(L"pkg")}), 1);
        EXPECT_THAT(m_Terminal.err, HasSubstr("InstCfg.xml is no manifest: it is no XML, or has no "
                                              "element Product"));
        EXPECT_EQ(OneJson()["ok"], Json::Value(false));
    }
}

TEST_F(Verify, without_a_product_there_is_nothing_to_compare) {
    Manifest("");
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", L""));
    EXPECT_EQ(Run({"verify", At(L"pkg")}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("no product is installed: there is nothing to compare"));
}

}  // namespace
