// Laying down files, registry, tools and identity.

#include "unit/deploy/SetupFixture_win32.h"

namespace {

using deploy_test::kProductCode;
using deploy_test::kSuccess;
using deploy_test::kTavrenoxKey;
using deploy_test::Lines;
using deploy_test::PutValue;
using deploy_test::Value;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kBegin =
    L"1 [INFO] Frwk::Mode::GetWyvarionId()= TavrenoxWY_REG_ROOT = SOFTWARE\\KorvexData\\Tavrenox";

class InstallerInstall : public deploy_test::InstallerFixture {
protected:
    // A first installation or a re-install, up to and with the first phase.
    void Begin(bool reinstall, const std::string& setup = "") {
        PutPackage(setup);
        if (reinstall)
            PutInstalled();
        SetDirectory();
        Prepare();
    }
};

TEST_F(InstallerInstall, first_installation_lays_everything_down) {
    Begin(false);
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    EXPECT_EQ(Content(m_Install / L"new.txt"), "new");
    EXPECT_EQ(Value(kTavrenoxKey, L"Deployed"), L"new");
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductId"), L"1000");
    EXPECT_EQ(Value(kTavrenoxKey, L"VendorId"), L"vendor");
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductGuid"), kProductCode);
    EXPECT_EQ(Value(kTavrenoxKey, L"SourceDir"), m_Package.wstring());
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductPath"), m_Install.wstring());
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductVersion"), L"(none)") << "that is for the second phase";
    EXPECT_THAT(Steps(), ElementsAre(L"Store Deployed", L"Store ProductId", L"Store VendorId",
                                     L"Store ProductGuid", L"Store SourceDir", L"Store ProductPath",
                                     L"Store WinGuid"));
    EXPECT_THAT(InstallerLog(), ElementsAre(kBegin));
    EXPECT_EQ(Status(), 1);
}

TEST_F(InstallerInstall, manifest_that_cannot_be_read_is_a_failure) {
    Begin(false);
    for (const bool there : {true, false}) {
        m_Machine.ClearSteps();
        m_Log.Clear();
        if (there)
            PutFile(m_Package / L"InstCfg.xml", "<Product><FileGroup>");
        else
            std::filesystem::remove(m_Package / L"InstCfg.xml");
        EXPECT_EQ(m_Installer.Install(), 0xe00e0013U);
        EXPECT_THAT(InstallerLog(),
                    ElementsAre(kBegin, L"256 [ERROR] Parse InstCfg.xml file failed..."));
        EXPECT_THAT(Steps(), IsEmpty());
    }
}

TEST_F(InstallerInstall, manifest_is_read_by_the_package_for_this_system) {
    Begin(false);
    std::filesystem::remove(XmlLibrary());
    EXPECT_EQ(m_Installer.Install(), 0xe00e0013U);
}

TEST_F(InstallerInstall, item_that_fails_ends_the_installation) {
    Begin(false);
    m_Machine.failures = {{L"CopyFile @\\install\\new.txt", {ERROR_DISK_FULL}}};
    EXPECT_EQ(m_Installer.Install(), 0xe00e0014U);
    EXPECT_THAT(InstallerLog(),
                ElementsAre(kBegin, L"256 [ERROR] Deploy registry or file failed..."));
    EXPECT_THAT(Steps(), ElementsAre(L"Store Deployed"));
    EXPECT_FALSE(Exists(m_Data / L"External"));
}

TEST_F(InstallerInstall, reinstall_may_leave_the_registry_of_the_manifest_alone) {
    const struct {
        bool reinstall;
        const char* setup;
        bool deployed;
    } rows[] = {
        {false, "", true},
        {false, "[MsiConfig]\r\nUpdateRegistry=0\r\n", true},
        {true, "", true},
        {true, "[MsiConfig]\r\nUpdateRegistry=1\r\n", true},
        {true, "[MsiConfig]\r\nUpdateRegistry=0\r\n", false},
        {true, "[MsiConfig]\r\nUpdateRegistry=00\r\n", true},
        {true, "[MsiConfig]\r\nUpdateRegistry=no\r\n", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.setup);
        Clear();
        Begin(row.reinstall, row.setup);
        EXPECT_EQ(m_Installer.Install(), kSuccess);
        EXPECT_EQ(Value(kTavrenoxKey, L"Deployed"), row.deployed ? L"new" : L"(none)");
        EXPECT_EQ(Content(m_Install / L"new.txt"), "new");
        EXPECT_EQ(Value(kTavrenoxKey, L"SourceDir"), m_Package.wstring());
    }
}

// ---- external tools

TEST_F(InstallerInstall, tools_of_this_system_and_of_all_are_copied_in_this_order) {
    PutFile(m_Package / Tree() / L"product" / L"External" / L"both.txt", "of this system");
    PutFile(m_Package / L"common" / L"product" / L"External" / L"both.txt", "of all");
    PutFile(m_Package / L"common" / L"product" / L"External" / L"sub" / L"deep.txt");
    Begin(false);
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    const std::filesystem::path tools = m_Data / L"External";
    EXPECT_TRUE(Exists(tools / (Tree() + L".txt")));
    EXPECT_TRUE(Exists(tools / L"common.txt"));
    EXPECT_TRUE(Exists(tools / L"sub" / L"deep.txt"));
    EXPECT_FALSE(Exists(tools / (OtherTree() + L".txt")));
    EXPECT_EQ(Content(tools / L"both.txt"), "of all");
    EXPECT_FALSE(Exists(m_Data / L"ExternalTmp"));
}

TEST_F(InstallerInstall, tools_of_a_reinstall_wait_for_the_next_start) {
    PutFile(m_Data / L"External" / L"common.txt", "former tool");
    Begin(true);
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    EXPECT_EQ(Content(m_Data / L"External" / L"common.txt"), "former tool");
    EXPECT_EQ(Content(m_Data / L"ExternalTmp" / L"common.txt"), "tool");
    EXPECT_TRUE(Exists(m_Data / L"ExternalTmp" / (Tree() + L".txt")));
    const std::wstring data = L"@\\Common\\Korvex Data\\Tavrenox\\";
    for (const std::wstring& name : {Tree(), std::wstring(L"common")}) {
        EXPECT_TRUE(Did(L"AtRestart " + data + L"ExternalTmp\\" + name + L".txt -> " + data +
                        L"External\\" + name + L".txt"));
    }
}

TEST_F(InstallerInstall, package_without_tools_is_a_success) {
    for (const bool reinstall : {false, true}) {
        Clear();
        PutPackage();
        for (const wchar_t* tree : {L"x64", L"win32", L"common"})
            std::filesystem::remove_all(m_Package / tree / L"product");
        if (reinstall)
            PutInstalled();
        SetDirectory();
        Prepare();
        EXPECT_EQ(m_Installer.Install(), kSuccess);
        EXPECT_THAT(InstallerLog(), ElementsAre(kBegin));
    }
}

TEST_F(InstallerInstall, tools_that_cannot_be_copied_are_a_failure) {
    const std::wstring data = L"@\\Common\\Korvex Data\\Tavrenox\\";
    const struct {
        bool reinstall;
        std::wstring call;
    } rows[] = {
        {false, L"CopyFile " + data + L"External\\" + Tree() + L".txt"},
        {false, L"CopyFile " + data + L"External\\common.txt"},
        {true, L"CopyFile " + data + L"ExternalTmp\\common.txt"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.call));
        Clear();
        Begin(row.reinstall);
        m_Machine.failures = {{row.call, {ERROR_DISK_FULL}}};
        EXPECT_EQ(m_Installer.Install(), 0xe0ff0001U);
        EXPECT_THAT(InstallerLog(), ElementsAre(kBegin, L"256 [ERROR] Copy folder failed...",
                                                L"256 [ERROR] Install external tools failed..."));
        EXPECT_THAT(Steps(), ElementsAre(L"Store Deployed")) << "nothing behind it";
    }
}

