#include "wyctl/ServiceCommands.h"

#include <fmt/format.h>
#include <json/value.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <optional>
#include <thread>
#include <utility>

#include "Common/KrCommon/KrComn_Result.h"
#include "wyctl/Errors.h"
#include "wyctl/JsonText.h"
#include "wyctl/ProductIdentity.h"
#include "wyctl/Progress.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/ServiceState.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

constexpr std::uint32_t kStopped = 1;
constexpr std::uint32_t kRunning = 4;
constexpr std::chrono::milliseconds kPoll{100};

// ---- status

// What the endpoint answers to a call that changes nothing; nothing when the library cannot ask.
std::optional<CallResult> AskEndpoint(Context& context) {
    const Function* const function = FindFunction("WyGetSvchostPid");
    if (function == nullptr || !context.IsExported(function->name)) {
        return std::nullopt;
    }
    return context.TryCall(*function, {});
}

// Nobody has answered where the failure is one of the road to the service.
bool IsAnswer(const CallResult& result) {
    return KrCommon::Result::Succeeded(result.code) ||
           (result.code & 0xffff0000U) != KrCommon::Result::FromRemote(0) ||
           result.code == KrCommon::Result::kUnknownClient;
}

std::string EndpointText(const std::optional<CallResult>& result) {
    if (!result) {
        return "unknown";
    }
    if (KrCommon::Result::Succeeded(result->code)) {
        return fmt::format("answers, process {}", result->outputs.at(0).number);
    }
    return fmt::format("{}: {}", IsAnswer(*result) ? "answers with a failure" : "does not answer",
                       DescribeResult(result->code));
}

Json::Value EndpointAsJson(const std::optional<CallResult>& result) {
    if (!result) {
        return Json::Value(Json::nullValue);
    }
    Json::Value value(Json::objectValue);
    value["answers"] = IsAnswer(*result);
    AddResultCode(value, result->code);
    if (KrCommon::Result::Succeeded(result->code)) {
        value["processId"] = Json::UInt64{result->outputs.at(0).number};
    }
    return value;
}

Json::Value ServiceAsJson(const ServiceState& state) {
    Json::Value value(Json::objectValue);
    value["name"] = state.name;
    value["state"] = state.Text();
    value["stateNumber"] = state.state;
    value["systemError"] = state.error;
    value["processId"] =
        state.processId != 0 ? Json::Value(state.processId) : Json::Value(Json::nullValue);
    return value;
}

std::string Presence(bool there) {
    return there ? "there" : "absent";
}

// ---- start and stop

struct Order {
    const char* title;
    const char* function;
    std::uint32_t wanted;   // state
    std::uint32_t longest;  // seconds that the library may take
};

// What the library waits for at the moment.
std::string Stage(const Order& order, const ServiceState& state) {
    if (order.wanted == kRunning && !state.hasStartEvent) {
        return "waiting for the watchdog";
    }
    if (order.wanted == kStopped && state.state == kStopped) {
        return "stopped, its process ends";
    }
    return state.Text();
}

// Shows how the call gets on until it comes back.
std::uint32_t Follow(Context& context, const Order& order, std::future<std::uint32_t> result) {
    ProgressView view(context, order.title);
    std::chrono::milliseconds waited{0};
    do {
        if (context.Screen().WaitForInterrupt(0)) {
            view.Finish("left");
            throw Cancelled(fmt::format(
                "{}: Ctrl+C ends the wait; what the watchdog was asked stays asked", order.title));
        }
        const auto percent = static_cast<std::uint32_t>(waited / kPoll * 10 / order.longest);
        view.Show(std::min(percent, 99U), Stage(order, AskServiceState()), "");
        waited += kPoll;
    } while (result.wait_for(kPoll) != std::future_status::ready);
    const std::uint32_t code = result.get();
    view.Finish(KrCommon::Result::Succeeded(code) ? "done" : "failed");
    return code;
}

void Report(Context& context, const Order& order, std::uint32_t code) {
    const ServiceState state = AskServiceState();
    if (order.wanted == kStopped && !state.hasStopEvent) {
        context.Screen().Err("note: there is no watchdog; nobody was asked to stop the service\n");
    }
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = true;
        answer["function"] = order.function;
        AddResultCode(answer, code);
        answer["service"] = ServiceAsJson(state);
        context.PrintJson(answer);
        return;
    }
    const std::string process =
        state.processId != 0 ? fmt::format(", process {}", state.processId) : "";
    context.Screen().Out(fmt::format("{}: {}{}\n", state.name, state.Text(), process));
}

void Carry(Context& context, const Order& order) {
    const auto call = context.Export<std::uint32_t(WYAPI*)()>(order.function);
    AdoptLibraryIdentity(context);
    const std::shared_ptr<void> manager = KeepServiceManager();
    // The call cannot be broken off: after Ctrl+C its thread ends with the program.
    std::packaged_task<std::uint32_t()> task(call);
    std::future<std::uint32_t> result = task.get_future();
    std::thread(std::move(task)).detach();
    const std::uint32_t code = Follow(context, order, std::move(result));
    if (KrCommon::Result::Failed(code)) {
        throw CallFailed(order.function, {code, {}});
    }
    Report(context, order, code);
}

}  // namespace

void RunServiceStatus(Context& context) {
    AdoptLibraryIdentity(context);
    const ServiceState state = AskServiceState();
    const std::optional<CallResult> endpoint = AskEndpoint(context);
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = true;
        answer["service"] = ServiceAsJson(state);
        answer["watchdog"]["startEvent"] = state.hasStartEvent;
        answer["watchdog"]["stopEvent"] = state.hasStopEvent;
        answer["endpoint"] = EndpointAsJson(endpoint);
        context.PrintJson(answer);
        return;
    }
    TextTable table({"service", state.name});
    table.AddRow({"state", state.Text()});
    table.AddRow({"process", state.processId != 0 ? fmt::format("{}", state.processId) : "-"});
    table.AddRow({"watchdog, start event", Presence(state.hasStartEvent)});
    table.AddRow({"watchdog, stop event", Presence(state.hasStopEvent)});
    table.AddRow({"endpoint", EndpointText(endpoint)});
    context.Screen().Out(table.Render());
    if (!endpoint) {
        context.Screen().Err(fmt::format("note: without {} the endpoint cannot be asked\n",
                                         context.Options().libraryPath));
    }
}

void RunServiceStart(Context& context) {
    Carry(context, {"service start", "WyStartService", kRunning, 240});
}

void RunServiceStop(Context& context) {
    Carry(context, {"service stop", "WyStopService", kStopped, 122});
}

}  // namespace WyCtl
