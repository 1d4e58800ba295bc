#pragma once

// All that lies in a folder. Nothing is changed by looking.

#include <cstdint>
#include <string>
#include <vector>

namespace WyCtl {

struct TreeEntry {
    std::wstring name;  // relative to the folder that was listed
    bool folder = false;
    bool link = false;       // a junction or a link
    std::uint64_t size = 0;  // bytes
};

// Lists a folder with everything below it, each folder before what is in it. A junction or link to
// a folder counts as the folder it points to. Raises Failure when a folder cannot be listed.
std::vector<TreeEntry> ListTree(const std::wstring& folder);

// True when a file or folder has this name, which has no "\" at its end but for that of a drive.
bool PathExists(const std::wstring& path);

// Orders names as the file system and the registry compare them: whatever the case, and a folder
// directly before what is in it.
struct PathOrder {
    bool operator()(const std::wstring& left, const std::wstring& right) const;
};

}  // namespace WyCtl
