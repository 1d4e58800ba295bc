#include "deployment/SweepBench_win32.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "abi/SdkLibrary.h"
#include "deploy/WyDeployer.h"
#include "deployment/SweepPackage.h"
#include "support/LogRecorder.h"
#include "support/RunProgram.h"
#include "support/ServiceHost.h"

namespace deploy_test {

namespace {

namespace fs = std::filesystem;
using test_support::Is64BitSystem;
using test_support::MachineThings;
using test_support::Plan;
using test_support::PlatformCall;
using test_support::PlatformCalls;
using test_support::PlatformRun;

constexpr wchar_t kId[] = L"Tavrenox";
constexpr wchar_t kProductId[] = L"c11t1100v1.1.0l1p1r1o1";
constexpr wchar_t kVendorId[] = L"1100";
constexpr wchar_t kMakerKey[] = L"SOFTWARE\\KorvexData";

// Temporary folders lie below this one from now on.
const wchar_t* ShallowName() {
    SetEnvironmentVariableW(L"TMP", L"C:\\");
    return L"deploy";
}

void Put(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

HKEY MakeKey(HKEY root, const std::wstring& path) {
    HKEY key = nullptr;
    RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr,
                    &key, nullptr);
    return key;
}

void SetText(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& text) {
    HKEY const key = MakeKey(root, path);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

// The number is not the same twice.
void HideWinGuid(MachineThings& things, const test_support::ProductPlaces& places) {
    const auto found = things.find(ProductValueName(places, L"WinGuid"));
    if (found != things.end() && found->second != test_support::TextValue({}))
        found->second = L"text (guid)";
}

struct BenchWithService {
    test_support::ServiceHost host{{}, 1};
    SweepBench bench;
};
std::unique_ptr<BenchWithService> g_pShared;

}  // namespace

const char* NameOf(Operation operation) {
    switch (operation) {
        case Operation::kInstall:
            return "install";
        case Operation::kReinstall:
            return "re-install";
        case Operation::kRollback:
            return "rollback";
        case Operation::kPostInstall:
            return "post-install";
        case Operation::kPostReinstall:
            return "post-install, re-installed";
        case Operation::kUninstall:
            return "uninstall";
        default:
            return "deploy";
    }
}

SweepBench::SweepBench()
    : m_pFolder(std::make_unique<test_support::TemporaryFolder>(ShallowName())),
      m_strBase(m_pFolder->Path().wstring()),
      m_Blocks(LoadLibraryOfIdentity()) {
    MakeMachine();
    Watch(SdkLibrary::Module());
    MakeStates();
}

SweepBench::SweepBench(const std::wstring& base)
    : m_strBase(base), m_Blocks(LoadLibraryOfIdentity()) {
    SetEnvironmentVariableW(L"TMP", At(L"Temp").c_str());
    m_Scope = ScopeOf(Places(), {});
    Watch(SdkLibrary::Module());
}

SweepBench::~SweepBench() {
    if (m_pFolder != nullptr && m_States.count(Operation::kInstall) != 0) {
        Prepare(Operation::kInstall);
        for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
            RegDeleteKeyExW(root, (kMakerKey + std::wstring(L"\\Other")).c_str(), KEY_WOW64_64KEY,
                            0);
            RegDeleteKeyExW(root, kMakerKey, KEY_WOW64_64KEY, 0);
        }
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, SimulatedSystem::kServicesKey, KEY_WOW64_64KEY, 0);
    }
    m_pCalls.reset();
    m_pSystem.reset();
    SetCurrentDirectoryW(L"C:\\");
}

// Away from the host of another identity, so that the name of the program decides. It stays loaded,
// and is what its name finds from now on.
HMODULE SweepBench::LoadLibraryOfIdentity() const {
    const std::wstring library = At(L"Library\\WySdk.dll");
    fs::create_directories(At(L"Library"));
    if (!fs::exists(library))
        fs::copy_file(test_support::ProgramFolder() / L"WySdk.dll", library);
    HMODULE const loaded = LoadLibraryW(library.c_str());
    if (loaded == nullptr || SdkLibrary::Module() != loaded)
        throw std::runtime_error("the library cannot be loaded from a folder of its own");
    return loaded;
}

