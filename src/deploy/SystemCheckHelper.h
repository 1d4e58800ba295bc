#pragma once

// Whether the product may be installed on this machine, before anything is changed.

#include <cstdint>
#include <vector>

namespace WyDeployHelper::SetupHelper {

// Runs the checks that g_SetupConfig switches on.
//
//     CSystemCheckHelper checks;
//     checks.InitCheckFunction();
//     const std::uint32_t result = checks.CheckAllSystemItems();
//
// Belongs to one thread. Raises std::bad_alloc alone, and that in InitCheckFunction() alone.
class CSystemCheckHelper {
public:
    CSystemCheckHelper() = default;
    CSystemCheckHelper(const CSystemCheckHelper&) = delete;
    CSystemCheckHelper& operator=(const CSystemCheckHelper&) = delete;
    virtual ~CSystemCheckHelper();

    // Appends to the list the checks that are switched on; there is one, CheckOs().
    void InitCheckFunction();

    // Calls the checks of the list in their order, up to the first that refuses. Returns the code
    // of the last one called; 0x20ff0000 for an empty list, whatever the machine is.
    std::uint32_t CheckAllSystemItems() noexcept;

    // Compares the running system with g_SetupConfig: its version, service pack and build, each
    // from the demanded one upwards; no server edition, no Windows XP for 64 bits.
    //
    // Returns 0x20ff0000 or 0xe00e0012, with the reason of a refusal in the log alone. A service
    // pack or build that the system does not tell is no refusal. "Win7" demands a version whose
    // minor number is not 0, which refuses Windows 10, too; "WinVista" accepts it.
    std::uint32_t CheckOs() noexcept;

protected:
    using CheckFunction = std::uint32_t (CSystemCheckHelper::*)() noexcept;

    std::vector<CheckFunction> m_listCheckFunctions;
};

}  // namespace WyDeployHelper::SetupHelper
