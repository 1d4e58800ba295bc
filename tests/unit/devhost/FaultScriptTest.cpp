#include "devhost/FaultScript.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using DevHost::FaultPlan;
using DevHost::FaultScript;
using DevHost::FaultSubject;
using DevHost::ReplyPieces;

constexpr std::uint32_t kMailCommand = 8273;

FaultSubject Api(std::uint32_t apiId) {
    return {kMailCommand, apiId, true};
}

FaultSubject Command(std::uint32_t commandId) {
    return {commandId, std::nullopt, false};
}

bool IsNone(const ReplyPieces& pieces) {
    return !pieces.resultCode && !pieces.bodyId && !pieces.report && !pieces.mailResult &&
           !pieces.packer && !pieces.child && !pieces.json;
}

bool IsNothing(const FaultPlan& plan) {
    return plan.delayMs == 0 && !plan.failure && !plan.bytes && !plan.truncate &&
           !plan.mailResult && !plan.resultCode && !plan.retCode && !plan.text &&
           !plan.omitRetCode && !plan.omitData && !plan.size && !plan.mistypeRetCode &&
           !plan.mistypeData && IsNone(plan.omit) && IsNone(plan.mistype) && plan.absenceMs == 0 &&
           plan.end == FaultPlan::End::kNone;
}

void ParseGood(FaultScript& script, const std::string& text) {
    std::string error;
    ASSERT_TRUE(script.Parse(text, error)) << text << ": " << error;
}

TEST(FaultScript, empty_script_does_nothing) {
    FaultScript script;
    ParseGood(script, " \n ; # only a comment\n");
    EXPECT_TRUE(script.IsEmpty());
    EXPECT_TRUE(IsNothing(script.Match(Api(1))));
    EXPECT_EQ(script.Remaining(), "");
}

TEST(FaultScript, one_request_unless_a_count_is_given) {
    FaultScript script;
    ParseGood(script, "api:400013001 unknown-client");
    EXPECT_EQ(script.Match(Api(400013001)).failure, 0x803U);
    EXPECT_TRUE(IsNothing(script.Match(Api(400013001))));
    EXPECT_TRUE(script.IsEmpty());
}

TEST(FaultScript, targets_match_their_own_requests_only) {
    FaultScript script;
    ParseGood(script, "api:5 x* fail 1; mail:5 x* fail 2; cmd:0x2052 x* fail 3");
    EXPECT_EQ(script.Match(Api(5)).failure, 1U);
    EXPECT_EQ(script.Match({kMailCommand, 5, false}).failure, 2U);
    EXPECT_EQ(script.Match(Command(0x2052)).failure, 3U);
    EXPECT_TRUE(IsNothing(script.Match(Api(6))));
    EXPECT_TRUE(IsNothing(script.Match(Command(0x2053))));
    ParseGood(script, "any x* fail 4");
    EXPECT_EQ(script.Match(Command(0x2053)).failure, 4U);
    EXPECT_EQ(script.Match(Api(6)).failure, 4U);
}

TEST(FaultScript, first_statement_with_requests_left_acts) {
    FaultScript script;
    ParseGood(script, "api:1 x2 fail 10\napi:1 x1 fail 20");
    EXPECT_EQ(script.Match(Api(1)).failure, 10U);
    EXPECT_EQ(script.Match(Api(1)).failure, 10U);
    EXPECT_EQ(script.Match(Api(1)).failure, 20U);
    EXPECT_TRUE(IsNothing(script.Match(Api(1))));
}

TEST(FaultScript, skip_lets_requests_pass) {
    FaultScript script;
    ParseGood(script, "api:1 x1 skip 2 fail 9");
    EXPECT_TRUE(IsNothing(script.Match(Api(1))));
    EXPECT_EQ(script.Remaining(), "api:1 x1 skip 1 fail 9");
    EXPECT_TRUE(IsNothing(script.Match(Api(1))));
    EXPECT_EQ(script.Match(Api(1)).failure, 9U);
}

