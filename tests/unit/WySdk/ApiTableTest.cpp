#include "WySdk/ApiTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

struct Function {
    const wchar_t* name;
    std::uint32_t id;
    // Arguments in order: "<" to the service, ">" back; the type; the key.
    const wchar_t* arguments;
};

// The whole table, function by function, as it must stand.
const Function kFunctions[] = {
    {L"WyScan", 400000000, L"<u32 activeSessionId, <list items, >text sessionId"},
    {L"WyPauseScan", 400000020, L"<text sessionId"},
    {L"WyResumeScan", 400000021, L"<text sessionId"},
    {L"WyCancelScan", 400000001, L"<text sessionId"},
    {L"WyGetScanProgress", 400000002,
     L"<text sessionId, >u32* progress, >text feature, >text object"},
    {L"WyGetScanResult", 400000007, L"<text sessionId, <list items, >text "},
    {L"WyFix", 400000003, L"<text sessionId, <list items"},
    {L"WyCustomizeFix", 400000009, L"<text sessionId, <json data"},
    {L"WyCancelFix", 400000004, L"<text sessionId"},
    {L"WyGetFixProgress", 400000005,
     L"<text sessionId, >u32* progress, >text feature, >text object"},
    {L"WyGetFixResult", 400000008, L"<text sessionId, <list items, >text "},
    {L"WyCustomizeFixV2", 400000030, L"<text sessionId, <json data, >text fixSessionId"},
    {L"WyGetFixProgressV2", 400000032,
     L"<text sessionId, <text fixSessionId, >u32* progress, >text feature, >text object"},
    {L"WyGetFixResultV2", 400000033, L"<text sessionId, <text fixSessionId, >text "},
    {L"WyCancelFixV2", 400000031, L"<text sessionId, <text fixSessionId"},
    {L"WySetStartupServiceStatus", 400003002, L"<text sessionId, <json data, <u32 status, >text "},
    {L"WySetStartupProgramStatus", 400003003, L"<text sessionId, <json data, <u32 status, >text "},
    {L"WyScanBigFile", 400010000,
     L"<text filterParamDiskDrive, <text category, <u64 filterParamFileSize"},
    {L"WyGetBigFileProgress", 400010001, L">u32* progress"},
    {L"WyGetBigFileResult", 400010002, L"<u32 filterParamHighBound, >text "},
    {L"WyRemoveBigFile", 400010003, L"<json data, >text "},
    {L"WyCancelBigFileScan", 400010004, L"<none "},
    {L"WyScanDupFile", 400010010,
     L"<text filterParamDiskDrive, <text category, <u64 filterParamFileSize"},
    {L"WyGetDupFileProgress", 400010011, L">u32* progress"},
    {L"WyGetDupFileResult", 400010012, L">text "},
    {L"WyRemoveDupFile", 400010013, L"<json data, >text "},
    {L"WyCancelDupFileScan", 400010014, L"<none "},
    {L"WyScanDiskUsage", 400010020, L"<text filterParamDiskDrive"},
    {L"WyGetDiskUsageProgress", 400010021, L">u32* progress"},
    {L"WyGetDiskUsageResult", 400010022, L">text "},
    {L"WyCancelDiskUsageScan", 400010023, L"<none "},
    {L"WyGetSysBootupTime", 400008000, L">u32* bootupTime"},
    {L"WySetCacheValidityTimeout", 400011000, L"<u32 validityPeriod"},
    {L"WySetScheduleScanTime", 400011001,
     L"<u32 dayOfWeek, <u32 hour, <u32 minute, <text scheduleId"},
    {L"WySubscribeEvent", 400012006, L"<u32 eventId, <text productProcessName"},
    {L"WyUnsubscribeEvent", 400012007, L"<u32 eventId, <text productProcessName"},
    {L"WyPublishEvent", 400012008, L"<u32 eventId"},
    {L"WyPublishEventEx", 400012008, L"<u32 eventId, <json param"},
    {L"WyUpdate", 400012003, L"<none "},
    {L"WyGetAppStatus", 400012009, L"<text moduleName, >u32* isProcessRunning"},
    {L"WyForceKillApp", 400012010, L"<text moduleName"},
    {L"WyGetLockStatus", 400012011, L">u32* lockStatus"},
    {L"WyGetSvchostPid", 400012012, L">u32* currentPid"},
    {L"WyGetBatteryUsage", 400013000, L">text "},
    {L"WyGetSysCpuUsage", 400013001, L">u32* cpuUsage"},
    {L"WyGetSysMemUsage", 400013002, L">u64* memUsage, >u64* memAvail, >u64* memTotal"},
    {L"WyGetSysDiskUsage", 400013003, L">u64* diskReadUsage, >u64* diskWriteUsage"},
    {L"WyGetSysNetworkUsage", 400013004,
     L">u64* pcRecvFlowUsed, >u64* pcRecvSpeed, >u64* pcSendFlowUsed, >u64* pcSendSpeed"},
    {L"WyGetProcessInfo", 400013005, L">text "},
    {L"WyGetIdleStatus", 400013006, L">u32* idleStatus"},
    {L"WyGetIdleTimeframe", 400013007, L"<u32 duration, <u32 period, >u64* timestamp"},
    {L"WyGetCloudDataStartupApp", 400014001, L"<text sessionId, >text "},
    {L"WyGetCloudDataStartupSvc", 400014002, L"<text sessionId, >text "},
    {L"WyGetCloudDataBootupRanking", 400014003,
     L"<u32 bootupTime, >u32* percentage, >u32* threshold"},
    {L"WySetCloudBrokerStatus", 400014004, L"<u32 status"},
    {L"WySetProductLcid", 400014005, L"<u32 productLcid"},
    {L"WySetInspectUrl", 400011002, L"<text feedbackServerUrl, <text reamerServerUrl"},
};

