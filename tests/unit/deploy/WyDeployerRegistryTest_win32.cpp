// Deployments to the registry of this machine, a whole manifest, and calls that the system refuses.

#include <optional>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "support/IatPatch.h"
#include "support/PendingMoves_win32.h"
#include "unit/deploy/SystemDeployment_win32.h"

namespace {

using deploy_test::DeployerLines;
using deploy_test::Lines;
using deploy_test::WithHeadings;
using test_support::IatPatch;
using test_support::NameList;
using WyDeployHelper::DeployCommon::CWyDeployer;

constexpr wchar_t kTree[] = L"Software\\WyDeployerTest";
constexpr wchar_t kKey[] = L"Software\\WyDeployerTest\\Key";

REGSAM ProductView() {
    return KrCommon::OsVersion::Is64Bit() ? KEY_WOW64_64KEY : 0;
}

void RemoveTree(HKEY root, REGSAM view) {
    for (const wchar_t* key : {L"Software\\WyDeployerTest\\Key\\Below", kKey, kTree})
        RegDeleteKeyExW(root, key, view, 0);
}

bool HasKey(HKEY root, const wchar_t* path, REGSAM view) {
    HKEY key = nullptr;
    const bool exists = RegOpenKeyExW(root, path, 0, KEY_READ | view, &key) == ERROR_SUCCESS;
    RegCloseKey(key);
    return exists;
}

// A value as "type text" or "type number"; nothing when there is none.
std::optional<std::wstring> Value(HKEY root, const wchar_t* name) {
    HKEY key = nullptr;
    RegOpenKeyExW(root, kKey, 0, KEY_READ | ProductView(), &key);
    DWORD type = 0;
    wchar_t text[100] = {};
    DWORD size = sizeof text - sizeof(wchar_t);
    const LSTATUS status =
        RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
    RegCloseKey(key);
    if (status != ERROR_SUCCESS)
        return std::nullopt;
    DWORD number = 0;
    std::memcpy(&number, text, sizeof number);
    return std::to_wstring(type) + L" " + (type == REG_DWORD ? std::to_wstring(number) : text);
}

class DeployedRegistry : public deploy_test::SystemDeployment {
protected:
    DeployedRegistry() { Clean(); }
    ~DeployedRegistry() override { Clean(); }

private:
    static void Clean() {
        for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
            RemoveTree(root, ProductView());
            RemoveTree(root, KEY_WOW64_32KEY);
        }
    }
};

TEST_F(DeployedRegistry, keys_of_both_roots_in_the_view_of_the_system) {
    const std::pair<const wchar_t*, HKEY> roots[] = {{L"hklm", HKEY_LOCAL_MACHINE},
                                                     {L"HKCU", HKEY_CURRENT_USER}};
    for (const auto& [name, root] : roots) {
        SCOPED_TRACE(testing::Message() << name);
        EXPECT_TRUE(DeployKey({L"", L"create", name, kKey, L""}));
        EXPECT_TRUE(DeployKey({L"", L"create", name, kKey, L"win32"}));
        EXPECT_TRUE(HasKey(root, kKey, ProductView()));
    }
    // The tree goes from the view of this process, which for a 32-bit one is not that of the
    // product: there the key stays.
    EXPECT_TRUE(DeployKey({L"", L"delete", L"HKLM", kTree, L""}));
    const bool sameView = !KrCommon::OsVersion::Is64Bit() || sizeof(void*) == 8;
    EXPECT_EQ(HasKey(HKEY_LOCAL_MACHINE, kKey, ProductView()), !sameView);
    EXPECT_TRUE(DeployKey({L"", L"delete", L"HKLM", kTree, L""}));
}

