// Functions found at run time: each failure's code, and nothing left loaded.

#include <gtest/gtest.h>

#include <cstdint>

#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "unit/lib/wycommon/LookupStandIns.h"

namespace {

using wycommon_test::Lookups;
using Ticks = KrCommon::Library::Function<DWORD WINAPI()>;

TEST(LibraryFunction, is_found_and_its_module_freed_with_the_object) {
    Lookups lookups;
    {
        Ticks ticks;
        std::uint32_t error = 77;
        EXPECT_TRUE(ticks.Find(L"kernel32.dll", "GetTickCount", &error));
        EXPECT_EQ(error, 0U);
        ASSERT_NE(ticks.Get(), nullptr);
        EXPECT_EQ(ticks.Get(&error), ticks.Get());
        EXPECT_EQ(error, 0U);
        EXPECT_GE(ticks.Get()() + 1, GetTickCount());
        EXPECT_EQ(lookups.LeftLoaded(), 1);
    }
    EXPECT_EQ(lookups.LeftLoaded(), 0);
}

TEST(LibraryFunction, failure_has_its_code_and_leaves_no_function) {
    const struct {
        const char* what;
        const wchar_t* module;
        const char* name;
        DWORD moduleError;
        std::uint32_t error;
    } rows[] = {
        {"no module name", nullptr, "GetTickCount", 0, 160},
        {"no function name", L"kernel32.dll", nullptr, 0, 160},
        {"no such module", L"wy_no_such_module.dll", "GetTickCount", 0, 126},
        {"no such function", L"kernel32.dll", "WyNoSuchFunction", 0, 127},
        {"module that fails to start", L"kernel32.dll", "GetTickCount", 1114, 1114},
        {"module that is no library", L"kernel32.dll", "GetTickCount", 193, 193},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Lookups lookups;
        if (row.moduleError != 0)
            lookups.HideModule(row.module, row.moduleError);
        {
            Ticks ticks;
            std::uint32_t error = 77;
            EXPECT_FALSE(ticks.Find(row.module, row.name, &error));
            EXPECT_EQ(error, row.error);
            EXPECT_EQ(ticks.Get(), nullptr);
            EXPECT_EQ(ticks.Get(&error), nullptr);
            EXPECT_EQ(error, 6U);
            Ticks quiet;
            EXPECT_FALSE(quiet.Find(row.module, row.name, nullptr));
            EXPECT_EQ(quiet.Get(nullptr), nullptr);
        }
        EXPECT_EQ(lookups.LeftLoaded(), 0);
    }
}

TEST(LibraryFunction, object_finds_one_function_in_its_life) {
    Ticks ticks;
    std::uint32_t error = 77;
    EXPECT_TRUE(ticks.Find(L"kernel32.dll", "GetTickCount", &error));
    EXPECT_FALSE(ticks.Find(L"kernel32.dll", "GetTickCount", &error));
    EXPECT_EQ(error, 5010U);
}

}  // namespace
