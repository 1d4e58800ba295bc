#include "wyctl/SdkCall.h"

#include <fmt/format.h>

#include <limits>
#include <optional>
#include <stdexcept>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/CommandText.h"
#include "wyctl/Errors.h"

namespace WyCtl {

namespace {

// What the pointer of one argument refers to during a call.
struct Cell {
    std::uint32_t number32 = 0;
    std::uint64_t number64 = 0;
    std::wstring textIn;
    wchar_t* textOut = nullptr;
};

SlotClass ClassOf(ArgumentType type) {
    switch (type) {
        case ArgumentType::UInt8:
            return SlotClass::UInt8;
        case ArgumentType::UInt32:
            return SlotClass::UInt32;
        case ArgumentType::UInt64:
            return SlotClass::UInt64;
        default:
            return SlotClass::Pointer;
    }
}

std::uint64_t AddressSlot(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address);
}

void Fill(Cell& cell, const InputValue& value) {
    if (const auto* number = std::get_if<std::uint64_t>(&value)) {
        cell.number64 = *number;
        cell.number32 = static_cast<std::uint32_t>(*number);
    } else {
        cell.textIn = std::get<std::wstring>(value);
    }
}

std::uint64_t SlotOf(const Argument& argument, Cell& cell) {
    switch (argument.type) {
        case ArgumentType::UInt8:
        case ArgumentType::UInt32:
        case ArgumentType::UInt64:
            return cell.number64;
        case ArgumentType::UInt32Pointer:
            return AddressSlot(&cell.number32);
        case ArgumentType::UInt64Pointer:
            return AddressSlot(&cell.number64);
        case ArgumentType::Text:
        case ArgumentType::Json:
        case ArgumentType::TextList:
            return AddressSlot(cell.textIn.c_str());
        case ArgumentType::TextOut:
            return AddressSlot(&cell.textOut);
        case ArgumentType::Ignored:
            break;
    }
    return 0;
}

OutputValue TakeOutput(const Argument& argument, Cell& cell, TextRelease release) {
    OutputValue output;
    output.key = argument.key;
    if (argument.type == ArgumentType::TextOut) {
        output.isText = true;
        if (cell.textOut != nullptr) {
            output.text = KrCommon::String::ToUtf8(cell.textOut);
            release(cell.textOut);
        }
    } else {
        output.number =
            argument.type == ArgumentType::UInt32Pointer ? cell.number32 : cell.number64;
    }
    return output;
}

std::uint64_t LargestOf(ArgumentType type) {
    switch (type) {
        case ArgumentType::UInt8:
            return std::numeric_limits<std::uint8_t>::max();
        case ArgumentType::UInt32:
        case ArgumentType::UInt32Pointer:
            return std::numeric_limits<std::uint32_t>::max();
        default:
            return std::numeric_limits<std::uint64_t>::max();
    }
}

}  // namespace

InputValue ParseInput(const Argument& argument, const std::string& text) {
    switch (argument.type) {
        case ArgumentType::Text:
        case ArgumentType::Json:
        case ArgumentType::TextList:
            return KrCommon::String::FromUtf8(text);
        default:
            break;
    }
    const std::optional<std::uint64_t> number = ParseNumber(text);
    const std::uint64_t largest = LargestOf(argument.type);
    if (!number.has_value() || *number > largest) {
        throw UsageError(fmt::format("argument {}: '{}' is no {} (0 to {}, or 0x...)", argument.key,
                                     text, TypeName(argument.type), largest));
    }
    return *number;
}

CallResult CallFunction(ExportAddress address, const Function& function,
                        std::span<const InputValue> inputs, TextRelease release) {
    if (inputs.size() != function.InputCount()) {
        throw std::invalid_argument("one value per input argument is needed");
    }
    const std::vector<Argument>& arguments = function.arguments;
    std::vector<Cell> cells(arguments.size());
    std::vector<SlotClass> classes;
    std::vector<std::uint64_t> slots;
    std::size_t nextInput = 0;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i].input) {
            Fill(cells[i], inputs[nextInput++]);
        }
        classes.push_back(ClassOf(arguments[i].type));
        slots.push_back(SlotOf(arguments[i], cells[i]));
    }
    CallResult result;
    result.code = CallExport(address, classes, slots);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i].output) {
            result.outputs.push_back(TakeOutput(arguments[i], cells[i], release));
        }
    }
    return result;
}

}  // namespace WyCtl
