#include "Common/KrCommon/KrComn_SecurityAttributes.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Exception.h"
#include "support/IatPatch.h"

namespace {

using namespace KrCommon::AccessControl;
using test_support::IatPatch;

// The order of the entries, and the masks of each kind in that order.
constexpr const wchar_t* kSids[kEntryCount] = {
    L"S-1-5-32-544",  // BUILTIN\Administrators
    L"S-1-5-32-547",  // BUILTIN\Power Users
    L"S-1-5-18",      // Local System
    L"S-1-5-11",      // Authenticated Users
    L"S-1-5-32-545",  // BUILTIN\Users
    L"S-1-5-4",       // Interactive
    L"S-1-1-0",       // Everyone
};

struct KindRow {
    std::uint32_t kind;
    std::uint32_t masks[kEntryCount];
};

// clang-format off
constexpr KindRow kKinds[] = {
    // kind  Admins    Power     System    Authent.  Users     Interact. Everyone
    {0,  {0x13013f, 0x12002f, 0x13013f, 0x120029, 0x120029, 0x120029, 0x1f01ff}},
    {1,  {0x1100c7, 0x100087, 0x1100c7, 0x100081, 0x100081, 0x100081, 0x1f01ff}},
    {2,  {0x0101f7, 0x00018d, 0x0001f5, 0x000185, 0x000185, 0x000185, 0x0f01ff}},
    {4,  {0x01003f, 0x00003f, 0x01003f, 0x020009, 0x020009, 0x020009, 0x0f003f}},
    {5,  {0x100ffb, 0x100e92, 0x100ffb, 0x100410, 0x100410, 0x100410, 0x1f0fff}},
    {6,  {0x1000fb, 0x10006a, 0x1000fb, 0x100048, 0x100048, 0x100048, 0x1f03fb}},
    {9,  {0x100002, 0x100002, 0x100002, 0x100002, 0x100002, 0x100002, 0x100002}},
    {10, {0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003}},
    {11, {0x100001, 0x100001, 0x100001, 0x100001, 0x100001, 0x100001, 0x100001}},
    {12, {0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001}},
    {19, {0x1f01ff, 0x1f01ff, 0x1f01ff, 0x12019f, 0x12019f, 0x12019f, 0x1f01ff}},
};
// clang-format on

constexpr std::uint32_t kNoKinds[] = {3, 7, 8, 13, 14, 15, 16, 17, 18, 20, 102, 0xffffffff};

// One entry of a list: type, flags, mask and group.
struct Entry {
    unsigned type;
    unsigned flags;
    std::uint32_t mask;
    std::wstring sid;
    bool operator==(const Entry&) const = default;
};

std::wstring SidText(PSID sid) {
    wchar_t* text = nullptr;
    if (ConvertSidToStringSidW(sid, &text) == 0)
        return L"no identifier";
    const std::wstring copy = text;
    LocalFree(text);
    return copy;
}

std::vector<Entry> EntriesOf(PSECURITY_DESCRIPTOR descriptor) {
    BOOL present = FALSE;
    BOOL defaulted = TRUE;
    ACL* list = nullptr;
    std::vector<Entry> entries;
    if (GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted) == 0 ||
        present == FALSE || defaulted != FALSE || list == nullptr)
        return entries;
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* ace = nullptr;
        GetAce(list, i, &ace);
        const auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(ace);
        entries.push_back({allowed->Header.AceType, allowed->Header.AceFlags, allowed->Mask,
                           SidText(const_cast<DWORD*>(&allowed->SidStart))});
    }
    return entries;
}

std::vector<Entry> ExpectedEntries(const KindRow& row) {
    std::vector<Entry> entries;
    for (std::size_t i = 0; i < kEntryCount; ++i)
        entries.push_back({ACCESS_ALLOWED_ACE_TYPE, 0, row.masks[i], kSids[i]});
    return entries;
}

