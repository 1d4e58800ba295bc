#include <fmt/format.h>
#include <json/value.h>

#include "wyctl/Commands.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

Json::Value ArgumentAsJson(const Argument& argument) {
    Json::Value value(Json::objectValue);
    value["key"] = argument.key;
    value["direction"] = argument.output ? "out" : argument.input ? "in" : "ignored";
    value["type"] = std::string(TypeName(argument.type));
    return value;
}

Json::Value FunctionAsJson(Context& context, const Function& function) {
    Json::Value value(Json::objectValue);
    value["name"] = function.name;
    value["id"] = function.command.empty() ? Json::Value(function.id) : Json::Value();
    value["hasRow"] = function.hasRow;
    value["callable"] = function.command.empty() && !function.takesCallback;
    value["exported"] = context.LibraryIsLoadable() ? Json::Value(context.IsExported(function.name))
                                                    : Json::Value(Json::nullValue);
    Json::Value& arguments = value["arguments"] = Json::Value(Json::arrayValue);
    for (const Argument& argument : function.arguments) {
        arguments.append(ArgumentAsJson(argument));
    }
    return value;
}

std::string Remark(Context& context, const Function& function) {
    if (!function.command.empty()) {
        return fmt::format("does not go by the table, see 'wyctl {}'", function.command);
    }
    if (!function.hasRow) {
        return "ignores its arguments, sends none";
    }
    std::string remark = Signature(function);
    if (function.takesCallback) {
        remark += "  [needs a callback, see 'wyctl events']";
    }
    if (context.LibraryIsLoadable() && !context.IsExported(function.name)) {
        remark += "  [not exported]";
    }
    return remark;
}

}  // namespace

void RunList(Context& context) {
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = true;
        Json::Value& functions = answer["functions"] = Json::Value(Json::arrayValue);
        for (const Function& function : AllFunctions()) {
            functions.append(FunctionAsJson(context, function));
        }
        context.PrintJson(answer);
        return;
    }
    TextTable table({"function", "id", "arguments"});
    for (const Function& function : AllFunctions()) {
        const std::string id = function.command.empty() ? fmt::format("{}", function.id) : "-";
        table.AddRow({function.name, id, Remark(context, function)});
    }
    context.Screen().Out(table.Render());
    if (!context.LibraryIsLoadable()) {
        context.Screen().Err(
            fmt::format("note: {} cannot be loaded, so what it exports is unknown\n",
                        context.Options().libraryPath));
    }
}

}  // namespace WyCtl
