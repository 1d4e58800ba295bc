#pragma once

// What the library resolves on this machine, and from where. Nothing is changed by looking.

#include <string>
#include <vector>

namespace WyCtl {

// One thing that the library resolves. Texts are UTF-8.
struct WhereEntry {
    std::string name;   // as JSON member
    std::string value;  // empty when there is none
    std::string from;   // where it came from, or was looked for
    enum class State { Found, Absent, FolderThere, FolderMissing } state = State::Found;
};

struct WhereSection {
    std::string name;   // as JSON member
    std::string title;  // for people
    std::vector<WhereEntry> entries;
};

// Collects all of it for this process. `library` is the file name of the library's module, which
// decides the identity when it is loaded.
std::vector<WhereSection> CollectWhere(const std::wstring& library);

}  // namespace WyCtl
