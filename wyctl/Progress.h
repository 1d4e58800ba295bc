#pragma once

// Progress of long work on the terminal, and the loop that follows the work.

#include <cstdint>
#include <functional>
#include <string>

#include "wyctl/Context.h"

namespace WyCtl {

// Shows how far some work is: as a bar that is drawn over and over, or as lines whenever it has
// come ten per cent further or something else is at work, or not at all.
class ProgressView {
public:
    // Lines for Auto unless a person watches; nothing where JSON is asked for.
    ProgressView(Context& context, std::string title);
    ProgressView(const ProgressView&) = delete;
    ProgressView& operator=(const ProgressView&) = delete;
    // Leaves a bar that is not finished, on a line of its own.
    ~ProgressView();

    // `percent` above 100 counts as 100. `stage` is what is at work, `object` the thing at hand.
    void Show(std::uint32_t percent, const std::string& stage, const std::string& object);
    // The last line; `outcome` tells how it ended.
    void Finish(const std::string& outcome);

private:
    void DrawBar(const std::string& line);

    Terminal& m_Terminal;
    ProgressMode m_eMode;
    std::string m_strTitle;
    std::size_t m_uiDrawn = 0;  // places that the bar takes on the screen now
    std::uint32_t m_uiNextLine = 0;
    std::string m_strStage;
};

// Work that runs in the service and is followed by polling.
struct LongWork {
    struct Step {
        std::uint32_t percent = 0;
        std::string stage;
        std::string object;
    };

    std::string title;
    std::function<Step()> poll;
    std::function<void()> cancel;
};

// Polls until the work is at 100 per cent, showing it. After Ctrl+C it tells the service to cancel
// and raises Cancelled. What poll and cancel raise passes through.
void FollowToEnd(Context& context, const LongWork& work);

}  // namespace WyCtl
