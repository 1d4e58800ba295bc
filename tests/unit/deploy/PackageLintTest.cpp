// What the linter finds in a package. The XML library lies beside the test programs.

#include "unit/deploy/LintedPackage.h"

namespace {

using lint_test::Lint;
using lint_test::Texts;
using WyCtl::Finding;

const std::string kGood =
    "<Product>\n"
    "  <RegistryGroup>\n"
    "    <RegistryKey Id='k1' Action='create' Root='HKLM' Key='SOFTWARE\\KorvexData\\Wyvarion'/>\n"
    "    <RegistryKey Id='k2' Action='delete' Root='HKLM' "
    "Key='SOFTWARE\\KorvexData\\Wyvarion\\Old'/>"
    "\n"
    "    <RegistryValue Id='v1' Action='write' AllAccess='yes' Root='hklm'\n"
    "        Key='Software\\KorvexData\\wyvarion\\a' Name='n' Value='1' Type='DWORD'/>\n"
    "    <RegistryValue Id='v2' Action='delete' Root='HKCU' Key='K\\a' Name='m'/>\n"
    "  </RegistryGroup>\n"
    "  <FileGroup>\n"
    "    <Folder Id='d1' Action='write' Overwrite='yes' KeyModule='a.dll' SourceDir='x64'\n"
    "        TargetDir='' Platform='x64'/>\n"
    "    <Folder Id='d2' Action='delete' TargetDir='old'/>\n"
    "    <File Id='f1' Action='write' Overwrite='no' Name='*.txt' SourceDir='common'\n"
    "        TargetDir='doc'/>\n"
    "    <File Id='f2' Action='delete' Name='old.dll'/>\n"
    "  </FileGroup>\n"
    "</Product>\n";

TEST_F(Lint, sound_package_has_no_finding) {
    Put(L"x64\\a.dll", true);
    Put(L"common\\a.txt");
    EXPECT_EQ(Findings(kGood), Texts{});
    EXPECT_EQ(m_Report.items, 8U);
    EXPECT_EQ(m_Report.Errors(), 0U);
}

// ---- package and document

TEST_F(Lint, files_that_every_installation_reads) {
    m_Files.Clear();
    EXPECT_EQ(Findings("<Product/>"),
              (Texts{"E xml-library-missing", "E xml-library-missing", "E setup-missing"}));
    EXPECT_EQ(m_Report.Errors(), 3U);
}

TEST_F(Lint, system_that_setup_ini_demands) {
    const struct {
        const wchar_t* os;
        Texts findings;
    } rows[] = {
        {L"", {}},
        {L"WinVista", {}},
        {L"Win8", {}},
        {L"Win8.1", {}},
        {L"Win7", {"W setup-os"}},
        {L"win8.1", {"W setup-os"}},
        {L"Win10", {"W setup-os"}},
    };
    for (const auto& row : rows) {
        m_Os = row.os;
        EXPECT_EQ(Findings("<Product/>"), row.findings) << testing::PrintToString(row.os);
    }
}

TEST_F(Lint, documents_that_cannot_be_read) {
    const struct {
        const char* document;
        Texts findings;
        const char* words;
    } rows[] = {
        {"", {"E manifest-faulty 1"}, "no element found in line 1"},
        {"<Product>\n</b></Product>", {"E manifest-faulty 2"}, "mismatched tag in line 2"},
        {"<Product a='&none;'/>", {"E manifest-faulty 1"}, "undefined entity"},
        {"<!DOCTYPE a [<!ENTITY e SYSTEM 'f'>]><Product>&e;</Product>",
         {"E manifest-faulty 1"},
         "external entity"},
        {"<Package><Product/></Package>", {"E no-product 1 Package"}, "no Product"},
        {"<product/>", {"E no-product 1 product"}, "no Product"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Findings(row.document), row.findings) << row.document;
        ASSERT_FALSE(m_Report.findings.empty());
        EXPECT_NE(m_Report.findings[0].what.find(row.words), std::string::npos)
            << m_Report.findings[0].what;
    }
}

TEST_F(Lint, file_and_library_that_are_not_there) {
    const auto code = [&](const std::wstring& library, const std::wstring& path) {
        const WyCtl::PackageXml xml = WyCtl::ReadPackageXml(library, path);
        return xml.fault.has_value() ? xml.fault->code : 0;
    };
    const std::wstring none = (m_Folder.Path() / "none.xml").wstring();
    EXPECT_EQ(code(L".", none), 2U);
    EXPECT_EQ(code(L".", std::wstring(300, L'x')), 122U);
    Findings("<Product/>");
    const std::wstring there = (m_Folder.Path() / "InstCfg.xml").wstring();
    EXPECT_EQ(code(m_Folder.Path().wstring(), there), 126U);
    EXPECT_EQ(code(L".", there), 0U);
    EXPECT_EQ(
        WyCtl::LintPackage({L"P:", L"Wyvarion", {}}, WyCtl::ReadPackageXml(L".", none), m_Files)
            .findings.at(0)
            .id,
        "manifest-missing");
}

TEST_F(Lint, elements_that_nobody_reads) {
    const struct {
        const char* product;
        Texts findings;
    } rows[] = {
        {"<Other/>", {"W unknown-element 1 Other"}},
        {"<Other><Deep/></Other>", {"W unknown-element 1 Other"}},
        {"<FileGroup/><FileGroup><File/></FileGroup>", {"E second-group 1 FileGroup"}},
        {"<RegistryGroup/><RegistryGroup/>", {"E second-group 1 RegistryGroup"}},
        {"<filegroup/>", {"E misplaced-element 1 filegroup"}},
        {"<File Id='a'/>", {"E misplaced-element 1 File [a]"}},
        {"<Other><File/></Other>", {"W unknown-element 1 Other", "E misplaced-element 1 File"}},
        {"<FileGroup><RegistryKey/></FileGroup>", {"E misplaced-element 1 RegistryKey"}},
        {"<FileGroup><file/></FileGroup>", {"E misplaced-element 1 file"}},
        {"<FileGroup><FileGroup/></FileGroup>", {"E misplaced-element 1 FileGroup"}},
        {"<FileGroup><File Action='delete' Name='a'><File/></File></FileGroup>",
         {"E misplaced-element 1 File"}},
        {"<FileGroup><Files/></FileGroup>", {"W unknown-element 1 Files"}},
        {"<FileGroup Id='a'/>", {"W unknown-attribute 1 FileGroup [a]"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Findings(std::string("<Product>") + row.product + "</Product>"), row.findings)
            << row.product;
    }
    EXPECT_EQ(Findings("<Product Id='a'/>"), (Texts{"W unknown-attribute 1 Product [a]"}));
}

TEST_F(Lint, lines_are_those_of_the_start_tags) {
    EXPECT_EQ(Findings("<Product>\n\n<FileGroup>\n<File\nAction='go'\n/></FileGroup></Product>"),
              Texts{"E unknown-action 4 File"});
}

// ---- words

TEST_F(Lint, words_of_an_item) {
    const std::string key = "Root='HKLM' Key='SOFTWARE\\KorvexData\\Wyvarion\\a'";
    const struct {
        std::string item;
        Texts findings;
    } rows[] = {
        {"<RegistryKey Action='write' " + key + "/>", {"E unknown-action"}},
        {"<RegistryKey " + key + "/>", {"E unknown-action"}},
        {"<RegistryKey action='create' " + key + "/>", {"W unknown-attribute", "E unknown-action"}},
        {"<RegistryKey Action='CREATE' " + key + "/>", {}},
        {"<RegistryKey Action='create' Platform='x64' " + key + "/>", {"W platform-ignored"}},
        {"<RegistryKey Action='create' Root='HKCR' Key='SOFTWARE\\KorvexData\\Wyvarion'/>",
         {"E unknown-root"}},
        {"<RegistryKey Action='create' Overwrite='yes' " + key + "/>", {"W unknown-attribute"}},
        {"<RegistryValue Action='create' " + key + "/>", {"E unknown-action"}},
        {"<RegistryValue Action='write' Type='qword' " + key + "/>", {"E unknown-type"}},
        {"<RegistryValue Action='write' " + key + "/>", {"E unknown-type"}},
        {"<RegistryValue Action='delete' " + key + "/>", {}},
        {"<RegistryValue Action='write' Type='string' AllAccess='true' " + key + "/>",
         {"W unknown-word"}},
        {"<RegistryValue Action='write' Type='string' Platform='x86' " + key + "/>",
         {"W unknown-word"}},
        {"<File Action='delete' Name='a' Overwrite='1'/>", {"W unknown-word"}},
        {"<File Action='delete' Name='a' Platform='X64'/>", {}},
        {"<File Action='delete' Name='\xc3\xb6'/>", {"W beyond-ascii"}},
        {"<File Id='\xc3\xb6' Action='delete' Name='a'/>", {}},
        {"<Folder Action='delete' TargetDir='a' Platform='win64'/>", {"W unknown-word"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(OfItem(row.item), row.findings) << row.item;
}

TEST_F(Lint, ids_that_stand_twice) {
    EXPECT_EQ(Findings("<Product><FileGroup>\n<File Id='a' Action='delete' Name='a'/>\n"
                       "<File Id='a' Action='delete' Name='b'/></FileGroup></Product>"),
              Texts{"W duplicate-id 3 File [a]"});
}

// ---- registry

TEST_F(Lint, keys_values_and_what_stays_behind) {
    const std::string product = "SOFTWARE\\KorvexData\\Wyvarion";
    const auto key = [](const std::string& action, const std::string& name) {
        return "<RegistryKey Action='" + action + "' Root='HKLM' Key='" + name + "'/>";
    };
    const auto value = [&](const std::string& type, const std::string& text) {
        return "<RegistryValue Action='write' Root='HKLM' Key='" + product + "' Name='n' Type='" +
               type + "' Value='" + text + "'/>";
    };
    const struct {
        std::string item;
        Texts findings;
    } rows[] = {
        {key("create", ""), {"E empty-name"}},
        {key("create", product), {}},
        {key("create", product + "\\b\\"), {}},
        {key("create", "SOFTWARE\\KorvexData"), {"W no-uninstall"}},
        {key("create", "SOFTWARE\\KorvexData\\Wyvarion2"), {"W no-uninstall"}},
        {key("create", "SOFTWARE\\Other\\a"), {"W no-uninstall"}},
        {key("create", "\\" + product), {"E bad-key"}},
        {key("create", "HKLM\\" + product), {"W bad-key", "W no-uninstall"}},
        {key("create", product + "\\..\\b"), {"W bad-key", "W no-uninstall"}},
        {key("create", product + "\\" + std::string(255, 'k')), {}},
        {key("create", product + "\\" + std::string(256, 'k')), {"E oversized"}},
        {key("delete", "SOFTWARE"), {"E wide-delete"}},
        {key("delete", "SOFTWARE\\KorvexData"), {"W wide-delete"}},
        {key("delete", product), {}},
        {value("dword", "0"), {}},
        {value("dword", "4294967295"), {}},
        {value("dword", "4294967296"), {"E bad-number"}},
        {value("dword", ""), {"E bad-number"}},
        {value("dword", "-"), {"E bad-number"}},
        {value("dword", "-1"), {"W bad-number"}},
        {value("dword", "0x10"), {"E bad-number"}},
        {value("dword", std::string(1000, '9')), {"E bad-number"}},
        {value("string", ""), {}},
        {value("string", std::string(1023, 'v')), {}},
        {value("string", std::string(1024, 'v')), {"W oversized"}},
        {value("string", std::string((1U << 19U) - 1, 'v')), {"W oversized"}},
        {value("string", std::string(1U << 19U, 'v')), {"E oversized"}},
        {"<RegistryValue Action='delete' Root='HKLM' Key='K' Name='" + std::string(16384, 'n') +
             "'/>",
         {"E oversized"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(OfItem(row.item), row.findings) << row.item.substr(0, 120);
}

// ---- paths

TEST_F(Lint, names_of_folders_and_files) {
    Put(L"a");
    Put(L"s\\a");
    Put(L"s\\b.dll", true);
    const auto target = [](const std::string& name) {
        return "<File Action='write' Name='a' TargetDir='" + name + "'/>";
    };
    const auto name = [](const std::string& text) {
        return "<File Action='delete' Name='" + text + "'/>";
    };
    const struct {
        std::string item;
        Texts findings;
    } rows[] = {
        {target("b\\c"), {}},
        {target("b/../c"), {}},
        {target(".."), {"E leaves-root"}},
        {target("a\\..\\..\\b"), {"E leaves-root"}},
        {target("C:\\Windows"), {"E absolute-path", "E reserved-name"}},
        {target("\\\\server\\share"), {"E absolute-path"}},
        {target("\\\\.\\PhysicalDrive0"), {"E absolute-path"}},
        {target("\\\\?\\C:\\a"), {"E absolute-path", "E reserved-name"}},
        {target("\\b"), {"W absolute-path"}},
        {target("b|c"), {"E reserved-name"}},
        {target("a*"), {"E reserved-name"}},
        {target("b\\NUL"), {"E reserved-name"}},
        {target("com1.txt"), {"E reserved-name"}},
        {target("com0"), {}},
        {target("console"), {}},
        {target("b."), {"E reserved-name"}},
        {target("b \\c"), {"E reserved-name"}},
        {target(std::string(256, 'b')), {"E oversized", "W oversized"}},
        {target(std::string(100, 'b') + "\\" + std::string(51, 'b')), {"W oversized"}},
        {name(""), {"E empty-name"}},
        {name("..\\a"), {"E name-with-folder", "E leaves-root"}},
        {name("sub\\a"), {"E name-with-folder"}},
        {name("a?"), {"E reserved-name"}},
        {name("a&lt;"), {"E reserved-name"}},
        {"<File Action='write' SourceDir='..\\p' Name='a'/>",
         {"E leaves-root", "E missing-source"}},
        {"<File Action='delete' SourceDir='..\\p' Name='a*'/>",
         {"E leaves-root", "W matches-nothing"}},
        {"<File Action='delete' SourceDir='..\\p' Name='a'/>", {}},
        {"<File Action='write' SourceDir='s' Name='a'/>", {}},
        {"<File Action='write' SourceDir='s' Name='none'/>", {"E missing-source"}},
        {"<File Action='write' Name='s'/>", {"E wrong-kind"}},
        {"<File Action='write' SourceDir='s' Name='*'/>", {"W matches-everything"}},
        {"<File Action='write' SourceDir='s' Name='*.*'/>", {"W matches-everything"}},
        {"<File Action='write' SourceDir='s' Name='*.exe'/>", {"W matches-nothing"}},
        {"<File Action='delete' SourceDir='s' Name='*.exe'/>", {"W matches-nothing"}},
        {"<File Action='delete' SourceDir='s' Name='*.dll'/>", {}},
        {"<Folder Action='write' SourceDir='s' TargetDir='s'/>", {}},
        {"<Folder Action='write' SourceDir='none' TargetDir='s'/>", {"E missing-source"}},
        {"<Folder Action='write' SourceDir='a' TargetDir='s'/>", {"E wrong-kind"}},
        {"<Folder Action='write' TargetDir='s'/>", {"W whole-package"}},
        {"<Folder Action='delete'/>", {"E wide-delete"}},
        {"<Folder Action='delete' TargetDir='a\\..'/>", {"E wide-delete"}},
        {"<Folder Action='delete' TargetDir='..\\a'/>", {"E leaves-root"}},
        {"<Folder Action='write' Overwrite='yes' KeyModule='..\\s\\b.dll' SourceDir='s' "
         "TargetDir='s'/>",
         {"W version-never-applies"}},
        {"<Folder Action='write' Overwrite='yes' KeyModule='..\\..\\b.dll' SourceDir='s' "
         "TargetDir='s\\t'/>",
         {"E leaves-root", "W version-never-applies"}},
        {"<Folder Action='write' Overwrite='yes' KeyModule='..\\b.dll' SourceDir='s' />",
         {"E leaves-root", "W version-never-applies"}},
        {"<Folder Action='delete' KeyModule='..\\..\\b.dll' TargetDir='s'/>", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(OfItem(row.item), row.findings) << row.item.substr(0, 120);
}

TEST_F(Lint, version_rules_that_never_apply) {
    Put(L"s\\new.dll", true);
    Put(L"s\\plain.exe");
    Put(L"s\\a.txt");
    const struct {
        const char* item;
        Texts findings;
    } rows[] = {
        {"<File Action='write' Overwrite='yes' SourceDir='s' Name='new.dll'/>", {}},
        {"<File Action='write' Overwrite='yes' SourceDir='s' Name='a.txt'/>", {}},
        {"<File Action='write' Overwrite='yes' SourceDir='s' Name='plain.exe'/>",
         {"W version-never-applies"}},
        {"<File Action='write' Overwrite='no' SourceDir='s' Name='plain.exe'/>", {}},
        {"<File Action='write' Overwrite='yes' SourceDir='s' Name='*.exe'/>",
         {"W version-never-applies"}},
        {"<Folder Action='write' Overwrite='yes' KeyModule='new.dll' SourceDir='s'/>", {}},
        {"<Folder Action='write' Overwrite='yes' SourceDir='s'/>", {}},
        {"<Folder Action='write' KeyModule='new.dll' SourceDir='s'/>", {"W version-never-applies"}},
        {"<Folder Action='write' Overwrite='yes' KeyModule='gone.dll' SourceDir='s'/>",
         {"W version-never-applies"}},
        {"<Folder Action='write' Overwrite='yes' KeyModule='plain.exe' SourceDir='s'/>",
         {"W version-never-applies"}},
        {"<Folder Action='write' Overwrite='yes' KeyModule='a.txt' SourceDir='s'/>",
         {"W version-never-applies"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(OfItem(row.item), row.findings) << row.item;
}

// ---- targets

TEST_F(Lint, registry_targets_that_meet) {
    const auto value = [](const char* more) {
        return std::string(
                   "<RegistryValue Action='write' Type='string' Root='HKLM' "
                   "Key='SOFTWARE\\KorvexData\\Wyvarion' ") +
               more + "/>\n";
    };
    const auto key = [](const char* action, const char* below) {
        return std::string("<RegistryKey Action='") + action +
               "' Root='HKLM' Key='SOFTWARE\\KorvexData\\Wyvarion" + below + "'/>\n";
    };
    const struct {
        std::string items;
        Texts findings;
    } rows[] = {
        {value("Name='a' Value='1'") + value("Name='b' Value='2'"), {}},
        {value("Name='a' Value='1'") + value("Name='A' Value='1'"), {"W duplicate-target 2"}},
        {value("Name='a' Value='1'") + value("Name='A' Value='2'"), {"E duplicate-target 2"}},
        {value("Name='a' Value='1' Platform='x64'") + value("Name='a' Value='2' Platform='win32'"),
         {}},
        {value("Name='a' Value='1' Platform='x64'") + value("Name='a' Value='2'"),
         {"E duplicate-target 2"}},
        {key("create", "\\b") + key("create", "\\B\\"), {"W duplicate-target 2"}},
        {key("create", "\\b") + key("create", "\\bc"), {}},
        {key("create", "\\b\\c") + key("delete", "\\b"), {"W overlapping-target 2"}},
        {key("delete", "\\b") + key("create", "\\b\\c"), {}},
    };
    for (const auto& row : rows) {
        Texts lines =
            Findings("<Product><RegistryGroup>" + row.items + "</RegistryGroup></Product>");
        for (std::string& line : lines)
            line = line.substr(0, line.rfind(' '));
        EXPECT_EQ(lines, row.findings) << row.items;
    }
}

TEST_F(Lint, file_targets_that_meet) {
    Put(L"s\\a.txt");
    Put(L"s\\sub\\b.txt");
    Put(L"t\\a.txt");
    Put(L"u\\z.txt");
    const struct {
        const char* items;
        Texts findings;
    } rows[] = {
        {"<File Action='write' SourceDir='s' Name='a.txt'/>\n"
         "<File Action='write' SourceDir='t' Name='A.TXT' TargetDir='x\\..'/>",
         {"E duplicate-target 2 File"}},
        {"<File Action='write' SourceDir='s' Name='a.txt'/>\n"
         "<File Action='write' SourceDir='s' Name='a.txt'/>",
         {"W duplicate-target 2 File"}},
        {"<File Action='write' SourceDir='s' Name='a.txt' Platform='x64'/>\n"
         "<File Action='write' SourceDir='t' Name='a.txt' Platform='win32'/>",
         {}},
        {"<File Action='write' SourceDir='s' Name='a.txt'/>\n"
         "<File Action='write' SourceDir='t' Name='*.txt'/>",
         {"W overlapping-target 2 File"}},
        {"<File Action='write' SourceDir='t' Name='a.txt'/>\n"
         "<Folder Action='write' SourceDir='s'/>",
         {"W overlapping-target 1 File"}},
        {"<Folder Action='write' SourceDir='s' TargetDir='x'/>\n"
         "<Folder Action='write' SourceDir='t' TargetDir='x'/>",
         {"E duplicate-target 2 Folder"}},
        {"<Folder Action='write' SourceDir='s' TargetDir='x'/>\n"
         "<Folder Action='write' SourceDir='t' TargetDir='x\\sub'/>",
         {}},
        {"<Folder Action='write' SourceDir='s' TargetDir='x'/>\n"
         "<Folder Action='delete' TargetDir='x\\sub'/>",
         {"W overlapping-target 2 Folder"}},
        {"<Folder Action='write' SourceDir='s' TargetDir='x' Platform='x64'/>\n"
         "<Folder Action='write' SourceDir='u' TargetDir='x' Platform='win32'/>\n"
         "<Folder Action='delete' TargetDir='x' Platform='win32'/>",
         {"W overlapping-target 3 Folder"}},
        {"<Folder Action='write' SourceDir='s' TargetDir='x' Platform='x64'/>\n"
         "<Folder Action='delete' TargetDir='x' Platform='win32'/>",
         {}},
        {"<Folder Action='delete' TargetDir='x'/>\n"
         "<Folder Action='write' SourceDir='s' TargetDir='x'/>",
         {}},
        {"<Folder Action='write' SourceDir='s' TargetDir='x'/>\n"
         "<File Action='delete' Name='a.txt' TargetDir='x'/>",
         {"W overlapping-target 2 File"}},
        {"<File Action='write' SourceDir='s' Name='a.txt'/>\n<Folder Action='delete' "
         "TargetDir='x'/>",
         {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(
            Findings(std::string("<Product><FileGroup>") + row.items + "</FileGroup></Product>"),
            row.findings)
            << row.items;
    }
}

TEST_F(Lint, file_where_another_item_needs_a_folder) {
    Put(L"s\\x");
    Put(L"s\\x.txt");
    Put(L"t\\a.txt");
    const struct {
        const char* items;
        Texts findings;
    } rows[] = {
        {"<Folder Action='write' SourceDir='t' TargetDir='X'/>\n"
         "<File Action='write' SourceDir='s' Name='x'/>",
         {"E overlapping-target 2 File"}},
        {"<Folder Action='write' SourceDir='s' TargetDir='d'/>\n"
         "<File Action='write' SourceDir='t' Name='a.txt' TargetDir='d\\x\\y'/>",
         {"E overlapping-target 2 File"}},
        {"<Folder Action='write' SourceDir='t' TargetDir='x' Platform='x64'/>\n"
         "<File Action='write' SourceDir='s' Name='x' Platform='win32'/>",
         {}},
        {"<Folder Action='write' SourceDir='t' TargetDir='x'/>\n"
         "<File Action='write' SourceDir='s' Name='x.txt'/>",
         {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(
            Findings(std::string("<Product><FileGroup>") + row.items + "</FileGroup></Product>"),
            row.findings)
            << row.items;
    }
}

TEST_F(Lint, targets_that_lead_back_to_the_products_folder_meet) {
    const std::string item = "<File Action='write' Name='..' TargetDir='a'/>";
    EXPECT_THAT(Findings("<Product><FileGroup>" + item + item + "</FileGroup></Product>"),
                testing::Contains("W duplicate-target 1 File"));
    EXPECT_THAT(Findings("<Product><FileGroup><File Action='write' Name='b'/>\n" + item +
                         "</FileGroup></Product>"),
                testing::Contains("E overlapping-target 2 File"));
}

}  // namespace
