// Each request for memory that a deployment makes fails once, and once with all behind it: the
// result is a stated one, the machine is one that may be, and nothing is left open.

#include <cstdio>

#include "Common/KrCommon/KrComn_Result.h"
#include "deployment/SweepBench_win32.h"
#include "deployment/SweepSample.h"
#include "deployment/SweepVerdict_win32.h"
#include "support/ProcessFigures.h"
#include "support/TimeLimit.h"

namespace {

using deploy_test::Operation;
using deploy_test::SweepBench;
using deploy_test::SweepJudge;
using deploy_test::SweepRun;
using KrCommon::Result::Failed;
using test_support::Difference;
using test_support::LibraryFaults;

constexpr std::uint32_t kOutOfMemory = 0xe0ff001e;
// So many requests more or less make lines of the log with addresses and times in them.
constexpr std::size_t kNoise = 10;

class DeploymentMemory : public testing::TestWithParam<Operation> {
protected:
    static void SetUpTestSuite() {
        Bench();
        s_pLimit = new test_support::TimeLimit;
    }
    static void TearDownTestSuite() {
        delete s_pLimit;
        s_pLimit = nullptr;
    }

    static SweepBench& Bench() { return deploy_test::SharedMachine::Bench(); }

    static void Prepare() {
        s_pLimit->Restart();
        Bench().Prepare(GetParam());
    }
    static SweepRun Run() {
        Prepare();
        return Bench().Run(GetParam());
    }

    std::vector<std::size_t> Positions(std::size_t sample) const {
        return deploy_test::Positions(
            m_uiRequests, sample,
            static_cast<unsigned>(GetParam()) + static_cast<unsigned>(sample));
    }
    void Spoil(std::size_t passed, std::size_t failing);
    void ExpectAllowed(const SweepRun& spoilt) const;
    void ExpectNothingOpen(const SweepRun& spoilt) const;
    void ExpectNothingLost(std::size_t passed, std::size_t failing) const;

