#include "wyctl/PackagePlan.h"

#include <algorithm>
#include <set>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Folders.h"
#include "deploy/SetupConfig.h"
#include "deploy/SystemCheckHelper.h"
#include "deploy/WyDeployer.h"
#include "deploy/WyInstaller.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "utilMode/FrwkMode.h"
#include "wyctl/Errors.h"
#include "wyctl/FolderTree.h"
#include "wyctl/PackageFiles.h"
#include "wyctl/PackageXml.h"
#include "wyctl/PendingMoves.h"
#include "wyctl/PlanMachine_win32.h"
#include "wyctl/ResultCodes.h"

namespace WyCtl {

namespace {

namespace Deploy = WyDeployHelper::DeployCommon;
namespace Result = KrCommon::Result;
namespace Setup = WyDeployHelper::SetupHelper;
namespace Utility = WyCommon::Utility;
using KrCommon::String::EqualNoCase;
using KrCommon::String::ToUtf8;
using Outcome = PlanItem::Outcome;
using Utility::JoinPath;

// ---- what stands in the way

void Refuse(PackagePlan& plan, std::uint32_t result, const std::wstring& reason) {
    if (!Result::Failed(plan.result)) {
        plan.result = result;
        plan.reason = reason;
    }
}

bool IsTavrenox() {
    return Frwk::Mode::GetModeId() == Frwk::Mode::kTavrenoxMode;
}

// What an installation asks before it makes a backup, in its order.
void CheckBeforeBackup(PackagePlan& plan) {
    if (IsTavrenox() && Deploy::IsRebootPending()) {
        Refuse(plan, Result::kRebootPending, L"the restart since the last removal has not been");
    }
    if (plan.reinstall && Setup::CWyInstaller::IsLaterVersionInstalled()) {
        Refuse(plan, Result::kLaterVersionInstalled,
               L"version " + Utility::GetProductVersion() + L" is installed");
    }
}

// And what it asks behind that.
void CheckSetup(PackagePlan& plan) {
    const bool checked = IsTavrenox();
    if (!Setup::g_SetupConfig.ReadConfig(JoinPath(plan.package, L"Setup.ini"))) {
        Refuse(plan, Result::kPackageNotRead, L"Setup.ini is missing or cannot be read");
        plan.systemCheck = L"nothing asked";
        return;
    }
    if (!checked || !Setup::g_SetupConfig.IsOsChecked()) {
        plan.systemCheck = checked ? L"switched off in Setup.ini" : L"none for this identity";
        return;
    }
    Setup::CSystemCheckHelper checks;
    checks.InitCheckFunction();
    const std::uint32_t result = checks.CheckAllSystemItems();
    plan.systemCheck = Result::Failed(result) ? L"refuses this system" : L"accepts this system";
    if (Result::Failed(result)) {
        Refuse(plan, result, L"the check of Setup.ini refuses this system");
    }
}

// ---- folders

void TellFolders(const PlanInput& input, PackagePlan& plan) {
    plan.package = input.package;
    if (!input.installed) {
        plan.product = input.target;
        if (plan.product.empty()) {
            plan.product = JoinPath(
                JoinPath(Utility::ExpandCsidlPath(L"#CSIDL_PROGRAM_FILES#"), L"Korvex Data"),
                Frwk::Mode::GetWyvarionId());
        }
        return;
    }
    plan.product = Utility::GetProductPath();
    if (plan.product.empty()) {
        throw Failure("no product is installed: there is nothing to install over");
    }
    // The installer's own answer to whether this is a re-install: it names its folder.
    std::wstring folder;
    Setup::CWyInstaller installer({}, {});
    installer.SetDirectory({}, input.package, folder);
    plan.reinstall = !folder.empty();
    if (plan.reinstall) {
        plan.product = folder;
    }
}

std::uint64_t FreeBytes(std::wstring folder) {
    ULARGE_INTEGER free{};
    while (!folder.empty() &&
           GetDiskFreeSpaceExW((folder + L"\\").c_str(), &free, nullptr, nullptr) == 0) {
        folder = KrCommon::String::RemoveFileName(folder);
    }
    return free.QuadPart;
}

// ---- items

PlanItem NewItem(const char* element, const std::wstring& id = {}) {
    PlanItem item;
    item.element = element;
    item.id = id;
    return item;
}

class Planner {
public:
    explicit Planner(PackagePlan& plan) : m_Plan(plan) {}

