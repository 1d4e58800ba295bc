#pragma once

// The registry behind the storage interface. For Windows builds alone.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Storage.h"

namespace KrCommon::Storage {

// One key of the registry, closed or open.
//
// The *view* says which half of the registry of a 64-bit system an open means: 1 the 32-bit one
// (KEY_WOW64_32KEY), 2 the 64-bit one (KEY_WOW64_64KEY), everything else the one of this process.
//
// The path of a key is the storage key's name, "\" unless the name is empty or ends in it, and the
// sub-path. What is raised is Storage::Exception with the system's code; the values' operations
// raise RegException, which also tells key and value. On a closed key every operation but the
// opens raises code 6, and an open with a null root code 160. A failed open changes nothing; one
// that succeeds closes the key that was open before.
//
// Names of values are not case-sensitive; the empty name is the key's own value.
class Registry : public Base {
public:
    explicit Registry(std::uint32_t view = 0) : m_uiView(view) {}
    // Closes without flush; a failure is ignored.
    ~Registry() override;

    // KEY_QUERY_VALUE (RegOpenKeyExW).
    bool OpenForRead(const Key& key, const std::wstring& subPath) override;
    // Reads, writes and makes sub-keys; a missing key is made with the rights of
    // AccessControl::kRegistryKey (RegCreateKeyExW).
    bool OpenForWrite(const Key& key, const std::wstring& subPath) override;
    // Deletes values and the key itself.
    bool OpenForDelete(const Key& key, const std::wstring& subPath) override;
    bool OpenForEnum(const Key& key, const std::wstring& subPath) override;
    // All rights; a missing key is made with the system's default security.
    bool CreateKeyWithAllAccess(const Key& key, const std::wstring& subPath);

    void Close(const bool& flush) override;
    void Flush() override;

    // REG_BINARY. The code is 13 for another type, 6 for a value without bytes (which empties the
    // buffer) or without memory, 160 when the value changed its size in between. Other failures
    // leave the buffer as it was.
    bool ReadBinary(const std::wstring& name, Binary& buffer, std::uint32_t* error) override;
    bool ReadBinary(const std::wstring& name, Binary& buffer) override;

    // REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ; code 13 for another type, 6 without memory. The text
    // ends at its first NUL, or where the data ends: a multi-string gives its first string,
    // environment variables are not expanded, half a character at the end counts as a whole one.
    std::wstring ReadString(const std::wstring& name, const std::wstring& byDefault,
                            std::uint32_t* error) override;
    std::wstring ReadString(const std::wstring& name, const std::wstring& byDefault) override;

    // REG_QWORD of 8 bytes and REG_DWORD of 4; code 13 for anything else.
    std::uint64_t ReadQword(const std::wstring& name, const std::uint64_t& byDefault,
                            std::uint32_t* error) override;
    std::uint64_t ReadQword(const std::wstring& name, const std::uint64_t& byDefault) override;
    std::uint32_t ReadDword(const std::wstring& name, const std::uint32_t& byDefault,
                            std::uint32_t* error) override;
    std::uint32_t ReadDword(const std::wstring& name, const std::uint32_t& byDefault) override;

    bool WriteBinary(const std::wstring& name, const Binary& buffer) override;
    bool WriteString(const std::wstring& name, const std::wstring& value) override;
    bool WriteQword(const std::wstring& name, const std::uint64_t& value) override;
    bool WriteDword(const std::wstring& name, const std::uint32_t& value) override;

    // Deletes the open key, which must have no sub-keys. It is still to be closed.
    bool DeleteSelf() override;
    bool DeleteValue(const wchar_t* name) override;
    bool DeleteValue(const std::wstring& name) override;

    // Names of sub-keys (up to 255 characters) and of values (up to 256; a longer one raises 234).
    bool EnumSubKeys(List& list) override;
    bool EnumValues(List& list) override;

    bool IsOpen() const { return m_hKey != nullptr; }
    // The open key (HKEY), for calls this class does not have; null when closed.
    void* GetHandle() const { return m_hKey; }
    const std::wstring& GetPath() const { return m_strPath; }

private:
    std::uint32_t ViewFlag() const;
    bool Open(const Key& key, const std::wstring& subPath, std::uint32_t access,
              std::uint32_t line);
    bool Create(const Key& key, const std::wstring& subPath, std::uint32_t access,
                std::uint32_t securityKind, std::uint32_t line);
    bool Keep(const Key& key, std::wstring path, void* handle) noexcept;
    void CheckOpen(std::uint32_t line) const;
    [[noreturn]] void RaiseForValue(std::uint32_t code, std::uint32_t line,
                                    const std::wstring& name) const;
    void ReadNumber(const std::wstring& name, std::uint32_t type, void* number,
                    std::uint32_t size) const;
    std::uint32_t Query(const std::wstring& name, std::uint32_t& type, void* data,
                        std::uint32_t& size) const;
    bool Write(const std::wstring& name, std::uint32_t type, const void* data, std::size_t size);

    void* m_hRoot = nullptr;
    void* m_hKey = nullptr;
    std::wstring m_strPath;
    std::uint32_t m_uiView;
};

}  // namespace KrCommon::Storage
