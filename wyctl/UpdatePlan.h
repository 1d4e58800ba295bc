#pragma once

// What a deployment would do. Nothing is changed by looking.

#include <cstdint>
#include <string>
#include <vector>

namespace WyCtl {

struct UpdatePlan {
    struct Copy {
        std::wstring from;
        std::wstring to;
        std::uint64_t size = 0;  // bytes
        bool replaces = false;   // a file lies there already
    };
    struct Move {
        std::wstring from;
        std::wstring to;
        bool folder = false;
        bool leftover = false;  // lies there already and is not of this download
        // For a file: one of the product is replaced. For a folder: the product has it, which
        // keeps the folder from being moved as a whole.
        bool targetExists = false;
    };

    std::wstring download;
    std::wstring product;
    std::wstring temporary;
    std::vector<Copy> copies;            // files
    std::vector<Move> moves;             // at the restart, in order
    std::vector<std::wstring> removals;  // folders, at the restart behind the moves

    std::uint64_t Bytes() const;
};

// Looks what WyAuDeploy would do with a download for a product. Raises Failure when a folder cannot
// be listed.
UpdatePlan MakeUpdatePlan(const std::wstring& download, const std::wstring& product);

}  // namespace WyCtl
