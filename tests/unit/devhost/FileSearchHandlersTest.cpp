#include "devhost/FileSearchHandlers.h"

#include <gtest/gtest.h>

#include <atomic>

#include "unit/devhost/RouterCaller.h"
#include "unit/devhost/TestTree.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::FileSearchHandlers;
using DevHost::Remover;
using DevHost::SearchRoot;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kScanBig = 400010000;
constexpr std::uint32_t kBigProgress = 400010001;
constexpr std::uint32_t kBigResult = 400010002;
constexpr std::uint32_t kRemoveBig = 400010003;
constexpr std::uint32_t kCancelBig = 400010004;
constexpr std::uint32_t kScanDup = 400010010;
constexpr std::uint32_t kDupProgress = 400010011;
constexpr std::uint32_t kDupResult = 400010012;
constexpr std::uint32_t kRemoveDup = 400010013;
constexpr std::uint32_t kCancelDup = 400010014;
constexpr std::uint32_t kScanUsage = 400010020;
constexpr std::uint32_t kUsageProgress = 400010021;
constexpr std::uint32_t kUsageResult = 400010022;
constexpr std::uint32_t kCancelUsage = 400010023;

constexpr const char* kEverything =
    R"({"filterParamDiskDrive": "C:", "category": "", "filterParamFileSize": 0})";

class Searches : public testing::Test {
protected:
    explicit Searches(bool allowRemove = false)
        : m_Handlers(m_Root, Remover(allowRemove, m_Root),
                     [this](const std::filesystem::path& file,
                            const std::function<bool(std::uint64_t)>& progress) {
                         while (m_bHold) {
                             if (!progress(0))
                                 return std::string();
                             std::this_thread::yield();
                         }
                         const std::string content = TestTree::Read(file);
                         return progress(content.size()) ? content : std::string();
                     }) {
        m_Handlers.AddTo(m_Api.router);
    }

    const TestTree m_Tree;
    const SearchRoot m_Root{m_Tree.Folder("root")};
    std::atomic<bool> m_bHold = false;
    FileSearchHandlers m_Handlers;
    RouterCaller m_Api;
};

class RemovingSearches : public Searches {
protected:
    RemovingSearches() : Searches(true) {}
};

TEST_F(Searches, all_fourteen_numbers_are_served) {
    EXPECT_EQ(m_Api.router.Count(), 14U);
}

TEST_F(Searches, big_files_from_start_to_result) {
    m_Tree.WriteSized("root/a.mkv", 300);
    m_Tree.WriteSized("root/sub/b.txt", 100);
    m_Tree.WriteSized("outside.txt", 9000);
    EXPECT_EQ(m_Api.Code(kScanBig, kEverything), kSuccess);
    const ApiAnswer progress = m_Api.PollToEnd(kBigProgress);
    EXPECT_EQ(progress.data["state"].asString(), "finished");
    const ApiAnswer result = m_Api.Call(kBigResult, R"({"filterParamHighBound": 0})");
    EXPECT_EQ(result.retCode, kSuccess);
    ASSERT_EQ(result.data["files"].size(), 2U);
    EXPECT_EQ(result.data["files"][0]["path"].asString(),
              DevHost::FileSystem::ToUtf8(m_Root.Get() / "a.mkv"));
    EXPECT_EQ(result.data["files"][0]["size"].asUInt(), 300U);
    EXPECT_EQ(result.data["files"][0]["category"].asString(), "video");
    EXPECT_GT(result.data["files"][0]["modified"].asInt64(), 1'600'000'000);
    EXPECT_EQ(result.data["matching"].asUInt(), 2U);
    EXPECT_EQ(result.data["matchingSize"].asUInt(), 400U);
    EXPECT_EQ(result.data["searched"]["files"].asUInt(), 2U);
    EXPECT_EQ(result.data["searched"]["folders"].asUInt(), 2U);
    EXPECT_EQ(m_Api.Call(kBigResult, R"({"filterParamHighBound": 1})").data["files"].size(), 1U);
    EXPECT_EQ(
        m_Api.Call(kBigResult, R"({"filterParamHighBound": 4294967295})").data["files"].size(), 2U);
}

TEST_F(Searches, sizes_beyond_every_file_find_nothing) {
    m_Tree.WriteSized("root/a", 300);
    m_Api.Code(kScanBig, R"({"filterParamDiskDrive": "", "category": "all",
                             "filterParamFileSize": 18446744073709551615})");
    m_Api.PollToEnd(kBigProgress);
    EXPECT_EQ(m_Api.Call(kBigResult, R"({"filterParamHighBound": 0})").data["matching"].asUInt(),
              0U);
}

