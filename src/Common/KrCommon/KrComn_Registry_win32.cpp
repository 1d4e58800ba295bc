#include "Common/KrCommon/KrComn_Registry.h"

#include <limits>
#include <utility>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_SecurityAttributes.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage {

namespace {

constexpr char kLogSource[] = "KrComn_Registry";

// Where the opens raise.
constexpr std::uint32_t kOpenForReadLine = 62;
constexpr std::uint32_t kOpenForWriteLine = 129;
constexpr std::uint32_t kCreateKeyLine = 160;
constexpr std::uint32_t kOpenForDeleteLine = 202;
constexpr std::uint32_t kOpenForEnumLine = 244;

constexpr REGSAM kReadAccess = KEY_QUERY_VALUE;
constexpr REGSAM kWriteAccess = KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;
constexpr REGSAM kDeleteAccess = DELETE | KEY_SET_VALUE;
constexpr REGSAM kEnumAccess = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;

constexpr std::uint32_t kView32 = 1;
constexpr std::uint32_t kView64 = 2;

constexpr std::size_t kLongestKeyName = 255;
constexpr std::size_t kLongestValueName = 256;

HKEY Handle(void* key) {
    return static_cast<HKEY>(key);
}

void Check(LSTATUS status, std::uint32_t line) {
    if (status != ERROR_SUCCESS)
        KrCommon::Exception::Raise<Exception>(static_cast<std::uint32_t>(status), line, kLogSource);
}

HKEY RootOf(const Key& key, std::uint32_t line) {
    if (key.GetLocation() == nullptr)
        Check(ERROR_BAD_ARGUMENTS, line);
    return static_cast<HKEY>(const_cast<void*>(key.GetLocation()));
}

std::wstring PathOf(const Key& key, const std::wstring& subPath) {
    std::wstring path = key.GetName() != nullptr ? key.GetName() : L"";
    String::AppendSeparator(path);
    return path + subPath;
}

// Appends the names that `next` gives for the indexes from 0 upward.
template <std::size_t Longest, class Next>
bool Enumerate(List& list, std::uint32_t line, Next next) {
    for (DWORD index = 0;; ++index) {
        wchar_t name[Longest + 1];
        DWORD length = Longest + 1;
        const LSTATUS status = next(index, name, length);
        if (status == ERROR_NO_MORE_ITEMS)
            return true;
        Check(status, line);
        list.emplace_back(name, length);
    }
}

}  // namespace

Registry::~Registry() {
    if (m_hKey != nullptr)
        RegCloseKey(Handle(m_hKey));
}

std::uint32_t Registry::ViewFlag() const {
    switch (m_uiView) {
        case kView32:
            return KEY_WOW64_32KEY;
        case kView64:
            return KEY_WOW64_64KEY;
        default:
            return 0;
    }
}

bool Registry::OpenForRead(const Key& key, const std::wstring& subPath) {
    return Open(key, subPath, kReadAccess, kOpenForReadLine);
}

bool Registry::OpenForWrite(const Key& key, const std::wstring& subPath) {
    return Create(key, subPath, kWriteAccess, AccessControl::kRegistryKey, kOpenForWriteLine);
}

bool Registry::OpenForDelete(const Key& key, const std::wstring& subPath) {
    return Open(key, subPath, kDeleteAccess, kOpenForDeleteLine);
}

bool Registry::OpenForEnum(const Key& key, const std::wstring& subPath) {
    return Open(key, subPath, kEnumAccess, kOpenForEnumLine);
}

bool Registry::CreateKeyWithAllAccess(const Key& key, const std::wstring& subPath) {
    return Create(key, subPath, KEY_ALL_ACCESS, AccessControl::kDefault, kCreateKeyLine);
}

bool Registry::Open(const Key& key, const std::wstring& subPath, std::uint32_t access,
                    std::uint32_t line) {
    const HKEY root = RootOf(key, line);
    std::wstring path = PathOf(key, subPath);
    HKEY opened = nullptr;
    Check(RegOpenKeyExW(root, path.c_str(), 0, access | ViewFlag(), &opened), line);
    return Keep(key, std::move(path), opened);
}

