// Each call to the system that a function of the library makes fails once with each of two codes:
// the result is the stated one, the machine is as it was or as it was to be, and nothing is left
// open.

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "abi/SdkLibrary.h"
#include "abi/SweepMachine_win32.h"
#include "abi/SweepRules.h"
#include "abi/SweepTable.h"
#include "support/FakeServiceManager_win32.h"
#include "support/IatPatch.h"
#include "support/LibraryBlocks_win32.h"
#include "support/PlatformCalls_win32.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"
#include "support/ServiceHost.h"
#include "support/TimeLimit.h"

namespace {

using test_support::FakeServiceManager;
using test_support::Holding;
using test_support::LibraryBlocks;
using test_support::Plan;
using test_support::PlatformCall;
using test_support::PlatformCalls;
using test_support::PlatformCode;
using test_support::PlatformRun;
using test_support::ServiceHost;
using Kind = SweepEnding::Kind;

constexpr PlatformCode kBothCodes[] = {PlatformCode::kAccessDenied, PlatformCode::kSecond};

bool IsFull() {
    return std::getenv("WYSDK_TEST_FULL") != nullptr;
}

// All that the sweep of every operation works on. It lives as long as the test program.
struct Bench {
    SweepMachine machine;
    ServiceHost host;
    FakeServiceManager services{SdkLibrary::Module()};
    LibraryBlocks blocks{SdkLibrary::Module()};
    PlatformCalls calls{SdkLibrary::Module()};
    SweepTable table;
    SweepTable documented;
    test_support::TimeLimit limit;
    MachineState left;  // by the last operation

    Bench() : documented(SweepTable::FromDocument(DocumentText())) {
        // The first calls of a process leave things behind that stay: endpoints above all.
        const std::wstring download = machine.At(L"Download\\");
        SDK(WyAuDeploy)(download.c_str());
        for (int before = -1; before != SdkLibrary::OpenEndpoints();) {
            before = SdkLibrary::OpenEndpoints();
            SDK(WySetReamerStatus)(0);
        }
        left = machine.State();
    }