TEST(SecurityAttributes, descriptor_has_the_masks_of_its_kind_in_order) {
    for (const KindRow& row : kKinds) {
        SecurityAttributes attributes(row.kind, false);
        ASSERT_NE(attributes.lpSecurityDescriptor, nullptr) << row.kind;
        EXPECT_NE(IsValidSecurityDescriptor(attributes.lpSecurityDescriptor), 0) << row.kind;
        EXPECT_EQ(EntriesOf(attributes.lpSecurityDescriptor), ExpectedEntries(row)) << row.kind;
        EXPECT_EQ(attributes.nLength, sizeof(SECURITY_ATTRIBUTES));
        EXPECT_EQ(attributes.ForCall(), &attributes) << row.kind;
        EXPECT_EQ(attributes.GetKind(), row.kind);
    }
}

TEST(SecurityAttributes, owner_group_and_system_list_are_left_to_the_system) {
    SecurityAttributes attributes(kEvent, false);
    PSID sid = nullptr;
    BOOL defaulted = TRUE;
    ASSERT_NE(GetSecurityDescriptorOwner(attributes.lpSecurityDescriptor, &sid, &defaulted), 0);
    EXPECT_EQ(sid, nullptr);
    ASSERT_NE(GetSecurityDescriptorGroup(attributes.lpSecurityDescriptor, &sid, &defaulted), 0);
    EXPECT_EQ(sid, nullptr);
    BOOL present = TRUE;
    ACL* list = nullptr;
    ASSERT_NE(
        GetSecurityDescriptorSacl(attributes.lpSecurityDescriptor, &present, &list, &defaulted), 0);
    EXPECT_FALSE(present);
}

TEST(SecurityAttributes, masks_of_numbers_that_are_no_kind_raise_50) {
    for (const std::uint32_t kind : kNoKinds) {
        std::uint32_t code = 0;
        try {
            MasksOfKind(kind);
        } catch (Exception* raised) {
            const KrCommon::Exception::Caught caught(raised);
            code = raised->Code();
        }
        EXPECT_EQ(code, 50U) << kind;
    }
    for (const KindRow& row : kKinds) {
        EXPECT_TRUE(
            std::equal(std::begin(row.masks), std::end(row.masks), MasksOfKind(row.kind).begin()))
            << row.kind;
    }
}

void ExpectEmpty(SecurityAttributes& attributes) {
    EXPECT_EQ(attributes.nLength, 0U);
    EXPECT_EQ(attributes.lpSecurityDescriptor, nullptr);
    EXPECT_EQ(attributes.bInheritHandle, FALSE);
}

TEST(SecurityAttributes, numbers_that_are_no_kind_leave_them_empty) {
    for (const std::uint32_t kind : kNoKinds) {
        SecurityAttributes attributes(kind, true);
        ExpectEmpty(attributes);
        EXPECT_EQ(attributes.GetKind(), kind);
        EXPECT_TRUE(attributes.GetInherit());
        // Kind 18 alone stands for no attributes at all.
        EXPECT_EQ(attributes.ForCall() == nullptr, kind == 18) << kind;
    }
}

TEST(SecurityAttributes, inherit_flag) {
    SecurityAttributes inherited(kEvent, true);
    EXPECT_EQ(inherited.bInheritHandle, TRUE);
    EXPECT_TRUE(inherited.GetInherit());
    SecurityAttributes own(kEvent, false);
    EXPECT_EQ(own.bInheritHandle, FALSE);
    EXPECT_FALSE(own.GetInherit());
}

TEST(SecurityAttributes, layout_is_that_of_the_system) {
    SecurityAttributes attributes(kEvent, true);
    const SECURITY_ATTRIBUTES* const system = attributes.ForCall();
    const auto* const bytes = reinterpret_cast<const unsigned char*>(system);
    const std::size_t pointer = sizeof(void*);
    std::uint32_t length = 0;
    void* descriptor = nullptr;
    std::int32_t inherit = 0;
    std::memcpy(&length, bytes, sizeof length);
    std::memcpy(&descriptor, bytes + pointer, sizeof descriptor);
    std::memcpy(&inherit, bytes + 2 * pointer, sizeof inherit);
    EXPECT_EQ(length, pointer == 8 ? 24U : 12U);
    EXPECT_EQ(descriptor, attributes.lpSecurityDescriptor);
    EXPECT_EQ(inherit, 1);
}

