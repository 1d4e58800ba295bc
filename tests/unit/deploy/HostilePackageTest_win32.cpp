// What hostile items do to a real machine.

#include "support/RegistryTree_win32.h"
#include "unit/deploy/SystemDeployment_win32.h"

namespace {

using test_support::NameList;
using test_support::ReadRegistryTree;

constexpr wchar_t kTree[] = L"Software\\WyHostileTest";

class HostilePackage : public deploy_test::SystemDeployment {
protected:
    HostilePackage() { RemoveKey(); }
    ~HostilePackage() override { RemoveKey(); }

    static void RemoveKey() {
        RegDeleteKeyExW(HKEY_CURRENT_USER, (kTree + (L"\\" + std::wstring(255, L'k'))).c_str(),
                        KEY_WOW64_64KEY, 0);
        RegDeleteKeyExW(HKEY_CURRENT_USER, kTree, KEY_WOW64_64KEY, 0);
    }
};

TEST_F(HostilePackage, text_of_a_mebibyte_is_stored_whole) {
    const std::wstring text((1U << 19U) - 1, L'v');
    ASSERT_TRUE(DeployValue({L"", L"write", L"", L"HKCU", kTree, L"n", text, L"string", L""}));
    auto tree = ReadRegistryTree(HKEY_CURRENT_USER, kTree, KEY_WOW64_64KEY);
    EXPECT_EQ(tree[kTree][L"n"].second.size(), (text.size() + 1) * sizeof(wchar_t));
}

// Windows refuses names of more than 255 characters, Wine takes some.
TEST_F(HostilePackage, key_with_the_longest_name_is_made_and_one_with_a_separator_in_front_is_not) {
    const std::wstring key = kTree + (L"\\" + std::wstring(255, L'k'));
    EXPECT_TRUE(DeployKey({L"", L"create", L"HKCU", key, L""}));
    EXPECT_TRUE(ReadRegistryTree(HKEY_CURRENT_USER, kTree, KEY_WOW64_64KEY).contains(key));
    EXPECT_FALSE(DeployKey({L"", L"create", L"HKCU", L"\\" + key, L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::Reg::CreateKeyWithAllAccess() failed!0xa1");
}

TEST_F(HostilePackage, target_on_a_share_or_device_lies_below_the_product) {
    PutFile(L"p\\a");
    const struct {
        const wchar_t* target;
        const wchar_t* file;
    } rows[] = {
        {L"\\\\server\\share", L"i\\server\\share\\a"},
        {L"\\\\.\\PhysicalDrive0", L"i\\PhysicalDrive0\\a"},
        {L"\\b", L"i\\b\\a"},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(DeployFile({L"", L"write", L"", L"a", L"", row.target, L""})) << row.target;
        EXPECT_TRUE(IsFile(row.file)) << row.target;
    }
    EXPECT_FALSE(DeployFile({L"", L"write", L"", L"a", L"", L"\\\\?\\x", L""}));
    EXPECT_EQ(Names(), (NameList{L"i", L"p"})) << "nothing beside them";
}

TEST_F(HostilePackage, name_with_a_folder_takes_another_file) {
    PutFolder(L"p\\sub");
    PutFile(L"p\\sub\\a", "meant");
    PutFile(L"p\\a", "other");
    EXPECT_TRUE(DeployFile({L"", L"write", L"", L"sub\\a", L"", L"", L""}));
    EXPECT_EQ(Content(L"i\\a"), "other");
    EXPECT_TRUE(IsMissing(L"i\\sub"));
    // What the name is looked for as is not there, and what it is copied to is not replaced.
    PutFile(L"p\\a", "newer");
    EXPECT_FALSE(DeployFile({L"", L"write", L"yes", L"sub\\a", L"", L"", L""}));
    EXPECT_EQ(LastLine(), L"256 KrCommon::Storage::File::CopyFile failed...");
    EXPECT_EQ(Content(L"i\\a"), "other");
}

}  // namespace
