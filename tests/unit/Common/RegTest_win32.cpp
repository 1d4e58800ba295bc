#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "support/RegistryKey_win32.h"

namespace {

namespace Reg = KrCommon::Storage::Reg;
using test_support::RegistryKey;
using Bytes = std::vector<std::uint8_t>;

constexpr const wchar_t* kPath = L"SOFTWARE\\WyUnitTest Reg";
constexpr std::uint32_t kView64 = 2;

std::wstring Load(const std::wstring& name, std::uint32_t view = kView64) {
    return Reg::LoadValue(HKEY_LOCAL_MACHINE, kPath, name, L"default", view);
}

TEST(Reg, product_view_follows_the_system) {
    EXPECT_EQ(Reg::ProductView(), KrCommon::OsVersion::Is64Bit() ? 2U : 0U);
}

TEST(Reg, texts_well_formed_and_malformed) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.IsOpen());
    const struct {
        const char* what;
        DWORD type;
        Bytes bytes;
        const wchar_t* expected;
    } rows[] = {
        {"text", REG_SZ, {'a', 0, 'b', 0, 0, 0}, L"ab"},
        {"empty text", REG_SZ, {0, 0}, L""},
        {"expandable text stays as it is",
         REG_EXPAND_SZ,
         {'%', 0, 'T', 0, 'M', 0, 'P', 0, '%', 0, 0, 0},
         L"%TMP%"},
        {"multi-string gives its first", REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}, L"a"},
        {"multi-string of nothing", REG_MULTI_SZ, {0, 0}, L""},
        {"no bytes at all", REG_SZ, {}, L""},
        {"no NUL", REG_SZ, {'a', 0, 'b', 0}, L"ab"},
        {"NULs alone", REG_SZ, {0, 0, 0, 0, 0, 0}, L""},
        {"text behind the NUL", REG_SZ, {'a', 0, 0, 0, 'z', 0, 0, 0}, L"a"},
        {"odd size, half a character", REG_SZ, {'a', 0, 'b'}, L"ab"},
        {"odd size, half a NUL", REG_SZ, {'a', 0, 0}, L"a"},
        {"single byte", REG_SZ, {'a'}, L"a"},
        {"unpaired surrogate", REG_SZ, {0x3d, 0xd8, 0, 0}, L"\xd83d"},
        {"number", REG_DWORD, {1, 0, 0, 0}, L"default"},
        {"long number", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}, L"default"},
        {"bytes", REG_BINARY, {'a', 0, 0, 0}, L"default"},
        {"no type", REG_NONE, {'a', 0, 0, 0}, L"default"},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(key.Set(L"value", row.type, row.bytes)) << row.what;
        EXPECT_EQ(Load(L"value"), row.expected) << row.what;
    }
}

TEST(Reg, long_texts_come_whole) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    const std::wstring text(100000, L'x');
    ASSERT_TRUE(key.SetText(L"value", text));
    EXPECT_EQ(Load(L"value"), text);
}

TEST(Reg, missing_value_and_missing_key_give_the_default) {
    EXPECT_EQ(Load(L"value"), L"default");
    const RegistryKey key(kPath, KEY_WOW64_64KEY);
    EXPECT_EQ(Load(L"value"), L"default");
    EXPECT_EQ(Reg::LoadValue(HKEY_LOCAL_MACHINE, {}, L"value", L"d", kView64), L"d");
}

TEST(Reg, empty_name_is_the_value_of_the_key_itself) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(nullptr, L"own"));
    EXPECT_EQ(Load({}), L"own");
}

TEST(Reg, root_is_ignored) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(L"value", L"machine"));
    EXPECT_EQ(Reg::LoadValue(HKEY_CURRENT_USER, kPath, L"value", L"d", kView64), L"machine");
    EXPECT_EQ(Reg::LoadValue(nullptr, kPath, L"value", L"d", kView64), L"machine");
}

TEST(Reg, views_are_the_halves_of_a_64_bit_registry) {
    if (!KrCommon::OsVersion::Is64Bit()) {
        GTEST_SKIP() << "a 32-bit system has one registry";
    }
    RegistryKey half64(kPath, KEY_WOW64_64KEY);
    RegistryKey half32(kPath, KEY_WOW64_32KEY);
    ASSERT_TRUE(half64.SetText(L"value", L"64"));
    ASSERT_TRUE(half32.SetText(L"value", L"32"));
    const std::wstring own = sizeof(void*) == 8 ? L"64" : L"32";
    EXPECT_EQ(Load(L"value", 2), L"64");
    EXPECT_EQ(Load(L"value", 1), L"32");
    EXPECT_EQ(Load(L"value", 0), own);
    EXPECT_EQ(Load(L"value", 3), own);
    EXPECT_EQ(Load(L"value", 0xffffffff), own);
}

}  // namespace
