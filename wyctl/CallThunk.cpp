#include "wyctl/CallThunk.h"

#include <stdexcept>

namespace WyCtl {

namespace {

// Appends one typed argument per step until the signature is complete, so that each combination of
// classes gets a call through a function pointer of exactly its own type.
template <class... Taken>
std::uint32_t CallNext(ExportAddress address, std::span<const SlotClass> classes,
                       std::span<const std::uint64_t> slots, Taken... taken) {
    if (classes.empty()) {
        using Typed = std::uint32_t(WYAPI*)(Taken...);
        return reinterpret_cast<Typed>(address)(taken...);
    }
    if constexpr (sizeof...(Taken) < kMaxArguments) {
        const auto restOfClasses = classes.subspan(1);
        const auto restOfSlots = slots.subspan(1);
        switch (classes.front()) {
            case SlotClass::UInt32:
                return CallNext(address, restOfClasses, restOfSlots, taken...,
                                static_cast<std::uint32_t>(slots.front()));
            case SlotClass::UInt64:
                return CallNext(address, restOfClasses, restOfSlots, taken..., slots.front());
            case SlotClass::Pointer:
                return CallNext(
                    address, restOfClasses, restOfSlots, taken...,
                    reinterpret_cast<void*>(static_cast<std::uintptr_t>(slots.front())));
            case SlotClass::UInt8:
                break;
        }
    }
    throw std::invalid_argument("no call of this signature");
}

}  // namespace

std::uint32_t CallExport(ExportAddress address, std::span<const SlotClass> classes,
                         std::span<const std::uint64_t> slots) {
    if (classes.size() != slots.size()) {
        throw std::invalid_argument("one slot per argument class is needed");
    }
    if (classes.size() == 2 && classes[0] == SlotClass::UInt8 && classes[1] == SlotClass::UInt8) {
        using Typed = std::uint32_t(WYAPI*)(std::uint8_t, std::uint8_t);
        return reinterpret_cast<Typed>(address)(static_cast<std::uint8_t>(slots[0]),
                                                static_cast<std::uint8_t>(slots[1]));
    }
    return CallNext(address, classes, slots);
}

}  // namespace WyCtl
