// Scan sessions, repairs and their handlers, with features of the test's own.

#include <gtest/gtest.h>

#include <atomic>

#include "devhost/AutorunCommand.h"
#include "devhost/ScanHandlers.h"
#include "devhost/TemporaryFiles.h"
#include "unit/devhost/ManualControl.h"
#include "unit/devhost/RouterCaller.h"
#include "unit/devhost/TestTree.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::Finding;
using DevHost::JobControl;
using DevHost::Remover;
using DevHost::RepairChoice;
using DevHost::ScanFeature;
using DevHost::SearchRoot;
using DevHost::TemporaryFiles;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kInvalid = KrCommon::Result::kInvalidArgument;
constexpr std::uint32_t kNotFound = KrCommon::Result::kNotFound;
constexpr std::uint32_t kInUse = KrCommon::Result::kRecordInUse;

constexpr std::uint32_t kScan = 400000000;
constexpr std::uint32_t kCancelScan = 400000001;
constexpr std::uint32_t kScanProgress = 400000002;
constexpr std::uint32_t kFix = 400000003;
constexpr std::uint32_t kCancelFix = 400000004;
constexpr std::uint32_t kFixProgress = 400000005;
constexpr std::uint32_t kScanResult = 400000007;
constexpr std::uint32_t kFixResult = 400000008;
constexpr std::uint32_t kCustomizeFix = 400000009;
constexpr std::uint32_t kPauseScan = 400000020;
constexpr std::uint32_t kResumeScan = 400000021;
constexpr std::uint32_t kCustomizeFixV2 = 400000030;
constexpr std::uint32_t kCancelFixV2 = 400000031;
constexpr std::uint32_t kFixProgressV2 = 400000032;
constexpr std::uint32_t kFixResultV2 = 400000033;
constexpr std::uint32_t kServiceStatus = 400003002;
constexpr std::uint32_t kProgramStatus = 400003003;

// Finds two autorun entries, of which one is a problem; can be held in the middle.
class HeldFeature : public ScanFeature {
public:
    explicit HeldFeature(const std::atomic<bool>& hold) : m_bHold(hold) {}
    const char* Name() const override { return "autorunEntries"; }
    void Run(const Sink& found, JobControl& control) const override {
        control.SetStep({}, "held object");
        control.SetProgress(0.5);
        while (m_bHold && control.Continue())
            std::this_thread::yield();
        for (const bool problem : {true, false}) {
            Finding finding;
            finding.kind = "autorun-entry";
            finding.object = problem ? "HKCU\\Run\\gone" : "HKCU\\Run\\there";
            finding.name = problem ? "gone" : "there";
            finding.isProblem = problem;
            found(std::move(finding));
        }
    }

private:
    const std::atomic<bool>& m_bHold;
};

class Scans : public testing::Test {
protected:
    explicit Scans(bool allowRemove = true)
        : m_Engine(MakeFeatures(), Remover(allowRemove, m_Root),
                   [this] { return "id" + std::to_string(++m_uiIds); }),
          m_Handlers(m_Engine) {
        m_Handlers.AddTo(m_Api.router);
    }

    std::vector<std::unique_ptr<ScanFeature>> MakeFeatures() {
        std::vector<std::unique_ptr<ScanFeature>> features;
        features.push_back(std::make_unique<TemporaryFiles>(m_Root, m_Tree.Folder("temporary")));
        features.push_back(std::make_unique<HeldFeature>(m_bHold));
        return features;
    }

    std::string Scan(const std::string& items = "[]") {
        const ApiAnswer answer =
            m_Api.Call(kScan, "{\"activeSessionId\": 3, \"items\": " + items + "}");
        EXPECT_EQ(answer.retCode, kSuccess) << answer.message;
        return answer.data["sessionId"].asString();
    }
    std::string ScanToEnd(const std::string& items = "[]") {
        const std::string id = Scan(items);
        EXPECT_EQ(m_Api.PollToEnd(kScanProgress, Session(id)).retCode, kSuccess);
        return id;
    }
    static std::string Session(const std::string& id, const std::string& more = "") {
        return "{\"sessionId\": \"" + id + "\"" + (more.empty() ? "" : ", " + more) + "}";
    }