void SweepBench::MakeMachine() {
    for (const wchar_t* folder : {L"Maker", L"Temp", L"Host", L"Present"})
        fs::create_directories(At(folder));
    SetEnvironmentVariableW(L"TMP", At(L"Temp").c_str());
    SetCurrentDirectoryW(At(L"Present").c_str());
    Put(At(L"Maker\\foreign.txt"), "foreign");
    Put(At(L"Maker\\Wyvarion\\foreign.txt"), "foreign");
    Put(At(L"Host\\host.txt"), "host");
    const std::wstring expat = test_support::ProgramFolder() / L"libexpat.dll";
    const std::wstring program = test_support::ProgramFolder() / L"data" / L"SweepService.exe";
    Write({At(L"Old"), "old", false, expat, program});
    Write({At(L"New"), "new", false, expat, program});
    Write({At(L"Broken"), "broken", true, expat, program});
    SetText(HKEY_LOCAL_MACHINE, kMakerKey + std::wstring(L"\\Other"), L"Text", L"foreign");
    SetText(HKEY_CURRENT_USER, kMakerKey + std::wstring(L"\\Other"), L"Text", L"foreign");
    RegCloseKey(MakeKey(HKEY_LOCAL_MACHINE, SimulatedSystem::kServicesKey));
    m_Scope = ScopeOf(Places(), {At(L"Maker"), At(L"Host"), At(L"Present"), At(L"Temp")});
    m_Scope.services.clear();
    m_Scope.keys.emplace_back(SimulatedSystem::kServicesKey);
}

// Each operation finds what those before it have left.
void SweepBench::MakeStates() {
    const auto succeed = [this](const char* what, const std::function<std::uint32_t()>& call) {
        if (const SweepRun run = Watched({}, call); KrCommon::Result::Failed(run.result)) {
            std::string text = std::string("no machine to begin with: ") + what;
            for (const std::string& line : run.lines)
                text += "\n" + line;
            throw std::runtime_error(text);
        }
    };
    // Makes the folders that stay. Where no product is, it takes the folder of the program for it.
    SDK(WyUninstall)();
    Put(At(L"Host\\host.txt"), "host");
    Keep({Operation::kInstall});
    const auto install = [this](const wchar_t* package) {
        return [this, package] { return Install(package); };
    };
    succeed("install", install(L"New"));
    Prepare(Operation::kInstall);
    succeed("install again", install(L"New"));
    SetText(HKEY_LOCAL_MACHINE,
            SimulatedSystem::kServicesKey + (L"\\" + Places().id) + L" Host Service", L"name",
            Places().id + L" Host Service");
    Keep({Operation::kPostInstall});
    Prepare(Operation::kInstall);
    succeed("old install", install(L"Old"));
    succeed("its second phase", [] { return SDK(WyPostInstall)(); });
    SetVersion(L"3.1.1100");
    Put(fs::path(Places().installDir) / L"old.txt", "old");
    Keep({Operation::kReinstall, Operation::kRollback, Operation::kUninstall, Operation::kDeploy});
    Prepare(Operation::kReinstall);
    succeed("install over it", install(L"New"));
    Keep({Operation::kPostReinstall});
}

void SweepBench::SetVersion(const wchar_t* version) const {
    SetText(HKEY_LOCAL_MACHINE, kMakerKey + (L"\\" + Places().id), L"ProductVersion", version);
}

void SweepBench::Keep(std::initializer_list<Operation> operations) {
    for (const Operation operation : operations) {
        State& state = m_States[operation];
        state.image = std::make_unique<MachineImage>(m_Scope);
        Prepare(operation);
        state.things = Look();
    }
}

void SweepBench::Prepare(Operation operation) {
    Watch(ModuleOf(operation));
    m_States.at(operation).image->PutBack();
    StartPrograms(operation);
}

void SweepBench::StartPrograms(Operation operation) {
    m_pSystem->ForgetStarted();
    m_pSystem->StopWatchdog();
    m_pSystem->SetRunningProgram({});
    if (operation == Operation::kReinstall || operation == Operation::kRollback ||
        operation == Operation::kUninstall) {
        m_pSystem->StartWatchdog(kId);
        m_pSystem->SetRunningProgram(Places().installDir + L"\\WySessionAgent_P.exe");
    }
}

const MachineThings& SweepBench::Prepared(Operation operation) const {
    return m_States.at(operation).things;
}

HMODULE SweepBench::ModuleOf(Operation operation) {
    return operation == Operation::kDeploy ? GetModuleHandleW(nullptr) : SdkLibrary::Module();
}

void SweepBench::Watch(HMODULE module) {
    if (m_hWatched == module)
        return;
    m_pCalls.reset();
    m_pSystem.reset();
    // What the program itself calls is left alone: the simulation would meet itself.
    m_pSystem =
        std::make_unique<SimulatedSystem>(module == SdkLibrary::Module() ? module : nullptr);
    m_pSystem->SetOwnProgram(At(L"Host\\Sweep_P.exe"));
    m_pCalls = std::make_unique<PlatformCalls>(module);
    m_hWatched = module;
}

SweepRun SweepBench::Run(Operation operation, const Plan& plan) {
    Watch(ModuleOf(operation));
    SweepRun run = Watched(plan, [this, operation] { return Call(operation); });
    if (!m_Scope.folders.empty())
        run.things = Look();
    return run;
}

