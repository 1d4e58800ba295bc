#pragma once

// INI files behind the storage interface. For Windows builds alone.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Storage.h"

namespace KrCommon::Storage {

// One section of an INI file.
//
// The file is the storage key's folder, "\" unless that is empty or ends in it, and its file name;
// the second argument of an open is the section. A name without a folder means the Windows folder,
// as everywhere in the private-profile family. The object holds no handle: every operation goes by
// name to the system, which keeps the file's encoding, trims blanks around values, and takes off
// one pair of quotes. It must be opened all the same: without file and section, or with an empty
// name of a value, an operation raises Storage::Exception with code 160.
//
// A file or value that is missing gives the default, it raises nothing. Numbers and texts alone
// are kept here; the other reads and writes do nothing, and OpenForDelete and OpenForEnum are
// false: OpenForWrite serves for both.
class IniFile : public Base {
public:
    IniFile() = default;
    ~IniFile() override;

    bool OpenForRead(const Key& key, const std::wstring& section) override;
    bool OpenForWrite(const Key& key, const std::wstring& section) override;
    void Close(const bool& flush) override;
    // Writes the system's copy of the file out; the result of that is not told by the system.
    void Flush() override;

    using Base::ReadDword;
    using Base::ReadString;
    // GetPrivateProfileStringW, at any length. Without memory code 6.
    std::wstring ReadString(const std::wstring& name, const std::wstring& byDefault) override;
    // GetPrivateProfileIntW.
    std::uint32_t ReadDword(const std::wstring& name, const std::uint32_t& byDefault) override;

    // A failure raises the system's code.
    bool WriteString(const std::wstring& name, const std::wstring& value) override;
    bool WriteDword(const std::wstring& name, const std::uint32_t& value) override;

    // Deletes the section. One that is missing is no failure, nor is a missing value below.
    bool DeleteSelf() override;
    bool DeleteValue(const wchar_t* name) override;
    bool DeleteValue(const std::wstring& name) override;

    // The names of the file's sections.
    bool EnumSubKeys(List& list) override;
    // The lines of the section, as key=value.
    bool EnumValues(List& list) override;

private:
    void CheckPlace() const;
    void CheckPlaceAndName(const std::wstring& name) const;
    bool Write(const wchar_t* name, const wchar_t* value, std::uint32_t line) const;

    std::wstring m_strFile;
    std::wstring m_strSection;
};

// One-shots: open, act, close. They never raise. `error` (null is allowed) receives 0, the code of
// a Storage::Exception, or 0x800300fd for any other failure. In the forms that take pointers null
// stands for the empty text. `file` is a whole path.

// The value, or the default when it is missing and on any failure. Without memory even for the
// default the result is empty.
std::wstring LoadIniString(const std::wstring& file, const std::wstring& section,
                           const std::wstring& name, const std::wstring& byDefault,
                           std::uint32_t* error) noexcept;
std::wstring LoadIniString(const wchar_t* file, const wchar_t* section, const wchar_t* name,
                           const wchar_t* byDefault, std::uint32_t* error) noexcept;

bool StoreIniString(const std::wstring& file, const std::wstring& section, const std::wstring& name,
                    const std::wstring& value, std::uint32_t* error) noexcept;
bool StoreIniString(const wchar_t* file, const wchar_t* section, const wchar_t* name,
                    const wchar_t* value, std::uint32_t* error) noexcept;

}  // namespace KrCommon::Storage
