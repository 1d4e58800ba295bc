// The decisions over a plain record: all conditions against all kinds of systems, and the names.

#include "Common/KrCommon/KrComn_OsVersion.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace OsVersion = KrCommon::OsVersion;
using OsVersion::Record;

constexpr std::uint32_t kWin = 1;
constexpr std::uint32_t kNt = 2;
constexpr std::uint8_t kWorkstation = 1;
constexpr std::uint8_t kDomain = 2;
constexpr std::uint8_t kServer = 3;
constexpr std::uint16_t kIntel = 0;
constexpr std::uint16_t kItanium = 6;
constexpr std::uint16_t kAmd64 = 9;
constexpr std::uint16_t kArm64 = 12;

// ---- conditions

struct System {
    const char* name;
    std::uint32_t platform, major, minor;
    std::uint16_t servicePack;
    std::uint8_t productType;
};

// In the order of their versions; those of one version together.
constexpr System kSystems[] = {
    {"Win32s", 0, 3, 11, 0, 0},
    {"95", kWin, 4, 0, 0, 0},
    {"98", kWin, 4, 10, 0, 0},
    {"Me", kWin, 4, 90, 0, 0},
    {"NT3.51", kNt, 3, 51, 5, kWorkstation},
    {"NT4", kNt, 4, 0, 6, kWorkstation},
    {"NT4.90", kNt, 4, 90, 0, kWorkstation},  // no system, but not Me either
    {"2000", kNt, 5, 0, 4, kWorkstation},
    {"2000Server", kNt, 5, 0, 4, kServer},
    {"XP", kNt, 5, 1, 0, kWorkstation},
    {"XPsp1", kNt, 5, 1, 1, kWorkstation},
    {"XPsp2", kNt, 5, 1, 2, kWorkstation},
    {"XPsp3", kNt, 5, 1, 3, kWorkstation},
    {"XPx64", kNt, 5, 2, 1, kWorkstation},
    {"2003", kNt, 5, 2, 0, kServer},
    {"2003R2", kNt, 5, 2, 2, kServer},
    {"2003Domain", kNt, 5, 2, 2, kDomain},
    {"Vista", kNt, 6, 0, 0, kWorkstation},
    {"Vistasp1", kNt, 6, 0, 1, kWorkstation},
    {"2008", kNt, 6, 0, 1, kServer},
    {"Vistasp2", kNt, 6, 0, 2, kWorkstation},
    {"7", kNt, 6, 1, 0, kWorkstation},
    {"7sp1", kNt, 6, 1, 1, kWorkstation},
    {"2008R2", kNt, 6, 1, 1, kServer},
    {"2008R2Domain", kNt, 6, 1, 1, kDomain},
    {"8", kNt, 6, 2, 0, kWorkstation},
    {"2012", kNt, 6, 2, 0, kServer},
    {"8.1", kNt, 6, 3, 0, kWorkstation},
    {"2012R2", kNt, 6, 3, 0, kServer},
    {"10", kNt, 10, 0, 0, kWorkstation},
    {"2016", kNt, 10, 0, 0, kServer},
    {"10.1", kNt, 10, 1, 0, kWorkstation},  // no system yet
    {"CE7", 3, 7, 0, 0, 0},
};

enum Bits { kBoth, k32Bit, k64Bit };

struct Condition {
    std::uint32_t number;
    const char* meaning;
    Bits bits;
    // Systems that meet it; "A ... B" is A, B and all that stand between them above.
    const char* systems;
};

