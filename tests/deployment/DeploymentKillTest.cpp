// The process that deploys is ended before each call that changes the machine: the machine is then
// one that may be, and the next operation leads on. And very many lives of a product: nothing of
// them stays but what is to stay.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "Common/KrCommon/KrComn_Result.h"
#include "abi/SdkLibrary.h"
#include "deployment/SweepBench_win32.h"
#include "deployment/SweepVerdict_win32.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"

namespace {

using deploy_test::Operation;
using deploy_test::SweepBench;
using deploy_test::SweepJudge;
using deploy_test::SweepRun;
using KrCommon::Result::Succeeded;
using test_support::Difference;
using test_support::Plan;
using test_support::ProcessFigures;

constexpr char kOneRun[] = "--one-run";
constexpr std::uint32_t kFolderNotRenamed = 0xe00e0018;

bool IsFull() {
    return std::getenv("WYSDK_TEST_FULL") != nullptr;
}

// On a 64-bit system the product's keys lie in the 64-bit view, and a 32-bit process deletes keys
// in its own: RegDeleteKeyW knows no other. What it has installed stays registered.
bool LeavesItsKeys() {
    return sizeof(void*) == 4 && test_support::Is64BitSystem();
}

void EraseProductKey(test_support::MachineThings& things) {
    std::erase_if(things, [](const auto& thing) {
        return thing.first.starts_with(L"HKLM 64 SOFTWARE\\KorvexData\\Tavrenox");
    });
}

class DeploymentKill : public testing::TestWithParam<Operation> {
protected:
    static SweepBench& Bench() { return deploy_test::SharedMachine::Bench(); }

    DWORD RunElsewhere(std::size_t position) const;
    void GoOn() const;
    void ExpectInstalled(bool isPostInstalled) const {
        EXPECT_EQ("",
                  Bench().Plain(NotInstalled(Bench().NewProduct(isPostInstalled), Bench().Look())));
    }

    // Ways on that were taken.
    mutable std::map<std::string, int> m_Ways;
};

// The exit code of a process that runs the operation and is ended before a changing call.
DWORD DeploymentKill::RunElsewhere(std::size_t position) const {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring line = L"\"" + std::wstring(program) + L"\" --one-run " + Bench().Base() + L" " +
                        std::to_wstring(static_cast<int>(GetParam())) + L" " +
                        std::to_wstring(position);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    EXPECT_TRUE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               test_support::ProgramFolder().c_str(), &startup, &process));
    DWORD code = STILL_ACTIVE;
    constexpr DWORD kPatienceMs = 30000;
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process.hProcess, kPatienceMs));
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

// What a person does next.
void DeploymentKill::GoOn() const {
    switch (GetParam()) {
        case Operation::kPostInstall:
        case Operation::kPostReinstall: {
            const SweepRun again = Bench().Run(GetParam());
            EXPECT_EQ(KrCommon::Result::kSuccess, again.result) << std::hex << again.result;
            ExpectInstalled(true);
            ++m_Ways["the second phase again"];
            return;
        }
        case Operation::kUninstall: {
            const SweepRun again = Bench().Run(GetParam());
            EXPECT_EQ(KrCommon::Result::kSuccess, again.result) << std::hex << again.result;
            test_support::MachineThings clean = Bench().Prepared(Operation::kInstall);
            // Where nothing is registered any more, the program's own folder is taken for it.
            std::erase_if(clean, [](const auto& thing) {
                return test_support::PathOfThing(thing.first).starts_with(Bench().At(L"Host"));
            });
            test_support::MachineThings now = again.things;
            std::erase_if(now, [](const auto& thing) {
                return test_support::PathOfThing(thing.first).starts_with(Bench().At(L"Host")) ||
                       thing.first.find(L"krdbg") != std::wstring::npos;
            });
            if (LeavesItsKeys())
                EraseProductKey(now);
            EXPECT_EQ("", Bench().Plain(NotGone(clean, now, Bench().Places())));
            ++m_Ways["the uninstall again"];
            return;
        }
        default:
            break;
    }
    SweepRun again = Bench().Run(Operation::kInstall);
    if (Succeeded(again.result)) {
        ++m_Ways["the install again"];
    } else {
        // The folder of the product lies in the backup and nowhere else: there is nothing to back
        // up, and an install over it is refused from then on, until the product is removed.
        EXPECT_EQ(kFolderNotRenamed, again.result) << std::hex << again.result;
        EXPECT_EQ(test_support::NumberValue(3),
                  again.things[ProductValueName(Bench().Places(), L"InstallStatus")]);
        EXPECT_EQ(KrCommon::Result::kSuccess, Bench().Run(Operation::kUninstall).result);
        again = Bench().Run(Operation::kInstall);
        if (LeavesItsKeys()) {
            EXPECT_EQ(kFolderNotRenamed, again.result) << std::hex << again.result;
            ++m_Ways["an uninstall, and no install any more"];
            return;
        }
        EXPECT_EQ(KrCommon::Result::kSuccess, again.result) << std::hex << again.result;
        ++m_Ways["an uninstall, and an install"];
    }
    ExpectInstalled(false);
}