SweepRun SweepBench::Watched(const Plan& plan, const std::function<std::uint32_t()>& call) const {
    SweepRun run;
    test_support::LogRecorder log;
    PlatformRun watch(plan);
    run.result = call();
    watch.Stop();
    run.calls = watch.Calls();
    run.open = watch.Open();
    run.unknown = watch.Unknown();
    for (const std::wstring& text : log.Texts())
        run.lines.push_back(KrCommon::String::ToUtf8(text));
    for (const PlatformCall& one : run.calls) {
        if (std::string_view(one.function->name) == "KrDbgTrace")
            run.lines.push_back(one.texts);
    }
    for (const std::wstring& line : m_pSystem->Started())
        run.agents += line.find(L"WySessionAgent") != std::wstring::npos ? 1 : 0;
    return run;
}

std::uint32_t SweepBench::Install(const wchar_t* package) const {
    return SDK(WyInstall)(kProductId, kVendorId, At(package).c_str(), Places().installDir.c_str(),
                          nullptr);
}

std::uint32_t SweepBench::Call(Operation operation) const {
    switch (operation) {
        case Operation::kInstall:
        case Operation::kReinstall:
            return Install(L"New");
        case Operation::kRollback:
            return Install(L"Broken");
        case Operation::kPostInstall:
        case Operation::kPostReinstall:
            return SDK(WyPostInstall)();
        case Operation::kUninstall:
            return SDK(WyUninstall)();
        default:
            return Deploy();
    }
}

std::uint32_t SweepBench::Deploy() const {
    namespace Result = KrCommon::Result;
    WyDeployHelper::DeployCommon::CWyDeployer deployer;
    deployer.deployRegistry = true;
    const std::wstring tree = At(L"New\\") + (Is64BitSystem() ? L"x64" : L"win32");
    if (!deployer.ParseConfig(tree + L"\\foundation", At(L"New\\InstCfg.xml")))
        return Result::kPackageNotRead;
    return deployer.Deploy(At(L"New"), Places().installDir) ? Result::kSuccess
                                                            : Result::kManifestNotCarriedOut;
}

MachineThings SweepBench::Look() const {
    MachineThings things = LookAt(m_Scope);
    SimulatedSystem::ShowServices(things);
    HideWinGuid(things, Places());
    // The files of the log are copied there by each call that opens it.
    std::erase_if(things, [this](const auto& thing) {
        return test_support::BeginsWithNoCase(test_support::PathOfThing(thing.first), At(L"Temp"));
    });
    return things;
}

void SweepBench::OpenEndpoints() {
    for (int before = -1; before != SdkLibrary::OpenEndpoints();) {
        before = SdkLibrary::OpenEndpoints();
        SDK(WySetReamerStatus)(0);
    }
}

std::string SweepBench::Plain(std::string text) const {
    const std::string base = KrCommon::String::ToUtf8(m_strBase);
    for (std::size_t at = text.find(base); at != std::string::npos; at = text.find(base))
        text.replace(at, base.size(), "@");
    return text;
}

test_support::ProductPlaces SweepBench::Places() const {
    return {kId, At(L"Maker\\Wy")};
}

test_support::InstalledProduct SweepBench::NewProduct(bool isPostInstalled) const {
    using test_support::TextValue;
    test_support::InstalledProduct product;
    product.places = Places();
    product.isTavrenox = true;
    product.productId = kProductId;
    product.vendorId = kVendorId;
    product.packageDir = At(L"New");
    product.isPostInstalled = isPostInstalled;
    const std::wstring tree = At(L"New\\") + (Is64BitSystem() ? L"x64" : L"win32") + L"\\product";
    for (const auto& [name, hash] : test_support::FilesOf(tree)) {
        if (!name.starts_with(L"External"))
            product.files[name] = hash;
    }
    for (const auto& [name, hash] :
         test_support::FilesOf(At(L"New\\common\\product\\Configuration")))
        product.files[L"Configuration\\" + name] = hash;
    const std::wstring half = Is64BitSystem() ? L"64 " : L"32 ";
    const std::wstring key = kMakerKey + (L"\\" + product.places.id);
    product.more[L"HKLM " + half + key + L"\\Settings: Text"] = TextValue(L"new");
    product.more[L"HKCU 64 " + key + L": Number"] = test_support::NumberValue(42);
    return product;
}

MachineThings SweepBench::Packages() const {
    test_support::MachineScope scope;
    scope.folders = {At(L"Old"), At(L"New"), At(L"Broken")};
    MachineThings things = LookAt(scope);
    std::erase_if(things, [](const auto& thing) { return thing.first.starts_with(L"at "); });
    return things;
}

SweepBench& SharedMachine::Bench() {
    if (g_pShared == nullptr)
        g_pShared = std::make_unique<BenchWithService>();
    return g_pShared->bench;
}

void SharedMachine::End() {
    g_pShared.reset();
}

}  // namespace deploy_test
