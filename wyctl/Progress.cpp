#include "wyctl/Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "wyctl/Errors.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

constexpr std::uint32_t kDone = 100;
constexpr std::uint32_t kPollMs = 100;
constexpr std::uint32_t kLineStep = 10;
constexpr std::size_t kBarPlaces = 24;
// A line that fits a terminal of 80 places without wrapping.
constexpr std::size_t kLinePlaces = 79;

ProgressMode ModeOf(const Context& context) {
    if (context.Options().json) {
        return ProgressMode::None;
    }
    if (context.Options().progress != ProgressMode::Auto) {
        return context.Options().progress;
    }
    return context.Screen().ErrIsInteractive() ? ProgressMode::Bar : ProgressMode::Lines;
}

std::string BarLine(const std::string& title, std::uint32_t percent, const std::string& detail) {
    const std::size_t filled = kBarPlaces * percent / kDone;
    const std::string bar = std::string(filled, '#') + std::string(kBarPlaces - filled, '.');
    return CutToWidth(fmt::format("{} [{}] {:3} %  {}", title, bar, percent, detail), kLinePlaces);
}

}  // namespace

ProgressView::ProgressView(Context& context, std::string title)
    : m_Terminal(context.Screen()), m_eMode(ModeOf(context)), m_strTitle(std::move(title)) {}

ProgressView::~ProgressView() {
    if (m_uiDrawn > 0) {
        m_Terminal.Err("\n");
    }
}

void ProgressView::DrawBar(const std::string& line) {
    const std::size_t places = DisplayWidth(line);
    const std::string blanks(m_uiDrawn > places ? m_uiDrawn - places : 0, ' ');
    m_Terminal.Err("\r" + line + blanks);
    m_uiDrawn = places;
}

void ProgressView::Show(std::uint32_t percent, const std::string& stage,
                        const std::string& object) {
    percent = std::min(percent, kDone);
    if (m_eMode == ProgressMode::Bar) {
        const std::string between = stage.empty() || object.empty() ? "" : ": ";
        DrawBar(BarLine(m_strTitle, percent, Printable(stage + between + object)));
    } else if (m_eMode == ProgressMode::Lines && percent < kDone &&
               (percent >= m_uiNextLine || stage != m_strStage)) {
        const std::string what = stage.empty() ? "" : "  " + Printable(stage);
        m_Terminal.Err(
            CutToWidth(fmt::format("{} {:3} %{}", m_strTitle, percent, what), kLinePlaces) + "\n");
        m_uiNextLine = percent / kLineStep * kLineStep + kLineStep;
        m_strStage = stage;
    }
}

void ProgressView::Finish(const std::string& outcome) {
    if (m_eMode == ProgressMode::Bar) {
        DrawBar(outcome == "done" ? BarLine(m_strTitle, kDone, outcome)
                                  : fmt::format("{}: {}", m_strTitle, outcome));
        m_Terminal.Err("\n");
        m_uiDrawn = 0;
    } else if (m_eMode == ProgressMode::Lines) {
        m_Terminal.Err(outcome == "done" ? fmt::format("{} 100 %  done\n", m_strTitle)
                                         : fmt::format("{}: {}\n", m_strTitle, outcome));
    }
}

void FollowToEnd(Context& context, const LongWork& work) {
    ProgressView view(context, work.title);
    for (;;) {
        const LongWork::Step step = work.poll();
        view.Show(step.percent, step.stage, step.object);
        if (step.percent >= kDone) {
            view.Finish("done");
            return;
        }
        if (context.Screen().WaitForInterrupt(kPollMs)) {
            work.cancel();
            view.Finish("cancelled");
            throw Cancelled(work.title + " cancelled by Ctrl+C; the service was told");
        }
    }
}

}  // namespace WyCtl
