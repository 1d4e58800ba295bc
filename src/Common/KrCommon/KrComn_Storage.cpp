#include "Common/KrCommon/KrComn_Storage.h"

namespace KrCommon::Storage {

Key::~Key() = default;
Base::~Base() = default;

bool Base::OpenForDelete(const Key&, const std::wstring&) {
    return false;
}

bool Base::OpenForEnum(const Key&, const std::wstring&) {
    return false;
}

bool Base::ReadBinary(const std::wstring&, Binary&, std::uint32_t*) {
    return false;
}

bool Base::ReadBinary(const std::wstring&, Binary&) {
    return false;
}

std::wstring Base::ReadString(const std::wstring&, const std::wstring& byDefault, std::uint32_t*) {
    return byDefault;
}

std::uint64_t Base::ReadQword(const std::wstring&, const std::uint64_t&, std::uint32_t*) {
    return 0;
}

std::uint64_t Base::ReadQword(const std::wstring&, const std::uint64_t&) {
    return 0;
}

std::uint32_t Base::ReadDword(const std::wstring&, const std::uint32_t& byDefault, std::uint32_t*) {
    return byDefault;
}

bool Base::WriteBinary(const std::wstring&, const Binary&) {
    return false;
}

bool Base::WriteQword(const std::wstring&, const std::uint64_t&) {
    return false;
}

bool Base::EnumSubKeys(List&) {
    return false;
}

bool Base::EnumValues(List&) {
    return false;
}

}  // namespace KrCommon::Storage
