#include "wyctl/ResultView.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <iterator>
#include <string_view>
#include <vector>

#include "wyctl/JsonText.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

constexpr Json::ArrayIndex kMaxRows = 20;
constexpr std::size_t kCellPlaces = 60;
constexpr std::size_t kIndent = 2;
constexpr std::size_t kMaxIndent = 40;

bool IsScalar(const Json::Value& value) {
    return !value.isArray() && !value.isObject();
}

// Names under which services give numbers of bytes.
bool IsSizeName(std::string_view name) {
    constexpr std::string_view kParts[] = {"size",       "bytes",    "wasted",
                                           "workingset", "diskfree", "disktotal"};
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::any_of(std::begin(kParts), std::end(kParts), [&lower](std::string_view part) {
        return lower.find(part) != std::string::npos;
    });
}

bool IsTimeName(std::string_view name) {
    return name == "modified" || name == "started";
}

// Seconds of Unix time that are a plausible date.
bool IsTime(std::string_view name, const Json::Value& value) {
    return IsTimeName(name) && value.isInt64() && value.asInt64() >= 0 &&
           value.asInt64() < 253402300800;
}

std::string TimeText(std::int64_t seconds) {
    using namespace std::chrono;
    const sys_seconds time{std::chrono::seconds{seconds}};
    const sys_days day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       clock.hours().count(), clock.minutes().count());
}

std::string Inline(const Json::Value& object, std::string_view between);

std::string Cell(std::string_view name, const Json::Value& value) {
    if (value.isUInt64() && IsSizeName(name)) {
        return HumanSize(value.asUInt64());
    }
    if (IsTime(name, value)) {
        return TimeText(value.asInt64());
    }
    if (value.isObject()) {
        return CutToWidth(Inline(value, "="), kCellPlaces);
    }
    return ViewScalar(value);
}

// The scalars of an object on one line.
std::string Inline(const Json::Value& object, std::string_view between) {
    std::string text;
    for (const std::string& name : object.getMemberNames()) {
        if (IsScalar(object[name])) {
            text += fmt::format("{}{}{}{}", text.empty() ? "" : ", ", Printable(name), between,
                                Cell(name, object[name]));
        }
    }
    return text;
}

// A row of a table holds scalars and, in short, objects of scalars.
bool IsRow(const Json::Value& row) {
    return row.isObject() && std::all_of(row.begin(), row.end(), [](const Json::Value& cell) {
               return IsScalar(cell) ||
                      (cell.isObject() && std::all_of(cell.begin(), cell.end(), IsScalar));
           });
}

bool IsTable(const Json::Value& array) {
    return array.size() > 1 && std::all_of(array.begin(), array.end(), IsRow);
}

struct Column {
    std::string name;
    bool isNumber = true;
    bool isSame = true;  // in all rows
    std::size_t width = 0;
};

// Numbers before texts, narrow texts before wide ones, so that what is long stands at the end.
std::vector<Column> Columns(const Json::Value& rows, Json::ArrayIndex shown) {
    std::vector<Column> columns;
    for (Json::ArrayIndex i = 0; i < shown; ++i) {
        const Json::Value& row = rows[i];
        for (const std::string& name : row.getMemberNames()) {
            auto column = std::find_if(columns.begin(), columns.end(),
                                       [&name](const Column& item) { return item.name == name; });
            if (column == columns.end()) {
                columns.push_back({name});
                column = std::prev(columns.end());
            }
            column->isNumber = column->isNumber && row[name].isNumeric();
            column->isSame = column->isSame && rows[0].isMember(name) && row[name] == rows[0][name];
            column->width = std::max(column->width, DisplayWidth(Cell(name, row[name])));
        }
    }
    for (Column& column : columns) {
        for (Json::ArrayIndex i = 0; i < shown; ++i) {
            column.isSame = column.isSame && rows[i].isMember(column.name);
        }
    }
    std::stable_sort(columns.begin(), columns.end(), [](const Column& a, const Column& b) {
        return a.isNumber != b.isNumber ? a.isNumber : !a.isNumber && a.width < b.width;
    });
    return columns;
}

std::string More(Json::ArrayIndex count, std::size_t indent) {
    return fmt::format("{:{}}... and {} more; --json shows all\n", "", indent, count - kMaxRows);
}

