#pragma once

// The only way by which this host removes anything.

#include <json/value.h>

#include <cstdint>
#include <optional>

#include "devhost/SearchRoot.h"

namespace DevHost {

// What became of one file, as a report tells it.
struct Removal {
    bool removed = false;
    const char* reason = "";        // why not; "" when removed
    std::uint32_t systemError = 0;  // with the reason "failed"
};

// Removes files below the root, if the person who started the host allowed it at all. What a
// request names is never trusted: where a path really leads is decided when the file is open.
// Read-only after construction.
class Remover {
public:
    Remover(bool allowed, SearchRoot root) : m_bAllowed(allowed), m_Root(std::move(root)) {}

    // `expected` are the facts under which the file was found: a file that has changed since is
    // kept. Reasons: "not-allowed" (no --allow-remove), and those of FileSystem::RemoveOutcome.
    Removal Remove(const FileSystem::Path& file,
                   const std::optional<FileSystem::FileFacts>& expected) const;

    bool IsAllowed() const { return m_bAllowed; }

private:
    bool m_bAllowed;
    SearchRoot m_Root;
};

// A report of removals in JSON: "removed" (path, size), "skipped" (path, reason, and systemError
// with the reason "failed"), "removedSize" in bytes. An entry has an "id" when one is given.
class RemovalReport {
public:
    void Removed(const FileSystem::Path& file, std::uint64_t size, const std::string& id = {});
    void Skipped(const std::string& name, const Removal& removal, const std::string& id = {});
    void Skipped(const std::string& name, const char* reason, const std::string& id = {});
    Json::Value ToJson() const;

private:
    Json::Value m_Removed{Json::arrayValue};
    Json::Value m_Skipped{Json::arrayValue};
    std::uint64_t m_uiSize = 0;
};

}  // namespace DevHost
