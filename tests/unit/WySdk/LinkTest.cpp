// A program that is linked with the library by an import library and its C header.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

// Written by the build from the definition file, and compiled as strict C99.
extern "C" {
extern void (*const g_AllExports[])(void);
extern const unsigned g_AllExportsCount;
}

namespace {

TEST(ImportLibrary, has_every_export) {
    EXPECT_EQ(g_AllExportsCount, 85U);
    for (unsigned i = 0; i < g_AllExportsCount; ++i) {
        EXPECT_NE(g_AllExports[i], nullptr);
    }
}

// A wrong decoration would leave the stack of a 32-bit program in disorder.
TEST(ImportLibrary, leads_to_the_functions) {
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(WyScan(1, nullptr, nullptr), WY_E_INVALID_ARGUMENT);
        EXPECT_EQ(WyScanBigFile(nullptr, L"", 0xffffffffffffffffU), WY_E_INVALID_ARGUMENT);
        EXPECT_EQ(WyInitialize(nullptr), WY_E_INVALID_ARGUMENT);
        EXPECT_EQ(WyGetCacheFolder(nullptr, nullptr), WY_E_INVALID_ARGUMENT);
        EXPECT_EQ(WySetDebugLog(true, 1), WY_E_LOG_SETTINGS_NOT_CHANGED);
    }
    EXPECT_EQ(WyUninitialize(), WY_S_OK);
}

}  // namespace
