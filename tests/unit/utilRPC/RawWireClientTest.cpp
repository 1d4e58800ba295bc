// The bytes that the calling side puts on the wire, seen by a TCP socket, and what it makes of the
// answers. Answers that no honest server gives: HostileAnswerTest.cpp.

#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "RawWireCall.h"
#include "utilRPC/rpc_client.h"

namespace {

using namespace test_support;

TEST(RawWireClient, request_of_the_first_interface_is_size_count_and_bytes_alone) {
    const Exchange exchange = Call(RpcMode::kFirst, Responding(AnswerOf(0, 0, {})));
    EXPECT_EQ(Hex("05000000 05000000 0102030405"), ToHex(exchange.seen.request.body));
}

TEST(RawWireClient, request_of_the_second_interface_is_size_count_and_bytes_alone) {
    const Exchange exchange = Call(RpcMode::kSecond, Responding(AnswerOf(0, 0, {})));
    EXPECT_EQ(Hex("05000000 05000000 0102030405"), ToHex(exchange.seen.request.body));
}

TEST(RawWireClient, bind_of_the_first_interface_names_its_uuid_and_ndr) {
    const rpc::Proposal proposal =
        rpc::ProposalOf(Call(RpcMode::kFirst, Responding(AnswerOf(0, 0, {}))).seen.bind);
    EXPECT_EQ(ToHex(rpc::kInterfaceA), ToHex(proposal.interfaceSyntax));
    EXPECT_EQ(ToHex(rpc::kNdrSyntax), ToHex(proposal.transferSyntax));
}

TEST(RawWireClient, bind_of_the_second_interface_names_its_uuid_and_ndr) {
    const rpc::Proposal proposal =
        rpc::ProposalOf(Call(RpcMode::kSecond, Responding(AnswerOf(0, 0, {}))).seen.bind);
    EXPECT_EQ(ToHex(rpc::kInterfaceB), ToHex(proposal.interfaceSyntax));
    EXPECT_EQ(ToHex(rpc::kNdrSyntax), ToHex(proposal.transferSyntax));
}

TEST(RawWireClient, unknown_mode_speaks_the_first_interface) {
    const rpc::Proposal proposal =
        rpc::ProposalOf(Call(-1, Responding(AnswerOf(0, 0, {}))).seen.bind);
    EXPECT_EQ(ToHex(rpc::kInterfaceA), ToHex(proposal.interfaceSyntax));
}

TEST(RawWireClient, large_request_arrives_in_fragments_without_loss) {
    Bytes large(100000);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<std::uint8_t>(i * 7);
    RawRpcServer server(Responding(AnswerOf(0, 0, {})));
    {
        const Binding binding(server.Endpoint());
        const Outcome outcome =
            Take(IdlClientHelper::SendRequest(RpcMode::kFirst, binding.Handle(), large.data(),
                                              static_cast<std::int32_t>(large.size())));
        EXPECT_EQ(0u, outcome.exception);
    }
    const RawRpcServer::Seen seen = server.Finish();
    Bytes wanted = Words({100000, 100000});
    Append(wanted, large);
    EXPECT_GT(seen.request.fragments, 1u);
    EXPECT_TRUE(wanted == seen.request.body);
}

TEST(RawWireClient, answer_is_size_and_block) {
    const Outcome outcome = OutcomeOf(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc}));
    EXPECT_EQ(0u, outcome.exception);
    EXPECT_EQ(3, outcome.size);
    EXPECT_EQ("aa bb cc", ToHex(outcome.bytes));
}

TEST(RawWireClient, large_answer_arrives_without_loss) {
    Bytes large(50000);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<std::uint8_t>(i * 7);
    const Outcome outcome = OutcomeOf(AnswerOf(50000, 50000, large));
    EXPECT_EQ(0u, outcome.exception);
    EXPECT_TRUE(large == outcome.bytes);
}

TEST(RawWireClient, answer_without_a_block_keeps_its_size) {
    const Outcome outcome = OutcomeOf(Words({7, 0}));
    EXPECT_EQ(0u, outcome.exception);
    EXPECT_EQ(7, outcome.size);
    EXPECT_FALSE(outcome.block);
}

