#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "ProgramFixture.h"
#include "wyctl/EventFeed.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kHead = "     event  content\n";
constexpr const char* kGone = "note: the service does not answer, waiting for it\n";
constexpr const char* kBack = "note: the service is back, subscribed again\n";
constexpr std::uint32_t kNoService = 0xe00106ba;

class Events : public ProgramFixture {
protected:
    // Delivers during the first wait.
    void DeliverSoon(std::uint32_t event, const wchar_t* json) {
        m_Terminal.onWait = [event, json](std::uint32_t wait) {
            if (wait == 1) {
                FakeSdk::Deliver(event, json);
            }
        };
    }

    static std::ptrdiff_t CallsOf(const std::string& call) {
        const auto& calls = FakeSdk::Get().calls;
        return std::count(calls.begin(), calls.end(), call);
    }
};

TEST_F(Events, are_shown_as_lines_below_a_head) {
    m_Terminal.interruptAtWait = 2;
    m_Terminal.onWait = [](std::uint32_t wait) {
        if (wait == 1) {
            EXPECT_EQ(FakeSdk::Deliver(7, L"{ \"eventId\": 7,\n  \"param\": {\"percent\": 5} }\n"),
                      0x20ff0000U);
            EXPECT_EQ(FakeSdk::Deliver(4294967295, L"{\"eventId\":4294967295}"), 0x20ff0000U);
        }
    };
    EXPECT_EQ(Run({"events", "7", "4294967295"}), 0);
    EXPECT_EQ(m_Terminal.out, std::string(kHead) +
                                  "         7  {\"eventId\":7,\"param\":{\"percent\":5}}\n"
                                  "4294967295  {\"eventId\":4294967295}\n");
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Events, as_json_are_one_object_per_line) {
    DeliverSoon(7, L"{\"eventId\":7,\"param\":{\"name\":\"\u00e4\"}}\n");
    EXPECT_EQ(Run({"events", "7", "--count", "1", "--json"}), 0);
    const Json::Value line = OneJson();
    EXPECT_EQ(line["ok"], Json::Value(true));
    EXPECT_EQ(line["eventId"].asUInt(), 7U);
    EXPECT_EQ(line["event"]["eventId"].asUInt(), 7U);
    EXPECT_EQ(line["event"]["param"]["name"].asString(), "\xc3\xa4");
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Events, end_after_the_count_and_take_the_subscriptions_back) {
    m_Terminal.onWait = [](std::uint32_t wait) {
        if (wait > 5) {
            FAIL() << "the count does not end it";
        }
        for (int i = 0; i < 2; ++i) {
            FakeSdk::Deliver(7, L"{\"eventId\":7}");
        }
    };
    EXPECT_EQ(Run({"events", "7", "9", "--count", "3", "--json"}), 0);
    EXPECT_EQ(JsonLines().size(), 3U) << "of four that came";
    EXPECT_EQ(m_Terminal.waits, 2U);
    EXPECT_THAT(FakeSdk::Get().calls,
                ElementsAre("WyInitialize(wyctl)", "WySubscribeEvent(7)", "WySubscribeEvent(9)",
                            "WyUnsubscribeEvent(7)", "WyUnsubscribeEvent(9)", "WyUninitialize()"));
    EXPECT_THAT(FakeSdk::Get().callbacks, IsEmpty());
}

TEST_F(Events, end_at_interrupt_with_success_and_take_the_subscriptions_back) {
    m_Terminal.interruptAtWait = 3;
    EXPECT_EQ(Run({"events", "7"}), 0);
    EXPECT_EQ(m_Terminal.waits, 3U);
    EXPECT_EQ(m_Terminal.lastWait, 100U);
    EXPECT_EQ(m_Terminal.out, kHead);
    EXPECT_EQ(m_Terminal.err, "");
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyInitialize(wyctl)", "WySubscribeEvent(7)",
                                                  "WyUnsubscribeEvent(7)", "WyUninitialize()"));
}

TEST_F(Events, without_numbers_are_those_that_the_library_knows) {
    m_Terminal.interruptAtWait = 1;
    EXPECT_EQ(Run({"events"}), 0);
    EXPECT_EQ(FakeSdk::Get().calls.at(1), "WySubscribeEvent(32769)");
}

