// The called side of the interface, driven by hand over TCP: what a request's bytes must be, what
// the answer's bytes are, and that stub data that lies gets a fault and never reaches the routine.

#include <memory>

#include "Common/KrCommon/KrComn_Windows.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "MemoryWatch.h"
#include "support/LogRecorder.h"
#include "support/RpcPdu.h"
#include "utilRPC/rpc_server.h"
#include "utilRPC/seh_call.h"

#include <rpc.h>
#include <rpcndr.h>

extern "C" {
extern RPC_IF_HANDLE B_Server_ISendB_v1_0_s_ifspec;
void __RPC_STUB IdlCheckedServerCall(PRPC_MESSAGE message);
}

namespace {

using namespace test_support;

constexpr std::uint32_t kBadStubData = RPC_X_BAD_STUB_DATA;
constexpr unsigned int kCalls = 10;

// Answers each message with its id and its bytes.
class EchoHandler : public CIPCServerRequestCallback {
public:
    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override {
        *ids = new std::uint32_t[1]{CIPCRequestDispatcher::kDefaultHandlerId};
        *count = 1;
        return true;
    }
    void operator()(std::uint32_t id, CIPCMsgBuffer& in, CIPCMsgBuffer& out) override {
        out << id;
        out.WriteBytes(in.GetReadPtr(), in.GetRemaining());
    }
    void FreeMsgID(std::uint32_t* ids) override { delete[] ids; }
};

std::uint16_t FreePort() {
    return LoopbackListener().Port();
}

// The process's server with one more endpoint, a TCP port.
class RawWireServer : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_pLog = new LogRecorder;
        s_pHandler = new EchoHandler;
        s_pServer = new CRPCServerHelper(CComponentID(L"raw-wire-test"), 1000,
                                         CRPCServerParameter(L"ncalrpc"));
        s_pServer->RegisterHandler(s_pHandler);
        ASSERT_EQ(RPC_S_OK, RpcServerRegisterIfEx(B_Server_ISendB_v1_0_s_ifspec, nullptr, nullptr,
                                                  RPC_IF_AUTOLISTEN, kCalls, nullptr));
        s_uiPort = FreePort();
        std::wstring endpoint = std::to_wstring(s_uiPort);
        wchar_t protocol[] = L"ncacn_ip_tcp";
        ASSERT_EQ(RPC_S_OK,
                  RpcServerUseProtseqEpW(reinterpret_cast<RPC_WSTR>(protocol), kCalls,
                                         reinterpret_cast<RPC_WSTR>(endpoint.data()), nullptr));
    }

    static void TearDownTestSuite() {
        // Every call has been answered. Waiting for them here, Wine now and then misses the end of
        // the last one and waits for ever.
        RpcServerUnregisterIf(B_Server_ISendB_v1_0_s_ifspec, nullptr, 0);
        s_pServer->UnRegisterHandler(s_pHandler);
        delete s_pServer;
        delete s_pHandler;
        delete s_pLog;
    }

    static rpc::Message Call(const Bytes& stubData, const Bytes& syntax = rpc::kInterfaceA) {
        LoopbackSocket connection = LoopbackSocket::ConnectTo(s_uiPort);
        connection.Write(rpc::MakeBind(syntax));
        const rpc::Message accepted = rpc::Read(connection);
        EXPECT_EQ(rpc::PduType::kBindAck, accepted.type);
        connection.Write(rpc::MakeRequest(stubData));
        return rpc::Read(connection);
    }

    // How often the routine behind the interface was entered.
    static std::size_t Entries() { return s_pLog->CountContaining(L"SendRequest(), inSize: "); }

    static inline LogRecorder* s_pLog;
    static inline EchoHandler* s_pHandler;
    static inline CRPCServerHelper* s_pServer;
    static inline std::uint16_t s_uiPort;
};

// Checks an answer's stub data: lOutSize, a pointer that is not null, the array's count, the array.
void ExpectBlock(std::string_view hex, const rpc::Message& answer) {
    ASSERT_EQ(rpc::PduType::kResponse, answer.type) << ToHex(answer.body);
    const Bytes wanted = FromHex(hex);
    constexpr std::size_t kArray = 12;
    ASSERT_LE(kArray + wanted.size(), answer.body.size());
    EXPECT_EQ(wanted.size(), rpc::LoadUInt32(answer.body, 0));
    EXPECT_NE(0u, rpc::LoadUInt32(answer.body, 4));
    EXPECT_EQ(wanted.size(), rpc::LoadUInt32(answer.body, 8));
    EXPECT_EQ(ToHex(wanted), ToHex(answer.body.data() + kArray, wanted.size()));
    // Nothing but padding behind the array.
    EXPECT_LT(answer.body.size() - kArray - wanted.size(), 8u);
}

TEST_F(RawWireServer, request_reaches_the_handler_and_its_answer_comes_back) {
    const std::size_t before = Entries();
    ExpectBlock("01020304 05", Call(FromHex("05000000 05000000 0102030405")));
    EXPECT_EQ(before + 1, Entries());
}

TEST_F(RawWireServer, second_interface_is_served_by_the_same_routine) {
    const std::size_t before = Entries();
    ExpectBlock("01020304 05", Call(FromHex("05000000 05000000 0102030405"), rpc::kInterfaceB));
    EXPECT_EQ(before + 1, Entries());
}

