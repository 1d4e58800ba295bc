// The reads of the registry backend.

#include <exception>
#include <utility>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage {

namespace {

bool IsText(std::uint32_t type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// Runs the raising form of a read. A storage exception becomes its code and the other result.
template <class Result, class Read>
Result Quietly(std::uint32_t* error, Result otherwise, Read read) {
    std::uint32_t code = ERROR_SUCCESS;
    try {
        otherwise = read();
    } catch (Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        code = raised->Code();
    }
    if (error != nullptr)
        *error = code;
    return otherwise;
}

}  // namespace

std::uint32_t Registry::Query(const std::wstring& name, std::uint32_t& type, void* data,
                              std::uint32_t& size) const {
    DWORD systemType = REG_NONE;
    DWORD systemSize = size;
    const LSTATUS status = RegQueryValueExW(static_cast<HKEY>(m_hKey), name.c_str(), nullptr,
                                            &systemType, static_cast<BYTE*>(data), &systemSize);
    type = systemType;
    size = systemSize;
    return static_cast<std::uint32_t>(status);
}

void Registry::ReadNumber(const std::wstring& name, std::uint32_t type, void* number,
                          std::uint32_t size) const {
    CheckOpen(__LINE__);
    std::uint32_t storedType = REG_NONE;
    std::uint32_t storedSize = size;
    const std::uint32_t status = Query(name, storedType, number, storedSize);
    // A value that does not fit is malformed whatever its type: its type and size came all the
    // same.
    if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA)
        RaiseForValue(status, __LINE__, name);
    if (storedType != type || storedSize != size)
        RaiseForValue(ERROR_INVALID_DATA, __LINE__, name);
}

std::uint32_t Registry::ReadDword(const std::wstring& name, const std::uint32_t&) {
    std::uint32_t number = 0;
    ReadNumber(name, REG_DWORD, &number, sizeof number);
    return number;
}

std::uint64_t Registry::ReadQword(const std::wstring& name, const std::uint64_t&) {
    std::uint64_t number = 0;
    ReadNumber(name, REG_QWORD, &number, sizeof number);
    return number;
}

std::wstring Registry::ReadString(const std::wstring& name, const std::wstring&) {
    CheckOpen(__LINE__);
    std::uint32_t type = REG_NONE;
    std::uint32_t size = 0;
    std::uint32_t status = Query(name, type, nullptr, size);
    if (status != ERROR_SUCCESS)
        RaiseForValue(status, __LINE__, name);
    if (!IsText(type))
        RaiseForValue(ERROR_INVALID_DATA, __LINE__, name);
    try {
        // Zeros behind the data end a text that was stored without its NUL, or with an odd size.
        std::wstring text(size / sizeof(wchar_t) + 2, L'\0');
        status = Query(name, type, text.data(), size);
        if (status != ERROR_SUCCESS)
            RaiseForValue(status, __LINE__, name);
        if (!IsText(type))
            RaiseForValue(ERROR_INVALID_DATA, __LINE__, name);
        text.resize(text.find(L'\0'));
        return text;
    } catch (const std::exception&) {
        RaiseForValue(ERROR_INVALID_HANDLE, __LINE__, name);
    }
}

bool Registry::ReadBinary(const std::wstring& name, Binary& buffer) {
    CheckOpen(__LINE__);
    std::uint32_t type = REG_NONE;
    std::uint32_t size = 0;
    std::uint32_t status = Query(name, type, nullptr, size);
    if (status != ERROR_SUCCESS)
        RaiseForValue(status, __LINE__, name);
    if (type != REG_BINARY)
        RaiseForValue(ERROR_INVALID_DATA, __LINE__, name);
    Binary bytes;
    try {
        bytes.resize(size);
    } catch (const std::exception&) {
        RaiseForValue(ERROR_INVALID_HANDLE, __LINE__, name);
    }
    status = Query(name, type, bytes.data(), size);
    if (status != ERROR_SUCCESS)
        RaiseForValue(status, __LINE__, name);
    if (type != REG_BINARY)
        RaiseForValue(ERROR_INVALID_DATA, __LINE__, name);
    if (bytes.size() != size)
        RaiseForValue(ERROR_BAD_ARGUMENTS, __LINE__, name);
    buffer = std::move(bytes);
    if (buffer.empty())
        RaiseForValue(ERROR_INVALID_HANDLE, __LINE__, name);
    return true;
}

bool Registry::ReadBinary(const std::wstring& name, Binary& buffer, std::uint32_t* error) {
    return Quietly(error, false, [&] { return ReadBinary(name, buffer); });
}

std::wstring Registry::ReadString(const std::wstring& name, const std::wstring& byDefault,
                                  std::uint32_t* error) {
    return Quietly(error, byDefault, [&] { return ReadString(name, byDefault); });
}

std::uint64_t Registry::ReadQword(const std::wstring& name, const std::uint64_t& byDefault,
                                  std::uint32_t* error) {
    return Quietly(error, byDefault, [&] { return ReadQword(name, byDefault); });
}

std::uint32_t Registry::ReadDword(const std::wstring& name, const std::uint32_t& byDefault,
                                  std::uint32_t* error) {
    return Quietly(error, byDefault, [&] { return ReadDword(name, byDefault); });
}

}  // namespace KrCommon::Storage
