#include "wyctl/Leftovers.h"

#include <fmt/format.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "WySdk/UpdateDeploy.h"
#include "deploy/DeployCommon_Identity.h"
#include "deploy/WyInstaller.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "utilMode/FrwkMode.h"
#include "wyctl/FolderTree.h"
#include "wyctl/PendingMoves.h"
#include "wyctl/RegistryReader.h"
#include "wyctl/ServiceState.h"
#include "wyctl/StateRows.h"

// Behind the header that brings in <windows.h>.
#include <sddl.h>

namespace WyCtl {

namespace {

namespace Deploy = WyDeployHelper::DeployCommon;
namespace Reg = KrCommon::Storage::Reg;
namespace String = KrCommon::String;
namespace Utility = WyCommon::Utility;
using State = Leftover::State;
using Utility::JoinPath;

constexpr const wchar_t* kMakerKey = L"SOFTWARE\\KorvexData";
constexpr const wchar_t* kSharedSubKey = L"Reamer";
constexpr const wchar_t* kRunKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

// The views of the registry that this system has.
struct View {
    std::uint32_t view;
    const wchar_t* remark;
};
std::vector<View> Views() {
    return KrCommon::OsVersion::Is64Bit() ? std::vector<View>{{2, L""}, {1, L" (32-bit view)"}}
                                          : std::vector<View>{{0, L""}};
}

std::wstring WindowsFolder() {
    std::wstring path(GetWindowsDirectoryW(nullptr, 0), L'\0');
    path.resize(GetWindowsDirectoryW(path.data(), static_cast<UINT>(path.size())));
    return path;
}

// The text form of the user's security identifier, the name of that user's part of the registry.
std::wstring OwnSid() {
    HANDLE opened = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == 0) {
        return {};
    }
    const KrCommon::UniqueHandle token(opened);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    std::vector<std::uint64_t> room(size / sizeof(std::uint64_t) + 1);
    wchar_t* text = nullptr;
    if (GetTokenInformation(token.get(), TokenUser, room.data(), size, &size) == 0 ||
        ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(room.data())->User.Sid, &text) == 0) {
        return {};
    }
    const std::wstring sid = text;
    LocalFree(text);
    return sid;
}

class Search {
public:
    explicit Search(LeftoverReport& out) : m_Out(out), m_Moves(ReadPendingMoves()) {}

    void Run() {
        LookAtStartups();
        LookAtFolders();
        LookAtMachineKeys();
        LookAtUserKeys();
        LookAtMarker();
    }

private:
    void Add(State state, const char* what, const std::wstring& name, std::string remark = {}) {
        m_Out.places.push_back({state, what, name, std::move(remark)});
    }
    void AddIf(bool there, State state, const char* what, const std::wstring& name,
               const std::string& remark = {}) {
        Add(there ? state : State::Absent, what, name, there ? remark : std::string());
    }

    bool IsRemovedAtRestart(const std::wstring& path) const {
        return std::any_of(m_Moves.begin(), m_Moves.end(), [&](const PendingMove& move) {
            return move.target.empty() && String::EqualNoCase(move.source, path);
        });
    }

    // ---- what starts the product

    void LookAtStartups() {
        const ServiceState service = AskServiceState();
        const bool told = service.error == ERROR_SUCCESS;
        AddIf(service.error != ERROR_SERVICE_DOES_NOT_EXIST, State::Unexpected, "service",
              String::FromUtf8(service.name),
              told ? service.Text() : "cannot be asked: " + service.Text());
        const RegistryReader run(HKEY_LOCAL_MACHINE, kRunKey, Reg::ProductView());
        AddIf(run.Value(m_Out.productId).has_value(), State::Unexpected, "autorun value",
              std::wstring(L"HKLM\\") + kRunKey + L", " + m_Out.productId);
        const std::wstring task = L"Downloader of Korvex Data " + m_Out.productId;
        AddIf(PathExists(SystemFolder() + L"\\Tasks\\" + task), State::Unexpected, "scheduled task",
              task);
    }

