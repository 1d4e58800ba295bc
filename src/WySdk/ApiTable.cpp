#include "WySdk/ApiTable.h"

#include <cstddef>

namespace {

constexpr std::uint32_t kIn = ApiDirection::kIn;
constexpr std::uint32_t kOut = ApiDirection::kOut;

}  // namespace

// WyPublishEvent and WyPublishEventEx share one identifier: the service sees one API with an
// optional member. No functions named WyFix and WyCancelFix are exported; their rows stay.
// clang-format off
constinit const std::array<ApiDefinition, kApiRowCount + 1> g_ApiDefinitions{{
    {L"WyScan", 400000000, kIn, ParamUInt32, L"activeSessionId"},
    {L"WyScan", 400000000, kIn, ParamWStringList, L"items"},
    {L"WyScan", 400000000, kOut, ParamWStringOut, L"sessionId"},
    {L"WyPauseScan", 400000020, kIn, ParamWString, L"sessionId"},
    {L"WyResumeScan", 400000021, kIn, ParamWString, L"sessionId"},
    {L"WyCancelScan", 400000001, kIn, ParamWString, L"sessionId"},
    {L"WyGetScanProgress", 400000002, kIn, ParamWString, L"sessionId"},
    {L"WyGetScanProgress", 400000002, kOut, ParamUInt32Ptr, L"progress"},
    {L"WyGetScanProgress", 400000002, kOut, ParamWStringOut, L"feature"},
    {L"WyGetScanProgress", 400000002, kOut, ParamWStringOut, L"object"},
    {L"WyGetScanResult", 400000007, kIn, ParamWString, L"sessionId"},
    {L"WyGetScanResult", 400000007, kIn, ParamWStringList, L"items"},
    {L"WyGetScanResult", 400000007, kOut, ParamWStringOut, L""},
    {L"WyFix", 400000003, kIn, ParamWString, L"sessionId"},
    {L"WyFix", 400000003, kIn, ParamWStringList, L"items"},
    {L"WyCustomizeFix", 400000009, kIn, ParamWString, L"sessionId"},
    {L"WyCustomizeFix", 400000009, kIn, ParamJsonText, L"data"},
    {L"WyCancelFix", 400000004, kIn, ParamWString, L"sessionId"},
    {L"WyGetFixProgress", 400000005, kIn, ParamWString, L"sessionId"},
    {L"WyGetFixProgress", 400000005, kOut, ParamUInt32Ptr, L"progress"},
    {L"WyGetFixProgress", 400000005, kOut, ParamWStringOut, L"feature"},
    {L"WyGetFixProgress", 400000005, kOut, ParamWStringOut, L"object"},
    {L"WyGetFixResult", 400000008, kIn, ParamWString, L"sessionId"},
    {L"WyGetFixResult", 400000008, kIn, ParamWStringList, L"items"},
    {L"WyGetFixResult", 400000008, kOut, ParamWStringOut, L""},
    {L"WyCustomizeFixV2", 400000030, kIn, ParamWString, L"sessionId"},
    {L"WyCustomizeFixV2", 400000030, kIn, ParamJsonText, L"data"},
    {L"WyCustomizeFixV2", 400000030, kOut, ParamWStringOut, L"fixSessionId"},
    {L"WyGetFixProgressV2", 400000032, kIn, ParamWString, L"sessionId"},
    {L"WyGetFixProgressV2", 400000032, kIn, ParamWString, L"fixSessionId"},
    {L"WyGetFixProgressV2", 400000032, kOut, ParamUInt32Ptr, L"progress"},
    {L"WyGetFixProgressV2", 400000032, kOut, ParamWStringOut, L"feature"},
    {L"WyGetFixProgressV2", 400000032, kOut, ParamWStringOut, L"object"},
    {L"WyGetFixResultV2", 400000033, kIn, ParamWString, L"sessionId"},
    {L"WyGetFixResultV2", 400000033, kIn, ParamWString, L"fixSessionId"},
    {L"WyGetFixResultV2", 400000033, kOut, ParamWStringOut, L""},
    {L"WyCancelFixV2", 400000031, kIn, ParamWString, L"sessionId"},
    {L"WyCancelFixV2", 400000031, kIn, ParamWString, L"fixSessionId"},
    {L"WySetStartupServiceStatus", 400003002, kIn, ParamWString, L"sessionId"},
    {L"WySetStartupServiceStatus", 400003002, kIn, ParamJsonText, L"data"},
    {L"WySetStartupServiceStatus", 400003002, kIn, ParamUInt32, L"status"},
    {L"WySetStartupServiceStatus", 400003002, kOut, ParamWStringOut, L""},
    {L"WySetStartupProgramStatus", 400003003, kIn, ParamWString, L"sessionId"},
    {L"WySetStartupProgramStatus", 400003003, kIn, ParamJsonText, L"data"},
    {L"WySetStartupProgramStatus", 400003003, kIn, ParamUInt32, L"status"},
    {L"WySetStartupProgramStatus", 400003003, kOut, ParamWStringOut, L""},
    {L"WyScanBigFile", 400010000, kIn, ParamWString, L"filterParamDiskDrive"},
    {L"WyScanBigFile", 400010000, kIn, ParamWString, L"category"},
    {L"WyScanBigFile", 400010000, kIn, ParamUInt64, L"filterParamFileSize"},
    {L"WyGetBigFileProgress", 400010001, kOut, ParamUInt32Ptr, L"progress"},
    {L"WyGetBigFileResult", 400010002, kIn, ParamUInt32, L"filterParamHighBound"},
    {L"WyGetBigFileResult", 400010002, kOut, ParamWStringOut, L""},
    {L"WyRemoveBigFile", 400010003, kIn, ParamJsonText, L"data"},
    {L"WyRemoveBigFile", 400010003, kOut, ParamWStringOut, L""},
    {L"WyCancelBigFileScan", 400010004, kIn, ParamNone, L""},
    {L"WyScanDupFile", 400010010, kIn, ParamWString, L"filterParamDiskDrive"},
    {L"WyScanDupFile", 400010010, kIn, ParamWString, L"category"},
    {L"WyScanDupFile", 400010010, kIn, ParamUInt64, L"filterParamFileSize"},
    {L"WyGetDupFileProgress", 400010011, kOut, ParamUInt32Ptr, L"progress"},
    {L"WyGetDupFileResult", 400010012, kOut, ParamWStringOut, L""},
    {L"WyRemoveDupFile", 400010013, kIn, ParamJsonText, L"data"},
    {L"WyRemoveDupFile", 400010013, kOut, ParamWStringOut, L""},
    {L"WyCancelDupFileScan", 400010014, kIn, ParamNone, L""},
    {L"WyScanDiskUsage", 400010020, kIn, ParamWString, L"filterParamDiskDrive"},
    {L"WyGetDiskUsageProgress", 400010021, kOut, ParamUInt32Ptr, L"progress"},
    {L"WyGetDiskUsageResult", 400010022, kOut, ParamWStringOut, L""},
    {L"WyCancelDiskUsageScan", 400010023, kIn, ParamNone, L""},
    {L"WyGetSysBootupTime", 400008000, kOut, ParamUInt32Ptr, L"bootupTime"},
    {L"WySetCacheValidityTimeout", 400011000, kIn, ParamUInt32, L"validityPeriod"},
    {L"WySetScheduleScanTime", 400011001, kIn, ParamUInt32, L"dayOfWeek"},
    {L"WySetScheduleScanTime", 400011001, kIn, ParamUInt32, L"hour"},
    {L"WySetScheduleScanTime", 400011001, kIn, ParamUInt32, L"minute"},
    {L"WySetScheduleScanTime", 400011001, kIn, ParamWString, L"scheduleId"},
    {L"WySubscribeEvent", 400012006, kIn, ParamUInt32, L"eventId"},
    {L"WySubscribeEvent", 400012006, kIn, ParamWString, L"productProcessName"},
    {L"WyUnsubscribeEvent", 400012007, kIn, ParamUInt32, L"eventId"},
    {L"WyUnsubscribeEvent", 400012007, kIn, ParamWString, L"productProcessName"},
    {L"WyPublishEvent", 400012008, kIn, ParamUInt32, L"eventId"},
    {L"WyPublishEventEx", 400012008, kIn, ParamUInt32, L"eventId"},
    {L"WyPublishEventEx", 400012008, kIn, ParamJsonText, L"param"},
    {L"WyUpdate", 400012003, kIn, ParamNone, L""},
    {L"WyGetAppStatus", 400012009, kIn, ParamWString, L"moduleName"},
    {L"WyGetAppStatus", 400012009, kOut, ParamUInt32Ptr, L"isProcessRunning"},
    {L"WyForceKillApp", 400012010, kIn, ParamWString, L"moduleName"},
    {L"WyGetLockStatus", 400012011, kOut, ParamUInt32Ptr, L"lockStatus"},
    {L"WyGetSvchostPid", 400012012, kOut, ParamUInt32Ptr, L"currentPid"},
    {L"WyGetBatteryUsage", 400013000, kOut, ParamWStringOut, L""},
    {L"WyGetSysCpuUsage", 400013001, kOut, ParamUInt32Ptr, L"cpuUsage"},
    {L"WyGetSysMemUsage", 400013002, kOut, ParamUInt64Ptr, L"memUsage"},
    {L"WyGetSysMemUsage", 400013002, kOut, ParamUInt64Ptr, L"memAvail"},
    {L"WyGetSysMemUsage", 400013002, kOut, ParamUInt64Ptr, L"memTotal"},
    {L"WyGetSysDiskUsage", 400013003, kOut, ParamUInt64Ptr, L"diskReadUsage"},
    {L"WyGetSysDiskUsage", 400013003, kOut, ParamUInt64Ptr, L"diskWriteUsage"},
    {L"WyGetSysNetworkUsage", 400013004, kOut, ParamUInt64Ptr, L"pcRecvFlowUsed"},
    {L"WyGetSysNetworkUsage", 400013004, kOut, ParamUInt64Ptr, L"pcRecvSpeed"},
    {L"WyGetSysNetworkUsage", 400013004, kOut, ParamUInt64Ptr, L"pcSendFlowUsed"},
    {L"WyGetSysNetworkUsage", 400013004, kOut, ParamUInt64Ptr, L"pcSendSpeed"},
    {L"WyGetProcessInfo", 400013005, kOut, ParamWStringOut, L""},
    {L"WyGetIdleStatus", 400013006, kOut, ParamUInt32Ptr, L"idleStatus"},
    {L"WyGetIdleTimeframe", 400013007, kIn, ParamUInt32, L"duration"},
    {L"WyGetIdleTimeframe", 400013007, kIn, ParamUInt32, L"period"},
    {L"WyGetIdleTimeframe", 400013007, kOut, ParamUInt64Ptr, L"timestamp"},
    {L"WyGetCloudDataStartupApp", 400014001, kIn, ParamWString, L"sessionId"},
    {L"WyGetCloudDataStartupApp", 400014001, kOut, ParamWStringOut, L""},
    {L"WyGetCloudDataStartupSvc", 400014002, kIn, ParamWString, L"sessionId"},
    {L"WyGetCloudDataStartupSvc", 400014002, kOut, ParamWStringOut, L""},
    {L"WyGetCloudDataBootupRanking", 400014003, kIn, ParamUInt32, L"bootupTime"},
    {L"WyGetCloudDataBootupRanking", 400014003, kOut, ParamUInt32Ptr, L"percentage"},
    {L"WyGetCloudDataBootupRanking", 400014003, kOut, ParamUInt32Ptr, L"threshold"},
    {L"WySetCloudBrokerStatus", 400014004, kIn, ParamUInt32, L"status"},
    {L"WySetProductLcid", 400014005, kIn, ParamUInt32, L"productLcid"},
    {L"WySetInspectUrl", 400011002, kIn, ParamWString, L"feedbackServerUrl"},
    {L"WySetInspectUrl", 400011002, kIn, ParamWString, L"reamerServerUrl"},
    {L"", kSentinelApiId, kIn, ParamUInt32, L""},
}};
// clang-format on

const ApiDefinition* FindApiDefinition(const ApiDefinition* table, std::wstring_view apiName) {
    const ApiDefinition* row = table;
    while (row->apiId != kSentinelApiId && row->apiName != apiName)
        ++row;
    return row;
}

std::int32_t GetApiArgumentCount(std::wstring_view apiName) {
    const ApiDefinition* row = FindApiDefinition(apiName);
    std::int32_t count = 0;
    for (; row->apiId != kSentinelApiId && row->apiName == apiName; ++row) {
        if (row->paramType == ParamNone)
            break;
        ++count;
    }
    return count;
}