TEST_F(DeployedRegistry, values_are_written_and_deleted) {
    EXPECT_TRUE(DeployValue({L"", L"write", L"yes", L"HKLM", kKey, L"s", L"t", L"string", L""}));
    EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, L"s"), L"1 t");
    EXPECT_TRUE(DeployValue({L"", L"write", L"", L"HKLM", kKey, L"s", L"7", L"dword", L""}));
    EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, L"s"), L"4 7");
    EXPECT_TRUE(DeployValue({L"", L"write", L"no", L"HKCU", kKey, L"n", L"-1", L"dword", L""}));
    EXPECT_EQ(Value(HKEY_CURRENT_USER, L"n"), L"4 4294967295");
    EXPECT_TRUE(DeployValue({L"", L"write", L"yes", L"HKCU", kKey, L"", L"", L"string", L""}));
    EXPECT_EQ(Value(HKEY_CURRENT_USER, L""), L"1 ");
    EXPECT_TRUE(DeployValue({L"", L"write", L"", L"HKLM", kKey, L"q", L"1", L"qword", L""}));
    EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, L"q"), std::nullopt);

    EXPECT_TRUE(DeployValue({L"", L"delete", L"", L"HKLM", kKey, L"s", L"", L"", L""}));
    EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, L"s"), std::nullopt);
    // A value, and a key, that are not there
    EXPECT_TRUE(DeployValue({L"", L"delete", L"", L"HKLM", kKey, L"s", L"", L"", L""}));
    EXPECT_TRUE(DeployValue(
        {L"", L"delete", L"", L"HKLM", L"Software\\WyDeployerTest\\No", L"s", L"", L"", L""}));
    EXPECT_EQ(LastLine(), L"1 Deploy Module files...");
}

