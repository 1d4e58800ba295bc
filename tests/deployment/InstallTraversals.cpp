// First installs, and those that fail.

#include <gtest/gtest.h>

#include "deployment/Traversals.h"

namespace deployment_test {

namespace {

constexpr std::uint32_t kNotListening = 0xe0fe06ba;
constexpr std::uint32_t kServiceExists = 0xe0fe0431;
constexpr std::uint32_t kServiceMarked = 0xe0fe0430;
constexpr std::uint32_t kPackageNotRead = 0xe00e0013;
constexpr std::uint32_t kNotCarriedOut = 0xe00e0014;
constexpr std::uint32_t kSystemRefused = 0xe00e0012;
constexpr std::uint32_t kRestartPending = 0xe00e000a;
constexpr std::uint32_t kEmptyFolder = 0xe0ff0008;

// A first install of a package, and its second phase.
Step LaidDown(const char* package) {
    return {.act = Act::kInstall, .package = package, .status = 1, .after = After::kLaidDown};
}
Step Installed(const char* package) {
    return {.act = Act::kPostInstall, .package = package, .status = 0, .after = After::kInstalled};
}
Step Gone() {
    return {.act = Act::kUninstall, .after = After::kGone};
}
Step Only(Act act) {
    return {.act = act};
}

// An install that does not come to its end, and what it says.
Step Fails(const char* package, std::uint32_t code, std::vector<std::string> log,
           After after = After::kAnything) {
    return {.act = Act::kInstall,
            .package = package,
            .code = code,
            .status = 1,
            .after = after,
            .log = std::move(log)};
}

void ExpectAgent(SetupMachine& machine, const char* words) {
    const std::vector<std::string> asked = machine.Asked(L"WySessionAgent_P.exe");
    ASSERT_FALSE(asked.empty());
    EXPECT_TRUE(asked.back().ends_with(words)) << asked.back();
    EXPECT_EQ(1U, machine.RunningAgents());
}

Step Over(const char* package, Step step) {
    step.over = package;
    return step;
}

// What a package that fails in the midst of its manifest has done stays.
Traversal FailsAt(const char* name, const char* package, std::string line, Step next, Step last) {
    return {name,
            "new",
            {Fails(package, kNotCarriedOut,
                   {std::move(line), "Deploy registry or file failed...",
                    "Install error, now rollback. retCode = 0xe00e0014"}),
             std::move(next), std::move(last)}};
}

}  // namespace

std::vector<Traversal> FirstInstalls() {
    Step shown = Installed("first");
    shown.also = [](SetupMachine& machine) {
        ExpectAgent(machine, "\"@\\Programs\\Wy\\WySessionAgent_P.exe\" 3");
        EXPECT_EQ(
            "\"@\\Programs\\Wy\\Shortcut_P.exe\" -Create \"@\\Programs\\Wy\" "
            "\"@\\Programs\\Wy\\Configuration\\Shortcut\\EN-US\\Shortcut.xml\"",
            machine.Asked(L"Shortcut_P.exe").back());
    };
    shown.log = {
        "Use KrCommon::Process::InvokeProcess to start WySessionAgent. Commandline: "
        "\"@\\Programs\\Wy\\WySessionAgent_P.exe\" 3"};
    Step silent = LaidDown("first");
    silent.log = {"PackageDir: @\\Packages\\first1, InstallDir: @\\Programs\\Wy"};
    silent.notInLog = {"[ERROR]"};
    Step older = LaidDown("first");
    // What is not registered is nobody's: readme.txt is kept, the rest replaced.
    older.after = After::kAnything;
    older.also = [](SetupMachine& machine) {
        EXPECT_NE(machine.Package("first").FileHashes().at(L"readme.txt"),
                  test_support::HashOfFile(machine.InstallDir() + L"\\readme.txt"));
        EXPECT_EQ(machine.Package("first").FileHashes().at(L"release.txt"),
                  test_support::HashOfFile(machine.InstallDir() + L"\\release.txt"));
        EXPECT_FALSE(std::filesystem::exists(machine.InstallDir() + L"\\Retired"));
    };
    Step registryWritten = LaidDown("registry-off");
    return {
        {"fresh", "new", {silent, shown, Only(Act::kWatchdog), Gone()}},
        {"fresh of Wyvarion",
         "new, Wyvarion",
         {LaidDown("first"), Installed("first"), Only(Act::kWatchdog), Gone()}},
        {"fresh of Mirdoshale lays down", "new, Mirdoshale", {LaidDown("first")}},
        {"fresh of an unsigned service",
         "new",
         {LaidDown("unsigned"), Installed("unsigned"), Only(Act::kWatchdog), Gone()}},
        {"fresh without external tools",
         "new",
         {LaidDown("no-tools"), Installed("no-tools"), Only(Act::kWatchdog), Gone()}},
        {"fresh without a log", "new", {LaidDown("no-log"), Installed("no-log")}},
        {"fresh writes the registry where a re-install would not",
         "new",
         {registryWritten, Installed("registry-off")}},
        {"fresh beside another product",
         "new, another product",
         {LaidDown("first"), Installed("first")}},
        {"fresh over older files", "older files, Wyvarion", {older}},
        {"fresh of Wyvarion does not mind a pending restart",
         "restart pending, Wyvarion",
         {LaidDown("first"), Installed("first")}},
        {"fresh of Wyvarion does not check the system",
         "new, Wyvarion",
         {LaidDown("refuses-system"), Installed("refuses-system")}},
        {"foreign service is replaced by a signed one",
         "foreign service",
         {LaidDown("first"), Installed("first")}},
        {"first phase twice",
         "laid down",
         {Over("first", LaidDown("second")), Over("first", Installed("second"))}},
        {"first phase twice, listed",
         "laid down, listed",
         {{.act = Act::kInstall,
           .package = "second",
           .status = 1,
           .after = After::kLaidDown,
           .toolsWait = true}}},
        {"listed but not known is fresh", "new, listed", {LaidDown("first"), Installed("first")}},
        // The rollback of a set-up that was interrupted begins with the next install.
        {"second phase after the service is gone",
         "deleted service",
         {LaidDown("first"),
          {.act = Act::kPostInstall,
           .code = kServiceMarked,
           .status = 1,
           .log = {"CreateService failed, w/err=0x430", "Install service failed...",
                   "WyDeployHelper::DeployCommon::InstallWyStartups failed... RetCode = 0xe0fe0430",
                   "Post install error, now rollback. retCode = 0xe0fe0430"}},
          Only(Act::kUnlock),
          Installed("first")}},
    };
}

std::vector<Traversal> FailedInstalls() {
    return {
        {"no install folder",
         "new",
         {{.act = Act::kInstall,
           .package = "first",
           .code = kEmptyFolder,
           .status = 1,
           .after = After::kAsBefore,
           .log = {"The path is invalid..."},
           .target = L""}}},
        {"no package folder",
         "new",
         {{.act = Act::kInstall, .code = kEmptyFolder, .status = 1, .after = After::kAsBefore}}},
        {"no manifest",
         "new",
         {Fails("no-manifest", kPackageNotRead,
                {"Config file does not exist. Path: @\\Packages\\no-manifest1\\InstCfg.xml",
                 "Parse InstCfg.xml file failed...",
                 "Install error, now rollback. retCode = 0xe00e0013"})}},
        {"no set-up file",
         "new",
         {Fails("no-setup-file", kPackageNotRead,
                {"Config file does not exist. Path: @\\Packages\\no-setup-file1\\Setup.ini",
                 "Parse setup config file error..."},
                After::kAsBefore)}},
        FailsAt("key that cannot be made", "bad-key",
                "KrCommon::Storage::Reg::CreateKeyWithAllAccess() failed!0xa0", LaidDown("first"),
                Installed("first")),
        FailsAt("value that cannot be written", "bad-value", "Store registry value failed: 0xa0",
                LaidDown("first"), Installed("first")),
        FailsAt("folder that cannot be copied", "bad-folder", "Copy folder failed...",
                {.act = Act::kInstall, .package = "first", .status = 1},
                {.act = Act::kPostInstall, .status = 0}),
        FailsAt("file that cannot be copied", "bad-file",
                "KrCommon::Storage::File::CopyFile failed...", Over("bad-file", LaidDown("first")),
                Over("bad-file", Installed("first"))),
        {"system that is refused",
         "new",
         {Fails("refuses-system", kSystemRefused,
                {"Windows build number not meet minimum requirement.",
                 "Check system items failed...retCode=0xe00e0012",
                 "Check all system items failed... RetCode = 0xe00e0012"},
                After::kAsBefore)}},
        {"pending restart refuses until the restart",
         "restart pending",
         {Fails("first", kRestartPending, {"Need to reboot computer before install..."},
                After::kAsBefore)}},
        {"nobody listens to the second phase",
         "new, nobody listens",
         {LaidDown("first"),
          {.act = Act::kPostInstall,
           .code = kNotListening,
           .status = 1,
           .log = {"WyPublishEvent failed... RetCode = 0xe0fe06ba",
                   "Post install error, now rollback. retCode = 0xe0fe06ba"}}}},
        {"nobody listens, and then somebody",
         "new, Wyvarion, nobody listens",
         {LaidDown("first"),
          {.act = Act::kPostInstall, .code = kNotListening, .status = 1},
          Only(Act::kListen),
          {.act = Act::kPostInstall, .package = "first", .status = 0, .after = After::kInstalled}}},
        {"service that does not start",
         "new",
         {LaidDown("dead-service"),
          {.act = Act::kPostInstall,
           .code = 0xe0fe00c1,
           .status = 1,
           .log = {"Start service failed, error = 0xe0fe00c1"}}}},
        {"foreign service is not replaced by an unsigned one",
         "foreign service",
         {LaidDown("unsigned"),
          {.act = Act::kPostInstall,
           .code = kServiceExists,
           .status = 1,
           .log = {"CreateService failed, w/err=0x431", "Install service failed...",
                   "Post install error, now rollback. retCode = 0xe0fe0431"}}}},
        {"foreign service is not replaced by one of somebody else",
         "foreign service",
         {LaidDown("other-signer"),
          {.act = Act::kPostInstall, .code = kServiceExists, .status = 1}}},
        {"second phase without the first",
         "new",
         {{.act = Act::kPostInstall, .code = 0xe0fe0002, .status = 1}}},
    };
}

}  // namespace deployment_test
