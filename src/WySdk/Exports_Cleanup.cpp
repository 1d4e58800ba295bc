// The exports of single topics of a scan: garbage, startup, programs, privacy, add-ons.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"

uint32_t WYAPI WySetStartupServiceStatus(const wchar_t* sessionId, const wchar_t* data,
                                         uint32_t status, wchar_t** result) {
    return CallApi(L"WySetStartupServiceStatus", sessionId, data, status, result);
}

uint32_t WYAPI WySetStartupProgramStatus(const wchar_t* sessionId, const wchar_t* data,
                                         uint32_t status, wchar_t** result) {
    return CallApi(L"WySetStartupProgramStatus", sessionId, data, status, result);
}

// The table knows none of the functions from here on: nothing is passed on, and nothing written.

uint32_t WYAPI WyGetDiskGarbage(const wchar_t* sessionId, const wchar_t* items, wchar_t** result) {
    return CallApi(L"WyGetDiskGarbage", sessionId, items, result);
}

uint32_t WYAPI WyRemoveDiskGarbage(const wchar_t* sessionId, const wchar_t* items,
                                   wchar_t** result) {
    return CallApi(L"WyRemoveDiskGarbage", sessionId, items, result);
}

uint32_t WYAPI WyGetRegGarbage(const wchar_t* sessionId, const wchar_t* items, wchar_t** result) {
    return CallApi(L"WyGetRegGarbage", sessionId, items, result);
}

uint32_t WYAPI WyRemoveRegGarbage(const wchar_t* sessionId, const wchar_t* items,
                                  wchar_t** result) {
    return CallApi(L"WyRemoveRegGarbage", sessionId, items, result);
}

uint32_t WYAPI WyGetStartupService(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetStartupService", sessionId, result);
}

uint32_t WYAPI WyGetStartupProgram(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetStartupProgram", sessionId, result);
}

uint32_t WYAPI WyGetInstalledProgram(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetInstalledProgram", sessionId, result);
}

uint32_t WYAPI WyUninstallProgram(const wchar_t* sessionId, const wchar_t* data) {
    return CallApi(L"WyUninstallProgram", sessionId, data);
}

uint32_t WYAPI WyGetPrivacy(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetPrivacy", sessionId, result);
}

uint32_t WYAPI WyFixPrivacy(const wchar_t* sessionId, const wchar_t* data, wchar_t** result) {
    return CallApi(L"WyFixPrivacy", sessionId, data, result);
}

uint32_t WYAPI WyGetVulnerability(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetVulnerability", sessionId, result);
}

uint32_t WYAPI WyFixVulnerability(const wchar_t* sessionId, const wchar_t* data, wchar_t** result) {
    return CallApi(L"WyFixVulnerability", sessionId, data, result);
}

uint32_t WYAPI WyGetAddon(const wchar_t* sessionId, wchar_t** result) {
    return CallApi(L"WyGetAddon", sessionId, result);
}

uint32_t WYAPI WySetAddonStatus(const wchar_t* sessionId, const wchar_t* data, uint32_t status) {
    return CallApi(L"WySetAddonStatus", sessionId, data, status);
}