TEST_P(DeploymentKill, ended_process_leaves_a_machine_that_leads_on) {
    Bench().Prepare(GetParam());
    const SweepRun complete = Bench().Run(GetParam());
    const SweepJudge judge(Bench(), GetParam(), complete);
    const auto changing = static_cast<std::size_t>(std::count_if(
        complete.calls.begin(), complete.calls.end(),
        [](const auto& call) { return call.function->effect == test_support::Effect::kChanges; }));
    std::vector<std::size_t> positions(changing);
    for (std::size_t i = 0; i < changing; ++i)
        positions[i] = i;
    if (!IsFull()) {
        constexpr std::size_t kSample = 2;
        std::mt19937 random(static_cast<unsigned>(GetParam()));
        std::shuffle(positions.begin(), positions.end(), random);
        positions.resize(kSample);
    }
    for (const std::size_t position : positions) {
        SCOPED_TRACE(std::string(NameOf(GetParam())) + ", ended before changing call " +
                     std::to_string(position));
        Bench().Prepare(GetParam());
        // The other process brings the programs of the product, and they end with it.
        Bench().StartPrograms(Operation::kInstall);
        ASSERT_EQ(Plan::kEndedByPlan, RunElsewhere(position));
        EXPECT_EQ("", Bench().Plain(judge.WrongThings(Bench().Look())));
        GoOn();
    }
    std::printf("%s: ended before %zu of %zu changing calls", NameOf(GetParam()), positions.size(),
                changing);
    for (const auto& [way, count] : m_Ways)
        std::printf("; %d times %s", count, way.c_str());
    std::printf("\n");
}

INSTANTIATE_TEST_SUITE_P(Each, DeploymentKill, testing::ValuesIn(deploy_test::kCalls),
                         [](const auto& info) {
                             std::string name = NameOf(info.param);
                             std::erase_if(name, [](char c) { return c < 'a' || c > 'z'; });
                             return name;
                         });

// The product is then there no more, and cannot come back.
void ExpectRegisteredForEver(SweepBench& bench) {
    bench.Prepare(Operation::kUninstall);
    const SweepRun run = bench.Run(Operation::kUninstall);
    EXPECT_EQ(KrCommon::Result::kSuccess, run.result) << std::hex << run.result;
    EXPECT_EQ(1U, run.things.count(ProductValueName(bench.Places(), L"ProductGuid")));
    EXPECT_EQ(kFolderNotRenamed, bench.Run(Operation::kInstall).result);
}

// The first lives leave what a process keeps once and for all: endpoints above all, of which the
// run-time of Wine takes a certain number.
TEST(DeploymentLives, leave_the_machine_and_the_process_as_they_were) {
    SweepBench& bench = deploy_test::SharedMachine::Bench();
    if (LeavesItsKeys()) {
        ExpectRegisteredForEver(bench);
        return;
    }
    const int lives = IsFull() ? 200 : 10;
    const int warmUp = IsFull() ? 20 : 5;
    bench.Prepare(Operation::kInstall);
    const test_support::MachineThings clean = bench.Look();
    test_support::MachineThings first;
    ProcessFigures before{};
    int endpoints = 0;
    const DWORD start = GetTickCount();
    for (int life = 0; life < lives; ++life) {
        SCOPED_TRACE(life);
        for (const Operation operation :
             {Operation::kInstall, Operation::kPostInstall, Operation::kUninstall}) {
            bench.StartPrograms(operation);
            const SweepRun run = bench.Run(operation);
            ASSERT_EQ(KrCommon::Result::kSuccess, run.result) << NameOf(operation);
            ASSERT_TRUE(run.open.empty() || life == 0) << ToText(run.open);
            if (operation == Operation::kPostInstall) {
                ASSERT_EQ("", NotInstalled(bench.NewProduct(true), run.things));
            }
        }
        bench.StartPrograms(Operation::kInstall);
        const test_support::MachineThings now = bench.Look();
        ASSERT_EQ("", NotGone(clean, now, bench.Places()));
        if (life == 1)
            first = now;
        if (life > 1) {
            ASSERT_EQ("", Difference(first, now));
        }
        if (life + 1 == warmUp) {
            before = ProcessFigures::Now();
            endpoints = SdkLibrary::OpenEndpoints();
        }
    }
    const ProcessFigures growth = ProcessFigures::Now() - before;
    endpoints = SdkLibrary::OpenEndpoints() - endpoints;
    std::printf("%d lives in %lu s; growth of the last %d: %s, endpoints %d\n", lives,
                (GetTickCount() - start) / 1000, lives - warmUp, ToText(growth).c_str(), endpoints);
    constexpr std::int64_t kHandlesPerEndpoint = 3;
    constexpr std::int64_t kNoiseInHandles = 8;
    constexpr std::int64_t kNoiseInBytes = 1024 * 1024;
    EXPECT_LE(growth.handles, endpoints * kHandlesPerEndpoint + kNoiseInHandles);
    EXPECT_LE(growth.privateBytes, kNoiseInBytes);
}

}  // namespace

// With --one-run BASE OPERATION POSITION: one operation on the machine of another process, ended
// before a call that changes it.
int main(int count, char** arguments) {
    constexpr int kWithRun = 5;
    if (count == kWithRun && std::strcmp(arguments[1], kOneRun) == 0) {
        SweepBench bench(std::filesystem::path(arguments[2]).wstring());
        const auto operation = static_cast<Operation>(std::atoi(arguments[3]));
        bench.StartPrograms(operation);
        bench.Run(operation, Plan::EndProcess(static_cast<std::size_t>(std::atoi(arguments[4]))));
        return 0;
    }
    testing::InitGoogleMock(&count, arguments);
    const int result = RUN_ALL_TESTS();
    deploy_test::SharedMachine::End();
    return result;
}