    // The native one, which 32-bit processes of a 64-bit system see under another name.
    static std::wstring SystemFolder() {
        const std::wstring native = WindowsFolder() + L"\\Sysnative";
        return PathExists(native) ? native : WindowsFolder() + L"\\System32";
    }

    // ---- folders

    static std::string EntryCount(const std::wstring& folder) {
        try {
            const std::size_t count = ListTree(folder).size();
            return count == 0 ? "empty" : fmt::format("{} file(s) and folder(s) in it", count);
        } catch (const std::exception&) {
            return "cannot be listed";
        }
    }

    // A folder that a removal takes away.
    void AddFolder(const char* what, const std::wstring& path) {
        if (path.empty() || IsNoted(path)) {
            return;
        }
        if (!PathExists(path)) {
            Add(State::Absent, what, path);
        } else if (IsRemovedAtRestart(path)) {
            Add(State::Restart, what, path, EntryCount(path));
        } else {
            Add(State::Unexpected, what, path, EntryCount(path));
        }
    }

    // Two names may be those of one folder.
    bool IsNoted(const std::wstring& path) const {
        return std::any_of(m_Out.places.begin(), m_Out.places.end(), [&](const Leftover& place) {
            return String::EqualNoCase(place.name, path);
        });
    }

    void AddStayingFolder(const char* what, const std::wstring& path, const char* why) {
        if (!path.empty() && !IsNoted(path)) {
            const bool goes = IsRemovedAtRestart(path);
            AddIf(PathExists(path), goes ? State::Restart : State::Stays, what, path,
                  goes ? EntryCount(path) : fmt::format("{}; {}", EntryCount(path), why));
        }
    }

    void LookAtFolders() {
        if (!m_Out.folder.empty()) {
            AddFolder("product folder", m_Out.folder);
            AddFolder("update folder", UpdateDeploy::TemporaryFolder(m_Out.folder));
            AddStayingFolder("backup folder",
                             WyDeployHelper::SetupHelper::BackupFolderOf(m_Out.folder),
                             "an upgrade has left it");
        }
        const std::wstring common = Utility::GetCommonDataRoot();
        const std::wstring local = Utility::GetLocalDataRoot();
        if (!common.empty()) {
            AddFolder("external tools", JoinPath(common, L"External"));
            AddFolder("external tools, waiting", JoinPath(common, L"ExternalTmp"));
            AddFolder("cache", JoinPath(common, L"Cache"));
            AddFolder("memory dumps", JoinPath(common, L"dump"));
            AddStayingFolder("data of the machine", common,
                             "it goes only where the log lies in it, as it does by default");
            AddStayingFolder("maker's folder", std::wstring(String::RemoveFileName(common)),
                             "no removal takes it away");
        }
        if (!local.empty()) {
            AddFolder("data of the user", local);
            AddStayingFolder("maker's folder", std::wstring(String::RemoveFileName(local)),
                             "no removal takes it away");
        }
    }

    // ---- registry

    void AddKey(State state, const char* what, const wchar_t* rootName, void* root,
                const std::wstring& path, const View& view, const std::string& remark = {}) {
        AddIf(RegistryReader(root, path, view.view).Exists(), state, what,
              std::wstring(rootName) + L"\\" + path + view.remark, remark);
    }

    // The maker's key stays for what others have in it, and goes with the last of its keys.
    void AddMakerKey(const wchar_t* rootName, void* root, const View& view) {
        const RegistryReader maker(root, kMakerKey, view.view);
        const std::vector<std::wstring> keys = maker.SubKeys();
        const bool others = std::any_of(keys.begin(), keys.end(), [&](const std::wstring& key) {
            return !String::EqualNoCase(key, m_Out.productId);
        });
        AddIf(maker.Exists(), others ? State::Stays : State::Unexpected, "maker's key",
              std::wstring(rootName) + L"\\" + kMakerKey + view.remark,
              others ? "others have keys in it" : "nobody else has a key in it");
        for (const std::wstring& key : keys) {
            if (!String::EqualNoCase(key, m_Out.productId)) {
                const bool shared = String::EqualNoCase(key, kSharedSubKey);
                Add(State::Stays, shared ? "shared key" : "another product's key",
                    JoinPath(std::wstring(rootName) + L"\\" + kMakerKey, key) + view.remark);
            }
        }
    }

