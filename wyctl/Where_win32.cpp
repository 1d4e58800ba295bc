#include "wyctl/Where.h"

#include <fmt/format.h>

#include <optional>

#include "Common/KrCommon/KrComn_IniFile.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_CsidlTokens.h"
#include "lib/wycommon/WyCommon_LogSettings.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_Session.h"
#include "utilMode/ExternalDllMode.h"
#include "utilMode/FrwkMode.h"
#include "utilMode/FrwkPlatform.h"

namespace WyCtl {

namespace {

namespace Mode = Frwk::Mode;
namespace Reg = KrCommon::Storage::Reg;
namespace Utility = WyCommon::Utility;
using KrCommon::String::ToUtf8;

constexpr const wchar_t* kHost = L"WySvcHost.exe";

// ---- identity

// The host executable beside the library that decides the identity; empty when there is none.
std::wstring DecidingHost(const std::wstring& modulePath) {
    const std::wstring folder(KrCommon::String::RemoveFileName(modulePath));
    for (const Mode::Row* row = Mode::Table(); !Mode::IsEnd(*row); ++row) {
        std::wstring host = Utility::JoinPath(folder, Mode::WithSuffix(kHost, row->wszSuffix));
        if (Frwk::Platform::Exists(host)) {
            return host;
        }
    }
    return {};
}

WhereSection Identity(const std::wstring& library) {
    const Mode::ExternalDllMode decision(library.c_str(), kHost);
    const std::optional<std::wstring> module = Frwk::Platform::ModulePath(library);
    const std::wstring host = module ? DecidingHost(*module) : std::wstring();
    const std::string decidedBy =
        host.empty() ? "name of the program " + ToUtf8(Frwk::Platform::ExecutablePath())
                     : "host beside the library " + ToUtf8(host);
    const std::wstring id = Mode::GetWyvarionId();
    std::wstring system;
    const bool named = KrCommon::OsVersion::GetName(system);
    using State = WhereEntry::State;
    return {"identity",
            "identity",
            {
                {"productId", ToUtf8(id), decidedBy, id.empty() ? State::Absent : State::Found},
                {"modeId", fmt::format("{}", Mode::GetModeId()), "table of identities"},
                {"hostName", ToUtf8(Mode::GetModeFileName(kHost)), "table of identities"},
                {"library", module ? ToUtf8(*module) : "", "loaded module " + ToUtf8(library),
                 module ? State::Found : State::Absent},
                {"system", ToUtf8(system), "version of the system",
                 named ? State::Found : State::Absent},
                {"bits", KrCommon::OsVersion::Is64Bit() ? "64" : "32", "processor of the system"},
            }};
}

// ---- registry

std::string ViewName() {
    return Reg::ProductView() == 0 ? "" : ", 64-bit view";
}

// A text value of the machine's registry; two defaults tell an absent one from any text.
WhereEntry RegistryText(const char* name, const std::wstring& path, const std::wstring& value) {
    const auto load = [&](const wchar_t* byDefault) {
        return Reg::LoadValue(HKEY_LOCAL_MACHINE, path, value, std::wstring(byDefault),
                              Reg::ProductView());
    };
    const std::wstring text = load(L"");
    const bool absent = text.empty() && load(L"absent") == L"absent";
    return {name, ToUtf8(text),
            fmt::format("HKLM\\{}, {}{}", ToUtf8(path), ToUtf8(value), ViewName()),
            absent ? WhereEntry::State::Absent : WhereEntry::State::Found};
}

// A number of the machine's registry.
WhereEntry RegistryNumber(const char* name, const std::wstring& path, const std::wstring& value) {
    namespace Storage = KrCommon::Storage;
    WhereEntry entry{name, "",
                     fmt::format("HKLM\\{}, {}{}", ToUtf8(path), ToUtf8(value), ViewName()),
                     WhereEntry::State::Absent};
    try {
        Storage::Registry key(Reg::ProductView());
        key.OpenForRead(Storage::Key(Storage::Key::kRegistry, HKEY_LOCAL_MACHINE, path.c_str()),
                        {});
        entry.value = fmt::format("{}", key.ReadDword(value, 0));
        entry.state = WhereEntry::State::Found;
    } catch (Storage::Exception* raised) {
        const KrCommon::Exception::Caught caught(raised);
    }
    return entry;
}

WhereSection Registry() {
    const std::wstring root = Utility::GetProductRegistryKey();
    return {"registry",
            "registry value",
            {
                RegistryText("productPath", root, L"ProductPath"),
                RegistryText("winGuid", root, L"WinGuid"),
                RegistryText("agentVersion", root, L"AgentVersion"),
                RegistryText("productNumber", root, L"ProductId"),
                RegistryText("vendorNumber", root, L"VendorId"),
                RegistryText("productVersion", root, L"ProductVersion"),
                RegistryText("updateComponentVersion", root + L"\\Au\\Au7e", L"t3201"),
                RegistryNumber("reamerEnabled", root + L"\\Reamer", L"Enable"),
                RegistryText("workingId", L"SOFTWARE\\KorvexData\\Reamer", L"WorkingId"),
            }};
}

// ---- folders

WhereEntry Folder(const char* name, const std::wstring& path, std::string from) {
    using State = WhereEntry::State;
    if (path.empty()) {
        return {name, "", std::move(from), State::Absent};
    }
    // A drive's own folder has no name to be found by.
    const bool there = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    return {name, ToUtf8(path), std::move(from), there ? State::FolderThere : State::FolderMissing};
}

WhereSection Folders() {
    const std::string base = Utility::GetProductPath().empty()
                                 ? "folder of this program, as ProductPath is empty"
                                 : "registry value ProductPath";
    const std::string common = "common data root, made on demand";
    const std::wstring commonRoot = Utility::GetCommonDataRoot();
    return {"folders",
            "folder",
            {
                Folder("product", Utility::GetProductPath(), "registry value ProductPath"),
                Folder("hostModule", Utility::GetHostModuleFolder(), "folder of this program"),
                Folder("base", Utility::GetProductPathOrModuleFolder(), base),
                Folder("configuration", Utility::GetConfigurationFolder(), "base"),
                Folder("cache", Utility::GetCacheFolder(), "base"),
                Folder("win32", Utility::GetWin32Folder(),
                       KrCommon::OsVersion::Is64Bit() ? "base, as the system is a 64-bit one"
                                                      : "the base itself on a 32-bit system"),
                Folder("commonDataRoot", commonRoot, "#CSIDL_COMMON_APPDATA# and product id"),
                Folder("commonCache", Utility::JoinPath(commonRoot, L"Cache"), common),
                Folder("external", Utility::JoinPath(commonRoot, L"External"), common),
                Folder("externalTemporary", Utility::JoinPath(commonRoot, L"ExternalTmp"), common),
                Folder("localDataRoot", Utility::GetLocalDataRoot(),
                       "#CSIDL_LOCAL_APPDATA# and product id"),
                Folder("localCache", Utility::JoinPath(Utility::GetLocalDataRoot(), L"Cache"),
                       "local data root, made on demand"),
            }};
}

// ---- debug log

WhereSection Log() {
    const std::wstring product = Utility::GetProductPath();
    const std::wstring file = product + L"\\krdbg.ini";
    const bool configured =
        !KrCommon::Storage::LoadIniString(file, L"ServiceSession", L"LogFolder", L"", nullptr)
             .empty();
    return {"log",
            "debug log",
            {
                Folder("configuration", product.empty() ? std::wstring() : file,
                       "product folder, as registered"),
                Folder("logFolder", WyCommon::LogSettings::GetLogFolder(),
                       configured ? "krdbg.ini, [ServiceSession] LogFolder"
                                  : "default, with the product id"),
                Folder("dumpFolder", WyCommon::LogSettings::GetDumpFolder(),
                       "application data of the machine, and product id"),
            }};
}

// ---- folder tokens

WhereSection Tokens() {
    std::uint32_t session = Utility::kNoSession;
    void* user = nullptr;
    Utility::GetActiveSessionId(session, nullptr);
    std::string asked = "the caller, as the user at the console is not known";
    if (Utility::GetSessionUserToken(session, user)) {
        asked = fmt::format("the user of session {}", session);
        CloseHandle(user);
    }
    WhereSection section{"tokens", "folder token", {}};
    for (const WyCommon::Csidl::Token& token : WyCommon::Csidl::Tokens()) {
        std::wstring text = L"#";
        text.append(token.name).append(L"#");
        const std::wstring path = Utility::ExpandCsidlPath(text);
        const std::string from = fmt::format("folder {:#04x} of {}", token.iFolder, asked);
        section.entries.push_back(
            Folder(ToUtf8(token.name).c_str(), path == text ? std::wstring() : path, from));
    }
    return section;
}

}  // namespace

std::vector<WhereSection> CollectWhere(const std::wstring& library) {
    // The identity comes first: all that follows goes by it.
    std::vector<WhereSection> sections{Identity(library)};
    sections.push_back(Registry());
    sections.push_back(Folders());
    sections.push_back(Log());
    sections.push_back(Tokens());
    return sections;
}

}  // namespace WyCtl
