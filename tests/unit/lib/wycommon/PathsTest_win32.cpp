// The product path as it stands in the registry.

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "utilMode/FrwkMode.h"

namespace {

using test_support::RegistryKey;
using WyCommon::Utility::GetProductPath;

// An identity that no product has, so that nothing of an installation is touched.
constexpr const wchar_t* kId = L"WyUnitTest Product";

class ProductPath : public testing::Test {
protected:
    void SetUp() override { Frwk::Mode::SetWyvarionId(kId); }
    void TearDown() override { Frwk::Mode::SetWyvarionId({}); }
    const std::wstring m_Key = L"SOFTWARE\\KorvexData\\" + std::wstring(kId);
};

REGSAM ProductAccess() {
    return KrCommon::OsVersion::Is64Bit() ? KEY_WOW64_64KEY : 0;
}

TEST_F(ProductPath, is_the_text_of_its_value) {
    RegistryKey key(m_Key, ProductAccess());
    ASSERT_TRUE(key.SetText(L"ProductPath", L"C:\\Program Files\\caf\x00e9"));
    EXPECT_EQ(GetProductPath(), L"C:\\Program Files\\caf\x00e9");
}

TEST_F(ProductPath, key_without_the_value_gives_nothing) {
    const RegistryKey key(m_Key, ProductAccess());
    EXPECT_EQ(GetProductPath(), L"");
}

TEST_F(ProductPath, value_of_another_type_gives_nothing) {
    RegistryKey key(m_Key, ProductAccess());
    ASSERT_TRUE(key.Set(L"ProductPath", REG_DWORD, {1, 0, 0, 0}));
    EXPECT_EQ(GetProductPath(), L"");
}

TEST_F(ProductPath, key_of_32_bit_programs_does_not_count_on_a_64_bit_system) {
    if (!KrCommon::OsVersion::Is64Bit()) {
        GTEST_SKIP() << "a 32-bit system has one registry";
    }
    RegistryKey key(m_Key, KEY_WOW64_32KEY);
    ASSERT_TRUE(key.SetText(L"ProductPath", L"C:\\wrong"));
    EXPECT_EQ(GetProductPath(), L"");
}

std::wstring s_Key;
REGSAM s_uiAccess = 0;

LSTATUS WINAPI OpenRecorded(HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(options, 0U);
    s_Key = path;
    s_uiAccess = access;
    return ERROR_ACCESS_DENIED;
}

TEST_F(ProductPath, asks_for_no_more_than_to_query_values_and_takes_a_refusal_for_nothing) {
    const test_support::IatPatch patch(GetModuleHandleW(nullptr), "advapi32.dll", "RegOpenKeyExW",
                                       OpenRecorded);
    EXPECT_EQ(GetProductPath(), L"");
    EXPECT_EQ(s_Key, m_Key);
    EXPECT_EQ(s_uiAccess, KEY_QUERY_VALUE | ProductAccess());
}

}  // namespace
