#include "Common/KrCommon/KrComn_OsVersion.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

namespace KrCommon::OsVersion {

namespace {

// ---- conditions

enum class Bits : std::uint8_t { kAny, k32, k64 };

// A version with its service pack, in an order in which a later one is greater.
using Level = std::array<std::uint32_t, 3>;

constexpr std::uint8_t kAnyType = 0;
constexpr std::uint32_t kAnyPack = 0xffff;
constexpr Level kFirst = {0, 0, 0};
constexpr Level kLast = {0xffffffff, 0xffffffff, kAnyPack};

struct Rule {
    std::uint32_t condition;
    std::uint32_t platform;
    Level from;
    Level to;
    std::uint8_t productType = kAnyType;
    Bits bits = Bits::kAny;
    bool notMinor0 = false;
};

constexpr std::uint32_t kWin = Platform::kWindows;
constexpr std::uint32_t kNt = Platform::kNt;
constexpr std::uint8_t kWorkstation = ProductType::kWorkstation;
constexpr std::uint8_t kServer = ProductType::kServer;

constexpr Rule kRules[] = {
    {1, kWin, {4, 90, 0}, {4, 90, kAnyPack}},
    {2, kWin, kFirst, kLast},
    {3, kNt, {5, 0, 0}, {5, 0, kAnyPack}},
    {4, kNt, {5, 2, 0}, {5, 2, kAnyPack}, kServer},
    {5, kNt, {5, 1, 0}, {5, 1, kAnyPack}, kWorkstation},
    {6, kNt, {5, 2, 0}, {5, 2, kAnyPack}, kWorkstation},
    {7, kNt, {5, 1, 0}, {5, 2, kAnyPack}, kWorkstation},
    {8, kNt, {6, 0, 0}, {6, 0, kAnyPack}, kAnyType, Bits::k32},
    {9, kNt, {6, 0, 0}, {6, 0, kAnyPack}, kAnyType, Bits::k64},
    {10, kNt, {6, 0, 0}, {6, 0, kAnyPack}},
    {11, kNt, {6, 1, 0}, {6, 1, kAnyPack}, kAnyType, Bits::k32},
    {12, kNt, {6, 1, 0}, {6, 1, kAnyPack}, kAnyType, Bits::k64},
    {13, kNt, {6, 1, 0}, {6, 1, kAnyPack}},
    {14, kNt, {6, 2, 0}, {6, 2, kAnyPack}, kAnyType, Bits::k32},
    {15, kNt, {6, 2, 0}, {6, 2, kAnyPack}, kAnyType, Bits::k64},
    {16, kNt, {6, 2, 0}, {6, 2, kAnyPack}},
    {17, kNt, {6, 3, 0}, {6, 3, kAnyPack}, kAnyType, Bits::k32},
    {18, kNt, {6, 3, 0}, {6, 3, kAnyPack}, kAnyType, Bits::k64},
    {19, kNt, {6, 3, 0}, {6, 3, kAnyPack}},
    {20, kNt, {10, 0, 0}, {10, 0, kAnyPack}, kAnyType, Bits::k32},
    {21, kNt, {10, 0, 0}, {10, 0, kAnyPack}, kAnyType, Bits::k64},
    {22, kNt, {10, 0, 0}, {10, 0, kAnyPack}},
    {101, kNt, kFirst, kLast},
    {102, kNt, {5, 0, 0}, kLast},
    {103, kNt, {5, 1, 0}, kLast},
    {104, kNt, {5, 1, 2}, kLast},
    {105, kNt, {5, 1, 3}, kLast},
    {106, kNt, {6, 0, 0}, kLast},
    {107, kNt, {6, 0, 1}, kLast},
    {108, kNt, {6, 0, 2}, kLast},
    {109, kNt, {6, 0, 0}, kLast, kAnyType, Bits::kAny, true},
    {110, kNt, {6, 1, 1}, kLast},
    {111, kNt, {6, 2, 0}, kLast},
    {112, kNt, {6, 3, 0}, kLast},
    {113, kNt, {10, 0, 0}, kLast},
    {114, kNt, kFirst, kLast, kServer},
};

const Rule* FindRule(std::uint32_t condition) {
    const auto* rule = std::lower_bound(
        std::begin(kRules), std::end(kRules), condition,
        [](const Rule& row, std::uint32_t number) { return row.condition < number; });
    return rule != std::end(kRules) && rule->condition == condition ? rule : nullptr;
}

bool HasBits(const Record& record, Bits bits) {
    const bool is64Bit = record.architecture == Architecture::kAmd64;
    return bits == Bits::kAny || is64Bit == (bits == Bits::k64);
}

// ---- the name

struct Edition {
    std::uint32_t type;
    const wchar_t* text;
};

// The types of GetProductInfo that have a text.
constexpr Edition kEditions[] = {
    {1, L"Ultimate Edition"},
    {2, L"Home Basic Edition"},
    {3, L"Home Premium Edition"},
    {4, L"Enterprise Edition"},
    {6, L"Business Edition"},
    {7, L"Standard Edition"},
    {8, L"Datacenter Edition"},
    {9, L"Small Business Server"},
    {10, L"Enterprise Edition"},
    {11, L"Starter Edition"},
    {12, L"Datacenter Edition (core installation)"},
    {13, L"Standard Edition (core installation)"},
    {14, L"Enterprise Edition (core installation)"},
    {15, L"Enterprise Edition for Itanium-based Systems"},
    {17, L"Web Server Edition"},
    {18, L"Cluster Server Edition"},
    {25, L"Small Business Server Premium Edition"},
    {48, L"Professional"},
};

// The text that comes with a suite; the first suite of a list that is installed decides. A suite of
// 0 stands for all others.
struct SuiteText {
    std::uint16_t suite;
    const wchar_t* text;
};

constexpr SuiteText kItaniumServers[] = {
    {Suite::kDatacenter, L"Datacenter Edition for Itanium-based Systems"},
    {Suite::kEnterprise, L"Enterprise Edition for Itanium-based Systems"},
};
constexpr SuiteText kAmd64Servers[] = {
    {Suite::kDatacenter, L"Datacenter x64 Edition"},
    {Suite::kEnterprise, L"Enterprise x64 Edition"},
    {0, L"Standard x64 Edition"},
};
constexpr SuiteText kOtherServers[] = {
    {Suite::kComputeServer, L"Compute Cluster Edition"},
    {Suite::kDatacenter, L"Datacenter Edition"},
    {Suite::kEnterprise, L"Enterprise Edition"},
    {Suite::kBlade, L"Web Edition"},
    {0, L"Standard Edition"},
};
constexpr SuiteText kServers2000[] = {
    {Suite::kDatacenter, L"Datacenter Server"},
    {Suite::kEnterprise, L"Advanced Server"},
    {0, L"Server"},
};

const wchar_t* TextOf(std::span<const SuiteText> texts, std::uint16_t suiteMask) {
    for (const SuiteText& row : texts) {
        if (row.suite == 0 || (suiteMask & row.suite) != 0)
            return row.text;
    }
    return L"";
}

bool IsWorkstation(const Record& record) {
    return record.productType == ProductType::kWorkstation;
}

const wchar_t* Family60(const Record& record) {
    const bool workstation = IsWorkstation(record);
    if (record.majorVersion == 10 && record.minorVersion == 0)
        return workstation ? L"Windows 10.0 " : L"";
    if (record.majorVersion != 6)
        return L"";
    switch (record.minorVersion) {
        case 0:
            return workstation ? L"Windows Vista " : L"Windows Server 2008 ";
        case 1:
            return workstation ? L"Windows 7 " : L"Windows Server 2008 R2 ";
        case 2:
            return workstation ? L"Windows 8 " : L"Windows Server 2008 R2 ";
        case 3:
            return workstation ? L"Windows 8.1 " : L"Windows Server 2008 R2 ";
        default:
            return L"";
    }
}

const wchar_t* EditionText(std::uint32_t productInfo) {
    const auto* edition = std::find_if(std::begin(kEditions), std::end(kEditions),
                                       [&](const Edition& row) { return row.type == productInfo; });
    return edition != std::end(kEditions) ? edition->text : L"";
}

const wchar_t* Family52(const Record& record) {
    if (record.secondRelease)
        return L"Windows Server 2003 R2, ";
    if ((record.suiteMask & Suite::kStorageServer) != 0)
        return L"Windows Storage Server 2003";
    if ((record.suiteMask & Suite::kHomeServer) != 0)
        return L"Windows Home Server";
    if (IsWorkstation(record) && record.architecture == Architecture::kAmd64)
        return L"Windows XP Professional x64 Edition";
    return L"Windows Server 2003, ";
}

const wchar_t* ServerText52(const Record& record) {
    if (IsWorkstation(record))
        return L"";
    switch (record.architecture) {
        case Architecture::kItanium:
            return TextOf(kItaniumServers, record.suiteMask);
        case Architecture::kAmd64:
            return TextOf(kAmd64Servers, record.suiteMask);
        default:
            return TextOf(kOtherServers, record.suiteMask);
    }
}

std::wstring Describe5(const Record& record) {
    switch (record.minorVersion) {
        case 0:
            return std::wstring(L"Windows 2000 ") + (IsWorkstation(record)
                                                         ? L"Professional"
                                                         : TextOf(kServers2000, record.suiteMask));
        case 1:
            return (record.suiteMask & Suite::kPersonal) != 0 ? L"Windows XP Home Edition"
                                                              : L"Windows XP Professional";
        case 2:
            return std::wstring(Family52(record)) + ServerText52(record);
        default:
            return {};
    }
}

}  // namespace

bool Meets(const Record& record, std::uint32_t condition) noexcept {
    const Rule* const rule = FindRule(condition);
    if (rule == nullptr || record.platformId != rule->platform)
        return false;
    const Level level = {record.majorVersion, record.minorVersion, record.servicePack};
    return level >= rule->from && level <= rule->to &&
           (rule->productType == kAnyType || record.productType == rule->productType) &&
           HasBits(record, rule->bits) && !(rule->notMinor0 && record.minorVersion == 0);
}

bool NeedsExtendedForm(std::uint32_t condition) noexcept {
    const Rule* const rule = FindRule(condition);
    return rule != nullptr && (rule->productType != kAnyType || rule->from[2] != 0);
}

bool Describe(const Record& record, std::wstring& out) {
    if (record.platformId != Platform::kNt || record.majorVersion < 5)
        return false;
    if (record.majorVersion == 5) {
        out = Describe5(record);
    } else {
        out = std::wstring(Family60(record)) + EditionText(record.productInfo);
    }
    return true;
}

}  // namespace KrCommon::OsVersion
