// The debug privilege and the system account.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Process.h"
#include "support/IatPatch.h"
#include "unit/lib/wycommon/LookupStandIns.h"

namespace {

namespace Utility = WyCommon::Utility;
using test_support::IatPatch;
using wycommon_test::Lookups;

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

// ---- EnableDebugPrivilege

bool DebugPrivilegeIsOn() {
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    alignas(TOKEN_PRIVILEGES) unsigned char buffer[4096];
    DWORD size = 0;
    GetTokenInformation(token, TokenPrivileges, buffer, sizeof buffer, &size);
    CloseHandle(token);
    const auto* const all = reinterpret_cast<const TOKEN_PRIVILEGES*>(buffer);
    LUID debug = {};
    LookupPrivilegeValueW(nullptr, L"SeDebugPrivilege", &debug);
    for (DWORD i = 0; i < all->PrivilegeCount; ++i) {
        const LUID_AND_ATTRIBUTES& one = all->Privileges[i];
        if (one.Luid.LowPart == debug.LowPart && one.Luid.HighPart == debug.HighPart)
            return (one.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    }
    return false;
}

TEST(EnableDebugPrivilege, switches_it_on_and_off) {
    for (const bool on : {true, false, true}) {
        EXPECT_TRUE(Utility::EnableDebugPrivilege(on ? SE_PRIVILEGE_ENABLED : 0));
        EXPECT_EQ(DebugPrivilegeIsOn(), on);
    }
}

DWORD s_uiAccess = 0;
std::wstring s_Privilege;
DWORD s_uiAttributes = 0;

BOOL WINAPI TokenRefused(HANDLE, DWORD access, HANDLE*) {
    s_uiAccess = access;
    return FALSE;
}
BOOL WINAPI PrivilegeUnknown(LPCWSTR, LPCWSTR name, LUID*) {
    s_Privilege = name;
    return FALSE;
}
BOOL WINAPI NotAllAssigned(HANDLE, BOOL, TOKEN_PRIVILEGES* privileges, DWORD, TOKEN_PRIVILEGES*,
                           DWORD*) {
    s_uiAttributes = privileges->Privileges[0].Attributes;
    SetLastError(ERROR_NOT_ALL_ASSIGNED);
    return privileges->PrivilegeCount == 1;
}
BOOL WINAPI AdjustRefused(HANDLE, BOOL, TOKEN_PRIVILEGES*, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
    return FALSE;
}

TEST(EnableDebugPrivilege, fails_with_each_of_its_calls) {
    {
        const IatPatch patch(Program(), "advapi32.dll", "OpenProcessToken", TokenRefused);
        EXPECT_FALSE(Utility::EnableDebugPrivilege(2));
        EXPECT_EQ(s_uiAccess, 40U);
    }
    {
        const IatPatch patch(Program(), "advapi32.dll", "LookupPrivilegeValueW", PrivilegeUnknown);
        EXPECT_FALSE(Utility::EnableDebugPrivilege(2));
        EXPECT_EQ(s_Privilege, L"SeDebugPrivilege");
    }
    {
        const IatPatch patch(Program(), "advapi32.dll", "AdjustTokenPrivileges", AdjustRefused);
        EXPECT_FALSE(Utility::EnableDebugPrivilege(2));
    }
}

TEST(EnableDebugPrivilege, privilege_that_the_process_lacks_is_no_failure) {
    const IatPatch patch(Program(), "advapi32.dll", "AdjustTokenPrivileges", NotAllAssigned);
    EXPECT_TRUE(Utility::EnableDebugPrivilege(0x80000000));
    EXPECT_EQ(s_uiAttributes, 0x80000000U);
}

// ---- IsSystemAccount

std::vector<unsigned char> s_Sid;

BOOL WINAPI SidRefused(WELL_KNOWN_SID_TYPE, PSID, PSID, DWORD*) {
    return FALSE;
}
BOOL WINAPI Member(HANDLE token, PSID sid, BOOL* isMember) {
    const auto* const bytes = static_cast<const unsigned char*>(sid);
    s_Sid.assign(bytes, bytes + GetLengthSid(sid));
    *isMember = TRUE;
    return token == nullptr;
}
BOOL WINAPI MembershipRefused(HANDLE, PSID, BOOL* isMember) {
    *isMember = TRUE;
    return FALSE;
}

TEST(IsSystemAccount, tells_whether_the_thread_belongs_to_it) {
    Lookups lookups;
    bool isSystem = true;
    EXPECT_TRUE(Utility::IsSystemAccount(isSystem));
    EXPECT_FALSE(isSystem);
    lookups.Give("CheckTokenMembership", Member);
    EXPECT_TRUE(Utility::IsSystemAccount(isSystem));
    EXPECT_TRUE(isSystem);
    // S-1-5-18
    EXPECT_EQ(s_Sid, (std::vector<unsigned char>{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}));
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

TEST(IsSystemAccount, fails_with_false_when_the_system_cannot_tell) {
    const struct {
        const char* what;
        void (*arrange)(Lookups&);
    } rows[] = {
        {"no library", [](Lookups& lookups) { lookups.HideModule(L"advapi32.dll", 126); }},
        {"no CreateWellKnownSid", [](Lookups& lookups) { lookups.Hide("CreateWellKnownSid"); }},
        {"no CheckTokenMembership", [](Lookups& lookups) { lookups.Hide("CheckTokenMembership"); }},
        {"no SID", [](Lookups& lookups) { lookups.Give("CreateWellKnownSid", SidRefused); }},
        {"no membership",
         [](Lookups& lookups) { lookups.Give("CheckTokenMembership", MembershipRefused); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Lookups lookups;
        row.arrange(lookups);
        bool isSystem = true;
        EXPECT_FALSE(Utility::IsSystemAccount(isSystem));
        EXPECT_FALSE(isSystem);
        EXPECT_EQ(lookups.LeftLoaded(), 0);
    }
}

}  // namespace
