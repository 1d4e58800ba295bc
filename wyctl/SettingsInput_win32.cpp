#include <fmt/format.h>

#include <cwchar>
#include <optional>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "wyctl/CommandText.h"
#include "wyctl/Errors.h"
#include "wyctl/SettingsInput.h"

namespace WyCtl {

namespace {

std::wstring LocaleText(LCID lcid, LCTYPE type) {
    constexpr int kSize = 100;
    wchar_t text[kSize] = {};
    return GetLocaleInfoW(lcid, type, text, kSize) > 0 ? text : L"";
}

std::wstring NameOf(LCID lcid) {
    const std::wstring language = LocaleText(lcid, LOCALE_SISO639LANGNAME);
    const std::wstring country = LocaleText(lcid, LOCALE_SISO3166CTRYNAME);
    return country.empty() ? language : language + L"-" + country;
}

// The search for a name; the system's walk has no context of its caller's. One at a time.
std::wstring s_Wanted;
std::optional<LCID> s_Found;

BOOL CALLBACK Compare(wchar_t* digits) {
    const LCID lcid = std::wcstoul(digits, nullptr, 16);
    if (_wcsicmp(NameOf(lcid).c_str(), s_Wanted.c_str()) != 0) {
        return TRUE;
    }
    s_Found = lcid;
    return FALSE;
}

std::optional<LCID> FindByName(const std::string& name) {
    s_Wanted = KrCommon::String::FromUtf8(name);
    s_Found.reset();
    EnumSystemLocalesW(Compare, LCID_SUPPORTED);
    return s_Found;
}

}  // namespace

std::string LanguageName(std::uint32_t lcid) {
    return KrCommon::String::ToUtf8(NameOf(lcid));
}

std::uint32_t ParseLanguage(const std::string& text) {
    const auto number = ParseNumber(text);
    std::optional<LCID> lcid;
    if (!number) {
        lcid = FindByName(text);
    } else if (*number != 0 && *number <= UINT32_MAX &&
               IsValidLocale(static_cast<LCID>(*number), LCID_SUPPORTED) != FALSE) {
        lcid = static_cast<LCID>(*number);
    }
    if (!lcid) {
        throw UsageError(fmt::format(
            "'{}' is no language of this system: a name such as de-DE, or its number (1031, 0x407)",
            text));
    }
    return *lcid;
}

}  // namespace WyCtl