    void Backup() {
        std::wstring product = m_Plan.product;
        KrCommon::String::RemoveSeparator(product);
        const std::wstring backup = Setup::BackupFolderOf(product);
        const bool there = m_Machine.Exists(product);
        PlanItem item = NewItem("Backup");
        const std::uint32_t error = DeleteBackup(backup);
        if (error != ERROR_SUCCESS) {
            Fail(std::move(item), Result::FromSystem(error),
                 L"the former backup cannot be deleted");
        } else if (!there) {
            Fail(std::move(item), Result::kFolderNotRenamed, L"the product's folder is not there");
        }
        m_Plan.losesProduct = there && Result::Failed(m_Plan.result);
        if (m_bStopped) {
            return;
        }
        for (const PackageFile& file : FilesBelow(product)) {
            const std::wstring path = JoinPath(product, file.name);
            if (IsFileInUse(path)) {
                m_InUse.insert(path);
            }
        }
        m_Machine.MoveFolder(product, backup);
        Finish(std::move(item), Result::kSuccess);
    }

    void ProductFolder() {
        PlanItem item = NewItem("Product");
        if (IsNotReached(item)) {
            return;
        }
        item.why = L"the folder is there";
        m_Machine.MakeFolders(m_Plan.product);
        if (!m_Machine.Exists(m_Plan.product)) {
            Fail(std::move(item), Result::kFailure, L"the folder cannot be made");
            return;
        }
        Finish(std::move(item), Result::kSuccess);
    }

    void Manifest(const Deploy::PackageManifest& manifest) {
        for (const auto& record : manifest.registryKeys) {
            Carry("RegistryKey", record, record.platform, &Deploy::PackageManifest::registryKeys);
        }
        for (const auto& record : manifest.registryValues) {
            Carry("RegistryValue", record, record.platform,
                  &Deploy::PackageManifest::registryValues);
        }
        for (const auto& record : manifest.folders) {
            Carry("Folder", record, record.platform, &Deploy::PackageManifest::folders);
        }
        for (const auto& record : manifest.files) {
            Carry("File", record, record.platform, &Deploy::PackageManifest::files);
        }
    }

    void ExternalTools() {
        const std::wstring root = Utility::GetCommonDataRoot();
        const std::wstring last = JoinPath(root, L"External");
        const std::wstring target = m_Plan.reinstall ? JoinPath(root, L"ExternalTmp") : last;
        // It is made even where there is nothing to put into it.
        PlanItem folder = NewItem("External", L"folder");
        if (!IsNotReached(folder)) {
            folder.why = L"the folder is there";
            m_Machine.MakeFolders(target);
            Finish(std::move(folder), Result::kSuccess);
        }
        for (const wchar_t* part :
             {m_Machine.Is64Bit() ? L"x64\\product\\External" : L"win32\\product\\External",
              L"common\\product\\External"}) {
            PlanItem item = NewItem("External", part);
            const std::wstring source = JoinPath(m_Plan.package, part);
            if (IsNotReached(item)) {
                continue;
            }
            if (GetFileAttributesW(source.c_str()) == INVALID_FILE_ATTRIBUTES) {
                item.why = L"not in the package";
                m_Plan.items.push_back(std::move(item));
            } else {
                Finish(std::move(item),
                       m_Machine.CopyFolder(source, target) ? Result::kSuccess : Result::kFailure);
            }
        }
        if (m_Plan.reinstall && !m_bStopped) {
            AddMoves(target, last);
        }
    }

    void Sum() {
        for (const PlanItem& item : m_Plan.items) {
            for (const PlanStep& step : item.steps) {
                m_Plan.bytes += step.bytes;
                if (step.inUse) {
                    m_InUse.insert(step.place);
                }
            }
        }
        m_Plan.inUse.assign(m_InUse.begin(), m_InUse.end());
    }

private:
    // Gives the library's deployer one item of a manifest.
    template <class Record>
    void Carry(const char* element, const Record& record, const std::wstring& platform,
               std::vector<Record> Deploy::PackageManifest::*list) {
        PlanItem item = NewItem(element, record.id);
        if (IsNotReached(item)) {
            return;
        }
        // On a key the platform has no effect.
        if (item.element != "RegistryKey" &&
            !Deploy::IsForPlatform(platform, m_Machine.Is64Bit())) {
            item.outcome = Outcome::Skipped;
            item.why = L"for " + platform + L" alone";
            m_Plan.items.push_back(std::move(item));
            return;
        }
        Deploy::CWyDeployer deployer(m_Machine);
        (deployer.*list).push_back(record);
        const bool done = deployer.Deploy(m_Plan.package, m_Plan.product);
        item.why = Reason(record);
        Finish(std::move(item), done ? Result::kSuccess : Result::kManifestNotCarriedOut);
    }

