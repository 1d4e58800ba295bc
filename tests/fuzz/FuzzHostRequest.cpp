// The development host's receiving end: whatever bytes come, every request gets an answer that the
// product's client can read. The host is whole but for the machine: it has no root, no features
// and no processes, and its clients live here.
//
// Input: requests one after the other, each with one byte for its form, a word for the message id,
// two bytes for its length, and so many bytes. The forms: 0: the bytes are the request; 1: they are
// the image of its data; 2: a mail, with a word for the destination, a word for the number and the
// text; 3: a call of the API, with one byte for the function and the text; 4: a registration, with
// one byte for the client and the name; 5: its end.

#include <array>

#include "FuzzInput.h"
#include "WySdk/ApiTable.h"
#include "devhost/HostApplication.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"
#include "unit/devhost/FakeProbe.h"
#include "unit/devhost/WireHelpers.h"

namespace {

using DevHost::Client;
using DevHost::EventChannel;
using DevHost::FaultPlan;
using DevHost::HostApplication;
using DevHost::HostParts;
using WireHelpers::Bytes;

constexpr unsigned kMostRequests = 16;

// Clients that take events, refuse them or are gone, by the last digit of their process id.
class Channel : public EventChannel {
public:
    Outcome Deliver(const Client& client, const std::wstring& json) override {
        JsonDocument event;
        fuzz::Require(event.Parse(json) == JsonDocument::kOk && event.isMember("eventId"),
                      "an event is none");
        constexpr std::array kOutcomes = {Outcome::kTaken, Outcome::kRefused, Outcome::kGone};
        return kOutcomes[client.processId % kOutcomes.size()];
    }
};

HostParts MakeParts() {
    HostParts parts;
    parts.probe = std::make_unique<FakeProbe>();
    parts.digest = [](const auto&, const auto&) { return std::string("digest"); };
    parts.makeId = [] { return std::string("id"); };
    parts.channel = std::make_shared<Channel>();
    parts.duplicateOwnHandle = [](std::uint32_t) { return DevHost::kNoHandle; };
    parts.end = [](FaultPlan::End, std::uint32_t) { fuzz::Require("an end without a script"); };
    return parts;
}

std::string KeyOf(std::uint8_t client) {
    std::string key = WireHelpers::kSessionKey;
    key[0] = static_cast<char>('0' + client % 10);
    return key;
}

std::uint32_t FunctionOf(std::uint8_t number) {
    std::size_t count = 0;
    while (g_ApiDefinitions[count].apiId != kSentinelApiId)
        ++count;
    return g_ApiDefinitions[number % (count + 1)].apiId;
}

Bytes RequestOf(std::uint8_t form, std::uint32_t& messageId, fuzz::Input& content) {
    switch (form % 6) {
        case 1: {
            const std::vector<std::uint8_t> image = content.Rest();
            CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
            data.Load(image.data(), static_cast<std::uint32_t>(image.size()));
            return WireHelpers::Command(messageId, &data);
        }
        case 2: {
            messageId = IPC_MSG_SEND_MAIL;
            const std::uint32_t destination = content.Word();
            const std::uint32_t number = content.Word();
            return WireHelpers::Mail(destination, number, content.RestAsText());
        }
        case 3: {
            messageId = IPC_MSG_SEND_MAIL;
            const std::uint32_t function = FunctionOf(content.Byte());
            return WireHelpers::Api(function, content.RestAsText());
        }
        case 4: {
            messageId = IPC_MSG_REGISTER_PROCESS;
            const std::uint8_t client = content.Byte();
            return WireHelpers::Register(content.RestAsText(), 4711U + client, KeyOf(client));
        }
        case 5: {
            messageId = IPC_MSG_UNREGISTER_PROCESS;
            const std::uint8_t client = content.Byte();
            return WireHelpers::Unregister(4711U + client, KeyOf(client));
        }
        default:
            return content.Rest();
    }
}

void CheckReply(std::uint32_t messageId, const CIPCMsgBuffer& out) {
    const WireHelpers::Reply reply = WireHelpers::ReadReply(out.GetData(), out.GetLength());
    fuzz::Require(!reply.empty && !reply.malformed, "no answer, or none that can be read");
    if (reply.failure) {
        fuzz::Require(reply.failureCode != DevHost::RemoteError::kInternal, "an accident");
        return;
    }
    fuzz::Require(reply.hasResultCode, "an answer without a result");
    if (messageId != IPC_MSG_SEND_MAIL)
        return;
    JsonDocument answer;
    fuzz::Require(reply.hasMailResult && reply.hasJson, "a mail is answered without a text");
    fuzz::Require(answer.Parse(reply.json) == JsonDocument::kOk, "an answer is no JSON");
}

void Send(HostApplication& host, std::uint32_t messageId, const Bytes& request) {
    // A block of exactly its size, so that a sanitizer sees the first byte behind it.
    const Bytes exact(request.begin(), request.end());
    CIPCMsgBuffer in(exact.data(), static_cast<std::uint32_t>(exact.size()));
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    host.Server()(messageId, in, out);
    CheckReply(messageId, out);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::LogIntoNothing();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HostApplication host(MakeParts());
    fuzz::Input input(data, size);
    for (unsigned i = 0; i < kMostRequests && !input.IsEmpty(); ++i) {
        const std::uint8_t form = input.Byte();
        std::uint32_t messageId = input.Word();
        const std::size_t low = input.Byte();
        const std::size_t length = low | static_cast<std::size_t>(input.Byte()) << 8U;
        const std::vector<std::uint8_t> bytes = input.Take(length);
        fuzz::Input content(bytes.data(), bytes.size());
        const Bytes request = RequestOf(form, messageId, content);
        Send(host, messageId, request);
    }
    host.PrepareStop();
    fuzz::Require(host.Stop(), "a thread does not end");
    return 0;
}