    void LookAtMachineKeys() {
        for (const View& view : Views()) {
            AddKey(State::Unexpected, "product key", L"HKLM", HKEY_LOCAL_MACHINE,
                   Utility::GetProductRegistryKey(), view);
            AddMakerKey(L"HKLM", HKEY_LOCAL_MACHINE, view);
            for (const wchar_t* entry : {Deploy::WY_PRODUCT_GUID, Deploy::kSecondProductGuid}) {
                AddKey(State::Stays, "list of programs", L"HKLM", HKEY_LOCAL_MACHINE,
                       std::wstring(Deploy::kProgramList) + entry, view,
                       "the set-up program's own business");
            }
        }
        if (Frwk::Mode::GetModeId() == Frwk::Mode::kTavrenoxMode) {
            const std::wstring key = JoinPath(kMakerKey, kSharedSubKey);
            const RegistryReader shared(HKEY_LOCAL_MACHINE, key, Reg::ProductView());
            AddIf(shared.Value(L"WorkingId").has_value(), State::Unexpected, "working id",
                  L"HKLM\\" + key + L", WorkingId");
        }
    }

    void LookAtUserKeys() {
        const View view{0, L""};
        AddKey(State::Unexpected, "product key", L"HKCU", HKEY_CURRENT_USER,
               Utility::GetProductRegistryKey(), view);
        AddMakerKey(L"HKCU", HKEY_CURRENT_USER, view);
        const std::wstring own = OwnSid();
        for (const std::wstring& user : RegistryReader(HKEY_USERS, {}, 0).SubKeys()) {
            if (!String::EqualNoCase(user, own) && !user.ends_with(L"_Classes")) {
                AddKey(State::Stays, "another user's key", L"HKU", HKEY_USERS,
                       JoinPath(user, Utility::GetProductRegistryKey()), view,
                       "a removal touches those of its caller alone");
            }
        }
    }

    // ---- the mark of a restart

    void LookAtMarker() {
        const std::wstring marker = WindowsFolder() + L"\\Temp\\" + m_Out.productId + L"Temp.dat";
        const bool goes = IsRemovedAtRestart(marker);
        AddIf(PathExists(marker), goes ? State::Restart : State::Unexpected, "restart marker",
              marker,
              goes ? "no installation before the next restart"
                   : "no installation while it is there, and no restart removes it");
    }

    LeftoverReport& m_Out;
    const std::vector<PendingMove> m_Moves;
};

// The product's folder as the registry knows it, behind a removal only from the list of programs.
std::wstring RegisteredFolder(const char*& source) {
    std::wstring folder = Utility::GetProductPath();
    source = "ProductPath";
    for (const View& view : Views()) {
        if (folder.empty()) {
            folder = RegistryReader(HKEY_LOCAL_MACHINE,
                                    std::wstring(Deploy::kProgramList) + Deploy::WY_PRODUCT_GUID,
                                    view.view)
                         .Text(L"InstallLocation");
            source = "InstallLocation";
        }
    }
    return folder;
}

}  // namespace

const char* StateName(Leftover::State state) {
    constexpr const char* kNames[] = {"absent", "stays", "restart", "unexpected"};
    return kNames[static_cast<std::size_t>(state)];
}

std::size_t LeftoverReport::Count(Leftover::State state) const {
    return CountInState(places, state);
}

LeftoverReport FindLeftovers(const std::wstring& folder) {
    LeftoverReport report;
    report.productId = Frwk::Mode::GetWyvarionId();
    report.folder = folder;
    report.source = "FOLDER";
    if (folder.empty()) {
        report.folder = RegisteredFolder(report.source);
    }
    String::RemoveSeparator(report.folder);
    Search(report).Run();
    return report;
}

}  // namespace WyCtl
