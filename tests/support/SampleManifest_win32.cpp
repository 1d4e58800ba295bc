// The manifests of sample packages.

#include "Common/KrCommon/KrComn_String.h"
#include "support/SamplePackage_win32.h"

namespace test_support {

namespace {

using KrCommon::String::ToUtf8;

// The second entry in the list of programs. The first one must not be made by a manifest: with it
// the product counts as installed before its second phase.
constexpr wchar_t kPrograms[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
    L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}";

// An element of its attributes, which are given in pairs.
std::string Element(const char* name, std::initializer_list<std::string> attributes) {
    std::string text = std::string("<") + name;
    bool isName = true;
    for (const std::string& part : attributes) {
        text += isName ? " " + part + "=\"" : part + "\"";
        isName = !isName;
    }
    return text + "/>\r\n";
}

std::string KeyItem(const char* id, const char* action, const char* root, const std::wstring& key,
                    const char* platform = "") {
    return Element("RegistryKey", {"Id", id, "Action", action, "Root", root, "Key", ToUtf8(key),
                                   "Platform", platform});
}

struct Value {
    const char* id;
    const char* action;
    const char* allAccess;
    const char* root;
    std::wstring key;
    const char* name;
    std::string value;
    const char* type;
    const char* platform = "";
};

std::string ValueItem(const Value& item) {
    return Element("RegistryValue",
                   {"Id", item.id, "Action", item.action, "AllAccess", item.allAccess, "Root",
                    item.root, "Key", ToUtf8(item.key), "Name", item.name, "Value", item.value,
                    "Type", item.type, "Platform", item.platform});
}

std::string FileItem(const char* id, const char* action, const char* overwrite,
                     const std::string& name, const char* source, const char* target,
                     const char* platform = "") {
    return Element("File", {"Id", id, "Action", action, "Overwrite", overwrite, "Name", name,
                            "SourceDir", source, "TargetDir", target, "Platform", platform});
}

std::string FolderItem(const char* id, const char* action, const char* overwrite,
                       const char* keyModule, const char* source, const char* target,
                       const char* platform = "") {
    return Element("Folder",
                   {"Id", id, "Action", action, "Overwrite", overwrite, "KeyModule", keyModule,
                    "SourceDir", source, "TargetDir", target, "Platform", platform});
}

}  // namespace

std::wstring SamplePackage::ProductKey() const {
    return L"SOFTWARE\\KorvexData\\" + ProductId();
}

// Where the two hives have their views is that of the library: 64 on a 64-bit system.
std::string SamplePackage::RegistryItems() {
    const bool is64Bit = OwnPlatform() == std::wstring(L"x64");
    const std::wstring machine = is64Bit ? L"HKLM 64 " : L"HKLM 32 ";
    const std::wstring user = is64Bit ? L"HKCU 64 " : L"HKCU 32 ";
    const std::wstring key = ProductKey();
    const std::wstring settings = key + L"\\Settings";
    std::string text = KeyItem("settings", "create", "HKLM", settings);
    text += ValueItem(
        {"channel", "write", "yes", "HKLM", settings, "Channel", m_Options.contents, "string"});
    text += ValueItem({"interval", "write", "no", "HKLM", settings, "Interval", "300", "dword"});
    text += ValueItem({"old", "delete", "", "HKLM", settings, "OldChannel", "", ""});
    m_Registry[machine + settings] = L"key";
    m_Registry[machine + settings + L": Channel"] =
        TextValue(KrCommon::String::FromUtf8(m_Options.contents));
    m_Registry[machine + settings + L": Interval"] = NumberValue(300);
    if (m_Options.minimal)
        return text;

    // A key is made on both platforms, whatever it says.
    text += KeyItem("only-32", "CREATE", "hklm", key + L"\\Only32", "win32");
    text += KeyItem("only-64", "create", "HKLM", key + L"\\Only64", "x64");
    text += KeyItem("user", "create", "HKCU", key + L"\\User");
    text += KeyItem("obsolete", "delete", "HKLM", key + L"\\Obsolete");
    text += KeyItem("unknown-action", "keep", "HKLM", key + L"\\Kept");
    text += ValueItem(
        {"platform", "write", "yes", "HKLM", settings, "Platform", "x64", "string", "x64"});
    text += ValueItem(
        {"platform", "write", "yes", "HKLM", settings, "Platform", "win32", "string", "win32"});
    text +=
        ValueItem({"user", "Write", "YES", "HKCU", key + L"\\User", "Language", "en", "STRING"});
    text +=
        ValueItem({"largest", "write", "yes", "HKLM", settings, "Largest", "4294967295", "dword"});
    text += ValueItem({"unknown-type", "write", "yes", "HKLM", settings, "Binary", "00", "binary"});
    text += ValueItem({"unknown-action", "keep", "yes", "HKLM", settings, "Kept", "x", "string"});
    text += ValueItem({"component", "write", "yes", "HKLM", key + L"\\Au\\Au7e", "t3201",
                       "c11t3201v1.0l1p1r1o1", "string"});
    text += ValueItem(
        {"name", "write", "yes", "HKLM", kPrograms, "DisplayName", "Optimizer", "string"});
    for (const wchar_t* name : {L"\\Only32", L"\\Only64"})
        m_Registry[machine + key + name] = L"key";
    m_Registry[user + key + L"\\User"] = L"key";
    m_Registry[user + key + L"\\User: Language"] = TextValue(L"en");
    m_Registry[machine + settings + L": Platform"] = TextValue(OwnPlatform());
    m_Registry[machine + settings + L": Largest"] = NumberValue(0xffffffffU);
    m_Registry[machine + kPrograms + L": DisplayName"] = TextValue(L"Optimizer");
    return text;
}

std::string SamplePackage::MinimalFileItems() const {
    return FileItem("programs", "write", "yes", "*",
                    ToUtf8(OwnPlatform() + std::wstring(L"\\product")).c_str(), "");
}

std::string SamplePackage::FileItems() const {
    std::string text;
    // Folders come first, whatever their place is.
    text += FileItem("programs", "write", "yes", "*", "x64\\product", "", "x64");
    text += FileItem("programs", "WRITE", "YES", "*", "win32\\product", "", "WIN32");
    text += FileItem("readme", "write", "no", "readme.txt", "common\\product", "");
    text += FileItem("absent", "write", "yes", "absent.txt", "common\\product", "");
    text += FileItem("nothing-matches", "write", "yes", "*.none", "common\\product", "");
    text += FileItem("retired", "delete", "", "retired.txt", "common\\product", "");
    text += FileItem("unknown-action", "keep", "yes", "readme.txt", "common\\product", "Kept");
    text += FolderItem("library", "write", "yes", "", "x64\\foundation", "", "x64");
    text += FolderItem("library", "write", "yes", "", "win32\\foundation", "", "win32");
    text +=
        FolderItem("library-32", "write", "yes", "WySdk.dll", "win32\\foundation", "win32", "x64");
    text += FolderItem("configuration", "write", "yes", "", "common\\product\\Configuration",
                       "Configuration");
    text += FolderItem("data", "write", "no", "", "common\\product\\Data", "Data");
    text += FolderItem("plug-ins", "write", "yes", "Plugin.dll", "x64\\product\\Plugins", "Plugins",
                       "x64");
    text += FolderItem("plug-ins", "write", "yes", "Plugin.dll", "win32\\product\\Plugins",
                       "Plugins", "win32");
    text += FolderItem("retired", "delete", "", "", "", "Retired");
    text += FolderItem("absent", "write", "yes", "", "common\\product\\Absent", "Absent");
    text += FolderItem("unknown-action", "keep", "yes", "", "common\\product\\Data", "Kept");
    return text;
}

std::string SamplePackage::FailingRegistryItem() const {
    if (m_Options.failing == FailingItem::kRegistryKey)
        return KeyItem("failing", "create", "nowhere", ProductKey() + L"\\Failing");
    if (m_Options.failing == FailingItem::kRegistryValue) {
        return ValueItem(
            {"failing", "write", "yes", "nowhere", ProductKey(), "Failing", "x", "string"});
    }
    return {};
}

// A folder where a file lies, and a file whose name has a folder in it.
std::string SamplePackage::FailingFileItem() const {
    const std::string platform = ToUtf8(OwnPlatform());
    if (m_Options.failing == FailingItem::kFolder && m_Options.minimal) {
        return FolderItem("before", "write", "yes", "", (platform + "\\product").c_str(),
                          "blocked") +
               FolderItem("failing", "write", "yes", "", (platform + "\\foundation").c_str(),
                          "blocked\\release.txt");
    }
    if (m_Options.failing == FailingItem::kFolder) {
        return FolderItem("failing", "write", "yes", "", (platform + "\\foundation").c_str(),
                          "Configuration\\settings.txt");
    }
    if (m_Options.failing == FailingItem::kFile)
        return FileItem("failing", "write", "yes", "foundation\\libexpat.dll", platform.c_str(),
                        "Failing");
    return {};
}

}  // namespace test_support
