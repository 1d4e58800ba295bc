#pragma once

// One kind of search: its job, and the result of its last run.

#include <mutex>
#include <utility>

#include "devhost/ApiTypes.h"
#include "devhost/WorkerJob.h"

namespace DevHost {

// Answers the calls that all searches have in common. Any thread may call.
template <class Result>
class SearchSlot {
public:
    // Starts `work`, which takes the job's control and gives the result. Raises RequestError with
    // 0xe0ff0016 while an earlier run is not at its end.
    template <class Work>
    ApiAnswer Start(Work work) {
        const bool started = m_Job.Start([this, work](JobControl& control) {
            Result result = work(control);
            const std::scoped_lock lock(m_Mutex);
            m_Result = std::move(result);
        });
        if (!started) {
            throw RequestError(KrCommon::Result::kRecordInUse, "this search is running already");
        }
        return {};
    }

    // "progress" in per cent, "state" and "object". A cancelled or failed search answers with a
    // failure, so that nobody waits for its end; one that was never started with 0xe0ff000e.
    ApiAnswer Progress() const {
        const WorkerJob::Status status = m_Job.GetStatus();
        ApiAnswer answer;
        answer.data["progress"] = status.progress;
        answer.data["state"] = JobStateName(status.state);
        answer.data["object"] = status.object;
        switch (status.state) {
            case JobState::kIdle:
                throw RequestError(KrCommon::Result::kNotFound, "no such search was started");
            case JobState::kCancelled:
                answer.retCode = kCancelled;
                answer.message = "the search was cancelled";
                break;
            case JobState::kFailed:
                answer.retCode = KrCommon::Result::kFailure;
                answer.message = "the search failed";
                break;
            default:
                break;
        }
        return answer;
    }

    // Calls `use` with the last result and the state of the job; the result of a run that is not
    // at its end is an empty one.
    template <class Use>
    void WithResult(Use use) const {
        const JobState state = m_Job.GetStatus().state;
        if (state == JobState::kIdle) {
            throw RequestError(KrCommon::Result::kNotFound, "no such search was started");
        }
        static const Result empty{};
        const bool ended = state == JobState::kFinished || state == JobState::kCancelled;
        const std::scoped_lock lock(m_Mutex);
        use(ended ? m_Result : empty, state);
    }

    // Changes the last result; nothing while a search runs, since what it will find is not known.
    template <class Change>
    void ChangeResult(Change change) {
        if (m_Job.IsActive()) {
            throw RequestError(KrCommon::Result::kRecordInUse, "the search is still running");
        }
        const std::scoped_lock lock(m_Mutex);
        change(m_Result);
    }

    // Cancelling what is not running is no failure: the caller has what it wants.
    ApiAnswer Cancel() {
        m_Job.Cancel();
        m_Job.Wait();
        return {};
    }

private:
    mutable std::mutex m_Mutex;
    Result m_Result;
    WorkerJob m_Job;  // last: its thread writes the result
};

}  // namespace DevHost
