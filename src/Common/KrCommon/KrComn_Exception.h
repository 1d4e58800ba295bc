#pragma once

// The exception family of the foundation.
//
// Exceptions are thrown by pointer, and the catcher deletes them:
//
//     try {
//         key.OpenForRead(...);
//     } catch (Storage::Exception* raised) {
//         const Exception::Caught caught(raised);
//         ...
//     }
//
// Raise() makes and throws one; without memory for it std::bad_alloc goes out instead. A code is a
// Win32 error. Lines and source names tell where the library raised.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace KrCommon::Exception {

// The root of the family.
class Base {
public:
    Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    virtual ~Base();
};

// An exception with a code and the place in the library that raised it.
class Located : public Base {
public:
    Located(std::uint32_t code, std::uint32_t line, const char* file)
        : m_uiCode(code), m_uiLine(line), m_strFile(file) {}
    std::uint32_t Code() const { return m_uiCode; }
    std::uint32_t Line() const { return m_uiLine; }
    const std::string& File() const { return m_strFile; }

private:
    std::uint32_t m_uiCode;
    std::uint32_t m_uiLine;
    std::string m_strFile;
};

// Takes over a caught exception and deletes it at the end of the scope.
using Caught = std::unique_ptr<const Base>;

// Throws a new exception of the given type by pointer.
template <class Type, class... Arguments>
[[noreturn]] void Raise(Arguments&&... arguments) {
    throw new Type(std::forward<Arguments>(arguments)...);
}

}  // namespace KrCommon::Exception

namespace KrCommon::String {

// Raised by the text helpers that format.
class Exception : public KrCommon::Exception::Located {
public:
    using Located::Located;
};

}  // namespace KrCommon::String

namespace KrCommon::Storage {

// Raised by the storage backends.
class Exception : public KrCommon::Exception::Located {
public:
    using Located::Located;
};

// Raised by registry reads and writes: tells the key and the value, too.
class RegException : public Exception {
public:
    RegException(std::uint32_t code, std::uint32_t line, const char* file, std::wstring keyPath,
                 std::wstring valueName)
        : Exception(code, line, file),
          m_strKeyPath(std::move(keyPath)),
          m_strValueName(std::move(valueName)) {}
    const std::wstring& KeyPath() const { return m_strKeyPath; }
    const std::wstring& ValueName() const { return m_strValueName; }

private:
    std::wstring m_strKeyPath;
    std::wstring m_strValueName;
};

// Raised by the XML parser. Line and column of the document, and the parser's own words, are there
// when the document is at fault; otherwise they are 0 and empty.
class XmlException : public Exception {
public:
    XmlException(std::uint32_t code, std::uint32_t line, const char* file, std::int32_t xmlLine = 0,
                 std::int32_t xmlColumn = 0, std::string text = {})
        : Exception(code, line, file),
          m_iXmlLine(xmlLine),
          m_iXmlColumn(xmlColumn),
          m_strText(std::move(text)) {}
    std::int32_t XmlLine() const { return m_iXmlLine; }
    std::int32_t XmlColumn() const { return m_iXmlColumn; }
    const std::string& Text() const { return m_strText; }

private:
    std::int32_t m_iXmlLine;
    std::int32_t m_iXmlColumn;
    std::string m_strText;
};

}  // namespace KrCommon::Storage

namespace KrCommon::AccessControl {

// Raised while a security descriptor is built.
class Exception : public KrCommon::Exception::Located {
public:
    Exception(std::uint32_t code, std::uint32_t line, const char* file,
              std::uint32_t systemError = 0)
        : Located(code, line, file), m_uiSystemError(systemError) {}
    std::uint32_t SystemError() const { return m_uiSystemError; }

private:
    std::uint32_t m_uiSystemError;
};

}  // namespace KrCommon::AccessControl
