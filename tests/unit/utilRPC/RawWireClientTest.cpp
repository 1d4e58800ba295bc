// The bytes that the client stub puts on the wire, seen by a TCP socket, and answers that no honest
// server gives.

#include <malloc.h>

#include <cstdlib>
#include <memory>

#include "Common/KrCommon/KrComn_Windows.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "support/RawRpcServer.h"
#include "utilRPC/IdlClientHelper.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_mode.h"

#include <rpc.h>

namespace {

using namespace test_support;

constexpr const wchar_t* kTcp = L"ncacn_ip_tcp";
constexpr const wchar_t* kLoopback = L"127.0.0.1";
constexpr std::uint8_t kFiveBytes[] = {1, 2, 3, 4, 5};

// A pointer's referent id in stub data: any value but 0.
constexpr std::uint32_t kReferent = 0x00020000;

RPC_WSTR RpcText(const wchar_t* text) {
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}

class Binding {
public:
    explicit Binding(const std::wstring& endpoint) {
        RPC_WSTR text = nullptr;
        EXPECT_EQ(RPC_S_OK, RpcStringBindingComposeW(nullptr, RpcText(kTcp), RpcText(kLoopback),
                                                     RpcText(endpoint.c_str()), nullptr, &text));
        EXPECT_EQ(RPC_S_OK, RpcBindingFromStringBindingW(text, &m_hBinding));
        RpcStringFreeW(&text);
    }
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;
    ~Binding() { RpcBindingFree(&m_hBinding); }
    void* Handle() const { return m_hBinding; }

private:
    RPC_BINDING_HANDLE m_hBinding = nullptr;
};

// What the stub made of an answer.
struct Outcome {
    std::uint32_t exception;
    std::int32_t size;
    bool block;
    Bytes bytes;
};

Outcome Take(const IdlClientHelper::Reply& reply) {
    const std::unique_ptr<std::uint8_t, decltype(&std::free)> owner(reply.pBytes, std::free);
    Outcome outcome{reply.uiException, reply.lSize, reply.pBytes != nullptr, {}};
    if (reply.pBytes != nullptr && reply.lSize > 0)
        outcome.bytes.assign(reply.pBytes, reply.pBytes + reply.lSize);
    return outcome;
}

struct Exchange {
    RawRpcServer::Seen seen;
    Outcome outcome;
};

// Calls SendRequest with five bytes at a raw server.
Exchange Call(int mode, RawRpcServer::Answer answer) {
    RawRpcServer server(std::move(answer));
    Outcome outcome{};
    {
        const Binding binding(server.Endpoint());
        outcome = Take(
            IdlClientHelper::SendRequest(mode, binding.Handle(), kFiveBytes, sizeof kFiveBytes));
    }
    return {server.Finish(), outcome};
}

RawRpcServer::Answer Responding(const Bytes& stubData) {
    return [stubData](std::uint32_t callId) { return rpc::MakeResponse(callId, stubData); };
}

// lOutSize, the pointer, the array's count, the array.
Bytes AnswerOf(std::uint32_t size, std::uint32_t count, const Bytes& array) {
    Bytes stubData = Words({size, kReferent, count});
    Append(stubData, array);
    return stubData;
}

Outcome OutcomeOf(const Bytes& stubData) {
    return Call(RpcMode::kFirst, Responding(stubData)).outcome;
}

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

// Size, count and array do not fit together: the caller gets a failure and no block.
TEST(RawWireClient, hostile_answers_fail_without_a_block) {
    struct Row {
        const char* name;
        Bytes stubData;
    };
    const Row rows[] = {
        {"no data at all", {}},
        {"half a size", {3, 0}},
        {"a size alone", Words({3})},
        {"a pointer without its array", Words({3, kReferent})},
        {"a count without its array", Words({3, kReferent, 3})},
        {"an array cut short", AnswerOf(3, 3, {0xaa, 0xbb})},
        {"a size above the array's block", AnswerOf(300, 3, {0xaa, 0xbb, 0xcc})},
        {"a size far above the array", AnswerOf(0x00100000, 3, {0xaa, 0xbb, 0xcc})},
        {"the largest size", AnswerOf(0x7fffffff, 3, {0xaa, 0xbb, 0xcc})},
        {"a count above the data", AnswerOf(3, 0x00100000, {0xaa, 0xbb, 0xcc})},
        {"size and count above the data", AnswerOf(0x00100000, 0x00100000, {0xaa, 0xbb, 0xcc})},
    };
    for (const Row& row : rows) {
        const Outcome outcome = OutcomeOf(row.stubData);
        EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), outcome.exception) << row.name;
        EXPECT_FALSE(outcome.block) << row.name;
        EXPECT_EQ(0, outcome.size) << row.name;
    }
}

// The runtime allocates a little more than the array. A size that ends there is not noticed, and
// harmless: no byte outside the block is ever handed up.
TEST(RawWireClient, no_size_reaches_behind_the_block) {
    for (std::uint32_t size = 1; size < 200; size += 3) {
        RawRpcServer server(Responding(AnswerOf(size, 3, {0xaa, 0xbb, 0xcc})));
        {
            const Binding binding(server.Endpoint());
            const IdlClientHelper::Reply reply = IdlClientHelper::SendRequest(
                RpcMode::kFirst, binding.Handle(), kFiveBytes, sizeof kFiveBytes);
            if (reply.uiException == 0) {
                EXPECT_LE(static_cast<std::size_t>(reply.lSize), _msize(reply.pBytes));
            }
            std::free(reply.pBytes);
        }
        server.Finish();
    }
}

TEST(RawWireClient, negative_size_gives_no_bytes) {
    const Outcome outcome = OutcomeOf(AnswerOf(0xffffffff, 3, {0xaa, 0xbb, 0xcc}));
    EXPECT_TRUE(outcome.bytes.empty());
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