// What is the same in all rows is told once, above them.
std::string Table(const Json::Value& rows, std::size_t indent) {
    const Json::ArrayIndex shown = std::min<Json::ArrayIndex>(rows.size(), kMaxRows);
    std::vector<Column> columns = Columns(rows, shown);
    const auto same = std::stable_partition(columns.begin(), columns.end(),
                                            [](const Column& column) { return !column.isSame; });
    std::string each;
    for (auto column = same; column != columns.end(); ++column) {
        each += fmt::format("{}{} {}", each.empty() ? "" : ", ", Printable(column->name),
                            Cell(column->name, rows[0][column->name]));
    }
    columns.erase(same, columns.end());
    std::vector<std::string> head;
    for (const Column& column : columns) {
        head.push_back(Printable(column.name));
    }
    TextTable table(std::move(head));
    for (Json::ArrayIndex i = 0; i < shown; ++i) {
        std::vector<std::string> cells;
        for (const Column& column : columns) {
            const bool present = rows[i].isMember(column.name);
            cells.push_back(present ? Cell(column.name, rows[i][column.name]) : std::string());
        }
        table.AddRow(std::move(cells));
    }
    return (each.empty() ? "" : fmt::format("{:{}}each: {}\n", "", indent, each)) +
           (columns.empty() ? "" : table.Render(indent)) +
           (shown < rows.size() ? More(rows.size(), indent) : "");
}

std::string View(const Json::Value& value, std::size_t indent);

std::string Containers(const Json::Value& object, std::size_t indent) {
    std::string text;
    for (const std::string& name : object.getMemberNames()) {
        const Json::Value& member = object[name];
        if (IsScalar(member)) {
            continue;
        }
        const std::string count = member.isArray() ? fmt::format(" ({})", member.size()) : "";
        if (member.empty()) {
            text += fmt::format("{:{}}{}: none\n", "", indent, Printable(name));
        } else if (member.isObject() && std::all_of(member.begin(), member.end(), IsScalar)) {
            text += fmt::format("{:{}}{}: {}\n", "", indent, Printable(name), Inline(member, " "));
        } else {
            text += fmt::format("{:{}}{}{}:\n", "", indent, Printable(name), count) +
                    View(member, std::min(indent + kIndent, kMaxIndent));
        }
    }
    return text;
}

// Objects begin with their scalars on one line.
std::string List(const Json::Value& items, std::size_t indent) {
    const std::size_t inner = std::min(indent + kIndent, kMaxIndent);
    const Json::ArrayIndex shown = std::min<Json::ArrayIndex>(items.size(), kMaxRows);
    std::string text;
    for (Json::ArrayIndex i = 0; i < shown; ++i) {
        const Json::Value& item = items[i];
        if (IsScalar(item)) {
            text += View(item, indent);
        } else if (item.isObject()) {
            text += fmt::format("{:{}}[{}] {}\n", "", indent, i + 1, Inline(item, " ")) +
                    Containers(item, inner);
        } else {
            text += fmt::format("{:{}}[{}]\n", "", indent, i + 1) + View(item, inner);
        }
    }
    return text + (shown < items.size() ? More(items.size(), indent) : "");
}

std::string Members(const Json::Value& object, std::size_t indent) {
    std::size_t width = 0;
    for (const std::string& name : object.getMemberNames()) {
        width = std::max(width, IsScalar(object[name]) ? DisplayWidth(Printable(name)) : 0);
    }
    std::string text;
    for (const std::string& name : object.getMemberNames()) {
        if (IsScalar(object[name])) {
            text += fmt::format("{:{}}{:<{}}  {}\n", "", indent, Printable(name), width,
                                Cell(name, object[name]));
        }
    }
    return text + Containers(object, indent);
}

std::string View(const Json::Value& value, std::size_t indent) {
    if (value.isObject()) {
        return Members(value, indent);
    }
    if (value.isArray()) {
        return IsTable(value) ? Table(value, indent) : List(value, indent);
    }
    return fmt::format("{:{}}{}\n", "", indent, ViewScalar(value));
}

}  // namespace

Json::Value OutputAsJson(const OutputValue& output) {
    if (!output.isText) {
        return Json::Value(static_cast<Json::UInt64>(output.number));
    }
    if (!output.text) {
        return Json::Value(Json::nullValue);
    }
    if (output.key.empty()) {
        if (auto parsed = ParseJson(*output.text)) {
            return std::move(*parsed);
        }
    }
    return Json::Value(*output.text);
}

Json::Value OutputsAsJson(const CallResult& result) {
    Json::Value outputs(Json::objectValue);
    for (const OutputValue& output : result.outputs) {
        outputs[output.key.empty() ? "data" : output.key] = OutputAsJson(output);
    }
    return outputs;
}

std::string ViewScalar(const Json::Value& value) {
    if (value.isNull()) {
        return "-";
    }
    if (value.isString()) {
        return Printable(value.asString());
    }
    if (value.isBool()) {
        return value.asBool() ? "yes" : "no";
    }
    return WriteJson(value);
}

std::string ViewResult(const Json::Value& value) {
    return View(value, 0);
}

std::string HumanSize(std::uint64_t bytes) {
    constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024) {
        return fmt::format("{} B", bytes);
    }
    double amount = static_cast<double>(bytes);
    const char* unit = kUnits[0];
    for (const char* candidate : kUnits) {
        amount /= 1024;
        unit = candidate;
        if (amount < 1023.95) {
            break;
        }
    }
    return fmt::format("{:.1f} {}", amount, unit);
}

}  // namespace WyCtl
