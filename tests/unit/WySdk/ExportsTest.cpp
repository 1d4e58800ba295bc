// Every export once: the mail that it sends, the outputs that it fills.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/FakeMail.h"
#include "support/LogRecorder.h"
#include "support/OutputText.h"

namespace {

using test_support::FakeMail;
using test_support::LogRecorder;
using test_support::OutputText;

constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kForced = 0x10000000;
// What the service answers in these tests: no other code of the library is equal to it.
constexpr std::uint32_t kAnswered = 0x11223344;
constexpr std::uint32_t kRefused = 0x91223344;

// An answer with every member that any export reads, each with a value of its own.
std::wstring AnswerWith(std::uint32_t retCode) {
    return LR"({"retCode":)" + std::to_wstring(retCode) +
           LR"(,"data":{
    "sessionId":"scan","progress":11,"feature":"part","object":"thing","fixSessionId":"fix",
    "bootupTime":12,"cpuUsage":13,"memUsage":14,"memAvail":15,"memTotal":16,
    "diskReadUsage":17,"diskWriteUsage":18,"pcRecvFlowUsed":19,"pcRecvSpeed":20,
    "pcSendFlowUsed":21,"pcSendSpeed":22,"idleStatus":23,"timestamp":24,"percentage":25,
    "threshold":26,"isProcessRunning":27,"lockStatus":28,"currentPid":29}})";
}

bool IsWholeOfData(const OutputText& text) {
    return text.Text().starts_with(L"{\"bootupTime\":12,") && text.Text().ends_with(L"}\n");
}

// What a call of an export is expected to send, and the call, which checks the outputs itself.
struct Call {
    std::string name;
    std::uint32_t id;
    std::wstring request;
    std::function<std::uint32_t()> run;
};

// Calls of one shape: the arguments stand for themselves.
std::uint32_t CallForText(std::uint32_t(WYAPI* function)(wchar_t**)) {
    OutputText result;
    const std::uint32_t code = function(result.Out());
    EXPECT_TRUE(IsWholeOfData(result));
    return code;
}

std::uint32_t CallForText(std::uint32_t(WYAPI* function)(const wchar_t*, wchar_t**),
                          const wchar_t* text) {
    OutputText result;
    const std::uint32_t code = function(text, result.Out());
    EXPECT_TRUE(IsWholeOfData(result));
    return code;
}

std::uint32_t CallForText(std::uint32_t(WYAPI* function)(const wchar_t*, const wchar_t*, wchar_t**),
                          const wchar_t* first, const wchar_t* second) {
    OutputText result;
    const std::uint32_t code = function(first, second, result.Out());
    EXPECT_TRUE(IsWholeOfData(result));
    return code;
}

std::uint32_t CallForNumber(std::uint32_t(WYAPI* function)(std::uint32_t*),
                            std::uint32_t expected) {
    std::uint32_t number = 0;
    const std::uint32_t code = function(&number);
    EXPECT_EQ(number, expected);
    return code;
}

std::uint32_t CallForProgress(std::uint32_t(WYAPI* function)(const wchar_t*, std::uint32_t*,
                                                             wchar_t**, wchar_t**)) {
    std::uint32_t progress = 0;
    OutputText feature;
    OutputText object;
    const std::uint32_t code = function(L"s", &progress, feature.Out(), object.Out());
    EXPECT_EQ(progress, 11U);
    EXPECT_EQ(feature.Text(), L"part");
    EXPECT_EQ(object.Text(), L"thing");
    return code;
}

std::uint32_t CallForStatus(std::uint32_t(WYAPI* function)(const wchar_t*, const wchar_t*,
                                                           std::uint32_t, wchar_t**)) {
    OutputText result;
    const std::uint32_t code = function(L"s", L"[1]", 2, result.Out());
    EXPECT_TRUE(IsWholeOfData(result));
    return code;
}

