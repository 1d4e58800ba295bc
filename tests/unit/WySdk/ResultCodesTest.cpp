// The codes of the public header are those of the library.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_Result.h"

namespace {

namespace Result = KrCommon::Result;

TEST(ResultCodes, of_the_public_header_are_those_of_the_library) {
    EXPECT_EQ(WY_S_OK, Result::kSuccess);
    EXPECT_EQ(WY_E_FAILURE, Result::kFailure);
    EXPECT_EQ(WY_E_BAD_PATH, Result::kBadPath);
    EXPECT_EQ(WY_E_NO_CALLBACK_SERVER, Result::kNoCallbackServer);
    EXPECT_EQ(WY_E_NO_UUID, Result::kNoUuid);
    EXPECT_EQ(WY_E_INVALID_ARGUMENT, Result::kInvalidArgument);
    EXPECT_EQ(WY_E_EMPTY_FOLDER, Result::kEmptyFolder);
    EXPECT_EQ(WY_E_MALFORMED_REPLY, Result::kMalformedReply);
    EXPECT_EQ(WY_E_ALREADY_INITIALIZED, Result::kAlreadyInitialized);
    EXPECT_EQ(WY_E_NO_EVENT_CALLBACK, Result::kNoEventCallback);
    EXPECT_EQ(WY_E_SETTINGS_NOT_STORED, Result::kSettingsNotStored);
    EXPECT_EQ(WY_E_NOT_FOUND, Result::kNotFound);
    EXPECT_EQ(WY_E_LOG_SETTINGS_NOT_CHANGED, Result::kLogSettingsNotChanged);
    EXPECT_EQ(WY_E_BUFFER_IS_NULL, Result::kBufferIsNull);
    EXPECT_EQ(WY_E_RECORD_GOING_AWAY, Result::kRecordGoingAway);
    EXPECT_EQ(WY_E_RECORD_IN_USE, Result::kRecordInUse);
    EXPECT_EQ(WY_E_UNKNOWN_TRACKING_ID, Result::kUnknownTrackingId);
    EXPECT_EQ(WY_E_TRACKING_ID_EXISTS, Result::kTrackingIdExists);
    EXPECT_EQ(WY_E_OUT_OF_MEMORY, Result::kOutOfMemory);
    EXPECT_EQ(WY_E_WRONG_CONTEXT_KIND, Result::kWrongContextKind);
    EXPECT_EQ(WY_E_UNKNOWN_CLIENT, Result::kUnknownClient);
}

TEST(ResultCodes, have_their_numbers) {
    EXPECT_EQ(WY_S_OK, 0x20ff0000U);
    EXPECT_EQ(WY_E_FAILURE, 0xe0ff0001U);
    EXPECT_EQ(WY_E_BAD_PATH, 0xe0ff0002U);
    EXPECT_EQ(WY_E_NO_CALLBACK_SERVER, 0xe0ff0003U);
    EXPECT_EQ(WY_E_NO_UUID, 0xe0ff0004U);
    EXPECT_EQ(WY_E_INVALID_ARGUMENT, 0xe0ff0007U);
    EXPECT_EQ(WY_E_EMPTY_FOLDER, 0xe0ff0008U);
    EXPECT_EQ(WY_E_MALFORMED_REPLY, 0xe0ff0009U);
    EXPECT_EQ(WY_E_ALREADY_INITIALIZED, 0xe0ff000aU);
    EXPECT_EQ(WY_E_NO_EVENT_CALLBACK, 0xe0ff000bU);
    EXPECT_EQ(WY_E_SETTINGS_NOT_STORED, 0xe0ff000cU);
    EXPECT_EQ(WY_E_NOT_FOUND, 0xe0ff000eU);
    EXPECT_EQ(WY_E_LOG_SETTINGS_NOT_CHANGED, 0xe0ff0013U);
    EXPECT_EQ(WY_E_BUFFER_IS_NULL, 0xe0ff0014U);
    EXPECT_EQ(WY_E_RECORD_GOING_AWAY, 0xe0ff0015U);
    EXPECT_EQ(WY_E_RECORD_IN_USE, 0xe0ff0016U);
    EXPECT_EQ(WY_E_UNKNOWN_TRACKING_ID, 0xe0ff0018U);
    EXPECT_EQ(WY_E_TRACKING_ID_EXISTS, 0xe0ff001cU);
    EXPECT_EQ(WY_E_OUT_OF_MEMORY, 0xe0ff001eU);
    EXPECT_EQ(WY_E_WRONG_CONTEXT_KIND, 0xe0ff001fU);
    EXPECT_EQ(WY_E_UNKNOWN_CLIENT, 0xe0010803U);
    EXPECT_EQ(WY_E_SYSTEM_FAMILY, 0xe0fe0000U);
    EXPECT_EQ(WY_E_REMOTE_FAMILY, 0xe0010000U);
}

TEST(ResultCodes, are_judged_by_their_sign) {
    for (const std::uint32_t code : {0U, 1U, 0x20ff0000U, 0x7fffffffU}) {
        EXPECT_TRUE(WY_SUCCEEDED(code)) << code;
        EXPECT_FALSE(WY_FAILED(code)) << code;
        EXPECT_TRUE(Result::Succeeded(code)) << code;
    }
    for (const std::uint32_t code : {0x80000000U, 0xe0ff0007U, 0xffffffffU}) {
        EXPECT_FALSE(WY_SUCCEEDED(code)) << code;
        EXPECT_TRUE(WY_FAILED(code)) << code;
        EXPECT_TRUE(Result::Failed(code)) << code;
    }
}

TEST(ResultCodes, of_the_families_are_told_apart) {
    EXPECT_EQ(WY_E_REMOTE_FAMILY | 1722, Result::FromRemote(1722));
    EXPECT_EQ(WY_E_SYSTEM_FAMILY | 5, Result::FromSystem(5));
    EXPECT_TRUE(WY_IS_REMOTE_ERROR(Result::FromRemote(1722)));
    EXPECT_FALSE(WY_IS_REMOTE_ERROR(Result::FromSystem(5)));
    EXPECT_FALSE(WY_IS_REMOTE_ERROR(WY_E_FAILURE));
    EXPECT_TRUE(WY_IS_SYSTEM_ERROR(Result::FromSystem(5)));
    EXPECT_FALSE(WY_IS_SYSTEM_ERROR(WY_S_OK));
    EXPECT_EQ(WY_ERROR_OF(Result::FromRemote(1722)), 1722U);
    EXPECT_TRUE(WY_IS_REMOTE_ERROR(WY_E_UNKNOWN_CLIENT));
}

}  // namespace
