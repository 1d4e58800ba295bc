#include "Framework/utilIPC/ipc_exception.h"

#include <gtest/gtest.h>

namespace {

TEST(OsException, code_is_the_one_given) {
    EXPECT_EQ(OS::CException(1722, nullptr, 0).GetCode(), 1722U);
}

TEST(OsException, message_is_the_code_in_decimal) {
    EXPECT_EQ(OS::CException(1722, L"rpc_client.cpp", 105).GetMessage(), L"1722");
}

TEST(OsException, message_of_a_high_code_is_a_negative_number) {
    EXPECT_EQ(OS::CException(0xffffffff, nullptr, 0).GetMessage(), L"-1");
    EXPECT_EQ(OS::CException(0xc0000005, nullptr, 0).GetMessage(), L"-1073741819");
}

TEST(OsException, full_message_without_a_file_is_the_message_alone) {
    EXPECT_EQ(OS::CException(5, nullptr, 77).GetFullMessage(), L"5");
}

TEST(OsException, full_message_names_code_file_and_line) {
    EXPECT_EQ(OS::CException(1722, L"rpc_client", 105).GetFullMessage(),
              L"1722, (1722), [rpc_client|105]");
}

TEST(OsException, path_is_cut_to_name_and_extension) {
    EXPECT_EQ(OS::CException(1, L"c:\\src\\utilRPC\\rpc_client.cpp", 2).GetFullMessage(),
              L"1, (1), [rpc_client.cpp|2]");
    EXPECT_EQ(OS::CException(1, L"src/utilRPC/rpc_client.cpp", 2).GetFullMessage(),
              L"1, (1), [rpc_client.cpp|2]");
    EXPECT_EQ(OS::CException(1, L"c:rpc_client.cpp", 2).GetFullMessage(),
              L"1, (1), [rpc_client.cpp|2]");
}

TEST(OsException, path_that_ends_with_a_separator_leaves_no_file) {
    EXPECT_EQ(OS::CException(9, L"src\\", 2).GetFullMessage(), L"9");
}

TEST(OsException, full_message_prints_a_high_code_as_a_signed_number_twice) {
    EXPECT_EQ(OS::CException(0xfffffffe, L"a.cpp", 3).GetFullMessage(), L"-2, (-2), [a.cpp|3]");
}

TEST(IpcMsgBufferException, each_code_has_its_text) {
    EXPECT_EQ(CIPCMsgBufferException(0, nullptr, 0).GetMessage(), L"Out of range");
    EXPECT_EQ(CIPCMsgBufferException(1, nullptr, 0).GetMessage(), L"Invalid buffer");
    EXPECT_EQ(CIPCMsgBufferException(2, nullptr, 0).GetMessage(), L"Not owner");
}

TEST(IpcMsgBufferException, unknown_code_has_an_empty_text) {
    EXPECT_EQ(CIPCMsgBufferException(3, nullptr, 0).GetMessage(), L"");
    EXPECT_EQ(CIPCMsgBufferException(0xffffffff, nullptr, 0).GetMessage(), L"");
}

TEST(IpcMsgBufferException, full_message_uses_the_text_of_the_code) {
    EXPECT_EQ(CIPCMsgBufferException(1, L"Framework/utilIPC/ipc_msg_buffer", 8).GetFullMessage(),
              L"Invalid buffer, (1), [ipc_msg_buffer|8]");
}

TEST(IpcMsgBufferException, is_caught_as_the_base_with_its_own_text) {
    try {
        throw CIPCMsgBufferException(CIPCMsgBufferException::kOutOfRange, nullptr, 0);
    } catch (const OS::CException& error) {
        EXPECT_EQ(error.GetCode(), 0U);
        EXPECT_EQ(error.GetMessage(), L"Out of range");
    }
}

}  // namespace
