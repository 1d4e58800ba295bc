// The exported names, and each function called with nothing: zeroes and null pointers.

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "abi/SdkLibrary.h"
#include "support/RunProgram.h"
#include "support/ServiceHost.h"

namespace {

using test_support::ServiceHost;

// The names that the definition file of the library lists.
std::vector<std::string> DefinedNames() {
    std::ifstream file(test_support::ProgramFolder() / "data" / "WySdk.def");
    std::vector<std::string> names;
    bool listing = false;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string word;
        if (!(words >> word))
            continue;
        if (word == "EXPORTS") {
            listing = true;
        } else if (listing) {
            names.push_back(word);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(Exports, are_those_of_the_definition_file_undecorated) {
    const std::vector<std::string> defined = DefinedNames();
    EXPECT_EQ(85u, defined.size());
    EXPECT_EQ(defined, SdkLibrary::ExportedNames());
}

TEST(Exports, are_all_found_by_name) {
    for (const std::string& name : DefinedNames())
        EXPECT_NE(nullptr, GetProcAddress(SdkLibrary::Module(), name.c_str())) << name;
}

// What a function makes of zeroes and null pointers.
enum class Nothing {
    kTextMissing,    // refused before anything is sent
    kNumberMissing,  // refused when the service has acted
    kEnough,         // the answer of the service is the result
    kSubscription,   // success, whatever positive code the service answers
    kSizeMissing,    // refused on this machine, the service is not asked
    kNoLogFile,      // no product is installed here
};

template <class... Arguments>
std::uint32_t CallWithNothing(std::uint32_t(WYAPI* function)(Arguments...)) {
    return function(Arguments{}...);
}

struct Row {
    const char* name;
    std::uint32_t (*call)();
    Nothing nothing;
};

#define ROW(function, nothing)                                                     \
    {                                                                              \
#function, [] { return CallWithNothing(SDK(function)); }, Nothing::nothing \
    }

// All functions but those of the session, those that must not get null pointers, and those that
// control the service or the deployment and take no argument.
const Row kRows[] = {
    ROW(WyAuDeploy, kTextMissing),
    ROW(WyCancelBigFileScan, kEnough),
    ROW(WyCancelDiskUsageScan, kEnough),
    ROW(WyCancelDupFileScan, kEnough),
    ROW(WyCancelFixV2, kTextMissing),
    ROW(WyCancelScan, kTextMissing),
    ROW(WyCancelWyFix, kEnough),
    ROW(WyCustomizeFix, kTextMissing),
    ROW(WyCustomizeFixV2, kTextMissing),
    ROW(WyFixPrivacy, kEnough),
    ROW(WyFixVulnerability, kEnough),
    ROW(WyForceKillApp, kTextMissing),
    ROW(WyGetAddon, kEnough),
    ROW(WyGetAppStatus, kTextMissing),
    ROW(WyGetBatteryUsage, kEnough),
    ROW(WyGetBigFileProgress, kNumberMissing),
    ROW(WyGetBigFileResult, kEnough),
    ROW(WyGetCacheFolder, kSizeMissing),
    ROW(WyGetCloudDataBootupRanking, kNumberMissing),
    ROW(WyGetCloudDataStartupApp, kTextMissing),
    ROW(WyGetCloudDataStartupSvc, kTextMissing),
    ROW(WyGetDebugLogFolder, kSizeMissing),
    ROW(WyGetDiskGarbage, kEnough),
    ROW(WyGetDiskUsageProgress, kNumberMissing),
    ROW(WyGetDiskUsageResult, kEnough),
    ROW(WyGetDupFileProgress, kNumberMissing),
    ROW(WyGetDupFileResult, kEnough),
    ROW(WyGetFixProgress, kTextMissing),
    ROW(WyGetFixProgressV2, kTextMissing),
    ROW(WyGetFixResult, kTextMissing),
    ROW(WyGetFixResultV2, kTextMissing),
    ROW(WyGetIdleStatus, kNumberMissing),
    ROW(WyGetIdleTimeframe, kNumberMissing),
    ROW(WyGetInstalledProgram, kEnough),
    ROW(WyGetLockStatus, kNumberMissing),
    ROW(WyGetPrivacy, kEnough),
    ROW(WyGetProcessInfo, kEnough),
    ROW(WyGetRegGarbage, kEnough),
    ROW(WyGetScanProgress, kTextMissing),
    ROW(WyGetScanResult, kTextMissing),
    ROW(WyGetStartupProgram, kEnough),
    ROW(WyGetStartupService, kEnough),
    ROW(WyGetSvchostPid, kNumberMissing),
    ROW(WyGetSysBootupTime, kNumberMissing),
    ROW(WyGetSysCpuUsage, kNumberMissing),
    ROW(WyGetSysDiskUsage, kNumberMissing),
    ROW(WyGetSysMemUsage, kNumberMissing),
    ROW(WyGetSysNetworkUsage, kNumberMissing),
    ROW(WyGetVulnerability, kEnough),
    ROW(WyInstall, kTextMissing),
    ROW(WyPauseScan, kTextMissing),
    ROW(WyPublishEvent, kEnough),
    ROW(WyPublishEventEx, kTextMissing),
    ROW(WyRemoveBigFile, kTextMissing),
    ROW(WyRemoveDiskGarbage, kEnough),
    ROW(WyRemoveDupFile, kTextMissing),
    ROW(WyRemoveRegGarbage, kEnough),
    ROW(WyResumeScan, kTextMissing),
    ROW(WyScan, kTextMissing),
    ROW(WyScanBigFile, kTextMissing),
    ROW(WyScanDiskUsage, kTextMissing),
    ROW(WyScanDupFile, kTextMissing),
    ROW(WySetAddonStatus, kEnough),
    ROW(WySetCacheValidityTimeout, kEnough),
    ROW(WySetCloudBrokerStatus, kEnough),
    ROW(WySetDebugLog, kNoLogFile),
    ROW(WySetInspectUrl, kTextMissing),
    ROW(WySetProductLcid, kEnough),
    ROW(WySetReamerStatus, kEnough),
    ROW(WySetScheduleScanTime, kEnough),
    ROW(WySetStartupProgramStatus, kTextMissing),
    ROW(WySetStartupServiceStatus, kTextMissing),
    ROW(WySubscribeEvent, kSubscription),
    ROW(WyUninstallProgram, kEnough),
    ROW(WyUnsubscribeEvent, kSubscription),
    ROW(WyUpdate, kEnough),
};

TEST(CallsWithNothing, cover_every_export) {
    std::set<std::string> covered = {"WyInitialize",  "WySetIdentifier", "WySetIdentifierEx",
                                     "WySetProxy",    "WyStartService",  "WyStopService",
                                     "WyPostInstall", "WyUninitialize",  "WyUninstall"};
    for (const Row& row : kRows)
        covered.insert(row.name);
    const std::vector<std::string> defined = DefinedNames();
    EXPECT_EQ(std::set<std::string>(defined.begin(), defined.end()), covered);
}

std::uint32_t WantedAlone(Nothing nothing) {
    switch (nothing) {
        case Nothing::kTextMissing:
        case Nothing::kSizeMissing:
            return WY_E_INVALID_ARGUMENT;
        case Nothing::kNoLogFile:
            return WY_E_LOG_SETTINGS_NOT_CHANGED;
        default:
            return SdkCode::kNobodyListens;
    }
}

TEST(CallsWithNothing, without_a_service_are_refused_or_find_nobody) {
    for (const Row& row : kRows) {
        EXPECT_EQ(WantedAlone(row.nothing), row.call()) << row.name;
    }
}

// Every answer of the service carries this code, so that it is seen to be the result.
constexpr std::uint32_t kAnswered = 0x20ff0777;

std::uint32_t Wanted(Nothing nothing) {
    switch (nothing) {
        case Nothing::kEnough:
            return kAnswered;
        case Nothing::kSubscription:
            return WY_S_OK;
        case Nothing::kNoLogFile:
            return WY_E_LOG_SETTINGS_NOT_CHANGED;
        default:
            return WY_E_INVALID_ARGUMENT;
    }
}

TEST(CallsWithNothing, with_a_service_give_its_answer_or_are_refused) {
    const ServiceHost host(L"any x* retcode 0x20ff0777");
    const SdkSession session;
    ASSERT_EQ(WY_S_OK, session.Code());
    for (const Row& row : kRows) {
        EXPECT_EQ(Wanted(row.nothing), row.call()) << row.name;
    }
}

}  // namespace