    // The code of the system, 0 when the folder is gone.
    std::uint32_t DeleteBackup(const std::wstring& backup) {
        if (!m_Machine.Exists(backup)) {
            return ERROR_SUCCESS;
        }
        bool held = false;
        std::uint32_t error = ERROR_SUCCESS;
        if (!m_Machine.EmptyFolder(backup, held, error)) {
            return error;
        }
        if (held) {
            m_Machine.DeleteAtNextStart(backup);
            return ERROR_DIR_NOT_EMPTY;
        }
        m_Machine.RemoveFolder(backup);
        return ERROR_SUCCESS;
    }

    bool IsNotReached(PlanItem& item) {
        if (m_bStopped) {
            item.outcome = Outcome::NotReached;
            m_Plan.items.push_back(std::move(item));
        }
        return m_bStopped;
    }

    // An item that ends the installation with this code.
    void Fail(PlanItem item, std::uint32_t result, const std::wstring& why) {
        item.steps = m_Machine.TakeSteps();
        item.outcome = Outcome::Fails;
        item.why = why;
        m_bStopped = true;
        m_Plan.items.push_back(std::move(item));
        const bool ofManifest = result == Result::kManifestNotCarriedOut;
        Refuse(m_Plan, result, ofManifest ? L"an item fails" : why);
    }

    void Finish(PlanItem item, std::uint32_t result) {
        const std::wstring failure = m_Machine.TakeFailure();
        if (Result::Failed(result)) {
            Fail(std::move(item), result, failure);
            return;
        }
        item.steps = m_Machine.TakeSteps();
        const std::wstring kept = KeptWords(item);
        if (!item.steps.empty()) {
            item.outcome = Outcome::Done;
            item.why = kept;
        } else if (!kept.empty()) {
            item.outcome = Outcome::Kept;
            item.why = kept;
        }
        m_Plan.items.push_back(std::move(item));
    }

    // What an item names that is there already and stays as it is.
    std::wstring KeptWords(const PlanItem& item) {
        const std::vector<std::wstring> found = m_Machine.TakeFound();
        const auto versions = m_Machine.TakeVersions();
        std::wstring words;
        for (const std::wstring& path : found) {
            const bool asksInside = std::any_of(
                found.begin(), found.end(),
                [&](const std::wstring& other) { return other.starts_with(path + L"\\"); });
            if (item.why != kWrites || !IsTarget(path) || asksInside || IsCopied(item, path)) {
                continue;
            }
            const auto version = versions.find(path);
            words += (words.empty() ? L"" : L"; ") + path + L" stays: ";
            words += version == versions.end()
                         ? std::wstring(L"it is there, and Overwrite is not yes")
                         : L"version " + version->second + L" is there, and no later one comes";
        }
        return words;
    }

    // Of what the deployer asks for: not what the package holds.
    bool IsTarget(const std::wstring& path) const {
        return LiesBelow(path, m_Plan.product) &&
               !(LiesBelow(path, m_Plan.package) && m_Plan.package.size() > m_Plan.product.size());
    }

    static bool IsCopied(const PlanItem& item, const std::wstring& path) {
        const std::wstring whole = PlanMachine::WholeName(path);
        return std::any_of(item.steps.begin(), item.steps.end(), [&](const PlanStep& step) {
            return step.kind == PlanStep::Kind::CopyFile &&
                   (EqualNoCase(step.place, whole) || step.place.starts_with(whole + L"\\"));
        });
    }

    static constexpr const wchar_t* kWrites = L"no such file in the package";
    static constexpr const wchar_t* kDeletes = L"not there";
    static constexpr const wchar_t* kUnknownWord = L"its Action or Type is no word that is known";

