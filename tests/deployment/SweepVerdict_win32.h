#pragma once

// Whether a deployment in which calls of the system have failed, or which was cut short, has left a
// machine that may be.

#include <string>

#include "deployment/SweepBench_win32.h"

namespace deploy_test {

struct SweepVerdict {
    // One line for each thing that is wrong; empty when all is as it may be.
    std::string problems;
    // Result and machine are those of a run without failure.
    bool isAsWithout = false;
    // The log has a line that a run without failure does not have.
    bool isTold = false;
};

// Judges runs of one operation.
class SweepJudge {
public:
    // `complete` is the run without failure.
    SweepJudge(const SweepBench& bench, Operation operation, const SweepRun& complete);

    SweepVerdict Judge(const SweepRun& spoilt) const;
    // Of the machine alone, however the operation ended.
    std::string WrongThings(const test_support::MachineThings& now) const;
    // Of a machine that InstallStatus says was rolled back.
    std::string WrongStatus(const SweepRun& spoilt) const;
    bool IsResultAllowed(std::uint32_t result) const;
    // True when the program's own folder was taken for that of the product: the product's path
    // could not be read.
    bool HasTouchedHost(const SweepRun& spoilt) const;

private:
    bool MayBe(const std::wstring& thing, const std::wstring& value) const;
    bool MayBeFile(const std::wstring& thing, const std::wstring& value) const;
    bool MayBeValue(const std::wstring& thing, const std::wstring& value) const;
    bool IsTold(const SweepRun& spoilt) const;
    std::wstring Status(const test_support::MachineThings& things) const;

    const SweepBench& m_Bench;
    const Operation m_Operation;
    const test_support::ProductPlaces m_Places;
    const test_support::MachineThings& m_Before;
    const SweepRun m_Complete;
    std::vector<std::string> m_CompleteLines;
    std::vector<std::wstring> m_PackageHashes;
};

// Why the log says nothing of failed calls, although they made a difference; empty when it must.
std::string ReasonForSilence(const SweepRun& spoilt, test_support::PlatformCode code);

}  // namespace deploy_test
