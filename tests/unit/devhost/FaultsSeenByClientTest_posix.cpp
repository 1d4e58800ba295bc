// The host's faults with the product's own client helper at the other end of an in-process
// transport.

#include <gtest/gtest.h>

#include "Framework/utilIPC/ipc_ids.h"
#include "devhost/FaultFile.h"
#include "devhost/HostServer.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"
#include "support/loopback/LoopbackTransport.h"
#include "unit/devhost/FaultEffects.h"
#include "utilRPC/rpc_EndpointMap.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::CallContext;
using DevHost::Client;
using DevHost::EventChannel;
using DevHost::FaultPlan;

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kEchoApi = 400;
constexpr std::uint32_t kMegabyte = 1024 * 1024;

class SilentChannel : public EventChannel {
public:
    Outcome Deliver(const Client&, const std::wstring&) override { return Outcome::kTaken; }
};

class FaultsSeenByClient : public testing::Test {
protected:
    FaultsSeenByClient() {
        m_Router.Add(kEchoApi, [](const Json::Value& request, const CallContext&) {
            ApiAnswer answer;
            answer.data["echo"] = request;
            return answer;
        });
    }

    Loopback::Bytes Answer(const Loopback::Bytes& request) {
        CIPCMsgBuffer in(request.data(), static_cast<std::uint32_t>(request.size()));
        CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
        std::uint32_t messageId = 0;
        in >> messageId;
        m_Server(messageId, in, out);
        m_uiReplySize = out.GetLength();
        return {out.GetData(), out.GetData() + out.GetLength()};
    }

    void Script(const std::string& text) {
        std::string error;
        ASSERT_TRUE(m_Faults.Parse(text, error)) << error;
    }

    std::uint32_t Call(JsonDocument& answer) {
        JsonDocument request;
        request.Parse(L"{\"x\": 1}");
        return CKrRpcClientHelper::SendMail2ProductPlugin(MailDestination::kApiCall, kEchoApi,
                                                          request, answer, false);
    }

    DevHost::ApiRouter m_Router;
    DevHost::ClientRegistry m_Clients;
    DevHost::EventHub m_Events{std::make_shared<SilentChannel>(), [](const std::string&) {}};
    DevHost::FaultScript m_Faults;
    std::uint32_t m_uiReplySize = 0;
    DevHost::HostServer m_Server{
        m_Router, m_Clients, m_Events, m_Faults,
        DevHost::HostProcessHooks{[](std::uint32_t) { return DevHost::kNoHandle; },
                                  [](FaultPlan::End, std::uint32_t) {}}};
    const Loopback::Endpoint m_Endpoint{
        ServiceComponentName(), [this](const Loopback::Bytes& bytes) { return Answer(bytes); }};
    CKrRpcClientHelper m_Helper{ProductIdentity::kProductNumber, ProductIdentity::kProductIdString,
                                0, false, ProductIdentity::kTimeout};
};

TEST_F(FaultsSeenByClient, each_damage_has_its_result_and_leaves_its_answer) {
    // The manager that an unknown client replaces is left to no one; it stays in reach here, so
    // that a leak checker finds only what is lost by accident.
    static CRpcClientManager* leftBehind = nullptr;
    leftBehind = g_pRpcClientManager;
    EXPECT_NE(leftBehind, nullptr);
    Script(FaultEffectScript(kEchoApi));
    for (const FaultEffect& effect : kFaultEffects) {
        JsonDocument answer;
        EXPECT_EQ(Call(answer), effect.result) << effect.action;
        EXPECT_EQ(AnswerShape(answer), effect.answer) << effect.action;
    }
    EXPECT_TRUE(m_Faults.IsEmpty());
    JsonDocument answer;
    EXPECT_EQ(Call(answer), kSuccess);
    EXPECT_EQ(AnswerShape(answer), "retCode:number data");
}

TEST_F(FaultsSeenByClient, stretched_replies_have_their_size_and_their_answer) {
    JsonDocument plain;
    ASSERT_EQ(Call(plain), kSuccess);
    const std::uint32_t least = m_uiReplySize;
    for (const std::uint32_t size : {least + 1, least + 2, least + 3, 65'535U, 65'536U, 65'537U,
                                     kMegabyte, 16 * kMegabyte, 16 * kMegabyte + 1}) {
        Script("api:400 size " + std::to_string(size));
        JsonDocument answer;
        EXPECT_EQ(Call(answer), kSuccess) << size;
        // Text grows by pairs of bytes.
        EXPECT_EQ(m_uiReplySize, size - (size - least) % 2);
        EXPECT_EQ(answer.ToCompactString(), plain.ToCompactString()) << size;
    }
    for (const std::uint32_t size : {0U, 1U, least - 1, least}) {
        Script("api:400 size " + std::to_string(size));
        JsonDocument answer;
        EXPECT_EQ(Call(answer), kSuccess) << size;
        EXPECT_EQ(m_uiReplySize, least) << size;
    }
}

TEST_F(FaultsSeenByClient, text_of_a_fault_file_arrives_with_every_character) {
    std::string script;
    std::string error;
    ASSERT_TRUE(DevHost::FaultFileToScript(
        R"({"faults": [{"api": 400, "text": "{\"x\": \"a;b#c, \u00e4\u20ac\\u0001\"}"}]})", script,
        error))
        << error;
    Script(script);
    JsonDocument answer;
    EXPECT_EQ(Call(answer), kSuccess);
    EXPECT_EQ(answer["x"].AsString(), L"a;b#c, \u00e4\u20ac\u0001");
}

}  // namespace