std::vector<Call> ScanCalls() {
    return {
        {"WyScan", 400000000, L"{\"activeSessionId\":1,\"items\":[\"a\",\"b\"]}\n",
         [] {
             OutputText scan;
             const std::uint32_t code = WyScan(1, L"a,b", scan.Out());
             EXPECT_EQ(scan.Text(), L"scan");
             return code;
         }},
        {"WyPauseScan", 400000020, L"{\"sessionId\":\"s\"}\n", [] { return WyPauseScan(L"s"); }},
        {"WyResumeScan", 400000021, L"{\"sessionId\":\"s\"}\n", [] { return WyResumeScan(L"s"); }},
        {"WyCancelScan", 400000001, L"{\"sessionId\":\"s\"}\n", [] { return WyCancelScan(L"s"); }},
        {"WyGetScanProgress", 400000002, L"{\"sessionId\":\"s\"}\n",
         [] { return CallForProgress(WyGetScanProgress); }},
        {"WyGetScanResult", 400000007, L"{\"items\":[\"i\"],\"sessionId\":\"s\"}\n",
         [] { return CallForText(WyGetScanResult, L"s", L"i"); }},
        {"WyCustomizeFix", 400000009, L"{\"data\":{\"k\":1},\"sessionId\":\"s\"}\n",
         [] { return WyCustomizeFix(L"s", L"{\"k\":1}"); }},
        {"WyGetFixProgress", 400000005, L"{\"sessionId\":\"s\"}\n",
         [] { return CallForProgress(WyGetFixProgress); }},
        {"WyGetFixResult", 400000008, L"{\"items\":[\"i\"],\"sessionId\":\"s\"}\n",
         [] { return CallForText(WyGetFixResult, L"s", L"i"); }},
        {"WyCustomizeFixV2", 400000030, L"{\"data\":[2],\"sessionId\":\"s\"}\n",
         [] {
             OutputText fix;
             const std::uint32_t code = WyCustomizeFixV2(L"s", L"[2]", fix.Out());
             EXPECT_EQ(fix.Text(), L"fix");
             return code;
         }},
        {"WyGetFixProgressV2", 400000032, L"{\"fixSessionId\":\"f\",\"sessionId\":\"s\"}\n",
         [] {
             std::uint32_t progress = 0;
             OutputText feature;
             OutputText object;
             const std::uint32_t code =
                 WyGetFixProgressV2(L"s", L"f", &progress, feature.Out(), object.Out());
             EXPECT_EQ(progress, 11U);
             EXPECT_EQ(feature.Text(), L"part");
             EXPECT_EQ(object.Text(), L"thing");
             return code;
         }},
        {"WyGetFixResultV2", 400000033, L"{\"fixSessionId\":\"f\",\"sessionId\":\"s\"}\n",
         [] { return CallForText(WyGetFixResultV2, L"s", L"f"); }},
        {"WyCancelFixV2", 400000031, L"{\"fixSessionId\":\"f\",\"sessionId\":\"s\"}\n",
         [] { return WyCancelFixV2(L"s", L"f"); }},
        {"WySetStartupServiceStatus", 400003002,
         L"{\"data\":[1],\"sessionId\":\"s\",\"status\":2}\n",
         [] { return CallForStatus(WySetStartupServiceStatus); }},
        {"WySetStartupProgramStatus", 400003003,
         L"{\"data\":[1],\"sessionId\":\"s\",\"status\":2}\n",
         [] { return CallForStatus(WySetStartupProgramStatus); }},
    };
}

