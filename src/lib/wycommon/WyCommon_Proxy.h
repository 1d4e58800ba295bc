#pragma once

// The proxy settings of the product. For Windows builds alone.

#include <cstdint>
#include <string>

namespace WyCommon::Utility {

// The settings that were stored last. The user's name and password are enciphered, see
// KrCommon::Cryptograph::EncryptStringW; empty texts stand for none.
struct ProxySettings {
    std::wstring server;
    std::uint32_t port = 0;
    bool enable = false;
    std::wstring userName;
    std::wstring password;
};

// Stores the settings as values of the product's sub-key "Proxy" and keeps them in `state`.
//
// User and password come in clear and are stored enciphered, in hexadecimal digits; an empty text
// is stored empty. All five values are tried: when one of them cannot be stored the result is
// 0xe0ff000c and `state` is unchanged, but the others may be stored. Otherwise 0x20ff0000. Raises
// nothing; calls with the same `state` have to take turns.
std::uint32_t SetProxy(ProxySettings& state, bool enable, const std::wstring& server,
                       std::uint32_t port, const std::wstring& user,
                       const std::wstring& password) noexcept;

}  // namespace WyCommon::Utility
