// What the storage backends do when memory runs out.

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>

#include "Common/KrCommon/KrComn_IniFile.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "Common/KrCommon/KrComn_SecurityAttributes.h"
#include "support/AllocationFaults.h"
#include "support/RegistryKey_win32.h"
#include "support/StorageFailure.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace KrCommon::Storage;
using test_support::CodeOf;
using test_support::FailAllocations;
using test_support::RegistryKey;
using test_support::TemporaryFolder;
using Mode = FailAllocations::Mode;

constexpr std::uint32_t kView64 = 2;
constexpr std::uint32_t kUnknownFailure = 0x800300fd;

// Longer than what a string keeps in itself.
const std::wstring kPath = L"SOFTWARE\\WyUnitTest StorageMemory";
const std::wstring kName = L"name of the value that is stored here";
const std::wstring kText(1000, L'x');
const std::wstring kDefault(100, L'd');

TEST(StorageMemory, reads_raise_6) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(L"text", kText));
    ASSERT_TRUE(key.Set(L"bytes", REG_BINARY, Binary(1000, 7)));
    Registry registry(kView64);
    registry.OpenForRead(Key(Key::kRegistry, HKEY_LOCAL_MACHINE, kPath.c_str()), {});
    const TemporaryFolder folder(L"WyStorageMemory");
    const std::wstring file = (folder.Path() / "test.ini").wstring();
    ASSERT_TRUE(StoreIniString(file, L"main", L"text", kText, nullptr));
    IniFile ini;
    ini.OpenForWrite(Key(Key::kIniFile, nullptr, file.c_str()), L"main");
    const std::wstring text = L"text";
    const std::wstring bytes = L"bytes";
    Binary binary = {9};
    const auto failing = [](std::size_t passed, auto action) {
        return CodeOf([&] {
            const FailAllocations fault(passed, Mode::kOnce);
            action();
        });
    };
    EXPECT_EQ(failing(0, [&] { registry.ReadString(text, {}); }), 6U);
    EXPECT_EQ(failing(0, [&] { registry.ReadBinary(bytes, binary); }), 6U);
    EXPECT_EQ(binary, Binary{9});
    EXPECT_EQ(failing(0, [&] { ini.ReadString(text, {}); }), 6U);
    EXPECT_EQ(failing(1, [&] { ini.ReadString(text, {}); }), 6U);  // the buffer that grew
    // What the formatting raises becomes an exception of the store.
    EXPECT_EQ(failing(0, [&] { ini.WriteDword(text, 17); }), 6U);
    EXPECT_EQ(ini.ReadString(text, {}), kText);
}

// Fails each allocation of an action in turn, once or from then on, until it makes no more.
template <class Action>
void FailEach(Action action) {
    for (const Mode mode : {Mode::kOnce, Mode::kFromThenOn}) {
        bool happened = true;
        for (std::size_t passed = 0; happened; ++passed) {
            ASSERT_LT(passed, 200U);
            SCOPED_TRACE(passed);
            happened = action(passed, mode);
        }
    }
}

TEST(StorageMemory, value_that_must_not_look_missing_is_itself_or_raises) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(kName.c_str(), kText));
    EXPECT_EQ(Reg::LoadValueOrRaise(kPath, L"missing", kDefault, kView64), kDefault);
    EXPECT_EQ(Reg::LoadValueOrRaise(kPath + L"\\missing", kName, kDefault, kView64), kDefault);
    int raised = 0;
    FailEach([&](std::size_t passed, Mode mode) {
        std::wstring text = kText;
        bool happened = false;
        try {
            const FailAllocations fault(passed, mode);
            text = Reg::LoadValueOrRaise(kPath, kName, kDefault, kView64);
            happened = fault.Happened();
        } catch (const std::bad_alloc&) {
            happened = true;
            ++raised;
        }
        EXPECT_EQ(text, kText);
        return happened;
    });
    EXPECT_GT(raised, 0);
}

TEST(StorageMemory, one_shots_give_a_code_and_never_raise) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(kName.c_str(), kText));
    const TemporaryFolder folder(L"WyStorageMemory");
    const std::wstring file = (folder.Path() / "test.ini").wstring();
    int failures = 0;
    const auto check = [&](bool done, std::uint32_t error) {
        EXPECT_EQ(done, error == 0);
        EXPECT_TRUE(error == 0 || error == 6 || error == kUnknownFailure) << error;
        failures += !done;
    };
    const auto checkText = [&](const std::wstring& text) {
        EXPECT_TRUE(text == kText || text == kDefault || text.empty());
        failures += text != kText;
    };
    FailEach([&](std::size_t passed, Mode mode) {
        std::wstring text;
        bool happened = false;
        {
            const FailAllocations fault(passed, mode);
            text = Reg::LoadValue(nullptr, kPath, kName, kDefault, kView64);
            happened = fault.Happened();
        }
        checkText(text);
        return happened;
    });
    FailEach([&](std::size_t passed, Mode mode) {
        std::uint32_t error = 0;
        bool done = false;
        bool happened = false;
        {
            const FailAllocations fault(passed, mode);
            done = Reg::StoreValue(HKEY_LOCAL_MACHINE, kPath.c_str(), kName.c_str(), kText.c_str(),
                                   kView64, &error);
            happened = fault.Happened();
        }
        check(done, error);
        return happened;
    });
    FailEach([&](std::size_t passed, Mode mode) {
        std::uint32_t error = 0;
        bool done = false;
        bool happened = false;
        {
            const FailAllocations fault(passed, mode);
            done = StoreIniString(file.c_str(), L"main", kName.c_str(), kText.c_str(), &error);
            happened = fault.Happened();
        }
        check(done, error);
        return happened;
    });
    FailEach([&](std::size_t passed, Mode mode) {
        std::wstring text;
        std::uint32_t error = 0;
        bool happened = false;
        {
            const FailAllocations fault(passed, mode);
            text = LoadIniString(file, L"main", kName, kDefault, &error);
            happened = fault.Happened();
        }
        check(text == kText, error);
        checkText(text);
        return happened;
    });
    EXPECT_GE(failures, 20);
}

TEST(StorageMemory, removal_of_a_tree_ends_without_memory) {
    const RegistryKey key(kPath, 0);
    HKEY child = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kPath + L"\\child").c_str(), 0, nullptr, 0,
                              KEY_READ, nullptr, &child, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(child);
    bool deleted = true;
    {
        const FailAllocations fault(0);
        deleted = Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kPath);
    }
    EXPECT_FALSE(deleted);
    EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kPath));
}

TEST(StorageMemory, security_attributes_are_left_empty) {
    const FailAllocations fault(0);
    const KrCommon::AccessControl::SecurityAttributes attributes(4, true);
    EXPECT_TRUE(fault.Happened());
    EXPECT_EQ(attributes.lpSecurityDescriptor, nullptr);
    EXPECT_EQ(attributes.nLength, 0U);
}

}  // namespace
