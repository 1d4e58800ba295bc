#pragma once

// The user's language as a locale name, by a mapping that stands in a file.
//
// The file is a JSON database with these members:
//
//     localMapping   array of objects: `lcid`, a number, the language as GetUserDefaultUILanguage
//                    gives it, and `localeName`, its name
//     defaultLocal   the name for a language that is not in the array
//
// Callers find it as "localeInfo.json" in the folder "Configuration" of the product or of the
// media.

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Synchronize.h"

namespace WyCommon {

// The language of the user's interface (GetUserDefaultUILanguage); natively LANG_USER_DEFAULT,
// which is no number of a language.
std::uint32_t UserLanguage();

// Looks a locale name up and keeps it. Any thread may call; raises std::bad_alloc alone.
class LocaleHelper {
public:
    using LanguageSource = std::uint32_t (*)();

    explicit LocaleHelper(LanguageSource language = UserLanguage) : m_fnLanguage(language) {}
    LocaleHelper(const LocaleHelper&) = delete;
    LocaleHelper& operator=(const LocaleHelper&) = delete;

    // The object of this process.
    static LocaleHelper& Instance();

    // Puts the locale name of the user's language into `out`: of the first row with its number, or
    // the default. A name that was found is kept for the life of the object, and the file of a
    // later call is not looked at.
    //
    // Returns the code of JsonDb::Load. `out` is as it was when that failed or the file holds no
    // JSON; it is empty when the row, or the file, names no locale.
    std::uint32_t GetLocaleName(std::wstring& out, const std::wstring& path);

private:
    const LanguageSource m_fnLanguage;
    KrCommon::Synchronize::CriticalSection m_csName;
    std::wstring m_localName;
};

namespace Utility {

// The same from the object of this process, with "EN-US" where it gives no name. Returns the
// helper's code.
std::uint32_t GetLocaleName(std::wstring& out, const std::wstring& path);

}  // namespace Utility

}  // namespace WyCommon
