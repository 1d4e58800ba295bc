// Trees of keys, in both views of the registry.

#include "lib/wycommon/WyCommon_RegistryTree.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"

namespace {

namespace Utility = WyCommon::Utility;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using KrCommon::Storage::List;
using test_support::IatPatch;
using test_support::LogRecorder;

const std::wstring kBase = L"SOFTWARE\\WyUnitTest Tree";
constexpr std::uint32_t kView32 = 1;
constexpr std::uint32_t kView64 = 2;

REGSAM FlagOf(std::uint32_t view) {
    return view == kView64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
}

bool Exists(const std::wstring& path, std::uint32_t view) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | FlagOf(view), &key) != 0)
        return false;
    RegCloseKey(key);
    return true;
}

void Make(const std::wstring& path, std::uint32_t view) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0,
                              KEY_ALL_ACCESS | FlagOf(view), nullptr, &key, nullptr),
              0);
    RegSetValueExW(key, L"value", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4);
    RegCloseKey(key);
}

// Deletes what a failed test has left.
void Clear(const std::wstring& path, std::uint32_t view) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | FlagOf(view), &key) != 0)
        return;
    wchar_t name[256];
    DWORD length = 256;
    while (RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr) == 0) {
        Clear(path + L"\\" + name, view);
        length = 256;
    }
    RegCloseKey(key);
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), FlagOf(view), 0);
}

// A tree in each view: the key "top" with "a" (a1, a2), "b" and "c" (c1, in it c11) below it, and
// "beside" beside it.
class RegistryTree : public testing::TestWithParam<std::uint32_t> {
protected:
    void SetUp() override {
        for (const std::uint32_t view : {kView32, kView64}) {
            for (const wchar_t* path :
                 {L"\\top\\a\\a1", L"\\top\\a\\a2", L"\\top\\b", L"\\top\\c\\c1\\c11", L"\\beside"})
                Make(kBase + path, view);
        }
    }
    void TearDown() override {
        Clear(kBase, kView32);
        Clear(kBase, kView64);
    }
    static std::uint32_t View() { return GetParam(); }
};

std::vector<std::pair<std::wstring, std::wstring>> Pairs(const List& parents, const List& keys) {
    std::vector<std::pair<std::wstring, std::wstring>> pairs;
    for (std::size_t i = 0; i < keys.size() && i < parents.size(); ++i)
        pairs.emplace_back(parents[i].starts_with(kBase) ? parents[i].substr(kBase.size())
                                                         : L"elsewhere: " + parents[i],
                           keys[i]);
    return pairs;
}

using Rows = std::vector<std::pair<std::wstring, std::wstring>>;

TEST_P(RegistryTree, is_listed_children_first) {
    List keys;
    List parents;
    EXPECT_TRUE(
        Utility::EnumRegistryKeyTree(HKEY_LOCAL_MACHINE, kBase, L"top", keys, parents, View()));
    EXPECT_EQ(keys.size(), parents.size());
    EXPECT_EQ(Pairs(parents, keys), (Rows{
                                        {L"\\top\\a", L"a1"},
                                        {L"\\top\\a", L"a2"},
                                        {L"\\top", L"a"},
                                        {L"\\top", L"b"},
                                        {L"\\top\\c\\c1", L"c11"},
                                        {L"\\top\\c", L"c1"},
                                        {L"\\top", L"c"},
                                        {L"", L"top"},
                                    }));
}

TEST_P(RegistryTree, is_listed_below_any_root_and_behind_what_the_lists_hold) {
    HKEY root = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kBase.c_str(), 0, KEY_READ | FlagOf(View()), &root),
              0);
    List keys = {L"held"};
    List parents = {L"held too"};
    EXPECT_TRUE(Utility::EnumRegistryKeyTree(root, L"", L"top\\a\\", keys, parents, View()));
    RegCloseKey(root);
    EXPECT_EQ(keys, (List{L"held", L"a1", L"a2", L"top\\a\\"}));
    EXPECT_EQ(parents, (List{L"held too", L"top\\a\\", L"top\\a\\", L""}));
}

TEST_P(RegistryTree, parent_may_end_in_a_separator_and_the_name_be_empty) {
    const struct {
        std::wstring parent;
        std::wstring key;
        Rows rows;
    } rows[] = {
        {kBase + L"\\top\\", L"b", {{L"\\top\\", L"b"}}},
        {kBase + L"\\top\\b", L"", {{L"\\top\\b", L""}}},
        {kBase, L"top\\b", {{L"", L"top\\b"}}},
    };
    for (const auto& row : rows) {
        List keys;
        List parents;
        EXPECT_TRUE(Utility::EnumRegistryKeyTree(HKEY_LOCAL_MACHINE, row.parent, row.key, keys,
                                                 parents, View()));
        EXPECT_EQ(Pairs(parents, keys), row.rows);
    }
}

TEST_P(RegistryTree, is_removed_in_its_view_alone) {
    const std::uint32_t other = View() == kView64 ? kView32 : kView64;
    const bool twoViews = KrCommon::OsVersion::Is64Bit();
    LogRecorder log;
    EXPECT_TRUE(Utility::RemoveRegistryKeyTree(kBase, L"top", View()));
    EXPECT_FALSE(Exists(kBase + L"\\top", View()));
    EXPECT_TRUE(Exists(kBase + L"\\beside", View()));
    EXPECT_EQ(Exists(kBase + L"\\top\\c\\c1\\c11", other), twoViews);
    std::vector<std::wstring> expected = {L"[Enter] WyCommon::Utility::RemoveRegistryKeyTree()..."};
    for (const wchar_t* key : {L"\\top\\a, a1", L"\\top\\a, a2", L"\\top, a", L"\\top, b",
                               L"\\top\\c\\c1, c11", L"\\top\\c, c1", L"\\top, c", L", top"})
        expected.push_back(L"Delete registry key: " + kBase + key);
    expected.push_back(L"[Leave] WyCommon::Utility::RemoveRegistryKeyTree()...");
    EXPECT_EQ(log.Texts(), expected);
    for (const LogRecorder::Line& line : log.Lines()) {
        const bool first = line.text.starts_with(L"[");
        EXPECT_EQ(line.level, first ? kInformation : kWarning);
        EXPECT_EQ(line.file, "WyCommon_Utility");
    }
}

