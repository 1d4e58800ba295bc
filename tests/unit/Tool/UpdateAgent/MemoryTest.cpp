#include <gtest/gtest.h>

#include <string>

#include "Tool/UpdateAgent/luxWrapper.h"
#include "support/AllocationFaults.h"

using test_support::FailAllocations;

TEST(ConvertProductId, no_memory_for_a_version_fails_and_keeps_the_fields_before) {
    const std::wstring text = L"c1t2v" + std::wstring(100, L'3') + L"l4";
    UpdateComponent component;
    const FailAllocations fail(0);
    EXPECT_EQ(CLuxWrapper::ConvertProductID(text, component), 0xe0ff0001);
    EXPECT_TRUE(fail.Happened());
    EXPECT_EQ(component.iType, 2);
    EXPECT_EQ(component.iLanguage, 0);
}

TEST(ConvertProductId, no_memory_for_the_text_fails_and_leaves_it) {
    UpdateComponent component;
    component.strVersion = std::wstring(100, L'3');
    std::wstring text = L"before";
    for (std::size_t passed = 0;; ++passed) {
        const FailAllocations fail(passed, FailAllocations::Mode::kOnce);
        const std::uint32_t result = CLuxWrapper::ConvertProductID(component, text);
        if (!fail.Happened()) {
            EXPECT_EQ(result, 0x20ff0000U);
            EXPECT_GT(passed, 0U);
            return;
        }
        EXPECT_EQ(result, 0xe0ff0001);
        EXPECT_EQ(text, L"before");
    }
}
