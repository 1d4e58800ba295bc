#include <algorithm>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/PackageLintRules.h"

namespace WyCtl::Lint {

namespace {

constexpr std::size_t kLongestPart = 255;
// A whole path has 259 characters; what the folders of product and package need is not known.
constexpr std::size_t kAdvisedPath = 150;

bool IsLetter(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
}

// CON, COM1 and the like, whatever extension stands behind.
bool IsDevice(std::string_view part) {
    std::string_view name = part.substr(0, part.find('.'));
    while (name.ends_with(' ')) {
        name.remove_suffix(1);
    }
    if (IsOneOf(name, {"CON", "PRN", "AUX", "NUL"})) {
        return true;
    }
    constexpr std::size_t kNumbered = 4;
    return name.size() == kNumbered && IsOneOf(name.substr(0, 3), {"COM", "LPT"}) &&
           name[3] >= '1' && name[3] <= '9';
}

bool IsReserved(char letter, bool pattern) {
    if (pattern && (letter == '*' || letter == '?')) {
        return false;
    }
    return static_cast<unsigned char>(letter) < 0x20U ||
           std::string_view("<>:\"|?*").find(letter) != std::string_view::npos;
}

// One attribute with a name of a folder or file.
class PathCheck {
public:
    PathCheck(const Context& context, const Item& item, const char* attribute, bool pattern)
        : m_Context(context),
          m_Item(item),
          m_strText(item.Text(attribute)),
          m_strShown(std::string(attribute) + "=" + Quoted(m_strText)),
          m_bPattern(pattern) {}

    void Check() {
        if (m_strText.empty()) {
            return;
        }
        CheckAbsolute();
        for (const std::string_view part : Parts(m_strText)) {
            if (CheckPart(part)) {
                break;
            }
        }
        if (KrCommon::String::FromUtf8(m_strText).size() > kAdvisedPath) {
            m_Context.Warn("oversized", m_Item,
                           m_strShown + " is long: a whole path has room for 259 characters",
                           "use shorter names");
        }
    }

private:
    void CheckAbsolute() {
        const bool drive = m_strText.size() > 1 && IsLetter(m_strText[0]) && m_strText[1] == ':';
        if (drive || m_strText.starts_with("\\\\") || m_strText.starts_with("//")) {
            m_Context.Error("absolute-path", m_Item,
                            m_strShown +
                                " is appended to the folder of package or product all "
                                "the same, and does not mean the place it names",
                            "name a folder relative to it");
        } else if (m_strText[0] == '\\' || m_strText[0] == '/') {
            m_Context.Warn("absolute-path", m_Item,
                           m_strShown + " lies below the folder of package or product all the same",
                           "remove the separator in front");
        }
    }

    // True when something was found.
    bool CheckPart(std::string_view part) {
        const char* what = nullptr;
        if (part == "." || part == "..") {
            return false;
        }
        if (std::any_of(part.begin(), part.end(),
                        [&](char letter) { return IsReserved(letter, m_bPattern); })) {
            what = " has a character that no file name may have";
        } else if (IsDevice(part)) {
            what = " names a device of the system";
        } else if (part.ends_with('.') || part.ends_with(' ')) {
            what = " has a part that ends in a dot or blank, which the system takes off";
        }
        if (what != nullptr) {
            m_Context.Error("reserved-name", m_Item, m_strShown + what, "choose another name");
            return true;
        }
        if (KrCommon::String::FromUtf8(part).size() > kLongestPart) {
            m_Context.Error("oversized", m_Item,
                            m_strShown +
                                " has a part of more than 255 characters, which no file "
                                "system takes",
                            "shorten it");
            return true;
        }
        return false;
    }

