// Manifests that nobody means well with: what the deployment makes of them, and that the linter
// names what is wrong. The machine notes what it is asked for.

#include <algorithm>

#include "deploy/WyDeployer.h"
#include "unit/deploy/FakeMachine.h"
#include "unit/deploy/LintedPackage.h"
#include "unit/deploy/NotedMachine.h"

namespace {

using deploy_test::Lines;
using deploy_test::NotedMachine;
using lint_test::Texts;
using WyDeployHelper::DeployCommon::CWyDeployer;

class HostileManifest : public lint_test::Lint {
protected:
    HostileManifest() { deploy_test::g_Machine = deploy_test::FakeMachine(); }

    // Reads a document as the deployment does and carries it out, package "P:", product "I:".
    bool Deploy(const std::string& document) {
        std::ofstream(m_Folder.Path() / "InstCfg.xml", std::ios::binary | std::ios::trunc)
            << document;
        CWyDeployer deployer(m_Machine);
        deployer.deployRegistry = true;
        m_Machine.steps.clear();
        m_Machine.asked.clear();
        return deployer.ParseConfig(L".", (m_Folder.Path() / "InstCfg.xml").wstring()) &&
               deployer.Deploy(L"P:", L"I:");
    }
    static std::string Files(const std::string& items) {
        return "<Product><FileGroup>" + items + "</FileGroup></Product>";
    }
    static std::string Registry(const std::string& items) {
        return "<Product><RegistryGroup>" + items + "</RegistryGroup></Product>";
    }
    bool Names(const std::string& document, const std::string& id) {
        const Texts found = Findings(document);
        return std::any_of(found.begin(), found.end(), [&](const std::string& line) {
            return line.substr(2, line.find(' ', 2) - 2) == id;
        });
    }

