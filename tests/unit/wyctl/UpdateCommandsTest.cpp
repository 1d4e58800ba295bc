// The commands of the group "update", on a library that records its calls.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "ProgramFixture.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/FolderSnapshot.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"
#include "wyctl/Errors.h"
#include "wyctl/PendingMoves.h"
#include "wyctl/UpdatePlan.h"

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using test_support::Snapshot;
using ::testing::HasSubstr;
using WyCtl::PendingMove;
using Texts = std::vector<std::string>;
using namespace std::string_view_literals;

// ---- the list of the system

TEST(PendingMoves, pairs_are_read_with_prefixes_and_marks_taken_off) {
    constexpr std::wstring_view texts =
        L"\\??\\C:\\a\0!\\??\\C:\\b\0\\??\\C:\\c\0\\??\\C:\\d\0\\??\\C:\\e\0\0C:\\plain\0\0\0"sv;
    const std::vector<PendingMove> moves = WyCtl::ParsePendingMoves(texts);
    const struct {
        const wchar_t* source;
        const wchar_t* target;
        bool replaces;
    } rows[] = {{L"C:\\a", L"C:\\b", true},
                {L"C:\\c", L"C:\\d", false},
                {L"C:\\e", L"", false},
                {L"C:\\plain", L"", false}};
    ASSERT_EQ(moves.size(), std::size(rows));
    for (std::size_t i = 0; i < moves.size(); ++i) {
        EXPECT_EQ(moves[i].source, rows[i].source);
        EXPECT_EQ(moves[i].target, rows[i].target);
        EXPECT_EQ(moves[i].replaces, rows[i].replaces);
    }
}

TEST(PendingMoves, list_that_is_cut_is_read_as_far_as_it_goes) {
    EXPECT_TRUE(WyCtl::ParsePendingMoves(L"").empty());
    EXPECT_TRUE(WyCtl::ParsePendingMoves(std::wstring(3, L'\0')).empty());
    ASSERT_EQ(WyCtl::ParsePendingMoves(L"C:\\a").size(), 1U);
    EXPECT_EQ(WyCtl::ParsePendingMoves(L"C:\\a")[0].source, L"C:\\a");
    EXPECT_EQ(WyCtl::ParsePendingMoves(L"C:\\a\0!"sv)[0].target, L"");
    EXPECT_EQ(WyCtl::ParsePendingMoves(L"C:\\a\0C:\\b"sv)[0].target, L"C:\\b");
}

TEST(PendingMoves, path_lies_below_a_folder_whatever_the_case) {
    const struct {
        const wchar_t* path;
        const wchar_t* folder;
        bool below;
    } rows[] = {{L"C:\\P\\Wy", L"C:\\P\\Wy", true},
                {L"c:\\p\\wY\\a", L"C:\\P\\Wy\\", true},
                {L"C:\\P\\WyAuTemp", L"C:\\P\\Wy", false},
                {L"C:\\P", L"C:\\P\\Wy", false},
                {L"C:\\P\\Wy", L"", false},
                {L"", L"C:\\P", false},
                {L"C:\\P\\\u00c4\\x", L"C:\\P\\\u00e4", true}};
    for (const auto& row : rows)
        EXPECT_EQ(WyCtl::LiesBelow(row.path, row.folder), row.below) << row.path << row.folder;
}

// The operations that the next restart of the system is told to have.
class QueuedMoves {
public:
    explicit QueuedMoves(const std::wstring& texts, DWORD type = REG_MULTI_SZ) {
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager", 0,
                      KEY_SET_VALUE, &m_hKey);
        EXPECT_EQ(
            RegSetValueExW(m_hKey, kName, 0, type, reinterpret_cast<const BYTE*>(texts.data()),
                           static_cast<DWORD>(texts.size() * sizeof(wchar_t))),
            ERROR_SUCCESS);
    }
    QueuedMoves(const QueuedMoves&) = delete;
    QueuedMoves& operator=(const QueuedMoves&) = delete;
    ~QueuedMoves() {
        RegDeleteValueW(m_hKey, kName);
        RegCloseKey(m_hKey);
    }

