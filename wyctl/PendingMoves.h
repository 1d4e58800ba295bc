#pragma once

// What the system moves and removes at its next start: the registry value
// PendingFileRenameOperations of the session manager, a list of pairs.

#include <string>
#include <string_view>
#include <vector>

namespace WyCtl {

// One operation, with paths as people write them.
struct PendingMove {
    std::wstring source;
    std::wstring target;    // empty: the source is removed
    bool replaces = false;  // a target that exists is replaced
};

// Reads the value's text, its NULs included. Takes a source without a target behind it for a
// removal, and ends at an empty source.
std::vector<PendingMove> ParsePendingMoves(std::wstring_view texts);

// The operations that are queued on this machine, in order. Raises Failure when they cannot be
// read.
std::vector<PendingMove> ReadPendingMoves();

// True for a path that is the folder or lies below it, whatever the case; false for an empty
// folder.
bool LiesBelow(std::wstring_view path, std::wstring_view folder);

}  // namespace WyCtl