std::vector<Call> FileAnalysisCalls() {
    return {
        {"WyScanBigFile", 400010000,
         L"{\"category\":\"c\",\"filterParamDiskDrive\":\"d\","
         L"\"filterParamFileSize\":18446744073709551615}\n",
         [] { return WyScanBigFile(L"d", L"c", 0xffffffffffffffffULL); }},
        {"WyGetBigFileProgress", 400010001, L"{}\n",
         [] { return CallForNumber(WyGetBigFileProgress, 11); }},
        {"WyGetBigFileResult", 400010002, L"{\"filterParamHighBound\":4294967295}\n",
         [] {
             OutputText result;
             const std::uint32_t code = WyGetBigFileResult(0xffffffff, result.Out());
             EXPECT_TRUE(IsWholeOfData(result));
             return code;
         }},
        {"WyRemoveBigFile", 400010003, L"{\"data\":[\"x\"]}\n",
         [] { return CallForText(WyRemoveBigFile, L"[\"x\"]"); }},
        {"WyCancelBigFileScan", 400010004, L"{}\n", [] { return WyCancelBigFileScan(); }},
        {"WyScanDupFile", 400010010,
         L"{\"category\":\"c\",\"filterParamDiskDrive\":\"d\",\"filterParamFileSize\":0}\n",
         [] { return WyScanDupFile(L"d", L"c", 0); }},
        {"WyGetDupFileProgress", 400010011, L"{}\n",
         [] { return CallForNumber(WyGetDupFileProgress, 11); }},
        {"WyGetDupFileResult", 400010012, L"{}\n", [] { return CallForText(WyGetDupFileResult); }},
        {"WyRemoveDupFile", 400010013, L"{\"data\":[\"x\"]}\n",
         [] { return CallForText(WyRemoveDupFile, L"[\"x\"]"); }},
        {"WyCancelDupFileScan", 400010014, L"{}\n", [] { return WyCancelDupFileScan(); }},
        {"WyScanDiskUsage", 400010020, L"{\"filterParamDiskDrive\":\"d\"}\n",
         [] { return WyScanDiskUsage(L"d"); }},
        {"WyGetDiskUsageProgress", 400010021, L"{}\n",
         [] { return CallForNumber(WyGetDiskUsageProgress, 11); }},
        {"WyGetDiskUsageResult", 400010022, L"{}\n",
         [] { return CallForText(WyGetDiskUsageResult); }},
        {"WyCancelDiskUsageScan", 400010023, L"{}\n", [] { return WyCancelDiskUsageScan(); }},
    };
}

std::vector<Call> MonitoringCalls() {
    return {
        {"WyGetSysBootupTime", 400008000, L"{}\n",
         [] { return CallForNumber(WyGetSysBootupTime, 12); }},
        {"WyGetBatteryUsage", 400013000, L"{}\n", [] { return CallForText(WyGetBatteryUsage); }},
        {"WyGetSysCpuUsage", 400013001, L"{}\n",
         [] { return CallForNumber(WyGetSysCpuUsage, 13); }},
        {"WyGetSysMemUsage", 400013002, L"{}\n",
         [] {
             std::uint64_t n[3] = {};
             const std::uint32_t code = WyGetSysMemUsage(&n[0], &n[1], &n[2]);
             EXPECT_EQ(std::vector<std::uint64_t>(n, n + 3),
                       (std::vector<std::uint64_t>{14, 15, 16}));
             return code;
         }},
        {"WyGetSysDiskUsage", 400013003, L"{}\n",
         [] {
             std::uint64_t n[2] = {};
             const std::uint32_t code = WyGetSysDiskUsage(&n[0], &n[1]);
             EXPECT_EQ(std::vector<std::uint64_t>(n, n + 2), (std::vector<std::uint64_t>{17, 18}));
             return code;
         }},
        {"WyGetSysNetworkUsage", 400013004, L"{}\n",
         [] {
             std::uint64_t n[4] = {};
             const std::uint32_t code = WyGetSysNetworkUsage(&n[0], &n[1], &n[2], &n[3]);
             EXPECT_EQ(std::vector<std::uint64_t>(n, n + 4),
                       (std::vector<std::uint64_t>{19, 20, 21, 22}));
             return code;
         }},
        {"WyGetProcessInfo", 400013005, L"{}\n", [] { return CallForText(WyGetProcessInfo); }},
        {"WyGetIdleStatus", 400013006, L"{}\n", [] { return CallForNumber(WyGetIdleStatus, 23); }},
        {"WyGetIdleTimeframe", 400013007, L"{\"duration\":5,\"period\":6}\n",
         [] {
             std::uint64_t timestamp = 0;
             const std::uint32_t code = WyGetIdleTimeframe(5, 6, &timestamp);
             EXPECT_EQ(timestamp, 24U);
             return code;
         }},
        {"WyGetCloudDataStartupApp", 400014001, L"{\"sessionId\":\"s\"}\n",
         [] { return CallForText(WyGetCloudDataStartupApp, L"s"); }},
        {"WyGetCloudDataStartupSvc", 400014002, L"{\"sessionId\":\"s\"}\n",
         [] { return CallForText(WyGetCloudDataStartupSvc, L"s"); }},
        {"WyGetCloudDataBootupRanking", 400014003, L"{\"bootupTime\":9}\n",
         [] {
             std::uint32_t percentage = 0;
             std::uint32_t threshold = 0;
             const std::uint32_t code = WyGetCloudDataBootupRanking(9, &percentage, &threshold);
             EXPECT_EQ(percentage, 25U);
             EXPECT_EQ(threshold, 26U);
             return code;
         }},
        {"WyGetAppStatus", 400012009, L"{\"moduleName\":\"m\"}\n",
         [] {
             std::uint32_t running = 0;
             const std::uint32_t code = WyGetAppStatus(L"m", &running);
             EXPECT_EQ(running, 27U);
             return code;
         }},
        {"WyForceKillApp", 400012010, L"{\"moduleName\":\"m\"}\n",
         [] { return WyForceKillApp(L"m"); }},
        {"WyGetLockStatus", 400012011, L"{}\n", [] { return CallForNumber(WyGetLockStatus, 28); }},
        {"WyGetSvchostPid", 400012012, L"{}\n", [] { return CallForNumber(WyGetSvchostPid, 29); }},
    };
}

