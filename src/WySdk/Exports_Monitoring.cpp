// The exports that read measurements, comparison data and the state of applications.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"

uint32_t WYAPI WyGetSysBootupTime(uint32_t* bootupTime) {
    return CallApi(L"WyGetSysBootupTime", bootupTime);
}

uint32_t WYAPI WyGetBatteryUsage(wchar_t** result) {
    return CallApi(L"WyGetBatteryUsage", result);
}

uint32_t WYAPI WyGetSysCpuUsage(uint32_t* cpuUsage) {
    return CallApi(L"WyGetSysCpuUsage", cpuUsage);
}

uint32_t WYAPI WyGetSysMemUsage(uint64_t* memUsage, uint64_t* memAvail, uint64_t* memTotal) {
    return CallApi(L"WyGetSysMemUsage", memUsage, memAvail, memTotal);
}

uint32_t WYAPI WyGetSysDiskUsage(uint64_t* diskReadUsage, uint64_t* diskWriteUsage) {
    return CallApi(L"WyGetSysDiskUsage", diskReadUsage, diskWriteUsage);
}

uint32_t WYAPI WyGetSysNetworkUsage(uint64_t* pcRecvFlowUsed, uint64_t* pcRecvSpeed,
                                    uint64_t* pcSendFlowUsed, uint64_t* pcSendSpeed) {
    return CallApi(L"WyGetSysNetworkUsage", pcRecvFlowUsed, pcRecvSpeed, pcSendFlowUsed,
                   pcSendSpeed);
}

uint32_t WYAPI WyGetProcessInfo(wchar_t** result) {
    return CallApi(L"WyGetProcessInfo", result);
}

uint32_t WYAPI WyGetIdleStatus(uint32_t* idleStatus) {
    return CallApi(L"WyGetIdleStatus", idleStatus);
}

uint32_t WYAPI WyGetIdleTimeframe(uint32_t duration, uint32_t period, uint64_t* timestamp) {
    return CallApi(L"WyGetIdleTimeframe", duration, period, timestamp);
}

uint32_t WYAPI WyGetCloudDataStartupApp(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetCloudDataStartupApp", sessionId, result);
}

uint32_t WYAPI WyGetCloudDataStartupSvc(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetCloudDataStartupSvc", sessionId, result);
}

uint32_t WYAPI WyGetCloudDataBootupRanking(uint32_t bootupTime, uint32_t* percentage,
                                           uint32_t* threshold) {
    return CallApi(L"WyGetCloudDataBootupRanking", bootupTime, percentage, threshold);
}

uint32_t WYAPI WyGetAppStatus(const wchar_t* moduleName, uint32_t* isProcessRunning) {
    return CallApi(L"WyGetAppStatus", moduleName, isProcessRunning);
}

uint32_t WYAPI WyForceKillApp(const wchar_t* moduleName) {
    return CallApi(L"WyForceKillApp", moduleName);
}

uint32_t WYAPI WyGetLockStatus(uint32_t* lockStatus) {
    return CallApi(L"WyGetLockStatus", lockStatus);
}

uint32_t WYAPI WyGetSvchostPid(uint32_t* currentPid) {
    return CallApi(L"WyGetSvchostPid", currentPid);
}
