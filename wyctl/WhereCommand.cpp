#include <fmt/format.h>
#include <json/value.h>

#include "wyctl/Commands.h"
#include "wyctl/TextTable.h"
#include "wyctl/Where.h"

namespace WyCtl {

namespace {

// The name by which the library finds its own module, whatever file was loaded.
constexpr const wchar_t* kLibrary = L"WySdk.dll";

const char* Remark(WhereEntry::State state) {
    switch (state) {
        case WhereEntry::State::Absent:
            return "absent";
        case WhereEntry::State::FolderThere:
            return "exists";
        case WhereEntry::State::FolderMissing:
            return "missing";
        default:
            return "";
    }
}

Json::Value AsJson(const WhereEntry& entry) {
    Json::Value value(Json::objectValue);
    const bool absent = entry.state == WhereEntry::State::Absent;
    value["value"] = absent ? Json::Value(Json::nullValue) : Json::Value(entry.value);
    value["from"] = entry.from;
    if (entry.state == WhereEntry::State::FolderThere ||
        entry.state == WhereEntry::State::FolderMissing) {
        value["exists"] = entry.state == WhereEntry::State::FolderThere;
    }
    return value;
}

}  // namespace

void RunWhere(Context& context) {
    const bool loaded = context.LibraryIsLoadable();
    const std::vector<WhereSection> sections = CollectWhere(kLibrary);
    if (context.Options().json) {
        Json::Value answer(Json::objectValue);
        answer["ok"] = true;
        for (const WhereSection& section : sections) {
            Json::Value& object = answer[section.name] = Json::Value(Json::objectValue);
            for (const WhereEntry& entry : section.entries) {
                object[entry.name] = AsJson(entry);
            }
        }
        context.PrintJson(answer);
        return;
    }
    for (const WhereSection& section : sections) {
        TextTable table({section.title, "value", "", "from"});
        for (const WhereEntry& entry : section.entries) {
            table.AddRow({entry.name, entry.value, Remark(entry.state), entry.from});
        }
        context.Screen().Out(table.Render() + "\n");
    }
    if (!loaded) {
        context.Screen().Err(fmt::format(
            "note: {} cannot be loaded; without it the name of this program decides the identity\n",
            context.Options().libraryPath));
    }
}

}  // namespace WyCtl