TEST_P(RegistryTree, is_removed_by_its_path_alone) {
    EXPECT_TRUE(Utility::RemoveRegistryKeyTree(kBase + L"\\top", L"", View()));
    EXPECT_FALSE(Exists(kBase + L"\\top", View()));
    EXPECT_TRUE(Exists(kBase, View()));
}

TEST_P(RegistryTree, of_a_hundred_levels_is_removed) {
    std::wstring path = kBase + L"\\top";
    for (int level = 0; level < 100; ++level)
        path += L"\\x";
    Make(path, View());
    EXPECT_TRUE(Utility::RemoveRegistryKeyTree(kBase, L"top", View()));
    EXPECT_FALSE(Exists(kBase + L"\\top", View()));
}

TEST_P(RegistryTree, missing_key_is_logged_and_nothing_is_deleted) {
    LogRecorder log;
    EXPECT_TRUE(Utility::RemoveRegistryKeyTree(kBase, L"absent", View()));
    EXPECT_EQ(log.Texts(),
              (std::vector<std::wstring>{
                  L"[Enter] WyCommon::Utility::RemoveRegistryKeyTree()...",
                  L"KrCommon::Storage::Exception(): [0x00000002] [244]",
                  L"*** WyCommon::Utility::EnumRegistryKeyTree(" + kBase + L", absent) failed.",
                  L"[Leave] WyCommon::Utility::RemoveRegistryKeyTree()..."}));
    EXPECT_EQ(log.Lines()[1].level, kWarning);
    EXPECT_EQ(log.Lines()[2].level, kWarning);
}

// ---- keys that refuse

std::wstring s_RefusedEnd;  // of the path
REGSAM s_RefusedAccess = 0;
decltype(&RegOpenKeyExW) s_pOpen;

LSTATUS WINAPI OpenRefused(HKEY root, LPCWSTR path, DWORD options, REGSAM access, HKEY* key) {
    const bool refused =
        (access & 0xffff00ffU & s_RefusedAccess) != 0 && std::wstring(path).ends_with(s_RefusedEnd);
    return refused ? ERROR_ACCESS_DENIED : s_pOpen(root, path, options, access, key);
}

class OpenRefusal {
public:
    // Opens that ask for a right fail when the path ends so.
    OpenRefusal(const wchar_t* end, REGSAM access)
        : m_Patch(GetModuleHandleW(nullptr), "advapi32.dll", "RegOpenKeyExW", OpenRefused) {
        s_RefusedEnd = end;
        s_RefusedAccess = access;
        s_pOpen = m_Patch.Original<LSTATUS WINAPI(HKEY, LPCWSTR, DWORD, REGSAM, HKEY*)>();
    }

private:
    IatPatch m_Patch;
};

TEST_P(RegistryTree, key_that_cannot_be_read_stays_with_those_above_it) {
    LogRecorder log;
    {
        const OpenRefusal refusal(L"\\top\\c", KEY_ENUMERATE_SUB_KEYS);
        EXPECT_TRUE(Utility::RemoveRegistryKeyTree(kBase, L"top", View()));
    }
    EXPECT_TRUE(Exists(kBase + L"\\top\\c\\c1\\c11", View()));
    EXPECT_FALSE(Exists(kBase + L"\\top\\a", View()));
    EXPECT_FALSE(Exists(kBase + L"\\top\\b", View()));
    EXPECT_TRUE(log.Has(kWarning, L"KrCommon::Storage::Exception(): [0x00000005] [244]"));
    EXPECT_TRUE(log.Has(
        kError, L"*** WyCommon::Utility::EnumRegistryKeyTree(" + kBase + L"\\top, c) failed."));
    EXPECT_EQ(log.CountContaining(L"failed"), 1U);
    EXPECT_EQ(log.CountContaining(L"\\top, c"), 1U) << "not deleted";
}

TEST_P(RegistryTree, key_that_cannot_be_opened_for_delete_is_logged_and_the_walk_goes_on) {
    LogRecorder log;
    {
        const OpenRefusal refusal(L"\\top\\a", DELETE);
        EXPECT_TRUE(Utility::RemoveRegistryKeyTree(kBase, L"top", View()));
    }
    EXPECT_TRUE(Exists(kBase + L"\\top\\a\\a1", View()));
    EXPECT_FALSE(Exists(kBase + L"\\top\\b", View()));
    EXPECT_FALSE(Exists(kBase + L"\\top\\c", View()));
    EXPECT_TRUE(log.Has(kError, L"*** KrCommon::Storage::Exception(): [0x00000005]"));
    EXPECT_EQ(log.CountContaining(L"*** "), 2U) << "a1 and a2";
}

TEST_P(RegistryTree, nothing_named_deletes_nothing) {
    LogRecorder log;
    const OpenRefusal everything(L"", 0xffffffff);
    for (const wchar_t* parent : {L"", L"\\"})
        EXPECT_FALSE(Utility::RemoveRegistryKeyTree(parent, L"", View()));
    EXPECT_TRUE(log.Lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Views, RegistryTree, testing::Values(kView32, kView64),
                         [](const testing::TestParamInfo<std::uint32_t>& info) {
                             return info.param == kView32 ? "view32" : "view64";
                         });

}  // namespace
