#include "Common/KrCommon/KrComn_Reg.h"

#include <new>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "Common/KrCommon/KrComn_StorageOneShot.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage::Reg {

using OneShot::Run;
using OneShot::Text;

namespace {

constexpr std::uint32_t kProductView = 2;
constexpr DWORD kNameSize = 260;

// What the one-shots have in common; each raises what the store raises.

std::wstring Load(const std::wstring& path, const std::wstring& name, const std::wstring& byDefault,
                  std::uint32_t view) {
    Registry registry(view);
    registry.OpenForRead(Key(Key::kRegistry, HKEY_LOCAL_MACHINE, nullptr), path);
    std::wstring value = registry.ReadString(name, byDefault);
    registry.Close(false);
    return value;
}

void Put(Registry& registry, const std::wstring& name, std::uint32_t value) {
    registry.WriteDword(name, value);
}

void Put(Registry& registry, const std::wstring& name, const std::wstring& value) {
    registry.WriteString(name, value);
}

template <class Value>
void Store(void* root, const std::wstring& path, const std::wstring& name, const Value& value,
           std::uint32_t view) {
    Registry registry(view);
    registry.OpenForWrite(Key(Key::kRegistry, root, nullptr), path);
    Put(registry, name, value);
    registry.Close(false);
}

template <class Value>
void StoreWithAllAccess(void* root, const std::wstring& path, const std::wstring& name,
                        const Value& value, std::uint32_t view) {
    Registry registry(view);
    registry.CreateKeyWithAllAccess(Key(Key::kRegistry, root, nullptr), path);
    Put(registry, name, value);
    registry.Close(false);
}

void Create(void* root, const std::wstring& path, std::uint32_t view) {
    Registry registry(view);
    registry.CreateKeyWithAllAccess(Key(Key::kRegistry, root, nullptr), path);
    registry.Close(false);
}

void Delete(void* root, const std::wstring& path, const std::wstring& name, std::uint32_t view) {
    Registry registry(view);
    registry.OpenForDelete(Key(Key::kRegistry, root, nullptr), path);
    registry.DeleteValue(name);
    registry.Close(false);
}

void Enumerate(List& list, void* root, const std::wstring& path, std::uint32_t view) {
    Registry registry(view);
    registry.OpenForEnum(Key(Key::kRegistry, root, nullptr), path);
    registry.EnumSubKeys(list);
    registry.Close(false);
}

bool DeleteTree(HKEY root, const std::wstring& path);

// Deletes what is below an open key. Always the first: each one that goes moves the next there. One
// that is there again behind its removal, such as a link to a key that is gone, ends the work.
void DeleteChildren(HKEY key, HKEY root, const std::wstring& path) {
    std::wstring folder = path;
    String::AppendSeparator(folder);
    std::wstring former;
    for (;;) {
        wchar_t name[kNameSize];
        DWORD length = kNameSize;
        if (RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS ||
            name == former || !DeleteTree(root, folder + name))
            return;
        former = name;
    }
}

bool DeleteTree(HKEY root, const std::wstring& path) {
    if (RegDeleteKeyW(root, path.c_str()) == ERROR_SUCCESS)
        return true;
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key);
    if (status != ERROR_SUCCESS)
        return status == ERROR_FILE_NOT_FOUND;
    try {
        if (!path.empty())
            DeleteChildren(key, root, path);
    } catch (...) {
        RegCloseKey(key);
        throw;
    }
    RegCloseKey(key);
    return RegDeleteKeyW(root, path.c_str()) == ERROR_SUCCESS;
}

}  // namespace

std::uint32_t ProductView() {
    return OsVersion::Is64Bit() ? kProductView : 0;
}

std::wstring LoadValue(void*, const std::wstring& path, const std::wstring& name,
                       const std::wstring& byDefault, std::uint32_t view) noexcept {
    std::wstring value;
    if (!Run(nullptr, [&] { value = Load(path, name, byDefault, view); }))
        Run(nullptr, [&] { value = byDefault; });
    return value;
}

std::wstring LoadValue(void*, const wchar_t* path, const wchar_t* name, const wchar_t* byDefault,
                       std::uint32_t view) noexcept {
    std::wstring value;
    if (!Run(nullptr, [&] { value = Load(Text(path), Text(name), Text(byDefault), view); }))
        Run(nullptr, [&] { value = Text(byDefault); });
    return value;
}