std::vector<Call> SettingCalls() {
    return {
        {"WySetCacheValidityTimeout", 400011000, L"{\"validityPeriod\":3600}\n",
         [] { return WySetCacheValidityTimeout(3600); }},
        {"WySetScheduleScanTime", 400011001,
         L"{\"dayOfWeek\":255,\"hour\":23,\"minute\":0,\"scheduleId\":\"ScheduleScan\"}\n",
         [] { return WySetScheduleScanTime(255, 23); }},
        {"WySetCloudBrokerStatus", 400014004, L"{\"status\":1}\n",
         [] { return WySetCloudBrokerStatus(1); }},
        {"WySetProductLcid", 400014005, L"{\"productLcid\":1033}\n",
         [] { return WySetProductLcid(1033); }},
        {"WySetInspectUrl", 400011002, L"{\"feedbackServerUrl\":\"f\",\"reamerServerUrl\":\"r\"}\n",
         [] { return WySetInspectUrl(L"f", L"r"); }},
        {"WyPublishEvent", 400012008, L"{\"eventId\":77}\n", [] { return WyPublishEvent(77); }},
        {"WyPublishEventEx", 400012008, L"{\"eventId\":77,\"param\":{\"p\":null}}\n",
         [] { return WyPublishEventEx(77, L"{\"p\":null}"); }},
        {"WyUpdate", 400012003, L"{}\n", [] { return WyUpdate(); }},
    };
}

// Functions that the table lacks: their arguments, null or not, play no part.
wchar_t s_Untouched[] = L"untouched";

using FunctionOf1 = std::uint32_t(WYAPI*)(const wchar_t*, wchar_t**);
using FunctionOf2 = std::uint32_t(WYAPI*)(const wchar_t*, const wchar_t*, wchar_t**);

template <class Function>
std::uint32_t CallIgnored(Function function) {
    wchar_t* result = s_Untouched;
    const std::uint32_t code = function(&result);
    EXPECT_EQ(result, s_Untouched);
    EXPECT_EQ(function(nullptr), code);
    return code;
}

std::function<std::uint32_t()> Ignored(FunctionOf1 function, const wchar_t* text) {
    return [=] { return CallIgnored([=](wchar_t** result) { return function(text, result); }); };
}

std::function<std::uint32_t()> Ignored(FunctionOf2 function, const wchar_t* first,
                                       const wchar_t* second) {
    return [=] {
        return CallIgnored([=](wchar_t** result) { return function(first, second, result); });
    };
}

std::vector<Call> CallsWithoutRow() {
    const wchar_t* const null = nullptr;
    const wchar_t* const text = L"s";
    const auto call = [](const char* name, std::function<std::uint32_t()> run) {
        return Call{name, 420000000, L"{}\n", std::move(run)};
    };
    return {
        call("WyCancelWyFix",
             [=] {
                 EXPECT_EQ(WyCancelWyFix(null), WyCancelWyFix(text));
                 return WyCancelWyFix(text);
             }),
        call("WyGetDiskGarbage", Ignored(WyGetDiskGarbage, null, text)),
        call("WyRemoveDiskGarbage", Ignored(WyRemoveDiskGarbage, text, null)),
        call("WyGetRegGarbage", Ignored(WyGetRegGarbage, null, text)),
        call("WyRemoveRegGarbage", Ignored(WyRemoveRegGarbage, text, null)),
        call("WyGetStartupService", Ignored(WyGetStartupService, null)),
        call("WyGetStartupProgram", Ignored(WyGetStartupProgram, null)),
        call("WyGetInstalledProgram", Ignored(WyGetInstalledProgram, text)),
        call("WyUninstallProgram", [=] { return WyUninstallProgram(null, text); }),
        call("WyGetPrivacy", Ignored(WyGetPrivacy, null)),
        call("WyFixPrivacy", Ignored(WyFixPrivacy, null, null)),
        call("WyGetVulnerability", Ignored(WyGetVulnerability, null)),
        call("WyFixVulnerability", Ignored(WyFixVulnerability, null, null)),
        call("WyGetAddon", Ignored(WyGetAddon, text)),
        call("WySetAddonStatus", [=] { return WySetAddonStatus(null, null, 5); }),
    };
}

