#include <array>
#include <map>
#include <set>
#include <unordered_map>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/PackageLintRules.h"

namespace WyCtl::Lint {

namespace {

// A package that names more files than this is compared so far and no further.
constexpr std::size_t kMostTargets = 500000;

enum Platform : std::uint8_t { kBoth, kWin32, kX64, kPlatforms };

Platform PlatformOf(const Item& item) {
    if (item.kind == ItemKind::RegistryKey) {
        return kBoth;
    }
    if (item.Is("Platform", "win32")) {
        return kWin32;
    }
    return item.Is("Platform", "x64") ? kX64 : kBoth;
}

bool Meet(Platform a, Platform b) {
    return a == kBoth || b == kBoth || a == b;
}

// The items that write to one place, one for each platform.
class Writers {
public:
    const Item* MeetingWith(const Item& item) const {
        const Platform own = PlatformOf(item);
        for (std::size_t i = 0; i < kPlatforms; ++i) {
            if (m_Items[i] != nullptr && Meet(own, static_cast<Platform>(i))) {
                return m_Items[i];
            }
        }
        return nullptr;
    }
    void Put(const Item& item) { m_Items[PlatformOf(item)] = &item; }

private:
    std::array<const Item*, kPlatforms> m_Items{};
};

std::string Named(const Item& item) {
    const std::string& id = item.Text("Id");
    return item.node->name + (id.empty() ? "" : " " + Quoted(id)) + " of line " +
           std::to_string(item.node->line);
}

// Points lead back to the product's folder itself, which has no name below it.
std::string Shown(const std::string& place) {
    return place.empty() ? "the product's folder" : Quoted(place.substr(1));
}

void WarnOfDeletion(const Context& context, const Item& item, const Item& writer) {
    context.Warn("overlapping-target", item,
                 "it takes away again what " + Named(writer) + " has written before",
                 "remove one of the two");
}

// ---- registry

class RegistryTargets {
public:
    explicit RegistryTargets(const Context& context) : m_Context(context) {}

    void Add(const Item& item) {
        const bool key = item.kind == ItemKind::RegistryKey;
        const std::string place = Folded(item.Text("Root")) + TargetKey(item.Text("Key"), {}) +
                                  (key ? "\\" : "\\\n" + Folded(item.Text("Name")));
        if (item.Deletes()) {
            Delete(item, place);
            return;
        }
        Writers& writers = m_Places[place];
        if (const Item* const other = writers.MeetingWith(item); other != nullptr) {
            const bool same = key || (item.Text("Value") == other->Text("Value") &&
                                      EqualNoCase(item.Text("Type"), other->Text("Type")));
            m_Context.Add(same ? Severity::Warning : Severity::Error, "duplicate-target", item.node,
                          (same ? "the same is written by " : "another value is written by ") +
                              Named(*other) + " already" + (same ? "" : "; this one stays"),
                          "remove one of the two");
        }
        writers.Put(item);
    }

private:
    void Delete(const Item& item, const std::string& place) {
        const auto first = m_Places.lower_bound(place);
        if (first == m_Places.end()) {
            return;
        }
        const bool within = item.kind == ItemKind::RegistryKey ? first->first.starts_with(place)
                                                               : first->first == place;
        const Item* const writer = within ? first->second.MeetingWith(item) : nullptr;
        if (writer != nullptr) {
            WarnOfDeletion(m_Context, item, *writer);
        }
    }

    const Context& m_Context;
    std::map<std::string, Writers> m_Places;
};

// ---- files

class FileTargets {
public:
    explicit FileTargets(const Context& context) : m_Context(context) {}

    void Add(const Item& item) {
        if (item.Deletes()) {
            Delete(item);
            return;
        }
        m_Met.clear();
        for (const std::string& name : NamesOf(item)) {
            if (m_uiTargets == kMostTargets) {
                TellLimit();
                return;
            }
            Write(item, TargetKey(item.Text("TargetDir"), name));
        }
    }

private:
    // What an item brings, relative to its target folder.
    std::vector<std::string> NamesOf(const Item& item) {
        const std::wstring folder = m_Context.InPackage(item.Text("SourceDir"));
        const std::string& name = item.Text("Name");
        if (item.kind == ItemKind::Folder) {
            return FolderNames(folder);
        }
        if (name.find('*') == std::string::npos) {
            return name.empty() ? std::vector<std::string>{} : std::vector<std::string>{name};
        }
        std::vector<std::string> names;
        for (const std::wstring& each : m_Context.files.Matching(folder, Widened(name))) {
            names.push_back(KrCommon::String::ToUtf8(each));
        }
        return names;
    }

