#include "deployment/SweepVerdict_win32.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <set>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"

namespace deploy_test {

namespace {

using test_support::BeginsWithNoCase;
using test_support::Difference;
using test_support::MachineThings;
using test_support::NumberValue;
using test_support::PathOfThing;
using test_support::PlatformCall;
using test_support::RegistryPathOfThing;

constexpr std::uint32_t kFamily = 0xffff0000;
constexpr std::uint32_t kSystemErrors = 0xe0fe0000;

std::wstring ValueOf(const MachineThings& things, const std::wstring& name) {
    const auto found = things.find(name);
    return found != things.end() ? found->second : std::wstring();
}

// A line without what is different from run to run: time, numbers.
std::string Bare(const std::string& line) {
    std::string bare;
    const std::size_t text = line.find("> ");
    for (const char c : line.substr(text != std::string::npos ? text : 0)) {
        if (std::isxdigit(static_cast<unsigned char>(c)) == 0)
            bare += c;
    }
    return bare;
}

bool IsInstallOver(Operation operation) {
    return operation == Operation::kReinstall || operation == Operation::kRollback;
}

// The lines that tell of a result, of which one must be there.
std::vector<const char*> LinesOf(std::uint32_t result) {
    switch (result) {
        case 0xe0ff0008:
            return {"The path is invalid..."};
        case 0xe0ff0001:
        case 0xe00e0011:
            return {"Check file install path failed... ErrorCode=",
                    "Check registry install path failed... ErrorCode=", "Copy folder failed..."};
        case 0xe00e0001:
            return {"Remove shortcuts failed..."};
        case 0xe00e0002:
            return {"Create shortcuts failed..."};
        case 0xe00e0003:
        case 0xe00e0004:
            return {"Terminate exe failed..."};
        case 0xe00e0005:
            return {"Delete run key failed..."};
        case 0xe00e0010:
            return {"StartWySessionAgent failed... RetCode = 0xe00e0010"};
        case 0xe00e0012:
            return {"Check all system items failed... RetCode = 0xe00e0012"};
        case 0xe00e0013:
            return {"Parse setup config file error...", "Parse InstCfg.xml file failed..."};
        case 0xe00e0014:
            return {"Deploy registry or file failed..."};
        case 0xe00e0016:
            return {"KrCommon::Storage::Reg::DeleteAllSection() failed..."};
        case 0xe00e0018:
            return {"_wrename failed... error code"};
        default:
            return {
                "Backup install folder failed...retCode: ", "Remove service failed...",
                "InstallWyStartups failed... RetCode = ",   "Start service failed, error = ",
                "WyPublishEvent failed... RetCode = ",      "MoveAllFilesAfterReboot failed..."};
    }
}

// The same for the deployer alone, whose caller has the lines above.
std::vector<const char*> LinesOfDeployer(std::uint32_t result) {
    if (result == KrCommon::Result::kPackageNotRead)
        return {"Excpetion when reading XML file: ", "Failed to parse InstCfg.xml",
                "cParser.QueryData(L\"./Product\") failed: ", "Config file does not exist. Path: "};
    return {"() failed!",
            "Store registry value failed: ",
            "CopyFile failed...",
            "Copy folder failed...",
            "DeleteAllFiles failed!",
            "DeleteEntry() failed: "};
}

bool HasLine(const SweepRun& run, const std::string& text) {
    return std::any_of(run.lines.begin(), run.lines.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos;
    });
}

// A log that could not be opened has no lines.
bool HasLinesOfResult(Operation operation, const SweepRun& run) {
    if (KrCommon::Result::Succeeded(run.result) || run.lines.empty())
        return true;
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", static_cast<unsigned>(run.result));
    const bool isPost =
        operation == Operation::kPostInstall || operation == Operation::kPostReinstall;
    if (isPost && !HasLine(run, "Post install error, now rollback. retCode = " + std::string(code)))
        return false;
    const bool isDeployer = operation == Operation::kDeploy;
    if (run.result == KrCommon::Result::kManifestNotCarriedOut && !isDeployer &&
        !HasLine(run, "Install error, now rollback. retCode = " + std::string(code)))
        return false;
    const std::vector<const char*> texts =
        isDeployer ? LinesOfDeployer(run.result) : LinesOf(run.result);
    return std::any_of(texts.begin(), texts.end(),
                       [&](const char* text) { return HasLine(run, text); });
}

std::string Line(const std::wstring& thing, const std::wstring& value) {
    return KrCommon::String::ToUtf8(thing) + ": " +
           (value.empty() ? "missing" : KrCommon::String::ToUtf8(value)) + "\n";
}

}  // namespace

