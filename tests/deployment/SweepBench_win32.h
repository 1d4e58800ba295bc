#pragma once

// A machine with all that a deployment needs, prepared anew for each of very many runs of it.

#include <WySdk/WySdk.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "deployment/MachineImage_win32.h"
#include "deployment/SimulatedSystem_win32.h"
#include "support/DeployedMachine_win32.h"
#include "support/LibraryBlocks_win32.h"
#include "support/PlatformCalls_win32.h"
#include "support/TemporaryFolder.h"

namespace deploy_test {

// What a run does.
enum class Operation {
    kInstall,        // WyInstall of a product that is not there
    kReinstall,      // WyInstall over an older one
    kRollback,       // the same with a package that cannot be carried out
    kPostInstall,    // WyPostInstall of a new product, whose service is there from before
    kPostReinstall,  // WyPostInstall behind a re-install
    kUninstall,      // WyUninstall
    kDeploy,         // CWyDeployer alone, over what an install has left
};
constexpr Operation kOperations[] = {
    Operation::kInstall,       Operation::kReinstall, Operation::kRollback, Operation::kPostInstall,
    Operation::kPostReinstall, Operation::kUninstall, Operation::kDeploy};
// Those that are functions of the library.
constexpr Operation kCalls[] = {Operation::kInstall,       Operation::kReinstall,
                                Operation::kRollback,      Operation::kPostInstall,
                                Operation::kPostReinstall, Operation::kUninstall};
const char* NameOf(Operation operation);

// How one run went.
struct SweepRun {
    std::uint32_t result = 0;
    test_support::MachineThings things;  // the machine afterwards
    std::vector<test_support::PlatformCall> calls;
    std::vector<std::string> lines;  // of the log, also those that the trace module refused
    std::map<test_support::Holding, int> open;
    std::vector<std::string> unknown;  // functions that were looked up and are in no table
    int agents = 0;                    // session agents that were started
};

// One in a process. It lies directly below C:\, so that paths have as many folders on every
// machine; a process that was started for one run works on the machine of another one.
class SweepBench {
public:
    // With a machine of its own, which it takes away again.
    SweepBench();
    // For one run on the machine of another process, whose base this is.
    explicit SweepBench(const std::wstring& base);
    SweepBench(const SweepBench&) = delete;
    SweepBench& operator=(const SweepBench&) = delete;
    ~SweepBench();

    // Makes the machine what the operation finds.
    void Prepare(Operation operation);
    const test_support::MachineThings& Prepared(Operation operation) const;
    // What runs when the operation begins, for one run in another process.
    void StartPrograms(Operation operation);
    // The operation on the machine as it is.
    SweepRun Run(Operation operation, const test_support::Plan& plan = {});

    test_support::MachineThings Look() const;

    // Has the library open all endpoints that it will have: what it keeps for one is no loss.
    void OpenEndpoints();
    // Blocks of memory that the library has.
    int Blocks() const { return m_Blocks.Count(); }

    std::wstring At(const std::wstring& relative) const { return m_strBase + L"\\" + relative; }
    const std::wstring& Base() const { return m_strBase; }
    // A text with the machine's own folder written "@".
    std::string Plain(std::string text) const;
    test_support::ProductPlaces Places() const;
    // The product of the newer package when it is fully installed, or as the first phase leaves it.
    test_support::InstalledProduct NewProduct(bool isPostInstalled) const;
    // What lies in the packages, which nobody may change.
    test_support::MachineThings Packages() const;

private:
    struct State {
        std::unique_ptr<MachineImage> image;
        test_support::MachineThings things;
    };

    HMODULE LoadLibraryOfIdentity() const;
    void MakeMachine();
    void MakeStates();
    void Keep(std::initializer_list<Operation> operations);
    SweepRun Watched(const test_support::Plan& plan,
                     const std::function<std::uint32_t()>& call) const;
    std::uint32_t Install(const wchar_t* package) const;
    std::uint32_t Call(Operation operation) const;
    std::uint32_t Deploy() const;
    void SetVersion(const wchar_t* version) const;
    static HMODULE ModuleOf(Operation operation);

    std::unique_ptr<test_support::TemporaryFolder> m_pFolder;
    const std::wstring m_strBase;
    test_support::MachineScope m_Scope;
    std::unique_ptr<SimulatedSystem> m_pSystem;
    std::unique_ptr<test_support::PlatformCalls> m_pCalls;
    HMODULE m_hWatched = nullptr;
    const test_support::LibraryBlocks m_Blocks;
    std::map<Operation, State> m_States;

    void Watch(HMODULE module);
};

// The one machine of a test program and a service that takes the events of a set-up, made with the
// first use. End() takes both away again.
class SharedMachine {
public:
    static SweepBench& Bench();
    static void End();
};

}  // namespace deploy_test