// These work on the machine itself; their tests are in files of their own.
constexpr const char* kMachineSettings[] = {
    "WyGetCacheFolder",  "WyGetDebugLogFolder", "WySetDebugLog",    "WySetIdentifier",
    "WySetIdentifierEx", "WySetProxy",          "WySetReamerStatus"};

std::vector<Call> AllCalls() {
    std::vector<Call> all;
    for (const auto& family :
         {ScanCalls(), FileAnalysisCalls(), MonitoringCalls(), SettingCalls(), CallsWithoutRow()}) {
        all.insert(all.end(), family.begin(), family.end());
    }
    return all;
}

TEST(Exports, each_sends_its_request_and_fills_its_outputs) {
    FakeMail mail;
    mail.SetAnswer(AnswerWith(kAnswered));
    for (const Call& call : AllCalls()) {
        SCOPED_TRACE(call.name);
        mail.Clear();
        EXPECT_EQ(call.run(), kAnswered);
        ASSERT_GE(mail.Count(), 1U);
        for (const FakeMail::Mail& each : mail.Mails()) {
            EXPECT_EQ(each.destId, 0x4e0009U);
            EXPECT_EQ(each.mailId, call.id);
            EXPECT_EQ(each.request, call.request);
        }
    }
}

TEST(Exports, are_those_of_the_definition_file) {
    std::multiset<std::string> called{"WyAuDeploy",        "WyInitialize",   "WyInstall",
                                      "WyPostInstall",     "WyStartService", "WyStopService",
                                      "WySubscribeEvent",  "WyUninitialize", "WyUninstall",
                                      "WyUnsubscribeEvent"};
    called.insert(std::begin(kMachineSettings), std::end(kMachineSettings));
    for (const Call& call : AllCalls())
        called.insert(call.name);

    std::ifstream file("data/WySdk.def");
    ASSERT_TRUE(file) << "data/WySdk.def is missing";
    std::multiset<std::string> exported;
    bool inExports = false;
    for (std::string word; file >> word;) {
        if (inExports)
            exported.insert(word);
        if (word == "EXPORTS")
            inExports = true;
    }
    EXPECT_EQ(exported.size(), 85U);
    EXPECT_EQ(exported, called);
}

TEST(Exports, let_no_exception_out) {
    FakeMail mail;
    const LogRecorder log;
    mail.SetHook([] { throw std::bad_alloc(); });
    EXPECT_EQ(WyUpdate(), 0xe0ff001eU);
    EXPECT_TRUE(log.Has(256, L"WySdk: [ERROR] WyUpdate: out of memory"));
    mail.SetHook([] { throw std::runtime_error("x"); });
    EXPECT_EQ(WyPauseScan(L"s"), 0xe0ff0001U);
    EXPECT_TRUE(log.Has(256, L"WySdk: [ERROR] WyPauseScan: unexpected exception"));
    mail.SetHook([] { throw 5; });
    EXPECT_EQ(WyGetDiskGarbage(nullptr, nullptr, nullptr), 0xe0ff0001U);
}

// Edge cases of single families

TEST(Exports, scan_with_null_items_sends_nothing_and_reports) {
    FakeMail mail;
    const LogRecorder feedback(0, &g_pFeedbackErrorLog);
    wchar_t* scan = s_Untouched;
    EXPECT_EQ(WyScan(1, nullptr, &scan), kInvalid);
    EXPECT_EQ(scan, s_Untouched);
    EXPECT_EQ(mail.Count(), 0U);
    EXPECT_TRUE(feedback.Has(kForced, L"[ScanError]: WySdk WyScan, retCode = 0xe0ff0007"));
    EXPECT_EQ(feedback.Lines().size(), 1U);
}

