// The deployment of an update under lack of memory: every fifth allocation of a call fails once,
// then all from every thirteenth on.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <string>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/AllocationFaults.h"
#include "support/FakeMail.h"
#include "support/FileFixture_win32.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"

namespace {

using test_support::FailAllocations;

BOOL WINAPI NothingMoved(LPCWSTR, LPCWSTR, DWORD) {
    return TRUE;
}

class UpdateMemory : public test_support::FileFixture,
                     public testing::WithParamInterface<FailAllocations::Mode> {};

TEST_P(UpdateMemory, call_that_lacks_memory_says_so_or_is_complete) {
    PutFolder(L"Wy");
    PutFolder(L"Wy\\Configuration");
    PutFile(L"Wy\\Configuration\\FeedbackCfg.json", "{\"feedbackAu\":1,\"feedbackCptName\":1}");
    PutFolder(L"dl");
    PutFile(L"dl\\a");
    test_support::RegistryKey product(WyCommon::Utility::GetProductRegistryKey(), KEY_WOW64_64KEY);
    ASSERT_TRUE(product.SetText(L"ProductPath", At(L"Wy")));
    const test_support::IatPatch move(GetModuleHandleW(nullptr), "kernel32.dll", "MoveFileExW",
                                      NothingMoved);
    const test_support::FakeMail mail;
    // The recorder itself needs memory.
    KrCommon::DestroyMainLog();
    const std::wstring download = At(L"dl");
    std::size_t passed = 0;
    // Each run copies and reports in earnest, so samples have to do; both steps are primes.
    const std::size_t step = GetParam() == FailAllocations::Mode::kOnce ? 5 : 13;
    for (bool happened = true; happened; passed += step) {
        ASSERT_LT(passed, 1000U);
        std::uint32_t result = 0;
        {
            const FailAllocations faults(passed, GetParam());
            result = WyAuDeploy(download.c_str());
            happened = faults.Happened();
        }
        const bool expected = result == WY_S_OK || (happened && result == WY_E_OUT_OF_MEMORY);
        EXPECT_TRUE(expected) << passed << ": " << std::hex << result;
    }
    KrCommon::DestroyMainLog();
    EXPECT_GT(passed, 50U) << "the call hardly allocates";
    EXPECT_EQ(mail.Mails().back().mailId, 36870U);
    EXPECT_EQ(Content(L"WyAuTemp\\a"), "content");
}

INSTANTIATE_TEST_SUITE_P(Modes, UpdateMemory,
                         testing::Values(FailAllocations::Mode::kOnce,
                                         FailAllocations::Mode::kFromThenOn));

}  // namespace
