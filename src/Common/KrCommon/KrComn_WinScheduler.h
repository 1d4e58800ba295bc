#pragma once

// The task scheduler of the system. For Windows builds alone.

#include <string>

namespace KrCommon::WinScheduler {

// COM on the calling thread, for calls of the task service: packet privacy and impersonation.
//
// A thread on which COM runs already, in whatever mode, is used as it is, and so is a process whose
// security is already set. What was started here ends with the object, on the same thread.
class CWinSchedulerHelper {
public:
    // Failures go to the log.
    CWinSchedulerHelper() noexcept;
    CWinSchedulerHelper(const CWinSchedulerHelper&) = delete;
    CWinSchedulerHelper& operator=(const CWinSchedulerHelper&) = delete;
    virtual ~CWinSchedulerHelper();

    bool IsInitialized() const { return m_bInitialized; }

private:
    bool m_bInitialized = false;
    bool m_bComStarted = false;
};

// Deletes a task of the scheduler's root folder (ITaskFolder::DeleteTask).
//
// True when the root folder was reached: a task that is not there, or cannot be deleted, is told to
// the log alone. False when COM or the task service does not answer, as on systems that have none;
// the log tells which step failed.
bool DeleteScheduledTask(const std::wstring& name) noexcept;

}  // namespace KrCommon::WinScheduler
