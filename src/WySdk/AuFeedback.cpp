#include "WySdk/AuFeedback.h"

#include <cstddef>
#include <ctime>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "WySdk/ApiCall.h"
#include "WySdk/SdkMail.h"
#include "lib/wycommon/WyCommon_JsonDb.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace {

namespace JsonDb = WyCommon::JsonDb;
namespace Utility = WyCommon::Utility;
using AuFeedback::Facts;

constexpr char kLogSource[] = "AuFeedback";
constexpr wchar_t kLogModule[] = L"WySdk";

constexpr std::size_t kOsNameLimit = 260;
constexpr std::uint32_t kComputerNameWanted = 1;
// The only kind of report there is.
constexpr std::int32_t kReportOfFile = 1;

Facts CollectFacts(bool withComputerName) {
    Facts facts;
    facts.strOsName = AuFeedback::Platform::OsName();
    facts.uiLocale = AuFeedback::Platform::Locale();
    facts.strGuid = Utility::GetWinGuid();
    facts.strProductId = Utility::GetProductId();
    facts.strProductVersion = Utility::GetProductVersion();
    facts.strAgentVersion = Utility::GetAgentVersion();
    if (withComputerName)
        facts.computerName = AuFeedback::Platform::ComputerName();
    facts.iTime = std::time(nullptr);
    return facts;
}

void Report(std::uint32_t resultCode) {
    JsonDocument configuration;
    JsonDb::Load(
        Utility::JoinPath(Utility::GetConfigurationFolder(), AuFeedback::kConfigurationFile),
        configuration);
    if (!configuration.isMember(L"feedbackAu"))
        return;
    if (configuration[L"feedbackAu"].AsUInt32() == 0) {
        WY_LOG_INFO << L"Au feedback is turned off...";
        return;
    }
    const bool withComputerName =
        configuration.isMember(L"feedbackCptName") &&
        configuration[L"feedbackCptName"].AsUInt32() == kComputerNameWanted;
    const JsonDocument record = AuFeedback::BuildRecord(CollectFacts(withComputerName), resultCode);
    WY_LOG_INFO << L"post data=" << record.ToStyledString();
    const std::wstring path =
        Utility::JoinPath(Utility::GetProductPathOrModuleFolder(), AuFeedback::kRecordFile);
    JsonDb::Save(path, record, false);

    JsonDocument mail;
    mail[L"type"].SetInt32(kReportOfFile);
    mail[L"path"].SetString(path);
    const std::uint32_t result =
        SendMail2Wyvarion(AuFeedback::kDestination, AuFeedback::kMail, mail);
    if (KrCommon::Result::Failed(result)) {
        WY_LOG_ERROR << L"Feedback to DC error, retCode = " << WyHex{result};
    }
}

}  // namespace

JsonDocument AuFeedback::BuildRecord(const Facts& facts, std::uint32_t resultCode) {
    JsonDocument record;
    record[L"osVer"].SetString(facts.strOsName.substr(0, kOsNameLimit));
    record[L"locale"].SetUInt32(facts.uiLocale);
    record[L"guid"].SetString(facts.strGuid);
    record[L"productId"].SetString(facts.strProductId);
    record[L"productVersion"].SetString(facts.strProductVersion);
    record[L"agentVersion"].SetString(facts.strAgentVersion);

    JsonDocument event = record[L"data"][0U];
    event[L"type"].SetString(L"Update");
    event[L"time"].SetInt64(facts.iTime);
    JsonDocument content = event[L"content"];
    content[L"auOldVersion"].SetString(L"");
    content[L"auNewVersion"].SetString(L"");
    content[L"auErrorCode"].SetInt32(static_cast<std::int32_t>(resultCode));
    if (facts.computerName.has_value())
        content[L"computerName"].SetString(*facts.computerName);
    return record;
}

void FeedbackAuError(std::uint32_t resultCode) noexcept {
    Guarded(L"FeedbackAuError", [resultCode] {
        Report(resultCode);
        return KrCommon::Result::kSuccess;
    });
}
