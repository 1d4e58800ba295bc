// What a person writes for the development host: fault scripts, fault files and emissions. A script
// that is taken acts the same after the way into a successor, and whatever it makes of a reply is
// read by the product's decoder.
//
// Input: one byte (0: a fault script, 1: a fault file, 2: an emission), text.

#include "FuzzInput.h"
#include "devhost/EventEmitter.h"
#include "devhost/FaultFile.h"
#include "devhost/HostServer.h"
#include "unit/devhost/WireHelpers.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::CallContext;
using DevHost::Client;
using DevHost::EventChannel;
using DevHost::FaultPlan;
using DevHost::FaultScript;

constexpr std::uint32_t kApi = 400;
constexpr std::uint32_t kLargestReply = 64 * 1024;
constexpr int kRequests = 4;

class Nobody : public EventChannel {
public:
    Outcome Deliver(const Client&, const std::wstring&) override { return Outcome::kGone; }
};

bool HasLargeReply(const std::string& text) {
    FaultScript script;
    std::string error;
    script.Parse(text, error);
    for (int i = 0; i < kRequests; ++i) {
        if (script.Match({IPC_MSG_SEND_MAIL, kApi, true}).size.value_or(0) > kLargestReply)
            return true;
    }
    return false;
}

// The replies to a few calls under the script, one behind the other.
WireHelpers::Bytes Play(FaultScript& script) {
    static DevHost::ApiRouter& router = *[] {
        auto* const made = new DevHost::ApiRouter;
        made->Add(kApi, [](const Json::Value&, const CallContext&) { return ApiAnswer(); });
        return made;
    }();
    DevHost::ClientRegistry clients;
    DevHost::EventHub events(std::make_shared<Nobody>(), [](const std::string&) {});
    DevHost::HostServer server(
        router, clients, events, script,
        {[](std::uint32_t) { return DevHost::kNoHandle; }, [](FaultPlan::End, std::uint32_t) {}});
    server.CutDelays();
    static const WireHelpers::Bytes request = WireHelpers::Api(kApi, L"{}");
    WireHelpers::Bytes replies;
    for (int i = 0; i < kRequests; ++i) {
        CIPCMsgBuffer in(request.data(), static_cast<std::uint32_t>(request.size()));
        CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
        server(IPC_MSG_SEND_MAIL, in, out);
        WireHelpers::ReadReply(out.GetData(), out.GetLength());
        replies.insert(replies.end(), out.GetData(), out.GetData() + out.GetLength());
    }
    return replies;
}

void TestScript(const std::string& text) {
    FaultScript script;
    std::string error;
    if (!script.Parse(text, error)) {
        fuzz::Require(!error.empty(), "a mistake without a word");
        fuzz::Require(script.IsEmpty(), "a script with a mistake is taken in part");
        return;
    }
    FaultScript successor;
    fuzz::Require(successor.Parse(script.Remaining(), error),
                  "what is left of a script is no script");
    fuzz::Require(successor.Remaining() == script.Remaining(), "a successor gets other faults");
    if (HasLargeReply(text))
        return;
    fuzz::Require(Play(script) == Play(successor), "a successor behaves otherwise");
    fuzz::Require(successor.Remaining() == script.Remaining(), "a successor counts otherwise");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::LogIntoNothing();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::uint8_t form = input.Byte();
    const std::vector<std::uint8_t> rest = input.Rest();
    const std::string text(rest.begin(), rest.end());
    if (form % 3 == 0) {
        TestScript(text);
        return 0;
    }
    if (form % 3 == 1) {
        std::string script;
        std::string error;
        if (DevHost::FaultFileToScript(text, script, error)) {
            FaultScript check;
            fuzz::Require(check.Parse(script, error), "a fault file becomes no script");
            TestScript(script);
        } else {
            fuzz::Require(!error.empty() && script.empty(), "a mistake without a word");
        }
        return 0;
    }
    const auto emission = DevHost::ParseEmission(text);
    fuzz::Require(
        !emission.has_value() || (emission->intervalMs > 0 && emission->intervalMs <= 86'400'000),
        "an emission without a time");
    return 0;
}