    SweepRun m_Complete;
    std::size_t m_uiRequests = 0;
    std::unique_ptr<SweepJudge> m_pJudge;
    std::map<std::uint32_t, int> m_Results;

private:
    static inline test_support::TimeLimit* s_pLimit = nullptr;
};

// The run-time library keeps memory for exceptions that cannot get any, and guards it by a lock
// that is made with the first use.
void MakeLockOfExceptions() {
    SweepBench& bench = deploy_test::SharedMachine::Bench();
    bench.Prepare(Operation::kInstall);
    const LibraryFaults text_and_exception(0, 2);
    EXPECT_EQ(bench.Run(Operation::kInstall).result, kOutOfMemory);
}

void DeploymentMemory::Spoil(std::size_t passed, std::size_t failing) {
    Prepare();
    const int blocks = Bench().Blocks();
    const std::int64_t handles = test_support::CountHandles();
    SweepRun spoilt;
    {
        const LibraryFaults faults(passed, failing);
        spoilt = Bench().Run(GetParam());
        EXPECT_GT(faults.Count() + kNoise, passed);
    }
    char result[16];
    std::snprintf(result, sizeof result, "0x%08x", static_cast<unsigned>(spoilt.result));
    SCOPED_TRACE(std::string(NameOf(GetParam())) + ", request " +
                 (failing == 1 ? "" : "and all from ") + std::to_string(passed) + ": " + result);
    ++m_Results[spoilt.result];
    ExpectAllowed(spoilt);
    ExpectNothingOpen(spoilt);
    if (Bench().Blocks() > blocks || test_support::CountHandles() > handles)
        ExpectNothingLost(passed, failing);
}

// Values whose storing is not looked at, or told and no more, and the keys that are made for them.
bool IsOnlyTold(const std::wstring& thing) {
    constexpr const wchar_t* kEnds[] = {L": InstallStatus",
                                        L": ProductId",
                                        L": VendorId",
                                        L": ProductGuid",
                                        L": SourceDir",
                                        L": ProductPath",
                                        L": WinGuid",
                                        L": ProductVersion",
                                        L": AgentVersion",
                                        L": DisplayVersion",
                                        L": t3201",
                                        L": WorkingId",
                                        L"\\Au",
                                        L"\\Au7e",
                                        L"\\Reamer",
                                        L"91B7E04D3F6A}",
                                        L"2AD96C70E1B4}"};
    const std::wstring path = test_support::RegistryPathOfThing(thing);
    return std::any_of(std::begin(kEnds), std::end(kEnds),
                       [&path](const wchar_t* end) { return path.ends_with(end); });
}

void DeploymentMemory::ExpectAllowed(const SweepRun& spoilt) const {
    EXPECT_TRUE(spoilt.result == kOutOfMemory || m_pJudge->IsResultAllowed(spoilt.result));
    EXPECT_EQ("", Bench().Plain(m_pJudge->WrongThings(spoilt.things)));
    EXPECT_EQ("", Bench().Plain(m_pJudge->WrongStatus(spoilt)));
    EXPECT_FALSE(m_pJudge->HasTouchedHost(spoilt)) << "a folder of somebody else";
    if (Failed(spoilt.result))
        return;
    EXPECT_EQ(spoilt.result, m_Complete.result);
    // A removal passes over what it cannot do, and leaves it to the next start of the system.
    if (GetParam() == Operation::kUninstall)
        return;
    EXPECT_EQ("", Bench().Plain(
                      Difference(m_Complete.things, spoilt.things,
                                 [](const std::wstring& thing) { return !IsOnlyTold(thing); })));
}

void DeploymentMemory::ExpectNothingOpen(const SweepRun& spoilt) const {
    std::map<test_support::Holding, int> open = spoilt.open;
    if (open.empty())
        return;
    // The log may be left closed.
    for (const auto& [holding, count] : Run().open)
        open[holding] += count;
    std::erase_if(open, [](const auto& entry) { return entry.second == 0; });
    EXPECT_TRUE(open.empty()) << ToText(open);
}

// What is kept once and for all is no loss: a loss comes again with each run.
void DeploymentMemory::ExpectNothingLost(std::size_t passed, std::size_t failing) const {
    Run();
    const int blocks = Bench().Blocks();
    const std::int64_t handles = test_support::CountHandles();
    Prepare();
    {
        const LibraryFaults faults(passed, failing);
        Bench().Run(GetParam());
    }
    Run();
    EXPECT_LE(Bench().Blocks(), blocks) << "blocks of memory are lost";
    EXPECT_LE(test_support::CountHandles(), handles) << "handles are lost";
}

TEST_P(DeploymentMemory, each_missing_block_leaves_a_machine_that_may_be) {
    Prepare();
    Bench().OpenEndpoints();
    MakeLockOfExceptions();
    Run();
    Prepare();
    {
        const LibraryFaults count;
        m_Complete = Bench().Run(GetParam());
        m_uiRequests = count.Count();
    }
    m_pJudge = std::make_unique<SweepJudge>(Bench(), GetParam(), m_Complete);
    ASSERT_EQ("", m_pJudge->Judge(m_Complete).problems);
    const test_support::MachineThings packages = Bench().Packages();

    constexpr std::size_t kSampleOfOne = 5;
    constexpr std::size_t kSampleOfAll = 3;
    const DWORD start = GetTickCount();
    for (const std::size_t position : Positions(kSampleOfOne))
        Spoil(position, 1);
    for (const std::size_t position : Positions(kSampleOfAll))
        Spoil(position, LibraryFaults::kAll);
    EXPECT_EQ("", Difference(packages, Bench().Packages()));
    std::printf("%s: %zu requests for memory, %lu s;", NameOf(GetParam()), m_uiRequests,
                (GetTickCount() - start) / 1000);
    for (const auto& [result, times] : m_Results)
        std::printf(" %d times 0x%08x", times, static_cast<unsigned>(result));
    std::printf("\n");
}

INSTANTIATE_TEST_SUITE_P(Each, DeploymentMemory, testing::ValuesIn(deploy_test::kCalls),
                         [](const auto& info) {
                             std::string name = NameOf(info.param);
                             std::erase_if(name, [](char c) { return c < 'a' || c > 'z'; });
                             return name;
                         });

}  // namespace
