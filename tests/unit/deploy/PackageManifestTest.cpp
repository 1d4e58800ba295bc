// InstCfg.xml as the deployment reads it. The XML library lies beside the test programs.

#include "deploy/PackageManifest.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/AllocationFaults.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"
#include "unit/deploy/FakeMachine.h"

namespace {

using deploy_test::FakeMachine;
using deploy_test::g_Machine;
using KrCommon::LogLevel::kError;
using test_support::FailAllocations;
using test_support::LogRecorder;
using WyDeployHelper::DeployCommon::FileRecord;
using WyDeployHelper::DeployCommon::PackageManifest;
using WyDeployHelper::DeployCommon::RegistryKeyRecord;
using WyDeployHelper::DeployCommon::RegistryValueRecord;
using Texts = std::vector<std::wstring>;

constexpr wchar_t kFolderOfDll[] = L".";

std::wstring Print(const RegistryKeyRecord& r) {
    return r.id + L"|" + r.action + L"|" + r.root + L"|" + r.key + L"|" + r.platform;
}
std::wstring Print(const RegistryValueRecord& r) {
    return r.id + L"|" + r.action + L"|" + r.allAccess + L"|" + r.root + L"|" + r.key + L"|" +
           r.name + L"|" + r.value + L"|" + r.type + L"|" + r.platform;
}
std::wstring Print(const FileRecord& r) {
    return r.id + L"|" + r.action + L"|" + r.overwrite + L"|" + r.name + L"|" + r.sourceDir + L"|" +
           r.targetDir + L"|" + r.platform;
}
template <class Record>
Texts Print(const std::vector<Record>& records) {
    Texts lines;
    for (const Record& record : records)
        lines.push_back(Print(record));
    return lines;
}

// The ids of all lists: "keys a b; values c; files d; folders e".
std::wstring Ids(const PackageManifest& manifest) {
    std::wstring text;
    const auto add = [&](const wchar_t* kind, const auto& records) {
        text += kind;
        for (const auto& record : records)
            text += L" " + record.id;
    };
    add(L"keys", manifest.registryKeys);
    add(L"; values", manifest.registryValues);
    add(L"; files", manifest.files);
    add(L"; folders", manifest.folders);
    return text;
}

class PackageManifestFile : public testing::Test {
protected:
    PackageManifestFile() : m_Folder(L"wy_manifest") { g_Machine = FakeMachine(); }

    std::wstring Path() const { return (m_Folder.Path() / "InstCfg.xml").wstring(); }
    void Put(std::string_view bytes) const {
        std::ofstream(m_Folder.Path() / "InstCfg.xml", std::ios::binary | std::ios::trunc) << bytes;
    }
    bool Read(const std::string& bytes, bool withRegistry = true) {
        Put(bytes);
        return m_Manifest.Read(kFolderOfDll, Path(), withRegistry);
    }
    // What a document that is refused leaves in the log; empty when it was not refused.
    Texts LinesOf(const std::string& bytes) {
        const LogRecorder log;
        const bool read = Read(bytes);
        for (const auto& line : log.Lines())
            EXPECT_EQ(line.level, kError);
        EXPECT_EQ(read, log.Lines().empty());
        return log.Texts();
    }

