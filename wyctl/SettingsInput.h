#pragma once

// Settings as a person types them. What is wrong raises UsageError with a text that says what is
// right.

#include <cstdint>
#include <string>

namespace WyCtl {

// A port of a server, 1 to 65535.
std::uint32_t ParsePort(const std::string& text);

// The name or address of a host, without scheme, path or port; an IPv6 address in brackets.
std::wstring ParseHost(const std::string& text);

// "on", "off" or a number of 32 bits.
std::uint32_t ParseStatus(const std::string& text);

// A day as the service counts, 0 to 7, and a full hour, 0 to 23.
std::uint8_t ParseDay(const std::string& text);
std::uint8_t ParseHour(const std::string& text);

// The address of a server: http or https, a host, perhaps a port and a path.
std::wstring ParseUrl(const std::string& text);

// A language that the system knows, by its name ("de-DE") or number ("1031", "0x407").
std::uint32_t ParseLanguage(const std::string& text);

// The name of a language, empty when the system does not know it.
std::string LanguageName(std::uint32_t lcid);

}  // namespace WyCtl
