#pragma once

// Watches the calls that a module makes to the system, and makes chosen ones fail.
//
// The table (PlatformTable_win32.cpp) has one row for each function of the system that may fail:
// how it tells so, with which codes, whether it changes the machine, and what it takes or gives
// back. PlatformCalls puts a wrapper for each row into the import table of one module; a function
// that the module finds by GetProcAddress is wrapped there. A PlatformRun then watches one
// operation: it writes down its calls, carries out a plan, and counts what is left open.
//
//     const PlatformCalls calls(library);
//     std::size_t count = 0;
//     {
//         const PlatformRun run;
//         Operation();
//         count = run.Calls().size();
//     }
//     for (std::size_t i = 0; i < count; ++i) {
//         const PlatformRun run(Plan::FailOne(i, PlatformCode::kAccessDenied));
//         Operation();
//         ...
//     }
//
// Only calls of the thread that made the run count, and only those through the import table of the
// module: what other threads do at the same time is not the same from one run to the next, and what
// libraries of the system call inside stays out of reach.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

class IatPatch;

enum class Effect { kReads, kChanges };

// How a function tells that it has failed.
enum class Failure {
    kNever,          // it cannot; it stands in the table for what it gives back
    kZero,           // 0, FALSE, null; the code is the last error
    kAllOnes,        // INVALID_HANDLE_VALUE, WAIT_FAILED and the like; the code is the last error
    kCode,           // the code itself
    kResult,         // the code as HRESULT
    kRaised,         // an exception of the RPC runtime
    kDefault,        // the caller's default; the code is the last error
    kErrnoZero,      // 0 or null, the code is errno
    kErrnoMinusOne,  // -1 or EOF, the code is errno
};

// What a successful call leaves for another one to give back.
enum class Holding {
    kNothing,
    kHandle,
    kKey,
    kSearch,
    kStream,
    kModule,
    kSid,
    kService,
    kImpersonation,
    kEnvironment,
    kRpcText,
    kRpcBinding,
    kApartment,
    kTraceSession,
    kSignature,
    kCertificate,
};

// One row of the table.
struct PlatformFunction {
    const char* library;  // in small letters
    const char* name;
    Effect effect;
    Failure failure;
    std::uint32_t secondCode;  // a code that is apt for it, beside "access denied"
    Holding holding;
    int holdingCount;  // how many one call takes; negative when it gives them back
    void* wrapper;
    void** original;  // where the wrapper finds the function that it stands for

    bool MayFail() const { return failure != Failure::kNever; }
    bool TellsErrno() const;
};

// The rows, and the row of a function; null for one without a row.
const std::vector<PlatformFunction>& PlatformTable();
const PlatformFunction* FindPlatformFunction(std::string_view name);

// Why a function that is imported has no row; empty for any other function.
std::string_view ReasonWithoutRow(std::string_view name);

enum class PlatformCode { kAccessDenied, kSecond };

// The number that a function fails with: a system error, or an errno for those that tell that.
std::uint32_t CodeOf(const PlatformFunction& function, PlatformCode code);

// What is to become of the calls of a run. Positions count from 0; among all calls of the run, or
// among those alone that change the machine.
struct Plan {
    enum class Action { kWatch, kFailOne, kFailFrom, kEndProcess };

    Action action = Action::kWatch;
    std::size_t position = 0;
    PlatformCode code = PlatformCode::kAccessDenied;
    bool changingOnly = false;

    static Plan FailOne(std::size_t position, PlatformCode code) {
        return {Action::kFailOne, position, code, false};
    }
    static Plan FailFrom(std::size_t position, PlatformCode code) {
        return {Action::kFailFrom, position, code, false};
    }
    // Ends the process before the changing call with this position, with kEndedByPlan.
    static Plan EndProcess(std::size_t position) {
        return {Action::kEndProcess, position, PlatformCode::kAccessDenied, true};
    }

    static constexpr unsigned kEndedByPlan = 211;
};

// One call that may fail, as the module made it.
struct PlatformCall {
    const PlatformFunction* function;
    std::string texts;  // its text arguments, " | " between them
    bool spoilt;        // the plan made it fail
};

// The wrappers, for as long as it lives; one at a time in a process.
class PlatformCalls {
public:
    explicit PlatformCalls(HMODULE module);
    PlatformCalls(const PlatformCalls&) = delete;
    PlatformCalls& operator=(const PlatformCalls&) = delete;
    ~PlatformCalls();

private:
    std::vector<std::unique_ptr<IatPatch>> m_Patches;
};

// One watched operation of this thread, from construction to Stop(); one at a time.
//
// A call that gives something back and is made to fail leaves it as it is. Stop() gives back what
// the operation did not, since the blame for that lies with the plan.
class PlatformRun {
public:
    explicit PlatformRun(const Plan& plan = {});
    PlatformRun(const PlatformRun&) = delete;
    PlatformRun& operator=(const PlatformRun&) = delete;
    ~PlatformRun() { Stop(); }

    void Stop();

    const std::vector<PlatformCall>& Calls() const { return m_Calls; }
    // The first call that was made to fail; null when the plan did not come to it.
    const PlatformCall* Spoilt() const;
    // Names that the module looked up and that have neither a row nor a reason.
    const std::vector<std::string>& Unknown() const { return m_Unknown; }
    // What was taken and not given back, by kind; kinds without a difference are left out.
    const std::map<Holding, int>& Open() const { return m_Open; }

private:
    friend class PlatformWatch;

    // What a releasing call that was made to fail would have given back.
    struct Kept {
        std::uintptr_t what;
        const PlatformFunction* function;
        void (*giveBack)(std::uintptr_t what);
    };

    bool IsDue(const PlatformFunction& function);

    const Plan m_Plan;
    const DWORD m_uiThread;
    std::size_t m_uiCounted = 0;
    std::vector<PlatformCall> m_Calls;
    std::vector<std::string> m_Unknown;
    std::map<Holding, int> m_Open;
    std::vector<Kept> m_Kept;
};

// "2 registry key, 1 search"
std::string ToText(const std::map<Holding, int>& open);

}  // namespace test_support