TEST_F(Searches, drives_and_folders_are_mapped_to_the_root) {
    m_Tree.WriteSized("root/sub/deeper/a", 1);
    const std::string good[] = {"",
                                "C",
                                "d:",
                                "C:\\\\",
                                "Z:/",
                                "C:\\\\sub",
                                "c:/sub/deeper/",
                                InJson(m_Root.Get()),
                                InJson(m_Root.Get() / "sub")};
    for (const std::string& drive : good) {
        EXPECT_EQ(m_Api.Code(kScanUsage, "{\"filterParamDiskDrive\": \"" + drive + "\"}"), kSuccess)
            << drive;
        EXPECT_EQ(m_Api.PollToEnd(kUsageProgress).retCode, kSuccess) << drive;
    }
    m_Tree.Folder("other");
    const std::string bad[] = {"C:\\\\absent",
                               "C:\\\\..",
                               "C:\\\\..\\\\other",
                               "1:",
                               "\\\\\\\\server\\\\share",
                               "CC:",
                               InJson(m_Tree.Path()),
                               InJson(m_Tree.Path() / "other"),
                               "C:\\\\sub\\\\deeper\\\\a"};
    for (const std::string& drive : bad) {
        EXPECT_EQ(m_Api.Code(kScanUsage, "{\"filterParamDiskDrive\": \"" + drive + "\"}"),
                  KrCommon::Result::kBadPath)
            << drive;
    }
}

TEST_F(Searches, a_part_of_the_root_can_be_searched) {
    m_Tree.WriteSized("root/a", 1);
    m_Tree.WriteSized("root/sub/b", 10);
    m_Api.Code(kScanUsage, R"({"filterParamDiskDrive": "C:\\sub"})");
    m_Api.PollToEnd(kUsageProgress);
    const ApiAnswer result = m_Api.Call(kUsageResult);
    EXPECT_EQ(result.data["size"].asUInt(), 10U);
    EXPECT_EQ(result.data["folder"].asString(), DevHost::FileSystem::ToUtf8(m_Root.Get() / "sub"));
    EXPECT_GT(result.data["diskTotal"].asUInt64(), 0U);
    EXPECT_EQ(result.data["categories"].size(), DevHost::kFileCategories.size());
}

TEST_F(Searches, bad_requests_are_refused) {
    const std::pair<std::uint32_t, const char*> bad[] = {
        {kScanBig, "{}"},
        {kScanBig, R"({"filterParamDiskDrive": 1, "category": "", "filterParamFileSize": 0})"},
        {kScanBig,
         R"({"filterParamDiskDrive": "", "category": "films", "filterParamFileSize": 0})"},
        {kScanBig, R"({"filterParamDiskDrive": "", "category": "", "filterParamFileSize": -1})"},
        {kScanDup, R"({"filterParamDiskDrive": "", "category": ""})"},
        {kScanUsage, "[]"},
        {kBigResult, R"({"filterParamHighBound": "many"})"},
        {kRemoveBig, "{}"},
        {kRemoveDup, R"({"data": 5})"},
        {kRemoveDup, R"({"data": [5]})"},
        {kRemoveBig, R"({"data": {"files": [{"name": "x"}]}})"},
    };
    for (const auto& [apiId, json] : bad) {
        EXPECT_EQ(m_Api.Code(apiId, json), KrCommon::Result::kInvalidArgument) << json;
    }
}

TEST_F(Searches, nothing_was_started_yet) {
    EXPECT_EQ(m_Api.Code(kBigProgress), KrCommon::Result::kNotFound);
    EXPECT_EQ(m_Api.Code(kDupResult), KrCommon::Result::kNotFound);
    EXPECT_EQ(m_Api.Code(kUsageResult), KrCommon::Result::kNotFound);
    EXPECT_EQ(m_Api.Code(kCancelBig), kSuccess);
    EXPECT_EQ(m_Api.Code(kCancelUsage), kSuccess);
}

