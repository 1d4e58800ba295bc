// The engines of the three searches, on small trees.

#include <gtest/gtest.h>

#include <algorithm>

#include "devhost/BigFileSearch.h"
#include "devhost/DiskUsageSearch.h"
#include "devhost/DuplicateSearch.h"
#include "unit/devhost/ManualControl.h"
#include "unit/devhost/TestTree.h"

namespace {

using DevHost::BigFileResult;
using DevHost::DiskUsageResult;
using DevHost::DuplicateResult;
using DevHost::FileCategory;
using DevHost::FileQuery;

// A digest that is good enough to tell apart the contents of a test: the content.
std::string ContentAsDigest(const std::filesystem::path& file,
                            const std::function<bool(std::uint64_t)>& progress) {
    const std::string content = TestTree::Read(file);
    return progress(content.size()) ? content : std::string();
}

std::vector<std::string> NamesOf(const std::vector<DevHost::FoundFile>& files) {
    std::vector<std::string> names;
    for (const auto& file : files)
        names.push_back(file.path.filename().string());
    return names;
}

TEST(FileCategory, extensions_decide_without_regard_to_case) {
    EXPECT_EQ(DevHost::CategoryOfName("film.MKV"), FileCategory::kVideo);
    EXPECT_EQ(DevHost::CategoryOfName("a.b.mp3"), FileCategory::kAudio);
    EXPECT_EQ(DevHost::CategoryOfName("x.3gp"), FileCategory::kVideo);
    EXPECT_EQ(DevHost::CategoryOfName("x.zip"), FileCategory::kArchive);
    EXPECT_EQ(DevHost::CategoryOfName("x.jpeg"), FileCategory::kImage);
    EXPECT_EQ(DevHost::CategoryOfName("x.pdf"), FileCategory::kDocument);
    EXPECT_EQ(DevHost::CategoryOfName("x.exe"), FileCategory::kProgram);
    EXPECT_EQ(DevHost::CategoryOfName("zip"), FileCategory::kOther);
    EXPECT_EQ(DevHost::CategoryOfName("x."), FileCategory::kOther);
    EXPECT_EQ(DevHost::CategoryOfName("x.unknown"), FileCategory::kOther);
}

TEST(FileCategory, filters_are_read_by_name) {
    for (const char* all : {"", "*", "all", "ALL"}) {
        ASSERT_TRUE(DevHost::ParseCategoryFilter(all).has_value()) << all;
        EXPECT_FALSE(DevHost::ParseCategoryFilter(all)->only.has_value());
    }
    for (const FileCategory category : DevHost::kFileCategories) {
        EXPECT_EQ(DevHost::ParseCategoryFilter(DevHost::FileCategoryName(category))->only,
                  category);
    }
    EXPECT_FALSE(DevHost::ParseCategoryFilter("films").has_value());
}

TEST(TreeWalk, everything_is_met_once_and_progress_grows_to_the_end_of_the_span) {
    const TestTree tree;
    tree.WriteSized("a", 1);
    tree.WriteSized("one/b", 1);
    tree.WriteSized("one/two/c", 1);
    tree.Folder("empty");
    ManualControl control;
    std::size_t files = 0;
    DevHost::WalkVisitor visitor;
    visitor.onFile = [&](std::size_t, const auto&, const auto&) { ++files; };
    const DevHost::WalkTotals totals = DevHost::WalkTree(tree.Path(), visitor, {0.2, 0.6}, control);
    EXPECT_EQ(files, 3U);
    EXPECT_EQ(totals.files, 3U);
    EXPECT_EQ(totals.folders, 4U);
    EXPECT_EQ(totals.unreadable, 0U);
    ASSERT_EQ(control.progress.size(), 4U);
    EXPECT_TRUE(std::is_sorted(control.progress.begin(), control.progress.end()));
    EXPECT_GT(control.progress.front(), 0.2);
    EXPECT_NEAR(control.progress.back(), 0.6, 1e-9);
}

TEST(TreeWalk, a_folder_that_is_not_there_is_unreadable) {
    const TestTree tree;
    ManualControl control;
    const DevHost::WalkTotals totals = DevHost::WalkTree(tree.Path() / "absent", {}, {}, control);
    EXPECT_EQ(totals.unreadable, 1U);
    EXPECT_EQ(totals.files, 0U);
}

TEST(TreeWalk, links_are_counted_and_not_followed) {
    const TestTree tree;
    tree.WriteSized("folder/a", 1);
    std::error_code error;
    std::filesystem::create_directory_symlink(tree.Path(), tree.Path() / "folder" / "loop", error);
    if (error)
        GTEST_SKIP() << "this machine makes no links";
    ManualControl control;
    const DevHost::WalkTotals totals = DevHost::WalkTree(tree.Path(), {}, {}, control);
    EXPECT_EQ(totals.links, 1U);
    EXPECT_EQ(totals.folders, 2U);
    EXPECT_EQ(totals.files, 1U);
}

TEST(TreeWalk, cancel_ends_it_early) {
    const TestTree tree;
    for (int i = 0; i < 20; ++i)
        tree.Folder("folder" + std::to_string(i));
    ManualControl control;
    control.allowed = 5;
    EXPECT_EQ(DevHost::WalkTree(tree.Path(), {}, {}, control).folders, 5U);
}

TEST(BigFiles, biggest_first_from_the_minimum_on) {
    const TestTree tree;
    tree.WriteSized("small.txt", 99);
    tree.WriteSized("edge.txt", 100);
    tree.WriteSized("deep/er/big.mkv", 3000);
    tree.WriteSized("deep/mid.txt", 200);
    ManualControl control;
    const BigFileResult result = DevHost::SearchBigFiles({tree.Path(), {}, 100}, control);
    EXPECT_EQ(NamesOf(result.files), (std::vector<std::string>{"big.mkv", "mid.txt", "edge.txt"}));
    EXPECT_EQ(result.matching, 3U);
    EXPECT_EQ(result.matchingSize, 3300U);
    EXPECT_EQ(result.totals.files, 4U);
}

TEST(BigFiles, equal_sizes_are_ordered_by_path) {
    const TestTree tree;
    for (const char* name : {"c", "a", "b"})
        tree.WriteSized(name, 10);
    ManualControl control;
    const BigFileResult result = DevHost::SearchBigFiles({tree.Path(), {}, 0}, control);
    EXPECT_EQ(NamesOf(result.files), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(BigFiles, category_filters) {
    const TestTree tree;
    tree.WriteSized("a.mkv", 10);
    tree.WriteSized("b.txt", 20);
    ManualControl control;
    const BigFileResult result =
        DevHost::SearchBigFiles({tree.Path(), {FileCategory::kVideo}, 0}, control);
    EXPECT_EQ(NamesOf(result.files), std::vector<std::string>{"a.mkv"});
}

TEST(Duplicates, equal_content_is_found_and_equal_size_alone_is_not) {
    const TestTree tree;
    tree.Write("a.txt", "same content");
    tree.Write("deep/b.txt", "same content");
    tree.Write("c.txt", "SAME CONTENT");
    tree.Write("d.txt", "different length");
    tree.Write("big1", std::string(500, 'y'));
    tree.Write("big2", std::string(500, 'y'));
    tree.Write("big3", std::string(500, 'y'));
    ManualControl control;
    const DuplicateResult result =
        DevHost::SearchDuplicates({tree.Path(), {}, 0}, ContentAsDigest, control);
    ASSERT_EQ(result.groups.size(), 2U);
    EXPECT_EQ(NamesOf(result.groups[0].files), (std::vector<std::string>{"big1", "big2", "big3"}));
    EXPECT_EQ(result.groups[0].Wasted(), 1000U);
    EXPECT_EQ(NamesOf(result.groups[1].files), (std::vector<std::string>{"a.txt", "b.txt"}));
    EXPECT_EQ(result.groups[1].digest, "same content");
    EXPECT_EQ(result.candidates, 6U);
    EXPECT_EQ(result.digested, 6U);
    EXPECT_TRUE(std::is_sorted(control.progress.begin(), control.progress.end()));
    EXPECT_NEAR(control.progress.back(), 1.0, 1e-9);
}

TEST(Duplicates, empty_files_are_nobodys_duplicates) {
    const TestTree tree;
    tree.Write("a", "");
    tree.Write("b", "");
    ManualControl control;
    EXPECT_TRUE(
        DevHost::SearchDuplicates({tree.Path(), {}, 0}, ContentAsDigest, control).groups.empty());
}

TEST(Duplicates, two_names_of_one_file_are_no_duplicates) {
    const TestTree tree;
    tree.Write("a", "content");
    std::filesystem::create_hard_link(tree.Path() / "a", tree.Path() / "b");
    ManualControl control;
    DuplicateResult result =
        DevHost::SearchDuplicates({tree.Path(), {}, 0}, ContentAsDigest, control);
    EXPECT_TRUE(result.groups.empty());
    EXPECT_EQ(result.digested, 1U);
    tree.Write("c", "content");
    result = DevHost::SearchDuplicates({tree.Path(), {}, 0}, ContentAsDigest, control);
    ASSERT_EQ(result.groups.size(), 1U);
    EXPECT_EQ(result.groups[0].files.size(), 2U);
}

TEST(Duplicates, minimum_size_and_category_filter) {
    const TestTree tree;
    tree.Write("a.txt", "12345");
    tree.Write("b.txt", "12345");
    tree.Write("c.mkv", "1234567890");
    tree.Write("d.mkv", "1234567890");
    ManualControl control;
    EXPECT_EQ(
        DevHost::SearchDuplicates({tree.Path(), {}, 6}, ContentAsDigest, control).groups.size(),
        1U);
    const DuplicateResult result = DevHost::SearchDuplicates(
        {tree.Path(), {FileCategory::kDocument}, 0}, ContentAsDigest, control);
    ASSERT_EQ(result.groups.size(), 1U);
    EXPECT_EQ(result.groups[0].digest, "12345");
}

TEST(Duplicates, unreadable_and_growing_files_are_left_out) {
    const TestTree tree;
    tree.Write("a", "content");
    tree.Write("b", "content");
    tree.Write("c", "content");
    ManualControl control;
    const auto digest = [](const std::filesystem::path& file,
                           const std::function<bool(std::uint64_t)>& progress) -> std::string {
        if (file.filename() == "a")
            return {};
        progress(file.filename() == "b" ? 8 : 7);
        return "digest";
    };
    const DuplicateResult result = DevHost::SearchDuplicates({tree.Path(), {}, 0}, digest, control);
    EXPECT_TRUE(result.groups.empty());
    EXPECT_EQ(result.unreadable, 2U);
    EXPECT_EQ(result.digested, 1U);
}

TEST(Duplicates, cancel_keeps_what_was_compared) {
    const TestTree tree;
    tree.Write("a", "0123456789");
    tree.Write("b", "0123456789");
    tree.Write("c", "01234");
    tree.Write("d", "01234");
    ManualControl control;
    unsigned digested = 0;
    const auto digest = [&](const std::filesystem::path& file,
                            const std::function<bool(std::uint64_t)>& progress) {
        if (++digested == 3)
            control.allowed = 0;
        return ContentAsDigest(file, progress);
    };
    const DuplicateResult result = DevHost::SearchDuplicates({tree.Path(), {}, 0}, digest, control);
    ASSERT_EQ(result.groups.size(), 1U);
    EXPECT_EQ(result.groups[0].digest, "0123456789");
    EXPECT_EQ(digested, 3U);
}

TEST(DiskUsage, folders_count_with_all_that_lies_below) {
    const TestTree tree;
    tree.WriteSized("top.txt", 1);
    tree.WriteSized("a/one.mkv", 10);
    tree.WriteSized("a/b/two.mkv", 100);
    tree.WriteSized("a/b/c/three.txt", 1000);
    tree.WriteSized("d/four.txt", 5000);
    tree.Folder("empty");
    ManualControl control;
    const DiskUsageResult result = DevHost::MeasureDiskUsage(tree.Path(), control);
    EXPECT_EQ(result.folder, tree.Path());
    EXPECT_EQ(result.size, 6111U);
    ASSERT_EQ(result.children.size(), 3U);
    EXPECT_EQ(result.children[0].path.filename(), "d");
    EXPECT_EQ(result.children[1].path.filename(), "a");
    EXPECT_EQ(result.children[1].size, 1110U);
    EXPECT_EQ(result.children[1].files, 3U);
    EXPECT_EQ(result.children[2].size, 0U);
    ASSERT_EQ(result.biggest.size(), 5U);
    EXPECT_EQ(result.biggest[2].path.filename(), "b");
    EXPECT_EQ(result.biggest[2].size, 1100U);
    EXPECT_EQ(result.biggest[2].depth, 2U);
    const auto& video = result.categories[static_cast<std::size_t>(FileCategory::kVideo)];
    EXPECT_EQ(video.files, 2U);
    EXPECT_EQ(video.size, 110U);
}

TEST(DiskUsage, list_of_the_biggest_folders_has_a_limit) {
    const TestTree tree;
    for (std::size_t i = 0; i < DevHost::kBiggestFolders + 10; ++i) {
        tree.WriteSized("folder" + std::to_string(i) + "/file", i);
    }
    ManualControl control;
    const DiskUsageResult result = DevHost::MeasureDiskUsage(tree.Path(), control);
    EXPECT_EQ(result.biggest.size(), DevHost::kBiggestFolders);
    EXPECT_EQ(result.children.size(), DevHost::kBiggestFolders + 10);
}

TEST(DiskUsage, empty_folder_is_nothing) {
    const TestTree tree;
    ManualControl control;
    const DiskUsageResult result = DevHost::MeasureDiskUsage(tree.Path(), control);
    EXPECT_EQ(result.size, 0U);
    EXPECT_TRUE(result.children.empty());
    EXPECT_EQ(result.totals.folders, 1U);
}

}  // namespace
