#include "wyctl/SettingsInput.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/CommandText.h"
#include "wyctl/Errors.h"

namespace WyCtl {

namespace {

constexpr std::uint32_t kHighestPort = 65535;
constexpr std::uint32_t kHighestDay = 7;
constexpr std::uint32_t kHighestHour = 23;

std::uint32_t ParseWithin(const std::string& text, std::uint32_t lowest, std::uint32_t highest,
                          const char* what) {
    const auto number = ParseNumber(text);
    if (!number || *number < lowest || *number > highest) {
        throw UsageError(fmt::format("'{}' is no {} ({} to {})", text, what, lowest, highest));
    }
    return static_cast<std::uint32_t>(*number);
}

bool HasBlankOrControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7f'; });
}

// True for "name", "1.2.3.4" and "[::1]".
bool IsHost(std::string_view host) {
    if (host.starts_with('[') && host.ends_with(']')) {
        const std::string_view address = host.substr(1, host.size() - 2);
        return address.find(':') != std::string_view::npos &&
               address.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
    }
    return !host.empty() && !HasBlankOrControl(host) &&
           host.find_first_of("/\\:@[]?#") == std::string_view::npos;
}

// Takes the port off "host:port"; true when there is none or it is one.
bool TakePort(std::string_view& authority) {
    const std::size_t colon = authority.rfind(':');
    if (colon == std::string_view::npos || authority.find(']', colon) != std::string_view::npos) {
        return true;
    }
    const auto port = ParseNumber(authority.substr(colon + 1));
    authority = authority.substr(0, colon);
    return port && *port >= 1 && *port <= kHighestPort;
}

bool IsUrl(std::string_view url) {
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (url.starts_with(scheme)) {
            std::string_view rest = url.substr(scheme.size());
            if (HasBlankOrControl(rest)) {
                return false;
            }
            std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
            return TakePort(authority) && IsHost(authority);
        }
    }
    return false;
}

}  // namespace

std::uint32_t ParsePort(const std::string& text) {
    return ParseWithin(text, 1, kHighestPort, "port");
}

std::wstring ParseHost(const std::string& text) {
    if (!IsHost(text)) {
        throw UsageError(fmt::format(
            "'{}' is no name or address of a host, without scheme, path and port", text));
    }
    return KrCommon::String::FromUtf8(text);
}

std::uint32_t ParseStatus(const std::string& text) {
    if (text == "on" || text == "off") {
        return text == "on" ? 1 : 0;
    }
    const auto number = ParseNumber(text);
    if (!number || *number > UINT32_MAX) {
        throw UsageError(fmt::format("'{}' is no status: on, off, or a number of 32 bits", text));
    }
    return static_cast<std::uint32_t>(*number);
}

std::uint8_t ParseDay(const std::string& text) {
    return static_cast<std::uint8_t>(ParseWithin(text, 0, kHighestDay, "day of the week"));
}

std::uint8_t ParseHour(const std::string& text) {
    return static_cast<std::uint8_t>(ParseWithin(text, 0, kHighestHour, "hour"));
}

std::wstring ParseUrl(const std::string& text) {
    if (!IsUrl(text)) {
        throw UsageError(fmt::format(
            "'{}' is no address of a server: http://HOST or https://HOST, then :PORT and /PATH",
            text));
    }
    return KrCommon::String::FromUtf8(text);
}

}  // namespace WyCtl
