#include "wyctl/ApiDirectory.h"

#include <fmt/format.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_String.h"
#include "WySdk/ApiTable.h"

namespace WyCtl {

namespace {

// Exports that look up a name which the table lacks, and the number of their argument slots.
struct RowlessExport {
    const char* name;
    std::size_t slots;
};

constexpr RowlessExport kRowlessExports[] = {
    {"WyCancelWyFix", 1},       {"WyGetDiskGarbage", 3},
    {"WyRemoveDiskGarbage", 3}, {"WyGetRegGarbage", 3},
    {"WyRemoveRegGarbage", 3},  {"WyGetStartupService", 2},
    {"WyGetStartupProgram", 2}, {"WyGetInstalledProgram", 2},
    {"WyUninstallProgram", 2},  {"WyGetPrivacy", 2},
    {"WyFixPrivacy", 3},        {"WyGetVulnerability", 2},
    {"WyFixVulnerability", 3},  {"WyGetAddon", 2},
    {"WySetAddonStatus", 3},
};

// Exports that do not go by the table, and the command that is for each.
struct OwnExport {
    const char* name;
    const char* command;
};

constexpr OwnExport kOwnExports[] = {
    {"WyAuDeploy", "update deploy"},
    {"WyGetCacheFolder", "where"},
    {"WyGetDebugLogFolder", "debuglog"},
    {"WyInstall", "install"},
    {"WyPostInstall", "postinstall"},
    {"WySetDebugLog", "debuglog"},
    {"WySetIdentifier", "identifier"},
    {"WySetIdentifierEx", "identifier"},
    {"WySetProxy", "proxy"},
    {"WySetReamerStatus", "reamer"},
    {"WyStartService", "service start"},
    {"WyStopService", "service stop"},
    {"WyUninstall", "uninstall"},
};

ArgumentType TypeOfRow(std::uint32_t paramType) {
    switch (paramType) {
        case ParamUInt32:
            return ArgumentType::UInt32;
        case ParamUInt64:
            return ArgumentType::UInt64;
        case ParamUInt32Ptr:
            return ArgumentType::UInt32Pointer;
        case ParamUInt64Ptr:
            return ArgumentType::UInt64Pointer;
        case ParamWString:
            return ArgumentType::Text;
        case ParamWStringOut:
            return ArgumentType::TextOut;
        case ParamJsonText:
            return ArgumentType::Json;
        case ParamWStringList:
            return ArgumentType::TextList;
        default:
            return ArgumentType::Ignored;
    }
}

Argument ArgumentOfRow(const ApiDefinition& row) {
    return {KrCommon::String::ToUtf8(row.jsonKey), (row.direction & ApiDirection::kIn) != 0,
            (row.direction & ApiDirection::kOut) != 0, TypeOfRow(row.paramType)};
}

std::vector<Function> FunctionsOfTable() {
    std::vector<Function> functions;
    for (const ApiDefinition& row : g_ApiDefinitions) {
        if (row.apiId == kSentinelApiId) {
            break;
        }
        std::string name = KrCommon::String::ToUtf8(row.apiName);
        if (functions.empty() || functions.back().name != name) {
            functions.push_back({std::move(name), row.apiId, true, {}, false, {}});
        }
        if (row.paramType != ParamNone) {
            functions.back().arguments.push_back(ArgumentOfRow(row));
        }
    }
    return functions;
}

// Three functions are declared otherwise than their rows say: the schedule call takes two 8-bit
// numbers and fills the other two rows itself, the two subscription calls have a callback.
void CorrectDeclarations(std::vector<Function>& functions) {
    for (Function& function : functions) {
        if (function.name == "WySetScheduleScanTime" && function.arguments.size() > 2) {
            function.arguments.resize(2);
            function.arguments[0].type = ArgumentType::UInt8;
            function.arguments[1].type = ArgumentType::UInt8;
        }
        if (function.name == "WySubscribeEvent" || function.name == "WyUnsubscribeEvent") {
            function.takesCallback = true;
        }
    }
}

std::vector<Function> BuildDirectory() {
    std::vector<Function> functions = FunctionsOfTable();
    CorrectDeclarations(functions);
    for (const RowlessExport& rowless : kRowlessExports) {
        functions.push_back(
            {rowless.name, kSentinelApiId, false, {}, false, std::vector<Argument>(rowless.slots)});
    }
    for (const OwnExport& own : kOwnExports) {
        functions.push_back({own.name, 0, false, own.command, false, {}});
    }
    return functions;
}

}  // namespace

std::size_t Function::InputCount() const {
    return static_cast<std::size_t>(std::count_if(arguments.begin(), arguments.end(),
                                                  [](const Argument& item) { return item.input; }));
}

std::string_view TypeName(ArgumentType type) {
    switch (type) {
        case ArgumentType::UInt8:
            return "uint8";
        case ArgumentType::UInt32:
        case ArgumentType::UInt32Pointer:
            return "uint32";
        case ArgumentType::UInt64:
        case ArgumentType::UInt64Pointer:
            return "uint64";
        case ArgumentType::Text:
        case ArgumentType::TextOut:
            return "string";
        case ArgumentType::Json:
            return "json";
        case ArgumentType::TextList:
            return "list";
        case ArgumentType::Ignored:
            break;
    }
    return "ignored";
}

const std::vector<Function>& AllFunctions() {
    static const std::vector<Function> s_functions = BuildDirectory();
    return s_functions;
}

const Function* FindFunction(std::string_view name) {
    for (const Function& function : AllFunctions()) {
        if (function.name == name) {
            return &function;
        }
    }
    return nullptr;
}

const Function* FindFunctionById(std::uint32_t id) {
    for (const Function& function : AllFunctions()) {
        if (function.id == id && function.hasRow) {
            return &function;
        }
    }
    return nullptr;
}

std::string Signature(const Function& function) {
    std::string text;
    for (const Argument& argument : function.arguments) {
        if (argument.type == ArgumentType::Ignored) {
            continue;
        }
        const bool whole = argument.key.empty();
        text +=
            fmt::format("{}{} {}: {}", text.empty() ? "" : ", ", argument.output ? "out" : "in",
                        whole ? "data" : argument.key, whole ? "json" : TypeName(argument.type));
    }
    return text;
}

}  // namespace WyCtl