    const TestTree m_Tree;
    const SearchRoot m_Root{m_Tree.Folder("root")};
    std::atomic<bool> m_bHold = false;
    std::atomic<unsigned> m_uiIds = 0;
    DevHost::ScanEngine m_Engine;
    DevHost::ScanHandlers m_Handlers;
    RouterCaller m_Api;
};

class TimidScans : public Scans {
protected:
    TimidScans() : Scans(false) {}
};

TEST(TemporaryFiles, names_that_nobody_misses) {
    for (const char* name : {"a.tmp", "A.TMP", "b.temp", "~lock", "old~", "Thumbs.db", "x.chk"}) {
        EXPECT_TRUE(TemporaryFiles::IsTemporaryName(name)) << name;
    }
    for (const char* name : {"tmp", "a.tmp.txt", "a.txt", "", "template", "a.bak"}) {
        EXPECT_FALSE(TemporaryFiles::IsTemporaryName(name)) << name;
    }
}

TEST(TemporaryFiles, all_of_the_temporary_folder_but_only_such_names_below_the_root) {
    const TestTree tree;
    const SearchRoot root(tree.Folder("root"));
    tree.WriteSized("root/a.tmp", 1);
    tree.WriteSized("root/b.txt", 1);
    tree.WriteSized("temporary/c.txt", 1);
    std::vector<std::string> names;
    ManualControl control;
    const TemporaryFiles feature(root, tree.Path() / "temporary");
    feature.Run([&](const Finding& finding) { names.push_back(finding.name); }, control);
    EXPECT_EQ(names, (std::vector<std::string>{"a.tmp", "c.txt"}));
    names.clear();
    const TemporaryFiles inside(SearchRoot(tree.Path()), tree.Path() / "temporary");
    inside.Run([&](const Finding& finding) { names.push_back(finding.name); }, control);
    EXPECT_EQ(names, std::vector<std::string>{"a.tmp"});
    names.clear();
    const TemporaryFiles rootless(SearchRoot(), tree.Path() / "temporary");
    rootless.Run([&](const Finding& finding) { names.push_back(finding.name); }, control);
    EXPECT_EQ(names, std::vector<std::string>{"c.txt"});
}

TEST(AutorunCommand, program_is_quoted_or_ends_at_a_blank) {
    using Programs = std::vector<std::wstring>;
    EXPECT_EQ(DevHost::ProgramsOfCommand(L""), Programs{});
    EXPECT_EQ(DevHost::ProgramsOfCommand(L"  \t"), Programs{});
    EXPECT_EQ(DevHost::ProgramsOfCommand(L"\"\""), Programs{});
    EXPECT_EQ(DevHost::ProgramsOfCommand(L"\"C:\\a b\\c.exe\" /x \"y\""),
              Programs{L"C:\\a b\\c.exe"});
    EXPECT_EQ(DevHost::ProgramsOfCommand(L"\"unclosed path"), Programs{L"unclosed path"});
    EXPECT_EQ(DevHost::ProgramsOfCommand(L" C:\\a b\\c.exe  /x "),
              (Programs{L"C:\\a", L"C:\\a b\\c.exe", L"C:\\a b\\c.exe  /x"}));
    EXPECT_EQ(DevHost::ProgramsOfCommand(L"notepad"), Programs{L"notepad"});
}

TEST_F(Scans, all_numbers_are_served) {
    EXPECT_EQ(m_Api.router.Count(), 17U);
}

