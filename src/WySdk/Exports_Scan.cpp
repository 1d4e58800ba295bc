// The exports of the scan and of the repair of what it found.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"

namespace {

constexpr wchar_t kScanError[] = L"[ScanError]: WySdk ";
constexpr wchar_t kFixError[] = L"[FixError]: WySdk ";

}  // namespace

uint32_t WYAPI WyScan(uint32_t activeSessionId, const wchar_t* items, wchar_t** sessionId) {
    return Reported(kScanError, L"WyScan", CallApi(L"WyScan", activeSessionId, items, sessionId));
}

uint32_t WYAPI WyPauseScan(const wchar_t* sessionId) {
    return CallApi(L"WyPauseScan", sessionId);
}

uint32_t WYAPI WyResumeScan(const wchar_t* sessionId) {
    return CallApi(L"WyResumeScan", sessionId);
}

uint32_t WYAPI WyCancelScan(const wchar_t* sessionId) {
    return CallApi(L"WyCancelScan", sessionId);
}

uint32_t WYAPI WyGetScanProgress(const wchar_t* sessionId, uint32_t* progress, wchar_t** feature,
                                 wchar_t** object) {
    return Reported(kScanError, L"WyGetScanProgress",
                    CallApi(L"WyGetScanProgress", sessionId, progress, feature, object));
}

uint32_t WYAPI WyGetScanResult(const wchar_t* sessionId, const wchar_t* items, wchar_t** result) {
    return Reported(kScanError, L"WyGetScanResult",
                    CallApi(L"WyGetScanResult", sessionId, items, result));
}

uint32_t WYAPI WyCustomizeFix(const wchar_t* sessionId, const wchar_t* data) {
    return CallApi(L"WyCustomizeFix", sessionId, data);
}

uint32_t WYAPI WyGetFixProgress(const wchar_t* sessionId, uint32_t* progress, wchar_t** feature,
                                wchar_t** object) {
    return CallApi(L"WyGetFixProgress", sessionId, progress, feature, object);
}

uint32_t WYAPI WyGetFixResult(const wchar_t* sessionId, const wchar_t* items, wchar_t** result) {
    return CallApi(L"WyGetFixResult", sessionId, items, result);
}

// The table knows the cancelling of a repair under another name: nothing is passed on.
uint32_t WYAPI WyCancelWyFix(const wchar_t* sessionId) {
    return CallApi(L"WyCancelWyFix", sessionId);
}

uint32_t WYAPI WyCustomizeFixV2(const wchar_t* sessionId, const wchar_t* data,
                                wchar_t** fixSessionId) {
    return Reported(kFixError, L"WyCustomizeFixV2",
                    CallApi(L"WyCustomizeFixV2", sessionId, data, fixSessionId));
}

uint32_t WYAPI WyGetFixProgressV2(const wchar_t* sessionId, const wchar_t* fixSessionId,
                                  uint32_t* progress, wchar_t** feature, wchar_t** object) {
    return Reported(
        kFixError, L"WyGetFixProgressV2",
        CallApi(L"WyGetFixProgressV2", sessionId, fixSessionId, progress, feature, object));
}

uint32_t WYAPI WyGetFixResultV2(const wchar_t* sessionId, const wchar_t* fixSessionId,
                                wchar_t** result) {
    return Reported(kFixError, L"WyGetFixResultV2",
                    CallApi(L"WyGetFixResultV2", sessionId, fixSessionId, result));
}

uint32_t WYAPI WyCancelFixV2(const wchar_t* sessionId, const wchar_t* fixSessionId) {
    return CallApi(L"WyCancelFixV2", sessionId, fixSessionId);
}
