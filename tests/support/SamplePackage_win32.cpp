#include "support/SamplePackage_win32.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "support/RunProgram.h"
#include "utilMode/FrwkMode.h"

#include <shlobj.h>

namespace test_support {

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;

constexpr const wchar_t* kShortcuts[][2] = {{L"Optimizer", L"WySessionAgent.exe"},
                                            {L"Remove Optimizer", L"Setup.exe"}};

constexpr const char* kLocales =
    R"({"localMapping":[{"lcid":1033,"localeName":"EN-US"},{"lcid":1031,"localeName":"DE-DE"}],)"
    R"("defaultLocal":"EN-US"})";

const Frwk::Mode::Row& RowOf(int mode) {
    return Frwk::Mode::Table()[mode];
}

std::string LogConfiguration(const std::string& folder) {
    const std::string levels = "Enable=1\r\nLevel=0x00001111\r\n";
    return "[ServiceSession]\r\n" + levels +
           "LogFolder=%commonappdata%\\Korvex Data\\Service Log\r\n[InteractiveSession]\r\n" +
           levels + "LogFolder=" + folder + "\r\n";
}

std::map<std::wstring, std::wstring> HashesOf(const std::map<std::wstring, fs::path>& files) {
    std::map<std::wstring, std::wstring> hashes;
    for (const auto& [name, path] : files)
        hashes[name] = HashOfFile(path.wstring());
    return hashes;
}

}  // namespace

void SetFileVersion(const fs::path& path, const std::array<std::uint16_t, 4>& version) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), {});
    in.close();
    constexpr std::uint32_t kSignature = VS_FFI_SIGNATURE;
    char signature[sizeof kSignature];
    std::memcpy(signature, &kSignature, sizeof kSignature);
    const std::size_t at = bytes.rfind(std::string(signature, sizeof signature));
    if (at == std::string::npos)
        throw std::runtime_error(path.string() + " has no version");
    // dwFileVersionMS and dwFileVersionLS; the upper half of each is the first number.
    const std::uint16_t words[] = {version[1], version[0], version[3], version[2]};
    std::memcpy(&bytes[at + 8], words, sizeof words);
    std::ofstream out(path, std::ios::binary);
    out << bytes;
    if (!out.flush())
        throw std::runtime_error("cannot write " + path.string());
}

SamplePackage::SamplePackage(const fs::path& folder, const SampleOptions& options)
    : m_strFolder(fs::path(folder).make_preferred().wstring()), m_Options(options) {
    fs::create_directories(folder);
    PutSetup();
    PutFoundation(OwnPlatform(), true);
    PutProduct();
    if (!m_Options.minimal) {
        PutFoundation(OtherPlatform(), false);
        PutOtherProduct();
        PutCommon();
        PutLinked(L"SetupStandin.exe", ProgramName(L"Setup.exe"));
        PutLinked(L"CustomActionStandin.dll", L"CustomAct64.dll");
    }
    if (m_Options.externalTools && !m_Options.minimal)
        PutExternal();
    PutManifest();
}

std::wstring SamplePackage::ProductId() const {
    return RowOf(m_Options.mode).wszName;
}

std::wstring SamplePackage::ProgramName(const std::wstring& name) const {
    return Frwk::Mode::WithSuffix(name, RowOf(m_Options.mode).wszSuffix);
}

const wchar_t* SamplePackage::OwnPlatform() {
    return KrCommon::OsVersion::Is64Bit() ? L"x64" : L"win32";
}

const wchar_t* SamplePackage::OtherPlatform() {
    return KrCommon::OsVersion::Is64Bit() ? L"win32" : L"x64";
}

fs::path SamplePackage::At(const std::wstring& relative) const {
    return fs::path(m_strFolder) / relative;
}

void SamplePackage::PutText(const std::wstring& relative, const std::string& text) const {
    const fs::path path = At(relative);
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.string());
}

// A link where the system can have one: nothing in a package is written to afterwards.
void SamplePackage::PutLinked(const std::wstring& program, const std::wstring& relative) const {
    const fs::path path = At(relative);
    fs::create_directories(path.parent_path());
    fs::remove(path);
    const fs::path source = ProgramFolder() / program;
    if (CreateHardLinkW(path.c_str(), source.c_str(), nullptr) == 0)
        fs::copy_file(source, path);
}