TEST_F(Events, numbers_are_decimal_or_hexadecimal) {
    m_Terminal.interruptAtWait = 1;
    EXPECT_EQ(Run({"events", "0x10", "010", "0XffFFffFF", "0"}), 0);
    EXPECT_THAT(
        FakeSdk::Get().calls,
        ElementsAre("WyInitialize(wyctl)", "WySubscribeEvent(16)", "WySubscribeEvent(10)",
                    "WySubscribeEvent(4294967295)", "WySubscribeEvent(0)", "WyUnsubscribeEvent(16)",
                    "WyUnsubscribeEvent(10)", "WyUnsubscribeEvent(4294967295)",
                    "WyUnsubscribeEvent(0)", "WyUninitialize()"));
}

TEST_F(Events, refused_subscription_takes_the_earlier_ones_back_and_fails) {
    FakeSdk::Get().refusedEvent = 9;
    EXPECT_EQ(Run({"events", "7", "8", "9", "10"}), 1);
    EXPECT_THAT(FakeSdk::Get().calls,
                ElementsAre("WyInitialize(wyctl)", "WySubscribeEvent(7)", "WySubscribeEvent(8)",
                            "WySubscribeEvent(9)", "WyUnsubscribeEvent(7)", "WyUnsubscribeEvent(8)",
                            "WyUninitialize()"));
    EXPECT_EQ(m_Terminal.out, "");
    EXPECT_EQ(m_Terminal.err, "wyctl: WySubscribeEvent failed with 0xe0ff000e: not found\n");

    EXPECT_EQ(Run({"events", "9", "--json"}), 1);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["error"], Json::Value("call"));
    EXPECT_EQ(answer["function"], Json::Value("WySubscribeEvent"));
    EXPECT_EQ(answer["codeHex"], Json::Value("0xe0ff000e"));
    EXPECT_EQ(answer["meaning"], Json::Value("not found"));
}

TEST_F(Events, session_that_cannot_be_opened_is_a_failure) {
    FakeSdk::Get().codes["WyInitialize"] = kNoService;
    EXPECT_EQ(Run({"events", "7"}), 1);
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyInitialize(wyctl)"));
    EXPECT_THAT(m_Terminal.err, HasSubstr("WyInitialize failed with 0xe00106ba"));
}

TEST_F(Events, library_without_the_subscription_calls_is_a_failure) {
    FakeSdk::Get().hidden = {"WySubscribeEvent"};
    EXPECT_EQ(Run({"events", "7"}), 1);
    EXPECT_EQ(m_Terminal.err, "wyctl: WySdk.dll has no export WySubscribeEvent\n");
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyInitialize(wyctl)", "WyUninitialize()"));

    // The end of the session takes everything back as well.
    FakeSdk::Get().hidden = {"WyUnsubscribeEvent"};
    DeliverSoon(7, L"{}");
    m_Terminal.waits = 0;
    EXPECT_EQ(Run({"events", "7", "--count", "1"}), 0);
    EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()");
}

TEST_F(Events, subscriptions_are_renewed_once_a_second) {
    m_Terminal.interruptAtWait = 31;
    EXPECT_EQ(Run({"events", "7", "9"}), 0);
    EXPECT_EQ(m_Terminal.waits * m_Terminal.lastWait, 3100U) << "milliseconds";
    EXPECT_EQ(CallsOf("WySubscribeEvent(7)"), 1 + 3);
    EXPECT_EQ(CallsOf("WySubscribeEvent(9)"), 1 + 3);
    EXPECT_EQ(m_Terminal.err, "") << "nothing happened that a person has to know";

    m_Terminal.waits = 0;
    m_Terminal.interruptAtWait = 10;
    EXPECT_EQ(Run({"events", "7"}), 0);
    EXPECT_EQ(CallsOf("WySubscribeEvent(7)"), 1) << "Ctrl+C comes first";
}

