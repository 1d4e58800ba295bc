#include "devhost/WorkerJob.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"

namespace DevHost {

namespace {

constexpr const char* kLogSource = "WorkerJob";
constexpr const wchar_t* kLogModule = L"WySvcHost";

// The last step to 100 belongs to the end of the work.
constexpr double kHighestWhileRunning = 99.0;

bool Active(JobState state) {
    return state == JobState::kRunning || state == JobState::kPaused;
}

}  // namespace

const char* JobStateName(JobState state) {
    switch (state) {
        case JobState::kIdle:
            return "idle";
        case JobState::kRunning:
            return "running";
        case JobState::kPaused:
            return "paused";
        case JobState::kFinished:
            return "finished";
        case JobState::kCancelled:
            return "cancelled";
        case JobState::kFailed:
            return "failed";
    }
    return "failed";
}

WorkerJob::~WorkerJob() {
    Cancel();
    Wait();
}

bool WorkerJob::Start(std::function<void(JobControl&)> work) {
    const std::scoped_lock threadLock(m_ThreadMutex);
    {
        const std::scoped_lock lock(m_Mutex);
        if (Active(m_Status.state))
            return false;
        m_Status = {JobState::kRunning, 0, {}, {}};
        m_bCancel = false;
    }
    if (m_Thread.joinable())
        m_Thread.join();
    try {
        m_Thread = std::thread([this, work = std::move(work)] { Run(work); });
    } catch (...) {
        const std::scoped_lock lock(m_Mutex);
        m_Status.state = JobState::kFailed;
        throw;
    }
    return true;
}

void WorkerJob::Run(const std::function<void(JobControl&)>& work) {
    bool failed = false;
    try {
        work(*this);
    } catch (const std::exception& error) {
        failed = true;
        WY_LOG_ERROR << L"a job fails: " << error.what();
    }
    const std::scoped_lock lock(m_Mutex);
    if (failed) {
        m_Status.state = JobState::kFailed;
    } else if (m_bCancel) {
        m_Status.state = JobState::kCancelled;
    } else {
        m_Status.state = JobState::kFinished;
        m_Status.progress = 100;
    }
    m_Status.part.clear();
    m_Status.object.clear();
    m_Changed.notify_all();
}

bool WorkerJob::Pause() {
    const std::scoped_lock lock(m_Mutex);
    if (m_Status.state != JobState::kRunning)
        return false;
    m_Status.state = JobState::kPaused;
    return true;
}

bool WorkerJob::Resume() {
    const std::scoped_lock lock(m_Mutex);
    if (m_Status.state != JobState::kPaused)
        return false;
    m_Status.state = JobState::kRunning;
    m_Changed.notify_all();
    return true;
}

bool WorkerJob::Cancel() {
    const std::scoped_lock lock(m_Mutex);
    if (!Active(m_Status.state))
        return false;
    m_bCancel = true;
    m_Changed.notify_all();
    return true;
}

WorkerJob::Status WorkerJob::GetStatus() const {
    const std::scoped_lock lock(m_Mutex);
    return m_Status;
}

bool WorkerJob::IsActive() const {
    const std::scoped_lock lock(m_Mutex);
    return Active(m_Status.state);
}

void WorkerJob::Wait() {
    const std::scoped_lock threadLock(m_ThreadMutex);
    if (m_Thread.joinable())
        m_Thread.join();
}

bool WorkerJob::Continue() {
    std::unique_lock lock(m_Mutex);
    m_Changed.wait(lock, [this] { return m_bCancel || m_Status.state != JobState::kPaused; });
    return !m_bCancel;
}

void WorkerJob::SetProgress(double fraction) {
    const double percent = std::clamp(fraction * 100.0, 0.0, kHighestWhileRunning);
    const std::scoped_lock lock(m_Mutex);
    m_Status.progress = std::max(m_Status.progress, static_cast<std::uint32_t>(percent));
}

void WorkerJob::SetStep(const std::string& part, const std::string& object) {
    const std::scoped_lock lock(m_Mutex);
    m_Status.part = part;
    m_Status.object = object;
}

}  // namespace DevHost
