// The order of a deployment, the platform of its items, and those of the registry.

#include "deploy/WyDeployer.h"

#include <gtest/gtest.h>

#include <string>

#include "support/AllocationFaults.h"
#include "support/LogRecorder.h"
#include "unit/deploy/NotedMachine.h"

namespace {

using deploy_test::DeployerLines;
using deploy_test::First;
using deploy_test::Lines;
using deploy_test::NotedMachine;
using deploy_test::WithHeadings;
using test_support::FailAllocations;
using test_support::LogRecorder;
using WyDeployHelper::DeployCommon::CWyDeployer;
using WyDeployHelper::DeployCommon::RegistryKeyRecord;
using WyDeployHelper::DeployCommon::RegistryValueRecord;

class WyDeployer : public testing::Test {
protected:
    bool Deploy() {
        m_Machine.steps.clear();
        m_Log.Clear();
        return m_Deployer.Deploy(L"C:\\p", L"C:\\i");
    }
    bool DeployKey(const RegistryKeyRecord& record) {
        m_Deployer.registryKeys = {record};
        return Deploy();
    }
    bool DeployValue(const RegistryValueRecord& record) {
        m_Deployer.registryValues = {record};
        return Deploy();
    }
    // One item of each kind, of which all but the key are for a platform.
    void PutOneOfEach(const std::wstring& platform) {
        m_Deployer.registryKeys = {{L"k", L"create", L"HKLM", L"K", platform}};
        m_Deployer.registryValues = {
            {L"v", L"write", L"", L"HKLM", L"K", L"n", L"x", L"string", platform}};
        m_Deployer.folders = {{L"d", L"write", L"", L"", L"d", L"d", platform}};
        m_Deployer.files = {{L"f", L"write", L"", L"f", L"", L"", platform}};
        m_Machine.existing = {L"C:\\p\\d", L"C:\\p\\f"};
    }
    Lines LogLines() const { return DeployerLines(m_Log); }