TEST_F(Events, service_that_goes_and_comes_back_is_noted_once_each) {
    m_Terminal.interruptAtWait = 65;
    m_Terminal.onWait = [this](std::uint32_t wait) {
        auto& codes = FakeSdk::Get().codes;
        if (wait == 15) {
            codes["WySubscribeEvent"] = kNoService;
        } else if (wait == 29) {
            EXPECT_EQ(m_Terminal.err, kGone);
        } else if (wait == 45) {
            EXPECT_EQ(m_Terminal.err, kGone) << "said once";
            codes.clear();
        } else if (wait == 55) {
            EXPECT_EQ(m_Terminal.err, std::string(kGone) + kBack);
            FakeSdk::Deliver(7, L"{\"eventId\":7}");
        }
    };
    EXPECT_EQ(Run({"events", "7", "9"}), 0);
    EXPECT_EQ(m_Terminal.err, std::string(kGone) + kBack);
    EXPECT_THAT(m_Terminal.out, HasSubstr("         7  {\"eventId\":7}\n"));
    // At 2, 3 and 4 seconds the first refusal is enough to know.
    EXPECT_EQ(CallsOf("WySubscribeEvent(7)"), 1 + 6);
    EXPECT_EQ(CallsOf("WySubscribeEvent(9)"), 1 + 3);
    EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()");
}

TEST_F(Events, interrupt_while_the_service_is_away_is_a_success) {
    m_Terminal.interruptAtWait = 15;
    m_Terminal.onWait = [](std::uint32_t wait) {
        if (wait == 5) {
            for (const char* name : {"WySubscribeEvent", "WyUnsubscribeEvent", "WyUninitialize"}) {
                FakeSdk::Get().codes[name] = kNoService;
            }
        }
    };
    EXPECT_EQ(Run({"events", "7"}), 0);
    EXPECT_EQ(m_Terminal.err, kGone);
    EXPECT_EQ(FakeSdk::Get().calls.back(), "WyUninitialize()");
}

