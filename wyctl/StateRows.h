#pragma once

// What a look at the machine has found, one row for each thing, as JSON and as text.
//
// A row has `state`, `kind`, `name` and `remark`, and StateName() tells the names of its states.

#include <json/value.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

template <class Row>
std::size_t CountInState(const std::vector<Row>& rows, decltype(Row::state) state) {
    return static_cast<std::size_t>(std::count_if(
        rows.begin(), rows.end(), [&](const Row& row) { return row.state == state; }));
}

// The number of rows in each of the states, by the states' names.
template <class Row, class States>
Json::Value CountsAsJson(const std::vector<Row>& rows, const States& states) {
    Json::Value counts(Json::objectValue);
    for (const auto state : states) {
        counts[StateName(state)] = static_cast<Json::UInt64>(CountInState(rows, state));
    }
    return counts;
}

// All rows, as they stand; `kindName` is the name of their kind in JSON.
template <class Row>
Json::Value RowsAsJson(const std::vector<Row>& rows, const char* kindName) {
    Json::Value list(Json::arrayValue);
    for (const Row& row : rows) {
        Json::Value& item = list.append(Json::Value(Json::objectValue));
        item["state"] = StateName(row.state);
        item[kindName] = row.kind;
        item["name"] = KrCommon::String::ToUtf8(row.name);
        item["remark"] = row.remark;
    }
    return list;
}

// A table of the rows in these states, in the order of the states, and an empty line; nothing
// without such a row.
template <class Row, class States>
std::string RowsAsText(const std::vector<Row>& rows, const States& states) {
    TextTable table({"state", "what", "name", "remark"});
    for (const auto state : states) {
        for (const Row& row : rows) {
            if (row.state == state) {
                table.AddRow(
                    {StateName(state), row.kind, KrCommon::String::ToUtf8(row.name), row.remark});
            }
        }
    }
    return table.IsEmpty() ? std::string() : table.Render() + "\n";
}

}  // namespace WyCtl