TEST_F(Scans, scan_from_start_to_result) {
    m_Tree.WriteSized("root/deep/a.tmp", 10);
    m_Tree.WriteSized("root/b.txt", 10);
    m_Tree.WriteSized("temporary/c", 5);
    const std::string id = ScanToEnd();
    const ApiAnswer result = m_Api.Call(kScanResult, Session(id, "\"items\": []"));
    EXPECT_EQ(result.retCode, kSuccess);
    EXPECT_EQ(result.data["sessionId"].asString(), id);
    EXPECT_EQ(result.data["activeSessionId"].asUInt(), 3U);
    EXPECT_EQ(result.data["state"].asString(), "finished");
    ASSERT_EQ(result.data["items"].size(), 2U);
    const Json::Value& files = result.data["items"][0];
    EXPECT_EQ(files["feature"].asString(), "temporaryFiles");
    EXPECT_EQ(files["count"].asUInt(), 2U);
    EXPECT_EQ(files["problems"].asUInt(), 2U);
    EXPECT_EQ(files["size"].asUInt(), 15U);
    EXPECT_EQ(files["findings"][0]["id"].asString(), "temporaryFiles-1");
    EXPECT_EQ(files["findings"][0]["kind"].asString(), "file");
    EXPECT_EQ(files["findings"][0]["name"].asString(), "a.tmp");
    EXPECT_FALSE(files["findings"][0]["repaired"].asBool());
    const Json::Value& entries = result.data["items"][1];
    EXPECT_EQ(entries["count"].asUInt(), 2U);
    EXPECT_EQ(entries["problems"].asUInt(), 1U);
}

TEST_F(Scans, only_the_chosen_features_run) {
    m_Tree.WriteSized("root/a.tmp", 10);
    const std::string id = ScanToEnd(R"(["autorunEntries"])");
    EXPECT_EQ(m_Api.Call(kScanResult, Session(id, "\"items\": [\"all\"]")).data["items"].size(),
              1U);
    EXPECT_EQ(m_Api.Code(kScanResult, Session(id, "\"items\": [\"temporaryFiles\"]")), kInvalid);
    EXPECT_EQ(m_Api.Code(kScan, R"({"activeSessionId": 1, "items": ["unknown"]})"), kInvalid);
    EXPECT_EQ(m_Api.Code(kScan, R"({"activeSessionId": 1, "items": ["autorunEntries", "x"]})"),
              kInvalid);
}

TEST_F(Scans, list_with_one_empty_text_is_every_feature) {
    const std::string id = ScanToEnd(R"([""])");
    EXPECT_EQ(m_Api.Call(kScanResult, Session(id, "\"items\": [\"\"]")).data["items"].size(), 2U);
}

