#include <new>
#include <optional>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/WyDeployer.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/Errors.h"
#include "wyctl/PackageExpectation.h"
#include "wyctl/PendingMoves.h"

namespace WyCtl {

namespace {

namespace Deploy = WyDeployHelper::DeployCommon;
namespace String = KrCommon::String;
using Deploy::RootKey;
using WyCommon::Utility::JoinPath;

// Stands for the install folder: no path of a package begins like that, so that the deployer's
// sources and targets are told apart.
constexpr const wchar_t* kTarget = L"<";

const std::wstring& PathOf(const std::wstring& path) {
    return path;
}
const std::wstring& PathOf(const std::pair<const std::wstring, Expectation::File>& file) {
    return file.first;
}
const std::wstring& PathOf(
    const std::pair<const Expectation::ValueOrder::Name, Expectation::Value>& value) {
    return value.first.first;
}

// Takes everything off that is the first of its order not before `from`, as long as it is `place`
// or lies below it: these stand together.
template <class Places, class Key>
void EraseBelow(Places& places, const Key& from, const std::wstring& place) {
    auto at = places.lower_bound(from);
    while (at != places.end() && LiesBelow(PathOf(*at), place)) {
        at = places.erase(at);
    }
}

// Takes everything off that is `place` or above it: it is there again.
template <class Places>
void EraseAbove(Places& places, std::wstring place) {
    while (!places.empty() && !place.empty()) {
        places.erase(place);
        const std::size_t end = place.rfind(L'\\');
        place.resize(end != std::wstring::npos ? end : 0);
    }
}

std::wstring Place(RootKey root, std::wstring key) {
    String::RemoveSeparator(key);
    return (root == RootKey::kLocalMachine ? L"HKLM\\" : L"HKCU\\") + key;
}

// Nothing is on this machine but what the package has put there. What the package deletes was
// there before, so that it is noted as gone.
class NotingMachine : public Deploy::DeployMachine {
public:
    NotingMachine(std::wstring installDir, Expectation& out)
        : m_strInstallDir(std::move(installDir)), m_Out(out) {}

    // Carries out one list of one item.
    template <class Records, class Record>
    void CarryOut(Records Deploy::PackageManifest::*list, const Record& record,
                  const std::wstring& package) {
        Deploy::CWyDeployer deployer(*this);
        (deployer.*list).push_back(record);
        m_bDeleting = String::EqualNoCase(record.action, L"delete");
        if (!deployer.Deploy(package, kTarget)) {
            throw m_Failure ? *m_Failure : Failure("out of memory");
        }
    }
    // Of the items that follow. An empty key module lets each file stand for itself.
    void SetRule(bool overwrite, const std::wstring& keyModule) {
        m_bOverwrite = overwrite;
        m_strKeyModule = keyModule;
    }
    void CopyTree(const std::wstring& source, const std::wstring& target) {
        AddFolder(target);
        for (const TreeEntry& entry : ListTree(source)) {
            const std::wstring path = JoinPath(target, entry.name);
            if (entry.folder) {
                AddFolder(path);
            } else {
                AddFile(JoinPath(source, entry.name), path, source, target);
            }
        }
    }

    bool Is64Bit() override { return OfSystem().Is64Bit(); }

    bool CreateKey(RootKey root, const std::wstring& key, std::uint32_t, std::uint32_t&) override {
        if (root != RootKey::kNone) {
            EraseAbove(m_Out.goneKeys, Place(root, key));
            m_Out.keys.insert(Place(root, key));
        }
        return true;
    }
    bool DeleteKey(RootKey root, const std::wstring& key) override {
        if (root != RootKey::kNone) {
            const std::wstring place = Place(root, key);
            EraseBelow(m_Out.keys, place, place);
            EraseBelow(m_Out.values, Expectation::ValueOrder::Name(place, {}), place);
            m_Out.goneKeys.insert(place);
        }
        return true;
    }
    bool StoreText(RootKey root, const std::wstring& key, const std::wstring& name,
                   const std::wstring& value, bool, std::uint32_t, std::uint32_t&) override {
        return Store(root, key, name, {false, 0, value});
    }
    bool StoreNumber(RootKey root, const std::wstring& key, const std::wstring& name,
                     std::uint32_t value, bool, std::uint32_t, std::uint32_t&) override {
        return Store(root, key, name, {true, value, {}});
    }
    bool DeleteValue(RootKey root, const std::wstring& key, const std::wstring& name, std::uint32_t,
                     std::uint32_t&) override {
        if (root != RootKey::kNone) {
            m_Out.values.erase({Place(root, key), name});
            m_Out.goneValues.insert({Place(root, key), name});
        }
        return true;
    }

