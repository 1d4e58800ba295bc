#pragma once

// Security attributes that let a service and its users share an object. For Windows builds alone.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::AccessControl {

// What is to be shared. The kind decides who may do what with it.
enum ObjectKind : std::uint32_t {
    kFile = 0,
    kFileLimited = 1,
    kService = 2,
    kRegistryKey = 4,
    kProcess = 5,
    kThread = 6,
    kEventLimited = 9,
    kEvent = 10,
    kMutexLimited = 11,
    kMutex = 12,
    kDefault = 18,  // no attributes at all: the system's defaults
    kFileWide = 19,
};

// The access masks of one kind, in the order in which the entries stand in the list:
// Administrators, Power Users, Local System, Authenticated Users, Users, Interactive, Everyone.
//
// Everyone has the widest mask of most rows, wider than the named groups. That is deliberate.
constexpr std::size_t kEntryCount = 7;
using AccessMasks = std::array<std::uint32_t, kEntryCount>;

// The masks of a kind. kDefault and every number that is no kind raise
// KrCommon::AccessControl::Exception with code 50 (ERROR_NOT_SUPPORTED), by pointer.
const AccessMasks& MasksOfKind(std::uint32_t kind);

// A SECURITY_ATTRIBUTES with the descriptor it points to.
//
// The descriptor has one allow entry for each of the seven groups, no owner and no system list.
// Without one (kind kDefault, an unknown kind, a failure of the system, no memory) all three fields
// of the SECURITY_ATTRIBUTES are zero, which gives an object default security.
//
// The length is that of the system's structure: 24 bytes on x86-64, 12 on i686.
class SecurityAttributes : public SECURITY_ATTRIBUTES {
public:
    // Never raises. `inherit`: child processes inherit handles made with these attributes.
    SecurityAttributes(std::uint32_t kind, bool inherit) noexcept;
    SecurityAttributes(const SecurityAttributes&) = delete;
    SecurityAttributes& operator=(const SecurityAttributes&) = delete;
    virtual ~SecurityAttributes();

    // What to hand to a system call: null for kDefault, otherwise these attributes.
    SECURITY_ATTRIBUTES* ForCall() { return m_uiKind == kDefault ? nullptr : this; }

    std::uint32_t GetKind() const { return m_uiKind; }
    bool GetInherit() const { return m_bInherit; }

private:
    struct Descriptor {
        SECURITY_DESCRIPTOR header;
        std::vector<unsigned char> list;  // the header points here
    };

    void Build(const AccessMasks& masks);

    Descriptor m_Descriptor;
    std::uint32_t m_uiKind;
    bool m_bInherit;
};

}  // namespace KrCommon::AccessControl
