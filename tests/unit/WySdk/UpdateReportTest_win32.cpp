// The report of an update: by configuration, with the facts of this machine, through the file and
// the mail; and the export that ends in it.
#include <WySdk/WySdk.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <ctime>
#include <new>
#include <optional>
#include <string>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "WySdk/AuFeedback.h"
#include "lib/wycommon/WyCommon_JsonDb.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/FakeMail.h"
#include "support/FileFixture_win32.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "support/TraceFolder.h"

namespace {

using test_support::FakeMail;
using test_support::IatPatch;
using test_support::Lines;
using test_support::RegistryKey;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
namespace JsonDb = WyCommon::JsonDb;

constexpr wchar_t kRecord[] = L"Wy\\AuFeedbackTemp.json";
constexpr wchar_t kConfiguration[] = L"Wy\\Configuration\\FeedbackCfg.json";

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

BOOL WINAPI NoComputerName(LPWSTR, LPDWORD) {
    SetLastError(ERROR_BUFFER_OVERFLOW);
    return FALSE;
}

BOOL WINAPI LongComputerName(LPWSTR name, LPDWORD size) {
    EXPECT_EQ(*size, 16U);
    std::wstring(L"ABCDEFGHIJKLMNO").copy(name, 15);
    name[15] = L'\0';
    *size = 15;
    return TRUE;
}

LANGID WINAPI German() {
    return 1031;
}

BOOL WINAPI NothingMoved(LPCWSTR, LPCWSTR, DWORD) {
    return TRUE;
}

std::wstring s_Temporary;
DWORD WINAPI FakeTempPath(DWORD size, wchar_t* path) {
    if (s_Temporary.size() < size)
        path[s_Temporary.copy(path, s_Temporary.size())] = L'\0';
    return static_cast<DWORD>(s_Temporary.size());
}

// A product that is installed in the folder "Wy", and a service that answers.
class UpdateReport : public test_support::FileFixture {
protected:
    void SetUp() override {
        PutFolder(L"Wy");
        PutFolder(L"Wy\\Configuration");
        ASSERT_TRUE(m_Product.SetText(L"ProductPath", At(L"Wy")));
    }
    ~UpdateReport() override { KrCommon::DestroyMainLog(); }

    // The lines but those that tell the product's identity whenever a path is looked up.
    Lines OwnLines() const {
        Lines lines = LogLines();
        std::erase_if(lines, [](const std::wstring& line) { return line.starts_with(L"4096 "); });
        return lines;
    }

    void Configure(const std::string& text) const { PutFile(kConfiguration, text); }

    Json::Value Record() const {
        JsonDocument record;
        EXPECT_EQ(JsonDb::Load(At(kRecord), record), 0x20ff0000U);
        EXPECT_EQ(record.Status(), 0U);
        return record.Native();
    }
    Json::Value Content() const { return Record()["data"][0]["content"]; }

