#include "FakeSdk.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_LogSettings.h"
#include "wyctl/Errors.h"

namespace {

using WyCtl::ExportAddress;

FakeSdk::State g_state;

std::string Show(const wchar_t* text) {
    return text == nullptr ? "null" : KrCommon::String::ToUtf8(text);
}

std::uint32_t Record(const char* name, const std::string& arguments) {
    g_state.calls.push_back(fmt::format("{}({})", name, arguments));
    const auto code = g_state.codes.find(name);
    return code != g_state.codes.end() ? code->second : KrCommon::Result::kSuccess;
}

void Give(wchar_t** out, const std::string& utf8) {
    const std::wstring text = KrCommon::String::FromUtf8(utf8);
    *out = static_cast<wchar_t*>(std::malloc((text.size() + 1) * sizeof(wchar_t)));
    std::copy(text.c_str(), text.c_str() + text.size() + 1, *out);
    ++g_state.texts;
}

std::uint32_t NextProgress() {
    if (g_state.progress.empty()) {
        return 100;
    }
    const std::uint32_t next = g_state.progress.front();
    g_state.progress.erase(g_state.progress.begin());
    return next;
}

std::uint32_t WYAPI Initialize(const wchar_t* name) {
    return Record("WyInitialize", Show(name));
}
std::uint32_t WYAPI Uninitialize() {
    return Record("WyUninitialize", "");
}
// These run on a thread of the command's.
std::uint32_t ControlService(const char* name) {
    const std::function<void()> during = g_state.duringServiceCall;
    const std::uint32_t code = Record(name, "");
    if (during) {
        during();
    }
    return code;
}
std::uint32_t WYAPI StartService() {
    return ControlService("WyStartService");
}
std::uint32_t WYAPI StopService() {
    return ControlService("WyStopService");
}
std::uint32_t WYAPI GetSvchostPid(std::uint32_t* process) {
    *process = 4711;
    return Record("WyGetSvchostPid", "");
}
std::uint32_t WYAPI Scan(std::uint32_t session, const wchar_t* items, wchar_t** id) {
    const std::uint32_t code = Record("WyScan", fmt::format("{}, {}", session, Show(items)));
    if (KrCommon::Result::Succeeded(code)) {
        Give(id, "scan-7");
    }
    return code;
}
std::uint32_t WYAPI GetScanProgress(const wchar_t* id, std::uint32_t* progress, wchar_t** feature,
                                    wchar_t** object) {
    *progress = NextProgress();
    Give(feature, "temporary files");
    Give(object, "C:\\Temp");
    return Record("WyGetScanProgress", Show(id));
}
std::uint32_t WYAPI CancelScan(const wchar_t* id) {
    return Record("WyCancelScan", Show(id));
}
std::uint32_t WYAPI GetScanResult(const wchar_t* id, const wchar_t* items, wchar_t** data) {
    Give(data, g_state.resultText);
    return Record("WyGetScanResult", fmt::format("{}, {}", Show(id), Show(items)));
}
std::uint32_t WYAPI ScanBigFile(const wchar_t* drive, const wchar_t* category, std::uint64_t size) {
    return Record("WyScanBigFile", fmt::format("{}, {}, {}", Show(drive), Show(category), size));
}
std::uint32_t WYAPI GetBigFileProgress(std::uint32_t* progress) {
    *progress = NextProgress();
    return Record("WyGetBigFileProgress", "");
}
std::uint32_t WYAPI GetBigFileResult(std::uint32_t limit, wchar_t** data) {
    Give(data, g_state.resultText);
    return Record("WyGetBigFileResult", fmt::format("{}", limit));
}
std::uint32_t WYAPI CancelBigFileScan() {
    return Record("WyCancelBigFileScan", "");
}
std::uint32_t WYAPI ScanDupFile(const wchar_t* drive, const wchar_t* category, std::uint64_t size) {
    return Record("WyScanDupFile", fmt::format("{}, {}, {}", Show(drive), Show(category), size));
}
std::uint32_t WYAPI GetDupFileProgress(std::uint32_t* progress) {
    *progress = NextProgress();
    return Record("WyGetDupFileProgress", "");
}
std::uint32_t WYAPI GetDupFileResult(wchar_t** data) {
    Give(data, g_state.resultText);
    return Record("WyGetDupFileResult", "");
}
std::uint32_t WYAPI CancelDupFileScan() {
    return Record("WyCancelDupFileScan", "");
}
std::uint32_t WYAPI ScanDiskUsage(const wchar_t* drive) {
    return Record("WyScanDiskUsage", Show(drive));
}
std::uint32_t WYAPI GetDiskUsageProgress(std::uint32_t* progress) {
    *progress = NextProgress();
    return Record("WyGetDiskUsageProgress", "");
}
std::uint32_t WYAPI GetDiskUsageResult(wchar_t** data) {
    Give(data, g_state.resultText);
    return Record("WyGetDiskUsageResult", "");
}
std::uint32_t WYAPI CancelDiskUsageScan() {
    return Record("WyCancelDiskUsageScan", "");
}
std::uint32_t WYAPI GetSysCpuUsage(std::uint32_t* load) {
    *load = 37;
    return Record("WyGetSysCpuUsage", "");
}
std::uint32_t WYAPI GetSysMemUsage(std::uint64_t* used, std::uint64_t* available,
                                   std::uint64_t* total) {
    *used = 3ULL << 30;
    *available = 5ULL << 30;
    *total = 8ULL << 30;
    return Record("WyGetSysMemUsage", "");
}
std::uint32_t WYAPI GetSysDiskUsage(std::uint64_t* read, std::uint64_t* written) {
    *read = 1024;
    *written = 2048;
    return Record("WyGetSysDiskUsage", "");
}
std::uint32_t WYAPI GetSysNetworkUsage(std::uint64_t* received, std::uint64_t* receiveSpeed,
                                       std::uint64_t* sent, std::uint64_t* sendSpeed) {
    *received = 1;
    *receiveSpeed = 2;
    *sent = 3;
    *sendSpeed = 4;
    return Record("WyGetSysNetworkUsage", "");
}
std::uint32_t WYAPI GetIdleStatus(std::uint32_t* idle) {
    *idle = 1;
    return Record("WyGetIdleStatus", "");
}
std::uint32_t WYAPI GetIdleTimeframe(std::uint32_t duration, std::uint32_t period,
                                     std::uint64_t* timestamp) {
    *timestamp = 0x123456789abcULL;
    return Record("WyGetIdleTimeframe", fmt::format("{}, {}", duration, period));
}
std::uint32_t WYAPI SetScheduleScanTime(std::uint8_t day, std::uint8_t hour) {
    return Record("WySetScheduleScanTime", fmt::format("{}, {}", day, hour));
}
std::uint32_t WYAPI GetFixProgressV2(const wchar_t* scan, const wchar_t* fix,
                                     std::uint32_t* progress, wchar_t** feature, wchar_t** object) {
    *progress = 55;
    Give(feature, "x\ny");
    *object = nullptr;
    return Record("WyGetFixProgressV2", fmt::format("{}, {}", Show(scan), Show(fix)));
}
std::uint32_t WYAPI SubscribeEvent(std::uint32_t event, WyEventCallback callback) {
    const std::uint32_t code = Record("WySubscribeEvent", fmt::format("{}", event));
    if (g_state.refusedEvent == event) {
        return KrCommon::Result::kNotFound;
    }
    if (KrCommon::Result::Succeeded(code)) {
        g_state.callbacks[event] = callback;
    }
    return code;
}
std::uint32_t WYAPI UnsubscribeEvent(std::uint32_t event) {
    const std::uint32_t code = Record("WyUnsubscribeEvent", fmt::format("{}", event));
    if (KrCommon::Result::Succeeded(code)) {
        g_state.callbacks.erase(event);
    }
    return code;
}
std::uint32_t WYAPI PublishEvent(std::uint32_t event) {
    return Record("WyPublishEvent", fmt::format("{}", event));
}
std::uint32_t WYAPI PublishEventEx(std::uint32_t event, const wchar_t* json) {
    return Record("WyPublishEventEx", fmt::format("{}, {}", event, Show(json)));
}
std::uint32_t WYAPI Install(const wchar_t* product, const wchar_t* vendor, const wchar_t* package,
                            const wchar_t* folder, wchar_t** used) {
    if (g_state.usedFolder) {
        Give(used, *g_state.usedFolder);
    }
    return Record("WyInstall", fmt::format("{}, {}, {}, {}", Show(product), Show(vendor),
                                           Show(package), Show(folder)));
}
std::uint32_t WYAPI PostInstall() {
    return Record("WyPostInstall", "");
}
std::uint32_t WYAPI Uninstall() {
    return Record("WyUninstall", "");
}
std::uint32_t WYAPI AuDeploy(const wchar_t* path) {
    return Record("WyAuDeploy", Show(path));
}
std::uint32_t WYAPI GetDiskGarbage(const wchar_t* id, const wchar_t* items, wchar_t** data) {
    return Record("WyGetDiskGarbage", fmt::format("{}, {}, {}", Show(id), Show(items),
                                                  data == nullptr ? "null" : "pointer"));
}

std::uint32_t WYAPI SetProxy(const wchar_t* server, std::uint32_t port, const wchar_t* user,
                             const wchar_t* password, bool enable) {
    return Record("WySetProxy", fmt::format("{}, {}, {}, {}, {}", Show(server), port, Show(user),
                                            Show(password), enable));
}
std::uint32_t WYAPI SetIdentifier(const wchar_t* first, const wchar_t* second,
                                  const wchar_t* third) {
    return Record("WySetIdentifier",
                  fmt::format("{}, {}, {}", Show(first), Show(second), Show(third)));
}
std::uint32_t WYAPI SetIdentifierEx(const wchar_t* first, const wchar_t* second,
                                    const wchar_t* third, const wchar_t* fourth) {
    return Record("WySetIdentifierEx", fmt::format("{}, {}, {}, {}", Show(first), Show(second),
                                                   Show(third), Show(fourth)));
}
std::uint32_t WYAPI SetReamerStatus(std::uint32_t status) {
    return Record("WySetReamerStatus", fmt::format("{}", status));
}
// Works as the library's own does, so that a command can read back what it wrote.
std::uint32_t WYAPI SetDebugLog(bool enable, std::uint32_t level) {
    const std::uint32_t code = Record("WySetDebugLog", fmt::format("{}, {:#x}", enable, level));
    const bool done =
        KrCommon::Result::Succeeded(code) && WyCommon::LogSettings::SetSwitch(enable, level);
    return done ? code : KrCommon::Result::kLogSettingsNotChanged;
}
std::uint32_t WYAPI GetFolder(wchar_t* buffer, std::uint32_t* size) {
    constexpr std::wstring_view kFolder = L"C:\\Folder";
    if (buffer != nullptr && *size > kFolder.size()) {
        buffer[kFolder.copy(buffer, kFolder.size())] = L'\0';
    }
    *size = static_cast<std::uint32_t>(kFolder.size());
    return buffer == nullptr ? KrCommon::Result::kBufferIsNull : KrCommon::Result::kSuccess;
}
std::uint32_t WYAPI SetProductLcid(std::uint32_t lcid) {
    return Record("WySetProductLcid", fmt::format("{}", lcid));
}
std::uint32_t WYAPI SetInspectUrl(const wchar_t* feedback, const wchar_t* reamer) {
    return Record("WySetInspectUrl", fmt::format("{}, {}", Show(feedback), Show(reamer)));
}

template <class F>
ExportAddress Address(F* function) {
    return reinterpret_cast<ExportAddress>(function);
}

const std::map<std::string, ExportAddress>& Exports() {
    static const std::map<std::string, ExportAddress> s_exports{
        {"WyInitialize", Address(Initialize)},
        {"WyUninitialize", Address(Uninitialize)},
        {"WyStartService", Address(StartService)},
        {"WyStopService", Address(StopService)},
        {"WyGetSvchostPid", Address(GetSvchostPid)},
        {"WyScan", Address(Scan)},
        {"WyGetScanProgress", Address(GetScanProgress)},
        {"WyCancelScan", Address(CancelScan)},
        {"WyGetScanResult", Address(GetScanResult)},
        {"WyScanBigFile", Address(ScanBigFile)},
        {"WyGetBigFileProgress", Address(GetBigFileProgress)},
        {"WyGetBigFileResult", Address(GetBigFileResult)},
        {"WyCancelBigFileScan", Address(CancelBigFileScan)},
        {"WyScanDupFile", Address(ScanDupFile)},
        {"WyGetDupFileProgress", Address(GetDupFileProgress)},
        {"WyGetDupFileResult", Address(GetDupFileResult)},
        {"WyCancelDupFileScan", Address(CancelDupFileScan)},
        {"WyScanDiskUsage", Address(ScanDiskUsage)},
        {"WyGetDiskUsageProgress", Address(GetDiskUsageProgress)},
        {"WyGetDiskUsageResult", Address(GetDiskUsageResult)},
        {"WyCancelDiskUsageScan", Address(CancelDiskUsageScan)},
        {"WyGetSysCpuUsage", Address(GetSysCpuUsage)},
        {"WyGetSysMemUsage", Address(GetSysMemUsage)},
        {"WyGetSysDiskUsage", Address(GetSysDiskUsage)},
        {"WyGetSysNetworkUsage", Address(GetSysNetworkUsage)},
        {"WyGetIdleStatus", Address(GetIdleStatus)},
        {"WyGetIdleTimeframe", Address(GetIdleTimeframe)},
        {"WySetScheduleScanTime", Address(SetScheduleScanTime)},
        {"WyGetFixProgressV2", Address(GetFixProgressV2)},
        {"WySubscribeEvent", Address(SubscribeEvent)},
        {"WyUnsubscribeEvent", Address(UnsubscribeEvent)},
        {"WyPublishEvent", Address(PublishEvent)},
        {"WyPublishEventEx", Address(PublishEventEx)},
        {"WyAuDeploy", Address(AuDeploy)},
        {"WyInstall", Address(Install)},
        {"WyPostInstall", Address(PostInstall)},
        {"WyUninstall", Address(Uninstall)},
        {"WyGetDiskGarbage", Address(GetDiskGarbage)},
        {"WySetProxy", Address(SetProxy)},
        {"WySetIdentifier", Address(SetIdentifier)},
        {"WySetIdentifierEx", Address(SetIdentifierEx)},
        {"WySetReamerStatus", Address(SetReamerStatus)},
        {"WySetDebugLog", Address(SetDebugLog)},
        {"WyGetDebugLogFolder", Address(GetFolder)},
        {"WyGetCacheFolder", Address(GetFolder)},
        {"WySetProductLcid", Address(SetProductLcid)},
        {"WySetInspectUrl", Address(SetInspectUrl)},
    };
    return s_exports;
}

class Library : public WyCtl::SdkLibrary {
public:
    ExportAddress FindExport(const std::string& name) const override {
        const auto found = Exports().find(name);
        return found == Exports().end() || g_state.hidden.count(name) != 0 ? nullptr
                                                                           : found->second;
    }
    WyCtl::TextRelease Release() const override {
        return [](wchar_t* text) {
            std::free(text);
            --g_state.texts;
        };
    }
};

}  // namespace

FakeSdk::State& FakeSdk::Get() {
    return g_state;
}

std::uint32_t FakeSdk::Deliver(std::uint32_t event, const wchar_t* json) {
    return g_state.callbacks.at(event)(event, json);
}

WyCtl::LibraryLoader FakeSdk::Reset() {
    g_state = State();
    return [](const std::string& path) -> std::unique_ptr<WyCtl::SdkLibrary> {
        if (g_state.missing) {
            throw WyCtl::Failure("cannot load " + path + " (system error 126)");
        }
        return std::make_unique<Library>();
    };
}
