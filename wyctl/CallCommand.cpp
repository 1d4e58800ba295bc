#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_Result.h"
#include "wyctl/Commands.h"
#include "wyctl/Errors.h"
#include "wyctl/JsonText.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/ResultView.h"

namespace WyCtl {

namespace {

const Function& RequireFunction(const std::string& name) {
    const Function* const function = FindFunction(name);
    if (function == nullptr) {
        throw UsageError(fmt::format("there is no function {}; 'wyctl list' shows all", name));
    }
    if (!function->command.empty()) {
        throw UsageError(fmt::format("{} does not go by the table; see 'wyctl {} --help'", name,
                                     function->command));
    }
    if (function->takesCallback) {
        throw UsageError(name +
                         " needs a callback function, which a command line has not; 'wyctl events' "
                         "subscribes");
    }
    return *function;
}

std::vector<InputValue> ParseInputs(Context& context, const Function& function,
                                    const std::vector<std::string>& texts) {
    if (texts.size() != function.InputCount()) {
        const std::string signature = Signature(function);
        throw UsageError(fmt::format("{} takes {} argument(s), {} given{}{}", function.name,
                                     function.InputCount(), texts.size(),
                                     signature.empty() ? "" : ": ", signature));
    }
    std::vector<InputValue> inputs;
    for (const Argument& argument : function.arguments) {
        if (!argument.input) {
            continue;
        }
        const std::string& text = texts[inputs.size()];
        if (argument.type == ArgumentType::Json && !ParseJson(text)) {
            context.Screen().Err(fmt::format(
                "note: argument {} is no JSON; the library sends a null value\n", argument.key));
        }
        inputs.push_back(ParseInput(argument, text));
    }
    return inputs;
}

void PrintForPeople(Context& context, const CallResult& result) {
    if (result.outputs.empty()) {
        context.Screen().Out(
            fmt::format("{} {}\n", HexCode(result.code), DescribeResult(result.code)));
    }
    for (const OutputValue& output : result.outputs) {
        const Json::Value value = OutputAsJson(output);
        if (output.key.empty()) {
            context.Screen().Out(ViewResult(value));
        } else {
            context.Screen().Out(fmt::format("{} = {}\n", output.key, ViewScalar(value)));
        }
    }
}

}  // namespace

void RunCall(Context& context, const std::string& name, const std::vector<std::string>& arguments) {
    const Function& function = RequireFunction(name);
    const std::vector<InputValue> inputs = ParseInputs(context, function, arguments);
    if (context.LibraryIsLoadable() && !context.IsExported(name)) {
        throw UsageError(fmt::format("{} has a row in the table, but {} does not export it", name,
                                     context.Options().libraryPath));
    }
    CallResult result = context.TryCall(function, inputs);
    if (KrCommon::Result::Failed(result.code)) {
        throw CallFailed(name, std::move(result));
    }
    if (!context.Options().json) {
        PrintForPeople(context, result);
        return;
    }
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["function"] = name;
    answer["id"] = function.id;
    AddResultCode(answer, result.code);
    answer["outputs"] = OutputsAsJson(result);
    context.PrintJson(answer);
}

}  // namespace WyCtl
