// Each call to the system that a deployment makes fails once with each of two codes, and once with
// all calls behind it: the result is a stated one, the machine is one that may be, the log tells of
// it, and nothing is left open.

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "deployment/SweepBench_win32.h"
#include "deployment/SweepSample.h"
#include "deployment/SweepTally.h"
#include "deployment/SweepVerdict_win32.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"
#include "support/TimeLimit.h"

namespace {

using deploy_test::IsFull;
using deploy_test::Operation;
using deploy_test::ReasonForSilence;
using deploy_test::SweepBench;
using deploy_test::SweepJudge;
using deploy_test::SweepRun;
using deploy_test::SweepVerdict;
using test_support::Difference;
using test_support::Plan;
using test_support::PlatformCall;
using test_support::PlatformCode;

bool IsTableWanted() {
    return std::getenv("WYSDK_SWEEP_TABLE") != nullptr;
}

std::string DocumentText() {
    std::ifstream file(test_support::ProgramFolder() / "data" / "verification.md",
                       std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class DeploymentSweep : public testing::TestWithParam<std::size_t> {
protected:
    static void SetUpTestSuite() { s_pLimit = new test_support::TimeLimit; }
    static void TearDownTestSuite() {
        if (IsTableWanted())
            std::ofstream(test_support::ProgramFolder() / "deployment-sweep.md") << s_Tally.Rows();
        delete s_pLimit;
        s_pLimit = nullptr;
    }

    static SweepBench& Bench() { return deploy_test::SharedMachine::Bench(); }

    SweepRun Run(const Plan& plan = {}) const {
        s_pLimit->Restart();
        Bench().Prepare(m_Operation);
        return Bench().Run(m_Operation, plan);
    }

    // What grows without end when something is lost.
    struct Held {
        int blocks;
        std::int64_t handles;
    };
    static Held HeldNow() { return {Bench().Blocks(), test_support::CountHandles()}; }

    bool Spoil(const Plan& plan);
    void ExpectNothingLost(const Plan& plan) const;
    void ExpectNothingOpen(const SweepRun& spoilt) const;
    std::vector<std::size_t> Positions(std::size_t sample) const {
        return deploy_test::Positions(m_Complete.calls.size(), sample,
                                      static_cast<unsigned>(GetParam() + sample));
    }

    const Operation m_Operation = deploy_test::kOperations[GetParam()];
    SweepRun m_Complete;
    std::unique_ptr<SweepJudge> m_pJudge;
    std::size_t m_uiRuns = 0;
    std::size_t m_uiAsWithout = 0;
    std::size_t m_uiHost = 0;
    static inline deploy_test::SweepTally s_Tally;

private:
    static inline test_support::TimeLimit* s_pLimit = nullptr;
};

// A failure may leave the log closed: what both it and a run without failure leave open is lost.
void DeploymentSweep::ExpectNothingOpen(const SweepRun& spoilt) const {
    std::map<test_support::Holding, int> open = spoilt.open;
    if (!open.empty()) {
        for (const auto& [holding, count] : Run().open)
            open[holding] += count;
    }
    // A library that the plan has kept loaded is not lost by the operation.
    const bool hasKeptLibrary =
        std::any_of(spoilt.calls.begin(), spoilt.calls.end(), [](const PlatformCall& one) {
            return one.spoilt && std::string_view(one.function->name) == "FreeLibrary";
        });
    if (hasKeptLibrary)
        open.erase(test_support::Holding::kModule);
    std::erase_if(open, [](const auto& entry) { return entry.second == 0; });
    EXPECT_TRUE(open.empty()) << ToText(open);
}

// What is kept once and for all is no loss: a loss comes again with each run.
void DeploymentSweep::ExpectNothingLost(const Plan& plan) const {
    Run();
    const Held before = HeldNow();
    Run(plan);
    Run();
    const Held after = HeldNow();
    EXPECT_LE(after.blocks, before.blocks) << "blocks of memory are lost";
    EXPECT_LE(after.handles, before.handles) << "handles are lost";
}

// False when the plan did not come to its call.
bool DeploymentSweep::Spoil(const Plan& plan) {
    const Held before = HeldNow();
    const SweepRun spoilt = Run(plan);
    const Held after = HeldNow();
    const auto call = std::find_if(spoilt.calls.begin(), spoilt.calls.end(),
                                   [](const PlatformCall& one) { return one.spoilt; });
    if (call == spoilt.calls.end())
        return false;
    ++m_uiRuns;
    char result[16];
    std::snprintf(result, sizeof result, "0x%08x", static_cast<unsigned>(spoilt.result));
    SCOPED_TRACE(std::string(NameOf(m_Operation)) + ", " +
                 (plan.action == Plan::Action::kFailOne ? "call " : "calls from ") +
                 std::to_string(plan.position) + " " + call->function->name + "(" +
                 Bench().Plain(call->texts) + "), code " +
                 std::to_string(CodeOf(*call->function, plan.code)) + ": " + result);
    const SweepVerdict verdict = m_pJudge->Judge(spoilt);
    EXPECT_EQ("", Bench().Plain(verdict.problems));
    if (!verdict.isAsWithout && !verdict.isTold) {
        EXPECT_NE("", ReasonForSilence(spoilt, plan.code)) << "the log does not tell";
    }
    if (plan.action == Plan::Action::kFailOne) {
        s_Tally.AddOne(NameOf(m_Operation), spoilt.result, call->function->name);
    } else {
        s_Tally.AddAll(NameOf(m_Operation), spoilt.result);
    }
    m_uiAsWithout += verdict.isAsWithout ? 1 : 0;
    m_uiHost += m_pJudge->HasTouchedHost(spoilt) ? 1 : 0;
    ExpectNothingOpen(spoilt);
    if (after.blocks > before.blocks || after.handles > before.handles)
        ExpectNothingLost(plan);
    return true;
}

TEST_P(DeploymentSweep, each_failing_call_leaves_a_machine_that_may_be) {
    Bench().OpenEndpoints();
    // The log is where an install leaves it.
    Bench().Prepare(Operation::kInstall);
    Bench().Run(Operation::kInstall);
    Run();
    m_Complete = Run();
    EXPECT_TRUE(m_Complete.open.empty()) << ToText(m_Complete.open);
    EXPECT_THAT(m_Complete.unknown, testing::IsEmpty());
    m_pJudge = std::make_unique<SweepJudge>(Bench(), m_Operation, m_Complete);
    ASSERT_EQ("", m_pJudge->Judge(m_Complete).problems);
    const test_support::MachineThings packages = Bench().Packages();

    constexpr std::size_t kSampleOfOne = 6;
    constexpr std::size_t kSampleOfAll = 2;
    const DWORD start = GetTickCount();
    for (const std::size_t position : Positions(kSampleOfOne)) {
        for (const PlatformCode code : {PlatformCode::kAccessDenied, PlatformCode::kSecond}) {
            if (IsFull() || (position % 2 == 0) == (code == PlatformCode::kSecond)) {
                EXPECT_TRUE(Spoil(Plan::FailOne(position, code))) << position;
            }
        }
    }
    const std::size_t ones = m_uiRuns;
    for (const std::size_t position : Positions(kSampleOfAll))
        EXPECT_TRUE(Spoil(Plan::FailFrom(position, PlatformCode::kAccessDenied))) << position;
    std::printf(
        "%s: %zu calls, %zu runs with one failing, %zu from there on, %zu as without, "
        "%zu on the folder of the program, %lu s\n",
        NameOf(m_Operation), m_Complete.calls.size(), ones, m_uiRuns - ones, m_uiAsWithout,
        m_uiHost, (GetTickCount() - start) / 1000);
    EXPECT_EQ("", Difference(packages, Bench().Packages()));
    if (!IsTableWanted()) {
        const auto documented = deploy_test::SweepTally::FromDocument(DocumentText());
        EXPECT_EQ("", s_Tally.Difference(documented, NameOf(m_Operation), !IsFull()))
            << "docs/verification.md is out of date: run scripts/fault-table.py";
    }
}

INSTANTIATE_TEST_SUITE_P(Each, DeploymentSweep,
                         testing::Range<std::size_t>(0, std::size(deploy_test::kOperations)),
                         [](const auto& info) {
                             std::string name = NameOf(deploy_test::kOperations[info.param]);
                             std::erase_if(name, [](char c) { return c < 'a' || c > 'z'; });
                             return name;
                         });

}  // namespace