const wchar_t* TypeName(std::uint32_t type) {
    switch (type) {
        case 0:
            return L"u32";
        case 1:
            return L"u64";
        case 2:
            return L"u32*";
        case 3:
            return L"u64*";
        case 4:
        case 5:
            return L"text";
        case 6:
            return L"json";
        case 7:
            return L"list";
        case 8:
            return L"none";
        default:
            return L"?";
    }
}

std::wstring Describe(const ApiDefinition& row) {
    std::wstring text = row.direction == 1 ? L"<" : row.direction == 2 ? L">" : L"?";
    // A text that comes back is of another type than one that goes.
    if (row.paramType == 4 && row.direction != 1)
        text += L"?";
    if (row.paramType == 5 && row.direction != 2)
        text += L"?";
    return text + TypeName(row.paramType) + L" " + std::wstring(row.jsonKey);
}

TEST(ApiTable, has_57_functions_of_113_rows_in_order) {
    std::size_t index = 0;
    for (const Function& function : kFunctions) {
        std::wstring arguments;
        while (index < kApiRowCount && g_ApiDefinitions[index].apiName == function.name) {
            EXPECT_EQ(g_ApiDefinitions[index].apiId, function.id) << "row " << index;
            if (!arguments.empty())
                arguments += L", ";
            arguments += Describe(g_ApiDefinitions[index]);
            ++index;
        }
        EXPECT_EQ(arguments, function.arguments) << "row " << index;
    }
    EXPECT_EQ(std::size(kFunctions), 57U);
    EXPECT_EQ(index, 113U);
    EXPECT_EQ(g_ApiDefinitions.size(), 114U);
}

TEST(ApiTable, ends_with_the_sentinel) {
    const ApiDefinition& sentinel = g_ApiDefinitions.back();
    EXPECT_EQ(sentinel.apiName, L"");
    EXPECT_EQ(sentinel.apiId, 420000000U);
    EXPECT_EQ(sentinel.direction, 1U);
    EXPECT_EQ(sentinel.paramType, 0U);
    EXPECT_EQ(sentinel.jsonKey, L"");
    EXPECT_EQ(std::count_if(g_ApiDefinitions.begin(), g_ApiDefinitions.end(),
                            [](const ApiDefinition& row) { return row.apiId == 420000000U; }),
              1);
}

