// Idle history, sampler and the monitoring handlers, on a machine of the test's own.

#include "devhost/MonitoringHandlers.h"

#include <gtest/gtest.h>

#include "unit/devhost/FakeProbe.h"
#include "unit/devhost/RouterCaller.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::IdleHistory;
using DevHost::Measurements;
using std::chrono::milliseconds;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;

DevHost::ProcessFacts Process(std::uint32_t id, const std::string& name, std::uint32_t session = 1,
                              std::int64_t started = 0) {
    DevHost::ProcessFacts facts;
    facts.processId = id;
    facts.name = name;
    facts.session = session;
    facts.started = started;
    return facts;
}

TEST(IdleHistory, latest_stretch_that_is_long_enough_is_found) {
    IdleHistory history;
    history.Look(1000, 0);
    history.Look(1100, 100);
    history.Look(1110, 5);   // input at 1105: idle from 1000 to 1105
    history.Look(1160, 55);  // idle from 1105 on
    EXPECT_EQ(history.Find(1160, 50, 1000), 1105);
    EXPECT_EQ(history.Find(1160, 100, 1000), 1000);
    EXPECT_EQ(history.Find(1160, 106, 1000), std::nullopt);
    EXPECT_EQ(history.Find(1160, 55, 1000), 1105);
}

TEST(IdleHistory, only_what_lies_in_the_period_counts) {
    IdleHistory history;
    history.Look(1000, 900);
    EXPECT_EQ(history.Find(1000, 100, 900), 100);
    EXPECT_EQ(history.Find(1000, 100, 200), 800);
    EXPECT_EQ(history.Find(1000, 100, 50), std::nullopt);
    EXPECT_EQ(history.Find(1000, 4294967295U, 4294967295U), std::nullopt);
    EXPECT_EQ(history.Find(1000, 0, 0), 1000);
}

TEST(IdleHistory, nothing_was_seen_yet) {
    EXPECT_EQ(IdleHistory().Find(1000, 0, 100), std::nullopt);
}

TEST(IdleHistory, starts_that_wobble_by_a_second_are_one_stretch) {
    IdleHistory history;
    history.Look(1000, 100);
    history.Look(1001, 100);
    history.Look(1002, 102);
    EXPECT_EQ(history.Find(1002, 101, 1000), 900);
}

