#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/SetupConfig.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "utilMode/ExternalDllMode.h"
#include "utilMode/FrwkMode.h"
#include "wyctl/Errors.h"
#include "wyctl/JsonText.h"
#include "wyctl/PackageCommands.h"
#include "wyctl/PackageFolder.h"
#include "wyctl/PackageLint.h"
#include "wyctl/PackagePlan.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

using KrCommon::String::ToUtf8;
using Outcome = PlanItem::Outcome;

// The identity goes first: what follows goes by it.
void TakeIdentity(Context& context) {
    context.LibraryIsLoadable();
    const Frwk::Mode::ExternalDllMode identity(L"WySdk.dll", L"WySvcHost.exe");
}

// A whole path. Raises Failure for what is no folder.
std::wstring FolderOf(const std::string& name) {
    std::wstring whole = WholePath(name, "DIR");
    const DWORD attributes = GetFileAttributesW(whole.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        throw Failure(fmt::format("{} is no folder", Printable(ToUtf8(whole))));
    }
    return whole;
}

// ---- plan

const char* NameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Done:
            return "done";
        case Outcome::Kept:
            return "kept";
        case Outcome::Skipped:
            return "skipped";
        case Outcome::Nothing:
            return "nothing";
        case Outcome::Fails:
            return "fails";
        case Outcome::NotReached:
            return "not reached";
    }
    return "";
}

const char* NameOf(PlanStep::Kind kind) {
    switch (kind) {
        case PlanStep::Kind::CreateKey:
            return "create key";
        case PlanStep::Kind::DeleteKey:
            return "delete key";
        case PlanStep::Kind::WriteValue:
            return "write value";
        case PlanStep::Kind::DeleteValue:
            return "delete value";
        case PlanStep::Kind::MakeFolder:
            return "make folder";
        case PlanStep::Kind::CopyFile:
            return "copy";
        case PlanStep::Kind::MoveFile:
            return "move";
        case PlanStep::Kind::DeleteFile:
            return "delete file";
        case PlanStep::Kind::DeleteFolder:
            return "delete folder";
    }
    return "";
}

bool HasSource(const PlanStep& step) {
    return step.kind == PlanStep::Kind::CopyFile || step.kind == PlanStep::Kind::MoveFile;
}

Json::Value AsJson(const PlanStep& step) {
    Json::Value json(Json::objectValue);
    json["step"] = NameOf(step.kind);
    json["place"] = ToUtf8(step.place);
    if (HasSource(step)) {
        json["from"] = ToUtf8(step.data);
    }
    if (step.kind == PlanStep::Kind::CopyFile) {
        json["bytes"] = static_cast<Json::UInt64>(step.bytes);
    }
    if (step.kind == PlanStep::Kind::WriteValue) {
        json["value"] = ToUtf8(step.data);
    }
    json["before"] = step.before == PlanStep::Before::Absent ? "absent"
                     : step.before == PlanStep::Before::Same ? "same"
                                                             : "there";
    json["inUse"] = step.inUse;
    json["atRestart"] = step.atRestart;
    return json;
}

Json::Value AsJson(const PackagePlan& plan) {
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["package"] = ToUtf8(plan.package);
    answer["product"] = ToUtf8(plan.product);
    answer["reinstall"] = plan.reinstall;
    answer["registry"] = plan.registry;
    AddResultCode(answer, plan.result);
    answer["reason"] = ToUtf8(plan.reason);
    answer["systemCheck"] = ToUtf8(plan.systemCheck);
    answer["bytes"] = static_cast<Json::UInt64>(plan.bytes);
    answer["bytesFree"] = static_cast<Json::UInt64>(plan.free);
    Json::Value& items = answer["items"] = Json::Value(Json::arrayValue);
    for (const PlanItem& item : plan.items) {
        Json::Value& json = items.append(Json::Value(Json::objectValue));
        json["element"] = item.element;
        json["id"] = ToUtf8(item.id);
        json["outcome"] = NameOf(item.outcome);
        json["why"] = ToUtf8(item.why);
        Json::Value& steps = json["steps"] = Json::Value(Json::arrayValue);
        for (const PlanStep& step : item.steps) {
            steps.append(AsJson(step));
        }
    }
    Json::Value& inUse = answer["inUse"] = Json::Value(Json::arrayValue);
    for (const std::wstring& path : plan.inUse) {
        inUse.append(ToUtf8(path));
    }
    return answer;
}

std::string Remark(const PlanStep& step) {
    std::string remark;
    if (HasSource(step)) {
        remark = "from " + ToUtf8(step.data);
    } else if (step.kind == PlanStep::Kind::WriteValue) {
        remark = "= " + ToUtf8(step.data);
    }
    const bool isNew = step.before == PlanStep::Before::There &&
                       (HasSource(step) || step.kind == PlanStep::Kind::WriteValue);
    for (const auto& [holds, words] : {std::pair{isNew, "replaces what is there"},
                                       {step.before == PlanStep::Before::Same, "as it is already"},
                                       {step.inUse, "in use now"},
                                       {step.atRestart, "at the next restart"}}) {
        if (holds) {
            remark += (remark.empty() ? "" : ", ") + std::string(words);
        }
    }
    return remark;
}

