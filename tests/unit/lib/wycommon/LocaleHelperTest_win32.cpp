// The language that the helper asks the system for.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyLocaleHelper.h"
#include "support/TemporaryFolder.h"

namespace {

TEST(LocaleHelper, takes_the_language_of_the_user) {
    const test_support::TemporaryFolder folder(L"wy locale");
    const std::filesystem::path file = folder.Path() / L"localeInfo.json";
    ASSERT_NE(GetUserDefaultUILanguage(), 0);
    std::ofstream(file) << R"({"defaultLocal":"other","localMapping":[{"localeName":"mine","lcid":)"
                        << GetUserDefaultUILanguage() << R"(}]})";
    WyCommon::LocaleHelper helper;
    std::wstring name;
    EXPECT_EQ(helper.GetLocaleName(name, file.wstring()), KrCommon::Result::kSuccess);
    EXPECT_EQ(name, L"mine");
}

}  // namespace
