#include "utilRPC/rpc_client.h"

#include <gtest/gtest.h>

#include <string>

#include "support/HexBytes.h"
#include "support/LogRecorder.h"
#include "utilRPC/rpc_EndpointMap.h"

using KrCommon::LogLevel::kInformation;
using test_support::LogRecorder;
using test_support::ToHex;

namespace {

std::wstring Endpoint(const wchar_t* component, const wchar_t* protocol) {
    return RpcProtocol::FormEndpoint(CComponentID(component), protocol);
}

TEST(RpcEndpointMap, endpoint_is_the_component_itself) {
    const LogRecorder log;
    EXPECT_EQ(CRPCEndpointMap(CComponentID(L"KR_Wyvarion_RPC_MASTER")).GetEndpoint(),
              L"KR_Wyvarion_RPC_MASTER");
    EXPECT_TRUE(log.Has(kInformation,
                        L"utilRPC: [INFO] CRPCEndpointMap::CRPCEndpointMap(), endpoint: "
                        L"KR_Wyvarion_RPC_MASTER"));
}

TEST(RpcEndpoint, uuid_is_its_own_endpoint_under_the_local_protocol) {
    EXPECT_EQ(Endpoint(L"0f8fad5b-d9cb-469f-a165-70867728950e", L"ncalrpc"),
              L"0f8fad5b-d9cb-469f-a165-70867728950e");
}

TEST(RpcEndpoint, named_pipes_put_their_path_in_front_whatever_the_case) {
    EXPECT_EQ(Endpoint(L"abc", L"ncacn_np"), L"\\pipe\\abc");
    EXPECT_EQ(Endpoint(L"abc", L"NCACN_NP"), L"\\pipe\\abc");
    EXPECT_EQ(Endpoint(L"abc", L"Ncacn_nP"), L"\\pipe\\abc");
}

TEST(RpcEndpoint, protocol_that_is_longer_or_shorter_than_named_pipes_is_another) {
    EXPECT_EQ(Endpoint(L"abc", L"ncacn_np2"), L"abc");
    EXPECT_EQ(Endpoint(L"abc", L"ncacn_n"), L"abc");
    EXPECT_EQ(RpcProtocol::FormEndpoint(CComponentID(L"abc"), std::wstring()), L"abc");
    EXPECT_EQ(Endpoint(L"abc", L"ncacn_ip_tcp"), L"abc");
}

TEST(RpcProtocol, comparison_ignores_the_case_of_ascii_letters_alone) {
    EXPECT_TRUE(RpcProtocol::Equal(L"ncalrpc", L"NCALRPC"));
    EXPECT_TRUE(RpcProtocol::Equal(std::wstring(), std::wstring()));
    EXPECT_FALSE(RpcProtocol::Equal(L"ncalrpc", L"ncalrp"));
    EXPECT_FALSE(RpcProtocol::Equal(L"ncalrp", L"ncalrpc"));
    EXPECT_FALSE(RpcProtocol::Equal(L"a@", L"a`"));
    EXPECT_FALSE(RpcProtocol::Equal(L"\u00e4", L"\u00c4"));
}

TEST(RpcClientHelper, empty_request_makes_no_call_and_leaves_the_answer_empty) {
    const LogRecorder log;
    CRPCClientHelper client(CComponentID(L"KR_nobody_RPC_MASTER"));
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    client.SendRequest(in, out);
    EXPECT_EQ(out.GetLength(), 0U);
    EXPECT_EQ(log.CountContaining(L"CRPCClientHelper::SendRequest(),"), 0U);
}

TEST(RpcClientHelper, failure_is_appended_to_what_the_answer_held) {
    CRPCClientHelper client(CComponentID(L"KR_nobody_RPC_MASTER"));
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    in << 1U;
    out << 7U;
    client.SendRequest(in, out);
    std::uint32_t before = 0;
    std::uint32_t marker = 0;
    std::uint32_t code = 0;
    out >> before >> marker >> code;
    EXPECT_EQ(before, 7U);
    EXPECT_EQ(marker, 2U);
    EXPECT_EQ(code, 1722U);
    // The text is the status in decimal, as a wide string item.
    EXPECT_EQ(ToHex(out.GetReadPtr(), out.GetRemaining()),
              "0a 00 00 00 31 00 37 00 32 00 32 00 00 00");
}

TEST(RpcClient, destruction_twice_is_one) {
    CRPCClient client;
    client.Create(CComponentID(L"KR_nobody_RPC_MASTER"),
                  CRPCClientParameter(std::wstring(), L"ncalrpc"));
    client.Destroy();
    EXPECT_NO_THROW(client.Destroy());
}

TEST(RpcClient, failed_call_raises_the_status_with_its_source) {
    CRPCClient client;
    client.Create(CComponentID(L"KR_nobody_RPC_MASTER"),
                  CRPCClientParameter(std::wstring(), L"ncalrpc"));
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    in << 1U;
    try {
        client.SendRequest(in, out, 30);
        ADD_FAILURE() << "nothing raised";
    } catch (const OS::CException& error) {
        EXPECT_EQ(error.GetCode(), 1722U);
        EXPECT_EQ(error.GetMessage(), L"1722");
        EXPECT_EQ(error.GetFullMessage(), L"1722, (1722), [rpc_client|105]");
    }
    EXPECT_EQ(out.GetLength(), 0U);
    client.Destroy();
}

}  // namespace
