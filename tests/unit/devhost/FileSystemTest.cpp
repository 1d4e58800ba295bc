#include "devhost/FileSystem.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "unit/devhost/TestTree.h"

namespace {

namespace FileSystem = DevHost::FileSystem;
using FileSystem::RemoveOutcome;

// A link at `link` to `target`; false where the machine makes none.
bool MakeLink(const std::filesystem::path& target, const std::filesystem::path& link, bool folder) {
    std::error_code error;
    if (folder) {
        std::filesystem::create_directory_symlink(target, link, error);
    } else {
        std::filesystem::create_symlink(target, link, error);
    }
    return !error;
}

TEST(FileSystem, listing_tells_names_sizes_and_kinds) {
    const TestTree tree;
    tree.WriteSized("a.txt", 5);
    tree.WriteSized(std::filesystem::path(u8"gr\u00f6\u00dfe \u65e5\u672c.bin"), 0);
    tree.Folder("sub");
    std::vector<FileSystem::Entry> entries;
    ASSERT_TRUE(FileSystem::ListFolder(tree.Path(), entries));
    std::sort(entries.begin(), entries.end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(FileSystem::NameToUtf8(entries[0].name), "a.txt");
    EXPECT_EQ(entries[0].size, 5U);
    EXPECT_FALSE(entries[0].isFolder);
    EXPECT_GT(entries[0].modified, 1'600'000'000);
    EXPECT_EQ(FileSystem::NameToUtf8(entries[1].name),
              "gr\xc3\xb6\xc3\x9f"
              "e \xe6\x97\xa5\xe6\x9c\xac.bin");
    EXPECT_TRUE(entries[2].isFolder);
    EXPECT_FALSE(entries[2].isLink);
}

TEST(FileSystem, listing_of_no_folder_fails) {
    const TestTree tree;
    std::vector<FileSystem::Entry> entries(3);
    EXPECT_FALSE(FileSystem::ListFolder(tree.Path() / "absent", entries));
    EXPECT_TRUE(entries.empty());
    EXPECT_FALSE(FileSystem::ListFolder(tree.WriteSized("file", 1), entries));
}

TEST(FileSystem, inspect_tells_of_files_alone) {
    const TestTree tree;
    const auto file = tree.WriteSized("a", 7);
    const auto facts = FileSystem::Inspect(file);
    ASSERT_TRUE(facts.has_value());
    EXPECT_EQ(facts->size, 7U);
    EXPECT_FALSE(FileSystem::Inspect(tree.Path()).has_value());
    EXPECT_FALSE(FileSystem::Inspect(tree.Path() / "absent").has_value());
}

TEST(FileSystem, two_names_of_one_file_have_one_identity) {
    const TestTree tree;
    const auto file = tree.WriteSized("a", 7);
    const auto other = tree.WriteSized("b", 7);
    std::filesystem::create_hard_link(file, tree.Path() / "c");
    const auto identity = FileSystem::Inspect(file)->identity;
    EXPECT_EQ(FileSystem::Inspect(tree.Path() / "c")->identity, identity);
    EXPECT_NE(FileSystem::Inspect(other)->identity, identity);
}

TEST(FileSystem, resolve_gives_the_real_path) {
    const TestTree tree;
    const auto file = tree.WriteSized("sub/a", 1);
    EXPECT_EQ(FileSystem::Resolve(tree.Path() / "sub" / ".." / "sub" / "a"), file);
    EXPECT_FALSE(FileSystem::Resolve(tree.Path() / "absent").has_value());
}

TEST(FileSystem, long_paths_work) {
    const TestTree tree;
    std::filesystem::path deep = tree.Path();
    for (int i = 0; i < 8; ++i)
        deep /= std::string(60, static_cast<char>('a' + i));
    const auto inside = std::filesystem::relative(deep, tree.Path());
    std::error_code error;
    std::filesystem::create_directories(deep, error);
    if (error)
        GTEST_SKIP() << "this machine makes no path of " << deep.native().size();
    const auto file = tree.WriteSized(inside / "file", 3);
    std::vector<FileSystem::Entry> entries;
    EXPECT_TRUE(FileSystem::ListFolder(deep, entries));
    EXPECT_EQ(entries.size(), 1U);
    ASSERT_TRUE(FileSystem::Inspect(file).has_value());
    std::uint32_t systemError = 0;
    const RemoveOutcome outcome =
        FileSystem::RemoveBelow(tree.Path(), file, std::nullopt, systemError);
    constexpr std::uint32_t kMoreData = 234;
    if (outcome == RemoveOutcome::kFailed && systemError == kMoreData) {
        EXPECT_TRUE(FileSystem::Inspect(file).has_value());
        GTEST_SKIP() << "this machine does not tell the real path of so long a name";
    }
    EXPECT_EQ(outcome, RemoveOutcome::kRemoved);
}

TEST(FileSystem, below_is_decided_by_whole_names) {
    const TestTree tree;
    const auto root = tree.Path() / "root";
    EXPECT_TRUE(FileSystem::IsBelow(root, root / "a", false));
    EXPECT_TRUE(FileSystem::IsBelow(root, root / "a" / "b", false));
    EXPECT_FALSE(FileSystem::IsBelow(root, root, false));
    EXPECT_TRUE(FileSystem::IsBelow(root, root, true));
    EXPECT_FALSE(FileSystem::IsBelow(root, tree.Path() / "rootless" / "a", true));
    EXPECT_FALSE(FileSystem::IsBelow(root, tree.Path(), true));
    EXPECT_FALSE(FileSystem::IsBelow({}, root, true));
}

TEST(FileSystem, disk_space_is_told) {
    const TestTree tree;
    const auto space = FileSystem::GetDiskSpace(tree.Path());
    ASSERT_TRUE(space.has_value());
    EXPECT_GT(space->total, 0U);
    EXPECT_LE(space->free, space->total);
}

TEST(FileSystem, text_of_a_path_goes_both_ways) {
    const std::string text = "a\xc3\xa4/\xe6\x97\xa5";
    EXPECT_EQ(FileSystem::ToUtf8(FileSystem::FromUtf8(text)), text);
}

class RemoveBelow : public testing::Test {
protected:
    RemoveOutcome Remove(const std::filesystem::path& file,
                         const std::optional<FileSystem::FileFacts>& expected = std::nullopt) {
        return FileSystem::RemoveBelow(m_Root, file, expected, m_uiError);
    }

    const TestTree m_Tree;
    const std::filesystem::path m_Root = m_Tree.Folder("root");
    const std::filesystem::path m_Outside = m_Tree.Write("outside/precious", "keep me");
    std::uint32_t m_uiError = 0;
};

TEST_F(RemoveBelow, file_below_the_root_goes) {
    const auto file = m_Tree.WriteSized("root/sub/a", 1);
    EXPECT_EQ(Remove(file, FileSystem::Inspect(file)), RemoveOutcome::kRemoved);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(Remove(file), RemoveOutcome::kMissing);
}

TEST_F(RemoveBelow, file_elsewhere_stays_whatever_the_path_says) {
    EXPECT_EQ(Remove(m_Outside), RemoveOutcome::kOutsideRoot);
    EXPECT_EQ(Remove(m_Root / ".." / "outside" / "precious"), RemoveOutcome::kOutsideRoot);
    EXPECT_EQ(TestTree::Read(m_Outside), "keep me");
}

TEST_F(RemoveBelow, folders_stay) {
    m_Tree.Folder("root/folder");
    EXPECT_EQ(Remove(m_Root / "folder"), RemoveOutcome::kNotAFile);
    EXPECT_EQ(Remove(m_Root), RemoveOutcome::kOutsideRoot);
    EXPECT_TRUE(std::filesystem::exists(m_Root / "folder"));
}

TEST_F(RemoveBelow, file_that_changed_stays) {
    const auto file = m_Tree.WriteSized("root/a", 5);
    FileSystem::FileFacts facts = FileSystem::Inspect(file).value();
    facts.size = 6;
    EXPECT_EQ(Remove(file, facts), RemoveOutcome::kChanged);
    facts = FileSystem::Inspect(file).value();
    facts.modified -= 10;
    EXPECT_EQ(Remove(file, facts), RemoveOutcome::kChanged);
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(RemoveBelow, file_behind_a_link_stays) {
    const auto inside = m_Tree.WriteSized("root/real/a", 1);
    if (!MakeLink(m_Outside.parent_path(), m_Root / "way-out", true) ||
        !MakeLink(m_Outside, m_Root / "link-out", false) ||
        !MakeLink(inside, m_Root / "link-in", false) ||
        !MakeLink(inside.parent_path(), m_Root / "way-in", true)) {
        GTEST_SKIP() << "this machine makes no links";
    }
    EXPECT_EQ(Remove(m_Root / "way-out" / "precious"), RemoveOutcome::kOutsideRoot);
    EXPECT_NE(Remove(m_Root / "link-out"), RemoveOutcome::kRemoved);
    EXPECT_EQ(Remove(m_Root / "link-in"), RemoveOutcome::kIndirect);
    EXPECT_EQ(Remove(m_Root / "way-in" / "a"), RemoveOutcome::kIndirect);
    EXPECT_EQ(TestTree::Read(m_Outside), "keep me");
    EXPECT_TRUE(std::filesystem::exists(inside));
}

TEST_F(RemoveBelow, name_with_an_embedded_nul_is_nobody) {
    m_Tree.WriteSized("root/a", 1);
    std::string text = FileSystem::ToUtf8(m_Root / "a");
    text += std::string("\0b", 2);
    EXPECT_NE(Remove(FileSystem::FromUtf8(text)), RemoveOutcome::kRemoved);
    EXPECT_TRUE(std::filesystem::exists(m_Root / "a"));
}

TEST(RemoveOutcomeName, every_outcome_has_its_word) {
    EXPECT_STREQ(FileSystem::RemoveOutcomeName(RemoveOutcome::kRemoved), "removed");
    EXPECT_STREQ(FileSystem::RemoveOutcomeName(RemoveOutcome::kMissing), "missing");
    EXPECT_STREQ(FileSystem::RemoveOutcomeName(RemoveOutcome::kNotAFile), "not-a-file");
    EXPECT_STREQ(FileSystem::RemoveOutcomeName(RemoveOutcome::kOutsideRoot), "outside-root");
    EXPECT_STREQ(FileSystem::RemoveOutcomeName(RemoveOutcome::kIndirect), "link");
    EXPECT_STREQ(FileSystem::RemoveOutcomeName(RemoveOutcome::kChanged), "changed");
    EXPECT_STREQ(FileSystem::RemoveOutcomeName(RemoveOutcome::kFailed), "failed");
}

}  // namespace
