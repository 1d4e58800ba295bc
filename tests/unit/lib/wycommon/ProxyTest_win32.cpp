// The proxy settings: what is stored, and what becomes of a write that fails.

#include "lib/wycommon/WyCommon_Proxy.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/AllocationFaults.h"
#include "support/RegistryValues_win32.h"

namespace {

namespace Utility = WyCommon::Utility;
using test_support::RegistryValues;
using Utility::ProxySettings;

constexpr std::uint32_t kStored = 0x20ff0000;
constexpr std::uint32_t kNotStored = 0xe0ff000c;

std::wstring KeyPath() {
    return Utility::GetProductRegistryKey() + L"\\Proxy";
}

REGSAM ProductFlag() {
    return KrCommon::Storage::Reg::ProductView() == 2 ? KEY_WOW64_64KEY : 0;
}

RegistryValues StoredValues(REGSAM flag = ProductFlag()) {
    return test_support::ReadRegistryValues(KeyPath(), flag);
}

std::wstring WithNul(std::wstring text) {
    text += L'\0';
    return text;
}

std::wstring CipherOf(const std::wstring& plain) {
    std::wstring cipher;
    EXPECT_TRUE(KrCommon::Cryptograph::EncryptStringW(cipher, plain));
    return cipher;
}

class Proxy : public testing::Test {
protected:
    void SetUp() override { Clear(); }
    void TearDown() override { Clear(); }
    static void Clear() {
        for (const REGSAM flag : {KEY_WOW64_64KEY, KEY_WOW64_32KEY})
            RegDeleteKeyExW(HKEY_LOCAL_MACHINE, KeyPath().c_str(), static_cast<REGSAM>(flag), 0);
    }
};

TEST_F(Proxy, values_are_stored_with_their_types_and_kept) {
    ProxySettings state;
    EXPECT_EQ(Utility::SetProxy(state, true, L"proxy.example", 0x80001f90, L"J\u00f6rg", L"s3cret"),
              kStored);

    RegistryValues values = StoredValues();
    EXPECT_EQ(values.size(), 5U);
    EXPECT_EQ(values[L"Server"].type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(values[L"Server"].Text(), WithNul(L"proxy.example"));
    EXPECT_EQ(values[L"Port"].type, static_cast<DWORD>(REG_DWORD));
    EXPECT_EQ(values[L"Port"].Number(), 0x80001f90U);
    EXPECT_EQ(values[L"Enable"].type, static_cast<DWORD>(REG_DWORD));
    EXPECT_EQ(values[L"Enable"].Number(), 1U);
    EXPECT_EQ(values[L"UserName"].type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(values[L"UserName"].Text(), WithNul(CipherOf(L"J\u00f6rg")));
    EXPECT_EQ(values[L"Password"].type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(values[L"Password"].Text(), WithNul(CipherOf(L"s3cret")));
    // Hexadecimal digits, one block of 16 bytes each.
    EXPECT_EQ(state.password.size(), 32U);
    EXPECT_EQ(state.password.find_first_not_of(L"0123456789abcdef"), std::wstring::npos);

    EXPECT_EQ(state.server, L"proxy.example");
    EXPECT_EQ(state.port, 0x80001f90U);
    EXPECT_TRUE(state.enable);
    EXPECT_EQ(state.userName, CipherOf(L"J\u00f6rg"));
    EXPECT_EQ(state.password, CipherOf(L"s3cret"));
}

TEST_F(Proxy, empty_texts_are_stored_empty) {
    ProxySettings state;
    EXPECT_EQ(Utility::SetProxy(state, true, L"old", 1, L"user", L"password"), kStored);
    EXPECT_EQ(Utility::SetProxy(state, false, L"", 0, L"", L""), kStored);
    RegistryValues values = StoredValues();
    for (const wchar_t* name : {L"Server", L"UserName", L"Password"}) {
        EXPECT_EQ(values[name].type, static_cast<DWORD>(REG_SZ));
        EXPECT_EQ(values[name].Text(), WithNul(L""));
    }
    EXPECT_EQ(values[L"Port"].Number(), 0U);
    EXPECT_EQ(values[L"Enable"].Number(), 0U);
    EXPECT_EQ(state.server + state.userName + state.password, L"");
    EXPECT_FALSE(state.enable);
}

TEST_F(Proxy, empty_password_with_a_user_is_stored_empty) {
    ProxySettings state;
    EXPECT_EQ(Utility::SetProxy(state, true, L"s", 1, L"user", L""), kStored);
    RegistryValues values = StoredValues();
    EXPECT_EQ(values[L"UserName"].Text(), WithNul(CipherOf(L"user")));
    EXPECT_EQ(values[L"Password"].Text(), WithNul(L""));
}

TEST_F(Proxy, lies_in_the_view_of_the_product_alone) {
    ProxySettings state;
    EXPECT_EQ(Utility::SetProxy(state, true, L"s", 1, L"", L""), kStored);
    EXPECT_EQ(StoredValues(ProductFlag()).size(), 5U);
    if (KrCommon::Storage::Reg::ProductView() == 2) {
        EXPECT_TRUE(StoredValues(KEY_WOW64_32KEY).empty());
    }
}

// ---- writes that fail

class ProxyRefusal : public Proxy {
protected:
    test_support::RegistryRefusal m_Refusal{GetModuleHandleW(nullptr)};
};

const std::vector<std::wstring> kOrder = {L"Server", L"Port", L"Enable", L"UserName", L"Password"};

ProxySettings Before() {
    return {L"before", 7, true, L"user before", L"password before"};
}

void ExpectUnchanged(const ProxySettings& state) {
    EXPECT_EQ(state.server, L"before");
    EXPECT_EQ(state.port, 7U);
    EXPECT_TRUE(state.enable);
    EXPECT_EQ(state.userName, L"user before");
    EXPECT_EQ(state.password, L"password before");
}

TEST_F(ProxyRefusal, each_write_that_fails_leaves_the_others_tried_and_the_state_unchanged) {
    for (const std::wstring& refused : kOrder) {
        SCOPED_TRACE(testing::PrintToString(refused));
        Clear();
        m_Refusal.Clear();
        m_Refusal.Refuse(refused);
        ProxySettings state = Before();
        EXPECT_EQ(Utility::SetProxy(state, false, L"s", 1, L"u", L"p"), kNotStored);
        EXPECT_EQ(m_Refusal.Written(), kOrder);
        ExpectUnchanged(state);
        const RegistryValues values = StoredValues();
        EXPECT_EQ(values.size(), 4U);
        EXPECT_FALSE(values.contains(refused));
    }
}

TEST_F(ProxyRefusal, all_writes_fail) {
    for (const std::wstring& refused : kOrder)
        m_Refusal.Refuse(refused);
    ProxySettings state = Before();
    EXPECT_EQ(Utility::SetProxy(state, false, L"s", 1, L"u", L"p"), kNotStored);
    EXPECT_EQ(m_Refusal.Written(), kOrder);
    ExpectUnchanged(state);
}

TEST_F(Proxy, each_allocation_that_fails_gives_a_result) {
    // The first call fills what is kept for the life of the process.
    ProxySettings first;
    ASSERT_EQ(Utility::SetProxy(first, true, L"a server of some length", 1, L"u", L"p"), kStored);
    const std::wstring server = L"a server of some length";
    const std::wstring user = L"a user";
    const std::wstring password = L"a password of some length";
    bool reached = true;
    std::size_t failures = 0;
    for (std::size_t passed = 0; reached; ++passed) {
        ProxySettings state = Before();
        std::uint32_t result = 0;
        {
            const test_support::FailAllocations fail(passed,
                                                     test_support::FailAllocations::Mode::kOnce);
            result = Utility::SetProxy(state, false, server, 2, user, password);
            reached = fail.Happened();
        }
        if (result == kNotStored) {
            ++failures;
            ExpectUnchanged(state);
        } else {
            EXPECT_EQ(result, kStored);
            EXPECT_EQ(state.server, server);
            EXPECT_EQ(state.password, CipherOf(password));
        }
    }
    EXPECT_GT(failures, 0U);
}

}  // namespace
