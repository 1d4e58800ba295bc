// The exports that work on the machine itself, under lack of memory.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <functional>
#include <set>
#include <string>

#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "WySdk/SdkState.h"
#include "support/AllocationFaults.h"
#include "support/FakeMail.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"
#include "utilMode/FrwkMode.h"

namespace {

using test_support::FailAllocations;
using Codes = std::set<std::uint32_t>;

constexpr std::uint32_t kOutOfMemory = 0xe0ff001e;

constexpr FailAllocations::Mode kModes[] = {FailAllocations::Mode::kOnce,
                                            FailAllocations::Mode::kFromThenOn};

class MachineMemory : public testing::Test {
protected:
    void SetUp() override {
        Frwk::Mode::SetWyvarionId(L"WyUnitTest Memory");
        std::ofstream(m_Folder.Path() / "krdbg.ini") << "[ServiceSession]\n";
    }
    void TearDown() override {
        g_ProxySettings = {};
        for (const wchar_t* sub : {L"\\Proxy", L"\\Reamer"})
            RegDeleteKeyExW(HKEY_LOCAL_MACHINE, (m_strKey + sub).c_str(), View(), 0);
        Frwk::Mode::SetWyvarionId({});
    }
    static REGSAM View() {
        return KrCommon::Storage::Reg::ProductView() == 2 ? KEY_WOW64_64KEY : 0;
    }

    const std::wstring m_strKey = L"SOFTWARE\\KorvexData\\WyUnitTest Memory";
    const test_support::TemporaryFolder m_Folder{L"memory"};
    test_support::RegistryKey m_Key{m_strKey, View()};
};

struct Setting {
    const char* name;
    std::function<std::uint32_t()> run;
    Codes failures;
};

// Nothing leaves a call but one of its codes, whichever allocation fails, and nothing is kept.
void WithEachAllocationFailing(FailAllocations::Mode mode, const Setting& setting) {
    EXPECT_EQ(setting.run(), WY_S_OK);
    std::size_t failed = 0;
    bool happened = true;
    for (std::size_t passed = 0; happened; ++passed) {
        SCOPED_TRACE(passed);
        ASSERT_LT(passed, 1000U);
        std::uint32_t result = 0;
        {
            const FailAllocations faults(passed, mode);
            result = setting.run();
            happened = faults.Happened();
        }
        EXPECT_TRUE(result == WY_S_OK || setting.failures.contains(result)) << std::hex << result;
        failed += result != WY_S_OK ? 1 : 0;
    }
    EXPECT_EQ(setting.run(), WY_S_OK);
    EXPECT_GT(failed, 0U);
}

TEST_F(MachineMemory, every_call_gives_one_of_its_codes) {
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", m_Folder.Path().wstring()));
    test_support::FakeMail mail;
    // A value that could not be written for lack of memory has the unknown failure of the store.
    const Codes identifier = {kOutOfMemory, 0xe0fe00fd};
    const Setting settings[] = {
        {"proxy",
         [] {
             return WySetProxy(L"a server of some length", 1, L"a user of some length",
                               L"a password of some length", true);
         },
         {kOutOfMemory, WY_E_SETTINGS_NOT_STORED}},
        {"identifier",
         [] { return WySetIdentifier(L"a first identifier", L"a second one", L"a third one"); },
         identifier},
        {"identifier, four",
         [] { return WySetIdentifierEx(L"a first identifier", L"the second", L"3", L"4"); },
         identifier},
        {"reamer", [] { return WySetReamerStatus(1); }, {kOutOfMemory}},
        {"debug log",
         [] { return WySetDebugLog(true, 1); },
         {kOutOfMemory, WY_E_LOG_SETTINGS_NOT_CHANGED}},
        {"log folder",
         [] {
             wchar_t folder[300];
             std::uint32_t size = 300;
             return WyGetDebugLogFolder(folder, &size);
         },
         {kOutOfMemory}},
        {"cache folder",
         [] {
             wchar_t folder[300];
             std::uint32_t size = 300;
             return WyGetCacheFolder(folder, &size);
         },
         {kOutOfMemory}},
    };
    for (const Setting& setting : settings) {
        SCOPED_TRACE(setting.name);
        for (const FailAllocations::Mode mode : kModes)
            WithEachAllocationFailing(mode, setting);
    }
}

// What an earlier call has kept stays whole. True when the allocation was reached.
bool ReplaceProxySetting(FailAllocations::Mode mode, std::size_t passed) {
    EXPECT_EQ(WySetProxy(L"the former server", 1, L"", L"", true), WY_S_OK);
    std::uint32_t result = 0;
    bool happened = false;
    {
        const FailAllocations faults(passed, mode);
        result = WySetProxy(L"the new server of some length", 2, L"u", L"p", false);
        happened = faults.Happened();
    }
    const bool stored = result == WY_S_OK;
    EXPECT_EQ(g_ProxySettings.server,
              stored ? L"the new server of some length" : L"the former server");
    EXPECT_EQ(g_ProxySettings.port, stored ? 2U : 1U);
    EXPECT_EQ(g_ProxySettings.userName.empty(), !stored);
    return happened;
}

TEST_F(MachineMemory, proxy_setting_is_the_old_one_or_the_new_one) {
    for (const FailAllocations::Mode mode : kModes) {
        for (std::size_t passed = 0; ReplaceProxySetting(mode, passed); ++passed)
            ASSERT_LT(passed, 1000U);
    }
}

}  // namespace