constexpr Condition kConditions[] = {
    {1, "platform 1, version 4.90", kBoth, "Me"},
    {2, "platform 1", kBoth, "95 ... Me"},
    {3, "NT 5.0", kBoth, "2000 2000Server"},
    {4, "NT 5.2, server product type 3", kBoth, "2003 2003R2"},
    {5, "NT 5.1, workstation", kBoth, "XP XPsp1 XPsp2 XPsp3"},
    {6, "NT 5.2, workstation", kBoth, "XPx64"},
    {7, "NT 5.1 or 5.2, workstation", kBoth, "XP XPsp1 XPsp2 XPsp3 XPx64"},
    {8, "NT 6.0", k32Bit, "Vista Vistasp1 2008 Vistasp2"},
    {9, "NT 6.0", k64Bit, "Vista Vistasp1 2008 Vistasp2"},
    {10, "NT 6.0", kBoth, "Vista Vistasp1 2008 Vistasp2"},
    {11, "NT 6.1", k32Bit, "7 7sp1 2008R2 2008R2Domain"},
    {12, "NT 6.1", k64Bit, "7 7sp1 2008R2 2008R2Domain"},
    {13, "NT 6.1", kBoth, "7 7sp1 2008R2 2008R2Domain"},
    {14, "NT 6.2", k32Bit, "8 2012"},
    {15, "NT 6.2", k64Bit, "8 2012"},
    {16, "NT 6.2", kBoth, "8 2012"},
    {17, "NT 6.3", k32Bit, "8.1 2012R2"},
    {18, "NT 6.3", k64Bit, "8.1 2012R2"},
    {19, "NT 6.3", kBoth, "8.1 2012R2"},
    {20, "NT 10.0", k32Bit, "10 2016"},
    {21, "NT 10.0", k64Bit, "10 2016"},
    {22, "NT 10.0", kBoth, "10 2016"},
    {101, "NT", kBoth, "NT3.51 ... 10.1"},
    {102, "NT 5.0 or later", kBoth, "2000 ... 10.1"},
    {103, "NT 5.1 or later", kBoth, "XP ... 10.1"},
    {104, "NT 5.1 SP 2 or later", kBoth, "XPsp2 ... 10.1"},
    {105, "NT 5.1 SP 3 or later", kBoth, "XPsp3 ... 10.1"},
    {106, "NT 6.0 or later", kBoth, "Vista ... 10.1"},
    {107, "NT 6.0 SP 1 or later", kBoth, "Vistasp1 ... 10.1"},
    {108, "NT 6.0 SP 2 or later", kBoth, "Vistasp2 ... 10.1"},
    {109, "NT 6 or more, minor not 0", kBoth, "7 ... 2012R2 10.1"},
    {110, "NT 6.1 SP 1 or later", kBoth, "7sp1 ... 10.1"},
    {111, "NT 6.2 or later", kBoth, "8 ... 10.1"},
    {112, "NT 6.3 or later", kBoth, "8.1 ... 10.1"},
    {113, "NT 10 or later", kBoth, "10 ... 10.1"},
    {114, "NT, server product type 3", kBoth,
     "2000Server 2003 2003R2 2008 2008R2 2012 2012R2 2016"},
};

Record RecordOf(const System& system, std::uint16_t architecture) {
    Record record;
    record.platformId = system.platform;
    record.majorVersion = system.major;
    record.minorVersion = system.minor;
    record.servicePack = system.servicePack;
    record.productType = system.productType;
    record.architecture = architecture;
    return record;
}

std::set<std::string> Systems(const char* list) {
    std::set<std::string> found;
    std::istringstream words(list);
    std::string word;
    std::string former;
    while (words >> word) {
        if (word == "...") {
            words >> word;
            bool inside = false;
            for (const System& system : kSystems) {
                inside = inside || former == system.name;
                if (inside)
                    found.insert(system.name);
                inside = inside && word != system.name;
            }
        }
        found.insert(word);
        former = word;
    }
    return found;
}

std::set<std::string> SystemsThatMeet(std::uint32_t condition, std::uint16_t architecture) {
    std::set<std::string> found;
    for (const System& system : kSystems) {
        if (OsVersion::Meets(RecordOf(system, architecture), condition))
            found.insert(system.name);
    }
    return found;
}

TEST(OsCondition, every_condition_on_every_system) {
    for (const Condition& row : kConditions) {
        SCOPED_TRACE(row.number);
        SCOPED_TRACE(row.meaning);
        const std::set<std::string> met = Systems(row.systems);
        const std::set<std::string> none;
        EXPECT_EQ(SystemsThatMeet(row.number, kIntel), row.bits == k64Bit ? none : met);
        EXPECT_EQ(SystemsThatMeet(row.number, kAmd64), row.bits == k32Bit ? none : met);
    }
}

TEST(OsCondition, no_system_meets_another_number) {
    std::set<std::uint32_t> known;
    for (const Condition& row : kConditions)
        known.insert(row.number);
    ASSERT_EQ(known.size(), 36U);
    std::vector<std::uint32_t> others = {0xffffffff, 0x80000001, 256 + 1, 65536 + 102};
    for (std::uint32_t number = 0; number <= 200; ++number) {
        if (!known.contains(number))
            others.push_back(number);  // among them 50 and 115
    }
    for (const std::uint32_t number : others) {
        EXPECT_TRUE(SystemsThatMeet(number, kIntel).empty()) << number;
        EXPECT_TRUE(SystemsThatMeet(number, kAmd64).empty()) << number;
    }
}

