#pragma once

// What the operating system is.
//
// The decisions are functions of a plain record and know no system. In Windows builds alone, Is(),
// Is64Bit() and GetName() fill the record from the running system and decide. Nothing here raises
// but std::bad_alloc, where text is made. All functions may run on any thread.

#include <cstdint>
#include <string>

namespace KrCommon::OsVersion {

namespace Platform {
constexpr std::uint32_t kWindows = 1;  // Windows 95, 98, Me
constexpr std::uint32_t kNt = 2;
}  // namespace Platform

namespace ProductType {
constexpr std::uint8_t kWorkstation = 1;
constexpr std::uint8_t kDomainController = 2;
constexpr std::uint8_t kServer = 3;
}  // namespace ProductType

namespace Suite {
constexpr std::uint16_t kEnterprise = 0x0002;
constexpr std::uint16_t kDatacenter = 0x0080;
constexpr std::uint16_t kPersonal = 0x0200;
constexpr std::uint16_t kBlade = 0x0400;
constexpr std::uint16_t kStorageServer = 0x2000;
constexpr std::uint16_t kComputeServer = 0x4000;
constexpr std::uint16_t kHomeServer = 0x8000;
}  // namespace Suite

namespace Architecture {
constexpr std::uint16_t kIntel = 0;
constexpr std::uint16_t kItanium = 6;
constexpr std::uint16_t kAmd64 = 9;
constexpr std::uint16_t kUnknown = 0xffff;
}  // namespace Architecture

// What the decisions look at: OSVERSIONINFOEXW, SYSTEM_INFO and two answers of the system. The
// values are those of Windows.
struct Record {
    std::uint32_t platformId = 0;
    std::uint32_t majorVersion = 0;
    std::uint32_t minorVersion = 0;
    std::uint16_t servicePack = 0;
    std::uint8_t productType = 0;
    std::uint16_t suiteMask = 0;
    std::uint16_t architecture = Architecture::kUnknown;
    std::uint32_t productInfo = 0;  // the type that GetProductInfo tells, 0 without one
    bool secondRelease = false;     // GetSystemMetrics(SM_SERVERR2) is not 0
};

// The conditions that other code asks for by name; all of them stand with their numbers in
// KrComn_OsVersion.cpp.
namespace Condition {
constexpr std::uint32_t kNt52Workstation = 6;
constexpr std::uint32_t kNt60 = 10;
constexpr std::uint32_t kNt61 = 13;
constexpr std::uint32_t kNt62 = 16;
constexpr std::uint32_t kNt63 = 19;
constexpr std::uint32_t kNt100 = 22;
constexpr std::uint32_t kNt50OrLater = 102;
constexpr std::uint32_t kNt51OrLater = 103;
constexpr std::uint32_t kNt51Pack2OrLater = 104;
constexpr std::uint32_t kNt60OrLater = 106;
constexpr std::uint32_t kNt60OrLaterButMinor0 = 109;  // no 6.0 and no 10.0
constexpr std::uint32_t kNt62OrLater = 111;
constexpr std::uint32_t kNt63OrLater = 112;
constexpr std::uint32_t kServer = 114;  // no domain controller
}  // namespace Condition

// True when the record meets a condition. A number that names no condition is met by none.
bool Meets(const Record& record, std::uint32_t condition) noexcept;

// True when a condition is decided by the product type or the service pack, which only the extended
// form of the system's version tells.
bool NeedsExtendedForm(std::uint32_t condition) noexcept;

// The name of the system with its edition, in English. False, and the text as it was, below NT 5.
bool Describe(const Record& record, std::wstring& out);

// True when this system meets a condition.
//
// The system is asked once (GetVersionExW in its small and its extended form), and the answers are
// kept for the life of the process. A form that fails is kept as failed: conditions that need it
// are then not met. A process that is not marked for newer systems is told 6.2 by those.
bool Is(std::uint32_t condition) noexcept;

// The Win32 code of the failure that the first question left behind, 0 without one. Asks the system
// when no one has done so yet.
std::uint32_t GetError() noexcept;

// True on a system for x86-64 processors, also when this process is a 32-bit one
// (GetNativeSystemInfo). Asked once; false where the system cannot tell, and then asked again.
bool Is64Bit() noexcept;

// The name of this system, as Describe() tells it. Asks the system anew each time. False, and the
// text as it was, when it does not answer.
bool GetName(std::wstring& out);

}  // namespace KrCommon::OsVersion
