#include <climits>

#include "Common/KrCommon/KrComn_CodePage.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::String {

namespace {

// The system calls count in int.
constexpr std::size_t kLongest = INT_MAX;

}  // namespace

char* NarrowToAnsi(char* narrow, const wchar_t* wide, std::size_t size,
                   std::uint32_t codePage) noexcept {
    if (narrow == nullptr || wide == nullptr || size == 0)
        return nullptr;
    narrow[0] = '\0';
    const int room = static_cast<int>(size < kLongest ? size : kLongest);
    const int written = WideCharToMultiByte(codePage, 0, wide, -1, narrow, room, nullptr, nullptr);
    return written != 0 ? narrow : nullptr;
}

bool ToCodePage(std::wstring_view wide, std::string& narrow, std::uint32_t codePage) noexcept {
    narrow.clear();
    if (wide.empty())
        return true;
    if (wide.size() > kLongest)
        return false;
    const int length = static_cast<int>(wide.size());
    const int size =
        WideCharToMultiByte(codePage, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    if (size <= 0)
        return false;
    try {
        narrow.resize(static_cast<std::size_t>(size));
    } catch (...) {
        return false;
    }
    if (WideCharToMultiByte(codePage, 0, wide.data(), length, narrow.data(), size, nullptr,
                            nullptr) == size)
        return true;
    narrow.clear();
    return false;
}

bool FromCodePage(std::string_view narrow, std::wstring& wide, std::uint32_t codePage) noexcept {
    wide.clear();
    if (narrow.empty())
        return true;
    if (narrow.size() > kLongest)
        return false;
    const int length = static_cast<int>(narrow.size());
    const int size = MultiByteToWideChar(codePage, 0, narrow.data(), length, nullptr, 0);
    if (size <= 0)
        return false;
    try {
        wide.resize(static_cast<std::size_t>(size));
    } catch (...) {
        return false;
    }
    if (MultiByteToWideChar(codePage, 0, narrow.data(), length, wide.data(), size) == size)
        return true;
    wide.clear();
    return false;
}

}  // namespace KrCommon::String
