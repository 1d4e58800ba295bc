#pragma once

// Compares the machine with a package. Nothing is changed by looking. For Windows builds alone.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "wyctl/PackageExpectation.h"

namespace WyCtl {

// What the registry knows of the installed product.
struct InstalledProduct {
    std::wstring folder;  // ProductPath, without a "\" at its end; empty: nothing is installed
    std::wstring version;
    std::optional<std::uint32_t> status;  // InstallStatus
};

// Reads it for the identity of this process.
InstalledProduct ReadInstalledProduct();

// A state in words: "complete" and so on.
std::string InstallStatusText(const std::optional<std::uint32_t>& status);

// Named apart from the linter's Finding: one program has both.
struct MachineFinding {
    // Missing, Changed and Extra are differences. Pending ones go with the next restart; Kept ones
    // are as the rules of the package leave them.
    enum class State { Missing, Changed, Extra, Pending, Kept };
    State state = State::Missing;
    const char* kind = "";  // "file", "folder", "key", "value"
    std::wstring name;      // path, key with its root, or key, ", " and the value's name
    std::string remark;
};

// The state's name as text and JSON have it.
const char* StateName(MachineFinding::State state);

struct PackageReport {
    std::vector<MachineFinding> findings;
    std::size_t files = 0;  // that were looked at
    std::size_t folders = 0;
    std::size_t keys = 0;
    std::size_t values = 0;

    std::size_t Count(MachineFinding::State state) const;
    bool Differs() const;
};

// Raises Failure for a folder that cannot be listed, and for the list of the next restart.
PackageReport CheckPackage(const PackageFolder& package, const InstalledProduct& product);

}  // namespace WyCtl