    NotedMachine m_Machine;
    CWyDeployer m_Deployer{m_Machine};
    LogRecorder m_Log;
};

// ---- the pass

TEST_F(WyDeployer, empty_lists_leave_the_headings_alone) {
    EXPECT_TRUE(Deploy());
    EXPECT_EQ(LogLines(), WithHeadings({}));
    EXPECT_EQ(m_Machine.steps, Lines{});
    EXPECT_FALSE(m_Deployer.deployRegistry);
}

TEST_F(WyDeployer, keys_then_values_then_folders_then_files_in_the_order_of_each_list) {
    m_Deployer.files = {{L"f1", L"write", L"", L"b", L"", L"", L""},
                        {L"f2", L"write", L"", L"a", L"", L"", L""}};
    m_Deployer.folders = {{L"d1", L"write", L"", L"", L"z", L"z", L""},
                          {L"d2", L"write", L"", L"", L"y", L"y", L""}};
    m_Deployer.registryValues = {{L"v1", L"write", L"", L"HKLM", L"K", L"n", L"x", L"string", L""},
                                 {L"v2", L"delete", L"", L"HKCU", L"J", L"m", L"", L"", L""}};
    m_Deployer.registryKeys = {{L"k1", L"delete", L"HKLM", L"K", L""},
                               {L"k2", L"create", L"HKCU", L"J", L""}};
    m_Machine.existing = {L"C:\\p\\z", L"C:\\p\\y", L"C:\\p\\a", L"C:\\p\\b"};
    EXPECT_TRUE(Deploy());
    EXPECT_EQ(m_Machine.steps,
              (Lines{L"delete key HKLM K", L"create key HKCU J view 2", L"text HKLM K n=x view 2",
                     L"delete value HKCU J m view 2", L"copy folder C:\\p\\z\\ C:\\i\\z\\",
                     L"copy folder C:\\p\\y\\ C:\\i\\y\\", L"make C:\\i\\",
                     L"copy new C:\\p\\ b C:\\i\\", L"writable C:\\i\\b", L"make C:\\i\\",
                     L"copy new C:\\p\\ a C:\\i\\", L"writable C:\\i\\a"}));
    EXPECT_EQ(
        LogLines(),
        WithHeadings(
            {L"1 Id: k1,Action: delete,Root: HKLM,Key: K,Platform: ",
             L"1 Id: k2,Action: create,Root: HKCU,Key: J,Platform: "},
            {L"1 Id: v1,Action: write,AllAccess: ,Root: HKLM,Key: K,Name: n,Value: x,Type: "
             L"string,Platform: ",
             L"1 Id: v2,Action: delete,AllAccess: ,Root: HKCU,Key: J,Name: m,Value: ,Type: "
             L",Platform: "},
            {L"1 Id: d1,Action: write,Overwrite: ,KeyModule: ,SourceDir: z,TargetDir: z,Platform: ",
             L"1 Id: d2,Action: write,Overwrite: ,KeyModule: ,SourceDir: y,TargetDir: "
             L"y,Platform: "},
            {L"1 Id: f1,Action: write,Overwrite: ,Name: b,SourceDir: ,TargetDir: ,Platform: ",
             L"1 KrCommon::Storage::File::CopyFile: SourceDir: C:\\p\\ File Name: b TargetDir: "
             L"C:\\i\\",
             L"1 Id: f2,Action: write,Overwrite: ,Name: a,SourceDir: ,TargetDir: ,Platform: ",
             L"1 KrCommon::Storage::File::CopyFile: SourceDir: C:\\p\\ File Name: a TargetDir: "
             L"C:\\i\\"}));
}

TEST_F(WyDeployer, first_item_that_fails_ends_the_pass) {
    PutOneOfEach(L"");
    // A second item of each kind would leave a step.
    m_Deployer.registryKeys.push_back(m_Deployer.registryKeys[0]);
    m_Deployer.registryValues.push_back(m_Deployer.registryValues[0]);
    m_Deployer.folders.push_back(m_Deployer.folders[0]);
    m_Deployer.files.push_back(m_Deployer.files[0]);
    const struct {
        const wchar_t* refused;
        std::size_t steps;
        const wchar_t* line;
    } rows[] = {
        {L"create", 1, L"256 KrCommon::Storage::Reg::CreateKeyWithAllAccess() failed!0x5"},
        {L"text", 3, L"256 Store registry value failed: 0x5"},
        {L"copy folder", 5, L"256 Copy folder failed..."},
        {L"copy new", 8, L"256 KrCommon::Storage::File::CopyFile failed..."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.line);
        m_Machine.Refuse(row.refused, 5);
        EXPECT_FALSE(Deploy());
        EXPECT_EQ(m_Machine.steps.size(), row.steps);
        EXPECT_EQ(LogLines().back(), row.line);
    }
    m_Machine.Refuse(L"", 0);
    EXPECT_TRUE(Deploy());
    EXPECT_EQ(m_Machine.steps.size(), 12U);
}

TEST_F(WyDeployer, platform_of_the_system_decides_for_all_but_keys) {
    const struct {
        const wchar_t* platform;
        bool on64Bit;
        bool on32Bit;
    } rows[] = {
        {L"", true, true},
        {L"win32", false, true},
        {L"WIN32", false, true},
        {L"Win32", false, true},
        {L"x64", true, false},
        {L"X64", true, false},
        {L"win32 ", true, true},
        {L" x64", true, true},
        {L"x", true, true},
        {L"x64x64", true, true},
        {L"arm64", true, true},
        {L"win32;x64", true, true},
        {L"win\x0131"
         L"32",
         true, true},
    };
    for (const auto& row : rows) {
        for (const bool is64Bit : {true, false}) {
            SCOPED_TRACE(testing::Message() << row.platform << is64Bit);
            PutOneOfEach(row.platform);
            m_Machine.is64Bit = is64Bit;
            EXPECT_TRUE(Deploy());
            const std::wstring view = is64Bit ? L" view 2" : L" view 0";
            const std::wstring platform = row.platform;
            const Lines key = {L"1 Id: k,Action: create,Root: HKLM,Key: K,Platform: " + platform};
            if (is64Bit ? row.on64Bit : row.on32Bit) {
                EXPECT_EQ(m_Machine.steps,
                          (Lines{L"create key HKLM K" + view, L"text HKLM K n=x" + view,
                                 L"copy folder C:\\p\\d\\ C:\\i\\d\\", L"make C:\\i\\",
                                 L"copy new C:\\p\\ f C:\\i\\", L"writable C:\\i\\f"}));
            } else {
                EXPECT_EQ(m_Machine.steps, Lines{L"create key HKLM K" + view});
                EXPECT_EQ(LogLines(),
                          WithHeadings(
                              key, {L"1 Skip deploying this value as the platform does not match."},
                              {L"1 Skip deploying this folder as the platform does not match."},
                              {L"1 Skip deploying this file as the platform does not match."}));
            }
        }
    }
}

// ---- keys

TEST_F(WyDeployer, actions_and_roots_of_keys) {
    const struct {
        const wchar_t* action;
        const wchar_t* root;
        Lines steps;
    } rows[] = {
        {L"create", L"HKLM", {L"create key HKLM a\\b view 2"}},
        {L"CREATE", L"hklm", {L"create key HKLM a\\b view 2"}},
        {L"create", L"HKCU", {L"create key HKCU a\\b view 2"}},
        {L"create", L"hKcU", {L"create key HKCU a\\b view 2"}},
        {L"create", L"", {L"create key no root a\\b view 2"}},
        {L"create", L"HKCR", {L"create key no root a\\b view 2"}},
        {L"create", L"HKEY_LOCAL_MACHINE", {L"create key no root a\\b view 2"}},
        {L"create", L"HKLM ", {L"create key no root a\\b view 2"}},
        {L"delete", L"HKLM", {L"delete key HKLM a\\b"}},
        {L"Delete", L"HKCU", {L"delete key HKCU a\\b"}},
        {L"delete", L"x", {L"delete key no root a\\b"}},
        {L"write", L"HKLM", {}},
        {L"", L"HKLM", {}},
        {L"creat", L"HKLM", {}},
        {L"created", L"HKLM", {}},
        {L"delete ", L"HKLM", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.action << L"/" << row.root);
        EXPECT_TRUE(DeployKey({L"i", row.action, row.root, L"a\\b", L"p"}));
        EXPECT_EQ(m_Machine.steps, row.steps);
        EXPECT_EQ(LogLines(), WithHeadings({std::wstring(L"1 Id: i,Action: ") + row.action +
                                            L",Root: " + row.root + L",Key: a\\b,Platform: p"}));
    }
}

TEST_F(WyDeployer, keys_that_fail) {
    const Lines key = {L"1 Deploy Registry Key...",
                       L"1 Id: i,Action: create,Root: ,Key: k,Platform: "};
    m_Machine.Refuse(L"create", 160);
    EXPECT_FALSE(DeployKey({L"i", L"create", L"", L"k", L""}));
    EXPECT_EQ(LogLines(),
              (Lines{key[0], key[1],
                     L"256 KrCommon::Storage::Reg::CreateKeyWithAllAccess() failed!0xa0"}));
    m_Machine.Refuse(L"delete", 160);
    EXPECT_FALSE(DeployKey({L"i", L"delete", L"", L"k", L""}));
    EXPECT_EQ(LogLines(), (Lines{key[0], L"1 Id: i,Action: delete,Root: ,Key: k,Platform: ",
                                 L"256 KrCommon::Storage::Reg::DeleteAllSection() failed!"}));
}

// ---- values

TEST_F(WyDeployer, actions_types_and_access_of_values) {
    const struct {
        const wchar_t* action;
        const wchar_t* allAccess;
        const wchar_t* root;
        const wchar_t* type;
        Lines steps;
    } rows[] = {
        {L"write", L"", L"HKLM", L"string", {L"text HKLM k n=12 view 2"}},
        {L"WRITE", L"yes", L"HKCU", L"STRING", {L"text for all HKCU k n=12 view 2"}},
        {L"write", L"Yes", L"", L"String", {L"text for all no root k n=12 view 2"}},
        {L"write", L"yes ", L"HKLM", L"string", {L"text HKLM k n=12 view 2"}},
        {L"write", L"true", L"HKLM", L"string", {L"text HKLM k n=12 view 2"}},
        {L"write", L"no", L"HKLM", L"dword", {L"number HKLM k n=12 view 2"}},
        {L"write", L"yes", L"hkcu", L"Dword", {L"number for all HKCU k n=12 view 2"}},
        {L"write", L"YES", L"x", L"DWORD", {L"number for all no root k n=12 view 2"}},
        {L"write", L"yes", L"HKLM", L"", {}},
        {L"write", L"yes", L"HKLM", L"qword", {}},
        {L"write", L"yes", L"HKLM", L"REG_SZ", {}},
        {L"write", L"yes", L"HKLM", L"strings", {}},
        {L"write", L"yes", L"HKLM", L"dwor", {}},
        {L"delete", L"yes", L"HKLM", L"string", {L"delete value HKLM k n view 2"}},
        {L"dElete", L"", L"HKCU", L"", {L"delete value HKCU k n view 2"}},
        {L"delete", L"", L"", L"", {L"delete value no root k n view 2"}},
        {L"create", L"yes", L"HKLM", L"string", {}},
        {L"", L"", L"HKLM", L"string", {}},
        {L"writes", L"", L"HKLM", L"string", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.action << L"/" << row.allAccess << L"/" << row.type);
        EXPECT_TRUE(DeployValue(
            {L"i", row.action, row.allAccess, row.root, L"k", L"n", L"12", row.type, L"p"}));
        EXPECT_EQ(m_Machine.steps, row.steps);
        EXPECT_EQ(LogLines(), WithHeadings({}, {std::wstring(L"1 Id: i,Action: ") + row.action +
                                                L",AllAccess: " + row.allAccess + L",Root: " +
                                                row.root + L",Key: k,Name: n,Value: 12,Type: " +
                                                row.type + L",Platform: p"}));
    }
}

TEST_F(WyDeployer, numbers_of_dwords) {
    const struct {
        const wchar_t* text;
        const wchar_t* number;
    } rows[] = {
        {L"", L"0"},
        {L"0", L"0"},
        {L"1", L"1"},
        {L"007", L"7"},
        {L"+5", L"5"},
        {L" \t\n42", L"42"},
        {L"42abc", L"42"},
        {L"4 2", L"4"},
        {L"0x10", L"0"},
        {L"abc", L"0"},
        {L"-", L"0"},
        {L"+-1", L"0"},
        {L"--1", L"0"},
        {L"-1", L"4294967295"},
        {L"-2", L"4294967294"},
        {L"-4294967295", L"1"},
        {L"2147483648", L"2147483648"},
        {L"4294967295", L"4294967295"},
        {L"4294967296", L"4294967295"},
        {L"-4294967296", L"4294967295"},
        {L"18446744073709551616", L"4294967295"},
        {L"99999999999999999999999999999999999999999", L"4294967295"},
        {L"\xff11", L"0"},  // a digit of another script
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.text);
        EXPECT_TRUE(
            DeployValue({L"", L"write", L"", L"HKLM", L"k", L"n", row.text, L"dword", L""}));
        EXPECT_EQ(m_Machine.steps,
                  Lines{std::wstring(L"number HKLM k n=") + row.number + L" view 2"});
    }
}