    test_support::TemporaryFolder m_Folder;
    PackageManifest m_Manifest;
};

constexpr char kWhole[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<!-- a package -->\n"
    "<Product>\n"
    "  <RegistryGroup>\n"
    "    <RegistryKey Id='k1' Action='create' Root='HKLM' Key='SOFTWARE\\A' Platform='x64'/>\n"
    "    <RegistryValue Id='v1' Action='write' AllAccess='yes' Root='HKCU' Key='SOFTWARE\\B'\n"
    "                   Name='n' Value='1' Type='dword' Platform='win32'/>\n"
    "    <RegistryKey Id='k2' Action='delete' Root='HKCU' Key='SOFTWARE\\C' Platform=''/>\n"
    "    <RegistryValue Id='v2' Action='delete' Root='HKLM' Key='K' Name='m'/>\n"
    "  </RegistryGroup>\n"
    "  <FileGroup>\n"
    "    <Folder Id='d1' Action='write' Overwrite='yes' KeyModule='a.dll' SourceDir='s\\t'\n"
    "            TargetDir='u' Platform='win32'/>\n"
    "    <File Id='f1' Action='write' Overwrite='no' Name='*.exe' SourceDir='common'\n"
    "          TargetDir='bin' Platform='x64'/>\n"
    "    <File Id='f2' Action='delete' Name='old.dll'/>\n"
    "    <Folder Id='d2' Action='delete' TargetDir='old'/>\n"
    "  </FileGroup>\n"
    "</Product>\n";

TEST_F(PackageManifestFile, every_attribute_of_every_kind_in_the_order_of_the_file) {
    const LogRecorder log;
    EXPECT_TRUE(Read(kWhole));
    EXPECT_EQ(Print(m_Manifest.registryKeys),
              (Texts{L"k1|create|HKLM|SOFTWARE\\A|x64", L"k2|delete|HKCU|SOFTWARE\\C|"}));
    EXPECT_EQ(Print(m_Manifest.registryValues),
              (Texts{L"v1|write|yes|HKCU|SOFTWARE\\B|n|1|dword|win32", L"v2|delete||HKLM|K|m|||"}));
    EXPECT_EQ(Print(m_Manifest.files),
              (Texts{L"f1|write|no|*.exe|common|bin|x64", L"f2|delete||old.dll|||"}));
    EXPECT_EQ(Print(m_Manifest.folders),
              (Texts{L"d1|write|yes|a.dll|s\\t|u|win32", L"d2|delete||||old|"}));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(PackageManifestFile, one_attribute_alone_fills_its_own_field) {
    const struct {
        const char* attribute;
        const wchar_t* key;
        const wchar_t* value;
        const wchar_t* file;
        const wchar_t* folder;
    } rows[] = {
        {"", L"||||", L"||||||||", L"||||||", L"||||||"},
        {"Id", L"x||||", L"x||||||||", L"x||||||", L"x||||||"},
        {"Action", L"|x|||", L"|x|||||||", L"|x|||||", L"|x|||||"},
        {"AllAccess", L"||||", L"||x||||||", L"||||||", L"||||||"},
        {"Root", L"||x||", L"|||x|||||", L"||||||", L"||||||"},
        {"Key", L"|||x|", L"||||x||||", L"||||||", L"||||||"},
        {"Name", L"||||", L"|||||x|||", L"|||x|||", L"||||||"},
        {"Value", L"||||", L"||||||x||", L"||||||", L"||||||"},
        {"Type", L"||||", L"|||||||x|", L"||||||", L"||||||"},
        {"Overwrite", L"||||", L"||||||||", L"||x||||", L"||x||||"},
        {"KeyModule", L"||||", L"||||||||", L"||||||", L"|||x|||"},
        {"SourceDir", L"||||", L"||||||||", L"||||x||", L"||||x||"},
        {"TargetDir", L"||||", L"||||||||", L"|||||x|", L"|||||x|"},
        {"Platform", L"||||x", L"||||||||x", L"||||||x", L"||||||x"},
        {"id", L"||||", L"||||||||", L"||||||", L"||||||"},
        {"PLATFORM", L"||||", L"||||||||", L"||||||", L"||||||"},
        {"Other", L"||||", L"||||||||", L"||||||", L"||||||"},
        {"a:Id", L"||||", L"||||||||", L"||||||", L"||||||"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.attribute);
        const std::string name = row.attribute;
        const std::string tail = (name.empty() ? "" : " " + name + "='x'") + "/>";
        ASSERT_TRUE(Read("<Product><RegistryGroup><RegistryKey" + tail + "<RegistryValue" + tail +
                         "</RegistryGroup><FileGroup><File" + tail + "<Folder" + tail +
                         "</FileGroup></Product>"));
        EXPECT_EQ(Print(m_Manifest.registryKeys), Texts{row.key});
        EXPECT_EQ(Print(m_Manifest.registryValues), Texts{row.value});
        EXPECT_EQ(Print(m_Manifest.files), Texts{row.file});
        EXPECT_EQ(Print(m_Manifest.folders), Texts{row.folder});
    }
}

TEST_F(PackageManifestFile, values_are_kept_as_they_stand) {
    const struct {
        const char* what;
        const char* value;
        const wchar_t* text;
    } rows[] = {
        {"blanks", "  a  b ", L"  a  b "},
        {"words nobody knows", "maybe", L"maybe"},
        {"upper case", "CREATE", L"CREATE"},
        {"entities", "&lt;&amp;&quot;&apos;&gt;", L"<&\"'>"},
        {"characters by number", "&#65;&#x42;", L"AB"},
        {"line end and tabulator", "a\nb\tc", L"a b c"},
        {"line end by number", "a&#10;b", L"a\nb"},
        {"paths that climb", "..\\..\\x", L"..\\..\\x"},
        {"device", "\\\\.\\PhysicalDrive0", L"\\\\.\\PhysicalDrive0"},
        {"percent signs", "%s%n", L"%s%n"},
        // Two characters, one for each byte of its UTF-8
        {"beyond ASCII", "\xc3\xb6", L"\u00c3\u00b6"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(Read(std::string("<Product><FileGroup><File Action=\"") + row.value +
                         "\"/></FileGroup></Product>"));
        EXPECT_EQ(m_Manifest.files.at(0).action, row.text);
    }
}

TEST_F(PackageManifestFile, what_counts_of_the_structure) {
    constexpr wchar_t kNone[] = L"keys; values; files; folders";
    const struct {
        const char* what;
        const char* product;  // what stands in it
        const wchar_t* ids;
    } rows[] = {
        {"nothing", "", kNone},
        {"text alone", "text", kNone},
        {"empty groups", "<RegistryGroup/><FileGroup></FileGroup>", kNone},
        {"no registry group", "<FileGroup><File Id='a'/></FileGroup>",
         L"keys; values; files a; folders"},
        {"no file group", "<RegistryGroup><RegistryKey Id='a'/></RegistryGroup>",
         L"keys a; values; files; folders"},
        {"groups in the other order",
         "<FileGroup><Folder Id='a'/></FileGroup><RegistryGroup><RegistryValue Id='b'/>"
         "</RegistryGroup>",
         L"keys; values b; files; folders a"},
        {"second group of a name",
         "<FileGroup><File Id='a'/></FileGroup><FileGroup><File Id='b'/></FileGroup>",
         L"keys; values; files a; folders"},
        {"second group after an empty one",
         "<RegistryGroup/><RegistryGroup><RegistryKey Id='a'/></RegistryGroup>", kNone},
        {"items without a group", "<File Id='a'/><RegistryKey Id='b'/>", kNone},
        {"items of the other group",
         "<FileGroup><RegistryKey Id='a'/><RegistryValue Id='b'/></FileGroup>"
         "<RegistryGroup><File Id='c'/><Folder Id='d'/></RegistryGroup>",
         kNone},
        {"items within items", "<FileGroup><File Id='a'><File Id='b'/></File></FileGroup>",
         L"keys; values; files a; folders"},
        {"items within others", "<FileGroup><Part><File Id='a'/></Part></FileGroup>", kNone},
        {"group within a group", "<FileGroup><FileGroup><File Id='a'/></FileGroup></FileGroup>",
         kNone},
        {"group within another", "<Part><FileGroup><File Id='a'/></FileGroup></Part>", kNone},
        {"names in other letters",
         "<FileGroup><file Id='a'/><FILE Id='b'/><FileS Id='c'/><Fil Id='d'/></FileGroup>"
         "<registrygroup><RegistryKey Id='e'/></registrygroup>",
         kNone},
        {"prefixes of name spaces",
         "<FileGroup xmlns:p='u'><p:File Id='a'/><File Id='b'/></FileGroup>",
         L"keys; values; files b; folders"},
        {"equal ids", "<FileGroup><File Id='a'/><File Id='a'/></FileGroup>",
         L"keys; values; files a a; folders"},
        {"files and folders mixed",
         "<FileGroup><Folder Id='a'/><File Id='b'/><Folder Id='c'/><File Id='d'/></FileGroup>",
         L"keys; values; files b d; folders a c"},
        {"what stands between",
         "<FileGroup>text<!-- <File Id='x'/> --><File Id='a'/><?p q?><![CDATA[<File Id='x'/>]]>"
         "<File Id='b'>text</File></FileGroup>",
         L"keys; values; files a b; folders"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(LinesOf(std::string("<Product>") + row.product + "</Product>"), Texts{});
        EXPECT_EQ(Ids(m_Manifest), row.ids);
    }
}

TEST_F(PackageManifestFile, documents_that_are_refused_and_their_lines) {
    const Texts faulty = {L"WyDeployHelper: [ERROR] Excpetion when reading XML file: 0xd"};
    const Texts noProduct = {
        L"WyDeployHelper: [ERROR] Failed to parse InstCfg.xml with XML parser: 0x6"};
    const std::string whole = kWhole;
    const struct {
        const char* what;
        std::string bytes;
        Texts lines;
    } rows[] = {
        {"empty file", "", faulty},
        {"blanks alone", "  \n", faulty},
        {"no XML", "[Check]\nCheckOS=1\n", faulty},
        {"cut short", whole.substr(0, whole.size() / 2), faulty},
        {"cut before its end", whole.substr(0, whole.size() - 12), faulty},
        {"text behind the end", whole + "x", faulty},
        {"two outermost elements", "<Product/><Product/>", faulty},
        {"tags that do not fit", "<Product><FileGroup></Product></FileGroup>", faulty},
        {"an attribute twice", "<Product><FileGroup><File Id='a' Id='b'/></FileGroup></Product>",
         faulty},
        {"no quotes", "<Product a=b/>", faulty},
        {"unknown entity", "<Product a='&none;'/>", faulty},
        {"no UTF-8", "<Product a='\xff\xfe'/>", faulty},
        {"a NUL", std::string("<Product>\0</Product>", 20), faulty},
        {"another outermost element", "<Package><Product/></Package>", noProduct},
        {"name in other letters", "<product/>", noProduct},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(Read(kWhole));
        EXPECT_EQ(LinesOf(row.bytes), row.lines);
        EXPECT_EQ(Ids(m_Manifest), L"keys k1 k2; values v1 v2; files f1 f2; folders d1 d2")
            << "the lists of before";
    }
}

TEST_F(PackageManifestFile, file_and_library_that_are_not_there) {
    Put(kWhole);
    const std::wstring open = L"WyDeployHelper: [ERROR] Excpetion when reading XML file: ";
    const struct {
        const char* what;
        bool exists;
        std::wstring pathOfDll;
        std::wstring configPath;
        std::wstring line;
    } rows[] = {
        {"no file", false, kFolderOfDll, L"P:\\50%\\InstCfg.xml",
         L"WyDeployHelper: [ERROR] Config file does not exist. Path: P:\\50%\\InstCfg.xml"},
        {"gone in between", true, kFolderOfDll, (m_Folder.Path() / "gone.xml").wstring(),
         open + L"0x2"},
        {"empty path", true, kFolderOfDll, L"", open + L"0xa0"},
        {"path too long", true, kFolderOfDll, std::wstring(260, L'x'), open + L"0x7a"},
        {"no folder of the library", true, L"", Path(), open + L"0xa0"},
        {"folder too long", true, std::wstring(260, L'x'), Path(), open + L"0x7a"},
        {"folder without the library", true, m_Folder.Path().wstring(), Path(), open + L"0x7e"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        g_Machine = FakeMachine();
        g_Machine.exists = row.exists;
        const LogRecorder log;
        EXPECT_FALSE(m_Manifest.Read(row.pathOfDll, row.configPath, true));
        EXPECT_EQ(log.Texts(), Texts{row.line});
        EXPECT_TRUE(log.Has(kError, row.line));
        EXPECT_EQ(Ids(m_Manifest), L"keys; values; files; folders");
        EXPECT_EQ(g_Machine.steps, Texts{L"exists " + row.configPath});
    }
}

TEST_F(PackageManifestFile, without_the_registry_its_lists_are_left_alone) {
    EXPECT_TRUE(Read(kWhole, false));
    EXPECT_EQ(Ids(m_Manifest), L"keys; values; files f1 f2; folders d1 d2");
    EXPECT_TRUE(Read(kWhole, true));
    EXPECT_TRUE(Read("<Product><FileGroup><File Id='a'/></FileGroup></Product>", false));
    EXPECT_EQ(Ids(m_Manifest), L"keys k1 k2; values v1 v2; files a; folders");
}

TEST_F(PackageManifestFile, second_read_replaces_the_lists) {
    EXPECT_TRUE(Read(kWhole));
    EXPECT_TRUE(Read("<Product><FileGroup><File Id='a'/></FileGroup></Product>"));
    EXPECT_EQ(Ids(m_Manifest), L"keys; values; files a; folders");
}

TEST_F(PackageManifestFile, utf_16_with_its_mark_is_read) {
    std::string bytes = "\xff\xfe";
    for (const char c : std::string_view(kWhole))
        bytes += {c, '\0'};
    EXPECT_EQ(LinesOf(bytes), Texts{});
    EXPECT_EQ(Ids(m_Manifest), L"keys k1 k2; values v1 v2; files f1 f2; folders d1 d2");
}

TEST_F(PackageManifestFile, large_value_comes_whole) {
    const std::string value(1U << 18U, 'v');
    ASSERT_TRUE(Read("<Product><RegistryGroup><RegistryValue Value='" + value +
                     "'/></RegistryGroup></Product>"));
    EXPECT_EQ(m_Manifest.registryValues.at(0).value, std::wstring(value.begin(), value.end()));
}

TEST_F(PackageManifestFile, many_items_come_whole) {
    constexpr std::size_t kItems = 20000;
    std::string text = "<Product><FileGroup>";
    for (std::size_t i = 0; i < kItems; ++i)
        text += "<File Id='" + std::to_string(i) + "' Name='a'/>";
    ASSERT_TRUE(Read(text + "</FileGroup></Product>"));
    ASSERT_EQ(m_Manifest.files.size(), kItems);
    EXPECT_EQ(m_Manifest.files.back().id, std::to_wstring(kItems - 1));
}

TEST_F(PackageManifestFile, deep_document_is_read_and_freed) {
    std::string open;
    std::string close;
    for (int i = 0; i < 50000; ++i) {
        open += "<a>";
        close += "</a>";
    }
    EXPECT_TRUE(
        Read("<Product>" + open + close + "<FileGroup><File Id='f'/></FileGroup></Product>"));
    EXPECT_EQ(Ids(m_Manifest), L"keys; values; files f; folders");
}

TEST_F(PackageManifestFile, lack_of_memory_anywhere_is_a_failure_with_its_line) {
    Put(kWhole);
    const std::wstring path = Path();
    const std::wstring folder = kFolderOfDll;
    std::size_t opening = 0;
    std::size_t reading = 0;
    for (std::size_t passed = 0;; ++passed) {
        ASSERT_LT(passed, 2000U);
        g_Machine = FakeMachine();
        PackageManifest manifest;
        const LogRecorder log;
        bool read = true;
        bool happened = false;
        {
            const FailAllocations fail(passed, FailAllocations::Mode::kOnce);
            read = manifest.Read(folder, path, true);
            happened = fail.Happened();
        }
        if (!happened) {
            EXPECT_TRUE(read);
            break;
        }
        if (read)
            continue;  // the library of the system did without
        ASSERT_EQ(log.Lines().size(), 1U) << passed;
        // 8 is that of a library that could not be loaded.
        opening += log.CountContaining(L"Excpetion when reading XML file: 0x6") +
                   log.CountContaining(L"Excpetion when reading XML file: 0x8");
        reading += log.CountContaining(L"Failed to parse InstCfg.xml with XML parser: 0x6");
        EXPECT_EQ(opening + reading, passed + 1) << testing::PrintToString(log.Texts()[0]);
    }
    EXPECT_GT(opening, 0U);
    EXPECT_GT(reading, 0U);
}

}  // namespace
