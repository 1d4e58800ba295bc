#pragma once

// What an installation of a package would do to this machine. Nothing is changed by looking.

#include <cstdint>
#include <string>
#include <vector>

#include "wyctl/PlanStep.h"

namespace WyCtl {

struct PlanItem {
    enum class Outcome : std::uint8_t { Done, Kept, Skipped, Nothing, Fails, NotReached };

    std::string element;  // "File"; "Backup" and "External" for what no manifest names
    std::wstring id;
    Outcome outcome = Outcome::Nothing;
    std::wstring why;  // of another outcome than Done
    std::vector<PlanStep> steps;
};

struct PackagePlan {
    std::wstring package;
    std::wstring product;      // the folder that the product goes to
    bool reinstall = false;    // the product's folder is moved aside before
    bool registry = true;      // the items of the registry are carried out
    std::uint32_t result = 0;  // 0x20ff0000, or what WyInstall would return for the reason below
    std::wstring reason;
    bool losesProduct = false;  // refused before there is a backup: the rollback deletes it
    std::wstring systemCheck;   // what was asked of the system, and the answer
    std::vector<PlanItem> items;
    std::uint64_t bytes = 0;          // of all copies
    std::uint64_t free = 0;           // on the volume of the product
    std::vector<std::wstring> inUse;  // files that stand in the way at this moment

    std::size_t Count(PlanItem::Outcome outcome) const;
};

struct PlanInput {
    std::wstring package;          // a whole path
    std::wstring target;           // of a first installation; empty for the usual place
    bool installed = false;        // over the product that is registered
    std::wstring folderOfLibrary;  // of the XML library
};

// Raises Failure when there is no product to install over, or no manifest that can be read.
PackagePlan MakePackagePlan(const PlanInput& input);

}  // namespace WyCtl
