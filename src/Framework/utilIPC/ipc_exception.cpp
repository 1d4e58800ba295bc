#include "Framework/utilIPC/ipc_exception.h"

namespace OS {

namespace {

std::wstring NameAndExtension(const wchar_t* file) {
    if (file == nullptr)
        return {};
    const std::wstring path = file;
    const std::size_t separator = path.find_last_of(L"\\/:");
    return separator == std::wstring::npos ? path : path.substr(separator + 1);
}

}  // namespace

CException::CException(std::uint32_t code, const wchar_t* file, std::uint32_t line)
    : m_uiCode(code), m_strFile(NameAndExtension(file)), m_uiLine(line) {}

std::uint32_t CException::GetCode() const {
    return m_uiCode;
}

std::wstring CException::GetMessage() const {
    return std::to_wstring(static_cast<std::int32_t>(m_uiCode));
}

std::wstring CException::GetFullMessage() const {
    if (m_strFile.empty())
        return GetMessage();
    return GetMessage() + L", (" + std::to_wstring(static_cast<std::int32_t>(m_uiCode)) + L"), [" +
           m_strFile + L"|" + std::to_wstring(m_uiLine) + L"]";
}

}  // namespace OS

std::wstring CIPCMsgBufferException::GetMessage() const {
    switch (GetCode()) {
        case kOutOfRange:
            return L"Out of range";
        case kInvalidBuffer:
            return L"Invalid buffer";
        case kNotOwner:
            return L"Not owner";
        default:
            return {};
    }
}