    static std::string DocumentText() {
        std::ifstream file(test_support::ProgramFolder() / "data" / "verification.md");
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

// How one run of an operation went.
struct Outcome {
    std::uint32_t result = 0;
    std::string output;
    MachineState state;
    std::vector<PlatformCall> calls;
    std::map<Holding, int> open;
    std::size_t unknown = 0;
};

// What grows without end when something is lost.
struct Held {
    int blocks;
    std::int64_t handles;
};

class Sweep : public testing::TestWithParam<std::size_t> {
protected:
    static void SetUpTestSuite() { s_pBench = new Bench; }
    static void TearDownTestSuite() {
        if (std::getenv("WYSDK_SWEEP_TABLE") != nullptr) {
            std::ofstream(test_support::ProgramFolder() / "fault-sweep.md")
                << s_pBench->table.Rows();
        }
        delete s_pBench;
        s_pBench = nullptr;
    }

    Sweep() : m_Operation(SweepOperations(Shared().machine, Shared().services)[GetParam()]) {}

    static Bench& Shared() { return *s_pBench; }

    // On the prepared machine.
    Outcome Run(const Plan& plan = {}) const {
        if (Shared().left != Shared().machine.Prepared())
            Shared().machine.Restore(Shared().left);
        Outcome outcome = Watch(plan);
        outcome.state = Shared().machine.State();
        Shared().left = outcome.state;
        return outcome;
    }

    // Runs with one failure, and once without where the failure may have left the log closed. Gives
    // what both have left open.
    std::map<Holding, int> RunSpoilt(const Plan& plan, Outcome& outcome) const {
        outcome = Run(plan);
        std::map<Holding, int> open = outcome.open;
        if (m_Operation.opensLog && (!open.empty() || plan.position >= LastLookUp())) {
            Shared().left[L"after a second run"] = "";
            for (const auto& [holding, count] : Watch({}).open)
                open[holding] += count;
        }
        std::erase_if(open, [](const auto& entry) { return entry.second == 0; });
        return open;
    }

    // Where the operation looks up the product's folder for the last time: for its log.
    std::size_t LastLookUp() const {
        std::size_t last = 0;
        for (std::size_t i = 0; i < m_Complete.calls.size(); ++i) {
            if (std::string_view(m_Complete.calls[i].function->name) == "RegOpenKeyExW")
                last = i;
        }
        return last;
    }

    // As a 32-bit module the trace module leaves two handles behind each time that it is loaded and
    // unloaded.
    bool LosesHandles() const { return sizeof(void*) == 4 && m_Operation.opensLog; }
    // What it leaves behind ends a process after some 500 loads, and each run makes two: all calls
    // do not fit into one process.
    bool TakesAll() const { return IsFull() && !LosesHandles(); }

    Held HeldNow() const {
        return {Shared().blocks.Count(), LosesHandles() ? 0 : test_support::CountHandles()};
    }

    Outcome Watch(const Plan& plan) const {
        Shared().limit.Restart();
        Outcome outcome;
        PlatformRun run(plan);
        outcome.result = m_Operation.call(outcome.output);
        run.Stop();
        outcome.calls = run.Calls();
        outcome.open = run.Open();
        outcome.unknown = run.Unknown().size();
        return outcome;
    }

    void Spoil(std::size_t position, PlatformCode code);
    void ExpectEnding(const SweepEnding& ending, std::uint32_t code, const Outcome& spoilt) const;
    void ExpectMachine(const SweepEnding& ending, const Outcome& spoilt) const;
    void ExpectNothingLost(const Plan& plan) const;
    const SweepRule* RuleFor(std::size_t position, std::uint32_t code) const;

    const SweepOperation m_Operation;
    Outcome m_Complete;

private:
    static inline Bench* s_pBench = nullptr;
};

// The members of the record that tell nothing.
bool IsEmptyMember(const std::wstring& name, const std::string& value) {
    return name.find(L"AuFeedbackTemp.json") != std::wstring::npos && value == "\"\"";
}

bool IsResultMember(const std::wstring& name) {
    return name.ends_with(L"\"auErrorCode\"");
}

std::string ValueOf(const MachineState& state, const std::wstring& name) {
    const auto found = state.find(name);
    return found != state.end() ? found->second : "(missing)";
}

void Sweep::ExpectMachine(const SweepEnding& ending, const Outcome& spoilt) const {
    const bool complete = ending.kind == Kind::kAsWithout;
    std::set<std::wstring> names;
    for (const MachineState* state : std::initializer_list<const MachineState*>{
             &Shared().machine.Prepared(), &m_Complete.state, &spoilt.state}) {
        for (const auto& [name, value] : *state)
            names.insert(name);
    }
    int old = 0;
    for (const std::wstring& name : names) {
        const std::string value = ValueOf(spoilt.state, name);
        const std::string wanted = ValueOf(m_Complete.state, name);
        if (IsResultMember(name) && value != "(missing)") {
            EXPECT_EQ(std::to_string(static_cast<std::int32_t>(spoilt.result)), value);
            continue;
        }
        if (!ending.untouched.empty() && name.find(ending.untouched) != std::wstring::npos) {
            EXPECT_EQ(ValueOf(Shared().machine.Prepared(), name), value)
                << KrCommon::String::ToUtf8(name);
            continue;
        }
        if (value == wanted || (!ending.place.empty() && name.starts_with(ending.place)))
            continue;
        ++old;
        EXPECT_FALSE(complete) << KrCommon::String::ToUtf8(name) << ": " << value;
        EXPECT_TRUE(value == ValueOf(Shared().machine.Prepared(), name) ||
                    IsEmptyMember(name, value))
            << KrCommon::String::ToUtf8(name) << ": " << value;
    }
    EXPECT_LE(old, ending.mayBeOld);
    EXPECT_GE(old, ending.mustBeOld);
}

void Sweep::ExpectEnding(const SweepEnding& ending, std::uint32_t code,
                         const Outcome& spoilt) const {
    std::uint32_t result = m_Complete.result;
    if (ending.kind == Kind::kResult)
        result = ending.result;
    if (ending.kind == Kind::kSystem)
        result = KrCommon::Result::FromSystem(code);
    EXPECT_EQ(result, spoilt.result) << std::hex << spoilt.result;
    EXPECT_EQ(ending.output.empty() ? m_Complete.output : ending.output, spoilt.output);
    ExpectMachine(ending, spoilt);
    HANDLE token = nullptr;
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token))
        << "the thread is left under a foreign identity";
}

// What is kept once and for all is no loss: a loss comes again with the next run.
void Sweep::ExpectNothingLost(const Plan& plan) const {
    Outcome outcome;
    const Held before = HeldNow();
    RunSpoilt(plan, outcome);
    const Held after = HeldNow();
    EXPECT_LE(after.blocks, before.blocks) << "blocks of memory are lost";
    EXPECT_LE(after.handles, before.handles) << "handles are lost";
}

const SweepRule* Sweep::RuleFor(std::size_t position, std::uint32_t code) const {
    for (const SweepRule& rule : m_Operation.rules) {
        if (rule.Fits(m_Complete.calls, position, code))
            return &rule;
    }
    return nullptr;
}

void Sweep::Spoil(std::size_t position, PlatformCode which) {
    const PlatformCall& call = m_Complete.calls[position];
    const std::uint32_t code = CodeOf(*call.function, which);
    SCOPED_TRACE(std::string(m_Operation.name) + ", call " + std::to_string(position) + " " +
                 call.function->name + "(" + Shared().machine.Plain(call.texts) + "), code " +
                 std::to_string(code));
    const SweepRule* const rule = RuleFor(position, code);
    ASSERT_NE(nullptr, rule) << "nothing is stated for this call";

    const Plan plan = Plan::FailOne(position, which);
    const Held before = HeldNow();
    Outcome spoilt;
    const std::map<Holding, int> open = RunSpoilt(plan, spoilt);
    ASSERT_GT(spoilt.calls.size(), position);
    ASSERT_STREQ(call.function->name, spoilt.calls[position].function->name)
        << "the calls are not the same from run to run";
    ExpectEnding(rule->ending, code, spoilt);
    EXPECT_TRUE(open.empty()) << ToText(open);
    const Held after = HeldNow();
    if (after.blocks > before.blocks || after.handles > before.handles)
        ExpectNothingLost(plan);
    Shared().table.Add(m_Operation.name, *call.function, code, spoilt.result);
}

TEST_P(Sweep, each_failing_call_gives_the_stated_result) {
    Run();
    m_Complete = Run();
    EXPECT_TRUE(m_Complete.open.empty()) << ToText(m_Complete.open);
    EXPECT_EQ(0u, m_Complete.unknown);
    ASSERT_FALSE(m_Complete.calls.empty());

    std::set<const SweepRule*> used;
    for (std::size_t i = 0; i < m_Complete.calls.size(); ++i) {
        for (const PlatformCode code : kBothCodes)
            used.insert(RuleFor(i, CodeOf(*m_Complete.calls[i].function, code)));
    }
    for (const SweepRule& rule : m_Operation.rules)
        EXPECT_EQ(1u, used.count(&rule)) << "no call for " << rule.functions.front();

    std::set<const test_support::PlatformFunction*> seen;
    for (std::size_t i = 0; i < m_Complete.calls.size(); ++i) {
        // A sample has the first call of each function, and then one in so many, with either code.
        const bool isFirst = seen.insert(m_Complete.calls[i].function).second;
        if (!TakesAll() && !isFirst && i % m_Operation.stride != 0)
            continue;
        for (const PlatformCode code : kBothCodes) {
            if (TakesAll() || code == kBothCodes[i % std::size(kBothCodes)])
                Spoil(i, code);
        }
        if (HasFatalFailure())
            return;
    }
    if (std::getenv("WYSDK_SWEEP_TABLE") == nullptr) {
        EXPECT_EQ("", Shared().table.Difference(Shared().documented, m_Operation.name, !TakesAll()))
            << "docs/verification.md is out of date: run scripts/fault-table.py";
    }
}

// In the order of SweepOperations().
constexpr const char* kNames[] = {"WySetProxy",        "WySetIdentifier", "WySetIdentifierEx",
                                  "WySetReamerStatus", "WySetDebugLog",   "WyGetDebugLogFolder",
                                  "WyGetCacheFolder",  "WyStartService",  "WyStopService",
                                  "WyAuDeploy"};

INSTANTIATE_TEST_SUITE_P(Each, Sweep, testing::Range<std::size_t>(0, std::size(kNames)),
                         [](const auto& info) { return kNames[info.param]; });

TEST(PlatformTable, has_every_import_of_the_library_or_a_reason) {
    test_support::ImportTable(SdkLibrary::Module())
        .ForEach([](const char* library, const char* name) {
            const auto* const function = test_support::FindPlatformFunction(name);
            const std::string_view reason = test_support::ReasonWithoutRow(name);
            EXPECT_NE(function != nullptr, !reason.empty()) << library << " " << name;
            if (function != nullptr) {
                EXPECT_STRCASEEQ(function->library, library) << name;
            }
        });
}

}  // namespace