SweepJudge::SweepJudge(const SweepBench& bench, Operation operation, const SweepRun& complete)
    : m_Bench(bench),
      m_Operation(operation),
      m_Places(bench.Places()),
      m_Before(bench.Prepared(operation)),
      m_Complete(complete) {
    for (const std::string& line : complete.lines)
        m_CompleteLines.push_back(Bare(line));
    std::sort(m_CompleteLines.begin(), m_CompleteLines.end());
    for (const auto& [name, hash] : bench.Packages())
        m_PackageHashes.push_back(hash);
}

SweepVerdict SweepJudge::Judge(const SweepRun& spoilt) const {
    SweepVerdict verdict;
    verdict.isAsWithout = spoilt.result == m_Complete.result && spoilt.things == m_Complete.things;
    verdict.isTold = IsTold(spoilt);
    if (!IsResultAllowed(spoilt.result))
        verdict.problems += "a result that is not stated\n";
    if (!HasLinesOfResult(m_Operation, spoilt))
        verdict.problems += "no line of this result\n";
    verdict.problems += WrongThings(spoilt.things);
    verdict.problems += WrongStatus(spoilt);
    return verdict;
}

bool SweepJudge::IsResultAllowed(std::uint32_t result) const {
    namespace Result = KrCommon::Result;
    const bool isSystemError = (result & kFamily) == kSystemErrors;
    const auto isOneOf = [result](std::initializer_list<std::uint32_t> results) {
        return std::find(results.begin(), results.end(), result) != results.end();
    };
    if (result == Result::kSuccess)
        return true;
    // The folder and the key of the install, the system check, set-up file and manifest.
    const bool isOfInstall = isOneOf({0xe00e0011, 0xe0ff0001, 0xe00e0012, 0xe00e0013, 0xe00e0014});
    switch (m_Operation) {
        case Operation::kInstall:
            return isOfInstall;
        case Operation::kReinstall:
        case Operation::kRollback:
            // No folder, processes, backup, shortcuts, autorun, and those of the service manager.
            return isOfInstall || isSystemError ||
                   isOneOf({0xe0ff0008, 0xe00e0003, 0xe00e0018, 0xe00e0001, 0xe00e0005});
        case Operation::kPostInstall:
        case Operation::kPostReinstall:
            // Whatever the mail to the service gives comes through.
            return isSystemError || isOneOf({0xe00e0002, 0xe00e0004, 0xe00e0010}) ||
                   (result & kFamily) == 0xe0010000 || (result & kFamily) == 0xe0ff0000;
        case Operation::kUninstall:
            return isSystemError || isOneOf({0xe00e0003, 0xe00e0001, 0xe00e0005, 0xe00e0016});
        default:
            return isOneOf({0xe00e0013, 0xe00e0014});
    }
}

// Each thing is what it was or what it was to be, or one of the few states between.
std::string SweepJudge::WrongThings(const MachineThings& now) const {
    std::set<std::wstring> names;
    for (const MachineThings* things : {&m_Before, &m_Complete.things, &now}) {
        for (const auto& [name, value] : *things)
            names.insert(name);
    }
    std::string text;
    for (const std::wstring& name : names) {
        const std::wstring value = ValueOf(now, name);
        if (value != ValueOf(m_Before, name) && value != ValueOf(m_Complete.things, name) &&
            !MayBe(name, value))
            text += Line(name, value);
    }
    return text;
}

bool SweepJudge::MayBe(const std::wstring& thing, const std::wstring& value) const {
    if (!PathOfThing(thing).empty())
        return MayBeFile(thing, value);
    if (!RegistryPathOfThing(thing).empty())
        return MayBeValue(thing, value);
    // The watchdog ends when it is told to, and with the process that simulates it.
    if (thing.starts_with(L"event "))
        return value.empty();
    // A service is removed and entered anew, stopped and started; its description comes last.
    if (!thing.starts_with(L"service " + m_Places.id))
        return false;
    return value.empty() || thing.ends_with(L", state") || value.ends_with(L"described as ") ||
           // The path of the product could not be read, and the program's own folder stands for it.
           value.find(m_Bench.At(L"Host")) != std::wstring::npos;
}

bool SweepJudge::MayBeFile(const std::wstring& thing, const std::wstring& value) const {
    const std::wstring path = PathOfThing(thing);
    const bool isHost = BeginsWithNoCase(path, m_Bench.At(L"Host"));
    // The token of a folder that the system does not tell is the name of one in the present folder.
    if (BeginsWithNoCase(path, m_Bench.At(L"Present\\#CSIDL_")))
        return m_Operation != Operation::kDeploy;
    // Where the product's path cannot be read, the folder of the running program stands in for it,
    // and what is done to the product's folder is done to that one.
    if (isHost)
        return m_Operation != Operation::kInstall && m_Operation != Operation::kDeploy;
    const bool isTemporary = BeginsWithNoCase(path, m_Bench.At(L"Temp"));
    if (thing.starts_with(L"at the next start"))
        return isTemporary || IsOfProduct(thing, m_Places);
    if (!IsOfProduct(thing, m_Places))
        return false;
    if (value == L"folder")
        return true;
    if (value.empty())
        return m_Operation != Operation::kInstall && m_Operation != Operation::kDeploy;
    if (path.ends_with(L"Temp.dat"))
        return m_Operation == Operation::kUninstall;
    // A backup, an old or a new file.
    return std::find(m_PackageHashes.begin(), m_PackageHashes.end(), value) !=
               m_PackageHashes.end() ||
           path.ends_with(L"\\old.txt");
}

