// Apart from the conditions, because it imports user32.dll.

#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::OsVersion {

namespace {

std::uint16_t AskArchitecture() {
    SYSTEM_INFO info = {};
    Library::Function<void WINAPI(SYSTEM_INFO*)> native;
    if (native.Find(L"kernel32.dll", "GetNativeSystemInfo", nullptr)) {
        native.Get()(&info);
    } else {
        GetSystemInfo(&info);
    }
    return info.wProcessorArchitecture;
}

// The type of the installed product, 0 where the system does not tell.
std::uint32_t AskProductInfo(const OSVERSIONINFOEXW& version) {
    Library::Function<BOOL WINAPI(DWORD, DWORD, DWORD, DWORD, DWORD*)> ask;
    DWORD type = 0;
    if (!ask.Find(L"kernel32.dll", "GetProductInfo", nullptr) ||
        ask.Get()(version.dwMajorVersion, version.dwMinorVersion, version.wServicePackMajor,
                  version.wServicePackMinor, &type) == 0)
        return 0;
    return type;
}

}  // namespace

bool GetName(std::wstring& out) {
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) == 0)
        return false;
    Record record;
    record.platformId = version.dwPlatformId;
    record.majorVersion = version.dwMajorVersion;
    record.minorVersion = version.dwMinorVersion;
    record.servicePack = version.wServicePackMajor;
    record.productType = version.wProductType;
    record.suiteMask = version.wSuiteMask;
    record.architecture = AskArchitecture();
    if (version.dwMajorVersion >= 6)
        record.productInfo = AskProductInfo(version);
    record.secondRelease = GetSystemMetrics(SM_SERVERR2) != 0;
    return Describe(record, out);
}

}  // namespace KrCommon::OsVersion
