#include "devhost/SystemProbeFactory.h"

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

#include <iphlpapi.h>
#include <psapi.h>
#include <tlhelp32.h>
#include <winioctl.h>

#include <ctime>

namespace DevHost {

namespace {

constexpr std::uint64_t kTicksPerMillisecond = 10'000;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kUnixEpochInSeconds = 11'644'473'600;
constexpr unsigned kDiskLimit = 16;
constexpr BYTE kUnknownByte = 255;
constexpr BYTE kNoBatteryFlag = 128;
constexpr BYTE kChargingFlag = 8;
constexpr UINT kKilledExitCode = 1;

std::uint64_t Ticks(const FILETIME& time) {
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

// The processes of one moment, on the system's own list.
class ProcessList {
public:
    ProcessList() : m_hSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)) {}
    ProcessList(const ProcessList&) = delete;
    ProcessList& operator=(const ProcessList&) = delete;
    ~ProcessList() {
        if (m_hSnapshot != INVALID_HANDLE_VALUE)
            CloseHandle(m_hSnapshot);
    }

    bool Next(PROCESSENTRY32W& entry) {
        if (m_hSnapshot == INVALID_HANDLE_VALUE)
            return false;
        entry.dwSize = sizeof entry;
        const BOOL found =
            m_bFirst ? Process32FirstW(m_hSnapshot, &entry) : Process32NextW(m_hSnapshot, &entry);
        m_bFirst = false;
        return found != FALSE;
    }

private:
    HANDLE m_hSnapshot;
    bool m_bFirst = true;
};

void AddDetails(ProcessFacts& facts) {
    DWORD session = 0;
    if (ProcessIdToSessionId(facts.processId, &session))
        facts.session = session;
    const HANDLE process =
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_VM_READ, FALSE, facts.processId);
    if (process == nullptr)
        return;
    FILETIME created;
    FILETIME ended;
    FILETIME kernel;
    FILETIME user;
    if (GetProcessTimes(process, &created, &ended, &kernel, &user)) {
        facts.started =
            static_cast<std::int64_t>(Ticks(created) / kTicksPerSecond) - kUnixEpochInSeconds;
        facts.cpuMilliseconds = (Ticks(kernel) + Ticks(user)) / kTicksPerMillisecond;
    }
    PROCESS_MEMORY_COUNTERS memory;
    if (GetProcessMemoryInfo(process, &memory, sizeof memory)) {
        facts.workingSet = memory.WorkingSetSize;
    }
    std::wstring path(32768, L'\0');
    DWORD length = static_cast<DWORD>(path.size());
    if (QueryFullProcessImageNameW(process, 0, path.data(), &length)) {
        path.resize(length);
        facts.path = KrCommon::String::ToUtf8(path);
    }
    CloseHandle(process);
}

class WindowsProbe : public SystemProbe {
public:
    std::optional<CpuTimes> ReadCpuTimes() override {
        FILETIME idle;
        FILETIME kernel;  // includes the idle time
        FILETIME user;
        if (!GetSystemTimes(&idle, &kernel, &user))
            return std::nullopt;
        return CpuTimes{Ticks(idle), Ticks(kernel) + Ticks(user)};
    }

    std::optional<MemoryFigures> ReadMemory() override {
        MEMORYSTATUSEX status;
        status.dwLength = sizeof status;
        if (!GlobalMemoryStatusEx(&status))
            return std::nullopt;
        return MemoryFigures{status.ullTotalPhys, status.ullAvailPhys};
    }

