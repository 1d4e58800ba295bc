// Removals.

#include <gtest/gtest.h>

#include "deployment/Traversals.h"

namespace deployment_test {

namespace {

Step Gone(std::vector<std::string> log = {}) {
    return {.act = Act::kUninstall, .after = After::kGone, .log = std::move(log)};
}
Step GoneAtRestart(std::vector<std::string> log = {}) {
    return {.act = Act::kUninstall, .after = After::kGoneAtRestart, .log = std::move(log)};
}
Step Only(Act act) {
    return {.act = act};
}

bool HasMark(const SetupMachine& machine) {
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    return std::filesystem::exists(std::wstring(windows) + L"\\temp\\" + machine.Places().id +
                                   L"Temp.dat");
}

}  // namespace

std::vector<Traversal> Removals() {
    Step first = Gone({"Uninstall Wyvarion..."});
    first.also = [](SetupMachine& machine) {
        EXPECT_EQ(
            "\"@\\Programs\\Wy\\Shortcut_P.exe\" -Delete \"@\\Programs\\Wy\" "
            "\"@\\Programs\\Wy\\Configuration\\Shortcut\\EN-US\\Shortcut.xml\"",
            machine.Asked(L"Shortcut_P.exe").back());
        EXPECT_FALSE(HasMark(machine));
    };
    Step locked = GoneAtRestart();
    locked.also = [](SetupMachine& machine) { EXPECT_TRUE(HasMark(machine)); };
    Step lockedWyvarion = GoneAtRestart();
    lockedWyvarion.also = [](SetupMachine& machine) { EXPECT_FALSE(HasMark(machine)); };
    Step restarted = Only(Act::kRestart);
    restarted.after = After::kGone;
    // Who would delete the shortcuts has gone with the folder, and nobody minds.
    Step withoutTool = {.act = Act::kUninstall,
                        .log = {"Shortcuts related files do not exist..."},
                        .also = [](SetupMachine& machine) {
                            const std::wstring folder =
                                test_support::SamplePackage::ShortcutFolder();
                            EXPECT_TRUE(std::filesystem::exists(folder + L"\\Optimizer.lnk"));
                            std::filesystem::remove_all(folder);
                            EXPECT_EQ("", NotGone(machine.New(), machine.Look(), machine.Places()));
                        }};
    Step closed = Only(Act::kUnlock);
    closed.after = After::kGone;
    Step ended = Only(Act::kEndWatchdog);
    ended.after = After::kGone;
    return {
        {"whole product", "watched", {first}},
        {"whole product of Wyvarion", "watched, Wyvarion", {Gone()}},
        {"product that is laid down", "laid down", {Gone()}},
        {"product without a watchdog",
         "installed",
         {GoneAtRestart({"WyWatchDog is already exit..."})}},
        {"service that is stopped, and nobody listens",
         "watched, service stopped, nobody listens",
         {Gone({"WyPublishEvent failed... RetCode = 0xe0fe06ba"})}},
        {"nobody listens",
         "watched, nobody listens",
         {Gone({"WyPublishEvent failed... RetCode = 0xe0fe06ba"})}},
        {"read-only file", "watched, read-only file", {Gone()}},
        {"locked file waits for the restart",
         "watched, locked file",
         {locked,
          {.act = Act::kInstall,
           .package = "first",
           .code = 0xe00e000a,
           .status = 1,
           .log = {"Need to reboot computer before install..."}},
          Only(Act::kUnlock),
          Only(Act::kRestart),
          {.act = Act::kInstall, .package = "first", .status = 1, .after = After::kLaidDown}}},
        {"locked file is gone after the restart",
         "watched, locked file",
         {locked, Only(Act::kUnlock), restarted}},
        {"locked file of Wyvarion leaves no mark",
         "watched, locked file, Wyvarion",
         {lockedWyvarion}},
        {"other product stays", "watched, another product", {Gone()}},
        {"folders deleted by hand", "watched, folders gone", {withoutTool}},
        {"watchdog that cannot be told",
         "watchdog closed",
         {{.act = Act::kUninstall,
           .code = 0xe00e0003,
           .status = 0,
           .after = After::kAsBefore,
           .log = {"Terminate exe failed..."}}}},
        {"watchdog that does not end",
         "watchdog stays",
         {{.act = Act::kUninstall,
           .log = {"WaitForSingleObject for hWatchdogExitEvent failed...ErrorCode=0x102"}},
          ended}},
        {"service that is deleted already",
         "watched, deleted service",
         {{.act = Act::kUninstall,
           .log = {"The specified service has been already marked for deletion."}},
          closed}},
        {"foreign service goes, too", "watched, foreign service", {Gone()}},
        {"backup stays", "watched, old backup", {Gone()}},
        {"locked backup stays", "watched, locked backup", {Gone()}},
        {"twice", "watched", {Gone(), Gone()}},
        {"again and again",
         "watched",
         {Gone(),
          {.act = Act::kInstall, .package = "first", .status = 1, .after = After::kLaidDown},
          {.act = Act::kPostInstall, .package = "first", .status = 0, .after = After::kInstalled},
          Only(Act::kWatchdog),
          Gone()}},
    };
}

}  // namespace deployment_test