TEST_F(WyDeployer, values_that_fail) {
    const struct {
        const wchar_t* step;
        std::uint32_t code;
        const wchar_t* action;
        const wchar_t* allAccess;
        const wchar_t* type;
        const wchar_t* line;  // null: a success
    } rows[] = {
        {L"text HKLM", 5, L"write", L"", L"string", L"256 Store registry value failed: 0x5"},
        {L"text for all", 160, L"write", L"yes", L"string",
         L"256 Store registry value failed: 0xa0"},
        {L"number HKLM", 2, L"write", L"", L"dword", L"256 Store registry value failed: 0x2"},
        {L"number for all", 0x800300fd, L"write", L"yes", L"dword",
         L"256 Store registry value failed: 0x800300fd"},
        {L"delete", 2, L"delete", L"", L"", nullptr},
        {L"delete", 3, L"delete", L"", L"",
         L"256 KrCommon::Storage::Reg::DeleteEntry() failed: 0x3"},
        {L"delete", 5, L"delete", L"", L"",
         L"256 KrCommon::Storage::Reg::DeleteEntry() failed: 0x5"},
        {L"delete", 0x102, L"delete", L"", L"",
         L"256 KrCommon::Storage::Reg::DeleteEntry() failed: 0x102"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.step << row.code);
        m_Machine.Refuse(row.step, row.code);
        EXPECT_EQ(
            DeployValue({L"", row.action, row.allAccess, L"HKLM", L"k", L"n", L"1", row.type, L""}),
            row.line == nullptr);
        EXPECT_EQ(m_Machine.steps.size(), 1U);
        const std::wstring item = std::wstring(L"1 Id: ,Action: ") + row.action + L",AllAccess: " +
                                  row.allAccess + L",Root: HKLM,Key: k,Name: n,Value: 1,Type: " +
                                  row.type + L",Platform: ";
        const Lines failed = WithHeadings({}, {item, row.line != nullptr ? row.line : L""});
        EXPECT_EQ(LogLines(), row.line != nullptr ? First(failed, 4) : WithHeadings({}, {item}));
    }
}

