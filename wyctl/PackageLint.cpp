#include "wyctl/PackageLint.h"

#include <algorithm>
#include <unordered_map>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_XmlText.h"
#include "wyctl/PackageLintRules.h"

namespace WyCtl {

namespace Lint {

namespace {

// Attributes of an item with a value longer than this are cut in a message.
constexpr std::size_t kLongestQuote = 80;

char Upper(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

}  // namespace

bool Item::Is(std::string_view attribute, std::string_view word) const {
    return EqualNoCase(node->Value(attribute), word);
}

bool Item::Writes() const {
    return Is("Action", kind == ItemKind::RegistryKey ? "create" : "write");
}

void Context::Add(Severity severity, const char* id, const XmlNode* node, std::string what,
                  std::string advice) const {
    Finding finding;
    finding.severity = severity;
    finding.id = id;
    if (node != nullptr) {
        finding.element = node->name;
        finding.item = node->Value("Id");
        finding.line = node->line;
    }
    finding.what = std::move(what);
    finding.advice = std::move(advice);
    report.findings.push_back(std::move(finding));
}

std::wstring Context::InPackage(std::string_view relative) const {
    std::wstring path = input.packageDir;
    KrCommon::String::AppendSeparator(path);
    path += Widened(relative);
    KrCommon::String::RemoveSeparator(path);
    return path;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char left, char right) { return Upper(left) == Upper(right); });
}

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return EqualNoCase(text, word); });
}

std::string Quoted(std::string_view text) {
    std::string quoted(1, '\'');
    quoted.append(text.substr(0, kLongestQuote));
    while (text.size() > kLongestQuote && !quoted.empty() &&
           (static_cast<unsigned char>(quoted.back()) & 0x80U) != 0) {
        quoted.pop_back();  // no half character
    }
    return quoted + (text.size() > kLongestQuote ? "...'" : "'");
}

std::wstring Widened(std::string_view text) {
    std::wstring wide;
    KrCommon::Storage::AppendWidened(wide, text);
    return wide;
}

std::string Folded(std::string_view text) {
    std::string folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), Upper);
    return folded;
}

std::vector<std::string_view> Parts(std::string_view path) {
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const std::size_t end = path.find_first_of("\\/");
        if (end != 0) {
            parts.push_back(path.substr(0, end));
        }
        path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    }
    return parts;
}

std::string TargetKey(std::string_view folder, std::string_view name) {
    std::vector<std::string_view> kept;
    for (const std::string_view whole : {folder, name}) {
        for (const std::string_view part : Parts(whole)) {
            if (part == "..") {
                if (!kept.empty() && kept.back() != "..") {
                    kept.pop_back();
                    continue;
                }
            } else if (part == ".") {
                continue;
            }
            kept.push_back(part);
        }
    }
    std::string key;
    for (const std::string_view part : kept) {
        key += '\\';
        key += Folded(part);
    }
    return key;
}

