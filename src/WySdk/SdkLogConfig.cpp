#include "WySdk/SdkLogConfig.h"

#include <cstddef>
#include <iterator>

#include "Common/KrCommon/KrComn_String.h"

namespace {

constexpr std::uint32_t kDefaultLevelMask = 256;

// One section of the file (GetPrivateProfileIntW, GetPrivateProfileStringW).
class Section {
public:
    Section(const std::wstring& file, const wchar_t* name) : m_strFile(file), m_szName(name) {}

    std::uint32_t Number(const wchar_t* key, std::uint32_t byDefault) const {
        return GetPrivateProfileIntW(m_szName, key, static_cast<INT>(byDefault), m_strFile.c_str());
    }

    // Fills a field of the record, cut to its size with a terminator.
    template <std::size_t size>
    void Text(const wchar_t* key, const wchar_t* byDefault, wchar_t (&field)[size]) const {
        GetPrivateProfileStringW(m_szName, key, byDefault, field, static_cast<DWORD>(size),
                                 m_strFile.c_str());
    }

private:
    const std::wstring& m_strFile;
    const wchar_t* m_szName;
};

bool IsVistaOrLater() {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    return GetVersionExW(&version) != 0 && version.dwMajorVersion >= 6;
}

bool IsInSession0() {
    using Function = BOOL WINAPI(DWORD, DWORD*);
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    if (kernel == nullptr)
        return false;
    auto* const processIdToSessionId = reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(kernel, "ProcessIdToSessionId")));
    DWORD session = 1;
    return processIdToSessionId != nullptr &&
           processIdToSessionId(GetCurrentProcessId(), &session) != 0 && session == 0;
}

bool IsLocalSystem() {
    BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof(sid);
    BOOL isMember = FALSE;
    return CreateWellKnownSid(WinLocalSystemSid, nullptr, sid, &size) != 0 &&
           CheckTokenMembership(nullptr, sid, &isMember) != 0 && isMember != FALSE;
}

}  // namespace

bool IsServiceSession() {
    return IsVistaOrLater() ? IsInSession0() : IsLocalSystem();
}

SdkLogConfig ReadSdkLogConfig(const std::wstring& module, const std::wstring& folder) {
    SdkLogConfig config{};
    KrDbgConfig& record = config.record;
    GetLocalTime(&record.stInitialized);
    record.bServiceSession = IsServiceSession();
    module.copy(record.szModuleName, std::size(record.szModuleName) - 1);

    std::wstring file = folder;
    KrCommon::String::AppendSeparator(file);
    file += L"krdbg.ini";
    const Section section(file, record.bServiceSession ? L"ServiceSession" : L"InteractiveSession");
    config.bEnabled = section.Number(L"Enable", 0) == 1;
    config.uiLevelMask = section.Number(L"Level", kDefaultLevelMask);
    record.uiLogProcess = section.Number(L"LogProcess", 0);
    record.uiLogUnitType = section.Number(L"LogUnitType", 0);
    section.Text(L"LogFolder", L"", record.szLogFolder);
    section.Text(L"LogPrefix", L"qrn", record.szLogPrefix);
    section.Text(L"LogFile", L"", record.szLogFile);
    section.Text(L"LogExtension", L"log", record.szLogExtension);
    record.bRobust = section.Number(L"Robust", 0) != 0;
    record.bDebugger = section.Number(L"Debugger", 0) != 0;
    return config;
}