    bool Exists(const std::wstring& path) override {
        if (!IsTarget(path)) {
            return OfSystem().Exists(path);
        }
        const std::wstring target = Resolve(path);
        return m_bDeleting || m_Out.files.contains(target) || m_Out.folders.contains(target);
    }
    void ListFiles(const std::wstring& folder, const std::wstring& pattern,
                   std::vector<std::wstring>& names) override {
        OfSystem().ListFiles(folder, pattern, names);
    }
    bool CopyFiles(const std::wstring& sourceDir, const std::wstring& name,
                   const std::wstring& targetDir, bool) override {
        std::vector<std::wstring> names;
        if (name.find(L'?') == std::wstring::npos) {
            names.push_back(name);
        } else {
            OfSystem().ListFiles(sourceDir, name, names);
        }
        const std::wstring target = Resolve(targetDir);
        for (const std::wstring& each : names) {
            AddFile(JoinPath(sourceDir, each), JoinPath(target, each), sourceDir, target);
        }
        return true;
    }
    bool CopyFolder(const std::wstring& source, const std::wstring& target) override {
        try {
            CopyTree(source, Resolve(target));
            return true;
        } catch (const Failure& failure) {
            m_Failure = failure;
            return false;
        }
    }
    void MakeFolders(const std::wstring& path) override { AddFolder(Resolve(path)); }
    void ClearReadOnly(const std::wstring&) override {}
    bool RemoveFile(const std::wstring& path, std::uint32_t&) override {
        m_Out.files.erase(Resolve(path));
        m_Out.goneFiles.insert(Resolve(path));
        return true;
    }
    bool EmptyFolder(const std::wstring& path, bool&, std::uint32_t&) override {
        const std::wstring folder = Resolve(path);
        EraseBelow(m_Out.files, folder, folder);
        EraseBelow(m_Out.folders, folder, folder);
        m_Out.goneFiles.insert(folder);
        return true;
    }
    bool RemoveFolder(const std::wstring&) override { return true; }
    void DeleteAtNextStart(const std::wstring&) override {}

    Deploy::VersionAnswer ReadVersion(const std::wstring& path, Deploy::FileVersion& out,
                                      std::uint32_t& error) override {
        if (!IsTarget(path)) {
            return OfSystem().ReadVersion(path, out, error);
        }
        const auto file = m_Out.files.find(Resolve(path));
        return file == m_Out.files.end() ? Deploy::VersionAnswer::kNoSize
                                         : OfSystem().ReadVersion(file->second.source, out, error);
    }

private:
    static bool IsTarget(const std::wstring& path) { return path.starts_with(kTarget); }

    // The whole path of a target, without a "\" at its end; ".." in it goes up.
    std::wstring Resolve(const std::wstring& target) const {
        const std::wstring path = m_strInstallDir + target.substr(1);
        std::wstring whole(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
        whole.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(whole.size()), whole.data(),
                                      nullptr));
        String::RemoveSeparator(whole);
        return whole;
    }
    void AddFolder(const std::wstring& path) {
        EraseAbove(m_Out.goneFiles, path);
        m_Out.folders.insert(path);
    }
    void AddFile(const std::wstring& source, const std::wstring& target,
                 const std::wstring& sourceDir, const std::wstring& targetDir) {
        const bool itself = m_strKeyModule.empty();
        EraseAbove(m_Out.goneFiles, target);
        m_Out.files.insert_or_assign(
            target, Expectation::File{source, m_bOverwrite,
                                      itself ? source : JoinPath(sourceDir, m_strKeyModule),
                                      itself ? target : JoinPath(targetDir, m_strKeyModule)});
    }
    bool Store(RootKey root, const std::wstring& key, const std::wstring& name,
               Expectation::Value value) {
        if (root != RootKey::kNone) {
            EraseAbove(m_Out.goneKeys, Place(root, key));
            m_Out.goneValues.erase({Place(root, key), name});
            m_Out.values.insert_or_assign({Place(root, key), name}, std::move(value));
        }
        return true;
    }

    const std::wstring m_strInstallDir;
    Expectation& m_Out;
    std::optional<Failure> m_Failure;
    bool m_bDeleting = false;
    bool m_bOverwrite = false;
    std::wstring m_strKeyModule;
};

}  // namespace

bool Expectation::ValueOrder::operator()(const Name& left, const Name& right) const {
    const PathOrder before;
    return before(left.first, right.first) ||
           (!before(right.first, left.first) && before(left.second, right.second));
}

Expectation ExpectFrom(const PackageFolder& package, const std::wstring& installDir,
                       const std::wstring& external) {
    using Manifest = Deploy::PackageManifest;
    Expectation out;
    NotingMachine machine(installDir, out);
    for (const auto& record : package.manifest.registryKeys) {
        machine.CarryOut(&Manifest::registryKeys, record, package.path);
    }
    for (const auto& record : package.manifest.registryValues) {
        machine.CarryOut(&Manifest::registryValues, record, package.path);
    }
    for (const auto& record : package.manifest.folders) {
        machine.SetRule(String::EqualNoCase(record.overwrite, L"yes"), record.name);
        machine.CarryOut(&Manifest::folders, record, package.path);
    }
    for (const auto& record : package.manifest.files) {
        machine.SetRule(String::EqualNoCase(record.overwrite, L"yes"), {});
        machine.CarryOut(&Manifest::files, record, package.path);
    }
    machine.SetRule(true, {});
    for (const std::wstring& tree : {PlatformTree(package), package.path + L"common\\"}) {
        const std::wstring source = tree + L"product\\External";
        if (PathExists(source)) {
            machine.CopyTree(source, external);
        }
    }
    return out;
}

}  // namespace WyCtl
