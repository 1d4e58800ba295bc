#pragma once

// The table of API definitions: which arguments each table-driven function has, in which order,
// under which JSON key, in which direction and of which type.
//
// Vocabulary: consecutive *rows* with one name are the arguments of that function, in order. The
// *sentinel* is the row behind the last one; it is known by its identifier alone.
//
// The table is constant data: complete before any code of the library runs, read by any thread.

#include <array>
#include <cstdint>
#include <string_view>

// What a row describes and how its argument is passed. The numbers are the table's own.
enum ApiParamType : std::uint32_t {
    ParamUInt32 = 0,       // unsigned 32-bit by value
    ParamUInt64 = 1,       // unsigned 64-bit by value
    ParamUInt32Ptr = 2,    // pointer to unsigned 32-bit
    ParamUInt64Ptr = 3,    // pointer to unsigned 64-bit
    ParamWString = 4,      // wide text
    ParamWStringOut = 5,   // pointer to a wide-text pointer; the text is allocated for the caller
    ParamJsonText = 6,     // wide text that holds JSON, inserted as a JSON value
    ParamWStringList = 7,  // wide text that is split at its commas into an array of texts
    ParamNone = 8,         // marks a function without arguments; no argument belongs to the row
};

// Bits of ApiDefinition::direction.
namespace ApiDirection {
constexpr std::uint32_t kIn = 1;   // travels to the service
constexpr std::uint32_t kOut = 2;  // comes back
}  // namespace ApiDirection

// One row. `paramType` holds a value of ApiParamType. A comma in `jsonKey` separates the names of
// nested members; an output text without a key stands for the whole answer.
struct ApiDefinition {
    std::wstring_view apiName;
    std::uint32_t apiId;
    std::uint32_t direction;
    std::uint32_t paramType;
    std::wstring_view jsonKey;
};

// Identifier of the sentinel row, and of every function whose name the table lacks.
constexpr std::uint32_t kSentinelApiId = 420000000;

constexpr std::size_t kApiRowCount = 113;

// The rows and the sentinel behind them.
extern const std::array<ApiDefinition, kApiRowCount + 1> g_ApiDefinitions;

// The first row of a function, or the sentinel. The name must match exactly. `table` ends with a
// sentinel.
const ApiDefinition* FindApiDefinition(const ApiDefinition* table, std::wstring_view apiName);
inline const ApiDefinition* FindApiDefinition(std::wstring_view apiName) {
    return FindApiDefinition(g_ApiDefinitions.data(), apiName);
}

// The number of arguments of a function; 0 for a function without arguments and for a name that
// the table lacks.
std::int32_t GetApiArgumentCount(std::wstring_view apiName);
