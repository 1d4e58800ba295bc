#include "Common/KrCommon/KrComn_XmlParsingState.h"

#include <cwchar>

#include "Common/KrCommon/KrComn_ErrorCode.h"

namespace KrCommon::Storage {

std::uint32_t CopyIntoBuffer(XmlParsingState::Buffer& buffer, const wchar_t* text) noexcept {
    if (text == nullptr)
        return ErrorCode::kBadArguments;
    std::size_t length = 0;
    while (length < XmlParsingState::kCharacters && text[length] != L'\0') {
        ++length;
    }
    if (length == XmlParsingState::kCharacters)
        return ErrorCode::kInsufficientBuffer;
    std::wmemmove(buffer, text, length + 1);
    return ErrorCode::kSuccess;
}

}  // namespace KrCommon::Storage
