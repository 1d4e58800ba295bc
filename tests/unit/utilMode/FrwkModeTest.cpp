#include "utilMode/FrwkMode.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/LogRecorder.h"
#include "utilMode/ExternalDllMode.h"

namespace {

namespace Mode = Frwk::Mode;
using KrCommon::LogLevel::kDebug;
using test_support::LogRecorder;

// This program has no suffix in its name, so the first identity is what it finds by itself.
class FrwkMode : public testing::Test {
protected:
    void SetUp() override { Mode::SetWyvarionId({}); }
    void TearDown() override { Mode::SetWyvarionId({}); }
};

TEST_F(FrwkMode, table_has_three_identities_and_an_end_row) {
    const struct {
        int id;
        const wchar_t* name;
        const wchar_t* suffix;
    } rows[] = {{0, L"Wyvarion", L""},
                {1, L"Tavrenox", L"P"},
                {2, L"Mirdoshale", L"C"},
                {-1, L"EndFlag", L"EndFlag"}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Mode::Table()[i].iModeId, rows[i].id);
        EXPECT_STREQ(Mode::Table()[i].wszName, rows[i].name);
        EXPECT_STREQ(Mode::Table()[i].wszSuffix, rows[i].suffix);
        EXPECT_EQ(Mode::IsEnd(Mode::Table()[i]), i == 3);
    }
}

TEST_F(FrwkMode, executable_without_suffix_is_the_first_identity) {
    EXPECT_EQ(Mode::GetWyvarionId(), L"Wyvarion");
    EXPECT_EQ(Mode::GetModeId(), 0);
}

TEST_F(FrwkMode, first_question_logs_nothing_and_later_ones_log_the_value) {
    LogRecorder log;
    Mode::GetWyvarionId();
    EXPECT_TRUE(log.Lines().empty());
    Mode::GetWyvarionId();
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_TRUE(log.Has(kDebug, L"utilMode: [DEBUG] s_wszWyId = Wyvarion"));
}

TEST_F(FrwkMode, set_id_is_given_back_and_logged) {
    LogRecorder log;
    Mode::SetWyvarionId(L"Tavrenox");
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_TRUE(log.Has(kDebug, L"utilMode: [DEBUG] [g_wszWyId=Tavrenox]"));
    EXPECT_EQ(Mode::GetWyvarionId(), L"Tavrenox");
}

TEST_F(FrwkMode, id_is_cut_to_its_buffer) {
    Mode::SetWyvarionId(std::wstring(259, L'x'));
    EXPECT_EQ(Mode::GetWyvarionId(), std::wstring(259, L'x'));
    Mode::SetWyvarionId(std::wstring(260, L'y'));
    EXPECT_EQ(Mode::GetWyvarionId(), std::wstring(259, L'y'));
}

TEST_F(FrwkMode, mode_id_by_product_id_ignoring_case) {
    const struct {
        const wchar_t* name;
        int id;
    } rows[] = {{L"Wyvarion", 0},   {L"WYVARION", 0}, {L"Tavrenox", 1}, {L"tavrenox", 1},
                {L"Mirdoshale", 2}, {L"EndFlag", -1}, {L"Tavreno", -1}, {L"TavrenoxP", -1}};
    for (const auto& row : rows) {
        Mode::SetWyvarionId(row.name);
        EXPECT_EQ(Mode::GetModeId(), row.id) << row.name;
    }
}

TEST_F(FrwkMode, file_names_by_identity) {
    const struct {
        const wchar_t* id;
        const wchar_t* name;
        const wchar_t* result;
    } rows[] = {
        {L"Wyvarion", L"WySvcHost.exe", L"WySvcHost.exe"},
        {L"Tavrenox", L"WySvcHost.exe", L"WySvcHost_P.exe"},
        {L"mirdoshale", L"WySvcHost.exe", L"WySvcHost_C.exe"},
        {L"Unknown", L"WySvcHost.exe", L"WySvcHost.exe"},
        {L"EndFlag", L"WySvcHost.exe", L"WySvcHost.exe"},
        {L"Tavrenox", L"a.exe.exe", L"a_P.exe_P.exe"},
        {L"Tavrenox", L"c:\\d.exe\\a.exe", L"c:\\d_P.exe\\a_P.exe"},
        {L"Tavrenox", L"noextension", L"noextension"},
        {L"Tavrenox", L"", L""},
    };
    for (const auto& row : rows) {
        Mode::SetWyvarionId(row.id);
        EXPECT_EQ(Mode::GetModeFileName(row.name), row.result) << row.id << ' ' << row.name;
    }
}

TEST_F(FrwkMode, first_question_on_many_threads_gives_each_the_same_id) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] { EXPECT_EQ(Mode::GetWyvarionId(), L"Wyvarion"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Mode::GetWyvarionId(), L"Wyvarion");
}

TEST_F(FrwkMode, decision_without_the_library_stores_nothing) {
    LogRecorder log;
    const Mode::ExternalDllMode decision(L"NotLoaded.dll", L"WySvcHost.exe");
    const auto texts = log.Texts();
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0], L"[INFO],[utilMode], ==> Frwk::Mode::ExternalDllMode::ExternalDllMode");
    EXPECT_EQ(texts[1], L"[INFO],[utilMode], <== Frwk::Mode::ExternalDllMode::ExternalDllMode");
    log.Clear();
    Mode::GetWyvarionId();
    EXPECT_TRUE(log.Lines().empty()) << "a stored identity would have been logged";
}

}  // namespace
