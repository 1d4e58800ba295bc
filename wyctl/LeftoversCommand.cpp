#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/DeployCommands.h"
#include "wyctl/Errors.h"
#include "wyctl/Leftovers.h"
#include "wyctl/PackageFolder.h"
#include "wyctl/ProductIdentity.h"
#include "wyctl/StateRows.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

using KrCommon::String::ToUtf8;
using State = Leftover::State;

constexpr State kStates[] = {State::Unexpected, State::Restart, State::Stays};

Json::Value AsJson(const LeftoverReport& report, bool installed) {
    Json::Value answer(Json::objectValue);
    answer["ok"] = report.Count(State::Unexpected) == 0;
    answer["productId"] = ToUtf8(report.productId);
    answer["folder"] =
        report.folder.empty() ? Json::Value(Json::nullValue) : Json::Value(ToUtf8(report.folder));
    answer["installed"] = installed;
    Json::Value& counts = answer["counts"] = CountsAsJson(report.places, kStates);
    counts[StateName(State::Absent)] = static_cast<Json::UInt64>(report.Count(State::Absent));
    answer["places"] = RowsAsJson(report.places, "what");
    return answer;
}

std::string AsText(const LeftoverReport& report) {
    return RowsAsText(report.places, kStates) +
           fmt::format(
               "{} place(s) looked at: {} unexpected, {} go with the next restart, {} stay\n",
               report.places.size(), report.Count(State::Unexpected), report.Count(State::Restart),
               report.Count(State::Stays));
}

}  // namespace

int RunLeftovers(Context& context, const std::string& folder) {
    AdoptLibraryIdentity(context);
    const LeftoverReport report =
        FindLeftovers(folder.empty() ? std::wstring() : WholePath(folder, "FOLDER"));
    const std::wstring installed = WyCommon::Utility::GetProductPath();
    if (context.Options().json) {
        context.PrintJson(AsJson(report, !installed.empty()));
    } else {
        context.Screen().Out(AsText(report));
    }
    if (!installed.empty()) {
        context.Screen().Err(fmt::format("note: {} is registered as installed in {}\n",
                                         ToUtf8(report.productId), Printable(ToUtf8(installed))));
    }
    if (report.folder.empty()) {
        context.Screen().Err(
            "note: nothing tells where the product lay; name its FOLDER to have it looked at\n");
    }
    return report.Count(State::Unexpected) == 0 ? kExitSuccess : kExitFailure;
}

}  // namespace WyCtl