namespace {

// The library that an installation reads the manifest with comes with the package.
void CheckLibrary(const Context& context) {
    for (const char* platform : {"x64", "win32"}) {
        const std::string path = std::string(platform) + "\\foundation\\libexpat.dll";
        if (context.files.KindOf(context.InPackage(path)) != PackageFiles::Kind::File) {
            context.Add(Severity::Error, "xml-library-missing", nullptr,
                        "there is no " + path +
                            ": on such a system InstCfg.xml cannot be read, and WyInstall returns "
                            "0xe00e0013",
                        "put the XML library there");
        }
    }
}

void CheckSetup(const Context& context) {
    if (context.files.KindOf(context.InPackage("Setup.ini")) != PackageFiles::Kind::File) {
        context.Add(Severity::Error, "setup-missing", nullptr,
                    "there is no Setup.ini: WyInstall returns 0xe00e0013",
                    "add one; an empty file demands nothing of the system");
        return;
    }
    if (!context.input.os.has_value() || context.input.os->empty()) {
        return;
    }
    const std::string os = KrCommon::String::ToUtf8(*context.input.os);
    if (os == "Win7") {
        context.Add(Severity::Warning, "setup-os", nullptr,
                    "[Check] OS=Win7 refuses Windows 10, whose minor number is 0",
                    "write WinVista where later systems are meant, too");
    } else if (os != "WinVista" && os != "Win8" && os != "Win8.1") {
        context.Add(Severity::Warning, "setup-os", nullptr,
                    "[Check] OS=" + Quoted(os) + " is no word that is known, and means Windows XP",
                    "write WinVista, Win7, Win8 or Win8.1, in these letters");
    }
}

void CheckIds(const Context& context, const std::vector<Item>& items) {
    std::unordered_map<std::string_view, const XmlNode*> seen;
    for (const Item& item : items) {
        const std::string& id = item.Text("Id");
        if (id.empty()) {
            continue;
        }
        const auto [first, isNew] = seen.emplace(id, item.node);
        if (!isNew) {
            context.Warn("duplicate-id", item,
                         "line " + std::to_string(first->second->line) +
                             " has this Id already: the log cannot tell them apart",
                         "give each item an Id of its own");
        }
    }
}

void ReportFault(const Context& context, const XmlFault& fault) {
    constexpr std::uint32_t kFileNotFound = 2;
    constexpr std::uint32_t kPathNotFound = 3;
    if (fault.code == kFileNotFound || fault.code == kPathNotFound) {
        context.Add(Severity::Error, "manifest-missing", nullptr,
                    "there is no InstCfg.xml: WyInstall returns 0xe00e0013",
                    "add the manifest to the folder of the package");
        return;
    }
    const std::string where = fault.words.empty()
                                  ? ", system error " + std::to_string(fault.code)
                                  : ": " + fault.words + " in line " + std::to_string(fault.line) +
                                        ", column " + std::to_string(fault.column);
    context.Add(Severity::Error, "manifest-faulty", nullptr,
                "InstCfg.xml cannot be read" + where + "; WyInstall returns 0xe00e0013",
                "mend the document; nothing behind this place was looked at");
    context.report.findings.back().line = fault.line;
}

void AddItems(const PackageXml& xml, const char* group, const char* element, ItemKind kind,
              std::vector<Item>& items) {
    for (const std::size_t position : ItemsOf(xml, group, element)) {
        items.push_back({kind, &xml.nodes[position]});
    }
}

}  // namespace

}  // namespace Lint

std::size_t LintReport::Errors() const {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [](const Finding& finding) { return finding.severity == Severity::Error; }));
}

std::vector<std::size_t> ItemsOf(const PackageXml& xml, std::string_view group,
                                 std::string_view element) {
    std::vector<std::size_t> items;
    if (xml.nodes.empty() || xml.nodes[0].name != "Product") {
        return items;
    }
    std::size_t first = XmlNode::kNoParent;
    for (std::size_t i = 1; i < xml.nodes.size(); ++i) {
        const XmlNode& node = xml.nodes[i];
        if (first == XmlNode::kNoParent && node.parent == 0 && node.name == group) {
            first = i;
        } else if (first != XmlNode::kNoParent && node.parent == first && node.name == element) {
            items.push_back(i);
        }
    }
    return items;
}

LintReport LintPackage(const LintInput& input, const PackageXml& xml, PackageFiles& files) {
    LintReport report;
    const Lint::Context context{input, files, report};
    Lint::CheckLibrary(context);
    Lint::CheckSetup(context);
    if (xml.fault.has_value()) {
        Lint::ReportFault(context, *xml.fault);
    }
    Lint::CheckStructure(context, xml);

    std::vector<Lint::Item> items;
    Lint::AddItems(xml, "RegistryGroup", "RegistryKey", Lint::ItemKind::RegistryKey, items);
    Lint::AddItems(xml, "RegistryGroup", "RegistryValue", Lint::ItemKind::RegistryValue, items);
    Lint::AddItems(xml, "FileGroup", "Folder", Lint::ItemKind::Folder, items);
    Lint::AddItems(xml, "FileGroup", "File", Lint::ItemKind::File, items);
    report.items = items.size();
    for (const Lint::Item& item : items) {
        Lint::CheckWords(context, item);
        if (item.IsRegistry()) {
            Lint::CheckRegistry(context, item);
        } else {
            Lint::CheckPaths(context, item);
            Lint::CheckSource(context, item);
        }
    }
    Lint::CheckIds(context, items);
    Lint::CheckTargets(context, items);
    std::stable_sort(report.findings.begin(), report.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    return report;
}

}  // namespace WyCtl
