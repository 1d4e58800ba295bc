#include "wyctl/UpdateCommands.h"

#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "WySdk/UpdateDeploy.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "utilMode/ExternalDllMode.h"
#include "wyctl/Errors.h"
#include "wyctl/JsonText.h"
#include "wyctl/PendingMoves.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/ResultView.h"
#include "wyctl/TextTable.h"
#include "wyctl/UpdatePlan.h"

namespace WyCtl {

namespace {

using KrCommon::String::FromUtf8;
using KrCommon::String::ToUtf8;

constexpr const char* kFunction = "WyAuDeploy";

// The folder of the installed product, by the identity that the library has.
std::wstring ProductPath(Context& context) {
    context.LibraryIsLoadable();
    const Frwk::Mode::ExternalDllMode identity(L"WySdk.dll", L"WySvcHost.exe");
    return WyCommon::Utility::GetProductPath();
}

bool IsOwn(const std::wstring& path, const std::wstring& product) {
    return !product.empty() &&
           (LiesBelow(path, product) || LiesBelow(path, UpdateDeploy::TemporaryFolder(product)) ||
            LiesBelow(path, WyCommon::Utility::GetCommonDataRoot()));
}

bool IsOwn(const PendingMove& move, const std::wstring& product) {
    return IsOwn(move.source, product) || IsOwn(move.target, product);
}

std::size_t CountOwn(const std::vector<PendingMove>& moves, const std::wstring& product) {
    std::size_t count = 0;
    for (const PendingMove& move : moves) {
        count += IsOwn(move, product) ? 1 : 0;
    }
    return count;
}

Json::Value AsJson(const UpdatePlan& plan) {
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["plan"] = true;
    answer["download"] = ToUtf8(plan.download);
    answer["product"] = ToUtf8(plan.product);
    answer["temporary"] = ToUtf8(plan.temporary);
    answer["bytes"] = static_cast<Json::UInt64>(plan.Bytes());
    Json::Value& copies = answer["copies"] = Json::Value(Json::arrayValue);
    for (const UpdatePlan::Copy& copy : plan.copies) {
        Json::Value& item = copies.append(Json::Value(Json::objectValue));
        item["from"] = ToUtf8(copy.from);
        item["to"] = ToUtf8(copy.to);
        item["size"] = static_cast<Json::UInt64>(copy.size);
        item["replaces"] = copy.replaces;
    }
    Json::Value& moves = answer["moves"] = Json::Value(Json::arrayValue);
    for (const UpdatePlan::Move& move : plan.moves) {
        Json::Value& item = moves.append(Json::Value(Json::objectValue));
        item["from"] = ToUtf8(move.from);
        item["to"] = ToUtf8(move.to);
        item["folder"] = move.folder;
        item["leftover"] = move.leftover;
        item["targetExists"] = move.targetExists;
    }
    Json::Value& removals = answer["removals"] = Json::Value(Json::arrayValue);
    for (const std::wstring& folder : plan.removals) {
        removals.append(ToUtf8(folder));
    }
    return answer;
}

std::string Remark(const UpdatePlan::Move& move) {
    std::string remark = "new";
    if (move.targetExists) {
        remark = move.folder ? "is there" : "replaced";
    }
    return move.leftover ? remark + ", left over" : remark;
}

std::string AsText(const UpdatePlan& plan) {
    std::string text = fmt::format(
        "download   {}\nproduct    {}\ntemporary  {}\n\n", Printable(ToUtf8(plan.download)),
        Printable(ToUtf8(plan.product)), Printable(ToUtf8(plan.temporary)));
    TextTable copies({"copied at once", "to", "bytes"});
    for (const UpdatePlan::Copy& copy : plan.copies) {
        copies.AddRow({ToUtf8(copy.from), ToUtf8(copy.to), fmt::format("{}", copy.size)});
    }
    TextTable moves({"moved at the next restart", "to", "target"});
    for (const UpdatePlan::Move& move : plan.moves) {
        moves.AddRow(
            {ToUtf8(move.from) + (move.folder ? "\\" : ""), ToUtf8(move.to), Remark(move)});
    }
    TextTable removals({"removed behind that"});
    for (const std::wstring& folder : plan.removals) {
        removals.AddRow({ToUtf8(folder)});
    }
    text += copies.Render() + "\n" + moves.Render() + "\n" + removals.Render();
    return text + fmt::format(
                      "\n{} file(s), {} bytes to copy; {} move(s) and {} removal(s) to "
                      "queue. Nothing was changed.\n",
                      plan.copies.size(), plan.Bytes(), plan.moves.size(), plan.removals.size());
}

void Deploy(Context& context, const std::wstring& download, const std::wstring& product) {
    Function function;
    function.name = kFunction;
    function.hasRow = false;
    function.arguments = {{"downloadPath", true, false, ArgumentType::Text}};
    const InputValue inputs[] = {download};
    CallResult result = context.TryCall(function, inputs);
    if (KrCommon::Result::Failed(result.code)) {
        throw CallFailed(kFunction, std::move(result));
    }
    const std::string temporary = ToUtf8(UpdateDeploy::TemporaryFolder(product));
    const std::size_t queued = CountOwn(ReadPendingMoves(), product);
    if (!context.Options().json) {
        context.Screen().Out(
            fmt::format("copied to {}; {} entries of the product are queued for the next restart\n",
                        Printable(temporary), queued));
        return;
    }
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["plan"] = false;
    answer["function"] = kFunction;
    AddResultCode(answer, result.code);
    answer["temporary"] = temporary;
    answer["queued"] = static_cast<Json::UInt64>(queued);
    context.PrintJson(answer);
}

}  // namespace

void RunUpdateDeploy(Context& context, const UpdateDeployOptions& options) {
    if (options.path.empty()) {
        throw UsageError("PATH is empty");
    }
    const std::wstring product = ProductPath(context);
    if (product.empty()) {
        throw Failure("no product is installed: there is nothing to update");
    }
    const std::wstring download = FromUtf8(options.path);
    if (!options.plan) {
        Deploy(context, download, product);
        return;
    }
    const UpdatePlan plan = MakeUpdatePlan(download, product);
    if (context.Options().json) {
        context.PrintJson(AsJson(plan));
    } else {
        context.Screen().Out(AsText(plan));
    }
}

void RunUpdatePending(Context& context) {
    const std::wstring product = ProductPath(context);
    const std::vector<PendingMove> moves = ReadPendingMoves();
    const std::size_t own = CountOwn(moves, product);
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = true;
        answer["product"] = ToUtf8(product);
        answer["own"] = static_cast<Json::UInt64>(own);
        Json::Value& entries = answer["entries"] = Json::Value(Json::arrayValue);
        for (const PendingMove& move : moves) {
            Json::Value& item = entries.append(Json::Value(Json::objectValue));
            item["source"] = ToUtf8(move.source);
            item["target"] = move.target.empty() ? Json::Value() : Json::Value(ToUtf8(move.target));
            item["action"] = move.target.empty() ? "remove" : "move";
            item["replaces"] = move.replaces;
            item["own"] = IsOwn(move, product);
        }
        context.PrintJson(answer);
        return;
    }
    if (moves.empty()) {
        context.Screen().Out("nothing is queued for the next restart\n");
        return;
    }
    TextTable table({"own", "action", "source", "target"});
    for (const PendingMove& move : moves) {
        const char* const action = move.target.empty() ? "remove"
                                   : move.replaces     ? "replace"
                                                       : "move";
        table.AddRow(
            {IsOwn(move, product) ? "*" : "", action, ToUtf8(move.source), ToUtf8(move.target)});
    }
    context.Screen().Out(table.Render() + fmt::format("\n{} of {} entries are of this product\n",
                                                      own, moves.size()));
}

}  // namespace WyCtl
