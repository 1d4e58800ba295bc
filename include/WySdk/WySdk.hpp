// WySdk.hpp: WySdk.dll for C++17 applications.
//
// Owned texts, results that carry their value, and the functions of WySdk.h as typed calls grouped
// by family; subscriptions and the event queue are in WySdkEvents.hpp, which this header includes.
// Header only: link the import library of WySdk.dll and nothing else. Meaning, result codes and
// threading of each call are those of the function in WySdk.h whose name it carries.
//
//     auto session = wy::session::open(L"MyApplication");
//     if (auto load = wy::monitor::cpu_usage()) {
//         use(*load);
//     }
//
#ifndef WYSDK_WYSDK_HPP
#define WYSDK_WYSDK_HPP

#include <WySdk/WySdkEvents.hpp>
#include <WySdk/WySdkResult.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace wy {

// The session of the process (WyInitialize), closed with its owner. There is one for a process:
// of two objects the first that dies closes it. Subscriptions and queues must die before.
class session {
public:
    static result<session> open(const wchar_t* name) {
        const std::uint32_t code = WyInitialize(name);
        return {code, session(WY_SUCCEEDED(code))};
    }

    session(session&& other) noexcept : m_open(std::exchange(other.m_open, false)) {}
    session& operator=(session&& other) noexcept {
        if (this != &other) {
            (void)close();
            m_open = std::exchange(other.m_open, false);
        }
        return *this;
    }
    session(const session&) = delete;
    session& operator=(const session&) = delete;
    ~session() { (void)close(); }

    // Closes the session now and tells what became of it; WY_S_OK when it was closed already.
    result<void> close() noexcept {
        if (!std::exchange(m_open, false))
            return result<void>(WY_S_OK);
        return result<void>(WyUninitialize());
    }

private:
    explicit session(bool open) noexcept : m_open(open) {}
    bool m_open;
};

// How far work in the service has got.
struct progress {
    std::uint32_t value = 0;
    text feature;  // the part that is at work
    text object;   // the object at hand
};

namespace scan {

// The name of the scan.
inline result<text> start(std::uint32_t active_session_id, const wchar_t* items) {
    return detail::fetch_text([&](wchar_t** out) { return WyScan(active_session_id, items, out); });
}
inline result<void> pause(const wchar_t* scan) {
    return result<void>(WyPauseScan(scan));
}
inline result<void> resume(const wchar_t* scan) {
    return result<void>(WyResumeScan(scan));
}
inline result<void> cancel(const wchar_t* scan) {
    return result<void>(WyCancelScan(scan));
}
inline result<wy::progress> progress(const wchar_t* scan) {
    return detail::fetch<wy::progress>([&](wy::progress& out) {
        return WyGetScanProgress(scan, &out.value, out.feature.put(), out.object.put());
    });
}
inline result<text> findings(const wchar_t* scan, const wchar_t* items) {
    return detail::fetch_text([&](wchar_t** out) { return WyGetScanResult(scan, items, out); });
}
inline result<text> set_startup_services(const wchar_t* scan, const wchar_t* data,
                                         std::uint32_t status) {
    return detail::fetch_text(
        [&](wchar_t** out) { return WySetStartupServiceStatus(scan, data, status, out); });
}
inline result<text> set_startup_programs(const wchar_t* scan, const wchar_t* data,
                                         std::uint32_t status) {
    return detail::fetch_text(
        [&](wchar_t** out) { return WySetStartupProgramStatus(scan, data, status, out); });
}

}  // namespace scan

// Repairs, the second version.
namespace repair {

// The name of the repair.
inline result<text> start(const wchar_t* scan, const wchar_t* data) {
    return detail::fetch_text([&](wchar_t** out) { return WyCustomizeFixV2(scan, data, out); });
}
inline result<wy::progress> progress(const wchar_t* scan, const wchar_t* repair) {
    return detail::fetch<wy::progress>([&](wy::progress& out) {
        return WyGetFixProgressV2(scan, repair, &out.value, out.feature.put(), out.object.put());
    });
}
inline result<text> report(const wchar_t* scan, const wchar_t* repair) {
    return detail::fetch_text([&](wchar_t** out) { return WyGetFixResultV2(scan, repair, out); });
}
inline result<void> cancel(const wchar_t* scan, const wchar_t* repair) {
    return result<void>(WyCancelFixV2(scan, repair));
}

}  // namespace repair