TEST_F(Scans, progress_tells_feature_and_object) {
    m_bHold = true;
    const std::string id = Scan();
    ApiAnswer progress;
    for (int i = 0; i < 2000; ++i) {
        progress = m_Api.Call(kScanProgress, Session(id));
        if (progress.data["object"].asString() == "held object" &&
            progress.data["progress"].asUInt() == 75) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(progress.data["feature"].asString(), "autorunEntries");
    EXPECT_EQ(progress.data["object"].asString(), "held object");
    EXPECT_EQ(progress.data["progress"].asUInt(), 75U);
    EXPECT_EQ(progress.data["state"].asString(), "running");
    EXPECT_TRUE(m_Engine.IsBusy());
    m_bHold = false;
    m_Api.PollToEnd(kScanProgress, Session(id));
    EXPECT_FALSE(m_Engine.IsBusy());
}

TEST_F(Scans, pause_resume_and_cancel) {
    m_bHold = true;
    const std::string id = Scan();
    EXPECT_EQ(m_Api.Code(kResumeScan, Session(id)), kInvalid);
    EXPECT_EQ(m_Api.Code(kPauseScan, Session(id)), kSuccess);
    EXPECT_EQ(m_Api.Code(kPauseScan, Session(id)), kInvalid);
    EXPECT_EQ(m_Api.Call(kScanProgress, Session(id)).data["state"].asString(), "paused");
    EXPECT_EQ(m_Api.Code(kResumeScan, Session(id)), kSuccess);
    EXPECT_EQ(m_Api.Code(kCancelScan, Session(id)), kSuccess);
    const ApiAnswer progress = m_Api.Call(kScanProgress, Session(id));
    EXPECT_EQ(progress.retCode, DevHost::kCancelled);
    EXPECT_EQ(progress.data["state"].asString(), "cancelled");
    EXPECT_EQ(m_Api.Code(kPauseScan, Session(id)), kInvalid);
    EXPECT_EQ(m_Api.Code(kCancelScan, Session(id)), kSuccess);
}

TEST_F(Scans, unknown_sessions_and_bad_requests_are_refused) {
    for (const std::uint32_t apiId :
         {kPauseScan, kResumeScan, kCancelScan, kScanProgress, kFixProgress, kCancelFix}) {
        EXPECT_EQ(m_Api.Code(apiId, Session("nobody")), kNotFound) << apiId;
        EXPECT_EQ(m_Api.Code(apiId, "{\"sessionId\": 5}"), kInvalid) << apiId;
        EXPECT_EQ(m_Api.Code(apiId, "{}"), kInvalid) << apiId;
    }
    EXPECT_EQ(m_Api.Code(kScan, "{}"), kInvalid);
    EXPECT_EQ(m_Api.Code(kScan, R"({"activeSessionId": 1, "items": "all"})"), kInvalid);
    EXPECT_EQ(m_Api.Code(kScanResult, Session("nobody", "\"items\": []")), kNotFound);
}

TEST_F(Scans, oldest_session_goes_for_a_new_one) {
    const std::string first = ScanToEnd();
    std::string last;
    for (std::size_t i = 0; i < DevHost::ScanEngine::kSessionLimit; ++i)
        last = ScanToEnd();
    EXPECT_EQ(m_Api.Code(kScanProgress, Session(first)), kNotFound);
    EXPECT_EQ(m_Api.Code(kScanProgress, Session(last)), kSuccess);
}

TEST_F(Scans, too_many_running_scans_are_refused) {
    m_bHold = true;
    for (std::size_t i = 0; i < DevHost::ScanEngine::kSessionLimit; ++i)
        Scan();
    EXPECT_EQ(m_Api.Code(kScan, R"({"activeSessionId": 1, "items": []})"), kInUse);
    m_Engine.Stop();
    EXPECT_FALSE(m_Engine.IsBusy());
}

TEST_F(Scans, second_version_repairs_the_chosen_findings) {
    const auto first = m_Tree.WriteSized("root/a.tmp", 10);
    const auto second = m_Tree.WriteSized("root/b.tmp", 20);
    const auto outside = m_Tree.WriteSized("temporary/c", 5);
    const std::string id = ScanToEnd();
    const Json::Value result = m_Api.Call(kScanResult, Session(id, "\"items\": []")).data;
    std::string chosen;
    for (const Json::Value& finding : result["items"][0]["findings"]) {
        if (finding["name"].asString() != "b.tmp")
            chosen += "\"" + finding["id"].asString() + "\", ";
    }
    const ApiAnswer start = m_Api.Call(
        kCustomizeFixV2,
        Session(id, "\"data\": {\"ids\": [" + chosen + "\"autorunEntries-1\", \"none-9\"]}"));
    ASSERT_EQ(start.retCode, kSuccess) << start.message;
    const std::string fix = "\"fixSessionId\": \"" + start.data["fixSessionId"].asString() + "\"";
    EXPECT_EQ(m_Api.PollToEnd(kFixProgressV2, Session(id, fix)).retCode, kSuccess);
    const ApiAnswer report = m_Api.Call(kFixResultV2, Session(id, fix));
    EXPECT_EQ(report.data["state"].asString(), "finished");
    ASSERT_EQ(report.data["removed"].size(), 1U);
    EXPECT_EQ(report.data["removed"][0]["path"].asString(), DevHost::FileSystem::ToUtf8(first));
    std::map<std::string, std::string> reasons;
    for (const Json::Value& skipped : report.data["skipped"]) {
        reasons[skipped["id"].asString()] = skipped["reason"].asString();
    }
    EXPECT_EQ(reasons.size(), 3U);
    EXPECT_EQ(reasons["autorunEntries-1"], "not-a-file");
    EXPECT_EQ(reasons["none-9"], "unknown-id");
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_TRUE(std::filesystem::exists(second) && std::filesystem::exists(outside));

    const Json::Value after = m_Api.Call(kScanResult, Session(id, "\"items\": []")).data;
    unsigned repaired = 0;
    for (const Json::Value& finding : after["items"][0]["findings"]) {
        if (finding["repaired"].asBool())
            ++repaired;
    }
    EXPECT_EQ(repaired, 1U);
}

TEST_F(Scans, first_version_repairs_by_selection_and_by_feature) {
    m_Tree.WriteSized("root/a.tmp", 10);
    const std::string id = ScanToEnd();
    EXPECT_EQ(m_Api.Code(kFixProgress, Session(id)), kNotFound);
    EXPECT_EQ(m_Api.Code(kCustomizeFix, Session(id, "\"data\": {\"items\": [\"autorunEntries\"]}")),
              kSuccess);
    EXPECT_EQ(m_Api.PollToEnd(kFixProgress, Session(id)).retCode, kSuccess);
    ApiAnswer report = m_Api.Call(kFixResult, Session(id, "\"items\": []"));
    EXPECT_EQ(report.data["skipped"].size(), 1U);

    EXPECT_EQ(m_Api.Code(kFix, Session(id, "\"items\": [\"temporaryFiles\"]")), kSuccess);
    EXPECT_EQ(m_Api.PollToEnd(kFixProgress, Session(id)).retCode, kSuccess);
    report = m_Api.Call(kFixResult, Session(id, "\"items\": [\"temporaryFiles\"]"));
    EXPECT_EQ(report.data["removed"].size(), 1U);
    EXPECT_EQ(report.data["removedSize"].asUInt(), 10U);
    report = m_Api.Call(kFixResult, Session(id, "\"items\": [\"autorunEntries\"]"));
    EXPECT_EQ(report.data["removed"].size(), 0U);

    EXPECT_EQ(m_Api.Code(kFix, Session(id, "\"items\": [\"\"]")), kSuccess);
    m_Api.PollToEnd(kFixProgress, Session(id));
    report = m_Api.Call(kFixResult, Session(id, "\"items\": []"));
    EXPECT_EQ(report.data["removed"].size(), 0U);
    EXPECT_EQ(report.data["skipped"].size(), 2U);
    EXPECT_EQ(m_Api.Code(kCancelFix, Session(id)), kSuccess);
}

TEST_F(Scans, all_problems_can_be_chosen_at_once) {
    m_Tree.WriteSized("root/a.tmp", 10);
    const std::string id = ScanToEnd();
    const ApiAnswer start = m_Api.Call(kCustomizeFixV2, Session(id, "\"data\": {\"all\": true}"));
    const std::string fix = "\"fixSessionId\": \"" + start.data["fixSessionId"].asString() + "\"";
    m_Api.PollToEnd(kFixProgressV2, Session(id, fix));
    const ApiAnswer report = m_Api.Call(kFixResultV2, Session(id, fix));
    EXPECT_EQ(report.data["removed"].size(), 1U);
    EXPECT_EQ(report.data["skipped"].size(), 1U);  // the problem, not the information
}

TEST_F(Scans, repair_is_refused_while_the_scan_runs) {
    m_bHold = true;
    const std::string id = Scan();
    EXPECT_EQ(m_Api.Code(kCustomizeFixV2, Session(id, "\"data\": {\"all\": true}")), kInUse);
    EXPECT_EQ(m_Api.Code(kFix, Session(id, "\"items\": []")), kInUse);
}

TEST_F(Scans, repairs_and_selections_that_are_none_are_refused) {
    const std::string id = ScanToEnd();
    for (const char* data : {"null", "5", "{}", "{\"ids\": 5}", "{\"ids\": [5]}", "[{}]",
                             "{\"all\": 1}", "{\"items\": [\"unknown\"]}"}) {
        EXPECT_EQ(m_Api.Code(kCustomizeFixV2, Session(id, std::string("\"data\": ") + data)),
                  kInvalid)
            << data;
    }
    EXPECT_EQ(m_Api.Code(kCustomizeFixV2, Session(id)), kInvalid);
    for (const std::uint32_t apiId : {kFixProgressV2, kFixResultV2, kCancelFixV2}) {
        EXPECT_EQ(m_Api.Code(apiId, Session(id, "\"fixSessionId\": \"none\"")), kNotFound);
        EXPECT_EQ(m_Api.Code(apiId, Session(id, "\"fixSessionId\": \"\"")), kInvalid);
    }
}

TEST_F(Scans, old_repairs_are_forgotten) {
    const std::string id = ScanToEnd();
    std::string first;
    for (std::size_t i = 0; i <= DevHost::ScanSession::kRepairLimit; ++i) {
        const ApiAnswer start = m_Api.Call(kCustomizeFixV2, Session(id, "\"data\": []"));
        ASSERT_EQ(start.retCode, kSuccess) << start.message;
        const std::string fix =
            "\"fixSessionId\": \"" + start.data["fixSessionId"].asString() + "\"";
        m_Api.PollToEnd(kFixProgressV2, Session(id, fix));
        if (first.empty())
            first = fix;
    }
    EXPECT_EQ(m_Api.Code(kFixProgressV2, Session(id, first)), kNotFound);
}

TEST_F(TimidScans, nothing_is_repaired_without_permission) {
    const auto file = m_Tree.WriteSized("root/a.tmp", 10);
    const std::string id = ScanToEnd();
    m_Api.Call(kFix, Session(id, "\"items\": []"));
    m_Api.PollToEnd(kFixProgress, Session(id));
    const ApiAnswer report = m_Api.Call(kFixResult, Session(id, "\"items\": [\"temporaryFiles\"]"));
    EXPECT_EQ(report.data["removed"].size(), 0U);
    ASSERT_EQ(report.data["skipped"].size(), 1U);
    EXPECT_EQ(report.data["skipped"][0]["reason"].asString(), "not-allowed");
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(Scans, startup_status_is_noted_and_the_machine_is_left_alone) {
    const std::string id = ScanToEnd();
    const ApiAnswer answer =
        m_Api.Call(kProgramStatus, Session(id, R"("data": ["gone", "stranger"], "status": 0)"));
    EXPECT_EQ(answer.retCode, kSuccess);
    EXPECT_FALSE(answer.data["machineChanged"].asBool());
    EXPECT_TRUE(answer.data["items"][0]["found"].asBool());
    EXPECT_FALSE(answer.data["items"][1]["found"].asBool());
    const Json::Value result = m_Api.Call(kScanResult, Session(id, "\"items\": []")).data;
    EXPECT_EQ(result["items"][1]["findings"][0]["detail"]["wantedStatus"].asUInt(), 0U);
    EXPECT_EQ(m_Api.Code(kServiceStatus, Session(id, R"("data": {"names": ["x"]}, "status": 1)")),
              kSuccess);
    EXPECT_EQ(m_Api.Code(kServiceStatus, Session(id, R"("data": ["x"], "status": 2)")), kInvalid);
    EXPECT_EQ(m_Api.Code(kServiceStatus, Session(id, R"("data": 5, "status": 1)")), kInvalid);
    EXPECT_EQ(m_Api.Code(kServiceStatus, Session("nobody", R"("data": [], "status": 1)")),
              kNotFound);
}

TEST_F(Scans, names_for_the_comparison_samples) {
    const std::string id = ScanToEnd();
    const DevHost::StartupNames names = m_Handlers.GetStartupNames();
    EXPECT_EQ(names.programs(id), (std::vector<std::string>{"gone", "there"}));
    EXPECT_TRUE(names.services(id).empty());
    EXPECT_THROW(names.programs("nobody"), DevHost::RequestError);
}

}  // namespace