TEST(RawWireClient, answer_smaller_than_its_array_is_cut_to_its_size) {
    const Outcome outcome = OutcomeOf(AnswerOf(2, 3, {0xaa, 0xbb, 0xcc}));
    EXPECT_EQ(0u, outcome.exception);
    EXPECT_EQ("aa bb", ToHex(outcome.bytes));
}

TEST(RawWireClient, fault_of_the_server_is_the_exception) {
    const Exchange exchange =
        Call(RpcMode::kFirst, [](std::uint32_t callId) { return rpc::MakeFault(callId, 1234); });
    EXPECT_EQ(1234u, exchange.outcome.exception);
}

TEST(RawWireClient, connection_lost_during_the_call_is_an_exception) {
    const Exchange exchange = Call(RpcMode::kFirst, [](std::uint32_t) { return Bytes(); });
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_S_CALL_FAILED), exchange.outcome.exception);
}

TEST(RawWireClient, garbage_instead_of_an_answer_is_an_exception) {
    const Exchange exchange =
        Call(RpcMode::kFirst, [](std::uint32_t) { return Bytes(64, std::uint8_t{0xff}); });
    EXPECT_NE(0u, exchange.outcome.exception);
    EXPECT_FALSE(exchange.outcome.block);
}

TEST(RawWireClient, null_bytes_and_negative_sizes_are_refused_without_a_call) {
    const Binding binding(L"1");
    const Outcome null = Take(IdlClientHelper::SendRequest(RpcMode::kFirst, binding.Handle(),
                                                           nullptr, sizeof kFiveBytes));
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_NULL_REF_POINTER), null.exception);
    const Outcome negative =
        Take(IdlClientHelper::SendRequest(RpcMode::kFirst, binding.Handle(), kFiveBytes, -1));
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), negative.exception);
}

TEST(RawWireClient, null_binding_is_refused_without_a_call) {
    const Outcome outcome =
        Take(IdlClientHelper::SendRequest(RpcMode::kFirst, nullptr, kFiveBytes, sizeof kFiveBytes));
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_S_INVALID_BINDING), outcome.exception);
}

// The class above the stub: a component name is the endpoint, here the port.
class TcpClient {
public:
    explicit TcpClient(const RawRpcServer& server) {
        m_Client.Create(CComponentID(server.Endpoint().c_str()),
                        CRPCClientParameter(kLoopback, kTcp));
    }
    TcpClient(const TcpClient&) = delete;
    TcpClient& operator=(const TcpClient&) = delete;
    ~TcpClient() { m_Client.Destroy(); }

    Bytes Send(const Bytes& request) {
        CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
        CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
        in.WriteBytes(request.data(), static_cast<std::uint32_t>(request.size()));
        m_Client.SendRequest(in, out, 0);
        return Bytes(out.GetData(), out.GetData() + out.GetLength());
    }

private:
    CRPCClient m_Client;
};

TEST(RawWireClient, client_object_sends_its_buffer_and_appends_the_answer) {
    RawRpcServer server(Responding(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc})));
    {
        TcpClient client(server);
        EXPECT_EQ("aa bb cc", ToHex(client.Send({1, 2, 3, 4, 5})));
    }
    EXPECT_EQ(Hex("05000000 05000000 0102030405"), ToHex(server.Finish().request.body));
}

TEST(RawWireClient, client_object_leaves_the_answer_empty_without_a_block) {
    RawRpcServer server(Responding(Words({7, 0})));
    {
        TcpClient client(server);
        EXPECT_TRUE(client.Send({1}).empty());
    }
    EXPECT_EQ(Hex("01000000 01000000 01"), ToHex(server.Finish().request.body));
}

TEST(RawWireClient, client_object_raises_the_code_of_a_hostile_answer) {
    RawRpcServer server(Responding(AnswerOf(300, 3, {0xaa, 0xbb, 0xcc})));
    std::uint32_t code = 0;
    {
        TcpClient client(server);
        try {
            client.Send({1});
        } catch (const OS::CException& error) {
            code = error.GetCode();
        }
    }
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), code);
    server.Finish();
}

}  // namespace