TEST(IdleHistory, constant_input_leaves_no_stretches) {
    IdleHistory history;
    history.Look(1000, 500);
    for (std::int64_t now = 1001; now < 1100; ++now)
        history.Look(now, 0);
    EXPECT_EQ(history.Find(1099, 10, 10'000), 500);
    EXPECT_EQ(history.Find(1099, 2, 90), std::nullopt);
}

TEST(IdleHistory, what_is_older_than_a_day_is_forgotten) {
    constexpr std::int64_t kHour = 3600;
    IdleHistory history;
    history.Look(10'000, 9'000);
    std::int64_t now = 10'000;
    for (int hour = 0; hour < 20; ++hour)
        history.Look(now += kHour, 0);
    EXPECT_EQ(history.Find(now, 8'000, 4'000'000'000U), 1'000);
    for (int hour = 0; hour < 6; ++hour)
        history.Look(now += kHour, 0);
    EXPECT_EQ(history.Find(now, 8'000, 4'000'000'000U), std::nullopt);
}

TEST(IdleHistory, clock_set_back_starts_anew) {
    IdleHistory history;
    history.Look(100'000, 1000);
    history.Look(50'000, 20);
    EXPECT_EQ(history.Find(50'000, 20, 1000), 49'980);
    EXPECT_EQ(history.Find(50'000, 500, 4'000'000'000U), std::nullopt);
}

TEST(Sampler, cpu_load_is_that_of_the_last_interval) {
    FakeProbe probe;
    DevHost::Sampler sampler(probe);
    sampler.Look(milliseconds(0));
    EXPECT_EQ(sampler.Get().cpuPercent, 30U);  // since the machine started
    probe.cpu = DevHost::CpuTimes{700, 1100};
    sampler.Look(milliseconds(1000));
    EXPECT_EQ(sampler.Get().cpuPercent, 100U);
    probe.cpu = DevHost::CpuTimes{975, 1500};
    sampler.Look(milliseconds(1000));
    EXPECT_EQ(sampler.Get().cpuPercent, 31U);  // 125 of 400
    probe.cpu = DevHost::CpuTimes{10'000, 1600};
    sampler.Look(milliseconds(1000));
    EXPECT_EQ(sampler.Get().cpuPercent, 0U);
    probe.cpu.reset();
    sampler.Look(milliseconds(1000));
    EXPECT_EQ(sampler.Get().cpuPercent, 0U);
}

TEST(Sampler, network_counters_are_added_up_across_their_overflow) {
    FakeProbe probe;
    probe.network = {{1, 0xfffffff0, 100}, {2, 50, 50}};
    DevHost::Sampler sampler(probe);
    sampler.Look(milliseconds(0));
    EXPECT_EQ(sampler.Get().received, 0U);
    probe.network = {{1, 0x10, 300}, {2, 50, 50}, {3, 9999, 9999}};
    sampler.Look(milliseconds(500));
    Measurements figures = sampler.Get();
    EXPECT_EQ(figures.received, 32U);
    EXPECT_EQ(figures.receiveSpeed, 64U);
    EXPECT_EQ(figures.sent, 200U);
    EXPECT_EQ(figures.sendSpeed, 400U);
    probe.network.clear();
    sampler.Look(milliseconds(500));
    figures = sampler.Get();
    EXPECT_EQ(figures.received, 32U);
    EXPECT_EQ(figures.receiveSpeed, 0U);
}

TEST(Sampler, disk_speed_is_that_of_the_last_interval) {
    FakeProbe probe;
    probe.disks = DevHost::DiskCounters{1000, 2000};
    DevHost::Sampler sampler(probe);
    sampler.Look(milliseconds(0));
    EXPECT_EQ(sampler.Get().diskSpeed->read, 0U);
    probe.disks = DevHost::DiskCounters{3000, 2500};
    sampler.Look(milliseconds(2000));
    EXPECT_EQ(sampler.Get().diskSpeed->read, 1000U);
    EXPECT_EQ(sampler.Get().diskSpeed->written, 250U);
}

TEST(Sampler, machine_that_counts_nothing_of_its_disks_is_asked_once) {
    FakeProbe probe;
    DevHost::Sampler sampler(probe);
    for (int i = 0; i < 5; ++i)
        sampler.Look(milliseconds(1000));
    EXPECT_FALSE(sampler.Get().diskSpeed.has_value());
    EXPECT_EQ(probe.diskReads, 1U);
}

TEST(Sampler, thread_starts_and_stops) {
    FakeProbe probe;
    DevHost::Sampler sampler(probe);
    sampler.Start();
    EXPECT_EQ(sampler.Get().cpuPercent, 30U);
    sampler.Stop();
    sampler.Stop();
}

class Monitoring : public testing::Test {
protected:
    explicit Monitoring(bool allowKill = false)
        : m_Handlers(m_Probe, m_Sampler, allowKill, [this] { return m_bBusy; }) {
        m_Handlers.AddTo(m_Api.router);
        m_Probe.disks = DevHost::DiskCounters{10, 10};
        m_Sampler.Look(milliseconds(0));
    }

    FakeProbe m_Probe;
    DevHost::Sampler m_Sampler{m_Probe};
    bool m_bBusy = false;
    DevHost::MonitoringHandlers m_Handlers;
    RouterCaller m_Api;
};

class KillingMonitoring : public Monitoring {
protected:
    KillingMonitoring() : Monitoring(true) {}
};

TEST_F(Monitoring, figures_of_processor_memory_disk_and_network) {
    EXPECT_EQ(m_Api.Call(400013001).data["cpuUsage"].asUInt(), 30U);
    ApiAnswer answer = m_Api.Call(400013002);
    EXPECT_EQ(answer.data["memUsage"].asUInt64(), 700U);
    EXPECT_EQ(answer.data["memAvail"].asUInt64(), 300U);
    EXPECT_EQ(answer.data["memTotal"].asUInt64(), 1000U);
    m_Probe.disks = DevHost::DiskCounters{10, 10};
    m_Probe.network = {{1, 10, 10}};
    m_Sampler.Look(milliseconds(1000));
    m_Probe.disks = DevHost::DiskCounters{110, 30};
    m_Probe.network = {{1, 60, 20}};
    m_Sampler.Look(milliseconds(1000));
    answer = m_Api.Call(400013003);
    EXPECT_EQ(answer.data["diskReadUsage"].asUInt64(), 100U);
    EXPECT_EQ(answer.data["diskWriteUsage"].asUInt64(), 20U);
    EXPECT_TRUE(answer.data["measured"].asBool());
    answer = m_Api.Call(400013004);
    EXPECT_EQ(answer.data["pcRecvFlowUsed"].asUInt64(), 50U);
    EXPECT_EQ(answer.data["pcRecvSpeed"].asUInt64(), 50U);
    EXPECT_EQ(answer.data["pcSendFlowUsed"].asUInt64(), 10U);
    EXPECT_EQ(answer.data["pcSendSpeed"].asUInt64(), 10U);
}

TEST_F(Monitoring, disks_that_are_not_counted_are_zero_and_said_to_be) {
    FakeProbe probe;
    DevHost::Sampler sampler(probe);
    sampler.Look(milliseconds(0));
    DevHost::MonitoringHandlers handlers(probe, sampler, false, [] { return false; });
    RouterCaller api;
    handlers.AddTo(api.router);
    const ApiAnswer answer = api.Call(400013003);
    EXPECT_EQ(answer.retCode, kSuccess);
    EXPECT_EQ(answer.data["diskReadUsage"].asUInt64(), 0U);
    EXPECT_EQ(answer.data["diskWriteUsage"].asUInt64(), 0U);
    EXPECT_FALSE(answer.data["measured"].asBool());
}

TEST_F(Monitoring, figures_that_the_machine_lacks_are_a_failure) {
    m_Probe.memory.reset();
    m_Probe.power.reset();
    EXPECT_EQ(m_Api.Code(400013002), KrCommon::Result::kFailure);
    EXPECT_EQ(m_Api.Code(400013000), KrCommon::Result::kFailure);
    EXPECT_EQ(m_Api.Code(400008000), KrCommon::Result::kFailure);
}

TEST_F(Monitoring, battery_with_and_without) {
    ApiAnswer answer = m_Api.Call(400013000);
    EXPECT_FALSE(answer.data["hasBattery"].asBool());
    EXPECT_FALSE(answer.data.isMember("percent"));
    m_Probe.power = DevHost::PowerFigures{true, true, 55, 3600, true};
    answer = m_Api.Call(400013000);
    EXPECT_TRUE(answer.data["onMains"].asBool() && answer.data["hasBattery"].asBool() &&
                answer.data["charging"].asBool());
    EXPECT_EQ(answer.data["percent"].asUInt(), 55U);
    EXPECT_EQ(answer.data["remainingSeconds"].asUInt(), 3600U);
}

TEST_F(Monitoring, start_up_lasts_until_the_first_process_of_the_own_session) {
    const std::int64_t start = m_Probe.now - 500;
    m_Probe.processes = {Process(1, "system", 0, start + 1), Process(5, "shell", 1, start + 42),
                         Process(10, "WySvcHost.exe", 1, start + 90), Process(11, "odd", 1, 0)};
    const ApiAnswer answer = m_Api.Call(400008000);
    EXPECT_EQ(answer.data["bootupTime"].asUInt(), 42U);
    EXPECT_EQ(answer.data["machineStart"].asInt64(), start);
    EXPECT_EQ(answer.data["uptimeSeconds"].asUInt(), 500U);
}

TEST_F(Monitoring, start_up_that_would_be_negative_is_zero) {
    m_Probe.processes = {Process(10, "WySvcHost.exe", 1, 5)};
    EXPECT_EQ(m_Api.Call(400008000).data["bootupTime"].asUInt(), 0U);
}

TEST_F(Monitoring, idle_state_from_five_minutes_on) {
    m_Probe.idleMs = DevHost::MonitoringHandlers::kIdleAfterMs - 1;
    EXPECT_EQ(m_Api.Call(400013006).data["idleStatus"].asUInt(), 0U);
    m_Probe.idleMs = DevHost::MonitoringHandlers::kIdleAfterMs;
    const ApiAnswer answer = m_Api.Call(400013006);
    EXPECT_EQ(answer.data["idleStatus"].asUInt(), 1U);
    EXPECT_EQ(answer.data["idleSeconds"].asUInt(), 300U);
}

TEST_F(Monitoring, idle_time_frame) {
    m_Probe.idleMs = 600'000;
    m_Sampler.Look(milliseconds(1000));
    ApiAnswer answer = m_Api.Call(400013007, R"({"duration": 300, "period": 3600})");
    EXPECT_TRUE(answer.data["found"].asBool());
    EXPECT_EQ(answer.data["timestamp"].asInt64(), m_Probe.now - 600);
    answer = m_Api.Call(400013007, R"({"duration": 3000, "period": 3600})");
    EXPECT_FALSE(answer.data["found"].asBool());
    EXPECT_EQ(answer.data["timestamp"].asInt64(), 0);
    EXPECT_EQ(m_Api.Code(400013007, R"({"duration": -1, "period": 3600})"),
              KrCommon::Result::kInvalidArgument);
}

TEST_F(Monitoring, processes_are_listed) {
    m_Probe.processes = {Process(10, "WySvcHost.exe"), Process(11, "b\xc3\xa4r.exe")};
    const ApiAnswer answer = m_Api.Call(400013005);
    ASSERT_EQ(answer.data["processes"].size(), 2U);
    EXPECT_EQ(answer.data["processes"][1]["pid"].asUInt(), 11U);
    EXPECT_EQ(answer.data["processes"][1]["name"].asString(), "b\xc3\xa4r.exe");
}

TEST_F(Monitoring, lock_state_and_own_process) {
    EXPECT_EQ(m_Api.Call(400012011).data["lockStatus"].asUInt(), 0U);
    m_bBusy = true;
    EXPECT_EQ(m_Api.Call(400012011).data["lockStatus"].asUInt(), 1U);
    EXPECT_EQ(m_Api.Call(400012012).data["currentPid"].asUInt(), 10U);
}

TEST_F(Monitoring, application_is_found_by_name_with_and_without_extension) {
    m_Probe.processes = {Process(20, "Editor.exe")};
    for (const char* name : {"Editor.exe", "editor.EXE", "editor"}) {
        EXPECT_EQ(m_Api.Call(400012009, std::string("{\"moduleName\": \"") + name + "\"}")
                      .data["isProcessRunning"]
                      .asUInt(),
                  1U)
            << name;
    }
    EXPECT_EQ(m_Api.Call(400012009, R"({"moduleName": "edit"})").data["isProcessRunning"].asUInt(),
              0U);
    for (const char* bad : {"", "C:\\\\x.exe", "a/b", "c:x"}) {
        EXPECT_EQ(m_Api.Code(400012009, std::string("{\"moduleName\": \"") + bad + "\"}"),
                  KrCommon::Result::kInvalidArgument)
            << bad;
    }
}

TEST_F(Monitoring, no_process_is_ended_without_permission) {
    m_Probe.processes = {Process(20, "Editor.exe")};
    EXPECT_EQ(m_Api.Code(400012010, R"({"moduleName": "editor"})"), DevHost::kAccessDenied);
    EXPECT_EQ(DevHost::kAccessDenied, 0xe0fe0005U);
    EXPECT_TRUE(m_Probe.ended.empty());
}

TEST_F(KillingMonitoring, every_process_of_the_name_is_ended) {
    m_Probe.processes = {Process(20, "Editor.exe"), Process(21, "other.exe"),
                         Process(22, "editor.exe")};
    const ApiAnswer answer = m_Api.Call(400012010, R"({"moduleName": "editor"})");
    EXPECT_EQ(answer.retCode, kSuccess);
    EXPECT_EQ(m_Probe.ended, (std::vector<std::uint32_t>{20, 22}));
    EXPECT_EQ(answer.data["ended"].size(), 2U);
    EXPECT_EQ(m_Api.Code(400012010, R"({"moduleName": "absent"})"), KrCommon::Result::kNotFound);
}

TEST_F(KillingMonitoring, host_and_system_processes_are_spared) {
    m_Probe.processes = {Process(10, "WySvcHost.exe"), Process(30, "Explorer.EXE"),
                         Process(31, "services.exe")};
    for (const char* name : {"WySvcHost", "explorer.exe", "services"}) {
        EXPECT_EQ(m_Api.Code(400012010, std::string("{\"moduleName\": \"") + name + "\"}"),
                  DevHost::kAccessDenied)
            << name;
    }
    EXPECT_TRUE(m_Probe.ended.empty());
}

TEST_F(KillingMonitoring, refusal_of_the_system_is_the_answer) {
    m_Probe.processes = {Process(20, "Editor.exe")};
    m_Probe.endError = 87;
    EXPECT_EQ(m_Api.Code(400012010, R"({"moduleName": "editor"})"), 0xe0fe0057U);
}

}  // namespace