TEST_F(DeployedRegistry, no_root_is_what_the_registry_refuses) {
    EXPECT_FALSE(DeployKey({L"", L"create", L"HKCR", kKey, L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::Reg::CreateKeyWithAllAccess() failed!0xa0");
    EXPECT_FALSE(DeployKey({L"", L"delete", L"", kKey, L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::Reg::DeleteAllSection() failed!");
    for (const wchar_t* type : {L"string", L"dword"}) {
        for (const wchar_t* allAccess : {L"", L"yes"}) {
            EXPECT_FALSE(DeployValue({L"", L"write", allAccess, L"", kKey, L"n", L"1", type, L""}));
            EXPECT_EQ(LastLine(), L"256 Store registry value failed: 0xa0");
        }
    }
    EXPECT_FALSE(DeployValue({L"", L"delete", L"", L"", kKey, L"n", L"", L"", L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::Reg::DeleteEntry() failed: 0xa0");
}

std::vector<REGSAM> s_Accesses;

LSTATUS WINAPI NoteAccess(HKEY root, LPCWSTR name, DWORD reserved, LPWSTR type, DWORD options,
                          REGSAM access, SECURITY_ATTRIBUTES* attributes, PHKEY key,
                          LPDWORD disposition) {
    using Function = LSTATUS WINAPI(HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                    SECURITY_ATTRIBUTES*, PHKEY, LPDWORD);
    auto* const real = reinterpret_cast<Function*>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"advapi32.dll"), "RegCreateKeyExW")));
    s_Accesses.push_back(access & ~REGSAM{KEY_WOW64_64KEY});
    return real(root, name, reserved, type, options, access, attributes, key, disposition);
}

TEST_F(DeployedRegistry, full_access_is_asked_for_keys_and_for_values_that_say_so) {
    const IatPatch patch(Program(), "advapi32.dll", "RegCreateKeyExW", NoteAccess);
    s_Accesses.clear();
    EXPECT_TRUE(DeployKey({L"", L"create", L"HKLM", kKey, L""}));
    for (const wchar_t* type : {L"string", L"dword"}) {
        for (const wchar_t* allAccess : {L"yes", L"no"})
            EXPECT_TRUE(
                DeployValue({L"", L"write", allAccess, L"HKLM", kKey, L"n", L"1", type, L""}));
    }
    constexpr REGSAM kPlain = KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;
    EXPECT_EQ(s_Accesses, (std::vector<REGSAM>{KEY_ALL_ACCESS, KEY_ALL_ACCESS, kPlain,
                                               KEY_ALL_ACCESS, kPlain}));
}

// ---- a whole manifest

TEST_F(DeployedRegistry, manifest_from_the_file_to_the_machine) {
    const bool is64Bit = KrCommon::OsVersion::Is64Bit();
    PutFile(L"p\\InstCfg.xml",
            "<Product><FileGroup>"
            "<File Id='f1' Action='write' Name='*.txt' SourceDir='common' TargetDir='bin'/>"
            "<File Id='f2' Action='write' Name='a' SourceDir='x64' Platform='x64'/>"
            "<File Id='f3' Action='write' Name='a' SourceDir='win32' Platform='win32'/>"
            "<Folder Id='d1' Action='delete' TargetDir='old'/>"
            "</FileGroup><RegistryGroup>"
            "<RegistryValue Id='v1' Action='write' AllAccess='yes' Root='HKLM'"
            " Key='Software\\WyDeployerTest\\Key' Name='n' Value='5' Type='dword'/>"
            "<RegistryKey Id='k1' Action='create' Root='HKLM' Key='Software\\WyDeployerTest\\Key'/>"
            "</RegistryGroup></Product>");
    for (const wchar_t* folder : {L"p\\common", L"p\\x64", L"p\\win32", L"i\\old"})
        PutFolder(folder);
    PutFile(L"p\\common\\1.txt");
    PutFile(L"p\\common\\2.txt");
    PutFile(L"p\\x64\\a", "64");
    PutFile(L"p\\win32\\a", "32");
    PutFile(L"i\\old\\x");

    CWyDeployer without;
    EXPECT_TRUE(without.ParseConfig(L".", At(L"p\\InstCfg.xml")));
    without.files.clear();
    without.folders.clear();
    EXPECT_TRUE(Deploy(without));
    EXPECT_EQ(DeployerLines(m_Log), WithHeadings({}));
    EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, L"n"), std::nullopt);

    CWyDeployer deployer;
    deployer.deployRegistry = true;
    EXPECT_TRUE(deployer.ParseConfig(L".", At(L"p\\InstCfg.xml")));
    EXPECT_TRUE(Deploy(deployer));
    EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, L"n"), L"4 5");
    EXPECT_EQ(Names(L"i"), (NameList{L"a", L"bin"}));
    EXPECT_EQ(Names(L"i\\bin"), (NameList{L"1.txt", L"2.txt"}));
    EXPECT_EQ(Content(L"i\\a"), is64Bit ? "64" : "32");
}

TEST_F(DeployedRegistry, manifest_that_is_missing_or_broken) {
    CWyDeployer deployer;
    deploy_test::g_Machine.exists = false;
    EXPECT_FALSE(deployer.ParseConfig(L".", At(L"p\\InstCfg.xml")));
    deploy_test::g_Machine.exists = true;
    EXPECT_FALSE(deployer.ParseConfig(L".", At(L"p\\InstCfg.xml")));
    PutFile(L"p\\InstCfg.xml", "<Product>");
    EXPECT_FALSE(deployer.ParseConfig(L".", At(L"p\\InstCfg.xml")));
    PutFile(L"p\\InstCfg.xml", "<Product/>");
    EXPECT_FALSE(deployer.ParseConfig(L"", At(L"p\\InstCfg.xml")));
    EXPECT_EQ(m_Log.CountContaining(L"Config file does not exist. Path: "), 1U);
    EXPECT_EQ(m_Log.CountContaining(L"Excpetion when reading XML file: "), 3U);
    EXPECT_TRUE(deployer.ParseConfig(L".", At(L"p\\InstCfg.xml")));
}

// ---- calls that are refused

LSTATUS WINAPI RefuseCreate(HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, SECURITY_ATTRIBUTES*,
                            PHKEY, LPDWORD) {
    return ERROR_ACCESS_DENIED;
}
LSTATUS WINAPI RefuseSet(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) {
    return ERROR_DISK_FULL;
}
LSTATUS WINAPI RefuseDeleteValue(HKEY, LPCWSTR) {
    return ERROR_ACCESS_DENIED;
}
LSTATUS WINAPI RefuseDeleteKey(HKEY, LPCWSTR) {
    return ERROR_ACCESS_DENIED;
}

TEST_F(DeployedRegistry, refused_calls_of_the_registry) {
    ASSERT_TRUE(DeployValue({L"", L"write", L"", L"HKLM", kKey, L"n", L"1", L"dword", L""}));
    {
        const IatPatch patch(Program(), "advapi32.dll", "RegCreateKeyExW", RefuseCreate);
        EXPECT_FALSE(DeployKey({L"", L"create", L"HKLM", kKey, L""}));
        EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::Reg::CreateKeyWithAllAccess() failed!0x5");
        for (const wchar_t* allAccess : {L"", L"yes"}) {
            EXPECT_FALSE(
                DeployValue({L"", L"write", allAccess, L"HKLM", kKey, L"n", L"2", L"dword", L""}));
            EXPECT_EQ(LastLine(), L"256 Store registry value failed: 0x5");
        }
    }
    {
        const IatPatch patch(Program(), "advapi32.dll", "RegSetValueExW", RefuseSet);
        for (const wchar_t* type : {L"string", L"dword"}) {
            EXPECT_FALSE(
                DeployValue({L"", L"write", L"yes", L"HKLM", kKey, L"n", L"2", type, L""}));
            EXPECT_EQ(LastLine(), L"256 Store registry value failed: 0x70");
        }
    }
    {
        const IatPatch patch(Program(), "advapi32.dll", "RegDeleteValueW", RefuseDeleteValue);
        EXPECT_FALSE(DeployValue({L"", L"delete", L"", L"HKLM", kKey, L"n", L"", L"", L""}));
        EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::Reg::DeleteEntry() failed: 0x5");
    }
    {
        const IatPatch patch(Program(), "advapi32.dll", "RegDeleteKeyW", RefuseDeleteKey);
        EXPECT_TRUE(DeployKey({L"", L"create", L"HKCU", kKey, L""}));
        EXPECT_FALSE(DeployKey({L"", L"delete", L"HKCU", kKey, L""}));
        EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::Reg::DeleteAllSection() failed!");
    }
    EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, L"n"), L"4 1");
}

