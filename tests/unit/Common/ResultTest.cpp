#include "Common/KrCommon/KrComn_Result.h"

#include <gtest/gtest.h>

namespace {

namespace Result = KrCommon::Result;

TEST(Result, sign_decides_success) {
    EXPECT_TRUE(Result::Succeeded(Result::kSuccess));
    EXPECT_TRUE(Result::Succeeded(0));
    EXPECT_TRUE(Result::Succeeded(0x7fffffff));
    EXPECT_TRUE(Result::Failed(0x80000000));
    EXPECT_TRUE(Result::Failed(Result::kFailure));
    EXPECT_TRUE(Result::Failed(Result::kUnknownClient));
    EXPECT_FALSE(Result::Failed(Result::kSuccess));
}

TEST(Result, foreign_errors_keep_their_low_16_bits) {
    EXPECT_EQ(Result::FromRemote(1722), 0xe00106baU);
    EXPECT_EQ(Result::FromRemote(0xabcd0803), Result::kUnknownClient);
    EXPECT_EQ(Result::FromSystem(5), 0xe0fe0005U);
    EXPECT_EQ(Result::FromSystem(0x80070005), 0xe0fe0005U);
}

}  // namespace