TEST(SecurityAttributes, object_made_with_them_has_the_list) {
    SecurityAttributes attributes(kEvent, false);
    const HANDLE event = CreateEventW(attributes.ForCall(), TRUE, FALSE, nullptr);
    ASSERT_NE(event, nullptr);
    DWORD size = 0;
    GetKernelObjectSecurity(event, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<unsigned char> descriptor(size);
    EXPECT_NE(
        GetKernelObjectSecurity(event, DACL_SECURITY_INFORMATION, descriptor.data(), size, &size),
        0);
    EXPECT_EQ(EntriesOf(descriptor.data()),
              ExpectedEntries(
                  {10, {0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003}}));
    CloseHandle(event);
}

// Each call of the system that may refuse: the one after so many that succeed.
int g_iAllowed = 0;
int g_iSids = 0;
bool Refuse() {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return g_iAllowed-- <= 0;
}

IatPatch* g_pMakeSid = nullptr;
BOOL WINAPI MakeSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD a, DWORD b, DWORD c,
                    DWORD d, DWORD e, DWORD f, DWORD g, DWORD h, PSID* sid) {
    if (Refuse())
        return FALSE;
    ++g_iSids;
    return g_pMakeSid->Original<decltype(MakeSid)>()(authority, count, a, b, c, d, e, f, g, h, sid);
}
IatPatch* g_pFreeSid = nullptr;
PVOID WINAPI CountFree(PSID sid) {
    if (sid != nullptr)
        --g_iSids;
    return g_pFreeSid->Original<decltype(CountFree)>()(sid);
}
IatPatch* g_pMakeList = nullptr;
BOOL WINAPI MakeList(ACL* list, DWORD size, DWORD revision) {
    return !Refuse() && g_pMakeList->Original<decltype(MakeList)>()(list, size, revision);
}
IatPatch* g_pAddEntry = nullptr;
BOOL WINAPI AddEntry(ACL* list, DWORD revision, DWORD mask, PSID sid) {
    return !Refuse() && g_pAddEntry->Original<decltype(AddEntry)>()(list, revision, mask, sid);
}
IatPatch* g_pMakeDescriptor = nullptr;
BOOL WINAPI MakeDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
    return !Refuse() &&
           g_pMakeDescriptor->Original<decltype(MakeDescriptor)>()(descriptor, revision);
}
IatPatch* g_pSetList = nullptr;
BOOL WINAPI SetList(PSECURITY_DESCRIPTOR descriptor, BOOL present, ACL* list, BOOL defaulted) {
    return !Refuse() &&
           g_pSetList->Original<decltype(SetList)>()(descriptor, present, list, defaulted);
}

TEST(SecurityAttributes, refusal_of_any_system_call_leaves_them_empty) {
    const HMODULE self = GetModuleHandleW(nullptr);
    const char* const library = "advapi32.dll";
    IatPatch makeSid(self, library, "AllocateAndInitializeSid", MakeSid);
    IatPatch freeSid(self, library, "FreeSid", CountFree);
    IatPatch makeList(self, library, "InitializeAcl", MakeList);
    IatPatch addEntry(self, library, "AddAccessAllowedAce", AddEntry);
    IatPatch makeDescriptor(self, library, "InitializeSecurityDescriptor", MakeDescriptor);
    IatPatch setList(self, library, "SetSecurityDescriptorDacl", SetList);
    g_pMakeSid = &makeSid;
    g_pFreeSid = &freeSid;
    g_pMakeList = &makeList;
    g_pAddEntry = &addEntry;
    g_pMakeDescriptor = &makeDescriptor;
    g_pSetList = &setList;
    // The list, seven identifiers with their entries, the descriptor, the list put into it.
    constexpr int kCalls = 1 + 2 * 7 + 2;
    for (int allowed = 0; allowed <= kCalls; ++allowed) {
        SCOPED_TRACE(allowed);
        g_iAllowed = allowed;
        g_iSids = 0;
        SecurityAttributes attributes(kRegistryKey, true);
        if (allowed < kCalls) {
            ExpectEmpty(attributes);
            EXPECT_NE(attributes.ForCall(), nullptr);
        } else {
            EXPECT_NE(attributes.lpSecurityDescriptor, nullptr);
        }
        EXPECT_EQ(g_iSids, 0);
    }
}

}  // namespace