TEST_F(WyDeployer, texts_go_on_as_they_are) {
    const std::wstring value = L"%s%n \"' \x00f6\t\n" + std::wstring(100000, L'x');
    EXPECT_TRUE(
        DeployValue({L"%d", L"write", L"", L"HKLM", L"a\\..\\b", L"", value, L"string", L""}));
    EXPECT_EQ(m_Machine.steps, Lines{L"text HKLM a\\..\\b =" + value + L" view 2"});
    EXPECT_EQ(LogLines()[2],
              L"1 Id: %d,Action: write,AllAccess: ,Root: HKLM,Key: a\\..\\b,Name: "
              L",Value: " +
                  value + L",Type: string,Platform: ");
}

// ---- memory

TEST_F(WyDeployer, no_memory_is_a_failure_and_nothing_else) {
    PutOneOfEach(L"");
    m_Machine.steps.reserve(100);
    m_Machine.asked.reserve(100);
    const std::wstring package = L"C:\\the folder of the package";
    const std::wstring product = L"C:\\the folder of the product";
    m_Machine.existing = {package + L"\\d", package + L"\\f"};
    std::size_t failures = 0;
    for (std::size_t passed = 0;; ++passed) {
        ASSERT_LT(passed, 1000U);
        m_Machine.steps.clear();
        m_Machine.asked.clear();
        m_Log.Clear();
        bool deployed = true;
        bool happened = false;
        {
            const FailAllocations fail(passed, FailAllocations::Mode::kOnce);
            deployed = m_Deployer.Deploy(package, product);
            happened = fail.Happened();
        }
        if (!deployed) {
            ++failures;
            EXPECT_TRUE(happened);
            EXPECT_EQ(LogLines().back(), L"256 Deploy failed, not enough memory...");
        }
        if (!happened) {
            EXPECT_TRUE(deployed);
            break;
        }
    }
    EXPECT_GT(failures, 10U);
}

}  // namespace
