#include "devhost/MonitoringHandlers.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "devhost/JsonFields.h"

namespace DevHost {

namespace {

constexpr const char* kLogSource = "MonitoringHandlers";
constexpr const wchar_t* kLogModule = L"WySvcHost";

namespace ApiId {
constexpr std::uint32_t kGetSysBootupTime = 400008000;
constexpr std::uint32_t kGetAppStatus = 400012009;
constexpr std::uint32_t kForceKillApp = 400012010;
constexpr std::uint32_t kGetLockStatus = 400012011;
constexpr std::uint32_t kGetSvchostPid = 400012012;
constexpr std::uint32_t kGetBatteryUsage = 400013000;
constexpr std::uint32_t kGetSysCpuUsage = 400013001;
constexpr std::uint32_t kGetSysMemUsage = 400013002;
constexpr std::uint32_t kGetSysDiskUsage = 400013003;
constexpr std::uint32_t kGetSysNetworkUsage = 400013004;
constexpr std::uint32_t kGetProcessInfo = 400013005;
constexpr std::uint32_t kGetIdleStatus = 400013006;
constexpr std::uint32_t kGetIdleTimeframe = 400013007;
}  // namespace ApiId

// Without these the machine is not usable any more.
constexpr std::wstring_view kProtected[] = {
    L"csrss.exe",    L"dwm.exe",        L"explorer.exe", L"lsass.exe",
    L"plugplay.exe", L"rpcss.exe",      L"services.exe", L"smss.exe",
    L"svchost.exe",  L"winedevice.exe", L"wininit.exe",  L"winlogon.exe",
};

Json::UInt64 Number(std::uint64_t value) {
    return static_cast<Json::UInt64>(value);
}

[[noreturn]] void NotMeasured(const char* what) {
    throw RequestError(KrCommon::Result::kFailure,
                       std::string("the machine does not tell its ") + what);
}

bool IsProtected(const std::string& name) {
    const std::wstring wide = KrCommon::String::FromUtf8(name);
    return std::any_of(std::begin(kProtected), std::end(kProtected), [&](std::wstring_view other) {
        return KrCommon::String::EqualNoCase(wide, other);
    });
}

}  // namespace

MonitoringHandlers::MonitoringHandlers(SystemProbe& probe, Sampler& sampler, bool allowKill,
                                       std::function<bool()> isBusy)
    : m_Probe(probe), m_Sampler(sampler), m_bAllowKill(allowKill), m_fnIsBusy(std::move(isBusy)) {}

void MonitoringHandlers::AddTo(ApiRouter& router) {
    const auto add = [&router](std::uint32_t apiId, auto measure) {
        router.Add(apiId, [measure](const Json::Value&, const CallContext&) { return measure(); });
    };
    add(ApiId::kGetSysBootupTime, [this] { return BootupTime(); });
    add(ApiId::kGetBatteryUsage, [this] { return Battery(); });
    add(ApiId::kGetSysMemUsage, [this] { return Memory(); });
    add(ApiId::kGetSysDiskUsage, [this] { return Disks(); });
    add(ApiId::kGetSysNetworkUsage, [this] { return Network(); });
    add(ApiId::kGetProcessInfo, [this] { return Processes(); });
    add(ApiId::kGetSysCpuUsage, [this] {
        ApiAnswer answer;
        answer.data["cpuUsage"] = m_Sampler.Get().cpuPercent;
        return answer;
    });
    add(ApiId::kGetIdleStatus, [this] {
        ApiAnswer answer;
        const std::uint64_t idleMs = m_Probe.IdleMs();
        answer.data["idleStatus"] = idleMs >= kIdleAfterMs ? 1U : 0U;
        answer.data["idleSeconds"] = Number(idleMs / 1000);
        return answer;
    });
    add(ApiId::kGetLockStatus, [this] {
        ApiAnswer answer;
        answer.data["lockStatus"] = m_fnIsBusy() ? 1U : 0U;
        return answer;
    });
    add(ApiId::kGetSvchostPid, [this] {
        ApiAnswer answer;
        answer.data["currentPid"] = m_Probe.OwnProcessId();
        return answer;
    });
    router.Add(ApiId::kGetIdleTimeframe, [this](const Json::Value& request, const CallContext&) {
        return IdleTimeframe(request);
    });
    router.Add(ApiId::kGetAppStatus, [this](const Json::Value& request, const CallContext&) {
        return AppStatus(request);
    });
    router.Add(ApiId::kForceKillApp, [this](const Json::Value& request, const CallContext&) {
        return ForceKill(request);
    });
}

// No call of Windows tells how long the last start-up took. What can be measured is the time from
// the start of the machine to the start of the first process of this session.
ApiAnswer MonitoringHandlers::BootupTime() const {
    const std::int64_t machineStart =
        m_Probe.Now() - static_cast<std::int64_t>(m_Probe.UptimeMs() / 1000);
    const std::vector<ProcessFacts> processes = m_Probe.ReadProcesses(true);
    const std::uint32_t ownId = m_Probe.OwnProcessId();
    const auto own = std::find_if(processes.begin(), processes.end(),
                                  [&](const auto& process) { return process.processId == ownId; });
    std::int64_t first = 0;
    for (const ProcessFacts& process : processes) {
        if (own == processes.end() || process.session != own->session)
            continue;
        if (process.started > 0 && (first == 0 || process.started < first))
            first = process.started;
    }
    if (first == 0)
        NotMeasured("start-up time");
    const std::int64_t seconds = std::clamp<std::int64_t>(
        first - machineStart, 0, std::numeric_limits<std::uint32_t>::max());
    ApiAnswer answer;
    answer.data["bootupTime"] = static_cast<Json::UInt>(seconds);
    answer.data["machineStart"] = static_cast<Json::Int64>(machineStart);
    answer.data["uptimeSeconds"] = Number(m_Probe.UptimeMs() / 1000);
    return answer;
}

ApiAnswer MonitoringHandlers::Battery() const {
    const std::optional<PowerFigures> power = m_Probe.ReadPower();
    if (!power.has_value())
        NotMeasured("power state");
    ApiAnswer answer;
    answer.data["onMains"] = power->onMains;
    answer.data["hasBattery"] = power->hasBattery;
    answer.data["charging"] = power->charging;
    if (power->percent.has_value())
        answer.data["percent"] = *power->percent;
    if (power->remainingSeconds.has_value()) {
        answer.data["remainingSeconds"] = *power->remainingSeconds;
    }
    return answer;
}

ApiAnswer MonitoringHandlers::Memory() const {
    const std::optional<MemoryFigures> memory = m_Probe.ReadMemory();
    if (!memory.has_value())
        NotMeasured("memory");
    ApiAnswer answer;
    answer.data["memUsage"] = Number(memory->total - std::min(memory->available, memory->total));
    answer.data["memAvail"] = Number(memory->available);
    answer.data["memTotal"] = Number(memory->total);
    return answer;
}

ApiAnswer MonitoringHandlers::Disks() const {
    const std::optional<DiskCounters> speed = m_Sampler.Get().diskSpeed;
    ApiAnswer answer;
    answer.data["diskReadUsage"] = Number(speed.has_value() ? speed->read : 0);
    answer.data["diskWriteUsage"] = Number(speed.has_value() ? speed->written : 0);
    answer.data["measured"] = speed.has_value();
    return answer;
}

ApiAnswer MonitoringHandlers::Network() const {
    const Measurements measurements = m_Sampler.Get();
    ApiAnswer answer;
    answer.data["pcRecvFlowUsed"] = Number(measurements.received);
    answer.data["pcRecvSpeed"] = Number(measurements.receiveSpeed);
    answer.data["pcSendFlowUsed"] = Number(measurements.sent);
    answer.data["pcSendSpeed"] = Number(measurements.sendSpeed);
    return answer;
}

ApiAnswer MonitoringHandlers::Processes() const {
    Json::Value list(Json::arrayValue);
    for (const ProcessFacts& process : m_Probe.ReadProcesses(true)) {
        Json::Value entry(Json::objectValue);
        entry["pid"] = process.processId;
        entry["parentPid"] = process.parentId;
        entry["name"] = process.name;
        entry["path"] = process.path;
        entry["threads"] = process.threads;
        entry["workingSet"] = Number(process.workingSet);
        entry["cpuMilliseconds"] = Number(process.cpuMilliseconds);
        entry["started"] = static_cast<Json::Int64>(process.started);
        entry["session"] = process.session;
        list.append(std::move(entry));
    }
    ApiAnswer answer;
    answer.data["processes"] = std::move(list);
    return answer;
}

ApiAnswer MonitoringHandlers::IdleTimeframe(const Json::Value& request) const {
    const JsonFields fields(request);
    const auto start = m_Sampler.FindIdle(fields.UInt32("duration"), fields.UInt32("period"));
    ApiAnswer answer;
    answer.data["found"] = start.has_value();
    answer.data["timestamp"] =
        Number(static_cast<std::uint64_t>(std::max<std::int64_t>(start.value_or(0), 0)));
    return answer;
}

std::vector<ProcessFacts> MonitoringHandlers::Named(const Json::Value& request) const {
    const std::wstring name = KrCommon::String::FromUtf8(JsonFields(request).Text("moduleName"));
    if (name.empty() || name.find_first_of(L"\\/:") != std::wstring::npos) {
        throw RequestError(KrCommon::Result::kInvalidArgument,
                           "\"moduleName\" must be the name of an executable without folder");
    }
    std::vector<ProcessFacts> processes = m_Probe.ReadProcesses(false);
    std::erase_if(processes, [&](const ProcessFacts& process) {
        const std::wstring other = KrCommon::String::FromUtf8(process.name);
        return !KrCommon::String::EqualNoCase(other, name) &&
               !KrCommon::String::EqualNoCase(other, name + L".exe");
    });
    return processes;
}

ApiAnswer MonitoringHandlers::AppStatus(const Json::Value& request) const {
    ApiAnswer answer;
    answer.data["isProcessRunning"] = Named(request).empty() ? 0U : 1U;
    return answer;
}

ApiAnswer MonitoringHandlers::ForceKill(const Json::Value& request) const {
    const std::vector<ProcessFacts> processes = Named(request);
    if (!m_bAllowKill) {
        throw RequestError(kAccessDenied, "the host was started without --allow-kill");
    }
    if (processes.empty()) {
        throw RequestError(KrCommon::Result::kNotFound, "no process of this name runs");
    }
    Json::Value ended(Json::arrayValue);
    std::uint32_t error = 0;
    for (const ProcessFacts& process : processes) {
        if (process.processId == m_Probe.OwnProcessId() || IsProtected(process.name)) {
            throw RequestError(kAccessDenied, "this process is not to be ended");
        }
        const std::uint32_t failure = m_Probe.EndProcess(process.processId);
        WY_LOG_INFO << L"end process " << process.processId << L", error " << failure;
        if (failure == 0) {
            ended.append(process.processId);
        } else {
            error = failure;
        }
    }
    ApiAnswer answer;
    answer.data["ended"] = std::move(ended);
    if (error != 0) {
        answer.retCode = KrCommon::Result::FromSystem(error);
        answer.message = "not every process could be ended";
    }
    return answer;
}

}  // namespace DevHost
