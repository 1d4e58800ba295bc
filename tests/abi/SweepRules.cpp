#include "abi/SweepRules.h"

#include "Common/KrCommon/KrComn_String.h"
#include "abi/SdkLibrary.h"
#include "support/FakeServiceManager_win32.h"
#include "support/RunProgram.h"

#include <rpc.h>

namespace {

using test_support::FakeServiceManager;
using test_support::PlatformCall;
using Kind = SweepEnding::Kind;
using Rules = std::vector<SweepRule>;

const SweepEnding kAsWithout{Kind::kAsWithout};
const SweepEnding kSuccess{Kind::kSuccess};
const SweepEnding kSystem{Kind::kSystem};

SweepEnding Gives(std::uint32_t result, int mayBeOld = kAnyNumber) {
    return {.kind = Kind::kResult, .result = result, .mayBeOld = mayBeOld};
}

SweepEnding GivesText(const std::wstring& output) {
    return {.kind = Kind::kSuccess, .mayBeOld = 0, .output = KrCommon::String::ToUtf8(output)};
}

Rules operator+(Rules left, const Rules& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// A log that does not work loses lines and nothing else.
Rules LogRules() {
    return {{{"KrDbgTrace"}, kAsWithout}};
}

// A security descriptor that cannot be made leaves the system's own.
Rules SecurityRules() {
    return {{{"InitializeAcl", "AllocateAndInitializeSid", "AddAccessAllowedAce",
              "InitializeSecurityDescriptor", "SetSecurityDescriptorDacl"},
             kAsWithout}};
}

// The way of a mail to the service and back, for an operation that passes its result on.
Rules MailRules() {
    return {
        {{"CoCreateGuid"}, kAsWithout},
        // The first one names the endpoint for events, which this call does not need.
        {{"UuidToStringA"}, kAsWithout, "", 1, 1},
        {{"UuidToStringA"}, Gives(WY_E_NO_UUID, 0)},
        {{"RpcServerRegisterIfEx", "RpcServerUseProtseqEpW", "RpcServerRegisterAuthInfoW",
          "RpcServerUnregisterIf", "RpcBindingSetAuthInfoW", "RpcBindingFree"},
         kAsWithout},
        {{"RpcStringBindingComposeW", "RpcBindingFromStringBindingW"},
         Gives(0xe0010000 | RPC_S_INVALID_BINDING, 0)},
        {{"NdrGetBuffer", "NdrSendReceive"},
         Gives(0xe0010000 | ERROR_ACCESS_DENIED, 0),
         "",
         1,
         kAnyNumber,
         ERROR_ACCESS_DENIED},
        {{"NdrGetBuffer"}, Gives(0xe0010000 | RPC_S_OUT_OF_MEMORY, 0)},
        {{"NdrSendReceive"}, Gives(0xe0010000 | RPC_S_CALL_FAILED, 0)},
    };
}

SweepOperation SetProxy() {
    return {
        "WySetProxy",
        [](std::string&) { return SDK(WySetProxy)(L"server", 8080, L"user", L"password", true); },
        LogRules() + SecurityRules() +
            Rules{{{"RegCreateKeyExW", "RegSetValueExW"}, Gives(WY_E_SETTINGS_NOT_STORED, 1)},
                  {{"RegCloseKey"}, Gives(WY_E_SETTINGS_NOT_STORED, 0)}},
        false, 7};
}

// The first failure is the last write: what stands behind it is as before.
Rules IdentifierRules(int values) {
    Rules rules = LogRules() + SecurityRules();
    for (int i = 1; i <= values; ++i) {
        const int left = values - i;
        const SweepEnding unwritten{
            .kind = Kind::kSystem, .mayBeOld = left + 1, .mustBeOld = left + 1};
        const SweepEnding written{.kind = Kind::kSystem, .mayBeOld = left, .mustBeOld = left};
        rules.push_back({{"RegCreateKeyExW", "RegSetValueExW"}, unwritten, "", i, i});
        rules.push_back({{"RegCloseKey"}, written, "", i, i});
    }
    return rules;
}

SweepOperation SetIdentifier() {
    return {"WySetIdentifier",
            [](std::string&) { return SDK(WySetIdentifier)(L"first", L"second", L"third"); },
            IdentifierRules(3), false, 7};
}

SweepOperation SetIdentifierEx() {
    return {"WySetIdentifierEx",
            [](std::string&) {
                return SDK(WySetIdentifierEx)(L"first", L"second", L"third", L"fourth");
            },
            IdentifierRules(4), false, 7};
}

SweepOperation SetReamerStatus() {
    return {"WySetReamerStatus", [](std::string&) { return SDK(WySetReamerStatus)(1); },
            LogRules() + MailRules() +
                Rules{{{"RegCreateKeyExW", "RegSetValueExW", "RegCloseKey"}, kSuccess}},
            false, 3};
}

SweepOperation SetDebugLog() {
    const SweepEnding untouched = Gives(WY_E_LOG_SETTINGS_NOT_CHANGED);
    return {"WySetDebugLog", [](std::string&) { return SDK(WySetDebugLog)(false, 0x0111); },
            LogRules() +
                Rules{{{"RegOpenKeyExW", "RegQueryValueExW", "RegCloseKey"}, untouched},
                      {{"FindFirstFileW"}, kSuccess, "win32"},
                      {{"FindFirstFileW"}, untouched},
                      {{"FindClose"}, kAsWithout},
                      {{"WritePrivateProfileStringW"}, Gives(WY_E_LOG_SETTINGS_NOT_CHANGED, 1)}},
            false, 2};
}

// Gives a folder as the library does, into a buffer with room for any.
template <class Function>
std::uint32_t GetFolder(Function function, std::string& output) {
    wchar_t folder[MAX_PATH] = {};
    std::uint32_t size = MAX_PATH;
    const std::uint32_t result = function(folder, &size);
    output = KrCommon::String::ToUtf8(folder);
    return result;
}

SweepOperation GetDebugLogFolder() {
    const SweepEnding byDefault = GivesText(L"C:\\ProgramData\\Korvex Data\\Wyvarion");
    return {
        "WyGetDebugLogFolder",
        [](std::string& output) { return GetFolder(SDK(WyGetDebugLogFolder), output); },
        LogRules() +
            Rules{{{"RegOpenKeyExW", "RegQueryValueExW", "RegCloseKey", "GetPrivateProfileStringW"},
                   byDefault},
                  {{"LoadLibraryW", "GetProcAddress", "WTSGetActiveConsoleSessionId", "FreeLibrary",
                    "WTSQueryUserToken", "CloseHandle"},
                   kAsWithout},
                  {{"SHGetFolderPathW"}, GivesText(L"#CSIDL_COMMON_APPDATA#\\Korvex Data\\log")}},
        false, 2};
}

SweepOperation GetCacheFolder() {
    return {"WyGetCacheFolder",
            [](std::string& output) { return GetFolder(SDK(WyGetCacheFolder), output); },
            LogRules() + Rules{{{"RegOpenKeyExW", "RegQueryValueExW", "RegCloseKey"},
                                GivesText(test_support::ProgramFolder() / L"Cache")}}};
}

// The watchdog and the service answer as usual, each in its second round.
SweepOperation ControlService(const char* name, std::uint32_t (*call)(), std::vector<DWORD> states,
                              FakeServiceManager& services, const Rules& rules) {
    return {
        name,
        [call, states, &services](std::string&) {
            services.states = states;
            services.calls.clear();
            return call();
        },
        LogRules() + rules +
            Rules{{{"SetEvent", "OpenSCManagerW", "OpenServiceW", "QueryServiceStatus"}, kSystem},
                  {{"CloseServiceHandle", "CloseHandle"}, kAsWithout}}};
}

SweepOperation Start(FakeServiceManager& services) {
    // Whatever hinders the first attempt, a second one follows.
    return ControlService("WyStartService", [] { return SDK(WyStartService)(); },
                          {SERVICE_START_PENDING, SERVICE_RUNNING}, services,
                          {{{"OpenEventW"}, kAsWithout}});
}

SweepOperation Stop(FakeServiceManager& services) {
    // Without the event there is no watchdog, and the service counts as stopped.
    return ControlService(
        "WyStopService", [] { return SDK(WyStopService)(); },
        {SERVICE_STOP_PENDING, SERVICE_STOPPED}, services,
        {{{"OpenEventW"}, kSuccess, "", 1, 1, ERROR_FILE_NOT_FOUND}, {{"OpenEventW"}, kSystem}});
}

// The four times that the product's folder is looked up, each with one key: for the deployment, for
// the configuration of the feedback, for its record, and for the log at the end. Between the second
// and the third stand the facts of the record.
Rules FolderRules() {
    const SweepEnding inPresentFolder{
        .kind = Kind::kSuccess, .place = L"Present\\AuTemp", .untouched = L"WyAuTemp"};
    const SweepEnding inProgramFolder{.kind = Kind::kSuccess, .place = L"(program)"};
    return {
        {{"RegOpenKeyExW", "RegCloseKey"}, inPresentFolder, "", 1, 1},
        {{"RegQueryValueExW"}, inPresentFolder, "ProductPath", 1, 2},
        {{"RegOpenKeyExW", "RegCloseKey"}, kSuccess, "", 2, 6},
        {{"RegQueryValueExW"}, kSuccess, "ProductPath", 3, 4},
        {{"RegOpenKeyExW", "RegCloseKey"}, inProgramFolder, "", 7, 7},
        {{"RegQueryValueExW"}, inProgramFolder, "ProductPath", 5, 6},
        {{"RegQueryValueExW"}, kAsWithout, "ProductPath"},
        {{"RegQueryValueExW"}, kSuccess},
        {{"RegOpenKeyExW", "RegCloseKey"}, kAsWithout},
    };
}

// The log goes to the folder for temporary files while the deployment runs.
Rules MovedLogRules() {
    // The copy of the log's configuration then has what the product's file says.
    const SweepEnding asInProduct{.kind = Kind::kSuccess, .place = L"Temp\\krdbg.ini"};
    return {
        {{"GetTempPathW"}, kSuccess},
        {{"WritePrivateProfileStringW"}, asInProduct, "\\Temp\\"},
        {{"FindFirstFileW"}, kSuccess, "krdbg"},
        {{"FindNextFileW", "FindClose"}, kSuccess, "", 1, 2},
        {{"CopyFileW", "GetFileAttributesW", "SetFileAttributesW"}, kSuccess, "\\Temp\\"},
        {{"LoadLibraryW", "GetProcAddress", "FreeLibrary", "ProcessIdToSessionId",
          "GetPrivateProfileIntW", "GetPrivateProfileStringW", "KrDbgInitialize"},
         kAsWithout},
    };
}

// A copy that fails leaves what it copied so far; nothing is queued then. What cannot be queued, or
// is not listed, is left out.
Rules CopyRules() {
    const SweepEnding nothingCopied{
        .kind = Kind::kResult, .result = WY_E_BAD_PATH, .untouched = L"WyAuTemp"};
    const SweepEnding nothingQueued{.kind = Kind::kSystem, .untouched = L"\\WyAuTemp"};
    return {
        {{"FindFirstFileW"}, nothingCopied, "\\Download", 1, 1},
        {{"FindFirstFileW", "CopyFileW"}, nothingQueued, "\\Download"},
        {{"CreateDirectoryW"}, nothingQueued},
        {{"GetFileAttributesW", "SetFileAttributesW"}, kAsWithout},
        {{"FindFirstFileW"}, nothingQueued, "\\WyAuTemp\\*", 1, 1},
        {{"FindFirstFileW", "FindNextFileW"}, kSuccess},
        {{"FindClose"}, kAsWithout},
        {{"MoveFileExW"}, {.kind = Kind::kSuccess, .mayBeOld = 1, .mustBeOld = 1}},
    };
}

Rules FeedbackRules() {
    return {
        {{"_wfopen", "_read", "_write", "fclose", "GetVersionExW", "GetComputerNameW"}, kSuccess},
        {{"GetProductInfo", "CoCreateGuid", "UuidToStringA", "RpcServerRegisterIfEx",
          "RpcServerUseProtseqEpW", "RpcServerRegisterAuthInfoW", "RpcStringBindingComposeW",
          "RpcBindingFromStringBindingW", "RpcBindingSetAuthInfoW", "NdrGetBuffer",
          "NdrSendReceive", "RpcBindingFree", "RpcServerUnregisterIf"},
         kAsWithout},
    };
}

SweepOperation DeployUpdate(const SweepMachine& machine) {
    const std::wstring download = machine.At(L"Download\\");
    return {"WyAuDeploy", [download](std::string&) { return SDK(WyAuDeploy)(download.c_str()); },
            LogRules() + FolderRules() + MovedLogRules() + CopyRules() + FeedbackRules(), true, 9};
}

}  // namespace

bool SweepRule::Fits(const std::vector<PlatformCall>& calls, std::size_t position,
                     std::uint32_t failure) const {
    const auto applies = [this](const PlatformCall& call) {
        for (const char* function : functions) {
            if (std::string_view(function) == call.function->name)
                return call.texts.find(text) != std::string::npos;
        }
        return false;
    };
    if (!applies(calls[position]) || (code != 0 && code != failure))
        return false;
    int number = 0;
    for (std::size_t i = 0; i <= position; ++i) {
        if (applies(calls[i]) && calls[i].function == calls[position].function)
            ++number;
    }
    return number >= first && number <= last;
}

std::vector<SweepOperation> SweepOperations(const SweepMachine& machine,
                                            FakeServiceManager& services) {
    return {SetProxy(),     SetIdentifier(),      SetIdentifierEx(), SetReamerStatus(),
            SetDebugLog(),  GetDebugLogFolder(),  GetCacheFolder(),  Start(services),
            Stop(services), DeployUpdate(machine)};
}
