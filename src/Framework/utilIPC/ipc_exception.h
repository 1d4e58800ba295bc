#pragma once

// Exceptions of the transport's lowest layers.
//
// They are thrown by value and caught by the helper classes above; none crosses a helper.

#include <cstdint>
#include <string>

namespace OS {

// An error with a code and the place where it was raised.
class CException {
public:
    // `file` is the source of the throw; a path is cut to name and extension. Null leaves the
    // source empty.
    CException(std::uint32_t code, const wchar_t* file, std::uint32_t line);
    CException(const CException&) = default;
    CException& operator=(const CException&) = default;
    virtual ~CException() = default;

    virtual std::uint32_t GetCode() const;
    // The code in decimal, as a signed number.
    virtual std::wstring GetMessage() const;
    // The message, and behind it code, source and line unless the source is empty.
    virtual std::wstring GetFullMessage() const;

private:
    std::uint32_t m_uiCode;
    std::wstring m_strFile;
    std::uint32_t m_uiLine;
};

}  // namespace OS

// What a read of an envelope can meet.
class CIPCMsgBufferException : public OS::CException {
public:
    static constexpr std::uint32_t kOutOfRange = 0;
    static constexpr std::uint32_t kInvalidBuffer = 1;
    // Reserved: a write into a buffer that is not the owner is ignored, not reported.
    static constexpr std::uint32_t kNotOwner = 2;

    using OS::CException::CException;
    ~CIPCMsgBufferException() override = default;

    // The text of the code; empty for a code that is none of the three.
    std::wstring GetMessage() const override;
};
