#include "Common/KrCommon/KrComn_SecurityAttributes.h"

#include "Common/KrCommon/KrComn_Exception.h"

namespace KrCommon::AccessControl {

namespace {

constexpr char kLogSource[] = "KrComn_SecurityAttributes";

struct Row {
    std::uint32_t kind;
    AccessMasks masks;
};

constexpr Row kRows[] = {
    {kFile, {0x13013f, 0x12002f, 0x13013f, 0x120029, 0x120029, 0x120029, 0x1f01ff}},
    {kFileLimited, {0x1100c7, 0x100087, 0x1100c7, 0x100081, 0x100081, 0x100081, 0x1f01ff}},
    {kService, {0x101f7, 0x18d, 0x1f5, 0x185, 0x185, 0x185, 0xf01ff}},
    {kRegistryKey, {0x1003f, 0x3f, 0x1003f, 0x20009, 0x20009, 0x20009, 0xf003f}},
    {kProcess, {0x100ffb, 0x100e92, 0x100ffb, 0x100410, 0x100410, 0x100410, 0x1f0fff}},
    {kThread, {0x1000fb, 0x10006a, 0x1000fb, 0x100048, 0x100048, 0x100048, 0x1f03fb}},
    {kEventLimited, {0x100002, 0x100002, 0x100002, 0x100002, 0x100002, 0x100002, 0x100002}},
    {kEvent, {0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003, 0x1f0003}},
    {kMutexLimited, {0x100001, 0x100001, 0x100001, 0x100001, 0x100001, 0x100001, 0x100001}},
    {kMutex, {0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001, 0x1f0001}},
    {kFileWide, {0x1f01ff, 0x1f01ff, 0x1f01ff, 0x12019f, 0x12019f, 0x12019f, 0x1f01ff}},
};

// A group by its security identifier S-1-authority-first[-second].
struct Group {
    BYTE authority;
    BYTE count;
    DWORD first;
    DWORD second;
};

constexpr Group kGroups[kEntryCount] = {
    {5, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS},
    {5, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_POWER_USERS},
    {5, 1, SECURITY_LOCAL_SYSTEM_RID, 0},
    {5, 1, SECURITY_AUTHENTICATED_USER_RID, 0},
    {5, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_USERS},
    {5, 1, SECURITY_INTERACTIVE_RID, 0},
    {1, 1, SECURITY_WORLD_RID, 0},
};

void Check(BOOL succeeded, std::uint32_t line) {
    if (succeeded != 0)
        return;
    const DWORD code = GetLastError();
    KrCommon::Exception::Raise<Exception>(static_cast<std::uint32_t>(HRESULT_FROM_WIN32(code)),
                                          line, kLogSource, code);
}

class Sid {
public:
    explicit Sid(const Group& group) {
        SID_IDENTIFIER_AUTHORITY authority = {{0, 0, 0, 0, 0, group.authority}};
        Check(AllocateAndInitializeSid(&authority, group.count, group.first, group.second, 0, 0, 0,
                                       0, 0, 0, &m_pSid),
              __LINE__);
    }
    Sid(const Sid&) = delete;
    Sid& operator=(const Sid&) = delete;
    ~Sid() { FreeSid(m_pSid); }
    PSID Get() const { return m_pSid; }

private:
    PSID m_pSid = nullptr;
};

// An entry has its header, its mask and the identifier, whose first number is counted in SID.
std::size_t ListSize() {
    std::size_t size = sizeof(ACL);
    for (const Group& group : kGroups) {
        size += sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD) + GetSidLengthRequired(group.count);
    }
    return size;
}

}  // namespace

const AccessMasks& MasksOfKind(std::uint32_t kind) {
    for (const Row& row : kRows) {
        if (row.kind == kind)
            return row.masks;
    }
    KrCommon::Exception::Raise<Exception>(ERROR_NOT_SUPPORTED, __LINE__, kLogSource);
}

SecurityAttributes::SecurityAttributes(std::uint32_t kind, bool inherit) noexcept
    : SECURITY_ATTRIBUTES(), m_Descriptor(), m_uiKind(kind), m_bInherit(inherit) {
    try {
        Build(MasksOfKind(kind));
    } catch (KrCommon::Exception::Base* raised) {
        const KrCommon::Exception::Caught caught(raised);
    } catch (...) {
        // No memory: as any other failure, an object with default security.
    }
}

SecurityAttributes::~SecurityAttributes() = default;

void SecurityAttributes::Build(const AccessMasks& masks) {
    m_Descriptor.list.resize(ListSize());
    ACL* const list = reinterpret_cast<ACL*>(m_Descriptor.list.data());
    Check(InitializeAcl(list, static_cast<DWORD>(m_Descriptor.list.size()), ACL_REVISION),
          __LINE__);
    for (std::size_t i = 0; i < kEntryCount; ++i) {
        const Sid sid(kGroups[i]);
        Check(AddAccessAllowedAce(list, ACL_REVISION, masks[i], sid.Get()), __LINE__);
    }
    Check(InitializeSecurityDescriptor(&m_Descriptor.header, SECURITY_DESCRIPTOR_REVISION),
          __LINE__);
    Check(SetSecurityDescriptorDacl(&m_Descriptor.header, TRUE, list, FALSE), __LINE__);
    nLength = sizeof(SECURITY_ATTRIBUTES);
    lpSecurityDescriptor = &m_Descriptor.header;
    bInheritHandle = m_bInherit ? TRUE : FALSE;
}

}  // namespace KrCommon::AccessControl