TEST_F(Searches, duplicates_from_start_to_result) {
    m_Tree.Write("root/a", "same");
    m_Tree.Write("root/b", "same");
    m_Tree.Write("root/c", "else");
    EXPECT_EQ(m_Api.Code(kScanDup, kEverything), kSuccess);
    EXPECT_EQ(m_Api.PollToEnd(kDupProgress).retCode, kSuccess);
    const ApiAnswer result = m_Api.Call(kDupResult);
    ASSERT_EQ(result.data["groups"].size(), 1U);
    EXPECT_EQ(result.data["groups"][0]["files"].size(), 2U);
    EXPECT_EQ(result.data["groups"][0]["size"].asUInt(), 4U);
    EXPECT_EQ(result.data["groups"][0]["wasted"].asUInt(), 4U);
    EXPECT_EQ(result.data["groups"][0]["digest"].asString(), "same");
    EXPECT_EQ(result.data["wasted"].asUInt(), 4U);
    EXPECT_EQ(result.data["candidates"].asUInt(), 3U);
}

TEST_F(Searches, running_search_cannot_be_started_again_and_can_be_cancelled) {
    m_Tree.Write("root/a", "same");
    m_Tree.Write("root/b", "same");
    m_bHold = true;
    EXPECT_EQ(m_Api.Code(kScanDup, kEverything), kSuccess);
    EXPECT_EQ(m_Api.Code(kScanDup, kEverything), KrCommon::Result::kRecordInUse);
    EXPECT_EQ(m_Api.Code(kScanUsage, R"({"filterParamDiskDrive": ""})"), kSuccess);
    EXPECT_EQ(m_Api.Code(kRemoveDup, R"({"data": []})"), KrCommon::Result::kRecordInUse);
    EXPECT_LT(m_Api.Call(kDupProgress).data["progress"].asUInt(), 100U);
    const ApiAnswer early = m_Api.Call(kDupResult);
    EXPECT_EQ(early.data["state"].asString(), "running");
    EXPECT_EQ(early.data["groups"].size(), 0U);
    EXPECT_EQ(m_Api.Code(kCancelDup), kSuccess);
    const ApiAnswer progress = m_Api.Call(kDupProgress);
    EXPECT_EQ(progress.retCode, DevHost::kCancelled);
    EXPECT_EQ(progress.retCode, 0xe0fe04c7U);
    EXPECT_EQ(progress.data["state"].asString(), "cancelled");
    EXPECT_EQ(m_Api.Call(kDupResult).data["state"].asString(), "cancelled");
    m_bHold = false;
    EXPECT_EQ(m_Api.Code(kScanDup, kEverything), kSuccess);
    EXPECT_EQ(m_Api.PollToEnd(kDupProgress).retCode, kSuccess);
}