private:
    static constexpr const wchar_t* kName = L"PendingFileRenameOperations";
    HKEY m_hKey = nullptr;
};

// ---- commands

// A product in "Wy" and a download in "dl".
class UpdateCommands : public ProgramFixture {
protected:
    void SetUp() override {
        Put("Wy/a.txt", "old");
        Put("Wy/sub/b.txt", "old");
        Put("dl/a.txt", "new a");
        Put("dl/sub/c.txt", "new");
        Put("dl/x/d.txt", "");
        ASSERT_TRUE(m_Key.SetText(L"ProductPath", (m_Folder.Path() / L"Wy\\").wstring()));
    }

    void Put(const fs::path& name, const std::string& text) const {
        fs::create_directories((m_Folder.Path() / name).parent_path());
        std::ofstream(m_Folder.Path() / name, std::ios::binary) << text;
    }
    std::wstring Wide(const wchar_t* name) const { return (m_Folder.Path() / name).wstring(); }
    std::string At(const wchar_t* name) const { return ToUtf8(Wide(name)); }
    // A text with the test's folder written "@".
    std::string Short(std::string text) const {
        const std::string base = ToUtf8(m_Folder.Path().wstring());
        for (std::size_t at = text.find(base); at != std::string::npos; at = text.find(base))
            text.replace(at, base.size(), "@");
        return text;
    }

    test_support::TemporaryFolder m_Folder{L"wyctl update \u00e4"};
    test_support::RegistryKey m_Key{L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY};
};

TEST_F(UpdateCommands, plan_tells_copies_moves_and_removals_and_changes_nothing) {
    Put("WyAuTemp/a.txt", "earlier");
    Put("WyAuTemp/left.txt", "earlier");
    const auto before = Snapshot(m_Folder.Path());
    ASSERT_EQ(Run({"--json", "update", "deploy", At(L"dl\\"), "--plan"}), 0) << m_Terminal.err;
    EXPECT_EQ(Snapshot(m_Folder.Path()), before);
    EXPECT_EQ(FakeSdk::Get().calls, Texts{});

    const Json::Value plan = OneJson();
    EXPECT_EQ(plan["ok"], Json::Value(true));
    EXPECT_EQ(plan["plan"], Json::Value(true));
    EXPECT_EQ(plan["download"], Json::Value(At(L"dl")));
    EXPECT_EQ(plan["product"], Json::Value(At(L"Wy")));
    EXPECT_EQ(plan["temporary"], Json::Value(At(L"WyAuTemp")));
    EXPECT_EQ(plan["bytes"].asUInt64(), 8U);
    Texts lines;
    for (const Json::Value& copy : plan["copies"]) {
        lines.push_back(Short(copy["from"].asString() + " > " + copy["to"].asString()) + " " +
                        copy["size"].asString() + (copy["replaces"].asBool() ? " replaces" : ""));
    }
    EXPECT_EQ(lines, (Texts{"@\\dl\\a.txt > @\\WyAuTemp\\a.txt 5 replaces",
                            "@\\dl\\sub\\c.txt > @\\WyAuTemp\\sub\\c.txt 3",
                            "@\\dl\\x\\d.txt > @\\WyAuTemp\\x\\d.txt 0"}));
    lines.clear();
    for (const Json::Value& move : plan["moves"]) {
        lines.push_back(Short(move["from"].asString() + " > " + move["to"].asString()) +
                        (move["folder"].asBool() ? " folder" : "") +
                        (move["leftover"].asBool() ? " leftover" : "") +
                        (move["targetExists"].asBool() ? " exists" : ""));
    }
    EXPECT_EQ(lines, (Texts{"@\\WyAuTemp\\a.txt > @\\Wy\\a.txt exists",
                            "@\\WyAuTemp\\left.txt > @\\Wy\\left.txt leftover",
                            "@\\WyAuTemp\\sub > @\\Wy\\sub folder exists",
                            "@\\WyAuTemp\\sub\\c.txt > @\\Wy\\sub\\c.txt",
                            "@\\WyAuTemp\\x > @\\Wy\\x folder",
                            "@\\WyAuTemp\\x\\d.txt > @\\Wy\\x\\d.txt"}));
    lines.clear();
    for (const Json::Value& folder : plan["removals"])
        lines.push_back(Short(folder.asString()));
    EXPECT_EQ(lines, (Texts{"@\\WyAuTemp\\x", "@\\WyAuTemp\\sub", "@\\WyAuTemp"}));
}