    NotedMachine m_Machine;
};

TEST_F(HostileManifest, paths_are_appended_as_they_stand) {
    const struct {
        const char* path;  // as SourceDir and TargetDir
        const wchar_t* step;
        const char* id;
    } rows[] = {
        {"..\\..\\x", L"copy new P:\\..\\..\\x\\ a I:\\..\\..\\x\\", "leaves-root"},
        {"..", L"copy new P:\\..\\ a I:\\..\\", "leaves-root"},
        {"a/../../x", L"copy new P:\\a/../../x\\ a I:\\a/../../x\\", "leaves-root"},
        {"C:\\Windows", L"copy new P:\\C:\\Windows\\ a I:\\C:\\Windows\\", "absolute-path"},
        {"C:", L"copy new P:\\C:\\ a I:\\C:\\", "absolute-path"},
        {"\\\\server\\share", L"copy new P:\\\\\\server\\share\\ a I:\\\\\\server\\share\\",
         "absolute-path"},
        {"\\\\.\\PhysicalDrive0",
         L"copy new P:\\\\\\.\\PhysicalDrive0\\ a I:\\\\\\.\\PhysicalDrive0\\", "absolute-path"},
        {"\\\\?\\C:\\x", L"copy new P:\\\\\\?\\C:\\x\\ a I:\\\\\\?\\C:\\x\\", "absolute-path"},
        {"a&lt;b", L"copy new P:\\a<b\\ a I:\\a<b\\", "reserved-name"},
        {"NUL", L"copy new P:\\NUL\\ a I:\\NUL\\", "reserved-name"},
        {"x:stream", L"copy new P:\\x:stream\\ a I:\\x:stream\\", "reserved-name"},
        {"&#1;", nullptr, "manifest-faulty"},
        {"a&#9;b", L"copy new P:\\a\tb\\ a I:\\a\tb\\", "reserved-name"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const std::string document =
            Files(std::string("<File Action='write' Name='a' SourceDir='") + row.path +
                  "' TargetDir='" + row.path + "'/>");
        EXPECT_TRUE(Names(document, row.id)) << testing::PrintToString(Findings(document));
        EXPECT_GT(m_Report.Errors(), 0U);
        m_Machine.existing.clear();
        if (row.step == nullptr) {
            EXPECT_FALSE(Deploy(document));
            EXPECT_EQ(m_Machine.steps, Lines{});
            continue;
        }
        EXPECT_TRUE(Deploy(document)) << "a source that is missing is a success";
        EXPECT_EQ(m_Machine.steps, Lines{});
        ASSERT_EQ(m_Machine.asked.size(), 1U);
        m_Machine.existing = {m_Machine.asked[0]};
        EXPECT_TRUE(Deploy(document));
        EXPECT_EQ(std::count(m_Machine.steps.begin(), m_Machine.steps.end(), row.step), 1)
            << testing::PrintToString(m_Machine.steps);
    }
}

TEST_F(HostileManifest, folder_that_is_deleted_is_what_the_path_says) {
    const struct {
        const char* target;
        const wchar_t* step;  // the first
        const char* id;
    } rows[] = {
        {"", L"empty I:\\", "wide-delete"},
        {"a\\..", L"empty I:\\a\\..\\", "wide-delete"},
        {"..\\..", L"empty I:\\..\\..\\", "leaves-root"},
        {"\\", L"empty I:\\\\", "wide-delete"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.target);
        const std::string document =
            Files(std::string("<Folder Action='delete' TargetDir='") + row.target + "'/>");
        EXPECT_TRUE(Names(document, row.id));
        std::wstring name = std::wstring(row.step).substr(6);
        if (!name.ends_with(L":\\"))
            name.pop_back();
        m_Machine.existing = {name};
        EXPECT_TRUE(Deploy(document));
        ASSERT_FALSE(m_Machine.steps.empty());
        EXPECT_EQ(m_Machine.steps[0], row.step);
    }
}

TEST_F(HostileManifest, patterns_that_match_nothing_or_everything) {
    for (const char* pattern : {"*", "*.*", "*?*", "..\\*", "*\\..\\*"}) {
        SCOPED_TRACE(pattern);
        const std::string document =
            Files(std::string("<File Action='write' Name='") + pattern + "' SourceDir='none'/>");
        EXPECT_TRUE(Names(document, "matches-nothing"));
        EXPECT_EQ(m_Report.Errors() > 0, std::string(pattern).find('\\') != std::string::npos);
        m_Machine.listed.clear();
        EXPECT_TRUE(Deploy(document));
        EXPECT_EQ(m_Machine.steps.size(), 1U) << "the listing";
    }
    for (std::size_t i = 0; i < 1000; ++i) {
        const std::wstring name = L"f" + std::to_wstring(i);
        Put(L"all\\" + name);
        m_Machine.listed.push_back(name);
    }
    const std::string document = Files("<File Action='write' Name='*' SourceDir='all'/>");
    EXPECT_TRUE(Names(document, "matches-everything"));
    EXPECT_TRUE(Deploy(document));
    EXPECT_EQ(std::count_if(m_Machine.steps.begin(), m_Machine.steps.end(),
                            [](const auto& step) { return step.starts_with(L"copy new"); }),
              1000);
}

TEST_F(HostileManifest, a_hundred_thousand_items_are_all_carried_out_and_compared) {
    constexpr std::size_t kItems = 100000;
    constexpr std::size_t kWritten = kItems / 100;  // each place by two items
    std::string files;
    for (std::size_t i = 0; i < kItems; ++i) {
        files += "<File Id='" + std::to_string(i) + "' Action='" +
                 (i < kWritten ? "write" : "delete") + "' Name='a' TargetDir='" +
                 std::to_string(i / 2) + "'/>\n";
    }
    Put(L"a");
    const std::string document = Files(files);
    const Texts found = Findings(document);
    EXPECT_EQ(m_Report.items, kItems);
    ASSERT_EQ(found.size(), kWritten / 2);
    EXPECT_EQ(found[0], "W duplicate-target 2 File [1]");
    EXPECT_EQ(found.back(), "W duplicate-target 1000 File [999]");
    m_Machine.existing = {L"P:\\a"};
    EXPECT_TRUE(Deploy(document));
    EXPECT_EQ(m_Machine.steps.size(), 3 * kWritten) << "folder, copy, read-only mark of each";
    EXPECT_EQ(m_Machine.asked.size(), kItems + kWritten);
}

TEST_F(HostileManifest, values_of_a_mebibyte_go_on_whole) {
    const std::string value(1U << 20U, 'v');
    const std::string head =
        "<RegistryValue Action='write' Type='string' Root='HKLM' "
        "Key='SOFTWARE\\KorvexData\\Wyvarion' Name='n' Value='";
    EXPECT_TRUE(Names(Registry(head + value + "'/>"), "oversized"));
    EXPECT_EQ(m_Report.Errors(), 1U);
    EXPECT_LT(m_Report.findings[0].what.size(), 500U) << "the value itself is not repeated";
    EXPECT_TRUE(Deploy(Registry(head + value + "'/>")));
    ASSERT_EQ(m_Machine.steps.size(), 1U);
    EXPECT_EQ(m_Machine.steps[0], L"text HKLM SOFTWARE\\KorvexData\\Wyvarion n=" +
                                      std::wstring(value.begin(), value.end()) + L" view 2");
    // As the name of everything else, and as a word.
    const std::string name(1U << 16U, 'v');
    for (const std::string& item :
         {"<File Action='write' Name='" + name + "' SourceDir='" + name + "'/>",
          "<Folder Action='delete' TargetDir='" + name + "'/>",
          "<File Id='" + name + "' Action='" + name + "' Name='a'/>"}) {
        EXPECT_FALSE(Findings(Files(item)).empty());
        for (const WyCtl::Finding& finding : m_Report.findings)
            EXPECT_LT(finding.what.size(), 500U);
        EXPECT_TRUE(Deploy(Files(item)));
        EXPECT_EQ(m_Machine.steps, Lines{});
    }
}

TEST_F(HostileManifest, element_with_many_attributes) {
    std::string item = "<File Action='delete' Name='a'";
    constexpr std::size_t kAttributes = 2000;
    for (std::size_t i = 0; i < kAttributes; ++i)
        item += " a" + std::to_string(i) + "=''";
    EXPECT_EQ(Findings(Files(item + "/>")).size(), kAttributes);
    EXPECT_EQ(m_Report.Errors(), 0U);
    m_Machine.existing = {L"I:\\a"};
    EXPECT_TRUE(Deploy(Files(item + "/>")));
    EXPECT_EQ(m_Machine.steps, (Lines{L"writable I:\\a", L"delete file I:\\a"}));
}

TEST_F(HostileManifest, entities_that_grow_or_reach_out_are_refused) {
    std::string grows = "<!DOCTYPE Product [<!ENTITY e0 'eeeeeeeeee'>";
    for (int i = 1; i < 12; ++i) {
        grows += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j)
            grows += "&e" + std::to_string(i - 1) + ";";
        grows += "'>";
    }
    grows += "]><Product><FileGroup><File Name='&e11;'/></FileGroup></Product>";
    for (const std::string& document :
         {grows, std::string("<!DOCTYPE Product [<!ENTITY e SYSTEM 'InstCfg.xml'>]>"
                             "<Product>&e;</Product>")}) {
        EXPECT_TRUE(Names(document, "manifest-faulty")) << document.substr(0, 80);
        EXPECT_FALSE(Deploy(document));
        EXPECT_EQ(m_Machine.steps, Lines{});
    }
}

TEST_F(HostileManifest, deep_document_is_looked_at_without_recursion) {
    constexpr std::size_t kDepth = 50000;
    std::string open;
    std::string close;
    for (std::size_t i = 0; i < kDepth; ++i) {
        open += "<a>";
        close += "</a>";
    }
    EXPECT_EQ(Findings("<Product>" + open + close + "</Product>"), Texts{"W unknown-element 1 a"});
    EXPECT_TRUE(Deploy("<Product>" + open + close + "</Product>"));
}

}  // namespace
