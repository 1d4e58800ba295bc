#include "deployment/Traversals.h"

namespace deployment_test {

namespace {

using test_support::SampleMode::kMirdoshale;
using test_support::SampleMode::kWyvarion;
constexpr Present kInstalled = Present::kInstalled;
constexpr Watchdog kThere = Watchdog::kThere;

std::vector<MachineState> MakeStates() {
    return {
        {.name = "new"},
        {.name = "new, Wyvarion", .mode = kWyvarion},
        {.name = "new, Mirdoshale", .mode = kMirdoshale},
        {.name = "new, nobody listens", .listens = false},
        {.name = "new, Wyvarion, nobody listens", .mode = kWyvarion, .listens = false},
        {.name = "new, listed", .programEntry = true},
        {.name = "new, another product", .otherProduct = true},
        {.name = "restart pending", .rebootMark = true},
        {.name = "restart pending, Wyvarion", .mode = kWyvarion, .rebootMark = true},
        {.name = "foreign service", .entry = Entry::kForeign},
        {.name = "deleted service", .entry = Entry::kMarked},
        {.name = "older files, Wyvarion", .mode = kWyvarion, .olderFiles = true},
        {.name = "laid down", .present = Present::kLaidDown},
        {.name = "laid down, listed", .present = Present::kLaidDown, .programEntry = true},
        {.name = "installed", .present = kInstalled},
        {.name = "watched", .present = kInstalled, .watchdog = kThere},
        {.name = "watched, Wyvarion", .mode = kWyvarion, .present = kInstalled, .watchdog = kThere},
        {.name = "watched, second, Wyvarion",
         .mode = kWyvarion,
         .present = kInstalled,
         .package = "second",
         .watchdog = kThere},
        {.name = "watched, 3.0.9999",
         .present = kInstalled,
         .version = L"3.0.9999",
         .watchdog = kThere},
        {.name = "watched, 3.1.1159",
         .present = kInstalled,
         .version = L"3.1.1159",
         .watchdog = kThere},
        {.name = "watched, 3.1.0.2000",
         .present = kInstalled,
         .version = L"3.1.0.2000",
         .watchdog = kThere},
        {.name = "watched, 3.1.2000.1158",
         .present = kInstalled,
         .version = L"3.1.2000.1158",
         .watchdog = kThere},
        {.name = "watched, no version", .present = kInstalled, .version = L"", .watchdog = kThere},
        {.name = "watched, version of two numbers",
         .present = kInstalled,
         .version = L"9.9",
         .watchdog = kThere},
        {.name = "watched, foreign GUID",
         .present = kInstalled,
         .guid = L"{00000000-0000-0000-0000-000000000000}",
         .watchdog = kThere},
        {.name = "watched, restart pending",
         .present = kInstalled,
         .watchdog = kThere,
         .rebootMark = true},
        {.name = "watchdog stays", .present = kInstalled, .watchdog = Watchdog::kDeaf},
        {.name = "watchdog closed", .present = kInstalled, .watchdog = Watchdog::kClosed},
        {.name = "watched, old backup",
         .present = kInstalled,
         .watchdog = kThere,
         .oldBackup = true},
        {.name = "watched, locked backup",
         .present = kInstalled,
         .watchdog = kThere,
         .lockedBackup = true},
        {.name = "watched, locked file",
         .present = kInstalled,
         .watchdog = kThere,
         .lockedFile = true},
        {.name = "watched, locked file, Wyvarion",
         .mode = kWyvarion,
         .present = kInstalled,
         .watchdog = kThere,
         .lockedFile = true},
        {.name = "watched, read-only file",
         .present = kInstalled,
         .watchdog = kThere,
         .readOnlyFile = true},
        {.name = "watched, another product",
         .present = kInstalled,
         .watchdog = kThere,
         .otherProduct = true},
        {.name = "watched, folders gone",
         .present = kInstalled,
         .watchdog = kThere,
         .foldersGone = true},
        {.name = "watched, service stopped, nobody listens",
         .present = kInstalled,
         .watchdog = kThere,
         .entry = Entry::kStopped,
         .listens = false},
        {.name = "watched, nobody listens",
         .present = kInstalled,
         .watchdog = kThere,
         .listens = false},
        {.name = "watched, foreign service",
         .present = kInstalled,
         .watchdog = kThere,
         .entry = Entry::kForeign},
        {.name = "watched, deleted service",
         .present = kInstalled,
         .watchdog = kThere,
         .entry = Entry::kMarked},
    };
}

}  // namespace

const std::vector<MachineState>& MachineStates() {
    static const std::vector<MachineState> s_All = MakeStates();
    return s_All;
}

std::vector<Traversal> AllTraversals() {
    std::vector<Traversal> all;
    for (auto* const part : {FirstInstalls, FailedInstalls, Reinstalls, Rollbacks, Removals}) {
        for (Traversal& traversal : part())
            all.push_back(std::move(traversal));
    }
    return all;
}

}  // namespace deployment_test