std::string Head(const PackagePlan& plan) {
    std::string head =
        fmt::format("package       {}\nproduct       {}\ninstallation  {}\nsystem check  {}\n",
                    Printable(ToUtf8(plan.package)), Printable(ToUtf8(plan.product)),
                    plan.reinstall ? "again: the installed product is moved aside first"
                                   : "as if nothing were installed",
                    ToUtf8(plan.systemCheck));
    if (!plan.registry) {
        head += "registry      left alone, as UpdateRegistry=0 of Setup.ini says\n";
    }
    if (KrCommon::Result::Failed(plan.result)) {
        head += fmt::format("refused       {}: {}\n", HexCode(plan.result),
                            Printable(ToUtf8(plan.reason)));
    }
    if (plan.losesProduct) {
        head +=
            "              the way back then deletes the product's folder, which has no backup "
            "yet\n";
    }
    return head + "\n";
}

std::string AsText(const PackagePlan& plan) {
    TextTable table({"item", "what happens", "where", "remark"});
    for (const PlanItem& item : plan.items) {
        const std::string name = item.element + (item.id.empty() ? "" : " ") + ToUtf8(item.id);
        for (const PlanStep& step : item.steps) {
            table.AddRow({name, NameOf(step.kind), ToUtf8(step.place), Remark(step)});
        }
        if (item.outcome != Outcome::Done || !item.why.empty()) {
            table.AddRow({name, item.outcome == Outcome::Done ? "kept" : NameOf(item.outcome), "",
                          ToUtf8(item.why)});
        }
    }
    std::string text = Head(plan) + table.Render();
    for (const std::wstring& path : plan.inUse) {
        text += "\nin use now: " + Printable(ToUtf8(path));
    }
    return text + fmt::format(
                      "\n{} bytes to copy, {} free. {} item(s) kept, {} skipped, {} without "
                      "effect. Nothing was changed.\n",
                      plan.bytes, plan.free, plan.Count(Outcome::Kept),
                      plan.Count(Outcome::Skipped), plan.Count(Outcome::Nothing));
}

// ---- lint

const char* NameOf(Severity severity) {
    return severity == Severity::Error ? "error" : "warning";
}

Json::Value AsJson(const LintReport& report, const std::wstring& package) {
    Json::Value answer(Json::objectValue);
    answer["ok"] = report.Errors() == 0;
    answer["package"] = ToUtf8(package);
    answer["items"] = static_cast<Json::UInt64>(report.items);
    answer["errors"] = static_cast<Json::UInt64>(report.Errors());
    answer["warnings"] = static_cast<Json::UInt64>(report.findings.size() - report.Errors());
    Json::Value& findings = answer["findings"] = Json::Value(Json::arrayValue);
    for (const Finding& finding : report.findings) {
        Json::Value& json = findings.append(Json::Value(Json::objectValue));
        json["severity"] = NameOf(finding.severity);
        json["id"] = finding.id;
        json["element"] = finding.element;
        json["item"] = finding.item;
        json["line"] = finding.line;
        json["what"] = finding.what;
        json["advice"] = finding.advice;
    }
    return answer;
}

std::string AsText(const LintReport& report) {
    std::string text;
    for (const Finding& finding : report.findings) {
        const std::string where =
            finding.line != 0 ? fmt::format("InstCfg.xml:{}: ", finding.line) : "";
        const std::string item = finding.item.empty() ? "" : " '" + finding.item + "'";
        text += Printable(fmt::format("{}{} {}{}{}: {}; {}", where, NameOf(finding.severity),
                                      finding.id, finding.element.empty() ? "" : ": ",
                                      finding.element + item, finding.what, finding.advice)) +
                "\n";
    }
    return text + fmt::format("{} error(s), {} warning(s) in {} item(s)\n", report.Errors(),
                              report.findings.size() - report.Errors(), report.items);
}

}  // namespace

void RunPackagePlan(Context& context, const PackagePlanOptions& options) {
    if (options.installed && !options.target.empty()) {
        throw UsageError(
            "--to is for a first installation: an installed product stays where "
            "it is");
    }
    TakeIdentity(context);
    PlanInput input;
    input.package = FolderOf(options.package);
    if (!options.target.empty()) {
        input.target = WholePath(options.target, "FOLDER");
    }
    input.installed = options.installed;
    input.folderOfLibrary = WyCommon::Utility::GetHostModuleFolder();
    const PackagePlan plan = MakePackagePlan(input);
    if (context.Options().json) {
        context.PrintJson(AsJson(plan));
    } else {
        context.Screen().Out(AsText(plan));
    }
}

int RunPackageLint(Context& context, const std::string& package) {
    TakeIdentity(context);
    LintInput input;
    input.packageDir = FolderOf(package);
    input.productId = Frwk::Mode::GetWyvarionId();
    WyDeployHelper::SetupHelper::CSetupConfig setup;
    if (setup.ReadConfig(WyCommon::Utility::JoinPath(input.packageDir, L"Setup.ini")) &&
        setup.IsOsChecked()) {
        input.os = setup.GetOs();
    }
    const PackageXml xml =
        ReadPackageXml(WyCommon::Utility::GetHostModuleFolder(),
                       WyCommon::Utility::JoinPath(input.packageDir, L"InstCfg.xml"));
    const LintReport report = LintPackage(input, xml, *MakePackageFiles());
    if (context.Options().json) {
        context.PrintJson(AsJson(report, input.packageDir));
    } else {
        context.Screen().Out(AsText(report));
    }
    return report.Errors() == 0 ? kExitSuccess : kExitFailure;
}

}  // namespace WyCtl
