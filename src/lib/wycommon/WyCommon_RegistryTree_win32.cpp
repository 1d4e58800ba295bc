#include "lib/wycommon/WyCommon_RegistryTree.h"

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace WyCommon::Utility {

namespace {

namespace Storage = KrCommon::Storage;
namespace String = KrCommon::String;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using Storage::Registry;

constexpr const char* kLogSource = "WyCommon_Utility";

std::wstring PathOf(std::wstring parent, const std::wstring& key) {
    if (!key.empty())
        String::AppendSeparator(parent);
    return parent + key;
}

// The path goes in as the sub-path, which gets no separator behind it.
Storage::Key Below(const void* root) {
    return {Storage::Key::kRegistry, root, nullptr};
}

bool ListSubKeys(const void* root, const std::wstring& path, std::uint32_t view,
                 Storage::List& names) {
    try {
        Registry registry(view);
        registry.OpenForEnum(Below(root), path);
        registry.EnumSubKeys(names);
        registry.Close(false);
        return true;
    } catch (Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        WY_TRACE(kWarning, L"KrCommon::Storage::Exception(): [0x%08x] [%d]", raised->Code(),
                 raised->Line());
        return false;
    }
}

void DeleteOne(const std::wstring& parent, const std::wstring& key, std::uint32_t view) {
    WY_TRACE(kWarning, L"Delete registry key: %ls, %ls", parent.c_str(), key.c_str());
    try {
        Registry registry(view);
        registry.OpenForDelete(Below(HKEY_LOCAL_MACHINE), parent);
        // A key that stays makes the walk no shorter.
        static_cast<void>(RegDeleteKeyW(static_cast<HKEY>(registry.GetHandle()), key.c_str()));
        registry.Close(false);
    } catch (Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        WY_TRACE(kError, L"*** KrCommon::Storage::Exception(): [0x%08x]", raised->Code());
    }
}

}  // namespace

// The recursion is as deep as the tree, for which the registry has a limit of 512.
bool EnumRegistryKeyTree(void* root, const std::wstring& parent, const std::wstring& key,
                         Storage::List& keys, Storage::List& parents, std::uint32_t view) {
    const std::wstring path = PathOf(parent, key);
    Storage::List names;
    if (!ListSubKeys(root, path, view, names))
        return false;
    for (const std::wstring& name : names) {
        if (!EnumRegistryKeyTree(root, path, name, keys, parents, view)) {
            WY_TRACE(kError, L"*** WyCommon::Utility::EnumRegistryKeyTree(%ls, %ls) failed.",
                     path.c_str(), name.c_str());
        }
    }
    parents.push_back(parent);
    keys.push_back(key);
    return true;
}

bool RemoveRegistryKeyTree(const std::wstring& parent, const std::wstring& key,
                           std::uint32_t view) {
    if (PathOf(parent, key).find_first_not_of(L'\\') == std::wstring::npos)
        return false;
    WY_TRACE(kInformation, L"[Enter] WyCommon::Utility::RemoveRegistryKeyTree()...");
    Storage::List keys;
    Storage::List parents;
    if (!EnumRegistryKeyTree(HKEY_LOCAL_MACHINE, parent, key, keys, parents, view)) {
        WY_TRACE(kWarning, L"*** WyCommon::Utility::EnumRegistryKeyTree(%ls, %ls) failed.",
                 parent.c_str(), key.c_str());
    }
    for (std::size_t i = 0; i < keys.size(); ++i)
        DeleteOne(parents[i], keys[i], view);
    WY_TRACE(kInformation, L"[Leave] WyCommon::Utility::RemoveRegistryKeyTree()...");
    return true;
}

}  // namespace WyCommon::Utility