std::wstring LoadValueOrRaise(const std::wstring& path, const std::wstring& name,
                              const std::wstring& byDefault, std::uint32_t view) {
    try {
        return Load(path, name, byDefault, view);
    } catch (RegException* raised) {
        const KrCommon::Exception::Caught caught(raised);
        // The code of a read that has no memory for its text.
        if (raised->Code() == ERROR_INVALID_HANDLE)
            throw std::bad_alloc();
    } catch (Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
    }
    return byDefault;
}

bool StoreValue(void* root, const std::wstring& path, const std::wstring& name, std::uint32_t value,
                std::uint32_t view, std::uint32_t* error) noexcept {
    return Run(error, [&] { Store(root, path, name, value, view); });
}

bool StoreValue(void* root, const std::wstring& path, const std::wstring& name,
                const std::wstring& value, std::uint32_t view, std::uint32_t* error) noexcept {
    return Run(error, [&] { Store(root, path, name, value, view); });
}

bool StoreValue(void* root, const wchar_t* path, const wchar_t* name, std::uint32_t value,
                std::uint32_t view, std::uint32_t* error) noexcept {
    return Run(error, [&] { Store(root, Text(path), Text(name), value, view); });
}

bool StoreValue(void* root, const wchar_t* path, const wchar_t* name, const wchar_t* value,
                std::uint32_t view, std::uint32_t* error) noexcept {
    return Run(error, [&] { Store(root, Text(path), Text(name), Text(value), view); });
}

bool StoreValueWithAllAccess(void* root, const std::wstring& path, const std::wstring& name,
                             std::uint32_t value, std::uint32_t view,
                             std::uint32_t* error) noexcept {
    return Run(error, [&] { StoreWithAllAccess(root, path, name, value, view); });
}

bool StoreValueWithAllAccess(void* root, const std::wstring& path, const std::wstring& name,
                             const std::wstring& value, std::uint32_t view,
                             std::uint32_t* error) noexcept {
    return Run(error, [&] { StoreWithAllAccess(root, path, name, value, view); });
}

bool StoreValueWithAllAccess(void* root, const wchar_t* path, const wchar_t* name,
                             std::uint32_t value, std::uint32_t view,
                             std::uint32_t* error) noexcept {
    return Run(error, [&] { StoreWithAllAccess(root, Text(path), Text(name), value, view); });
}

bool StoreValueWithAllAccess(void* root, const wchar_t* path, const wchar_t* name,
                             const wchar_t* value, std::uint32_t view,
                             std::uint32_t* error) noexcept {
    return Run(error, [&] { StoreWithAllAccess(root, Text(path), Text(name), Text(value), view); });
}

bool CreateKeyWithAllAccess(void* root, const std::wstring& path, std::uint32_t view,
                            std::uint32_t* error) noexcept {
    return Run(error, [&] { Create(root, path, view); });
}

bool CreateKeyWithAllAccess(void* root, const wchar_t* path, std::uint32_t view,
                            std::uint32_t* error) noexcept {
    return Run(error, [&] { Create(root, Text(path), view); });
}

bool DeleteEntry(void* root, const std::wstring& path, const std::wstring& name, std::uint32_t view,
                 std::uint32_t* error) noexcept {
    return Run(error, [&] { Delete(root, path, name, view); });
}

bool DeleteEntry(void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
                 std::uint32_t* error) noexcept {
    return Run(error, [&] { Delete(root, Text(path), Text(name), view); });
}

bool DeleteAllSection(void* root, const std::wstring& path) noexcept {
    bool deleted = false;
    Run(nullptr, [&] { deleted = DeleteTree(static_cast<HKEY>(root), path); });
    return deleted;
}

bool DeleteAllSection(void* root, const wchar_t* path) noexcept {
    bool deleted = false;
    Run(nullptr, [&] { deleted = DeleteTree(static_cast<HKEY>(root), Text(path)); });
    return deleted;
}

bool EnumKeys(List& list, void* root, const std::wstring& path, std::uint32_t view) noexcept {
    return Run(nullptr, [&] { Enumerate(list, root, path, view); });
}

bool EnumKeys(List& list, void* root, const wchar_t* path, std::uint32_t view) noexcept {
    return Run(nullptr, [&] { Enumerate(list, root, Text(path), view); });
}

}  // namespace KrCommon::Storage::Reg