TEST(OsCondition, only_x86_64_counts_as_64_bit) {
    for (const std::uint16_t architecture :
         {kIntel, kItanium, kArm64, OsVersion::Architecture::kUnknown}) {
        EXPECT_TRUE(SystemsThatMeet(20, architecture).contains("10")) << architecture;
        EXPECT_TRUE(SystemsThatMeet(21, architecture).empty()) << architecture;
    }
}

TEST(OsCondition, product_type_and_service_pack_need_the_extended_form) {
    const std::set<std::uint32_t> expected = {4, 5, 6, 7, 104, 105, 107, 108, 110, 114};
    for (std::uint32_t number = 0; number <= 200; ++number)
        EXPECT_EQ(OsVersion::NeedsExtendedForm(number), expected.contains(number)) << number;
}

// ---- names

constexpr std::uint16_t kEnterprise = 0x0002;
constexpr std::uint16_t kDatacenter = 0x0080;
constexpr std::uint16_t kPersonal = 0x0200;
constexpr std::uint16_t kBlade = 0x0400;
constexpr std::uint16_t kStorage = 0x2000;
constexpr std::uint16_t kCompute = 0x4000;
constexpr std::uint16_t kHome = 0x8000;
constexpr std::uint16_t kTerminal = 0x0110;  // terminal services, no text of its own

std::wstring NameOf(const Record& record) {
    std::wstring name = L"before";
    return OsVersion::Describe(record, name) ? name : L"(none) " + name;
}

TEST(OsName, of_a_system_from_6_0_on) {
    const struct {
        std::uint32_t major, minor;
        std::uint8_t type;
        const wchar_t* name;
    } rows[] = {
        {6, 0, kWorkstation, L"Windows Vista Business Edition"},
        {6, 0, kServer, L"Windows Server 2008 Business Edition"},
        {6, 0, kDomain, L"Windows Server 2008 Business Edition"},
        {6, 1, kWorkstation, L"Windows 7 Business Edition"},
        {6, 1, kServer, L"Windows Server 2008 R2 Business Edition"},
        {6, 2, kWorkstation, L"Windows 8 Business Edition"},
        {6, 2, kServer, L"Windows Server 2008 R2 Business Edition"},
        {6, 3, kWorkstation, L"Windows 8.1 Business Edition"},
        {6, 3, kServer, L"Windows Server 2008 R2 Business Edition"},
        {10, 0, kWorkstation, L"Windows 10.0 Business Edition"},
        {10, 0, kServer, L"Business Edition"},
        {6, 4, kWorkstation, L"Business Edition"},
        {10, 1, kWorkstation, L"Business Edition"},
        {7, 0, kWorkstation, L"Business Edition"},
    };
    for (const auto& row : rows) {
        Record record = RecordOf({"", kNt, row.major, row.minor, 0, row.type}, kAmd64);
        record.productInfo = 6;
        EXPECT_EQ(NameOf(record), row.name) << row.major << '.' << row.minor;
    }
}