TEST(FaultScript, nth_counts_all_matching_requests) {
    FaultScript script;
    ParseGood(script,
              "api:1 nth 2 fail 2; api:1 nth 0x3 fail 3; api:1 x2 nth 5 fail 5; "
              "api:1 x2 fail 9; any nth 9 fail 10");
    EXPECT_EQ(script.Match(Api(1)).failure, 9U);
    EXPECT_EQ(script.Match(Api(1)).failure, 2U);
    EXPECT_EQ(script.Remaining(),
              "api:1 x1 fail 3; api:1 x2 nth 3 fail 5; api:1 x1 fail 9; any x1 nth 7 fail 10");
    EXPECT_EQ(script.Match(Api(1)).failure, 3U);
    EXPECT_TRUE(IsNothing(script.Match(Api(2))));
    EXPECT_EQ(script.Match(Api(1)).failure, 9U);
    EXPECT_EQ(script.Match(Api(1)).failure, 5U);
    EXPECT_EQ(script.Match(Api(1)).failure, 5U);
    EXPECT_TRUE(IsNothing(script.Match(Api(1))));
    EXPECT_EQ(script.Match(Api(1)).failure, 10U);
    EXPECT_TRUE(script.IsEmpty());
}

TEST(FaultScript, nth_that_finds_its_request_taken_waits_for_the_next) {
    FaultScript script;
    ParseGood(script, "api:1 skip 1 fail 1; api:1 nth 2 fail 2");
    EXPECT_TRUE(IsNothing(script.Match(Api(1))));
    EXPECT_EQ(script.Match(Api(1)).failure, 1U);
    EXPECT_EQ(script.Match(Api(1)).failure, 2U);
}

TEST(FaultScript, every_action_is_understood) {
    FaultScript script;
    ParseGood(script,
              "any delay 250, fail 0x10, bytes ca00ff, truncate 7, mailresult 0xe0ff0001, "
              "resultcode 3, retcode 4, omit mailresult, omit packer, omit child, omit json, "
              "omit body, omit bodyid, omit resultcode, omit retcode, omit data, crash");
    const FaultPlan plan = script.Match(Command(1));
    EXPECT_EQ(plan.delayMs, 250U);
    EXPECT_EQ(plan.failure, 0x10U);
    EXPECT_EQ(plan.bytes, (std::vector<std::uint8_t>{0xca, 0x00, 0xff}));
    EXPECT_EQ(plan.truncate, 7U);
    EXPECT_EQ(plan.mailResult, 0xe0ff0001U);
    EXPECT_EQ(plan.resultCode, 3U);
    EXPECT_EQ(plan.retCode, 4U);
    EXPECT_TRUE(plan.omit.mailResult && plan.omit.packer && plan.omit.child && plan.omit.json &&
                plan.omit.report && plan.omit.bodyId && plan.omit.resultCode);
    EXPECT_TRUE(plan.omitRetCode && plan.omitData);
    EXPECT_EQ(plan.end, FaultPlan::End::kCrash);
}

TEST(FaultScript, each_field_is_omitted_or_mistyped_by_itself) {
    struct Row {
        const char* field;
        bool ReplyPieces::*piece;
    };
    for (const Row& row : {Row{"resultcode", &ReplyPieces::resultCode},
                           {"bodyid", &ReplyPieces::bodyId},
                           {"body", &ReplyPieces::report},
                           {"mailresult", &ReplyPieces::mailResult},
                           {"packer", &ReplyPieces::packer},
                           {"child", &ReplyPieces::child},
                           {"json", &ReplyPieces::json}}) {
        FaultScript script;
        ParseGood(script, std::string("any omit ") + row.field + "; any mistype " + row.field);
        FaultPlan plan = script.Match(Command(1));
        EXPECT_TRUE(plan.omit.*row.piece) << row.field;
        plan.omit.*row.piece = false;
        EXPECT_TRUE(IsNothing(plan)) << row.field;
        plan = script.Match(Command(1));
        EXPECT_TRUE(plan.mistype.*row.piece) << row.field;
        plan.mistype.*row.piece = false;
        EXPECT_TRUE(IsNothing(plan)) << row.field;
    }
    FaultScript script;
    ParseGood(script, "any mistype retcode; any mistype data");
    FaultPlan plan = script.Match(Command(1));
    EXPECT_TRUE(plan.mistypeRetCode && !plan.mistypeData);
    plan = script.Match(Command(1));
    EXPECT_TRUE(plan.mistypeData && !plan.mistypeRetCode);
}