DWORD s_dwCode = 0;

BOOL Refuse() {
    SetLastError(s_dwCode);
    return FALSE;
}
BOOL WINAPI RefuseCopy(LPCWSTR, LPCWSTR, BOOL) {
    return Refuse();
}
BOOL WINAPI RefuseCreateFolder(LPCWSTR, SECURITY_ATTRIBUTES*) {
    return Refuse();
}
BOOL WINAPI RefusePath(LPCWSTR) {
    return Refuse();
}
BOOL WINAPI RefuseAttributes(LPCWSTR, DWORD) {
    return Refuse();
}
BOOL WINAPI RefuseMove(LPCWSTR, LPCWSTR, DWORD) {
    return Refuse();
}
HANDLE WINAPI RefuseFind(LPCWSTR pattern, WIN32_FIND_DATAW* entry) {
    using Function = HANDLE WINAPI(LPCWSTR, WIN32_FIND_DATAW*);
    auto* const real = reinterpret_cast<Function*>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "FindFirstFileW")));
    if (!std::wstring(pattern).ends_with(L"*"))
        return real(pattern, entry);
    Refuse();
    return INVALID_HANDLE_VALUE;
}
DWORD WINAPI NoVersionSize(LPCWSTR, LPDWORD) {
    return static_cast<DWORD>(Refuse());
}
BOOL WINAPI NoVersion(LPCWSTR, DWORD, DWORD, LPVOID) {
    return Refuse();
}
BOOL WINAPI NoVersionValue(LPCVOID, LPCWSTR, LPVOID*, PUINT) {
    return Refuse();
}
BOOL WINAPI ShortVersionValue(LPCVOID block, LPCWSTR, LPVOID* value, PUINT length) {
    *value = const_cast<void*>(block);
    *length = sizeof(VS_FIXEDFILEINFO) - 1;
    return TRUE;
}
DWORD WINAPI HugeVersionSize(LPCWSTR, LPDWORD) {
    return 0xfffffff0;
}

TEST_F(DeployedRegistry, refused_copies) {
    PutFile(L"p\\a");
    PutFolder(L"p\\d");
    PutFile(L"p\\d\\x");
    s_dwCode = ERROR_ACCESS_DENIED;
    {
        const IatPatch patch(Program(), "kernel32.dll", "CopyFileW", RefuseCopy);
        EXPECT_FALSE(DeployFile({L"", L"write", L"", L"a", L"", L"", L""}));
        EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
        EXPECT_FALSE(DeployFolder({L"", L"write", L"", L"", L"d", L"d", L""}));
        EXPECT_EQ(LastLine(), L"256 Copy folder failed...");
    }
    {
        const IatPatch patch(Program(), "kernel32.dll", "CreateDirectoryW", RefuseCreateFolder);
        EXPECT_FALSE(DeployFile({L"", L"write", L"", L"a", L"", L"t", L""}));
        EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
        EXPECT_FALSE(DeployFolder({L"", L"write", L"", L"", L"d", L"t", L""}));
        EXPECT_EQ(LastLine(), L"256 Copy folder failed...");
    }
    {
        const IatPatch patch(Program(), "kernel32.dll", "SetFileAttributesW", RefuseAttributes);
        EXPECT_TRUE(DeployFile({L"", L"write", L"", L"a", L"", L"", L""}));
    }
    {
        // What cannot be listed has no files.
        const IatPatch patch(Program(), "kernel32.dll", "FindFirstFileW", RefuseFind);
        EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"*", L"", L"t", L""}));
        EXPECT_EQ(LastLine(),
                  L"1 Id: ,Action: write,Overwrite: yes,Name: *,SourceDir: ,TargetDir: "
                  L"t,Platform: ");
        EXPECT_TRUE(IsMissing(L"i\\t"));
    }
}

