#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_String.h"
#include "deploy/SetupConfig.h"
#include "wyctl/DeployCommands.h"
#include "wyctl/Errors.h"
#include "wyctl/PackageCheck.h"
#include "wyctl/ProductIdentity.h"
#include "wyctl/StateRows.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

using KrCommon::String::ToUtf8;
using State = MachineFinding::State;

constexpr State kStates[] = {State::Missing, State::Changed, State::Extra, State::Pending,
                             State::Kept};

struct Subject {
    const PackageFolder& package;
    const InstalledProduct& product;
    const PackageReport& report;
};

Json::Value AsJson(const Subject& subject) {
    const PackageReport& report = subject.report;
    Json::Value answer(Json::objectValue);
    answer["ok"] = !report.Differs();
    answer["package"] = ToUtf8(subject.package.path);
    answer["productFolder"] = ToUtf8(subject.product.folder);
    answer["version"] = ToUtf8(subject.product.version);
    answer["installStatus"] = subject.product.status ? Json::Value(*subject.product.status)
                                                     : Json::Value(Json::nullValue);
    answer["installStatusText"] = InstallStatusText(subject.product.status);
    Json::Value& checked = answer["checked"] = Json::Value(Json::objectValue);
    checked["files"] = static_cast<Json::UInt64>(report.files);
    checked["folders"] = static_cast<Json::UInt64>(report.folders);
    checked["keys"] = static_cast<Json::UInt64>(report.keys);
    checked["values"] = static_cast<Json::UInt64>(report.values);
    answer["counts"] = CountsAsJson(report.findings, kStates);
    answer["findings"] = RowsAsJson(report.findings, "kind");
    return answer;
}

std::string AsText(const Subject& subject) {
    const PackageReport& report = subject.report;
    const std::optional<std::uint32_t>& status = subject.product.status;
    const std::string head = fmt::format(
        "package  {}\nproduct  {}\nversion  {}, install status {}\n\n",
        Printable(ToUtf8(subject.package.path)), Printable(ToUtf8(subject.product.folder)),
        Printable(ToUtf8(subject.product.version)),
        status ? fmt::format("{} ({})", *status, InstallStatusText(status)) : "none");
    return head + RowsAsText(report.findings, kStates) +
           fmt::format(
               "{} file(s), {} folder(s), {} key(s), {} value(s): {} missing, {} "
               "changed, {} extra; {} pending, {} kept\n",
               report.files, report.folders, report.keys, report.values,
               report.Count(State::Missing), report.Count(State::Changed),
               report.Count(State::Extra), report.Count(State::Pending), report.Count(State::Kept));
}

// A re-install may have left the registry as an earlier package wanted it.
void NoteRegistryOfReinstall(Context& context, const PackageFolder& package) {
    WyDeployHelper::SetupHelper::CSetupConfig config;
    if (config.ReadConfig(package.path + L"Setup.ini") && config.GetUpdateRegistry() == L"0") {
        context.Screen().Err(
            "note: UpdateRegistry is 0 in this package: where it was installed over another one, "
            "the registry is as that one left it\n");
    }
}

}  // namespace

int RunVerify(Context& context, const std::string& folder) {
    const PackageFolder package = OpenPackage(folder);
    AdoptLibraryIdentity(context);
    const InstalledProduct product = ReadInstalledProduct();
    if (product.folder.empty()) {
        throw Failure("no product is installed: there is nothing to compare");
    }
    const PackageReport report = CheckPackage(package, product);
    const Subject subject{package, product, report};
    if (context.Options().json) {
        context.PrintJson(AsJson(subject));
    } else {
        context.Screen().Out(AsText(subject));
    }
    if (report.Differs()) {
        NoteRegistryOfReinstall(context, package);
    }
    return report.Differs() ? kExitFailure : kExitSuccess;
}

}  // namespace WyCtl
