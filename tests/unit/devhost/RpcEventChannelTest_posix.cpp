#include "devhost/RpcEventChannel.h"

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_String.h"
#include "support/loopback/LoopbackTransport.h"
#include "unit/devhost/WireHelpers.h"

namespace {

using DevHost::Client;
using DevHost::EventChannel;
using Loopback::Bytes;

const Client kClient{WireHelpers::kSessionKey, WireHelpers::kTrackingId, 5, L"name"};
const std::wstring kEndpoint = KrCommon::String::FromUtf8(WireHelpers::kSessionKey);

EventChannel::Outcome DeliverTo(const Loopback::Service& service) {
    const Loopback::Endpoint endpoint(kEndpoint, service);
    return DevHost::RpcEventChannel().Deliver(kClient, L"{\"eventId\":1}");
}

Bytes ResultReply(std::uint32_t code) {
    DevHost::HostReply reply;
    reply.trackingId = WireHelpers::kTrackingId;
    reply.resultCode = code;
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    DevHost::EncodeReply(reply, {}, out);
    return {out.GetData(), out.GetData() + out.GetLength()};
}

TEST(RpcEventChannel, delivery_goes_to_the_clients_own_endpoint) {
    Bytes seen;
    EXPECT_EQ(DeliverTo([&](const Bytes& request) {
                  seen = request;
                  return ResultReply(0x20ff0000);
              }),
              EventChannel::Outcome::kTaken);
    CIPCMsgBuffer expected(CIPCMsgBuffer::kBlockSize, false);
    DevHost::EncodeDelivery(WireHelpers::kTrackingId, L"{\"eventId\":1}", expected);
    EXPECT_EQ(seen, Bytes(expected.GetData(), expected.GetData() + expected.GetLength()));
}

TEST(RpcEventChannel, failure_of_the_clients_callback_is_a_refusal) {
    EXPECT_EQ(DeliverTo([](const Bytes&) { return ResultReply(0xe0ff000b); }),
              EventChannel::Outcome::kRefused);
}

TEST(RpcEventChannel, client_without_endpoint_or_registration_is_gone) {
    EXPECT_EQ(DevHost::RpcEventChannel().Deliver(kClient, L"{}"), EventChannel::Outcome::kGone);
    EXPECT_EQ(DeliverTo([](const Bytes&) { return ResultReply(0xe0ff0018); }),
              EventChannel::Outcome::kGone);
    EXPECT_EQ(DeliverTo([](const Bytes&) { return Bytes(); }), EventChannel::Outcome::kGone);
    EXPECT_EQ(DeliverTo([](const Bytes&) {
                  return Bytes{202, 0, 0, 0};
              }),
              EventChannel::Outcome::kGone);
}

}  // namespace
