#include <fmt/format.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_FileBase.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/WyDeployerMachine.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/PackageCheck.h"
#include "wyctl/PendingMoves.h"
#include "wyctl/RegistryReader.h"
#include "wyctl/StateRows.h"

namespace WyCtl {

namespace {

namespace Deploy = WyDeployHelper::DeployCommon;
namespace Reg = KrCommon::Storage::Reg;
namespace String = KrCommon::String;
namespace Utility = WyCommon::Utility;
using State = MachineFinding::State;
using String::ToUtf8;
using Utility::JoinPath;

constexpr std::wstring_view kProgramList =
    L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

// ---- files

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

enum class Content { Same, Differs, Unreadable };

Content Compare(const std::wstring& left, const std::wstring& right) {
    constexpr std::uint32_t kPiece = 1U << 16;
    KrCommon::Storage::FileBase files[2];
    if (!files[0].OpenForRead(left.c_str(), nullptr) ||
        !files[1].OpenForRead(right.c_str(), nullptr)) {
        return Content::Unreadable;
    }
    std::vector<char> pieces[2]{std::vector<char>(kPiece), std::vector<char>(kPiece)};
    std::uint32_t lengths[2] = {kPiece, kPiece};
    while (lengths[0] == kPiece) {
        for (std::size_t i = 0; i < 2; ++i) {
            if (!files[i].Read(pieces[i].data(), kPiece, &lengths[i], nullptr)) {
                return Content::Unreadable;
            }
        }
        if (lengths[0] != lengths[1] || pieces[0] != pieces[1]) {
            return Content::Differs;
        }
    }
    return Content::Same;
}

std::string VersionText(const Deploy::FileVersion& version) {
    return fmt::format("{}.{}.{}.{}", version.ms >> 16U, version.ms & 0xffffU, version.ls >> 16U,
                       version.ls & 0xffffU);
}

bool IsProgram(const std::wstring& path) {
    const std::wstring_view extension = String::GetExtension(path);
    return String::EqualNoCase(extension, L".exe") || String::EqualNoCase(extension, L".dll");
}

class Check {
public:
    Check(const Expectation& expected, std::wstring installDir, PackageReport& out)
        : m_Expected(expected),
          m_strInstallDir(std::move(installDir)),
          m_Out(out),
          m_Moves(ReadPendingMoves()) {}

    void Run() {
        for (const auto& [path, file] : m_Expected.files) {
            CheckFile(path, file);
        }
        for (const std::wstring& path : m_Expected.folders) {
            CheckFolder(path);
        }
        for (const std::wstring& path : m_Expected.goneFiles) {
            CheckGoneFile(path);
        }
        FindExtraFiles();
        CheckRegistry();
    }

private:
    void Add(State state, const char* kind, const std::wstring& name, std::string remark = {}) {
        m_Out.findings.push_back({state, kind, name, std::move(remark)});
    }

    // ---- what the next restart does

    bool IsRemovedAtRestart(const std::wstring& path) const {
        return std::any_of(m_Moves.begin(), m_Moves.end(), [&](const PendingMove& move) {
            return move.target.empty() && String::EqualNoCase(move.source, path);
        });
    }
    bool ComesAtRestart(const std::wstring& path) const {
        return std::any_of(m_Moves.begin(), m_Moves.end(), [&](const PendingMove& move) {
            return !move.target.empty() && LiesBelow(path, move.target);
        });
    }

    // ---- files and folders

    void AddFileDifference(State state, const std::wstring& path, std::string remark) {
        if (ComesAtRestart(path)) {
            Add(State::Pending, "file", path, "the next restart puts a file here");
        } else {
            Add(state, "file", path, std::move(remark));
        }
    }

    void CheckFile(const std::wstring& path, const Expectation::File& file) {
        ++m_Out.files;
        if (!PathExists(path)) {
            AddFileDifference(State::Missing, path, {});
            return;
        }
        if (IsFolder(path)) {
            Add(State::Changed, "file", path, "a folder has its name");
            return;
        }
        const Content content = Compare(file.source, path);
        if (content == Content::Unreadable) {
            Add(State::Changed, "file", path, "cannot be read to be compared");
        } else if (content == Content::Differs) {
            AddChanged(path, file);
        } else if (IsRemovedAtRestart(path)) {
            Add(State::Changed, "file", path, "the next restart removes it");
        }
    }

