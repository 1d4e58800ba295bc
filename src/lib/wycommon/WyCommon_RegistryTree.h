#pragma once

// Trees of registry keys. For Windows builds alone.
//
// A key is given by the path of its *parent* and its name; with an empty name the parent's path is
// the key's own. The *view* is that of KrComn_Registry.h. Failures are results and lines in the
// log; nothing is raised but std::bad_alloc. All functions may run on any thread.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Storage.h"

namespace WyCommon::Utility {

// Lists a tree, children before their parents: appends the name of each key to `keys` and, at the
// same place, the path of its parent to `parents`. `root` is an open key or a predefined one
// (HKEY).
//
// False, with nothing appended, when the key cannot be read. Below it a key that cannot be read is
// left out with what it holds.
bool EnumRegistryKeyTree(void* root, const std::wstring& parent, const std::wstring& key,
                         KrCommon::Storage::List& keys, KrCommon::Storage::List& parents,
                         std::uint32_t view);

// Deletes a tree under HKEY_LOCAL_MACHINE, children before their parents (RegDeleteKeyW).
//
// True whatever became of the keys: one that cannot be read or deleted stays, with those above it.
// False only when parent and key are both empty, which would mean the whole root.
bool RemoveRegistryKeyTree(const std::wstring& parent, const std::wstring& key, std::uint32_t view);

}  // namespace WyCommon::Utility