TEST_F(DeployedRegistry, refused_deletions) {
    PutFile(L"i\\a", "a", FILE_ATTRIBUTE_READONLY);
    PutFolder(L"i\\d");
    PutFile(L"i\\d\\x");
    const auto before = test_support::PendingMoves();
    using Moves = std::vector<test_support::PendingMove>;
    const std::wstring nt = L"\\??\\";
    {
        const IatPatch patch(Program(), "kernel32.dll", "DeleteFileW", RefusePath);
        for (const DWORD code : {ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND}) {
            s_dwCode = code;
            EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"a", L"", L"", L""}));
            EXPECT_EQ(LastLine(),
                      L"16 KrCommon::Storage::File::Delete() failed: 0x" + std::to_wstring(code));
        }
        s_dwCode = ERROR_FILE_NOT_FOUND;
        EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"a", L"", L"", L""}));
        EXPECT_EQ(LastLine(),
                  L"1 KrCommon::Storage::File::Delete:  File Name: a TargetDir: @\\i\\");
        EXPECT_EQ(test_support::PendingMovesSince(before),
                  (Moves{{nt + At(L"i\\a"), L""}, {nt + At(L"i\\a"), L""}}));
        s_dwCode = ERROR_ACCESS_DENIED;
        const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", RefuseMove);
        EXPECT_TRUE(DeployFile({L"", L"delete", L"", L"a", L"", L"", L""}));
        EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", L"d", L""}));
        EXPECT_EQ(test_support::PendingMovesSince(before).size(), 2U);
    }
    {
        const IatPatch patch(Program(), "kernel32.dll", "FindFirstFileW", RefuseFind);
        EXPECT_FALSE(DeployFolder({L"", L"delete", L"", L"", L"", L"d", L""}));
        EXPECT_EQ(LastLine(),
                  L"256 KrCommon::Storage::File::DeleteAllFiles failed! tstrTargetDir: @\\i\\d\\ "
                  L"dwErrorCode=0x5");
        EXPECT_TRUE(IsFile(L"i\\d\\x"));
    }
    {
        const IatPatch patch(Program(), "kernel32.dll", "RemoveDirectoryW", RefusePath);
        EXPECT_TRUE(DeployFolder({L"", L"delete", L"", L"", L"", L"d", L""}));
        EXPECT_TRUE(IsMissing(L"i\\d\\x"));
        EXPECT_EQ(test_support::PendingMovesSince(before).back(),
                  (test_support::PendingMove{nt + At(L"i\\d"), L""}));
    }
}

TEST_F(DeployedRegistry, refused_questions_for_a_version) {
    PutVersioned(L"p\\a.dll", 1, 1);
    PutVersioned(L"i\\a.dll", 9, 9);
    s_dwCode = ERROR_RESOURCE_DATA_NOT_FOUND;
    const std::string ours = Content(L"p\\a.dll");
    // The sixth line is that of the source's version.
    const auto lineOfVersion = [&] {
        PutVersioned(L"i\\a.dll", 9, 9);
        EXPECT_TRUE(DeployFile({L"", L"write", L"yes", L"a.dll", L"", L"", L""}));
        EXPECT_EQ(Content(L"i\\a.dll"), ours);
        return DeployerLines(m_Log)[6];
    };
    {
        const IatPatch patch(Program(), "version.dll", "GetFileVersionInfoSizeW", NoVersionSize);
        EXPECT_EQ(lineOfVersion(), L"16 GetFileVersionInfoSize fail! dwError=0x714");
    }
    {
        const IatPatch patch(Program(), "version.dll", "GetFileVersionInfoW", NoVersion);
        EXPECT_EQ(lineOfVersion(), L"256 GetFileVersionInfo fail!");
    }
    {
        const IatPatch patch(Program(), "version.dll", "VerQueryValueW", NoVersionValue);
        EXPECT_EQ(lineOfVersion(), L"256 VerQueryValue fail!");
    }
    {
        const IatPatch patch(Program(), "version.dll", "VerQueryValueW", ShortVersionValue);
        EXPECT_EQ(lineOfVersion(), L"256 VerQueryValue fail!");
    }
    if (sizeof(void*) == 4) {
        // No memory leaves no line.
        const IatPatch patch(Program(), "version.dll", "GetFileVersionInfoSizeW", HugeVersionSize);
        EXPECT_TRUE(
            lineOfVersion().starts_with(L"1 KrCommon::Storage::File::CopyFile: SourceDir: "));
    }
}

}  // namespace