    const std::vector<std::string>& FolderNames(const std::wstring& folder) {
        const auto [known, isNew] = m_Folders.try_emplace(folder);
        if (isNew) {
            for (const PackageFile& file : m_Context.files.Below(folder)) {
                known->second.push_back(KrCommon::String::ToUtf8(file.name));
            }
        }
        return known->second;
    }

    void Write(const Item& item, const std::string& place) {
        ++m_uiTargets;
        Writers& writers = m_Places[place];
        const Item* const other = writers.MeetingWith(item);
        // One finding for each pair of items, however many files they share.
        if (other != nullptr && m_Met.insert(other).second) {
            Meeting(item, *other, place);
        }
        writers.Put(item);
        const Item* const inTheWay = InTheWayOf(item, place);
        if (inTheWay != nullptr && m_Met.insert(inTheWay).second) {
            m_Context.Error("overlapping-target", item,
                            Shown(place) + " and what " + Named(*inTheWay) +
                                " writes need one name for a file and for a folder: the "
                                "installation ends with 0xe00e0014, or goes on without the file",
                            "choose another name");
        }
    }

    // An item that has a file where this one needs a folder, or the reverse.
    const Item* InTheWayOf(const Item& item, const std::string& place) const {
        const std::string below = place + "\\";
        const auto first = m_Places.lower_bound(below);
        if (first != m_Places.end() && first->first.starts_with(below)) {
            return first->second.MeetingWith(item);
        }
        for (std::size_t end = place.rfind('\\'); end != std::string::npos && end != 0;
             end = place.rfind('\\', end - 1)) {
            const auto above = m_Places.find(place.substr(0, end));
            if (above != m_Places.end()) {
                return above->second.MeetingWith(item);
            }
        }
        return nullptr;
    }

    void Meeting(const Item& item, const Item& other, const std::string& place) {
        const bool wholeFolder =
            item.kind == ItemKind::Folder && other.kind == ItemKind::Folder &&
            TargetKey(item.Text("TargetDir"), {}) == TargetKey(other.Text("TargetDir"), {});
        const bool file = item.kind == ItemKind::File && other.kind == ItemKind::File &&
                          EqualNoCase(item.Text("Name"), other.Text("Name"));
        const bool same = EqualNoCase(item.Text("SourceDir"), other.Text("SourceDir"));
        const bool replaces = item.Is("Overwrite", "yes");
        const std::string what =
            Shown(place) + " is written by " + Named(other) + " already, and " +
            (replaces ? "replaced by this one, subject to the version rule" : "stays as it is");
        if ((wholeFolder || file) && !same) {
            m_Context.Error("duplicate-target", item, what, "remove one of the two");
        } else if (wholeFolder || file) {
            m_Context.Warn("duplicate-target", item, what, "remove one of the two");
        } else {
            m_Context.Warn("overlapping-target", item, what,
                           "let each file be brought by one item");
        }
    }

    void Delete(const Item& item) {
        if (item.kind == ItemKind::Folder) {
            DeleteFrom(item, TargetKey(item.Text("TargetDir"), {}) + "\\", true);
        } else {
            for (const std::string& each : NamesOf(item)) {
                if (DeleteFrom(item, TargetKey(item.Text("TargetDir"), each), false)) {
                    return;
                }
            }
        }
    }

    bool DeleteFrom(const Item& item, const std::string& place, bool below) {
        for (auto at = m_Places.lower_bound(place);
             at != m_Places.end() && (below ? at->first.starts_with(place) : at->first == place);
             ++at) {
            // What is for the other platform stands among what is for this one.
            if (const Item* const writer = at->second.MeetingWith(item); writer != nullptr) {
                WarnOfDeletion(m_Context, item, *writer);
                return true;
            }
        }
        return false;
    }

    void TellLimit() {
        if (!m_bLimitTold) {
            m_Context.Add(Severity::Warning, "too-many-files", nullptr,
                          "the package names more than " + std::to_string(kMostTargets) +
                              " files; those beyond were not compared with each other",
                          "use fewer and larger folders");
        }
        m_bLimitTold = true;
    }

    const Context& m_Context;
    std::map<std::string, Writers> m_Places;
    std::unordered_map<std::wstring, std::vector<std::string>> m_Folders;
    std::set<const Item*> m_Met;
    std::size_t m_uiTargets = 0;
    bool m_bLimitTold = false;
};

}  // namespace

void CheckTargets(const Context& context, const std::vector<Item>& items) {
    RegistryTargets registry(context);
    FileTargets files(context);
    for (const Item& item : items) {
        if (!item.Writes() && !item.Deletes()) {
            continue;
        }
        if (item.IsRegistry()) {
            registry.Add(item);
        } else {
            files.Add(item);
        }
    }
}

}  // namespace WyCtl::Lint
