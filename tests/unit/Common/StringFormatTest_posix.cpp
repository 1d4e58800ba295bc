// Texts that this system's C library refuses to format. That of Windows takes every byte.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_String.h"

namespace {

namespace String = KrCommon::String;

TEST(Format, text_without_a_wide_form_raises_6_and_changes_nothing) {
    std::wstring out = L"before";
    std::uint32_t code = 0;
    std::string file;
    try {
        String::Format(out, L"%s", "\xff\xfe");
    } catch (String::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
        code = raised->Code();
        file = raised->File();
        EXPECT_NE(raised->Line(), 0U);
    }
    EXPECT_EQ(code, 6U);
    EXPECT_EQ(file, "KrComn_String");
    EXPECT_EQ(out, L"before");
}

}  // namespace