    const Context& m_Context;
    const Item& m_Item;
    const std::string& m_strText;
    std::string m_strShown;
    bool m_bPattern;
};

bool Leaves(std::string_view folder, std::string_view name) {
    return TargetKey(folder, name).starts_with("\\..");
}

bool IsPattern(const std::string& name) {
    return name.find('*') != std::string::npos;
}

// A pattern is looked up in the source folder, also where files are deleted.
void CheckRoots(const Context& context, const Item& item, const std::string& name) {
    const std::string& source = item.Text("SourceDir");
    const std::string& target = item.Text("TargetDir");
    if ((item.Writes() || IsPattern(name)) && Leaves(source, name)) {
        context.Error("leaves-root", item,
                      Quoted(source + "\\" + name) + " goes up and out of the package",
                      "name a folder of the package");
    }
    if (Leaves(target, name)) {
        context.Error("leaves-root", item,
                      Quoted(target + "\\" + name) +
                          " goes up and out of the product's folder, where WyUninstall removes "
                          "nothing",
                      "name a folder of the product");
    }
}

void CheckName(const Context& context, const Item& item) {
    const std::string& name = item.Text("Name");
    if (name.empty()) {
        context.Error("empty-name", item, "no Name: no file is meant by that, and nothing is done",
                      "name a file, or a pattern with *");
        return;
    }
    if (name.find_first_of("\\/") != std::string::npos) {
        context.Error("name-with-folder", item,
                      item.Writes() ? "a Name with a folder in it is looked for in that folder, "
                                      "but taken from SourceDir itself: another file is copied, "
                                      "or none, and then the installation ends with 0xe00e0014"
                                    : "a Name with a folder in it reaches out of TargetDir",
                      "put the folder into SourceDir and TargetDir");
    }
}

// ---- sources

std::string FileIn(const std::string& folder, const std::string& name) {
    return folder.empty() || folder.ends_with('\\') ? folder + name : folder + "\\" + name;
}

void CheckPattern(const Context& context, const Item& item) {
    const std::string& name = item.Text("Name");
    const std::wstring folder = context.InPackage(item.Text("SourceDir"));
    if (name == "*" || name == "*.*") {
        context.Warn("matches-everything", item,
                     Quoted(name) +
                         " takes every file of the folder, also what gets there by "
                         "mistake",
                     "name the files, or use a Folder");
    }
    if (context.files.Matching(folder, Widened(name)).empty()) {
        context.Warn("matches-nothing", item,
                     Quoted(FileIn(item.Text("SourceDir"), name)) +
                         " matches no file of the package, and nothing is done" +
                         (item.Deletes() ? ": patterns stand for files of the package" : ""),
                     item.Deletes() ? "name each file that is to go" : "correct the pattern");
    }
}

void CheckWrittenFile(const Context& context, const Item& item) {
    const std::string path = FileIn(item.Text("SourceDir"), item.Text("Name"));
    switch (context.files.KindOf(context.InPackage(path))) {
        case PackageFiles::Kind::None:
            context.Error("missing-source", item,
                          Quoted(path) +
                              " is not in the package: the installation goes on "
                              "without it",
                          "add the file, or remove the item");
            break;
        case PackageFiles::Kind::Folder:
            context.Error(
                "wrong-kind", item,
                Quoted(path) + " is a folder, which a File does not copy: nothing is done",
                "use a Folder");
            break;
        case PackageFiles::Kind::File:
            break;
    }
}

bool HasVersionRule(const Context& context, const std::wstring& folder, const std::wstring& name) {
    const std::wstring_view extension = KrCommon::String::GetExtension(name);
    const bool program = KrCommon::String::EqualNoCase(extension, L".exe") ||
                         KrCommon::String::EqualNoCase(extension, L".dll");
    return program && context.files.HasVersion(folder + L'\\' + name);
}

// Programs without a version are always replaced, which nobody means who ships programs.
void CheckVersions(const Context& context, const Item& item) {
    if (!item.Is("Overwrite", "yes")) {
        return;
    }
    const std::wstring folder = context.InPackage(item.Text("SourceDir"));
    const std::string& name = item.Text("Name");
    std::vector<std::wstring> names{Widened(name)};
    if (IsPattern(name)) {
        names = context.files.Matching(folder, names[0]);
    }
    for (const std::wstring& each : names) {
        const std::wstring_view extension = KrCommon::String::GetExtension(each);
        const bool program = KrCommon::String::EqualNoCase(extension, L".exe") ||
                             KrCommon::String::EqualNoCase(extension, L".dll");
        const std::wstring path = std::wstring(folder).append(L"\\").append(each);
        if (program && context.files.KindOf(path) == PackageFiles::Kind::File &&
            !HasVersionRule(context, folder, each)) {
            context.Warn("version-never-applies", item,
                         Quoted(KrCommon::String::ToUtf8(each)) +
                             " has no version that can be read: it replaces any other, newer ones "
                             "too",
                         "give it a version");
        }
    }
}

void CheckKeyModule(const Context& context, const Item& item, const std::wstring& folder) {
    const std::string& module = item.Text("KeyModule");
    if (module.empty()) {
        return;
    }
    if (!item.Is("Overwrite", "yes")) {
        context.Warn("version-never-applies", item,
                     "KeyModule is not looked at without Overwrite=yes: a folder that exists stays",
                     "write Overwrite=yes, or remove KeyModule");
        return;
    }
    const std::wstring name = Widened(module);
    const bool there = context.files.KindOf(folder + L'\\' + name) == PackageFiles::Kind::File;
    if (!there || !HasVersionRule(context, folder, name)) {
        context.Warn("version-never-applies", item,
                     "KeyModule=" + Quoted(module) +
                         (there ? " has no version that is compared"
                                : " is not in the folder of the package") +
                         ": the folder is always replaced",
                     "name a program or library with a version");
    }
}

void CheckWrittenFolder(const Context& context, const Item& item) {
    const std::string& source = item.Text("SourceDir");
    const std::wstring folder = context.InPackage(source);
    switch (context.files.KindOf(folder)) {
        case PackageFiles::Kind::None:
            context.Error("missing-source", item,
                          Quoted(source) +
                              " is not in the package: the installation goes on "
                              "without it",
                          "add the folder, or remove the item");
            return;
        case PackageFiles::Kind::File:
            context.Error("wrong-kind", item,
                          Quoted(source) +
                              " is a file, which a Folder cannot copy: the "
                              "installation ends with 0xe00e0014",
                          "use a File");
            return;
        case PackageFiles::Kind::Folder:
            break;
    }
    if (TargetKey(source, {}).empty()) {
        context.Warn("whole-package", item,
                     "the whole package is copied, its manifest and both platforms included",
                     "name a folder of the package");
    }
    CheckKeyModule(context, item, folder);
}

}  // namespace

void CheckPaths(const Context& context, const Item& item) {
    if (!item.Writes() && !item.Deletes()) {
        return;
    }
    PathCheck(context, item, "SourceDir", false).Check();
    PathCheck(context, item, "TargetDir", false).Check();
    if (item.kind == ItemKind::Folder) {
        PathCheck(context, item, "KeyModule", false).Check();
        CheckRoots(context, item, item.Writes() ? item.Text("KeyModule") : std::string());
        if (item.Deletes() && TargetKey(item.Text("TargetDir"), {}).empty()) {
            context.Error("wide-delete", item, "the product's whole folder is deleted",
                          "name a folder in it");
        }
        return;
    }
    PathCheck(context, item, "Name", IsPattern(item.Text("Name"))).Check();
    CheckName(context, item);
    CheckRoots(context, item, item.Text("Name"));
}

void CheckSource(const Context& context, const Item& item) {
    if (item.kind == ItemKind::Folder) {
        if (item.Writes()) {
            CheckWrittenFolder(context, item);
        }
        return;
    }
    const std::string& name = item.Text("Name");
    if (name.empty() || (!item.Writes() && !item.Deletes())) {
        return;
    }
    if (IsPattern(name)) {
        CheckPattern(context, item);
    } else if (item.Writes()) {
        CheckWrittenFile(context, item);
    }
    if (item.Writes()) {
        CheckVersions(context, item);
    }
}

}  // namespace WyCtl::Lint