TEST_F(RawWireServer, large_answer_comes_in_fragments_without_loss) {
    constexpr std::uint32_t kSize = 20000;
    Bytes stubData = Words({kSize, kSize});
    for (std::uint32_t i = 0; i < kSize; ++i)
        stubData.push_back(static_cast<std::uint8_t>(i * 7));
    const rpc::Message answer = Call(stubData);
    ASSERT_EQ(rpc::PduType::kResponse, answer.type);
    EXPECT_GT(answer.fragments, 1u);
    ASSERT_LE(12 + kSize, answer.body.size());
    EXPECT_TRUE(std::equal(stubData.begin() + 8, stubData.end(), answer.body.begin() + 12));
}

TEST_F(RawWireServer, bytes_behind_the_array_are_ignored) {
    ExpectBlock("01020304 05", Call(FromHex("05000000 05000000 0102030405 ffffff")));
}

TEST_F(RawWireServer, request_without_a_message_id_gets_an_empty_answer) {
    const rpc::Message answer = Call(FromHex("00000000 00000000"));
    ASSERT_EQ(rpc::PduType::kResponse, answer.type);
    EXPECT_EQ(Hex("00000000 00000000"), ToHex(answer.body));
}

struct HostileRequest {
    const char* name;
    const char* stubData;
};

constexpr HostileRequest kHostileRequests[] = {
    {"size above the count", "05000000 04000000 0102030405"},
    {"size below the count", "04000000 05000000 0102030405"},
    {"size far above the count", "00001000 05000000 0102030405"},
    {"size and count one above the data", "06000000 06000000 0102030405"},
    {"size and count far above the data", "ffffff7f ffffff7f 0102030405"},
    {"size negative", "ffffffff 05000000 0102030405"},
    {"size and count negative", "ffffffff ffffffff 0102030405"},
    {"the smallest size", "00000080 00000080 0102030405"},
    {"size zero, bytes given", "00000000 05000000 0102030405"},
    {"size given, count zero", "05000000 00000000 0102030405"},
    // The four bytes of a binding handle before the parameters, as an uncorrected stub sends them.
    {"a handle before the size", "78563412 05000000 05000000 0102030405"},
};

TEST_F(RawWireServer, hostile_requests_get_a_fault_and_never_reach_the_routine) {
    const std::size_t before = Entries();
    for (const HostileRequest& row : kHostileRequests) {
        const rpc::Message answer = Call(FromHex(row.stubData));
        ASSERT_EQ(rpc::PduType::kFault, answer.type) << row.name;
        EXPECT_EQ(kBadStubData, rpc::StatusOf(answer)) << row.name;
        EXPECT_EQ(before, Entries()) << row.name;
    }
}

TEST_F(RawWireServer, requests_cut_short_at_every_byte_get_a_fault) {
    const std::size_t before = Entries();
    const Bytes whole = FromHex("05000000 05000000 0102030405");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const rpc::Message answer =
            Call(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        ASSERT_EQ(rpc::PduType::kFault, answer.type) << size << " bytes";
        EXPECT_EQ(kBadStubData, rpc::StatusOf(answer)) << size << " bytes";
    }
    EXPECT_EQ(before, Entries());
}

TEST_F(RawWireServer, claims_of_gigabytes_get_a_fault_and_allocate_nothing) {
    constexpr std::size_t kLargestBlock = 1 << 20;
    constexpr std::int64_t kGrowth = 64 << 20;
    const std::size_t before = Entries();
    const MemoryWatch memory;
    for (const std::uint32_t claim : {0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        for (const Bytes& stubData : {Words({claim, claim, 0}), Words({4, claim, 0})}) {
            const rpc::Message answer = Call(stubData);
            ASSERT_EQ(rpc::PduType::kFault, answer.type) << ToHex(stubData);
            EXPECT_EQ(kBadStubData, rpc::StatusOf(answer)) << ToHex(stubData);
        }
    }
    EXPECT_EQ(before, Entries());
    EXPECT_LT(memory.LargestBlock(), kLargestBlock);
    EXPECT_LT(memory.PeakGrowth(), kGrowth);
}

TEST_F(RawWireServer, server_goes_on_after_a_hostile_request) {
    Call(FromHex("ffffffff ffffffff"));
    ExpectBlock("01020304", Call(FromHex("04000000 04000000 01020304")));
}

// The runtime under the tests does not turn other representations into its own.
TEST_F(RawWireServer, big_endian_integers_are_refused) {
    Bytes stubData = FromHex("00000005 00000005 0102030405");
    RPC_MESSAGE message{};
    message.Buffer = stubData.data();
    message.BufferLength = static_cast<unsigned int>(stubData.size());
    message.DataRepresentation = 0;
    unsigned long code = 0;
    const std::size_t before = Entries();
    EXPECT_EQ(
        1,
        seh_call([](void* argument) { IdlCheckedServerCall(static_cast<PRPC_MESSAGE>(argument)); },
                 &message, &code));
    EXPECT_EQ(kBadStubData, code);
    EXPECT_EQ(before, Entries());
}

}  // namespace
