// Run-time loading where the system refuses, and what of it the destructor frees.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "LibraryTest.h"
#include "support/IatPatch.h"

namespace {

using test_library::kUntouched;
using test_library::ModulePath;
using test_library::Wrapper;
using test_support::IatPatch;

constexpr const char* kFirst = "TestModuleFirst";
const HMODULE kModule = reinterpret_cast<HMODULE>(std::uintptr_t{0x10000});

// What the system answers, and how often it was asked to free.
DWORD g_uiError = 0;
bool g_bFreeSucceeds = true;
int g_iFreed = 0;

HMODULE WINAPI RefuseLoad(const wchar_t*) {
    SetLastError(g_uiError);
    return nullptr;
}
HMODULE WINAPI LoadGiven(const wchar_t*) {
    return kModule;
}
BOOL WINAPI FreeGiven(HMODULE module) {
    EXPECT_EQ(module, kModule);
    ++g_iFreed;
    SetLastError(g_uiError);
    return g_bFreeSucceeds;
}
int TestFunction() {
    return 5;
}
FARPROC WINAPI FindGiven(HMODULE, const char*) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(TestFunction));
}
FARPROC WINAPI RefuseFind(HMODULE, const char*) {
    SetLastError(g_uiError);
    return nullptr;
}

HMODULE Self() {
    return GetModuleHandleW(nullptr);
}

TEST(LibrarySystem, refused_load_gives_the_systems_code) {
    const IatPatch patch(Self(), "kernel32.dll", "LoadLibraryW", RefuseLoad);
    const struct {
        DWORD told;
        std::uint32_t error;
    } rows[] = {{5, 5}, {14001, 14001}, {0, 1114}};  // a failure without a code is one, too
    for (const auto& row : rows) {
        g_uiError = row.told;
        Wrapper library({});
        std::uint32_t error = kUntouched;
        EXPECT_FALSE(library.Load(L"any", 0, &error));
        EXPECT_EQ(error, row.error);
        EXPECT_FALSE(library.IsLoaded());
    }
}

TEST(LibrarySystem, file_that_is_no_module_gives_193) {
    Wrapper library({});
    std::uint32_t error = kUntouched;
    EXPECT_FALSE(library.Load(
        (test_support::ProgramFolder() / "LibraryTestText.dll").wstring().c_str(), 0, &error));
    EXPECT_EQ(error, 193U);
}

TEST(LibrarySystem, refused_search_gives_the_systems_code) {
    Wrapper library({kFirst, "Second"});
    ASSERT_TRUE(library.Load(ModulePath().c_str(), 0, nullptr));
    const IatPatch patch(Self(), "kernel32.dll", "GetProcAddress", RefuseFind);
    const struct {
        DWORD told;
        std::uint32_t error;
    } rows[] = {{182, 182}, {0, 1114}};
    for (const auto& row : rows) {
        g_uiError = row.told;
        std::uint32_t error = kUntouched;
        EXPECT_FALSE(library.Bind(true, &error));
        EXPECT_EQ(error, row.error);
        EXPECT_FALSE(library.IsBound());
    }
}

// Loading and freeing of a module that is none.
class LibraryFree : public testing::Test {
protected:
    LibraryFree()
        : m_Load(Self(), "kernel32.dll", "LoadLibraryW", LoadGiven),
          m_Free(Self(), "kernel32.dll", "FreeLibrary", FreeGiven),
          m_Find(Self(), "kernel32.dll", "GetProcAddress", FindGiven) {
        g_iFreed = 0;
        g_bFreeSucceeds = true;
        g_uiError = 0;
    }

private:
    IatPatch m_Load;
    IatPatch m_Free;
    IatPatch m_Find;
};

TEST_F(LibraryFree, refused_unload_keeps_the_module) {
    Wrapper library({kFirst});
    ASSERT_TRUE(library.Load(L"any", 0, nullptr));
    ASSERT_TRUE(library.Bind(true, nullptr));
    g_bFreeSucceeds = false;
    const struct {
        DWORD told;
        std::uint32_t error;
    } rows[] = {{5, 5}, {0, 1114}};
    for (const auto& row : rows) {
        g_uiError = row.told;
        std::uint32_t error = kUntouched;
        EXPECT_FALSE(library.Unload(&error));
        EXPECT_EQ(error, row.error);
        EXPECT_TRUE(library.IsLoaded());
        EXPECT_EQ(library.Call(0), 5);
    }
    g_bFreeSucceeds = true;
    EXPECT_TRUE(library.Unload(nullptr));
    EXPECT_FALSE(library.IsLoaded());
}

TEST_F(LibraryFree, destructor_frees_what_is_loaded) {
    const struct {
        const char* what;
        bool load;
        bool bind;
        bool unload;
        bool succeeds;
        int freed;  // calls of FreeLibrary in the destructor
    } rows[] = {
        {"nothing", false, false, false, true, 0},
        {"loaded", true, false, false, true, 1},
        {"loaded and bound", true, true, false, true, 1},
        {"unloaded", true, false, true, true, 0},
        {"unloaded though bound", true, true, true, true, 0},
        {"loaded, refused", true, false, false, false, 1},
        {"bound, refused and tried again", true, true, false, false, 2},
    };
    for (const auto& row : rows) {
        g_bFreeSucceeds = true;
        {
            Wrapper library({kFirst});
            if (row.load) {
                EXPECT_TRUE(library.Load(L"any", 0, nullptr)) << row.what;
            }
            if (row.bind) {
                EXPECT_TRUE(library.Bind(true, nullptr)) << row.what;
            }
            if (row.unload) {
                EXPECT_TRUE(library.Unload(nullptr)) << row.what;
            }
            g_bFreeSucceeds = row.succeeds;
            g_iFreed = 0;
        }
        EXPECT_EQ(g_iFreed, row.freed) << row.what;
    }
}

}  // namespace