    // A file whose content is not the package's: as the rules of the package leave it, or changed.
    void AddChanged(const std::wstring& path, const Expectation::File& file) {
        Deploy::FileVersion ours;
        Deploy::FileVersion theirs;
        if (IsProgram(file.versionSource) && HasVersion(file.versionSource, ours) &&
            HasVersion(file.versionTarget, theirs)) {
            const auto number = [](const Deploy::FileVersion& version) {
                return (std::uint64_t{version.ms} << 32U) | version.ls;
            };
            const std::string versions = fmt::format("version {}, in the package {}",
                                                     VersionText(theirs), VersionText(ours));
            if (number(theirs) > number(ours)) {
                Add(State::Kept, "file", path, versions);
            } else if (number(theirs) < number(ours) && !file.overwrite) {
                Add(State::Kept, "file", path, versions + ", and may not be replaced");
            } else {
                AddFileDifference(
                    State::Changed, path,
                    number(theirs) == number(ours) ? "the content differs" : versions);
            }
        } else if (file.overwrite) {
            AddFileDifference(State::Changed, path, "the content differs");
        } else {
            Add(State::Kept, "file", path, "the content differs, and may not be replaced");
        }
    }

    static bool HasVersion(const std::wstring& path, Deploy::FileVersion& out) {
        std::uint32_t error = 0;
        return Deploy::DeployMachine::OfSystem().ReadVersion(path, out, error) ==
               Deploy::VersionAnswer::kFound;
    }

    void CheckFolder(const std::wstring& path) {
        ++m_Out.folders;
        if (!IsFolder(path)) {
            if (ComesAtRestart(path)) {
                Add(State::Pending, "folder", path, "the next restart makes it");
            } else {
                Add(State::Missing, "folder", path);
            }
        }
    }

    void CheckGoneFile(const std::wstring& path) {
        if (!PathExists(path)) {
            return;
        }
        const char* const kind = IsFolder(path) ? "folder" : "file";
        if (IsRemovedAtRestart(path)) {
            Add(State::Pending, kind, path, "the next restart removes it");
        } else {
            Add(State::Extra, kind, path, "the package deletes it");
        }
    }

    bool IsExpected(const std::wstring& path) const {
        const auto file = m_Expected.files.lower_bound(path);
        if (file != m_Expected.files.end() && LiesBelow(file->first, path)) {
            return true;
        }
        return m_Expected.folders.contains(path) || m_Expected.goneFiles.contains(path);
    }

    // What lies in an extra folder is not told one by one.
    void FindExtraFiles() {
        if (!IsFolder(m_strInstallDir)) {
            return;
        }
        for (const TreeEntry& entry : ListTree(m_strInstallDir)) {
            const std::wstring path = JoinPath(m_strInstallDir, entry.name);
            if (IsExpected(path) || IsBelowNoted(path)) {
                continue;
            }
            if (entry.folder) {
                m_NotedFolders.insert(path);
            }
            const char* const kind = entry.folder ? "folder" : "file";
            if (IsRemovedAtRestart(path)) {
                Add(State::Pending, kind, path, "the next restart removes it");
            } else if (IsProductsOwn(entry.name)) {
                Add(State::Kept, kind, path, "the product makes it while it runs");
            } else {
                Add(State::Extra, kind, path);
            }
        }
    }

    bool IsBelowNoted(std::wstring path) const {
        for (std::size_t end = path.rfind(L'\\'); end != std::wstring::npos;
             end = path.rfind(L'\\')) {
            path.resize(end);
            if (m_NotedFolders.contains(path)) {
                return true;
            }
        }
        return false;
    }

    static bool IsProductsOwn(const std::wstring& name) {
        return String::EqualNoCase(name, L"Cache") ||
               String::EqualNoCase(name, L"AuFeedbackTemp.json");
    }

    // ---- registry

    static RegistryReader Open(const std::wstring& place, std::uint32_t view) {
        constexpr std::size_t kRoot = 5;  // "HKLM\"
        return RegistryReader(place.starts_with(L"HKLM") ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER,
                              place.size() > kRoot ? place.substr(kRoot) : std::wstring(), view);
    }

    void CheckRegistry() {
        const std::uint32_t view = Reg::ProductView();
        for (const std::wstring& key : m_Expected.keys) {
            ++m_Out.keys;
            if (!Open(key, view).Exists()) {
                Add(State::Missing, "key", key);
            }
        }
        for (const std::wstring& key : m_Expected.goneKeys) {
            ++m_Out.keys;
            if (Open(key, 0).Exists()) {
                Add(State::Extra, "key", key, "the package deletes it");
            }
        }
        for (const auto& [name, value] : m_Expected.values) {
            ++m_Out.values;
            CheckValue(name, value, Open(name.first, view).Value(name.second));
        }
        for (const auto& name : m_Expected.goneValues) {
            ++m_Out.values;
            if (Open(name.first, view).Value(name.second)) {
                Add(State::Extra, "value", Display(name), "the package deletes it");
            }
        }
        FindExtraRegistry(view);
    }

