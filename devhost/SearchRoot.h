#pragma once

// The folder that all searches walk, and the meaning of the "disk drive" of a request.

#include <string>

#include "devhost/FileSystem.h"

namespace DevHost {

// The resolved root; empty when the host was started without one. Read-only after the start.
class SearchRoot {
public:
    SearchRoot() = default;
    // `root` is resolved already.
    explicit SearchRoot(FileSystem::Path root) : m_Root(std::move(root)) {}

    bool IsEmpty() const { return m_Root.empty(); }
    const FileSystem::Path& Get() const { return m_Root; }

    // The folder that a request means: "", "C", "C:" and "C:\" with any letter are the root,
    // "C:\a\b" is the folder a\b below it, and a path at or below the root is itself. Links are
    // followed before the result is compared with the root. Raises RequestError with 0xe0ff0002
    // without a root and for everything that is no folder at or below it.
    FileSystem::Path Map(const std::string& drive) const;

private:
    FileSystem::Path m_Root;
};

}  // namespace DevHost
