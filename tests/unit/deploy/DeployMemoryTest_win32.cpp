// Every function of the deployment with memory running out at each allocation in turn: it comes
// back with a failure that its contract knows, or succeeds without what it lacked.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "deploy/DeployCommon_Events.h"
#include "deploy/DeployCommon_Folders.h"
#include "deploy/DeployCommon_Identity.h"
#include "deploy/DeployCommon_Processes.h"
#include "deploy/DeployCommon_Service.h"
#include "deploy/DeployCommon_Signer.h"
#include "deploy/DeployCommon_Startups.h"
#include "support/AllocationFaults.h"
#include "support/FakeClientHelper.h"
#include "unit/deploy/DeployFixture_win32.h"

namespace {

using namespace WyDeployHelper::DeployCommon;
using test_support::FailAllocations;

constexpr std::uint32_t kNoMemory = 0xe0fe0008;
constexpr std::uint32_t kNoAutoRun = 0xe00e0004;
constexpr std::uint32_t kAutoRunStays = 0xe00e0005;
// Bool results as codes.
constexpr std::uint32_t kTrue = 1;
constexpr std::uint32_t kFalse = 0;

struct Function {
    const char* name;
    std::function<std::uint32_t()> call;
    std::vector<std::uint32_t> results;  // the first is that of enough memory
};

std::uint32_t Text(bool result) {
    return result ? kTrue : kFalse;
}

std::vector<Function> Functions() {
    using deploy_test::kSuccess;
    // Made here: the calls' own arguments have their memory.
    static const std::wstring dir = L"C:\\A folder with a long name that no buffer holds";
    static const std::wstring none = dir + L"\\none";
    static const std::wstring empty;
    static const std::wstring action = L"-Create";
    static bool s_bReboot = false;
    return {
        {"InstallWyStartups",
         [] { return InstallWyStartups(dir, true); },
         {kSuccess, kNoMemory, kNoAutoRun, 0xe00e0002}},
        {"UninstallWyStartups",
         [] { return UninstallWyStartups(dir, true); },
         {kSuccess, kNoMemory, kAutoRunStays, 0xe00e0001}},
        {"InstallWySvc", [] { return InstallWySvc(dir); }, {kSuccess, kNoMemory}},
        {"UninstallWySvc", [] { return UninstallWySvc(); }, {kSuccess, kNoMemory}},
        {"ShortcutsConfig", [] { return Text(ShortcutsConfig(dir, action)); }, {kTrue, kFalse}},
        {"SetAutoRun", [] { return Text(SetAutoRun(dir)); }, {kTrue, kFalse}},
        {"RemoveAutoRun", [] { return Text(RemoveAutoRun()); }, {kTrue, kFalse}},
        {"StartWySessionAgent",
         [] { return StartWySessionAgent(none, 1, false); },
         {0xe00e0010, kNoMemory}},
        {"ExitAllExec", [] { return Text(ExitAllExec(empty)); }, {kTrue, kFalse}},
        {"IsMakerSignedFile", [] { return Text(IsMakerSignedFile(none)); }, {kFalse}},
        {"DeleteFolder", [] { return DeleteFolder(none, s_bReboot); }, {kSuccess, kNoMemory}},
        {"IsRebootPending", [] { return Text(IsRebootPending()); }, {kFalse}},
        {"SetId", [] { return Text(SetId(dir, dir)); }, {kTrue, kFalse}},
        {"SetWinGuid", [] { return Text(SetWinGuid(dir)); }, {kTrue, kFalse}},
        {"UpdateWyVersionInfo",
         [] { return Text(UpdateWyVersionInfo(dir, false)); },
         {kTrue, kFalse}},
        {"UpdateAu7eVersion", [] { return Text(UpdateAu7eVersion(dir)); }, {kTrue, kFalse}},
        // What cannot be read counts as there.
        {"IsRegKeyExist", [] { return Text(IsRegKeyExist(none, 0)); }, {kFalse, kTrue}},
        {"PublishEvent", [] { return PublishEvent(6); }, {kSuccess, kNoMemory}},
        {"PublishUsageEvent",
         [] { return Text(PublishUsageEvent(dir, dir, dir, 1)); },
         {kTrue, kFalse}},
        {"SetWorkingId",
         [] {
             SetWorkingId(dir);
             return kTrue;
         },
         {kTrue}},
        {"SetRebootFlag",
         [] {
             SetRebootFlag();
             return kTrue;
         },
         {kTrue}},
    };
}

class DeployMemory : public ::testing::Test {
protected:
    void SetUp() override { Frwk::Mode::SetWyvarionId(deploy_test::kId); }
    void TearDown() override {
        UninstallWySvc();
        RemoveAutoRun();
        deploy_test::DeleteTree(deploy_test::kProductKey);
        deploy_test::DeleteTree(L"SOFTWARE\\KorvexData\\Reamer");
        DeleteFileW(L"C:\\windows\\temp\\DeployTestTemp.dat");
        Frwk::Mode::SetWyvarionId(L"Wyvarion");
    }
};

TEST_F(DeployMemory, lack_of_memory_is_a_failure_of_the_contract_everywhere) {
    for (const Function& function : Functions()) {
        SCOPED_TRACE(function.name);
        std::size_t passed = 0;
        for (bool happened = true; happened; ++passed) {
            ASSERT_LT(passed, 2000U);
            test_support::FakeClientHelper helper;
            UninstallWySvc();
            std::uint32_t result = 0;
            {
                const FailAllocations fault(passed);
                result = function.call();
                happened = fault.Happened();
            }
            const auto& results = function.results;
            const bool known = std::find(results.begin(), results.end(), result) != results.end();
            EXPECT_TRUE(happened ? known : result == results.front())
                << std::hex << result << " behind " << std::dec << passed << " allocations";
        }
    }
}

}  // namespace
