#include <json/value.h>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/Commands.h"
#include "wyctl/Progress.h"
#include "wyctl/ResultView.h"

namespace WyCtl {

namespace {

std::wstring Wide(const std::string& text) {
    return KrCommon::String::FromUtf8(text);
}

std::string TextOf(const OutputValue& output) {
    return output.text.value_or("");
}

LongWork FollowScan(Context& context, const std::wstring& sessionId) {
    LongWork work;
    work.title = "scan";
    work.poll = [&context, sessionId] {
        const CallResult step = context.Call("WyGetScanProgress", {sessionId});
        return LongWork::Step{static_cast<std::uint32_t>(step.outputs[0].number),
                              TextOf(step.outputs[1]), TextOf(step.outputs[2])};
    };
    work.cancel = [&context, sessionId] { context.Call("WyCancelScan", {sessionId}); };
    return work;
}

// A search that has no identifier of its own: started, followed and stopped by its functions.
struct FileSearch {
    const char* title;
    const char* progress;
    const char* cancel;
};

LongWork FollowSearch(Context& context, const FileSearch& search) {
    LongWork work;
    work.title = search.title;
    work.poll = [&context, name = search.progress] {
        const CallResult step = context.Call(name, {});
        return LongWork::Step{static_cast<std::uint32_t>(step.outputs[0].number), "", ""};
    };
    work.cancel = [&context, name = search.cancel] { context.Call(name, {}); };
    return work;
}

void ShowFindings(Context& context, const std::string& command, const OutputValue& findings) {
    const Json::Value value = OutputAsJson(findings);
    if (!context.Options().json) {
        context.Screen().Out(ViewResult(value));
        return;
    }
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["command"] = command;
    answer["result"] = value;
    context.PrintJson(answer);
}

}  // namespace

void RunScan(Context& context, const ScanOptions& options) {
    SessionScope session(context);
    const std::wstring items = Wide(options.items);
    const CallResult started =
        context.Call("WyScan", {std::uint64_t{options.activeSession}, items});
    const std::wstring sessionId = Wide(TextOf(started.outputs[0]));
    FollowToEnd(context, FollowScan(context, sessionId));
    const CallResult result = context.Call("WyGetScanResult", {sessionId, items});
    session.Close();
    ShowFindings(context, "scan", result.outputs[0]);
}

void RunBigFiles(Context& context, const FileSearchOptions& options) {
    SessionScope session(context);
    context.Call("WyScanBigFile",
                 {Wide(options.drive), Wide(options.category), options.minimumSize});
    FollowToEnd(context, FollowSearch(context, {"big files", "WyGetBigFileProgress",
                                                "WyCancelBigFileScan"}));
    const CallResult result = context.Call("WyGetBigFileResult", {std::uint64_t{options.limit}});
    session.Close();
    ShowFindings(context, "bigfiles", result.outputs[0]);
}

void RunDuplicates(Context& context, const FileSearchOptions& options) {
    SessionScope session(context);
    context.Call("WyScanDupFile",
                 {Wide(options.drive), Wide(options.category), options.minimumSize});
    FollowToEnd(context, FollowSearch(context, {"duplicates", "WyGetDupFileProgress",
                                                "WyCancelDupFileScan"}));
    const CallResult result = context.Call("WyGetDupFileResult", {});
    session.Close();
    ShowFindings(context, "duplicates", result.outputs[0]);
}

void RunUsage(Context& context, const FileSearchOptions& options) {
    SessionScope session(context);
    context.Call("WyScanDiskUsage", {Wide(options.drive)});
    FollowToEnd(context, FollowSearch(context, {"disk usage", "WyGetDiskUsageProgress",
                                                "WyCancelDiskUsageScan"}));
    const CallResult result = context.Call("WyGetDiskUsageResult", {});
    session.Close();
    ShowFindings(context, "usage", result.outputs[0]);
}

}  // namespace WyCtl