namespace big_files {

inline result<void> start(const wchar_t* drive, const wchar_t* category, std::uint64_t file_size) {
    return result<void>(WyScanBigFile(drive, category, file_size));
}
inline result<std::uint32_t> progress() {
    return detail::fetch<std::uint32_t>(
        [](std::uint32_t& out) { return WyGetBigFileProgress(&out); });
}
inline result<text> findings(std::uint32_t high_bound) {
    return detail::fetch_text([&](wchar_t** out) { return WyGetBigFileResult(high_bound, out); });
}
inline result<text> remove(const wchar_t* data) {
    return detail::fetch_text([&](wchar_t** out) { return WyRemoveBigFile(data, out); });
}
inline result<void> cancel() {
    return result<void>(WyCancelBigFileScan());
}

}  // namespace big_files

namespace duplicate_files {

inline result<void> start(const wchar_t* drive, const wchar_t* category, std::uint64_t file_size) {
    return result<void>(WyScanDupFile(drive, category, file_size));
}
inline result<std::uint32_t> progress() {
    return detail::fetch<std::uint32_t>(
        [](std::uint32_t& out) { return WyGetDupFileProgress(&out); });
}
inline result<text> findings() {
    return detail::fetch_text([](wchar_t** out) { return WyGetDupFileResult(out); });
}
inline result<text> remove(const wchar_t* data) {
    return detail::fetch_text([&](wchar_t** out) { return WyRemoveDupFile(data, out); });
}
inline result<void> cancel() {
    return result<void>(WyCancelDupFileScan());
}

}  // namespace duplicate_files

namespace disk_usage {

inline result<void> start(const wchar_t* drive) {
    return result<void>(WyScanDiskUsage(drive));
}
inline result<std::uint32_t> progress() {
    return detail::fetch<std::uint32_t>(
        [](std::uint32_t& out) { return WyGetDiskUsageProgress(&out); });
}
inline result<text> findings() {
    return detail::fetch_text([](wchar_t** out) { return WyGetDiskUsageResult(out); });
}
inline result<void> cancel() {
    return result<void>(WyCancelDiskUsageScan());
}

}  // namespace disk_usage

namespace monitor {

struct memory {
    std::uint64_t used = 0;
    std::uint64_t available = 0;
    std::uint64_t total = 0;
};
struct disk_traffic {
    std::uint64_t read = 0;
    std::uint64_t written = 0;
};
struct network_traffic {
    std::uint64_t received = 0;
    std::uint64_t receive_speed = 0;
    std::uint64_t sent = 0;
    std::uint64_t send_speed = 0;
};

inline result<std::uint32_t> bootup_time() {
    return detail::fetch<std::uint32_t>(
        [](std::uint32_t& out) { return WyGetSysBootupTime(&out); });
}
inline result<std::uint32_t> cpu_usage() {
    return detail::fetch<std::uint32_t>([](std::uint32_t& out) { return WyGetSysCpuUsage(&out); });
}
inline result<memory> memory_usage() {
    return detail::fetch<memory>(
        [](memory& out) { return WyGetSysMemUsage(&out.used, &out.available, &out.total); });
}
inline result<disk_traffic> disk() {
    return detail::fetch<disk_traffic>(
        [](disk_traffic& out) { return WyGetSysDiskUsage(&out.read, &out.written); });
}
inline result<network_traffic> network() {
    return detail::fetch<network_traffic>([](network_traffic& out) {
        return WyGetSysNetworkUsage(&out.received, &out.receive_speed, &out.sent, &out.send_speed);
    });
}
inline result<text> battery() {
    return detail::fetch_text([](wchar_t** out) { return WyGetBatteryUsage(out); });
}
inline result<text> processes() {
    return detail::fetch_text([](wchar_t** out) { return WyGetProcessInfo(out); });
}
inline result<bool> is_idle() {
    std::uint32_t idle = 0;
    const std::uint32_t code = WyGetIdleStatus(&idle);
    return {code, idle != 0};
}
inline result<std::uint64_t> idle_timeframe(std::uint32_t duration, std::uint32_t period) {
    return detail::fetch<std::uint64_t>(
        [&](std::uint64_t& out) { return WyGetIdleTimeframe(duration, period, &out); });
}
inline result<bool> is_running(const wchar_t* module) {
    std::uint32_t running = 0;
    const std::uint32_t code = WyGetAppStatus(module, &running);
    return {code, running != 0};
}
inline result<void> end_process(const wchar_t* module) {
    return result<void>(WyForceKillApp(module));
}
inline result<bool> is_locked() {
    std::uint32_t locked = 0;
    const std::uint32_t code = WyGetLockStatus(&locked);
    return {code, locked != 0};
}
inline result<std::uint32_t> service_process() {
    return detail::fetch<std::uint32_t>([](std::uint32_t& out) { return WyGetSvchostPid(&out); });
}

}  // namespace monitor