void SamplePackage::PutVersioned(const std::wstring& program, const std::wstring& relative) const {
    const fs::path path = At(relative);
    fs::create_directories(path.parent_path());
    fs::remove(path);
    fs::copy_file(ProgramFolder() / program, path);
    SetFileVersion(path, m_Options.version);
}

void SamplePackage::Installs(const std::wstring& installed, const std::wstring& relative) {
    m_Files[installed] = At(relative);
}

void SamplePackage::PutSetup() const {
    PutText(L"Setup.ini", "[Check]\r\n" + m_Options.checks +
                              "[MsiConfig]\r\nShowWyEula=1\r\nUpdateRegistry=" +
                              (m_Options.updateRegistry ? "1" : "0") + "\r\n");
}

void SamplePackage::PutFoundation(const std::wstring& platform, bool own) {
    const std::wstring folder = platform + L"\\foundation\\";
    for (const wchar_t* name : {L"WySdk.dll", L"libexpat.dll"}) {
        if (!own) {
            PutVersioned(L"SampleLibrary.dll", folder + name);
            // Goes to the folder of the 32-bit library on a 64-bit system.
            if (platform == L"win32")
                Installs(std::wstring(L"win32\\") + name, folder + name);
            continue;
        }
        if (m_Options.minimal && std::wstring(name) == L"WySdk.dll")
            continue;
        if (!m_Options.library && std::wstring(name) == L"WySdk.dll") {
            PutVersioned(L"SampleLibrary.dll", folder + name);
        } else {
            PutLinked(name, folder + name);
        }
        if (!m_Options.minimal)
            Installs(name, folder + name);
    }
}

std::wstring SamplePackage::ServiceSource() const {
    if (m_Options.service == SampleService::kPlaceholder)
        return L"SampleLibrary.dll";
    std::wstring name =
        m_Options.service == SampleService::kReal ? L"SampleHost" : L"SampleService";
    if (m_Options.signer == SampleSigner::kMaker)
        name += L"ByMaker";
    if (m_Options.signer == SampleSigner::kSomebodyElse)
        name += L"ByOther";
    return name + L".exe";
}

void SamplePackage::PutProduct() {
    const std::wstring folder = OwnPlatform() + std::wstring(L"\\product\\");
    const auto put = [&](const std::wstring& program, const std::wstring& name) {
        PutVersioned(program, folder + name);
        Installs(name, folder + name);
    };
    const std::wstring service = ProgramName(L"WySvcHost.exe");
    if (m_Options.service == SampleService::kReal) {
        // Has no version, and so is newer than any.
        PutLinked(ServiceSource(), folder + service);
        Installs(service, folder + service);
    } else {
        put(ServiceSource(), service);
    }
    put(L"SessionAgentStandin.exe", ProgramName(L"WySessionAgent.exe"));
    if (m_Options.log) {
        PutLinked(L"KrDbgLog.dll", folder + L"KrDbgLog.dll");
        Installs(L"KrDbgLog.dll", folder + L"KrDbgLog.dll");
        PutText(folder + L"krdbg.ini", LogConfiguration(ToUtf8(m_Options.logFolder)));
        Installs(L"krdbg.ini", folder + L"krdbg.ini");
    }
    PutText(folder + L"release.txt", m_Options.contents);
    Installs(L"release.txt", folder + L"release.txt");
    if (m_Options.minimal)
        return;
    put(L"ShortcutStandin.exe", ProgramName(L"Shortcut.exe"));
    const std::wstring launcher = ProgramName(L"WyLauncher.exe");
    PutLinked(L"LauncherStandin.exe", folder + launcher);
    Installs(launcher, folder + launcher);
    put(L"SampleLibrary.dll", L"Plugins\\Plugin.dll");
    PutText(folder + L"Plugins\\plugin.txt", "plug-in of " + m_Options.contents);
    Installs(L"Plugins\\plugin.txt", folder + L"Plugins\\plugin.txt");
}

