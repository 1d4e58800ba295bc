#pragma once

// A package of the product, as a set-up program finds it unpacked.
//
//     Setup[_P].exe                 the set-up stand-in
//     CustomAct64.dll               the custom-action stand-in
//     Setup.ini, InstCfg.xml
//     x64\foundation                WySdk.dll and libexpat.dll
//     x64\product                   the programs, krdbg.ini, KrDbgLog.dll
//     x64\product\Plugins           a folder with a version
//     x64\product\External          tools that go beside the product's data
//     win32\...                     the same for 32-bit systems
//     common\product                configuration, locale table, shortcuts, data, tools
//     common\foundation\win32       where a runtime library would lie
//
// The manifest of a full package has every element, attribute, action, root, type, platform and
// overwrite rule, items that do nothing by intention included. The folder of this system's platform
// holds the real programs, in the bitness of the test program; the other one holds libraries of a
// few bytes under their names.
//
// The programs come from the folder of the test program, which has to depend on the CMake target
// SamplePackage (a library that it links has it do so).

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "support/MachineThings_win32.h"

namespace test_support {

// The identity by its row in the table of identities (FrwkMode.h).
namespace SampleMode {
constexpr int kWyvarion = 0;
constexpr int kTavrenox = 1;
constexpr int kMirdoshale = 2;
}  // namespace SampleMode

// The one item of the manifest that cannot be carried out, behind all others of its kind.
enum class FailingItem { kNone, kRegistryKey, kRegistryValue, kFolder, kFile };

// What lies in the package as service program. A placeholder has a version and no code. The small
// one is a service that starts and stops and listens to nobody. The real one is the development
// host, which answers.
enum class SampleService { kPlaceholder, kSmall, kReal };

// Who has signed the service program. A placeholder is signed by nobody.
enum class SampleSigner { kNobody, kMaker, kSomebodyElse };

struct SampleOptions {
    int mode = SampleMode::kTavrenox;
    // Of programs and libraries that have a version.
    std::array<std::uint16_t, 4> version = {3, 1, 0, 1158};
    // Stands in text files and values, so that one package's differ from another's.
    std::string contents = "first";
    // Four registry items and files of the product, five files in all; the sweeps of faults and
    // cycles install it often. No shortcuts, plug-ins, configuration and external tools.
    bool minimal = false;
    bool externalTools = true;
    // False: Setup.ini has a re-install leave the registry alone.
    bool updateRegistry = true;
    FailingItem failing = FailingItem::kNone;
    SampleService service = SampleService::kSmall;
    SampleSigner signer = SampleSigner::kMaker;
    // False: a placeholder stands for the large WySdk.dll. The set-up program then needs --library.
    bool library = true;
    // Without it there is neither krdbg.ini nor KrDbgLog.dll, and no log.
    bool log = true;
    // Where processes of a user's session have their log. "%commonappdata%" stands for the
    // application data of the machine.
    std::wstring logFolder = L"%commonappdata%\\Korvex Data\\Log";
    // Lines of the section [Check] of Setup.ini, and whole further sections.
    std::string checks = "CheckOS=0\r\n";
    // Elements put behind the others of their group.
    std::string moreRegistry;
    std::string moreFiles;
};

class SamplePackage {
public:
    // Makes the package in a folder, which is made with it; what lies there already stays. A file
    // that cannot be made is std::runtime_error or std::filesystem::filesystem_error.
    SamplePackage(const std::filesystem::path& folder, const SampleOptions& options);

    const std::wstring& Folder() const { return m_strFolder; }
    const SampleOptions& Options() const { return m_Options; }

    // The product id of the identity, and the name of a program with its suffix.
    std::wstring ProductId() const;
    std::wstring ProgramName(const std::wstring& name) const;
    // The set-up program.
    std::wstring SetupProgram() const { return m_strFolder + L"\\" + ProgramName(L"Setup.exe"); }

    // What an install into an empty folder lays down there: paths below it, and where each file
    // lies in the package.
    const std::map<std::wstring, std::filesystem::path>& Files() const { return m_Files; }
    // The same with the hash of each file (FilesOf).
    std::map<std::wstring, std::wstring> FileHashes() const;
    // The external tools, by their paths below their folder.
    const std::map<std::wstring, std::filesystem::path>& ExternalFiles() const {
        return m_External;
    }
    std::map<std::wstring, std::wstring> ExternalHashes() const;
    // Keys and values that the manifest makes, by their names as things of a machine.
    const MachineThings& Registry() const { return m_Registry; }
    // Shortcuts by their whole paths, with the text of each.
    std::map<std::wstring, std::wstring> Shortcuts(const std::wstring& installDir) const;

    // Where the shortcut stand-in makes them.
    static std::wstring ShortcutFolder();

private:
    // The folder of the programs for this system, and of those for the other one.
    static const wchar_t* OwnPlatform();
    static const wchar_t* OtherPlatform();

    std::filesystem::path At(const std::wstring& relative) const;
    void PutText(const std::wstring& relative, const std::string& text) const;
    // Files of the folder of the test program: linked, or copied with the package's version.
    void PutLinked(const std::wstring& program, const std::wstring& relative) const;
    void PutVersioned(const std::wstring& program, const std::wstring& relative) const;

    void PutSetup() const;
    void PutFoundation(const std::wstring& platform, bool own);
    void PutProduct();
    void PutOtherProduct();
    void PutCommon();
    void PutExternal();
    void PutManifest();
    std::wstring ServiceSource() const;
    void Installs(const std::wstring& installed, const std::wstring& relative);

    std::string RegistryItems();
    std::string FileItems() const;
    std::string MinimalFileItems() const;
    std::string FailingRegistryItem() const;
    std::string FailingFileItem() const;
    std::wstring ProductKey() const;

    const std::wstring m_strFolder;
    const SampleOptions m_Options;
    std::map<std::wstring, std::filesystem::path> m_Files;
    std::map<std::wstring, std::filesystem::path> m_External;
    MachineThings m_Registry;
};

// Writes a version into a program or library that has one (VS_FIXEDFILEINFO); std::runtime_error
// where there is none.
void SetFileVersion(const std::filesystem::path& path, const std::array<std::uint16_t, 4>& version);

}  // namespace test_support