TEST_F(Events, session_that_cannot_be_closed_is_a_failure) {
    m_Terminal.interruptAtWait = 1;
    FakeSdk::Get().codes["WyUninitialize"] = 0xe00106be;
    EXPECT_EQ(Run({"events", "7"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("WyUninitialize failed with 0xe00106be"));
}

TEST_F(Events, text_that_is_no_json_is_shown_as_it_is) {
    DeliverSoon(7, L"{half");
    EXPECT_EQ(Run({"events", "7", "--count", "1"}), 0);
    EXPECT_EQ(m_Terminal.out, std::string(kHead) + "         7  {half\n");
    m_Terminal.waits = 0;
    EXPECT_EQ(Run({"events", "7", "--count", "1", "--json"}), 0);
    EXPECT_EQ(OneJson()["event"], Json::Value("{half"));
}

TEST_F(Events, that_came_too_fast_are_counted_and_the_newest_shown) {
    m_Terminal.interruptAtWait = 2;
    m_Terminal.onWait = [](std::uint32_t wait) {
        for (std::size_t i = 0; wait == 1 && i < WyCtl::EventFeed::kCapacity + 3; ++i) {
            FakeSdk::Deliver(7, std::to_wstring(i).c_str());
        }
    };
    EXPECT_EQ(Run({"events", "7"}), 0);
    EXPECT_EQ(m_Terminal.err, "note: 3 event(s) came too fast to show\n");
    EXPECT_EQ(std::count(m_Terminal.out.begin(), m_Terminal.out.end(), '\n'), 1 + 10000);
    EXPECT_THAT(m_Terminal.out, ::testing::StartsWith(std::string(kHead) + "         7  3\n"));
    EXPECT_THAT(m_Terminal.out, ::testing::EndsWith("         7  10002\n"));

    // The next run starts with an empty feed.
    m_Terminal.waits = 0;
    m_Terminal.onWait = nullptr;
    EXPECT_EQ(Run({"events", "7"}), 0);
    EXPECT_EQ(m_Terminal.out, kHead);
    EXPECT_EQ(m_Terminal.err, "");
}

// One event comes for each that is shown; Ctrl+C and the renewals have their turn all the same.
TEST_F(Events, storm_stops_neither_interrupt_nor_renewal) {
    class StormTerminal : public FakeTerminal {
    public:
        void Out(std::string_view text) override {
            FakeTerminal::Out(text);
            ASSERT_LT(++m_Lines, 1000U) << "nothing else has its turn";
            FakeSdk::Deliver(7, L"{}");
        }

    private:
        std::uint32_t m_Lines = 0;
    };
    StormTerminal terminal;
    terminal.interruptAtWait = 12;
    EXPECT_EQ(WyCtl::RunProgram({"events", "7"}, terminal, m_Loader), 0);
    EXPECT_EQ(CallsOf("WySubscribeEvent(7)"), 2);
}

TEST_F(Events, in_a_batch_use_its_session) {
    const std::string path = ::testing::TempDir() + "wyctl-events.txt";
    std::ofstream(path, std::ios::binary) << "events 7 --count 1\npublish 8\n";
    DeliverSoon(7, L"{}");
    EXPECT_EQ(Run({"batch", path}), 0);
    std::remove(path.c_str());
    EXPECT_THAT(FakeSdk::Get().calls,
                ElementsAre("WyInitialize(wyctl)", "WySubscribeEvent(7)", "WyUnsubscribeEvent(7)",
                            "WyPublishEvent(8)", "WyUninitialize()"));
}

class Publish : public ProgramFixture {};

TEST_F(Publish, without_a_parameter) {
    EXPECT_EQ(Run({"publish", "7"}), 0);
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyPublishEvent(7)"));
    EXPECT_EQ(m_Terminal.out, "published event 7\n");
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Publish, with_a_parameter_of_any_json_passed_unchanged) {
    for (const char* param :
         {"{\"percent\": 5}", "[1,{\"a\":\"\xc3\xa4\"}]", "[]", "5", "null", "\"text\""}) {
        EXPECT_EQ(Run({"publish", "0x7", param}), 0) << param;
        EXPECT_THAT(FakeSdk::Get().calls,
                    ElementsAre("WyPublishEventEx(7, " + std::string(param) + ")"));
        EXPECT_EQ(m_Terminal.out, "published event 7\n");
    }
}

TEST_F(Publish, as_json) {
    EXPECT_EQ(Run({"publish", "4294967295", "{}", "--json"}), 0);
    EXPECT_EQ(OneJson()["ok"], Json::Value(true));
    EXPECT_EQ(OneJson()["eventId"].asUInt(), 4294967295U);
}

TEST_F(Publish, failed_call_tells_code_and_meaning) {
    FakeSdk::Get().codes = {{"WyPublishEvent", kNoService}, {"WyPublishEventEx", 0xe0ff000e}};
    EXPECT_EQ(Run({"publish", "7"}), 1);
    EXPECT_EQ(m_Terminal.out, "");
    EXPECT_THAT(m_Terminal.err, HasSubstr("WyPublishEvent failed with 0xe00106ba: no service"));
    EXPECT_EQ(Run({"publish", "7", "1", "--json"}), 1);
    EXPECT_EQ(OneJson()["function"], Json::Value("WyPublishEventEx"));
}

TEST(EventFeed, gives_everything_once_and_in_order) {
    WyCtl::EventFeed feed;
    feed.Push(1, L"a");
    feed.Push(2, L"b");
    const auto events = feed.TakeAll();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].id, 1U);
    EXPECT_EQ(events[0].text, L"a");
    EXPECT_EQ(events[1].text, L"b");
    EXPECT_TRUE(feed.TakeAll().empty());
    EXPECT_EQ(feed.Dropped(), 0U);
}

TEST(EventFeed, full_one_keeps_the_newest_and_counts) {
    WyCtl::EventFeed feed;
    for (std::size_t i = 0; i < WyCtl::EventFeed::kCapacity + 2; ++i) {
        feed.Push(static_cast<std::uint32_t>(i), L"");
    }
    EXPECT_EQ(feed.Dropped(), 2U);
    feed.Clear();
    EXPECT_EQ(feed.Dropped(), 0U);
    EXPECT_TRUE(feed.TakeAll().empty());
    for (std::size_t i = 0; i < WyCtl::EventFeed::kCapacity + 2; ++i) {
        feed.Push(static_cast<std::uint32_t>(i), L"");
    }
    const auto events = feed.TakeAll();
    EXPECT_EQ(events.size(), WyCtl::EventFeed::kCapacity);
    EXPECT_EQ(events.front().id, 2U);
}

}  // namespace
