#include "wyctl/ResultCodes.h"

#include <gtest/gtest.h>

#include <set>

#include "Common/KrCommon/KrComn_Result.h"

namespace {

using WyCtl::DescribeResult;
namespace Result = KrCommon::Result;

TEST(ResultCodes, hex_has_eight_digits) {
    EXPECT_EQ(WyCtl::HexCode(0x20ff0000), "0x20ff0000");
    EXPECT_EQ(WyCtl::HexCode(7), "0x00000007");
}

TEST(ResultCodes, each_code_of_the_library_has_a_text_of_its_own) {
    const std::uint32_t codes[] = {
        Result::kSuccess,
        Result::kFailure,
        Result::kBadPath,
        Result::kNoCallbackServer,
        Result::kNoUuid,
        Result::kInvalidArgument,
        Result::kEmptyFolder,
        Result::kMalformedReply,
        Result::kAlreadyInitialized,
        Result::kNoEventCallback,
        Result::kSettingsNotStored,
        Result::kNotFound,
        0xe0ff0011,
        0xe0ff0012,
        Result::kLogSettingsNotChanged,
        Result::kBufferIsNull,
        Result::kRecordGoingAway,
        Result::kRecordInUse,
        Result::kUnknownTrackingId,
        Result::kTrackingIdExists,
        Result::kOutOfMemory,
        Result::kWrongContextKind,
    };
    std::set<std::string> texts{DescribeResult(0xe0ff7777)};
    for (const std::uint32_t code : codes) {
        EXPECT_TRUE(texts.insert(DescribeResult(code)).second) << std::hex << code;
    }
}

TEST(ResultCodes, families_name_the_number_inside) {
    EXPECT_EQ(DescribeResult(Result::FromSystem(5)), "a system call failed, error 5");
    EXPECT_EQ(DescribeResult(Result::FromRemote(1234)), "remote or RPC error 1234");
    EXPECT_EQ(DescribeResult(0xe00e0003), "the deployment engine failed, reason 3");
}

TEST(ResultCodes, host_absent_and_unknown_client_are_told_in_words) {
    EXPECT_NE(DescribeResult(0xe00106ba).find("no service listens"), std::string::npos);
    EXPECT_NE(DescribeResult(Result::kUnknownClient).find("does not know this client"),
              std::string::npos);
}

TEST(ResultCodes, sign_decides_where_nothing_else_is_known) {
    EXPECT_NE(DescribeResult(1).find("success"), std::string::npos);
    EXPECT_NE(DescribeResult(0x80004005).find("failure"), std::string::npos);
}

}  // namespace