TEST_F(Searches, nothing_is_removed_without_permission) {
    const auto file = m_Tree.WriteSized("root/a", 10);
    m_Api.Code(kScanBig, kEverything);
    m_Api.PollToEnd(kBigProgress);
    const ApiAnswer report = m_Api.Call(kRemoveBig, "{\"data\": [\"" + InJson(file) + "\"]}");
    EXPECT_EQ(report.retCode, kSuccess);
    EXPECT_EQ(report.data["removed"].size(), 0U);
    EXPECT_EQ(report.data["skipped"][0]["reason"].asString(), "not-allowed");
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(RemovingSearches, big_files_that_were_found_are_removed) {
    const auto first = m_Tree.WriteSized("root/a", 10);
    const auto second = m_Tree.WriteSized("root/b", 20);
    const auto outside = m_Tree.WriteSized("c", 30);
    m_Api.Code(kScanBig, kEverything);
    m_Api.PollToEnd(kBigProgress);
    const auto late = m_Tree.WriteSized("root/late", 40);
    const ApiAnswer report =
        m_Api.Call(kRemoveBig, "{\"data\": {\"files\": [{\"path\": \"" + InJson(first) + "\"}, \"" +
                                   InJson(first) + "\", \"" + InJson(outside) + "\", \"" +
                                   InJson(late) + "\"]}}");
    ASSERT_EQ(report.data["removed"].size(), 1U);
    EXPECT_EQ(report.data["removed"][0]["size"].asUInt(), 10U);
    EXPECT_EQ(report.data["removedSize"].asUInt(), 10U);
    ASSERT_EQ(report.data["skipped"].size(), 3U);
    for (const Json::Value& skipped : report.data["skipped"]) {
        EXPECT_EQ(skipped["reason"].asString(), "not-in-result");
    }
    EXPECT_FALSE(std::filesystem::exists(first));
    EXPECT_TRUE(std::filesystem::exists(second) && std::filesystem::exists(outside) &&
                std::filesystem::exists(late));
    const ApiAnswer result = m_Api.Call(kBigResult, R"({"filterParamHighBound": 0})");
    EXPECT_EQ(result.data["files"].size(), 1U);
    EXPECT_EQ(result.data["matching"].asUInt(), 1U);
    EXPECT_EQ(result.data["matchingSize"].asUInt(), 20U);
}

TEST_F(RemovingSearches, file_that_changed_since_the_search_stays) {
    const auto file = m_Tree.WriteSized("root/a", 10);
    m_Api.Code(kScanBig, kEverything);
    m_Api.PollToEnd(kBigProgress);
    m_Tree.WriteSized("root/a", 11);
    const ApiAnswer report = m_Api.Call(kRemoveBig, "{\"data\": [\"" + InJson(file) + "\"]}");
    EXPECT_EQ(report.data["skipped"][0]["reason"].asString(), "changed");
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(RemovingSearches, last_copy_of_a_group_stays) {
    const auto first = m_Tree.Write("root/a", "same");
    const auto second = m_Tree.Write("root/b", "same");
    const auto third = m_Tree.Write("root/c", "same");
    m_Api.Code(kScanDup, kEverything);
    m_Api.PollToEnd(kDupProgress);
    const ApiAnswer report = m_Api.Call(kRemoveDup, "{\"data\": {\"groups\": [{\"files\": [\"" +
                                                        InJson(first) + "\", \"" + InJson(second) +
                                                        "\", \"" + InJson(third) + "\"]}]}}");
    EXPECT_EQ(report.data["removed"].size(), 2U);
    ASSERT_EQ(report.data["skipped"].size(), 1U);
    EXPECT_EQ(report.data["skipped"][0]["reason"].asString(), "last-copy");
    EXPECT_TRUE(std::filesystem::exists(third));
    EXPECT_FALSE(std::filesystem::exists(first) || std::filesystem::exists(second));
    EXPECT_EQ(m_Api.Call(kDupResult).data["groups"].size(), 0U);
}

TEST_F(RemovingSearches, a_copy_that_has_gone_does_not_count_as_another) {
    const auto first = m_Tree.Write("root/a", "same");
    const auto second = m_Tree.Write("root/b", "same");
    m_Api.Code(kScanDup, kEverything);
    m_Api.PollToEnd(kDupProgress);
    std::filesystem::remove(second);
    const ApiAnswer report = m_Api.Call(kRemoveDup, "{\"data\": [\"" + InJson(first) + "\"]}");
    EXPECT_EQ(report.data["skipped"][0]["reason"].asString(), "last-copy");
    EXPECT_TRUE(std::filesystem::exists(first));
}

TEST(SearchRoot, without_a_root_nothing_is_searched) {
    FileSearchHandlers handlers(SearchRoot(), Remover(true, SearchRoot()), nullptr);
    RouterCaller api;
    handlers.AddTo(api.router);
    const ApiAnswer answer = api.Call(kScanBig, kEverything);
    EXPECT_EQ(answer.retCode, KrCommon::Result::kBadPath);
    EXPECT_NE(answer.message.find("--root"), std::string::npos);
}

TEST(Remover, without_a_root_nothing_is_removed) {
    const TestTree tree;
    const auto file = tree.WriteSized("a", 1);
    EXPECT_STREQ(Remover(true, SearchRoot()).Remove(file, std::nullopt).reason, "not-allowed");
    EXPECT_TRUE(std::filesystem::exists(file));
}

}  // namespace
