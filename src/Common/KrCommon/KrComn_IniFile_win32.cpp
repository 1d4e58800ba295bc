#include "Common/KrCommon/KrComn_IniFile.h"

#include <cwchar>
#include <new>
#include <string_view>
#include <utility>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_StorageOneShot.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage {

namespace {

constexpr char kLogSource[] = "KrComn_IniFile";

// Where bad arguments raise: file or section missing, name missing.
constexpr std::uint32_t kNoPlaceLine = 414;
constexpr std::uint32_t kNoNameLine = 422;

// Buffers grow by this many characters.
constexpr DWORD kStep = 256;
// By how much a result that was cut is shorter than the buffer: a text has one NUL, a list two.
constexpr DWORD kTextEnd = 1;
constexpr DWORD kListEnd = 2;

[[noreturn]] void RaiseCode(std::uint32_t code, std::uint32_t line) {
    KrCommon::Exception::Raise<Exception>(code, line, kLogSource);
}

// What `get(buffer, size)` gives when the buffer is large enough.
template <class Get>
std::wstring ReadWhole(DWORD end, Get get) {
    try {
        std::wstring buffer;
        for (;;) {
            buffer.resize(buffer.size() + kStep);
            const DWORD size = static_cast<DWORD>(buffer.size());
            const DWORD length = get(buffer.data(), size);
            if (length != size - end) {
                buffer.resize(length);
                return buffer;
            }
        }
    } catch (const std::bad_alloc&) {
        RaiseCode(ERROR_INVALID_HANDLE, __LINE__);
    }
}

// Appends the texts of a list in which each ends with a NUL.
bool SplitList(List& list, std::wstring_view texts) {
    while (!texts.empty()) {
        const std::size_t end = texts.find(L'\0');
        if (end == 0)
            return true;
        list.emplace_back(texts.substr(0, end));
        texts.remove_prefix(end == std::wstring_view::npos ? texts.size() : end + 1);
    }
    return true;
}

std::wstring Load(const std::wstring& file, const std::wstring& section, const std::wstring& name,
                  const std::wstring& byDefault) {
    IniFile ini;
    ini.OpenForRead(Key(Key::kIniFile, nullptr, file.c_str()), section);
    std::wstring value = ini.ReadString(name, byDefault);
    ini.Close(false);
    return value;
}

void Store(const std::wstring& file, const std::wstring& section, const std::wstring& name,
           const std::wstring& value) {
    IniFile ini;
    ini.OpenForWrite(Key(Key::kIniFile, nullptr, file.c_str()), section);
    ini.WriteString(name, value);
    ini.Close(false);
}

}  // namespace

IniFile::~IniFile() = default;

bool IniFile::OpenForRead(const Key& key, const std::wstring& section) {
    const auto* folder = static_cast<const wchar_t*>(key.GetLocation());
    std::wstring file = folder != nullptr ? folder : L"";
    String::AppendSeparator(file);
    if (key.GetName() != nullptr)
        file += key.GetName();
    std::wstring copy = section;
    m_strFile = std::move(file);
    m_strSection = std::move(copy);
    return true;
}

bool IniFile::OpenForWrite(const Key& key, const std::wstring& section) {
    return OpenForRead(key, section);
}

void IniFile::Close(const bool& flush) {
    if (flush)
        Flush();
    m_strFile.clear();
    m_strSection.clear();
}

void IniFile::Flush() {
    if (m_strFile.empty())
        RaiseCode(ERROR_BAD_ARGUMENTS, kNoPlaceLine);
    // Zero is the result also when all went well.
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, m_strFile.c_str());
}

void IniFile::CheckPlace() const {
    if (m_strFile.empty() || m_strSection.empty())
        RaiseCode(ERROR_BAD_ARGUMENTS, kNoPlaceLine);
}

void IniFile::CheckPlaceAndName(const std::wstring& name) const {
    CheckPlace();
    if (name.empty())
        RaiseCode(ERROR_BAD_ARGUMENTS, kNoNameLine);
}

