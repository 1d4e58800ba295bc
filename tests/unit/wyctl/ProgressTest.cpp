#include "wyctl/Progress.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "FakeSdk.h"
#include "FakeTerminal.h"
#include "wyctl/Errors.h"

namespace {

using WyCtl::LongWork;
using WyCtl::ProgressMode;
using WyCtl::ProgressView;

class Progress : public ::testing::Test {
protected:
    FakeTerminal m_Terminal;
    WyCtl::Context m_Context{m_Terminal, FakeSdk::Reset()};
};

TEST_F(Progress, lines_come_every_ten_per_cent_and_with_each_stage) {
    ProgressView view(m_Context, "scan");
    for (const std::uint32_t percent : {0U, 3U, 9U, 11U, 12U, 40U}) {
        view.Show(percent, "first", "C:\\x");
    }
    view.Show(41, "second", "C:\\y");
    view.Show(100, "second", "");
    view.Finish("done");
    EXPECT_EQ(m_Terminal.err,
              "scan   0 %  first\n"
              "scan  11 %  first\n"
              "scan  40 %  first\n"
              "scan  41 %  second\n"
              "scan 100 %  done\n");
    EXPECT_EQ(m_Terminal.out, "");
}

TEST_F(Progress, bar_is_drawn_over_and_fits_a_narrow_terminal) {
    m_Terminal.interactive = true;
    ProgressView view(m_Context, "scan");
    view.Show(50, "files", std::string(200, 'x'));
    EXPECT_EQ(m_Terminal.err.substr(0, 47), "\rscan [############............]  50 %  files: ");
    EXPECT_EQ(m_Terminal.err.size(), 1U + 79U);
    m_Terminal.err.clear();
    view.Show(100, "", "");
    view.Finish("done");
    const std::size_t last = m_Terminal.err.rfind('\r');
    EXPECT_EQ(m_Terminal.err.substr(last), "\rscan [########################] 100 %  done\n");
    // The blanks that wipe the longer line before.
    EXPECT_EQ(m_Terminal.err.find("\r", 1) - 1, 79U);
}

TEST_F(Progress, bar_that_is_left_ends_its_line) {
    m_Context.Options().progress = ProgressMode::Bar;
    { ProgressView(m_Context, "scan").Show(5, "", ""); }
    EXPECT_EQ(m_Terminal.err.back(), '\n');
}

TEST_F(Progress, names_cannot_steer_the_terminal) {
    m_Context.Options().progress = ProgressMode::Bar;
    ProgressView(m_Context, "scan").Show(5, "a\x1b[2J", "b\n");
    EXPECT_EQ(m_Terminal.err.find('\x1b'), std::string::npos);
    EXPECT_EQ(m_Terminal.err.find('\n'), m_Terminal.err.size() - 1);
}

TEST_F(Progress, nothing_is_shown_for_json_or_on_request) {
    m_Context.Options().json = true;
    m_Context.Options().progress = ProgressMode::Bar;
    ProgressView(m_Context, "scan").Finish("done");
    m_Context.Options().json = false;
    m_Context.Options().progress = ProgressMode::None;
    ProgressView(m_Context, "scan").Finish("done");
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Progress, more_than_hundred_counts_as_hundred) {
    int polls = 0;
    WyCtl::FollowToEnd(m_Context, {"scan",
                                   [&polls] {
                                       ++polls;
                                       return LongWork::Step{4000000000U, "", ""};
                                   },
                                   [] { FAIL() << "nothing to cancel"; }});
    EXPECT_EQ(polls, 1);
    EXPECT_EQ(m_Terminal.err, "scan 100 %  done\n");
}

TEST_F(Progress, interrupt_cancels_and_is_reported) {
    m_Terminal.interruptAtWait = 3;
    int cancels = 0;
    const LongWork work{"scan", [] { return LongWork::Step{20, "", ""}; }, [&] { ++cancels; }};
    EXPECT_THROW(WyCtl::FollowToEnd(m_Context, work), WyCtl::Cancelled);
    EXPECT_EQ(cancels, 1);
    EXPECT_EQ(m_Terminal.err, "scan  20 %\nscan: cancelled\n");
}

TEST_F(Progress, failure_of_a_poll_passes_through) {
    const LongWork work{"scan", []() -> LongWork::Step { throw std::runtime_error("gone"); },
                        [] {}};
    EXPECT_THROW(WyCtl::FollowToEnd(m_Context, work), std::runtime_error);
}

}  // namespace
