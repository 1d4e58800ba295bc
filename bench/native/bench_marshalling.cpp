// What a call of ten fields costs between the document and the transport, beside the JSON text
// alone, and the allocations that come on top.

#include <benchmark/benchmark.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Result.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"
#include "native/CannedTransport.h"
#include "native/CountedAllocations.h"
#include "native/TenFields.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/RpcClientManager.h"

// FastWriter and Reader are what JsonDocument uses; they are marked deprecated.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

// The reply that the service would give: envelope, result form, mail result, JSON text.
std::vector<std::uint8_t> CannedReply(const std::string& json) {
    const std::wstring text(json.begin(), json.end());
    CRpcDataHandleWrapper param(RPC_MSG_PRODUCT_DATA);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text.c_str());
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, KrCommon::Result::kSuccess);
    report.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, RPC_MSG_PRODUCT_DATA);
    report.Set(param);
    CommandResult result{};
    result.iResult = KrCommon::Result::kSuccess;
    result.uiReportId = RPC_MSG_PRODUCT_DATA;
    RpcDataShare(&report.Handle(), &result.pReport);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    RpcDataDestroy(&result.pReport);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    out << IPC_REPLY_SUCCESS << message;
    return {out.GetData(), out.GetData() + out.GetLength()};
}

// The documents of one call, in both forms.
struct Documents {
    Documents() {
        TenFields::Fill(request);
        reply["retCode"] = KrCommon::Result::kSuccess;
        TenFields::Fill(reply["data"]);
        replyText = Json::FastWriter().write(reply);
        requestDocument.Native() = request;
    }
    Json::Value request;
    Json::Value reply;
    std::string replyText;
    JsonDocument requestDocument;
};

const Documents& TheDocuments() {
    static const Documents documents;
    return documents;
}

void JsonTextAlone(benchmark::State& state) {
    const Documents& documents = TheDocuments();
    const std::uint64_t before = CountedAllocations();
    for (auto _ : state) {
        Json::FastWriter writer;
        std::string text = writer.write(documents.request);
        benchmark::DoNotOptimize(text);
        Json::Reader reader;
        Json::Value answer;
        reader.parse(documents.replyText, answer);
        benchmark::DoNotOptimize(answer);
    }
    state.counters["allocations"] = benchmark::Counter(
        static_cast<double>(CountedAllocations() - before), benchmark::Counter::kAvgIterations);
}

void CallOfTenFields(benchmark::State& state) {
    const Documents& documents = TheDocuments();
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    CannedTransport::SetReply(CannedReply(documents.replyText));
    CKrRpcClientHelper helper(ProductIdentity::kProductNumber, ProductIdentity::kProductIdString, 0,
                              false, ProductIdentity::kTimeout);
    const std::uint64_t before = CountedAllocations();
    for (auto _ : state) {
        JsonDocument output;
        const std::uint32_t code = helper.SendMail2ProductPlugin(
            MailDestination::kApiCall, 400013001, documents.requestDocument, output, false);
        if (code != KrCommon::Result::kSuccess || !output.isMember("data")) {
            state.SkipWithError("the call failed");
            break;
        }
    }
    state.counters["allocations"] = benchmark::Counter(
        static_cast<double>(CountedAllocations() - before), benchmark::Counter::kAvgIterations);
}

BENCHMARK(JsonTextAlone);
BENCHMARK(CallOfTenFields);

}  // namespace