bool SweepJudge::MayBeValue(const std::wstring& thing, const std::wstring& value) const {
    const std::wstring path = RegistryPathOfThing(thing);
    // The maker's whole key goes where the names of the products in it cannot be read.
    const bool isOther =
        path.find(L"\\Other") != std::wstring::npos || path.ends_with(L"\\KorvexData\\Reamer");
    if (isOther)
        return m_Operation == Operation::kUninstall && value.empty();
    if (!IsOfProduct(thing, m_Places))
        return false;
    if (value.empty() || value == L"key")
        return true;
    if (path.ends_with(L": InstallStatus")) {
        for (std::uint32_t status = 0; status <= 4; ++status) {
            if (value == NumberValue(status))
                return true;
        }
    }
    // Any package may come to its end where a lookup fails that would stop it.
    if (path.ends_with(L": SourceDir"))
        return BeginsWithNoCase(value, L"text \"" + m_Bench.Base());
    // What a manifest has already stored is not taken back; a GUID that cannot be read is made
    // anew.
    return path.ends_with(L"\\Settings: Text") || path.ends_with(L": WinGuid") ||
           // The old identity of the update component cannot be read, or the path of the product.
           path.ends_with(L": t3201") ||
           BeginsWithNoCase(value, L"text \"" + m_Bench.At(L"Host")) ||
           BeginsWithNoCase(value, L"text \"\"" + m_Bench.At(L"Host"));
}

std::wstring SweepJudge::Status(const MachineThings& things) const {
    return ValueOf(things, ProductValueName(m_Places, L"InstallStatus"));
}

std::string SweepJudge::WrongStatus(const SweepRun& spoilt) const {
    const std::wstring status = Status(spoilt.things);
    if (!IsInstallOver(m_Operation) || status != NumberValue(2))
        return {};
    // What is rolled back is there as before and runs.
    std::string text = Difference(m_Before, spoilt.things, [this](const std::wstring& thing) {
        return BeginsWithNoCase(PathOfThing(thing), m_Places.installDir) &&
               !thing.starts_with(L"at the next start");
    });
    const std::wstring service = L"service " + m_Places.id + L" Host Service, state";
    if (ValueOf(spoilt.things, service) != L"running")
        text += "rolled back, but the service does not run\n";
    if (spoilt.agents == 0)
        text += "rolled back, but the session agent was not started\n";
    return text;
}

bool SweepJudge::IsTold(const SweepRun& spoilt) const {
    return std::any_of(spoilt.lines.begin(), spoilt.lines.end(), [this](const std::string& line) {
        return !std::binary_search(m_CompleteLines.begin(), m_CompleteLines.end(), Bare(line));
    });
}

bool SweepJudge::HasTouchedHost(const SweepRun& spoilt) const {
    return !Difference(m_Before, spoilt.things, [this](const std::wstring& thing) {
                return BeginsWithNoCase(PathOfThing(thing), m_Bench.At(L"Host")) &&
                       !thing.starts_with(L"at the next start");
            }).empty();
}

std::string ReasonForSilence(const SweepRun& spoilt, test_support::PlatformCode which) {
    if (spoilt.lines.empty())
        return "the log could not be opened";
    for (const PlatformCall& call : spoilt.calls) {
        if (!call.spoilt)
            continue;
        const std::string_view name = call.function->name;
        if (name == "FindFirstFileW" || name == "GetFileAttributesW")
            return "what cannot be looked up counts as missing";
        if (name == "SHGetFolderPathW")
            return "a folder of the system that is not told has the name of its token";
        if (call.texts.ends_with("\\Reamer") || call.texts == "WorkingId")
            return "whether WorkingId could be deleted is not looked at";
        // Other products of the maker are then not seen, and lose their keys.
        if (name == "RegEnumKeyExW" || call.texts == "Software\\KorvexData" ||
            name == "RegCloseKey")
            return "a key whose subkeys cannot be read counts as one without";
        const std::uint32_t code = CodeOf(*call.function, which);
        if (code == ERROR_FILE_NOT_FOUND || code == ERROR_SERVICE_DOES_NOT_EXIST)
            return "what is said to be missing needs no removal";
        const bool isStore = name == "RegSetValueExW" || name == "RegCreateKeyExW";
        if (isStore && KrCommon::Result::Succeeded(spoilt.result))
            return "the results of the values by which the product is known are not looked at";
    }
    return {};
}

}  // namespace deploy_test
