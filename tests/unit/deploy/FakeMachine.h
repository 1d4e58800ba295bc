#pragma once

// A machine that a test describes, in the place of the system's answers to the set-up.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_OsVersion.h"

namespace deploy_test {

using Section = std::map<std::wstring, std::wstring>;

struct FakeMachine {
    bool exists = true;                      // the Setup.ini, whatever its name
    std::map<std::wstring, Section> file{};  // its content
    KrCommon::OsVersion::Record system{};
    std::uint32_t buildNumber = 0;

    // How many of the questions for the numbers of the version are still answered.
    int versionAnswers = 1000;
    // Only the small form of the version is answered, which knows no service pack.
    bool smallFormOnly = false;
    // How many operations of the store still work; the next one raises code 0x10 at line 7.
    int storeAnswers = 1000;

    // What was done, in order: "exists", "store", "open [...]", "text ... (default)",
    // "number ... (default)", "close", "version".
    std::vector<std::wstring> steps{};
};

// The machine that the program under test runs on. A test sets all of it.
extern FakeMachine g_Machine;

// A machine with a version of NT.
FakeMachine MachineOf(std::uint32_t major, std::uint32_t minor, std::uint16_t servicePack = 0,
                      std::uint8_t productType = KrCommon::OsVersion::ProductType::kWorkstation);

}  // namespace deploy_test