TEST(OsName, edition_of_each_product_type) {
    const std::map<std::uint32_t, const wchar_t*> editions = {
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
    std::vector<std::uint32_t> types = {0xabcdabcd};  // not activated
    for (std::uint32_t type = 0; type <= 200; ++type)
        types.push_back(type);
    for (const std::uint32_t type : types) {
        Record record = RecordOf({"", kNt, 6, 1, 0, kWorkstation}, kAmd64);
        record.productInfo = type;
        const auto found = editions.find(type);
        const std::wstring edition = found != editions.end() ? found->second : L"";
        EXPECT_EQ(NameOf(record), L"Windows 7 " + edition) << type;
    }
}

TEST(OsName, of_a_system_below_6_0) {
    const struct {
        std::uint32_t minor;
        std::uint8_t type;
        std::uint16_t architecture;
        int suites;
        bool secondRelease;
        const wchar_t* name;
    } rows[] = {
        // 5.0
        {0, kWorkstation, kIntel, 0, false, L"Windows 2000 Professional"},
        {0, kWorkstation, kIntel, kDatacenter, false, L"Windows 2000 Professional"},
        {0, kServer, kIntel, kDatacenter | kEnterprise, false, L"Windows 2000 Datacenter Server"},
        {0, kServer, kIntel, kEnterprise, false, L"Windows 2000 Advanced Server"},
        {0, kServer, kIntel, kTerminal, false, L"Windows 2000 Server"},
        {0, kDomain, kIntel, 0, false, L"Windows 2000 Server"},
        // 5.1
        {1, kWorkstation, kIntel, kPersonal | kTerminal, false, L"Windows XP Home Edition"},
        {1, kWorkstation, kIntel, kTerminal, false, L"Windows XP Professional"},
        {1, kWorkstation, kIntel, 0, true, L"Windows XP Professional"},
        // 5.2: the family
        {2, kServer, kIntel, 0, true, L"Windows Server 2003 R2, Standard Edition"},
        {2, kServer, kIntel, kStorage | kHome, true, L"Windows Server 2003 R2, Standard Edition"},
        {2, kWorkstation, kAmd64, 0, true, L"Windows Server 2003 R2, "},
        {2, kServer, kIntel, kStorage, false, L"Windows Storage Server 2003Standard Edition"},
        {2, kServer, kIntel, kStorage | kHome, false,
         L"Windows Storage Server 2003Standard Edition"},
        {2, kWorkstation, kAmd64, kStorage, false, L"Windows Storage Server 2003"},
        {2, kServer, kIntel, kHome, false, L"Windows Home ServerStandard Edition"},
        {2, kWorkstation, kAmd64, kHome, false, L"Windows Home Server"},
        {2, kWorkstation, kAmd64, 0, false, L"Windows XP Professional x64 Edition"},
        {2, kWorkstation, kIntel, 0, false, L"Windows Server 2003, "},
        {2, kWorkstation, kItanium, kDatacenter, false, L"Windows Server 2003, "},
        // 5.2: the edition of a server
        {2, kServer, kItanium, kDatacenter | kEnterprise, false,
         L"Windows Server 2003, Datacenter Edition for Itanium-based Systems"},
        {2, kServer, kItanium, kEnterprise, false,
         L"Windows Server 2003, Enterprise Edition for Itanium-based Systems"},
        {2, kServer, kItanium, kBlade, false, L"Windows Server 2003, "},
        {2, kServer, kAmd64, kDatacenter | kEnterprise, false,
         L"Windows Server 2003, Datacenter x64 Edition"},
        {2, kServer, kAmd64, kEnterprise, false, L"Windows Server 2003, Enterprise x64 Edition"},
        {2, kServer, kAmd64, kBlade, false, L"Windows Server 2003, Standard x64 Edition"},
        {2, kDomain, kAmd64, 0, true, L"Windows Server 2003 R2, Standard x64 Edition"},
        {2, kServer, kIntel, kCompute | kDatacenter, false,
         L"Windows Server 2003, Compute Cluster Edition"},
        {2, kServer, kIntel, kDatacenter | kEnterprise, false,
         L"Windows Server 2003, Datacenter Edition"},
        {2, kServer, kIntel, kEnterprise | kBlade, false,
         L"Windows Server 2003, Enterprise Edition"},
        {2, kServer, kIntel, kBlade, false, L"Windows Server 2003, Web Edition"},
        {2, kServer, kIntel, kTerminal, false, L"Windows Server 2003, Standard Edition"},
        {2, kDomain, kIntel, 0, false, L"Windows Server 2003, Standard Edition"},
        // no system
        {3, kWorkstation, kIntel, 0, false, L""},
    };
    for (const auto& row : rows) {
        Record record = RecordOf({"", kNt, 5, row.minor, 2, row.type}, row.architecture);
        record.suiteMask = static_cast<std::uint16_t>(row.suites);
        record.secondRelease = row.secondRelease;
        record.productInfo = 48;  // only systems from 6.0 on have one
        EXPECT_EQ(NameOf(record), row.name)
            << "5." << row.minor << " suites 0x" << std::hex << row.suites;
    }
}

TEST(OsName, system_below_5_0_has_none) {
    for (const System& system : kSystems) {
        const bool named = system.platform == kNt && system.major >= 5;
        EXPECT_EQ(NameOf(RecordOf(system, kIntel)) == L"(none) before", !named) << system.name;
    }
}

}  // namespace
