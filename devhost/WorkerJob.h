#pragma once

// One long piece of work on a thread of its own, with progress, pause and cancel.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace DevHost {

enum class JobState { kIdle, kRunning, kPaused, kFinished, kCancelled, kFailed };

// The name of a state in JSON: "idle", "running", "paused", "finished", "cancelled", "failed".
const char* JobStateName(JobState state);

// How the work talks to its job. All operations may run on any thread of the work.
class JobControl {
public:
    JobControl() = default;
    JobControl(const JobControl&) = delete;
    JobControl& operator=(const JobControl&) = delete;
    virtual ~JobControl() = default;

    // Waits while the job is paused. False when the work has to come to its end.
    virtual bool Continue() = 0;
    // 0 to 1; a value below an earlier one is ignored.
    virtual void SetProgress(double fraction) = 0;
    // What is at hand now: a part of the work, and an object in it. UTF-8.
    virtual void SetStep(const std::string& part, const std::string& object) = 0;
};

// A job can be started again when it is at its end. All operations may run on any thread.
class WorkerJob : private JobControl {
public:
    struct Status {
        JobState state = JobState::kIdle;
        std::uint32_t progress = 0;  // per cent; 100 exactly when finished
        std::string part;
        std::string object;
    };

    WorkerJob() = default;
    // Cancels the work and waits for its end.
    ~WorkerJob() override;

    // False when the job is running or paused. Whatever the work raises makes the job fail.
    bool Start(std::function<void(JobControl&)> work);

    // False when the job is not in the state to do so.
    bool Pause();
    bool Resume();
    bool Cancel();

    Status GetStatus() const;
    bool IsActive() const;

    // Waits until the work is at its end.
    void Wait();

private:
    bool Continue() override;
    void SetProgress(double fraction) override;
    void SetStep(const std::string& part, const std::string& object) override;

    void Run(const std::function<void(JobControl&)>& work);

    // Guards the thread object, that is, starting and joining; taken before m_Mutex.
    std::mutex m_ThreadMutex;
    std::thread m_Thread;

    mutable std::mutex m_Mutex;
    std::condition_variable m_Changed;
    Status m_Status;
    bool m_bCancel = false;
};

}  // namespace DevHost
