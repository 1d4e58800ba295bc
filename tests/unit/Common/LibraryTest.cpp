#include "LibraryTest.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using test_library::kUntouched;
using test_library::ModulePath;
using test_library::Wrapper;

constexpr const char* kFirst = "TestModuleFirst";
constexpr const char* kSecond = "TestModuleSecond";

TEST(Library, load) {
    const std::wstring module = ModulePath();
    const std::wstring missing = module + L".none";
    const struct {
        const char* what;
        bool loadedBefore;
        const wchar_t* name;
        std::uint32_t error;
    } rows[] = {
        {"module", false, module.c_str(), 0},
        {"no name", false, nullptr, 160},
        {"no name, loaded already", true, nullptr, 160},
        {"loaded already", true, module.c_str(), 5010},
        {"missing, but loaded already", true, missing.c_str(), 5010},
        {"missing", false, missing.c_str(), 126},
    };
    for (const auto& row : rows) {
        Wrapper library({});
        if (row.loadedBefore) {
            ASSERT_TRUE(library.Load(module.c_str(), 0, nullptr));
        }
        std::uint32_t error = kUntouched;
        EXPECT_EQ(library.Load(row.name, 0, &error), row.error == 0) << row.what;
        EXPECT_EQ(error, row.error) << row.what;
        EXPECT_EQ(library.IsLoaded(), row.loadedBefore || row.error == 0) << row.what;
    }
}

TEST(Library, failures_need_no_place_for_their_code) {
    Wrapper library({kFirst, "Missing"});
    EXPECT_FALSE(library.Load(nullptr, 0, nullptr));
    EXPECT_FALSE(library.Unload(nullptr));
    EXPECT_FALSE(library.Bind(true, nullptr));
    EXPECT_EQ(library.FindFunction(kFirst, nullptr), nullptr);
    EXPECT_TRUE(library.Load(ModulePath().c_str(), 0, nullptr));
    EXPECT_FALSE(library.Bind(true, nullptr));
    EXPECT_EQ(library.FindFunction(nullptr, nullptr), nullptr);
    EXPECT_TRUE(library.Unload(nullptr));
}

TEST(Library, unload) {
    Wrapper library({});
    std::uint32_t error = kUntouched;
    EXPECT_FALSE(library.Unload(&error));
    EXPECT_EQ(error, 6U);
    ASSERT_TRUE(library.Load(ModulePath().c_str(), 0, nullptr));
    error = kUntouched;
    EXPECT_TRUE(library.Unload(&error));
    EXPECT_EQ(error, 0U);
    EXPECT_FALSE(library.IsLoaded());
    EXPECT_FALSE(library.Unload(&error));
    EXPECT_EQ(error, 6U);
    error = kUntouched;
    EXPECT_TRUE(library.Load(ModulePath().c_str(), 0, &error));
    EXPECT_EQ(error, 0U);
}

TEST(Library, find_function) {
    Wrapper library({});
    const struct {
        const char* what;
        bool loaded;
        const char* name;
        std::uint32_t error;
    } rows[] = {
        {"no module", false, kFirst, 6},
        {"no module, no name", false, nullptr, 6},
        {"no name", true, nullptr, 160},
        {"missing", true, "Missing", 127},
        {"other case", true, "TESTMODULEFIRST", 127},
        {"function", true, kFirst, 0},
    };
    for (const auto& row : rows) {
        if (row.loaded && !library.IsLoaded()) {
            ASSERT_TRUE(library.Load(ModulePath().c_str(), 0, nullptr));
        }
        std::uint32_t error = kUntouched;
        EXPECT_EQ(library.FindFunction(row.name, &error) != nullptr, row.error == 0) << row.what;
        EXPECT_EQ(error, row.error) << row.what;
    }
}

TEST(Library, bind_takes_all_names_or_tells_the_last_failure) {
    const struct {
        const char* what;
        bool loaded;
        std::vector<const char*> names;
        std::vector<int> results;  // of the functions; 0: not found
        std::uint32_t error;
    } rows[] = {
        {"all there", true, {kFirst, kSecond}, {1, 2}, 0},
        {"no names", true, {}, {}, 0},
        {"first missing", true, {"Missing", kSecond}, {0, 2}, 127},
        {"last missing", true, {kFirst, "Missing"}, {1, 0}, 127},
        {"one missing, then one without a name", true, {"Missing", nullptr}, {0, 0}, 160},
        {"one without a name, then one missing",
         true,
         {nullptr, "Missing", kFirst},
         {0, 0, 1},
         127},
        {"no module", false, {kFirst, kSecond}, {0, 0}, 6},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Wrapper library(row.names);
        if (row.loaded) {
            ASSERT_TRUE(library.Load(ModulePath().c_str(), 0, nullptr));
        }
        std::uint32_t error = kUntouched;
        EXPECT_EQ(library.Bind(true, &error), row.error == 0);
        EXPECT_EQ(error, row.error);
        EXPECT_EQ(library.IsBound(), row.error == 0);
        for (std::size_t i = 0; i < row.results.size(); ++i)
            EXPECT_EQ(library.Call(i), row.results[i]) << i;
    }
}

TEST(Library, failed_bind_ends_a_binding) {
    Wrapper library({kFirst});
    ASSERT_TRUE(library.Load(ModulePath().c_str(), 0, nullptr));
    ASSERT_TRUE(library.Bind(true, nullptr));
    ASSERT_TRUE(library.Unload(nullptr));
    std::uint32_t error = kUntouched;
    EXPECT_FALSE(library.Bind(true, &error));
    EXPECT_EQ(error, 6U);
    EXPECT_FALSE(library.IsBound());
    EXPECT_FALSE(library.Has(0));
}

TEST(Library, unbind_clears_all_and_is_always_true) {
    Wrapper library({kFirst, kSecond});
    EXPECT_TRUE(library.IsMarked(0));
    EXPECT_TRUE(library.Bind(false, nullptr));
    EXPECT_FALSE(library.Has(0));
    ASSERT_TRUE(library.Load(ModulePath().c_str(), 0, nullptr));
    ASSERT_TRUE(library.Bind(true, nullptr));
    std::uint32_t error = kUntouched;
    EXPECT_TRUE(library.Bind(false, &error));
    EXPECT_FALSE(library.IsBound());
    EXPECT_FALSE(library.Has(0));
    EXPECT_FALSE(library.Has(1));
    EXPECT_TRUE(library.IsLoaded());
    EXPECT_TRUE(library.Bind(true, nullptr));
    EXPECT_EQ(library.Call(1), 2);
}

}  // namespace