    static std::wstring Display(const Expectation::ValueOrder::Name& name) {
        return name.first + L", " + (name.second.empty() ? L"(default)" : name.second);
    }

    // The beginning of a text, which may be long.
    static std::string Quoted(const std::wstring& text) {
        constexpr std::size_t kShown = 60;
        return "\"" + CutToWidth(ToUtf8(text.substr(0, 2 * kShown)), kShown) + "\"";
    }

    void CheckValue(const Expectation::ValueOrder::Name& name, const Expectation::Value& value,
                    const std::optional<RegistryData>& found) {
        if (!found) {
            Add(State::Missing, "value", Display(name));
            return;
        }
        const std::string wanted =
            value.isNumber ? fmt::format("{}", value.number) : Quoted(value.text);
        if (found->type != (value.isNumber ? REG_DWORD : REG_SZ)) {
            Add(State::Changed, "value", Display(name),
                fmt::format("type {}, in the package {}", found->type, wanted));
        } else if (found->number != value.number || found->text != value.text) {
            Add(State::Changed, "value", Display(name),
                fmt::format("{}, in the package {}",
                            value.isNumber ? fmt::format("{}", found->number) : Quoted(found->text),
                            wanted));
        }
    }

    // The keys that the package makes hold nothing else, but for the version that an installation
    // notes in the list of programs; the product's own key holds its settings, and is left out.
    void FindExtraRegistry(std::uint32_t view) {
        const std::wstring own = L"HKLM\\" + Utility::GetProductRegistryKey();
        for (const std::wstring& key : m_Expected.keys) {
            if (LiesBelow(key, own) || LiesBelow(own, key)) {
                continue;
            }
            const RegistryReader reader = Open(key, view);
            for (const std::wstring& name : reader.ValueNames()) {
                if (!m_Expected.values.contains({key, name}) &&
                    !(LiesBelow(key, kProgramList) && name == L"DisplayVersion")) {
                    Add(State::Extra, "value", Display({key, name}));
                }
            }
            for (const std::wstring& name : reader.SubKeys()) {
                if (!IsExpectedKey(JoinPath(key, name))) {
                    Add(State::Extra, "key", JoinPath(key, name));
                }
            }
        }
    }

    bool IsExpectedKey(const std::wstring& key) const {
        const auto made = m_Expected.keys.lower_bound(key);
        if (made != m_Expected.keys.end() && LiesBelow(*made, key)) {
            return true;
        }
        const auto value = m_Expected.values.lower_bound({key, {}});
        return value != m_Expected.values.end() && LiesBelow(value->first.first, key);
    }

    const Expectation& m_Expected;
    const std::wstring m_strInstallDir;
    PackageReport& m_Out;
    const std::vector<PendingMove> m_Moves;
    std::set<std::wstring, PathOrder> m_NotedFolders;
};

}  // namespace

InstalledProduct ReadInstalledProduct() {
    InstalledProduct product{Utility::GetProductPath(), Utility::GetProductVersion(), {}};
    String::RemoveSeparator(product.folder);
    const RegistryReader key(HKEY_LOCAL_MACHINE, Utility::GetProductRegistryKey(),
                             Reg::ProductView());
    const std::optional<RegistryData> status = key.Value(L"InstallStatus");
    if (status && status->type == REG_DWORD) {
        product.status = status->number;
    }
    return product;
}

std::string InstallStatusText(const std::optional<std::uint32_t>& status) {
    constexpr const char* kTexts[] = {"complete", "in progress, or a failed first install",
                                      "rolled back", "rollback failed", "backup failed"};
    if (!status) {
        return "none";
    }
    return *status < std::size(kTexts) ? kTexts[*status] : "unknown";
}

const char* StateName(MachineFinding::State state) {
    constexpr const char* kNames[] = {"missing", "changed", "extra", "pending", "kept"};
    return kNames[static_cast<std::size_t>(state)];
}

std::size_t PackageReport::Count(MachineFinding::State state) const {
    return CountInState(findings, state);
}

bool PackageReport::Differs() const {
    return Count(State::Missing) + Count(State::Changed) + Count(State::Extra) > 0;
}

PackageReport CheckPackage(const PackageFolder& package, const InstalledProduct& product) {
    const std::wstring external = JoinPath(Utility::GetCommonDataRoot(), L"External");
    const Expectation expected = ExpectFrom(package, product.folder, external);
    PackageReport report;
    Check(expected, product.folder, report).Run();
    return report;
}

}  // namespace WyCtl
