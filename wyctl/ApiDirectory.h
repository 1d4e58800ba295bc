#pragma once

// The library's functions as a caller sees them: the rows of the API table, grouped by function,
// and the exports that have no row, or do not go by the table at all.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace WyCtl {

enum class ArgumentType {
    UInt8,          // by value; only the schedule call has such arguments
    UInt32,         // by value
    UInt64,         // by value
    UInt32Pointer,  // pointer to the caller's variable
    UInt64Pointer,
    Text,      // wide string
    TextOut,   // pointer to a wide-string pointer; the string is released with LocalFree
    Json,      // wide string holding JSON text
    TextList,  // wide string, pieces separated by commas
    Ignored,   // taken and ignored by the library: null is passed
};

struct Argument {
    std::string key;  // empty for the output that is the whole answer
    bool input = false;
    bool output = false;
    ArgumentType type = ArgumentType::Ignored;
};

struct Function {
    std::string name;
    std::uint32_t id = 0;
    bool hasRow = true;
    std::string command;         // that is for it, when it does not go by the table
    bool takesCallback = false;  // its declaration has little to do with its rows: not callable
    std::vector<Argument> arguments;  // in the order of declaration

    // Number of arguments that a person has to give.
    std::size_t InputCount() const;
};

// The name of a type as `list` shows it.
std::string_view TypeName(ArgumentType type);

// All functions: those of the table in table order, then those without a row, then those that do
// not go by the table and have a command of their own. Built at the first
// call; read-only from then on.
const std::vector<Function>& AllFunctions();

// Null when there is none of this name (compared exactly).
const Function* FindFunction(std::string_view name);

// The function that has this identifier, for decoding; null when there is none. Where two share
// an identifier the first of the table is meant.
const Function* FindFunctionById(std::uint32_t id);

// "in activeSessionId: uint32, in items: list, out sessionId: string".
std::string Signature(const Function& function);

}  // namespace WyCtl
