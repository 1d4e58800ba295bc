// Re-installs and upgrades, and what becomes of those that fail.

#include <gtest/gtest.h>

#include "deployment/Traversals.h"

namespace deployment_test {

namespace {

constexpr std::uint32_t kLaterInstalled = 0xe00e000c;
constexpr std::uint32_t kNotStopped = 0xe00e0003;
constexpr std::uint32_t kNotRenamed = 0xe00e0018;
constexpr std::uint32_t kRolledBack = 2;
constexpr std::uint32_t kRollbackFailed = 3;

void ExpectBackup(SetupMachine& machine) {
    EXPECT_TRUE(std::filesystem::exists(machine.Backup() + L"\\release.txt"));
    EXPECT_FALSE(std::filesystem::exists(machine.Backup() + L"\\old"));
}

Step LaidOver(const char* package) {
    return {.act = Act::kInstall,
            .package = package,
            .status = 1,
            .after = After::kLaidDown,
            .toolsWait = true,
            .also = ExpectBackup};
}
// The object of the second phase knows of no backup, which stays.
Step InstalledOver(const char* package) {
    return {.act = Act::kPostInstall,
            .package = package,
            .status = 0,
            .after = After::kInstalled,
            .log = {"KrCommon::Storage::File::DeleteAllFiles failed... ErrorCode=0xa0"},
            .toolsWait = true,
            .also = ExpectBackup};
}
Step Only(Act act) {
    return {.act = act};
}

// Every re-install to the same folder, whatever is asked for.
Step LaidOverElsewhere() {
    Step step = LaidOver("first");
    step.target = L"Programs\\Elsewhere";
    return step;
}

// An upgrade that fails after the backup is taken back.
Step RolledBack(const char* package, std::uint32_t code, std::vector<std::string> log) {
    return {.act = Act::kInstall,
            .package = package,
            .code = code,
            .status = kRolledBack,
            .after = After::kRestored,
            .log = std::move(log)};
}

// One that fails before it loses the product.
Step Lost(std::uint32_t code, std::vector<std::string> log,
          std::uint32_t status = kRollbackFailed) {
    return {.act = Act::kInstall,
            .package = "second",
            .code = code,
            .status = status,
            .after = After::kFolderGone,
            .log = std::move(log)};
}

Traversal RefusedDowngrade(const char* name, const char* state, const char* version) {
    return {
        name,
        state,
        {Lost(kLaterInstalled, {std::string("Product version check. Old version: ") + version +
                                    "New version:3.1.1158",
                                "A later version is already installed in this computer...",
                                "_wrename failed... error code: 0xffffffffOld name: , New name: "
                                "@\\Programs\\Wy"})}};
}

}  // namespace

std::vector<Traversal> Reinstalls() {
    Step toolsMoved = Only(Act::kRestart);
    toolsMoved.also = [](SetupMachine& machine) {
        const std::wstring data = machine.DataFolder();
        for (const auto& [name, hash] : machine.Package("second").ExternalHashes())
            EXPECT_EQ(hash, test_support::HashOfFile(data + L"\\External\\" + name));
    };
    Step waited = LaidOver("second");
    waited.log = {"WaitForSingleObject for hWatchdogExitEvent failed...ErrorCode=0x102"};
    Step registryKept = LaidOver("registry-off");
    registryKept.registryOf = "first";
    Step registryStays = InstalledOver("registry-off");
    registryStays.registryOf = "first";
    Step stopped = LaidOver("second");
    stopped.log = {"The wyvarion product is already installed...", "WatchDog is already exit..."};
    stopped.also = [](SetupMachine& machine) {
        EXPECT_EQ(0U, machine.RunningAgents());
        ExpectBackup(machine);
    };
    Step otherGuid = {.act = Act::kInstall,
                      .package = "second",
                      .status = 1,
                      .after = After::kLaidDown,
                      .notInLog = {"already installed"},
                      .also = [](SetupMachine& machine) {
                          EXPECT_FALSE(std::filesystem::exists(machine.Backup()));
                      }};
    otherGuid.over = "first";
    Step overWyvarion = otherGuid;
    // Nothing is ended for what counts as a first install, and a running program not replaced.
    const Step inUse = {
        .act = Act::kInstall,
        .package = "second",
        .code = 0xe00e0014,
        .status = 1,
        .log = {"KrCommon::Storage::File::CopyFile failed...", "Deploy registry or file failed...",
                "Install error, now rollback. retCode = 0xe00e0014"}};
    Step olderOverNewer = otherGuid;
    olderOverNewer.package = "first";
    olderOverNewer.over = "second";
    return {
        // The service program itself answers, and nobody else. What waits for the restart in the
        // end are the moves of the tools, which find nothing then.
        {"whole life with the real service",
         "new, nobody listens",
         {{.act = Act::kInstall, .package = "real", .status = 1, .after = After::kLaidDown},
          {.act = Act::kPostInstall, .package = "real", .status = 0, .after = After::kInstalled},
          Only(Act::kWatchdog),
          LaidOver("real-second"),
          InstalledOver("real-second"),
          Only(Act::kWatchdog),
          RolledBack("real-bad-file", 0xe00e0014, {"Deploy registry or file failed..."}),
          Only(Act::kWatchdog),
          {.act = Act::kUninstall, .after = After::kGoneAtRestart}}},
        {"whole life of Wyvarion with the real service",
         "new, Wyvarion, nobody listens",
         {{.act = Act::kInstall, .package = "real", .status = 1, .after = After::kLaidDown},
          {.act = Act::kPostInstall, .package = "real", .status = 0, .after = After::kInstalled},
          Only(Act::kWatchdog),
          {.act = Act::kUninstall, .after = After::kGone}}},
        {"same version", "watched", {LaidOver("first"), InstalledOver("first")}},
        {"same version to another folder", "watched", {LaidOverElsewhere()}},
        {"upgrade, and the tools after the restart",
         "watched",
         {stopped, InstalledOver("second"), toolsMoved}},
        {"upgrade twice",
         "watched",
         {LaidOver("second"), InstalledOver("second"), Only(Act::kWatchdog), LaidOver("first"),
          InstalledOver("first")}},
        {"upgrade and removal",
         "watched",
         {LaidOver("second"),
          InstalledOver("second"),
          Only(Act::kWatchdog),
          {.act = Act::kUninstall, .after = After::kGoneAtRestart}}},
        {"upgrade beside a watchdog that does not end", "watchdog stays", {waited}},
        {"upgrade from 3.0.9999",
         "watched, 3.0.9999",
         {LaidOver("second"), InstalledOver("second")}},
        {"upgrade from four numbers that are not later",
         "watched, 3.1.2000.1158",
         {LaidOver("second"), InstalledOver("second")}},
        {"upgrade from no version",
         "watched, no version",
         {LaidOver("second"), InstalledOver("second")}},
        {"upgrade from a version of two numbers",
         "watched, version of two numbers",
         {LaidOver("second"), InstalledOver("second")}},
        {"upgrade deletes an old backup",
         "watched, old backup",
         {LaidOver("second"), InstalledOver("second")}},
        {"upgrade that leaves the registry alone", "watched", {registryKept, registryStays}},
        {"upgrade over a read-only file",
         "watched, read-only file",
         {LaidOver("second"), InstalledOver("second")}},
        {"product of another GUID is not known",
         "watched, foreign GUID",
         {inUse, Only(Act::kEndPrograms), otherGuid}},
        {"newer Wyvarion over an older one",
         "watched, Wyvarion",
         {inUse, Only(Act::kEndPrograms), overWyvarion}},
        {"older Wyvarion over a newer one", "watched, second, Wyvarion", {olderOverNewer}},
        {"upgrade under a service that is deleted",
         "watched, deleted service",
         {{.act = Act::kInstall,
           .package = "second",
           .status = 1,
           .after = After::kLaidDown,
           .log = {"The specified service has been already marked for deletion."},
           .toolsWait = true},
          {.act = Act::kUnlock},
          InstalledOver("second")}},
        {"upgrade under a foreign service",
         "watched, foreign service",
         {LaidOver("second"), InstalledOver("second")}},
    };
}

std::vector<Traversal> Rollbacks() {
    const std::string notRenamed =
        "_wrename failed... error code: 0xffffffffOld name: , New name: @\\Programs\\Wy";
    Step closed = {.act = Act::kInstall,
                   .package = "second",
                   .code = kNotStopped,
                   .status = kRollbackFailed,
                   .after = After::kAsBefore,
                   .log = {"OpenEvent for WATCHDOG_EVENT_STOP_WATCHDOG failed...ErrorCode=0x5",
                           "Terminate exe failed...", "Terminate exe failed..."}};
    return {
        // The session agent and the service still run, and keep their folder.
        {"upgrade without a watchdog",
         "installed",
         {{.act = Act::kInstall,
           .package = "second",
           .code = kNotRenamed,
           .status = kRollbackFailed,
           .log = {"WyWatchDog is already exit...",
                   "_wrename failed... error code(C Style Error Code): 0xdOld name: "
                   "@\\Programs\\Wy, New name: @\\Programs\\WyvarionBackup",
                   "Backup install folder failed...retCode: 0xe00e0018",
                   "WyWatchDog is already exit..."},
           .also =
               [](SetupMachine& machine) {
                   EXPECT_EQ(1U, machine.RunningAgents());
                   EXPECT_FALSE(std::filesystem::exists(machine.InstallDir() + L"\\readme.txt"));
               }}}},
        RefusedDowngrade("downgrade from 3.1.1159", "watched, 3.1.1159", "3.1.1159"),
        RefusedDowngrade("downgrade from four numbers", "watched, 3.1.0.2000", "3.1.0.2000"),
        {"pending restart loses the product",
         "watched, restart pending",
         {Lost(0xe00e000a, {"Need to reboot computer before install...", notRenamed})}},
        {"watchdog that cannot be told keeps the product", "watchdog closed", {closed}},
        {"upgrade of folders deleted by hand",
         "watched, folders gone",
         {Lost(kNotRenamed,
               {"_wrename failed... error code(C Style Error Code): 0x2Old name: "
                "@\\Programs\\Wy, New name: @\\Programs\\WyvarionBackup",
                "Backup install folder failed...retCode: 0xe00e0018",
                "_wrename failed... error code: 0xffffffffOld name: @\\Programs\\WyvarionBackup, "
                "New name: @\\Programs\\Wy"})}},
        {"upgrade to a system that is refused",
         "watched",
         {RolledBack("refuses-system", 0xe00e0012,
                     {"Check all system items failed... RetCode = 0xe00e0012"}),
          Only(Act::kWatchdog), LaidOver("second"), InstalledOver("second")}},
        {"manifest that is not there",
         "watched",
         {RolledBack("no-manifest", 0xe00e0013,
                     {"Parse InstCfg.xml file failed...",
                      "Install error, now rollback. retCode = 0xe00e0013"})}},
        {"set-up file that is not there",
         "watched",
         {RolledBack("no-setup-file", 0xe00e0013, {"Parse setup config file error..."})}},
        {"upgrade with a file that cannot be copied",
         "watched",
         {RolledBack("bad-file", 0xe00e0014,
                     {"Deploy registry or file failed...",
                      "Install error, now rollback. retCode = 0xe00e0014"})}},
        {"value that cannot be written, and then a good package",
         "watched",
         {RolledBack("bad-value", 0xe00e0014, {"Deploy registry or file failed..."}),
          Only(Act::kWatchdog), LaidOver("second"), InstalledOver("second")}},
    };
}

}  // namespace deployment_test
