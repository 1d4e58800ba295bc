#pragma once

// One interface over the registry and INI files.
//
// A key says where a store lies and of which kind it is. A store is opened for one purpose on one
// key and section, used, and closed; it belongs to one thread at a time.
//
// Operations without an `error` parameter raise KrCommon::Storage::Exception by pointer. Those with
// one call the raising form and give its code there instead (0 when it raised nothing; null is
// allowed), and the default as the result; other exceptions pass through. An operation that a
// backend does not support does nothing, not even to `error`, and gives the result stated here.

#include <cstdint>
#include <string>
#include <vector>

namespace KrCommon::Storage {

// Where a store lies. Views its texts; they must outlive it.
class Key {
public:
    enum Type : std::uint32_t { kRegistry = 0, kIniFile = 1, kRegistryAlso = 4 };

    // `location`: for the registry the root key, for an INI file the folder as wide text.
    // `name`: for the registry the path of the key, for an INI file the file name; may be null.
    Key(std::uint32_t type, const void* location, const wchar_t* name)
        : m_uiType(type), m_pLocation(location), m_wszName(name) {}
    Key(const Key&) = default;
    Key& operator=(const Key&) = default;
    virtual ~Key();

    std::uint32_t GetType() const { return m_uiType; }
    const void* GetLocation() const { return m_pLocation; }
    const wchar_t* GetName() const { return m_wszName; }

private:
    std::uint32_t m_uiType;
    const void* m_pLocation;
    const wchar_t* m_wszName;
};

using Binary = std::vector<std::uint8_t>;
using List = std::vector<std::wstring>;

// A store. The order of the operations is fixed.
class Base {
public:
    Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    virtual ~Base();

    // `subPath` is a path below the key (registry) or the section (INI file).
    virtual bool OpenForRead(const Key& key, const std::wstring& subPath) = 0;
    virtual bool OpenForWrite(const Key& key, const std::wstring& subPath) = 0;
    virtual bool OpenForDelete(const Key& key, const std::wstring& subPath);  // false
    virtual bool OpenForEnum(const Key& key, const std::wstring& subPath);    // false
    virtual void Close(const bool& flush) = 0;
    virtual void Flush() = 0;

    // Of the reads, what a backend does not support gives false, the default (texts, numbers of 32
    // bits) or 0 (numbers of 64 bits).
    virtual bool ReadBinary(const std::wstring& name, Binary& buffer, std::uint32_t* error);
    virtual bool ReadBinary(const std::wstring& name, Binary& buffer);
    virtual std::wstring ReadString(const std::wstring& name, const std::wstring& byDefault,
                                    std::uint32_t* error);
    virtual std::wstring ReadString(const std::wstring& name, const std::wstring& byDefault) = 0;
    virtual std::uint64_t ReadQword(const std::wstring& name, const std::uint64_t& byDefault,
                                    std::uint32_t* error);
    virtual std::uint64_t ReadQword(const std::wstring& name, const std::uint64_t& byDefault);
    virtual std::uint32_t ReadDword(const std::wstring& name, const std::uint32_t& byDefault,
                                    std::uint32_t* error);
    virtual std::uint32_t ReadDword(const std::wstring& name, const std::uint32_t& byDefault) = 0;

    virtual bool WriteBinary(const std::wstring& name, const Binary& buffer);  // false
    virtual bool WriteString(const std::wstring& name, const std::wstring& value) = 0;
    virtual bool WriteQword(const std::wstring& name, const std::uint64_t& value);  // false
    virtual bool WriteDword(const std::wstring& name, const std::uint32_t& value) = 0;

    virtual bool DeleteSelf() = 0;
    virtual bool DeleteValue(const wchar_t* name) = 0;
    virtual bool DeleteValue(const std::wstring& name) = 0;

    // Appends to the list.
    virtual bool EnumSubKeys(List& list);  // false
    virtual bool EnumValues(List& list);   // false
};

}  // namespace KrCommon::Storage