TEST_F(InstallerInstall, tools_that_cannot_be_queued_are_a_failure) {
    Begin(true);
    m_Machine.failures = {
        {L"Find @\\Common\\Korvex Data\\Tavrenox\\ExternalTmp\\*", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(m_Installer.Install(), 0xe0fe0005U);
    EXPECT_THAT(
        InstallerLog(),
        ElementsAre(kBegin, L"256 [ERROR] WyCommon::Utility::MoveAllFilesAfterReboot failed...",
                    L"256 [ERROR] Install external tools failed..."));
    EXPECT_EQ(Value(kTavrenoxKey, L"SourceDir"), L"(none)");
}

// ---- identity

TEST_F(InstallerInstall, identity_that_cannot_be_stored_is_no_failure) {
    for (const wchar_t* name :
         {L"ProductId", L"VendorId", L"ProductGuid", L"SourceDir", L"ProductPath"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        Clear();
        Begin(false);
        m_Machine.failures = {{std::wstring(L"Store ") + name, {ERROR_ACCESS_DENIED}}};
        EXPECT_EQ(m_Installer.Install(), kSuccess);
        EXPECT_EQ(Value(kTavrenoxKey, name), L"(none)");
        EXPECT_EQ(Steps().back(), L"Store WinGuid");
        EXPECT_THAT(InstallerLog(), ElementsAre(kBegin));
    }
}

TEST_F(InstallerInstall, guid_of_the_machine_is_made_once_and_kept_by_reinstalls) {
    Begin(false);
    PutValue(kTavrenoxKey, L"WinGuid", L"of another installation");
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    const std::wstring made = Value(kTavrenoxKey, L"WinGuid");
    ASSERT_EQ(made.size(), 36U);
    for (const std::size_t at : {8U, 13U, 18U, 23U})
        EXPECT_EQ(made[at], L'-');

    Begin(true);
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    EXPECT_EQ(Value(kTavrenoxKey, L"WinGuid"), made);

    PutValue(kTavrenoxKey, L"WinGuid", L"");
    Begin(true);
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    EXPECT_EQ(Value(kTavrenoxKey, L"WinGuid").size(), 36U);
    EXPECT_NE(Value(kTavrenoxKey, L"WinGuid"), made);
}

TEST_F(InstallerInstall, guid_that_cannot_be_made_is_told_and_no_more) {
    for (const wchar_t* call : {L"Guid", L"GuidText", L"Store WinGuid"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(call)));
        Clear();
        Begin(false);
        m_Machine.failures = {{call, {ERROR_ACCESS_DENIED}}};
        EXPECT_EQ(m_Installer.Install(), kSuccess);
        EXPECT_EQ(Value(kTavrenoxKey, L"WinGuid"), L"(none)");
        EXPECT_THAT(InstallerLog(), ElementsAre(kBegin, L"256 [ERROR] Generate GUID failed..."));
    }
}

}  // namespace
