// The exports under lack of memory: each allocation of a call fails once, then all from it on.
#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string_view>

#include "WySdk/SdkState.h"
#include "support/AllocationFaults.h"
#include "support/FakeClientHelper.h"
#include "support/FakeMail.h"
#include "support/OutputText.h"

namespace {

using test_support::FailAllocations;
using test_support::FakeClientHelper;
using test_support::FakeMail;
using test_support::OutputText;

constexpr std::uint32_t kOutOfMemory = 0xe0ff001e;
constexpr std::uint32_t kAnswered = 5;

// One run of a call, of which one allocation or all from it on fail.
class Attempt {
public:
    Attempt(std::size_t passed, FailAllocations::Mode mode) : m_uiPassed(passed), m_eMode(mode) {}

    template <class Call>
    std::uint32_t Run(Call&& call) {
        const FailAllocations faults(m_uiPassed, m_eMode);
        const std::uint32_t result = call();
        m_bHappened = faults.Happened();
        return result;
    }
    bool Happened() const { return m_bHappened; }

private:
    std::size_t m_uiPassed;
    FailAllocations::Mode m_eMode;
    bool m_bHappened = false;
};

// Makes every allocation of a call fail in turn, until the call gets through without a failure.
// Each run gives the expected answer or says that memory is lacking.
void WithEachAllocationFailing(FailAllocations::Mode mode,
                               const std::function<std::uint32_t(Attempt&)>& run) {
    std::size_t passed = 0;
    for (bool happened = true; happened; ++passed) {
        SCOPED_TRACE(passed);
        ASSERT_LT(passed, 1000U);
        Attempt attempt(passed, mode);
        const std::uint32_t result = run(attempt);
        happened = attempt.Happened();
        if (happened) {
            EXPECT_TRUE(result == kOutOfMemory || result == kAnswered) << std::hex << result;
        } else {
            EXPECT_EQ(result, kAnswered);
        }
    }
    EXPECT_GT(passed, 10U) << "the call hardly allocates";
}

// What was sent, if anything was, is the whole request. It is empty when the fake itself lacked
// the memory to note it.
void ExpectWholeRequest(FakeMail& mail, std::wstring_view request) {
    for (const FakeMail::Mail& each : mail.Mails()) {
        if (!each.request.empty()) {
            EXPECT_EQ(each.request, request);
        }
    }
    mail.Clear();
}

class Memory : public testing::TestWithParam<FailAllocations::Mode> {};

TEST_P(Memory, a_call_that_lacks_memory_says_so_or_is_complete) {
    FakeMail mail;
    mail.SetAnswer(
        LR"({"retCode":5,"data":{"progress":7,"feature":"a long text of a feature","object":"o"}})");
    WithEachAllocationFailing(GetParam(), [&mail](Attempt& attempt) {
        std::uint32_t progress = 0;
        OutputText feature;
        OutputText object;
        const std::uint32_t result = attempt.Run([&] {
            return WyGetFixProgressV2(L"a long name of a scan", L"a long name of a repair",
                                      &progress, feature.Out(), object.Out());
        });
        if (result == kAnswered) {
            EXPECT_EQ(progress, 7U);
            EXPECT_EQ(feature.Text(), L"a long text of a feature");
            EXPECT_EQ(object.Text(), L"o");
        }
        ExpectWholeRequest(mail,
                           L"{\"fixSessionId\":\"a long name of a repair\","
                           L"\"sessionId\":\"a long name of a scan\"}\n");
        return result;
    });
}

TEST_P(Memory, a_list_that_lacks_memory_is_not_sent_in_part) {
    FakeMail mail;
    mail.SetAnswer(LR"({"retCode":5,"data":{"sessionId":"scan"}})");
    WithEachAllocationFailing(GetParam(), [&mail](Attempt& attempt) {
        OutputText scan;
        const std::uint32_t result = attempt.Run(
            [&] { return WyScan(1, L"a first long item,a second long item", scan.Out()); });
        if (result == kAnswered) {
            EXPECT_EQ(scan.Text(), L"scan");
        }
        ExpectWholeRequest(mail,
                           L"{\"activeSessionId\":1,\"items\":[\"a first long item\","
                           L"\"a second long item\"]}\n");
        return result;
    });
}

TEST_P(Memory, json_text_that_lacks_memory_is_not_sent_in_part) {
    FakeMail mail;
    mail.SetAnswer(LR"({"retCode":5,"data":["a long text of a report"]})");
    WithEachAllocationFailing(GetParam(), [&mail](Attempt& attempt) {
        OutputText report;
        const std::uint32_t result = attempt.Run([&] {
            return WyRemoveBigFile(LR"({"files":["a long name of a file"]})", report.Out());
        });
        if (result == kAnswered) {
            EXPECT_EQ(report.Text(), L"[\"a long text of a report\"]\n");
        }
        ExpectWholeRequest(mail, L"{\"data\":{\"files\":[\"a long name of a file\"]}}\n");
        return result;
    });
}

TEST_P(Memory, a_call_without_arguments_sends_an_object_or_nothing) {
    FakeMail mail;
    mail.SetAnswer(L"{\"retCode\":5}");
    WithEachAllocationFailing(GetParam(), [&mail](Attempt& attempt) {
        const std::uint32_t result = attempt.Run([] { return WyUpdate(); });
        ExpectWholeRequest(mail, L"{}\n");
        return result;
    });
}

TEST_P(Memory, initialize_that_lacks_memory_leaves_no_session) {
    FakeMail mail;
    FakeClientHelper helpers;
    helpers.registerResult = kAnswered;
    std::size_t passed = 0;
    for (bool happened = true; happened; ++passed) {
        ASSERT_LT(passed, 100U);
        Attempt attempt(passed, GetParam());
        const std::uint32_t result =
            attempt.Run([] { return WyInitialize(L"a long name of an application"); });
        happened = attempt.Happened();
        if (result != kAnswered) {
            EXPECT_EQ(result, kOutOfMemory);
            EXPECT_EQ(g_pClientHelper, nullptr);
        }
        WyUninitialize();
    }
    EXPECT_GT(passed, 2U);
}

INSTANTIATE_TEST_SUITE_P(Modes, Memory,
                         testing::Values(FailAllocations::Mode::kOnce,
                                         FailAllocations::Mode::kFromThenOn),
                         [](const auto& info) {
                             return info.param == FailAllocations::Mode::kOnce ? "once"
                                                                               : "from_then_on";
                         });

}  // namespace