std::wstring IniFile::ReadString(const std::wstring& name, const std::wstring& byDefault) {
    CheckPlaceAndName(name);
    return ReadWhole(kTextEnd, [&](wchar_t* buffer, DWORD size) {
        return GetPrivateProfileStringW(m_strSection.c_str(), name.c_str(), byDefault.c_str(),
                                        buffer, size, m_strFile.c_str());
    });
}

std::uint32_t IniFile::ReadDword(const std::wstring& name, const std::uint32_t& byDefault) {
    CheckPlaceAndName(name);
    return GetPrivateProfileIntW(m_strSection.c_str(), name.c_str(), static_cast<INT>(byDefault),
                                 m_strFile.c_str());
}

bool IniFile::Write(const wchar_t* name, const wchar_t* value, std::uint32_t line) const {
    if (WritePrivateProfileStringW(m_strSection.c_str(), name, value, m_strFile.c_str()) == 0)
        RaiseCode(GetLastError(), line);
    return true;
}

bool IniFile::WriteString(const std::wstring& name, const std::wstring& value) {
    CheckPlaceAndName(name);
    return Write(name.c_str(), value.c_str(), __LINE__);
}

bool IniFile::WriteDword(const std::wstring& name, const std::uint32_t& value) {
    std::wstring text;
    try {
        String::Format(text, L"%u", value);
    } catch (String::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        RaiseCode(raised->Code(), __LINE__);
    }
    return WriteString(name, text);
}

bool IniFile::DeleteSelf() {
    CheckPlace();
    return Write(nullptr, nullptr, __LINE__);
}

bool IniFile::DeleteValue(const wchar_t* name) {
    return DeleteValue(std::wstring(name != nullptr ? name : L""));
}

bool IniFile::DeleteValue(const std::wstring& name) {
    CheckPlaceAndName(name);
    return Write(name.c_str(), nullptr, __LINE__);
}

bool IniFile::EnumSubKeys(List& list) {
    CheckPlace();
    return SplitList(list, ReadWhole(kListEnd, [&](wchar_t* buffer, DWORD size) {
                         return GetPrivateProfileSectionNamesW(buffer, size, m_strFile.c_str());
                     }));
}

bool IniFile::EnumValues(List& list) {
    CheckPlace();
    return SplitList(list, ReadWhole(kListEnd, [&](wchar_t* buffer, DWORD size) {
                         return GetPrivateProfileSectionW(m_strSection.c_str(), buffer, size,
                                                          m_strFile.c_str());
                     }));
}

std::wstring LoadIniString(const std::wstring& file, const std::wstring& section,
                           const std::wstring& name, const std::wstring& byDefault,
                           std::uint32_t* error) noexcept {
    std::wstring value;
    if (!OneShot::Run(error, [&] { value = Load(file, section, name, byDefault); }))
        OneShot::Run(nullptr, [&] { value = byDefault; });
    return value;
}

std::wstring LoadIniString(const wchar_t* file, const wchar_t* section, const wchar_t* name,
                           const wchar_t* byDefault, std::uint32_t* error) noexcept {
    std::wstring value;
    const auto load = [&] {
        value = Load(OneShot::Text(file), OneShot::Text(section), OneShot::Text(name),
                     OneShot::Text(byDefault));
    };
    if (!OneShot::Run(error, load))
        OneShot::Run(nullptr, [&] { value = OneShot::Text(byDefault); });
    return value;
}

bool StoreIniString(const std::wstring& file, const std::wstring& section, const std::wstring& name,
                    const std::wstring& value, std::uint32_t* error) noexcept {
    return OneShot::Run(error, [&] { Store(file, section, name, value); });
}

bool StoreIniString(const wchar_t* file, const wchar_t* section, const wchar_t* name,
                    const wchar_t* value, std::uint32_t* error) noexcept {
    return OneShot::Run(error, [&] {
        Store(OneShot::Text(file), OneShot::Text(section), OneShot::Text(name),
              OneShot::Text(value));
    });
}

}  // namespace KrCommon::Storage