    std::optional<DiskCounters> ReadDisks() override {
        DiskCounters sum;
        bool any = false;
        for (unsigned disk = 0; disk < kDiskLimit; ++disk) {
            const std::wstring name = L"\\\\.\\PhysicalDrive" + std::to_wstring(disk);
            const HANDLE device = CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                              nullptr, OPEN_EXISTING, 0, nullptr);
            if (device == INVALID_HANDLE_VALUE)
                break;
            DISK_PERFORMANCE figures;
            DWORD size = 0;
            if (DeviceIoControl(device, IOCTL_DISK_PERFORMANCE, nullptr, 0, &figures,
                                sizeof figures, &size, nullptr)) {
                sum.read += static_cast<std::uint64_t>(figures.BytesRead.QuadPart);
                sum.written += static_cast<std::uint64_t>(figures.BytesWritten.QuadPart);
                any = true;
            }
            CloseHandle(device);
        }
        if (!any)
            return std::nullopt;
        return sum;
    }

    std::vector<NetworkCounters> ReadNetwork() override {
        std::vector<NetworkCounters> interfaces;
        ULONG size = 0;
        if (GetIfTable(nullptr, &size, FALSE) != ERROR_INSUFFICIENT_BUFFER)
            return interfaces;
        std::vector<std::uint64_t> memory(size / sizeof(std::uint64_t) + 1);
        auto* const table = reinterpret_cast<MIB_IFTABLE*>(memory.data());
        if (GetIfTable(table, &size, FALSE) != NO_ERROR)
            return interfaces;
        for (DWORD i = 0; i < table->dwNumEntries; ++i) {
            const MIB_IFROW& row = table->table[i];
            if (row.dwType == MIB_IF_TYPE_LOOPBACK)
                continue;
            interfaces.push_back({row.dwIndex, row.dwInOctets, row.dwOutOctets});
        }
        return interfaces;
    }

    std::optional<PowerFigures> ReadPower() override {
        SYSTEM_POWER_STATUS status;
        if (!GetSystemPowerStatus(&status))
            return std::nullopt;
        PowerFigures figures;
        figures.onMains = status.ACLineStatus == 1;
        figures.hasBattery =
            status.BatteryFlag != kUnknownByte && (status.BatteryFlag & kNoBatteryFlag) == 0;
        if (!figures.hasBattery)
            return figures;
        figures.charging = (status.BatteryFlag & kChargingFlag) != 0;
        if (status.BatteryLifePercent != kUnknownByte)
            figures.percent = status.BatteryLifePercent;
        if (status.BatteryLifeTime != MAXDWORD)
            figures.remainingSeconds = status.BatteryLifeTime;
        return figures;
    }

    std::vector<ProcessFacts> ReadProcesses(bool details) override {
        std::vector<ProcessFacts> processes;
        ProcessList list;
        PROCESSENTRY32W entry;
        while (list.Next(entry)) {
            ProcessFacts facts;
            facts.processId = entry.th32ProcessID;
            facts.parentId = entry.th32ParentProcessID;
            facts.threads = entry.cntThreads;
            facts.name = KrCommon::String::ToUtf8(entry.szExeFile);
            if (details)
                AddDetails(facts);
            processes.push_back(std::move(facts));
        }
        return processes;
    }

    std::uint64_t UptimeMs() override { return GetTickCount64(); }

    std::uint64_t IdleMs() override {
        LASTINPUTINFO info;
        info.cbSize = sizeof info;
        if (!GetLastInputInfo(&info))
            return 0;
        // Both are 32-bit ticks, so the difference is right across their overflow.
        const DWORD idle = GetTickCount() - info.dwTime;
        return idle;
    }

    std::int64_t Now() override { return std::time(nullptr); }

    std::uint32_t OwnProcessId() override { return GetCurrentProcessId(); }

    std::uint32_t EndProcess(std::uint32_t processId) override {
        const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, processId);
        if (process == nullptr)
            return GetLastError();
        const std::uint32_t error = TerminateProcess(process, kKilledExitCode) ? 0 : GetLastError();
        CloseHandle(process);
        return error;
    }
};

}  // namespace

std::unique_ptr<SystemProbe> MakeSystemProbe() {
    return std::make_unique<WindowsProbe>();
}

}  // namespace DevHost
