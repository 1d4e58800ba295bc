#pragma once

// One-shot registry operations: open, act and close in one call. For Windows builds alone.
//
// A *view* says which half of the registry of a 64-bit system is meant: 0 the one of this
// process, 1 the 32-bit one (KEY_WOW64_32KEY), 2 the 64-bit one (KEY_WOW64_64KEY). Other values
// mean the same as 0. `root` is an open key or a predefined one (HKEY).
//
// Nothing here raises; all functions may run on any thread. `error` (null is allowed) receives 0,
// the code of the Storage::Exception that stood in the way, or 0x800300fd for any other failure.
// In the forms that take pointers null stands for the empty text.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Storage.h"

namespace KrCommon::Storage::Reg {

// The view of all keys of the product: 2 on a 64-bit system, 0 otherwise.
std::uint32_t ProductView();

// A text value as Registry::ReadString gives it, or the default on any failure. `root` is ignored,
// the key always lies under HKEY_LOCAL_MACHINE. Without memory even for the default the result is
// empty.
std::wstring LoadValue(void* root, const std::wstring& path, const std::wstring& name,
                       const std::wstring& byDefault, std::uint32_t view) noexcept;
std::wstring LoadValue(void* root, const wchar_t* path, const wchar_t* name,
                       const wchar_t* byDefault, std::uint32_t view) noexcept;

// The same for those to whom a value that could not be read for lack of memory must not look like a
// missing one: raises std::bad_alloc.
std::wstring LoadValueOrRaise(const std::wstring& path, const std::wstring& name,
                              const std::wstring& byDefault, std::uint32_t view);

// Stores a number or a text; a missing key is made as by Registry::OpenForWrite.
bool StoreValue(void* root, const std::wstring& path, const std::wstring& name, std::uint32_t value,
                std::uint32_t view, std::uint32_t* error) noexcept;
bool StoreValue(void* root, const std::wstring& path, const std::wstring& name,
                const std::wstring& value, std::uint32_t view, std::uint32_t* error) noexcept;
bool StoreValue(void* root, const wchar_t* path, const wchar_t* name, std::uint32_t value,
                std::uint32_t view, std::uint32_t* error) noexcept;
bool StoreValue(void* root, const wchar_t* path, const wchar_t* name, const wchar_t* value,
                std::uint32_t view, std::uint32_t* error) noexcept;

// The same through Registry::CreateKeyWithAllAccess.
bool StoreValueWithAllAccess(void* root, const std::wstring& path, const std::wstring& name,
                             std::uint32_t value, std::uint32_t view,
                             std::uint32_t* error) noexcept;
bool StoreValueWithAllAccess(void* root, const std::wstring& path, const std::wstring& name,
                             const std::wstring& value, std::uint32_t view,
                             std::uint32_t* error) noexcept;
bool StoreValueWithAllAccess(void* root, const wchar_t* path, const wchar_t* name,
                             std::uint32_t value, std::uint32_t view,
                             std::uint32_t* error) noexcept;
bool StoreValueWithAllAccess(void* root, const wchar_t* path, const wchar_t* name,
                             const wchar_t* value, std::uint32_t view,
                             std::uint32_t* error) noexcept;

// Makes a key; one that exists is no failure.
bool CreateKeyWithAllAccess(void* root, const std::wstring& path, std::uint32_t view,
                            std::uint32_t* error) noexcept;
bool CreateKeyWithAllAccess(void* root, const wchar_t* path, std::uint32_t view,
                            std::uint32_t* error) noexcept;

// Deletes a value. A missing one, or a missing key, is a failure with code 2.
bool DeleteEntry(void* root, const std::wstring& path, const std::wstring& name, std::uint32_t view,
                 std::uint32_t* error) noexcept;
bool DeleteEntry(void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
                 std::uint32_t* error) noexcept;

// Deletes a key with all that is below it (RegDeleteKeyW), in the view of this process. True also
// for a key that does not exist. On a failure the rest of the tree is left as it is, also when a
// key is there again behind its removal.
//
// An empty path stands for `root` itself, which is deleted only when nothing is below it: no slip
// in a path may take away a whole root.
bool DeleteAllSection(void* root, const std::wstring& path) noexcept;
bool DeleteAllSection(void* root, const wchar_t* path) noexcept;

// Appends the names of a key's sub-keys.
bool EnumKeys(List& list, void* root, const std::wstring& path, std::uint32_t view) noexcept;
bool EnumKeys(List& list, void* root, const wchar_t* path, std::uint32_t view) noexcept;

}  // namespace KrCommon::Storage::Reg
