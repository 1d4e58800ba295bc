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
        Result::kShortcutsNotRemoved,
        Result::kShortcutsNotCreated,
        Result::kProcessesNotStopped,
        Result::kAutoRunNotWritten,
        Result::kAutoRunNotRemoved,
        Result::kRebootPending,
        Result::kLaterVersionInstalled,
        Result::kRuntimeNotInstalled,
        Result::kSessionAgentNotStarted,
        Result::kAccessDenied,
        Result::kSystemRefused,
        Result::kPackageNotRead,
        Result::kManifestNotCarriedOut,
        Result::kKeysNotRemoved,
        Result::kFolderNotRenamed,
        0xe0fe0430,
        0xe0fe0431,
        0xe0fe06ba,
    };
    std::set<std::string> texts{DescribeResult(0xe0ff7777)};
    for (const std::uint32_t code : codes) {
        EXPECT_TRUE(texts.insert(DescribeResult(code)).second) << std::hex << code;
    }
}

TEST(ResultCodes, families_name_the_number_inside) {
    EXPECT_EQ(DescribeResult(Result::FromSystem(5)), "a system call failed, error 5");
    EXPECT_EQ(DescribeResult(Result::FromRemote(1234)), "remote or RPC error 1234");
    EXPECT_EQ(DescribeResult(0xe00e0007), "the deployment engine failed, reason 7");
}

TEST(ResultCodes, each_code_of_the_deployment_has_an_advice) {
    for (std::uint32_t code :
         {0xe0ff0001U, 0xe0ff0008U, 0xe00e0001U, 0xe00e0002U, 0xe00e0003U, 0xe00e0004U, 0xe00e0005U,
          0xe00e000aU, 0xe00e000cU, 0xe00e000dU, 0xe00e0010U, 0xe00e0011U, 0xe00e0012U, 0xe00e0013U,
          0xe00e0014U, 0xe00e0016U, 0xe00e0018U, 0xe0fe0430U, 0xe0fe0431U, 0xe0fe06baU}) {
        EXPECT_NE(WyCtl::AdviseOnDeployment(code), "") << std::hex << code;
        EXPECT_EQ(DescribeResult(code).find("reason"), std::string::npos) << std::hex << code;
    }
    EXPECT_EQ(WyCtl::AdviseOnDeployment(Result::kSuccess), "");
    EXPECT_EQ(WyCtl::AdviseOnDeployment(0xe0fe0057), "");
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