TEST_F(UpdateCommands, plan_for_people_ends_in_its_sum) {
    EXPECT_EQ(Run({"update", "deploy", At(L"dl"), "--plan"}), 0);
    const std::string text = Short(m_Terminal.out);
    EXPECT_THAT(text, HasSubstr("temporary  @\\WyAuTemp\n"));
    EXPECT_THAT(text, HasSubstr("@\\WyAuTemp\\sub\\ "));
    EXPECT_THAT(text, HasSubstr("replaced"));
    EXPECT_THAT(text, HasSubstr("3 file(s), 8 bytes to copy; 5 move(s) and 3 removal(s) to queue. "
                                "Nothing was changed.\n"));
}

TEST_F(UpdateCommands, plan_for_what_cannot_be_listed_fails) {
    for (const wchar_t* name : {L"missing", L"dl\\a.txt"}) {
        EXPECT_EQ(Run({"update", "deploy", At(name), "--plan"}), 1);
        EXPECT_EQ(m_Terminal.out, "");
        EXPECT_THAT(m_Terminal.err, HasSubstr(At(name) + " cannot be listed, error "));
    }
}

TEST_F(UpdateCommands, deploy_calls_the_library_once) {
    const QueuedMoves queued(L"\\??\\" + Wide(L"WyAuTemp\\a") + L'\0' + L"!\\??\\" +
                             Wide(L"Wy\\a") + L'\0' + L"\\??\\C:\\other" + L'\0' + L'\0' + L'\0');
    EXPECT_EQ(Run({"update", "deploy", At(L"dl\\")}), 0);
    EXPECT_EQ(FakeSdk::Get().calls, Texts{"WyAuDeploy(" + At(L"dl\\") + ")"});
    EXPECT_EQ(Short(m_Terminal.out),
              "copied to @\\WyAuTemp; 1 entries of the product are queued "
              "for the next restart\n");
    EXPECT_EQ(Run({"--json", "update", "deploy", At(L"dl")}), 0);
    EXPECT_EQ(OneJson()["codeHex"], Json::Value("0x20ff0000"));
    EXPECT_EQ(OneJson()["queued"].asUInt(), 1U);
    EXPECT_EQ(OneJson()["temporary"], Json::Value(At(L"WyAuTemp")));
}