    // Why an item that does nothing does nothing.
    static std::wstring Reason(const Deploy::FileRecord& record) {
        if (EqualNoCase(record.action, L"write")) {
            return kWrites;
        }
        return EqualNoCase(record.action, L"delete") ? kDeletes : kUnknownWord;
    }
    template <class Record>
    static std::wstring Reason(const Record& record) {
        return EqualNoCase(record.action, L"delete") ? kDeletes : kUnknownWord;
    }

    // What waits for the next start of the system: all that is in the folder by then.
    void AddMoves(const std::wstring& from, const std::wstring& to) {
        PlanItem item = NewItem("External", L"at the restart");
        m_Machine.MakeFolders(to);
        item.steps = m_Machine.TakeSteps();
        std::set<std::wstring> names;
        const std::wstring head = from + L"\\";
        for (const PlanItem& external : m_Plan.items) {
            for (const PlanStep& step : external.steps) {
                if (external.element == "External" && step.place.starts_with(head)) {
                    names.insert(step.place.substr(head.size()));
                }
            }
        }
        if (PathExists(from)) {
            for (const TreeEntry& entry : ListTree(from)) {
                names.insert(entry.name);
            }
        }
        for (const std::wstring& name : names) {
            PlanStep step;
            step.kind = PlanStep::Kind::MoveFile;
            step.place = JoinPath(to, name);
            step.data = JoinPath(from, name);
            step.atRestart = true;
            item.steps.push_back(std::move(step));
        }
        item.outcome = item.steps.empty() ? Outcome::Nothing : Outcome::Done;
        m_Plan.items.push_back(std::move(item));
    }

    PackagePlan& m_Plan;
    PlanMachine m_Machine;
    std::set<std::wstring> m_InUse;
    bool m_bStopped = false;
};

// Raises Failure with what is wrong with the document.
[[noreturn]] void RefuseManifest(const PlanInput& input, const std::wstring& path,
                                 PackagePlan& plan) {
    Refuse(plan, Result::kPackageNotRead, {});
    const PackageXml xml = ReadPackageXml(input.folderOfLibrary, path);
    constexpr std::uint32_t kFileNotFound = 2;
    std::string words = "it has no Product as its outermost element";
    if (xml.fault.has_value() && !xml.fault->words.empty()) {
        words = xml.fault->words + " in line " + std::to_string(xml.fault->line) + ", column " +
                std::to_string(xml.fault->column);
    } else if (xml.fault.has_value() && xml.fault->code == kFileNotFound) {
        words = "there is no such file";
    } else if (xml.fault.has_value()) {
        words = "system error " + std::to_string(xml.fault->code);
    }
    throw Failure(ToUtf8(path) + " cannot be read: " + words + ". An installation would end with " +
                  HexCode(plan.result));
}

}  // namespace

std::size_t PackagePlan::Count(PlanItem::Outcome outcome) const {
    return static_cast<std::size_t>(
        std::count_if(items.begin(), items.end(),
                      [outcome](const PlanItem& item) { return item.outcome == outcome; }));
}

PackagePlan MakePackagePlan(const PlanInput& input) {
    PackagePlan plan;
    plan.result = Result::kSuccess;
    TellFolders(input, plan);
    CheckBeforeBackup(plan);
    Planner planner(plan);
    if (plan.reinstall) {
        planner.Backup();
    }
    CheckSetup(plan);
    planner.ProductFolder();
    plan.registry = !(plan.reinstall && Setup::g_SetupConfig.GetUpdateRegistry() == L"0");

    const std::wstring path = JoinPath(plan.package, L"InstCfg.xml");
    Deploy::CWyDeployer manifest;
    manifest.deployRegistry = plan.registry;
    if (!manifest.ParseConfig(input.folderOfLibrary, path)) {
        RefuseManifest(input, path, plan);
    }
    const std::wstring library = JoinPath(plan.package, Deploy::DeployMachine::OfSystem().Is64Bit()
                                                            ? L"x64\\foundation\\libexpat.dll"
                                                            : L"win32\\foundation\\libexpat.dll");
    if (GetFileAttributesW(library.c_str()) == INVALID_FILE_ATTRIBUTES) {
        Refuse(plan, Result::kPackageNotRead, L"the package has no XML library for this system");
    }

    planner.Manifest(manifest);
    planner.ExternalTools();
    planner.Sum();
    plan.free = FreeBytes(plan.product);
    return plan;
}

}  // namespace WyCtl
