#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "deployment/SweepPackage.h"
#include "support/MachineThings_win32.h"

namespace deploy_test {

namespace {

namespace fs = std::filesystem;

void Put(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (file.fail())
        throw std::runtime_error("cannot write " + path.string());
}

constexpr char kSetup[] =
    "[Check]\r\nCheckOS=1\r\nOS=WinVista\r\n[MsiConfig]\r\nUpdateRegistry=1\r\n";

constexpr char kLog[] =
    "[ServiceSession]\r\nEnable=1\r\nLevel=0x00000111\r\n"
    "[InteractiveSession]\r\nEnable=1\r\nLevel=0x00000111\r\n";

// TREE stands for the tree of this system.
constexpr char kManifest[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<Product>
  <RegistryGroup>
    <RegistryKey Id="key" Action="create" Root="HKLM" Key="SOFTWARE\KorvexData\Tavrenox\Settings"/>
    <RegistryKey Id="old key" Action="delete" Root="HKLM" Key="SOFTWARE\KorvexData\Tavrenox\Old"/>
    <RegistryValue Id="text" Action="write" AllAccess="yes" Root="HKLM"
      Key="SOFTWARE\KorvexData\Tavrenox\Settings" Name="Text" Value="CONTENT" Type="string"/>
    <RegistryValue Id="number" Action="write" Root="HKCU"
      Key="Software\KorvexData\Tavrenox" Name="Number" Value="42" Type="dword"/>
    <RegistryValue Id="old value" Action="delete" Root="HKLM"
      Key="SOFTWARE\KorvexData\Tavrenox\Settings" Name="OldText"/>
  </RegistryGroup>
  <FileGroup>
    <Folder Id="data" Action="write" Overwrite="yes" SourceDir="TREE\product\data"
      TargetDir="data"/>
    <Folder Id="old" Action="delete" TargetDir="old"/>
    <Folder Id="configuration" Action="write" Overwrite="yes" SourceDir="common\product\Configuration"
      TargetDir="Configuration"/>
    <File Id="programs" Action="write" Overwrite="yes" Name="*.exe" SourceDir="TREE\product"/>
    <File Id="log" Action="write" Overwrite="yes" Name="krdbg.ini" SourceDir="TREE\product"/>
    <File Id="trace" Action="write" Overwrite="yes" Name="krdbglog.dll" SourceDir="TREE\product"/>
    <File Id="old file" Action="delete" Name="old.txt"/>
LAST  </FileGroup>
</Product>
)";

// A file whose target is a folder that the package has brought itself.
constexpr char kBrokenItem[] =
    "    <File Id=\"broken\" Action=\"write\" Overwrite=\"yes\" Name=\"data\" "
    "SourceDir=\"common\\product\"/>\r\n";

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
    return text;
}

}  // namespace

void Write(const SweepPackage& package) {
    const std::string tree = test_support::Is64BitSystem() ? "x64" : "win32";
    const fs::path root = package.folder;
    const fs::path product = root / tree / "product";
    const std::string& content = package.content;
    std::string manifest = Replaced(kManifest, "TREE", tree);
    manifest = Replaced(manifest, "CONTENT", content);
    manifest = Replaced(manifest, "LAST", package.isBroken ? kBrokenItem : "");
    Put(root / "Setup.ini", kSetup);
    Put(root / "InstCfg.xml", manifest);
    Put(product / "krdbg.ini", kLog);
    Put(product / "krdbglog.dll", "trace");
    Put(product / "WySessionAgent_P.exe", "agent " + content);
    Put(product / "Shortcut_P.exe", "shortcuts " + content);
    Put(product / "data" / "first.txt", "first " + content);
    Put(product / "data" / "deep" / "second.txt", "second " + content);
    Put(product / "External" / "tool.txt", "tool " + content);
    Put(root / "common" / "product" / "External" / "common.txt", "common tool " + content);
    Put(root / "common" / "product" / "data", "no folder");
    const fs::path configuration = root / "common" / "product" / "Configuration";
    Put(configuration / "localeInfo.json",
        R"({"localMapping":[{"lcid":1033,"localeName":"EN-US"}],"defaultLocal":"EN-US"})");
    Put(configuration / "Shortcut" / "EN-US" / "Shortcut.xml", "<Shortcuts/>");
    fs::create_directories(root / tree / "foundation");
    fs::copy_file(package.expat, root / tree / "foundation" / "libexpat.dll");
    fs::copy_file(package.program, product / "WySvcHost_P.exe");
}

}  // namespace deploy_test