bool Registry::Create(const Key& key, const std::wstring& subPath, std::uint32_t access,
                      std::uint32_t securityKind, std::uint32_t line) {
    const HKEY root = RootOf(key, line);
    std::wstring path = PathOf(key, subPath);
    AccessControl::SecurityAttributes attributes(securityKind, false);
    HKEY opened = nullptr;
    Check(RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                          access | ViewFlag(), attributes.ForCall(), &opened, nullptr),
          line);
    return Keep(key, std::move(path), opened);
}

bool Registry::Keep(const Key& key, std::wstring path, void* handle) noexcept {
    if (m_hKey != nullptr)
        RegCloseKey(Handle(m_hKey));
    m_hRoot = const_cast<void*>(key.GetLocation());
    m_hKey = handle;
    m_strPath = std::move(path);
    return true;
}

void Registry::CheckOpen(std::uint32_t line) const {
    if (m_hKey == nullptr)
        Check(ERROR_INVALID_HANDLE, line);
}

void Registry::Close(const bool& flush) {
    CheckOpen(__LINE__);
    if (flush)
        Flush();
    Check(RegCloseKey(Handle(m_hKey)), __LINE__);
    m_hRoot = nullptr;
    m_hKey = nullptr;
    m_strPath.clear();
}

void Registry::Flush() {
    CheckOpen(__LINE__);
    Check(RegFlushKey(Handle(m_hKey)), __LINE__);
}

void Registry::RaiseForValue(std::uint32_t code, std::uint32_t line,
                             const std::wstring& name) const {
    KrCommon::Exception::Raise<RegException>(code, line, kLogSource, m_strPath, name);
}

bool Registry::Write(const std::wstring& name, std::uint32_t type, const void* data,
                     std::size_t size) {
    CheckOpen(__LINE__);
    if (size > std::numeric_limits<DWORD>::max())
        RaiseForValue(ERROR_INVALID_PARAMETER, __LINE__, name);
    const LSTATUS status = RegSetValueExW(Handle(m_hKey), name.c_str(), 0, type,
                                          static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    if (status != ERROR_SUCCESS)
        RaiseForValue(static_cast<std::uint32_t>(status), __LINE__, name);
    return true;
}

bool Registry::WriteBinary(const std::wstring& name, const Binary& buffer) {
    return Write(name, REG_BINARY, buffer.data(), buffer.size());
}

bool Registry::WriteString(const std::wstring& name, const std::wstring& value) {
    return Write(name, REG_SZ, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
}

bool Registry::WriteQword(const std::wstring& name, const std::uint64_t& value) {
    return Write(name, REG_QWORD, &value, sizeof value);
}

bool Registry::WriteDword(const std::wstring& name, const std::uint32_t& value) {
    return Write(name, REG_DWORD, &value, sizeof value);
}

bool Registry::DeleteSelf() {
    CheckOpen(__LINE__);
    Check(RegDeleteKeyW(Handle(m_hKey), L""), __LINE__);
    return true;
}

bool Registry::DeleteValue(const wchar_t* name) {
    return DeleteValue(std::wstring(name != nullptr ? name : L""));
}

bool Registry::DeleteValue(const std::wstring& name) {
    CheckOpen(__LINE__);
    const LSTATUS status = RegDeleteValueW(Handle(m_hKey), name.c_str());
    if (status != ERROR_SUCCESS)
        RaiseForValue(static_cast<std::uint32_t>(status), __LINE__, name);
    return true;
}

bool Registry::EnumSubKeys(List& list) {
    CheckOpen(__LINE__);
    return Enumerate<kLongestKeyName>(list, __LINE__,
                                      [this](DWORD index, wchar_t* name, DWORD& length) {
                                          return RegEnumKeyExW(Handle(m_hKey), index, name, &length,
                                                               nullptr, nullptr, nullptr, nullptr);
                                      });
}

bool Registry::EnumValues(List& list) {
    CheckOpen(__LINE__);
    return Enumerate<kLongestValueName>(
        list, __LINE__, [this](DWORD index, wchar_t* name, DWORD& length) {
            return RegEnumValueW(Handle(m_hKey), index, name, &length, nullptr, nullptr, nullptr,
                                 nullptr);
        });
}

}  // namespace KrCommon::Storage