TEST(Exports, scan_with_empty_items_sends_one_empty_item) {
    FakeMail mail;
    OutputText scan;
    EXPECT_EQ(WyScan(1, L"", scan.Out()), 0x20ff0000U);
    EXPECT_EQ(mail.Mails()[0].request, L"{\"activeSessionId\":1,\"items\":[\"\"]}\n");
}

TEST(Exports, scan_progress_with_a_null_number_fails_after_the_mail) {
    FakeMail mail;
    mail.SetAnswer(AnswerWith(kAnswered));
    wchar_t* feature = s_Untouched;
    EXPECT_EQ(WyGetScanProgress(L"s", nullptr, &feature, nullptr), kInvalid);
    EXPECT_EQ(mail.Count(), 1U);
    EXPECT_EQ(feature, s_Untouched);
}

TEST(Exports, scan_progress_with_a_null_text_fills_the_rest) {
    FakeMail mail;
    mail.SetAnswer(AnswerWith(kAnswered));
    std::uint32_t progress = 0;
    OutputText object;
    EXPECT_EQ(WyGetScanProgress(L"s", &progress, nullptr, object.Out()), kAnswered);
    EXPECT_EQ(progress, 11U);
    EXPECT_EQ(object.Text(), L"thing");
}

TEST(Exports, six_scan_functions_report_their_failures) {
    FakeMail mail;
    mail.SetAnswer(L"{\"retCode\":3774808065}");
    LogRecorder feedback(0, &g_pFeedbackErrorLog);
    std::uint32_t number = 0;
    wchar_t* text = nullptr;
    WyScan(1, L"", &text);
    WyGetScanProgress(L"s", &number, &text, &text);
    WyGetScanResult(L"s", L"", nullptr);
    WyCustomizeFixV2(L"s", L"", &text);
    WyGetFixProgressV2(L"s", L"f", &number, &text, &text);
    WyGetFixResultV2(L"s", L"f", nullptr);
    EXPECT_EQ(feedback.Texts(), (std::vector<std::wstring>{
                                    L"[ScanError]: WySdk WyScan, retCode = 0xe0ff0001",
                                    L"[ScanError]: WySdk WyGetScanProgress, retCode = 0xe0ff0001",
                                    L"[ScanError]: WySdk WyGetScanResult, retCode = 0xe0ff0001",
                                    L"[FixError]: WySdk WyCustomizeFixV2, retCode = 0xe0ff0001",
                                    L"[FixError]: WySdk WyGetFixProgressV2, retCode = 0xe0ff0001",
                                    L"[FixError]: WySdk WyGetFixResultV2, retCode = 0xe0ff0001",
                                }));
    for (const LogRecorder::Line& line : feedback.Lines())
        EXPECT_EQ(line.level, kForced);
}

TEST(Exports, reports_carry_the_code_of_the_road_and_of_the_library) {
    FakeMail mail;
    LogRecorder feedback(0, &g_pFeedbackErrorLog);
    EXPECT_EQ(WyGetFixProgressV2(L"s", L"f", nullptr, nullptr, nullptr), kInvalid);
    EXPECT_EQ(mail.Count(), 1U);
    mail.SetAnswer(L"{}", 0xe00106ba);
    EXPECT_EQ(WyGetScanResult(L"s", L"", nullptr), 0xe00106baU);
    EXPECT_EQ(feedback.Texts(), (std::vector<std::wstring>{
                                    L"[FixError]: WySdk WyGetFixProgressV2, retCode = 0xe0ff0007",
                                    L"[ScanError]: WySdk WyGetScanResult, retCode = 0xe00106ba",
                                }));
}

TEST(Exports, no_other_function_reports_its_failure) {
    const std::set<std::string> reporting{
        "WyScan",           "WyGetScanProgress",  "WyGetScanResult",
        "WyCustomizeFixV2", "WyGetFixProgressV2", "WyGetFixResultV2"};
    FakeMail mail;
    mail.SetAnswer(AnswerWith(kRefused));
    const LogRecorder feedback(0, &g_pFeedbackErrorLog);
    for (const Call& call : AllCalls()) {
        if (reporting.contains(call.name))
            continue;
        EXPECT_EQ(call.run(), kRefused) << call.name;
    }
    EXPECT_EQ(feedback.Lines().size(), 0U);
}

