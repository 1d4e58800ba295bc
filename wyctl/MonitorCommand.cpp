#include <fmt/format.h>
#include <json/value.h>

#include <array>

#include "wyctl/Commands.h"
#include "wyctl/ResultView.h"

namespace WyCtl {

namespace {

// One measurement after the other, all of a moment.
constexpr std::array kMeasurements = {"WyGetSysCpuUsage", "WyGetSysMemUsage", "WyGetSysDiskUsage",
                                      "WyGetSysNetworkUsage", "WyGetIdleStatus"};

// The head of the lines is repeated so that it stays on a screen.
constexpr std::uint32_t kLinesPerHead = 20;

Json::Value Measure(Context& context) {
    Json::Value sample(Json::objectValue);
    for (const char* name : kMeasurements) {
        for (const OutputValue& output : context.Call(name, {}).outputs) {
            sample[output.key] = OutputAsJson(output);
        }
    }
    return sample;
}

std::string Head() {
    return fmt::format("{:>6} {:>7} {:>10} {:>10} {:>12} {:>12} {:>12} {:>12}  {}\n", "sample",
                       "cpu", "mem used", "mem total", "disk read", "disk write", "received",
                       "sent", "idle");
}

std::string Line(std::uint32_t number, const Json::Value& sample) {
    const auto size = [&sample](const char* key) { return HumanSize(sample[key].asUInt64()); };
    const auto speed = [&size](const char* key) { return size(key) + "/s"; };
    return fmt::format("{:6} {:5} % {:>10} {:>10} {:>12} {:>12} {:>12} {:>12}  {}\n", number,
                       sample["cpuUsage"].asUInt64(), size("memUsage"), size("memTotal"),
                       speed("diskReadUsage"), speed("diskWriteUsage"), speed("pcRecvSpeed"),
                       speed("pcSendSpeed"), sample["idleStatus"].asUInt64() != 0 ? "yes" : "no");
}

void Show(Context& context, std::uint32_t number, Json::Value sample) {
    if (context.Options().json) {
        sample["ok"] = true;
        sample["sample"] = number;
        context.PrintJson(sample);
        return;
    }
    if ((number - 1) % kLinesPerHead == 0) {
        context.Screen().Out(Head());
    }
    context.Screen().Out(Line(number, sample));
}

}  // namespace

void RunMonitor(Context& context, const MonitorOptions& options) {
    SessionScope session(context);
    std::uint32_t number = 0;
    do {
        ++number;
        Show(context, number, Measure(context));
    } while (number != options.count && !context.Screen().WaitForInterrupt(options.intervalMs));
    session.Close();
}

}  // namespace WyCtl
