#pragma once

// The keys of the two text forms, for the one source file that uses them and for its tests.

#include <cstddef>
#include <cstdint>

namespace KrCommon::Cryptograph {

// One of the two keys, put together on the stack of the routine that needs it and wiped when that
// returns. The key itself stands nowhere in the library's file. It is never logged or shown.
class StringCryptKey {
public:
    enum class Form { Fixed, Hexadecimal };

    static constexpr std::size_t kSize = 16;

    explicit StringCryptKey(Form form) noexcept;
    StringCryptKey(const StringCryptKey&) = delete;
    StringCryptKey& operator=(const StringCryptKey&) = delete;
    ~StringCryptKey();

    const std::uint8_t* Bytes() const { return m_Bytes; }

private:
    std::uint8_t m_Bytes[kSize];
};

}  // namespace KrCommon::Cryptograph