TEST(Exports, success_is_not_reported) {
    FakeMail mail;
    LogRecorder feedback(0, &g_pFeedbackErrorLog);
    OutputText scan;
    WyScan(1, L"", scan.Out());
    EXPECT_EQ(feedback.Lines().size(), 0U);
}

TEST(Exports, reporting_without_a_feedback_log_is_silent) {
    FakeMail mail;
    EXPECT_EQ(g_pFeedbackErrorLog, nullptr);
    EXPECT_EQ(WyScan(1, nullptr, nullptr), kInvalid);
}

TEST(Exports, file_search_with_a_null_text_sends_nothing) {
    FakeMail mail;
    EXPECT_EQ(WyScanBigFile(nullptr, L"c", 0), kInvalid);
    EXPECT_EQ(WyScanBigFile(L"d", nullptr, 0), kInvalid);
    EXPECT_EQ(WyScanDupFile(nullptr, L"c", 0), kInvalid);
    EXPECT_EQ(WyScanDupFile(L"d", nullptr, 0), kInvalid);
    EXPECT_EQ(WyScanDiskUsage(nullptr), kInvalid);
    EXPECT_EQ(WyRemoveBigFile(nullptr, nullptr), kInvalid);
    EXPECT_EQ(mail.Count(), 0U);
}

TEST(Exports, disk_usage_result_with_a_null_pointer_sends_and_allocates_nothing) {
    FakeMail mail;
    mail.SetAnswer(AnswerWith(kAnswered));
    EXPECT_EQ(WyGetDiskUsageResult(nullptr), kAnswered);
    EXPECT_EQ(mail.Count(), 1U);
}

TEST(Exports, memory_usage_with_the_third_null_writes_the_first_two) {
    FakeMail mail;
    mail.SetAnswer(AnswerWith(kAnswered));
    std::uint64_t used = 0;
    std::uint64_t available = 0;
    EXPECT_EQ(WyGetSysMemUsage(&used, &available, nullptr), kInvalid);
    EXPECT_EQ(used, 14U);
    EXPECT_EQ(available, 15U);
    EXPECT_EQ(mail.Count(), 1U);
}

TEST(Exports, a_null_number_stops_the_outputs_behind_it) {
    FakeMail mail;
    mail.SetAnswer(AnswerWith(kAnswered));
    std::uint64_t n[3] = {99, 99, 99};
    EXPECT_EQ(WyGetSysNetworkUsage(&n[0], &n[1], nullptr, &n[2]), kInvalid);
    EXPECT_EQ(std::vector<std::uint64_t>(n, n + 3), (std::vector<std::uint64_t>{19, 20, 99}));
    EXPECT_EQ(WyGetSysDiskUsage(nullptr, &n[2]), kInvalid);
    EXPECT_EQ(n[2], 99U);
    std::uint32_t percentage = 99;
    EXPECT_EQ(WyGetCloudDataBootupRanking(9, &percentage, nullptr), kInvalid);
    EXPECT_EQ(percentage, 25U);
    wchar_t* text = s_Untouched;
    EXPECT_EQ(WyGetFixProgress(L"s", nullptr, &text, &text), kInvalid);
    EXPECT_EQ(text, s_Untouched);
    EXPECT_EQ(mail.Count(), 4U);
}

TEST(Exports, cloud_data_with_a_null_scan_sends_nothing) {
    FakeMail mail;
    OutputText result;
    EXPECT_EQ(WyGetCloudDataStartupApp(nullptr, result.Out()), kInvalid);
    EXPECT_EQ(WyGetCloudDataStartupSvc(nullptr, result.Out()), kInvalid);
    EXPECT_EQ(mail.Count(), 0U);
}

TEST(Exports, publication_with_a_null_parameter_sends_nothing) {
    FakeMail mail;
    EXPECT_EQ(WyPublishEventEx(1, nullptr), kInvalid);
    EXPECT_EQ(mail.Count(), 0U);
}

}  // namespace