    FakeMail m_Mail;
    RegistryKey m_Product{WyCommon::Utility::GetProductRegistryKey(), KEY_WOW64_64KEY};
};

TEST_F(UpdateReport, nothing_is_sent_without_a_configuration) {
    FeedbackAuError(0);
    EXPECT_EQ(OwnLines(), Lines{L"256 WyCommon: [ERROR] failed to open file <@\\" +
                                std::wstring(kConfiguration) + L">, error = 2"});
    EXPECT_EQ(m_Mail.Count(), 0U);
    EXPECT_TRUE(IsMissing(kRecord));
}

TEST_F(UpdateReport, nothing_is_sent_without_the_key) {
    for (const char* text :
         {"{}", "{\"feedbackCptName\":1}", "{\"FeedbackAu\":1}", "[1]", "7", "null", "", "{"}) {
        Configure(text);
        m_Log.Clear();
        FeedbackAuError(0);
        EXPECT_EQ(OwnLines(), Lines{}) << text;
        EXPECT_EQ(m_Mail.Count(), 0U) << text;
        EXPECT_TRUE(IsMissing(kRecord)) << text;
    }
}

TEST_F(UpdateReport, nothing_is_sent_when_it_is_turned_off) {
    for (const char* text :
         {"{\"feedbackAu\":0}", "{\"feedbackAu\":null}", "{\"feedbackAu\":\"1\"}"}) {
        Configure(text);
        m_Log.Clear();
        FeedbackAuError(0);
        EXPECT_EQ(OwnLines(), Lines{L"1 WySdk: [INFO] Au feedback is turned off..."}) << text;
        EXPECT_EQ(m_Mail.Count(), 0U) << text;
        EXPECT_TRUE(IsMissing(kRecord)) << text;
    }
}

TEST_F(UpdateReport, record_holds_the_facts_of_machine_and_product) {
    Configure("{\"feedbackAu\":1}");
    m_Product.SetText(L"WinGuid", L"{guid}");
    m_Product.SetText(L"ProductId", L"11");
    m_Product.SetText(L"ProductVersion", L"3.1.4");
    m_Product.SetText(L"AgentVersion", L"2.7");
    const IatPatch locale(Program(), "kernel32.dll", "GetUserDefaultUILanguage", German);
    const std::int64_t before = std::time(nullptr);
    FeedbackAuError(0xe0ff0002);
    const Json::Value record = Record();
    const Json::Value& event = record["data"][0];
    EXPECT_GE(event["time"].asInt64(), before);
    EXPECT_LE(event["time"].asInt64(), std::time(nullptr));
    AuFeedback::Facts facts;
    KrCommon::OsVersion::GetName(facts.strOsName);
    EXPECT_FALSE(facts.strOsName.empty());
    facts.uiLocale = 1031;
    facts.strGuid = L"{guid}";
    facts.strProductId = L"11";
    facts.strProductVersion = L"3.1.4";
    facts.strAgentVersion = L"2.7";
    facts.iTime = event["time"].asInt64();
    const JsonDocument expected = AuFeedback::BuildRecord(facts, 0xe0ff0002);
    JsonDocument written;
    JsonDb::Load(At(kRecord), written);
    EXPECT_EQ(written.ToCompactString(), expected.ToCompactString());
    EXPECT_EQ(OwnLines()[0], L"1 WySdk: [INFO] post data=" + expected.ToStyledString());
    EXPECT_EQ(OwnLines().size(), 1U);
}

TEST_F(UpdateReport, registry_values_that_are_missing_are_empty_texts) {
    Configure("{\"feedbackAu\":1}");
    FeedbackAuError(0);
    const Json::Value record = Record();
    for (const char* name : {"guid", "productId", "productVersion", "agentVersion"})
        EXPECT_EQ(record[name], Json::Value("")) << name;
}

TEST_F(UpdateReport, enciphered_configuration_is_read_as_well) {
    JsonDocument configuration;
    configuration[L"feedbackAu"].SetUInt32(1);
    configuration[L"feedbackCptName"].SetUInt32(1);
    ASSERT_EQ(JsonDb::Save(At(kConfiguration), configuration, true), 0x20ff0000U);
    FeedbackAuError(0);
    EXPECT_EQ(m_Mail.Count(), 1U);
    EXPECT_TRUE(Content().isMember("computerName"));
}

TEST_F(UpdateReport, name_of_the_computer_is_told_where_it_is_wanted) {
    const IatPatch patch(Program(), "kernel32.dll", "GetComputerNameW", LongComputerName);
    const struct {
        const char* configuration;
        bool told;
    } rows[] = {
        {"{\"feedbackAu\":1,\"feedbackCptName\":1}", true},
        {"{\"feedbackAu\":2,\"feedbackCptName\":1}", true},
        {"{\"feedbackAu\":1,\"feedbackCptName\":0}", false},
        {"{\"feedbackAu\":1,\"feedbackCptName\":2}", false},
        {"{\"feedbackAu\":1,\"feedbackCptName\":\"1\"}", false},
        {"{\"feedbackAu\":1}", false},
    };
    for (const auto& row : rows) {
        Configure(row.configuration);
        FeedbackAuError(0);
        EXPECT_EQ(Content().isMember("computerName"), row.told) << row.configuration;
        EXPECT_EQ(Content().get("computerName", "none"),
                  Json::Value(row.told ? "ABCDEFGHIJKLMNO" : "none"));
    }
}

TEST_F(UpdateReport, name_that_the_computer_does_not_tell_is_empty) {
    const IatPatch patch(Program(), "kernel32.dll", "GetComputerNameW", NoComputerName);
    Configure("{\"feedbackAu\":1,\"feedbackCptName\":1}");
    FeedbackAuError(0);
    EXPECT_EQ(Content()["computerName"], Json::Value(""));
}

TEST_F(UpdateReport, mail_tells_where_the_record_lies) {
    Configure("{\"feedbackAu\":1}");
    FeedbackAuError(0);
    ASSERT_EQ(m_Mail.Count(), 1U);
    EXPECT_EQ(m_Mail.Mails()[0].destId, 0x4e0010U);
    EXPECT_EQ(m_Mail.Mails()[0].mailId, 36870U);
    JsonDocument expected;
    expected[L"type"].SetInt32(1);
    expected[L"path"].SetString(At(kRecord));
    EXPECT_EQ(m_Mail.Mails()[0].request, expected.ToCompactString());
}

TEST_F(UpdateReport, product_path_with_a_backslash_gives_no_second_one) {
    ASSERT_TRUE(m_Product.SetText(L"ProductPath", At(L"Wy\\")));
    Configure("{\"feedbackAu\":1}");
    FeedbackAuError(0);
    ASSERT_EQ(m_Mail.Count(), 1U);
    EXPECT_EQ(m_Mail.Mails()[0].request.find(L"\\\\\\\\"), std::wstring::npos);
    EXPECT_TRUE(IsFile(kRecord));
}

TEST_F(UpdateReport, mail_that_fails_is_logged_and_the_record_stays) {
    Configure("{\"feedbackAu\":1}");
    m_Mail.SetAnswer(L"{}", 0xe00106ba);
    FeedbackAuError(0);
    ASSERT_EQ(OwnLines().size(), 2U);
    EXPECT_EQ(OwnLines()[1], L"256 WySdk: [ERROR] Feedback to DC error, retCode = 0xe00106ba");
    EXPECT_EQ(Content()["auErrorCode"], Json::Value(0));
}

TEST_F(UpdateReport, record_that_cannot_be_written_is_logged_and_the_mail_goes_out) {
    Configure("{\"feedbackAu\":1}");
    PutFolder(kRecord);
    FeedbackAuError(0);
    ASSERT_EQ(OwnLines().size(), 2U);
    EXPECT_THAT(OwnLines()[1],
                testing::StartsWith(L"256 WyCommon: [ERROR] failed to open file <@\\" +
                                    std::wstring(kRecord) + L">, error = "));
    EXPECT_EQ(m_Mail.Count(), 1U);
}

TEST_F(UpdateReport, no_exception_leaves_it) {
    Configure("{\"feedbackAu\":1}");
    m_Mail.SetHook([] { throw std::bad_alloc(); });
    FeedbackAuError(0);
    EXPECT_TRUE(m_Log.Has(256, L"WySdk: [ERROR] FeedbackAuError: out of memory"));
}

TEST_F(UpdateReport, export_reports_every_result_and_returns_it) {
    const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", NothingMoved);
    Configure("{\"feedbackAu\":1}");
    PutFolder(L"dl");
    PutFile(L"dl\\a");
    const std::wstring download = At(L"dl");
    const std::wstring missing = At(L"missing");
    const struct {
        const wchar_t* path;
        std::uint32_t result;
    } rows[] = {
        {nullptr, WY_E_INVALID_ARGUMENT},
        {missing.c_str(), WY_E_BAD_PATH},
        {download.c_str(), WY_S_OK},
    };
    for (const std::uint32_t answer : {0x20ff0000U, 0xe00106baU, 0x9fffffffU}) {
        m_Mail.SetAnswer(L"{}", answer);
        for (const auto& row : rows) {
            m_Mail.Clear();
            EXPECT_EQ(WyAuDeploy(row.path), row.result);
            EXPECT_EQ(Content()["auErrorCode"].asInt(), static_cast<std::int32_t>(row.result));
            EXPECT_EQ(m_Mail.Count(), 1U);
        }
    }
    EXPECT_TRUE(IsFile(L"WyAuTemp\\a"));
}

TEST_F(UpdateReport, export_lets_no_exception_out_and_keeps_its_result) {
    Configure("{\"feedbackAu\":1}");
    m_Mail.SetHook([] { throw 5; });
    const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", NothingMoved);
    EXPECT_EQ(WyAuDeploy(nullptr), WY_E_INVALID_ARGUMENT);
}

TEST_F(UpdateReport, export_keeps_its_log_in_the_temporary_folder_while_it_runs) {
    const test_support::TraceFolder temporary;
    test_support::TraceFolder product;
    product.AddModule();
    ASSERT_TRUE(m_Product.SetText(L"ProductPath", product.Path()));
    s_Temporary = temporary.Path() + L"\\";
    const IatPatch path(Program(), "kernel32.dll", "GetTempPathW", FakeTempPath);
    const IatPatch move(Program(), "kernel32.dll", "MoveFileExW", NothingMoved);
    EXPECT_EQ(WyAuDeploy(nullptr), WY_E_INVALID_ARGUMENT);
    EXPECT_THAT(temporary.Calls(), Contains(HasSubstr(" module=[WySdk] ")));
    EXPECT_THAT(
        temporary.Calls(),
        Contains(HasSubstr(" !!! <WySdk> WySdk: [ERROR] Invalid param... - UpdateDeploy(")));
    EXPECT_EQ(temporary.Calls().back(), "uninitialize 1");
    EXPECT_THAT(product.Calls(), testing::ElementsAre(HasSubstr(" module=[WySdk] ")));
    KrCommon::DestroyMainLog();
}

}  // namespace
