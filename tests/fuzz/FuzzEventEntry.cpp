// The way of an event from the bytes of its report to the application's callback.
//
// Input: one byte (0: the rest is the report's image; 1: it is the JSON text of a whole report; 2:
// the same in UTF-16 units), the rest.

#include "Framework/utilIPC/ipc_ids.h"
#include "FuzzInput.h"
#include "WySdk/EventBus.h"
#include "WySdk/SdkMail.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"
#include "support/GoldenImages.h"
#include "support/MessageExerciser.h"
#include "support/loopback/LoopbackTransport.h"

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;

std::uint32_t WYAPI ApplicationCallback(std::uint32_t eventId, const wchar_t* event) {
    JsonDocument document;
    fuzz::Require(document.Parse(event) == JsonDocument::kOk, "the event is no JSON");
    fuzz::Require(document.isMember("eventId"), "the event has no identifier");
    fuzz::Require(document["eventId"].AsUInt32() == eventId, "the identifier is another one");
    return kSuccess;
}

// A registered process with a few subscriptions, for the whole run.
void SetUp() {
    static const Loopback::Endpoint service(ServiceComponentName(), [](const Loopback::Bytes&) {
        return test_support::golden::ScanReply();
    });
    static CKrRpcClientHelper session(ProductIdentity::kProductNumber,
                                      ProductIdentity::kProductIdString, 0, false,
                                      ProductIdentity::kTimeout);
    fuzz::Require(session.RegisterProcess(L"fuzz", WyEventCallBack) == kSuccess,
                  "the set-up could not register");
    g_EventCallbacks[0] = ApplicationCallback;
    g_EventCallbacks[7] = ApplicationCallback;
    g_EventCallbacks[0xffffffff] = ApplicationCallback;
    g_EventCallbacks[9] = nullptr;
}

void FillReport(CRpcDataHandleWrapper& report, fuzz::Input& input) {
    const std::uint8_t form = input.Byte();
    if (form == 0) {
        const std::vector<std::uint8_t> image = input.Rest();
        report.Load(image.data(), static_cast<std::uint32_t>(image.size()));
        return;
    }
    const std::wstring text = form == 1 ? input.RestAsText() : input.RestAsUnits();
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text.c_str(),
               static_cast<std::uint32_t>(text.size()));
}

void CheckAnswer(const CommandResult& answer, int returned) {
    fuzz::Require(static_cast<std::uint32_t>(returned) == answer.iResult, "two different results");
    const CRpcDataHandleWrapper report(answer.pReport);
    fuzz::Require(test_support::ExerciseMessage(report));
    if (answer.iResult == kSuccess) {
        std::wstring text;
        fuzz::Require(answer.uiReportId == RPC_MSG_PRODUCT_DATA &&
                          report.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text) == kSuccess,
                      "an event that was taken is not answered with its text");
    }
}

}  // namespace

// No mail leaves: subscriptions are made by hand.
std::uint32_t SendMail2Wyvarion(std::uint32_t, std::uint32_t, JsonDocument&) {
    return kSuccess;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::LogIntoNothing();
    SetUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    FillReport(report, input);
    CommandResult in{};
    CommandResult out{};
    RpcDataShare(&report.Handle(), &in.pReport);
    const int returned = CKrRpcClientHelper::RegisterProcessCallback("id", &in, &out);
    CheckAnswer(out, returned);
    RpcDataDestroy(&in.pReport);
    RpcDataDestroy(&out.pReport);
    return 0;
}
