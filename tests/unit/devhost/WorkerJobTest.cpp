#include "devhost/WorkerJob.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using DevHost::JobControl;
using DevHost::JobState;
using DevHost::WorkerJob;

// Waits for a condition that another thread brings about.
template <class Condition>
bool Eventually(Condition condition) {
    for (int i = 0; i < 2000; ++i) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

void RunUntilStopped(JobControl& control) {
    while (control.Continue())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST(WorkerJob, before_the_start_it_is_idle) {
    WorkerJob job;
    EXPECT_EQ(job.GetStatus().state, JobState::kIdle);
    EXPECT_FALSE(job.IsActive());
    EXPECT_FALSE(job.Pause());
    EXPECT_FALSE(job.Resume());
    EXPECT_FALSE(job.Cancel());
    job.Wait();
}

TEST(WorkerJob, work_that_ends_is_at_a_hundred) {
    WorkerJob job;
    ASSERT_TRUE(job.Start([](JobControl& control) {
        control.SetStep("part", "object");
        control.SetProgress(0.5);
    }));
    job.Wait();
    const WorkerJob::Status status = job.GetStatus();
    EXPECT_EQ(status.state, JobState::kFinished);
    EXPECT_EQ(status.progress, 100U);
    EXPECT_EQ(status.part, "");
    EXPECT_EQ(status.object, "");
}

TEST(WorkerJob, progress_never_goes_back_nor_to_its_end_while_running) {
    WorkerJob job;
    std::atomic<bool> go = false;
    job.Start([&](JobControl& control) {
        control.SetStep("part", "object");
        control.SetProgress(0.4);
        control.SetProgress(0.2);
        while (!go)
            std::this_thread::yield();
        control.SetProgress(7);
        go = false;
        RunUntilStopped(control);
    });
    EXPECT_TRUE(Eventually([&] { return job.GetStatus().progress == 40; }));
    EXPECT_EQ(job.GetStatus().part, "part");
    EXPECT_EQ(job.GetStatus().object, "object");
    go = true;
    EXPECT_TRUE(Eventually([&] { return !go; }));
    EXPECT_EQ(job.GetStatus().progress, 99U);
}

TEST(WorkerJob, second_start_waits_for_the_end_of_the_first) {
    WorkerJob job;
    ASSERT_TRUE(job.Start(RunUntilStopped));
    EXPECT_FALSE(job.Start([](JobControl&) {}));
    EXPECT_TRUE(job.Cancel());
    job.Wait();
    EXPECT_EQ(job.GetStatus().state, JobState::kCancelled);
    EXPECT_TRUE(job.Start([](JobControl&) {}));
    job.Wait();
    EXPECT_EQ(job.GetStatus().state, JobState::kFinished);
}

TEST(WorkerJob, paused_work_stands_still_and_goes_on) {
    WorkerJob job;
    std::atomic<int> rounds = 0;
    job.Start([&](JobControl& control) {
        while (control.Continue()) {
            ++rounds;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    ASSERT_TRUE(Eventually([&] { return rounds > 0; }));
    ASSERT_TRUE(job.Pause());
    EXPECT_FALSE(job.Pause());
    EXPECT_EQ(job.GetStatus().state, JobState::kPaused);
    EXPECT_TRUE(job.IsActive());
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const int still = rounds;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(rounds, still);
    ASSERT_TRUE(job.Resume());
    EXPECT_FALSE(job.Resume());
    EXPECT_TRUE(Eventually([&] { return rounds > still; }));
}

TEST(WorkerJob, paused_work_can_be_cancelled) {
    WorkerJob job;
    job.Start(RunUntilStopped);
    ASSERT_TRUE(job.Pause());
    EXPECT_TRUE(job.Cancel());
    job.Wait();
    EXPECT_EQ(job.GetStatus().state, JobState::kCancelled);
}

TEST(WorkerJob, work_that_raises_has_failed) {
    WorkerJob job;
    job.Start([](JobControl&) { throw std::runtime_error("broken"); });
    job.Wait();
    EXPECT_EQ(job.GetStatus().state, JobState::kFailed);
    EXPECT_TRUE(job.Start([](JobControl&) {}));
}

TEST(WorkerJob, destruction_ends_the_work) {
    std::atomic<bool> ended = false;
    {
        WorkerJob job;
        job.Start([&](JobControl& control) {
            RunUntilStopped(control);
            ended = true;
        });
    }
    EXPECT_TRUE(ended);
}

TEST(WorkerJob, states_have_names) {
    EXPECT_STREQ(DevHost::JobStateName(JobState::kIdle), "idle");
    EXPECT_STREQ(DevHost::JobStateName(JobState::kRunning), "running");
    EXPECT_STREQ(DevHost::JobStateName(JobState::kPaused), "paused");
    EXPECT_STREQ(DevHost::JobStateName(JobState::kFinished), "finished");
    EXPECT_STREQ(DevHost::JobStateName(JobState::kCancelled), "cancelled");
    EXPECT_STREQ(DevHost::JobStateName(JobState::kFailed), "failed");
}

}  // namespace
