// The exports of the searches for big files, duplicate files and disk usage.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"

uint32_t WYAPI WyScanBigFile(const wchar_t* diskDrive, const wchar_t* category, uint64_t fileSize) {
    return CallApi(L"WyScanBigFile", diskDrive, category, fileSize);
}

uint32_t WYAPI WyGetBigFileProgress(uint32_t* progress) {
    return CallApi(L"WyGetBigFileProgress", progress);
}

uint32_t WYAPI WyGetBigFileResult(uint32_t highBound, wchar_t** result) {
    return CallApi(L"WyGetBigFileResult", highBound, result);
}

uint32_t WYAPI WyRemoveBigFile(const wchar_t* data, wchar_t** result) {
    return CallApi(L"WyRemoveBigFile", data, result);
}

uint32_t WYAPI WyCancelBigFileScan(void) {
    return CallApi(L"WyCancelBigFileScan");
}

uint32_t WYAPI WyScanDupFile(const wchar_t* diskDrive, const wchar_t* category, uint64_t fileSize) {
    return CallApi(L"WyScanDupFile", diskDrive, category, fileSize);
}

uint32_t WYAPI WyGetDupFileProgress(uint32_t* progress) {
    return CallApi(L"WyGetDupFileProgress", progress);
}

uint32_t WYAPI WyGetDupFileResult(wchar_t** result) {
    return CallApi(L"WyGetDupFileResult", result);
}

uint32_t WYAPI WyRemoveDupFile(const wchar_t* data, wchar_t** result) {
    return CallApi(L"WyRemoveDupFile", data, result);
}

uint32_t WYAPI WyCancelDupFileScan(void) {
    return CallApi(L"WyCancelDupFileScan");
}

uint32_t WYAPI WyScanDiskUsage(const wchar_t* diskDrive) {
    return CallApi(L"WyScanDiskUsage", diskDrive);
}

uint32_t WYAPI WyGetDiskUsageProgress(uint32_t* progress) {
    return CallApi(L"WyGetDiskUsageProgress", progress);
}

uint32_t WYAPI WyGetDiskUsageResult(wchar_t** result) {
    return CallApi(L"WyGetDiskUsageResult", result);
}

uint32_t WYAPI WyCancelDiskUsageScan(void) {
    return CallApi(L"WyCancelDiskUsageScan");
}