void SamplePackage::PutOtherProduct() {
    const std::wstring folder = OtherPlatform() + std::wstring(L"\\product\\");
    PutVersioned(L"SampleLibrary.dll", folder + ProgramName(L"WySvcHost.exe"));
    PutText(folder + L"other.txt", "for the other platform");
    PutText(folder + L"Plugins\\plugin.txt", "for the other platform");
}

void SamplePackage::PutCommon() {
    const std::wstring folder = L"common\\product\\";
    const auto put = [&](const std::wstring& name, const std::string& text) {
        PutText(folder + name, text);
        Installs(name, folder + name);
    };
    put(L"Configuration\\localeInfo.json", kLocales);
    put(L"Configuration\\settings.txt", "settings of " + m_Options.contents);
    std::string shortcuts = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<Shortcuts>\r\n";
    for (const auto& [name, target] : kShortcuts) {
        shortcuts += "  <Shortcut Name=\"" + ToUtf8(name) + "\" Target=\"" +
                     ToUtf8(ProgramName(target)) + "\"/>\r\n";
    }
    shortcuts += "</Shortcuts>\r\n";
    put(L"Configuration\\Shortcut\\EN-US\\Shortcut.xml", shortcuts);
    put(L"Configuration\\Shortcut\\DE-DE\\Shortcut.xml", shortcuts);
    put(L"Data\\samples.txt", "samples of " + m_Options.contents);
    put(L"Data\\deep\\more.txt", "more of " + m_Options.contents);
    put(L"readme.txt", "This is " + m_Options.contents);
    PutText(L"common\\foundation\\win32\\runtime.txt", "not copied by this version");
}

void SamplePackage::PutExternal() {
    const auto installs = [&](const std::wstring& name, const std::wstring& relative) {
        m_External[name] = At(relative);
    };
    const std::wstring own = OwnPlatform() + std::wstring(L"\\product\\External\\");
    PutVersioned(L"SampleLibrary.dll", own + L"tool.dll");
    installs(L"tool.dll", own + L"tool.dll");
    PutText(own + L"Tools\\tool.txt", "tool of " + m_Options.contents);
    installs(L"Tools\\tool.txt", own + L"Tools\\tool.txt");
    PutText(OtherPlatform() + std::wstring(L"\\product\\External\\other.txt"), "for the other");
    PutText(L"common\\product\\External\\manual.txt", "manual of " + m_Options.contents);
    installs(L"manual.txt", L"common\\product\\External\\manual.txt");
}

void SamplePackage::PutManifest() {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<Product>\r\n<RegistryGroup>\r\n";
    text += RegistryItems() + FailingRegistryItem() + m_Options.moreRegistry;
    text += "</RegistryGroup>\r\n<FileGroup>\r\n";
    text += (m_Options.minimal ? MinimalFileItems() : FileItems()) + FailingFileItem() +
            m_Options.moreFiles;
    text += "</FileGroup>\r\n</Product>\r\n";
    PutText(L"InstCfg.xml", text);
}

std::map<std::wstring, std::wstring> SamplePackage::FileHashes() const {
    return HashesOf(m_Files);
}

std::map<std::wstring, std::wstring> SamplePackage::ExternalHashes() const {
    return HashesOf(m_External);
}

std::map<std::wstring, std::wstring> SamplePackage::Shortcuts(
    const std::wstring& installDir) const {
    std::map<std::wstring, std::wstring> shortcuts;
    if (m_Options.minimal || m_Options.mode != SampleMode::kTavrenox)
        return shortcuts;
    for (const auto& [name, target] : kShortcuts) {
        shortcuts[ShortcutFolder() + L"\\" + name + L".lnk"] =
            installDir + L"\\" + ProgramName(target);
    }
    return shortcuts;
}

std::wstring SamplePackage::ShortcutFolder() {
    wchar_t path[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_COMMON_PROGRAMS | CSIDL_FLAG_CREATE, nullptr,
                     SHGFP_TYPE_CURRENT, path);
    return std::wstring(path) + L"\\Korvex Data";
}

}  // namespace test_support