TEST(ApiTable, holds_only_directions_1_and_2) {
    for (const ApiDefinition& row : g_ApiDefinitions) {
        EXPECT_TRUE(row.direction == 1 || row.direction == 2);
    }
}

TEST(ApiTable, gives_each_identifier_to_one_function_but_the_publications) {
    std::set<std::uint32_t> ids;
    for (const Function& function : kFunctions) {
        const bool first = ids.insert(function.id).second;
        EXPECT_EQ(first, std::wstring_view(function.name) != L"WyPublishEventEx");
    }
}

TEST(FindApiDefinition, gives_the_first_row_of_a_function) {
    EXPECT_EQ(FindApiDefinition(L"WyScan"), &g_ApiDefinitions[0]);
    EXPECT_EQ(FindApiDefinition(L"WyPauseScan"), &g_ApiDefinitions[3]);
    EXPECT_EQ(FindApiDefinition(L"WySetInspectUrl"), &g_ApiDefinitions[111]);
}

TEST(FindApiDefinition, gives_the_sentinel_for_a_name_that_is_missing) {
    const ApiDefinition* sentinel = &g_ApiDefinitions.back();
    EXPECT_EQ(FindApiDefinition(L"WyCancelWyFix"), sentinel);
    EXPECT_EQ(FindApiDefinition(L"wyscan"), sentinel);
    EXPECT_EQ(FindApiDefinition(L"WyScan "), sentinel);
    EXPECT_EQ(FindApiDefinition(L"WySca"), sentinel);
    EXPECT_EQ(FindApiDefinition(L""), sentinel);
}

TEST(FindApiDefinition, ends_at_the_identifier_of_the_sentinel_alone) {
    const ApiDefinition table[] = {{L"", 1, 1, 0, L""},
                                   {L"A", 2, 1, 0, L"a"},
                                   {L"B", 420000000, 1, 0, L"b"},
                                   {L"C", 3, 1, 0, L"c"}};
    EXPECT_EQ(FindApiDefinition(table, L"A"), &table[1]);
    EXPECT_EQ(FindApiDefinition(table, L""), &table[0]);
    EXPECT_EQ(FindApiDefinition(table, L"B"), &table[2]);
    EXPECT_EQ(FindApiDefinition(table, L"C"), &table[2]);
}

TEST(GetApiArgumentCount, counts_the_rows_of_a_function) {
    EXPECT_EQ(GetApiArgumentCount(L"WyScan"), 3);
    EXPECT_EQ(GetApiArgumentCount(L"WyGetFixProgressV2"), 5);
    EXPECT_EQ(GetApiArgumentCount(L"WySetInspectUrl"), 2);
    // Two neighbours with one identifier are two functions.
    EXPECT_EQ(GetApiArgumentCount(L"WyPublishEvent"), 1);
    EXPECT_EQ(GetApiArgumentCount(L"WyPublishEventEx"), 2);
}

TEST(GetApiArgumentCount, is_that_of_every_function_of_the_table) {
    for (const Function& function : kFunctions) {
        const std::wstring_view arguments = function.arguments;
        const auto count = arguments == L"<none " ? 0 : 1 + std::ranges::count(arguments, L',');
        EXPECT_EQ(GetApiArgumentCount(function.name), count) << function.name;
    }
}

TEST(GetApiArgumentCount, is_0_for_a_function_without_arguments) {
    EXPECT_EQ(GetApiArgumentCount(L"WyUpdate"), 0);
    EXPECT_EQ(GetApiArgumentCount(L"WyCancelBigFileScan"), 0);
    EXPECT_EQ(GetApiArgumentCount(L"WyCancelDupFileScan"), 0);
    EXPECT_EQ(GetApiArgumentCount(L"WyCancelDiskUsageScan"), 0);
}

TEST(GetApiArgumentCount, is_0_for_a_name_that_is_missing) {
    EXPECT_EQ(GetApiArgumentCount(L"WyCancelWyFix"), 0);
    EXPECT_EQ(GetApiArgumentCount(L""), 0);
}

}  // namespace