TEST_F(UpdateCommands, deploy_that_fails_shows_code_and_meaning) {
    FakeSdk::Get().codes["WyAuDeploy"] = 0xe0ff0002;
    EXPECT_EQ(Run({"--json", "update", "deploy", "C:\\missing"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("WyAuDeploy failed with 0xe0ff0002: "));
    EXPECT_EQ(OneJson()["function"], Json::Value("WyAuDeploy"));
    EXPECT_EQ(OneJson()["error"], Json::Value("call"));
}

TEST_F(UpdateCommands, without_a_product_nothing_is_deployed) {
    ASSERT_TRUE(m_Key.SetText(L"ProductPath", L""));
    for (const Texts& line :
         {Texts{"update", "deploy", At(L"dl")}, Texts{"update", "deploy", At(L"dl"), "--plan"}}) {
        EXPECT_EQ(Run(line), 1);
        EXPECT_THAT(m_Terminal.err, HasSubstr("no product is installed"));
        EXPECT_EQ(FakeSdk::Get().calls, Texts{});
    }
}

TEST_F(UpdateCommands, wrong_lines_are_refused) {
    for (const Texts& line :
         {Texts{"update"}, Texts{"update", "deploy"}, Texts{"update", "deploy", ""},
          Texts{"update", "deploy", "a", "b"}, Texts{"update", "later"},
          Texts{"update", "pending", "x"}, Texts{"update", "pending", "--plan"}}) {
        EXPECT_EQ(Run(line), 2) << ::testing::PrintToString(line);
        EXPECT_EQ(m_Terminal.out, "");
        EXPECT_NE(m_Terminal.err, "");
        EXPECT_EQ(FakeSdk::Get().calls, Texts{});
    }
}

TEST_F(UpdateCommands, library_without_the_export_is_named) {
    FakeSdk::Get().hidden.insert("WyAuDeploy");
    EXPECT_EQ(Run({"update", "deploy", At(L"dl")}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("has no export WyAuDeploy"));
}

TEST_F(UpdateCommands, pending_marks_the_entries_of_the_product) {
    EXPECT_EQ(Run({"update", "pending"}), 0);
    EXPECT_EQ(m_Terminal.out, "nothing is queued for the next restart\n");
    EXPECT_EQ(Run({"--json", "update", "pending"}), 0);
    EXPECT_EQ(OneJson()["entries"].size(), 0U);

    const QueuedMoves queued(L"\\??\\" + Wide(L"WyAuTemp\\a") + L'\0' + L"!\\??\\" +
                             Wide(L"Wy\\a") + L'\0' + L"\\??\\C:\\other" + L'\0' + L'\0' +
                             L"\\??\\C:\\from" + L'\0' + L"\\??\\" + Wide(L"Wy\\to") + L'\0' +
                             L"\\??\\" + Wide(L"WyAuTemp") + L'\0' + L'\0' + L'\0');
    EXPECT_EQ(Run({"--json", "update", "pending"}), 0);
    Texts lines;
    const Json::Value answer = OneJson();
    for (const Json::Value& entry : answer["entries"]) {
        lines.push_back(
            Short(entry["action"].asString() + " " + entry["source"].asString() +
                  (entry["target"].isNull() ? "" : " > " + entry["target"].asString())) +
            (entry["replaces"].asBool() ? " replaces" : "") +
            (entry["own"].asBool() ? " own" : ""));
    }
    EXPECT_EQ(lines, (Texts{"move @\\WyAuTemp\\a > @\\Wy\\a replaces own", "remove C:\\other",
                            "move C:\\from > @\\Wy\\to own", "remove @\\WyAuTemp own"}));
    EXPECT_EQ(OneJson()["own"].asUInt(), 3U);
    EXPECT_EQ(Run({"update", "pending"}), 0);
    EXPECT_THAT(Short(m_Terminal.out), HasSubstr("*    replace  @\\WyAuTemp\\a"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("\n     remove   C:\\other"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("\n3 of 4 entries are of this product\n"));
}

TEST_F(UpdateCommands, pending_tools_of_the_product_are_its_own) {
    const QueuedMoves queued(L"\\??\\" + WyCommon::Utility::GetCommonDataRoot() +
                             L"\\ExternalTmp\\a" + L'\0' + L'\0' + L'\0');
    EXPECT_EQ(Run({"--json", "update", "pending"}), 0);
    EXPECT_EQ(OneJson()["own"].asUInt(), 1U);
}

TEST_F(UpdateCommands, pending_list_of_another_type_cannot_be_read) {
    const QueuedMoves queued(L"text", REG_SZ);
    EXPECT_EQ(Run({"update", "pending"}), 1);
    EXPECT_THAT(m_Terminal.err,
                HasSubstr("what is queued for the restart cannot be read, error 13"));
}

}  // namespace