namespace cloud {

struct ranking {
    std::uint32_t percentage = 0;
    std::uint32_t threshold = 0;
};

inline result<text> startup_programs(const wchar_t* scan) {
    return detail::fetch_text([&](wchar_t** out) { return WyGetCloudDataStartupApp(scan, out); });
}
inline result<text> startup_services(const wchar_t* scan) {
    return detail::fetch_text([&](wchar_t** out) { return WyGetCloudDataStartupSvc(scan, out); });
}
inline result<ranking> bootup_ranking(std::uint32_t bootup_time) {
    return detail::fetch<ranking>([&](ranking& out) {
        return WyGetCloudDataBootupRanking(bootup_time, &out.percentage, &out.threshold);
    });
}

}  // namespace cloud

namespace settings {

inline result<void> cache_validity(std::uint32_t period) {
    return result<void>(WySetCacheValidityTimeout(period));
}
inline result<void> scan_schedule(std::uint8_t day_of_week, std::uint8_t hour) {
    return result<void>(WySetScheduleScanTime(day_of_week, hour));
}
inline result<void> cloud_broker(std::uint32_t status) {
    return result<void>(WySetCloudBrokerStatus(status));
}
inline result<void> language(std::uint32_t lcid) {
    return result<void>(WySetProductLcid(lcid));
}
inline result<void> servers(const wchar_t* feedback_url, const wchar_t* reamer_url) {
    return result<void>(WySetInspectUrl(feedback_url, reamer_url));
}

// From here on no text may be null, except where a default stands.
inline result<void> proxy(const wchar_t* server, std::uint32_t port, const wchar_t* user,
                          const wchar_t* password, bool enable) {
    return result<void>(WySetProxy(server, port, user, password, enable));
}
inline result<void> identifiers(const wchar_t* first, const wchar_t* second, const wchar_t* third) {
    return result<void>(WySetIdentifier(first, second, third));
}
// Leaves a third or fourth that is null or empty as it is.
inline result<void> identifiers_present(const wchar_t* first, const wchar_t* second,
                                        const wchar_t* third = nullptr,
                                        const wchar_t* fourth = nullptr) {
    return result<void>(WySetIdentifierEx(first, second, third, fourth));
}
inline result<void> reamer(std::uint32_t status) {
    return result<void>(WySetReamerStatus(status));
}
inline result<void> debug_log(bool enable, std::uint32_t level) {
    return result<void>(WySetDebugLog(enable, level));
}

}  // namespace settings

namespace folders {

namespace detail {

// Asks for the size, then for the text; again when the folder has changed in between.
inline result<std::wstring> fetch(std::uint32_t(WYAPI* get)(wchar_t*, std::uint32_t*)) {
    std::wstring folder;
    std::uint32_t size = 0;
    std::uint32_t code = get(nullptr, &size);
    while (code == WY_E_BUFFER_IS_NULL || (WY_SUCCEEDED(code) && size >= folder.size())) {
        folder.assign(std::size_t{size} + 1, L'\0');
        size = static_cast<std::uint32_t>(folder.size());
        code = get(folder.data(), &size);
    }
    folder.resize(WY_SUCCEEDED(code) ? size : 0);
    return {code, std::move(folder)};
}

}  // namespace detail

inline result<std::wstring> debug_log() {
    return detail::fetch(WyGetDebugLogFolder);
}
inline result<std::wstring> cache() {
    return detail::fetch(WyGetCacheFolder);
}

}  // namespace folders

inline result<void> update() {
    return result<void>(WyUpdate());
}
inline result<void> deploy_update(const wchar_t* download_path) {
    return result<void>(WyAuDeploy(download_path));
}

namespace service {

inline result<void> start() {
    return result<void>(WyStartService());
}
inline result<void> stop() {
    return result<void>(WyStopService());
}

}  // namespace service

}  // namespace wy

#endif
