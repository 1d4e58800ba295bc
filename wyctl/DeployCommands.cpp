#include "wyctl/DeployCommands.h"

#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/Errors.h"
#include "wyctl/JsonText.h"
#include "wyctl/PackageCheck.h"
#include "wyctl/PackageFolder.h"
#include "wyctl/PendingMoves.h"
#include "wyctl/ProductIdentity.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/ServiceState.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

namespace Utility = WyCommon::Utility;
using KrCommon::String::FromUtf8;
using KrCommon::String::ToUtf8;

// The call can take minutes, and nothing is told before its end.
void SayThatItTakesTime(Context& context, const char* what) {
    if (!context.Options().json && context.Screen().ErrIsInteractive()) {
        context.Screen().Err(fmt::format("{}; this can take minutes\n", what));
    }
}

// What the call has left on the machine.
void ReportProduct(Context& context, const char* function, const CallResult& result,
                   const char* done) {
    const InstalledProduct product = ReadInstalledProduct();
    const std::string state = InstallStatusText(product.status);
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = true;
        answer["function"] = function;
        AddResultCode(answer, result.code);
        for (const OutputValue& output : result.outputs) {
            answer[output.key] = output.text ? Json::Value(*output.text) : Json::Value();
        }
        answer["productFolder"] = ToUtf8(product.folder);
        answer["version"] = ToUtf8(product.version);
        answer["installStatus"] =
            product.status ? Json::Value(*product.status) : Json::Value(Json::nullValue);
        answer["installStatusText"] = state;
        answer["service"] = AskServiceState().Text();
        context.PrintJson(answer);
        return;
    }
    context.Screen().Out(
        fmt::format("{}\n{} {}\n", done, HexCode(result.code), DescribeResult(result.code)));
    TextTable table({"folder", product.folder.empty() ? "-" : ToUtf8(product.folder)});
    for (const OutputValue& output : result.outputs) {
        if (output.text && *output.text != ToUtf8(product.folder)) {
            table.AddRow({"folder that the call names", *output.text});
        }
    }
    table.AddRow({"version", product.version.empty() ? "-" : ToUtf8(product.version)});
    table.AddRow({"install status",
                  product.status ? fmt::format("{} ({})", *product.status, state) : state});
    table.AddRow({"service", AskServiceState().Text()});
    context.Screen().Out(table.Render());
}

// The library ends every process below the product's folder and moves or deletes that folder: what
// would lose itself half way is not begun.
void RefuseOwnFolder(const InstalledProduct& product) {
    if (LiesBelow(Utility::GetHostModuleFolder(), product.folder)) {
        throw Failure(
            fmt::format("this program lies in the product's folder {} and would end with "
                        "it: run a copy that lies elsewhere, with its WySdk.dll",
                        ToUtf8(product.folder)));
    }
}

// An argument that was not given keeps what is registered.
std::wstring IdOf(const std::optional<std::string>& given, const std::wstring& registered) {
    return given ? FromUtf8(*given) : registered;
}

void CallPlain(Context& context, const char* name, const char* during, const char* done) {
    const auto call = context.Export<std::uint32_t(WYAPI*)()>(name);
    AdoptLibraryIdentity(context);
    SayThatItTakesTime(context, during);
    const CallResult result{call(), {}};
    if (KrCommon::Result::Failed(result.code)) {
        throw CallFailed(name, result, AdviseOnDeployment(result.code));
    }
    ReportProduct(context, name, result, done);
}

}  // namespace

void RunInstall(Context& context, const InstallOptions& options) {
    constexpr const char* kName = "WyInstall";
    // A call that fails can cost an installed product its folder: what is no package is not tried.
    const std::wstring package = FindPackage(options.package);
    const std::wstring folder =
        options.folder.empty() ? std::wstring() : WholePath(options.folder, "FOLDER");
    const auto install = context.Export<std::uint32_t(WYAPI*)(
        const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, wchar_t**)>(kName);
    AdoptLibraryIdentity(context);
    const InstalledProduct product = ReadInstalledProduct();
    RefuseOwnFolder(product);
    if (LiesBelow(package, product.folder)) {
        throw Failure(
            fmt::format("{} lies in the product's folder, which is moved away before it "
                        "is read",
                        ToUtf8(package)));
    }
    const std::wstring productId = IdOf(options.productId, Utility::GetProductId());
    const std::wstring vendorId = IdOf(options.vendorId, Utility::GetVendorId());
    SayThatItTakesTime(context, "installing");
    wchar_t* used = nullptr;
    const std::uint32_t code =
        install(productId.c_str(), vendorId.c_str(), package.c_str(), folder.c_str(), &used);
    OutputValue output{"folder", true, 0, {}};
    if (used != nullptr) {
        output.text = ToUtf8(used);
        context.ReleaseText(used);
    }
    const CallResult result{code, {output}};
    if (KrCommon::Result::Failed(code)) {
        throw CallFailed(kName, result, AdviseOnDeployment(code));
    }
    ReportProduct(context, kName, result, "laid down; 'wyctl postinstall' starts it");
}

void RunPostInstall(Context& context) {
    CallPlain(context, "WyPostInstall", "starting the product", "started");
}

void RunUninstall(Context& context) {
    AdoptLibraryIdentity(context);
    const InstalledProduct product = ReadInstalledProduct();
    if (product.folder.empty()) {
        throw Failure(
            "no product is installed: the library would remove the folder of this program");
    }
    RefuseOwnFolder(product);
    CallPlain(context, "WyUninstall", "removing the product", "removed");
}

}  // namespace WyCtl