TEST(FaultScript, size_of_a_reply_has_a_limit) {
    FaultScript script;
    ParseGood(script, "any size 0; any size 0x10000000");
    EXPECT_EQ(script.Match(Command(1)).size, 0U);
    EXPECT_EQ(script.Match(Command(1)).size, 256U * 1024 * 1024);
}

TEST(FaultScript, text_in_hexadecimal_may_hold_any_byte) {
    FaultScript script;
    ParseGood(script, "any texthex 613B2362002C20C3A4, delay 3; any texthex -");
    FaultPlan plan = script.Match(Command(1));
    EXPECT_EQ(plan.text, std::string("a;#b\0, \xc3\xa4", 9));
    EXPECT_EQ(plan.delayMs, 3U);
    EXPECT_EQ(script.Match(Command(1)).text, "");
}

TEST(FaultScript, crash_can_have_a_time_of_absence) {
    FaultScript script;
    ParseGood(script,
              "any crash-restart; any crash-restart 750; any crash-restart 0x10, delay 2; "
              "any crash-restart, delay 4; any crash-restart 600000");
    const std::pair<std::uint32_t, std::uint32_t> expected[] = {
        {0, 0}, {750, 0}, {16, 2}, {0, 4}, {600'000, 0}};
    for (const auto& [absence, delay] : expected) {
        const FaultPlan plan = script.Match(Command(1));
        EXPECT_EQ(plan.end, FaultPlan::End::kCrashRestart);
        EXPECT_EQ(plan.absenceMs, absence);
        EXPECT_EQ(plan.delayMs, delay);
    }
}

TEST(FaultScript, what_remains_keeps_times_texts_and_sizes) {
    FaultScript script;
    ParseGood(script,
              "any x2 crash-restart 750; any texthex 7b3b7d; any x* size 65536 , mistype json");
    EXPECT_EQ(script.Match(Command(1)).absenceMs, 750U);
    EXPECT_EQ(script.Remaining(),
              "any x1 crash-restart 750; any x1 texthex 7b3b7d; "
              "any x* size 65536 , mistype json");
    FaultScript successor;
    ParseGood(successor, script.Remaining());
    EXPECT_EQ(successor.Remaining(), script.Remaining());
    EXPECT_EQ(successor.Match(Command(1)).absenceMs, 750U);
    EXPECT_EQ(successor.Match(Command(1)).text, "{;}");
}

TEST(FaultScript, the_three_ends) {
    FaultScript script;
    ParseGood(script, "any crash; any crash-restart; any restart");
    EXPECT_EQ(script.Match(Command(1)).end, FaultPlan::End::kCrash);
    EXPECT_EQ(script.Match(Command(1)).end, FaultPlan::End::kCrashRestart);
    EXPECT_EQ(script.Match(Command(1)).end, FaultPlan::End::kRestart);
}

TEST(FaultScript, text_runs_to_the_end_of_the_statement) {
    FaultScript script;
    ParseGood(script, "api:1 delay 5, text {\"retCode\": 1, \"data\": [1, 2]} ; api:2 fail 1");
    const FaultPlan plan = script.Match(Api(1));
    EXPECT_EQ(plan.delayMs, 5U);
    EXPECT_EQ(plan.text, "{\"retCode\": 1, \"data\": [1, 2]}");
    EXPECT_EQ(script.Match(Api(2)).failure, 1U);
}

TEST(FaultScript, no_bytes_at_all_can_be_asked_for) {
    FaultScript script;
    ParseGood(script, "any bytes -");
    const FaultPlan plan = script.Match(Command(1));
    ASSERT_TRUE(plan.bytes.has_value());
    EXPECT_TRUE(plan.bytes->empty());
}

TEST(FaultScript, comments_and_line_ends_of_both_kinds) {
    FaultScript script;
    ParseGood(script, "# head\r\napi:1 fail 1 # tail\r\n\r\napi:2 fail 2");
    EXPECT_EQ(script.Match(Api(1)).failure, 1U);
    EXPECT_EQ(script.Match(Api(2)).failure, 2U);
}

TEST(FaultScript, what_remains_parses_to_the_same) {
    FaultScript script;
    ParseGood(script,
              "api:1 x3 skip 1 delay 5, omit json; cmd:0x2052 x* fail 3; any crash; "
              "mail:7 text {\"a\": 1}");
    script.Match(Command(0x2052));
    EXPECT_TRUE(IsNothing(script.Match(Api(1))));
    script.Match(Api(1));
    EXPECT_EQ(script.Match({kMailCommand, 9, true}).end, FaultPlan::End::kCrash);

    FaultScript successor;
    ParseGood(successor, script.Remaining());
    EXPECT_EQ(successor.Remaining(), script.Remaining());
    EXPECT_EQ(script.Remaining(),
              "api:1 x2 delay 5, omit json; cmd:0x2052 x* fail 3; mail:7 x1 text {\"a\": 1}");
}

TEST(FaultScript, mistakes_are_told_and_add_nothing) {
    const std::pair<const char*, const char*> mistakes[] = {
        {"fail 3", "begins with"},
        {"api:x fail 3", "no number"},
        {"api: fail 3", "no number"},
        {"api:1", "action is missing"},
        {"api:1 x2", "action is missing"},
        {"api:1 x0 fail 3", "above 0"},
        {"api:1 x9z fail 3", "above 0"},
        {"api:1 skip fail 3", "\"skip\" needs"},
        {"api:1 nth fail 3", "\"nth\" needs"},
        {"api:1 nth 0 fail 3", "above 0"},
        {"api:1 fail", "needs a number"},
        {"api:1 fail 0x1ffffffff", "32 bits"},
        {"api:1 fail -1", "32 bits"},
        {"api:1 delay 600001", "at most"},
        {"api:1 bytes abc", "pairs"},
        {"api:1 bytes zz", "pairs"},
        {"api:1 bytes", "pairs"},
        {"api:1 omit everything", "does not know"},
        {"api:1 omit", "does not know"},
        {"api:1 text", "needs a text"},
        {"api:1 mistype everything", "does not know"},
        {"api:1 mistype", "does not know"},
        {"api:1 texthex", "pairs"},
        {"api:1 texthex abc", "pairs"},
        {"api:1 texthex zz", "pairs"},
        {"api:1 size", "needs a number"},
        {"api:1 size 268435457", "256 MiB"},
        {"api:1 size -1", "32 bits"},
        {"api:1 crash-restart soon", "at most 600000"},
        {"api:1 crash-restart 600001", "at most 600000"},
        {"api:1 crash-restart -1", "at most 600000"},
        {"api:1 crash-restart 5 6", "not expected"},
        {"api:1 crash 5", "not expected"},
        {"api:1 restart 5", "not expected"},
        {"api:1 crash,", "action is missing"},
        {"api:1 crash fail 3", "not expected"},
        {"api:1 explode", "unknown action"},
    };
    for (const auto& [text, reason] : mistakes) {
        FaultScript script;
        std::string error;
        EXPECT_FALSE(script.Parse(std::string("any fail 1;") + text, error)) << text;
        EXPECT_NE(error.find(reason), std::string::npos) << text << ": " << error;
        EXPECT_NE(error.find(text), std::string::npos) << error;
        EXPECT_TRUE(script.IsEmpty()) << text;
    }
}

TEST(FaultScript, many_threads_get_exactly_the_count) {
    FaultScript script;
    ParseGood(script, "any x1000 fail 1");
    std::atomic<unsigned> hits = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 500; ++k) {
                if (script.Match(Command(1)).failure.has_value())
                    ++hits;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(hits, 1000U);
    EXPECT_TRUE(script.IsEmpty());
}

}  // namespace
