#pragma once

// What is on the machine of a product that was removed. Nothing is changed by looking. For Windows
// builds alone.

#include <cstddef>
#include <string>
#include <vector>

namespace WyCtl {

struct Leftover {
    // Stays: a removal leaves it. Restart: it goes with the next restart. Unexpected: a removal
    // takes it away, and it is there.
    enum class State { Absent, Stays, Restart, Unexpected };
    State state = State::Absent;
    const char* kind = "";
    std::wstring name;
    std::string remark;
};

const char* StateName(Leftover::State state);

struct LeftoverReport {
    std::wstring productId;
    std::wstring folder;      // of the product, without a "\" at its end; empty: not known
    const char* source = "";  // where the folder is known from
    std::vector<Leftover> places;

    std::size_t Count(Leftover::State state) const;
};

// Looks at every place of this process' product identity. `folder` is where the product lay, empty
// to take what the registry still tells. Raises Failure for the list of the next restart.
LeftoverReport FindLeftovers(const std::wstring& folder);

}  // namespace WyCtl
