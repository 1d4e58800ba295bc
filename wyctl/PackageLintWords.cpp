#include <algorithm>
#include <cstdint>
#include <span>

#include "wyctl/PackageLintRules.h"

namespace WyCtl::Lint {

namespace {

struct ElementRow {
    const char* name;
    const char* group;  // that it belongs in; null for a group
    std::initializer_list<std::string_view> attributes;
};

const ElementRow kElements[] = {
    {"RegistryGroup", nullptr, {}},
    {"FileGroup", nullptr, {}},
    {"RegistryKey", "RegistryGroup", {"Id", "Action", "Root", "Key", "Platform"}},
    {"RegistryValue",
     "RegistryGroup",
     {"Id", "Action", "AllAccess", "Root", "Key", "Name", "Value", "Type", "Platform"}},
    {"File",
     "FileGroup",
     {"Id", "Action", "Overwrite", "Name", "SourceDir", "TargetDir", "Platform"}},
    {"Folder",
     "FileGroup",
     {"Id", "Action", "Overwrite", "KeyModule", "SourceDir", "TargetDir", "Platform"}},
};

const ElementRow* RowOf(std::string_view name) {
    for (const ElementRow& row : kElements) {
        if (EqualNoCase(row.name, name)) {
            return &row;
        }
    }
    return nullptr;
}

// What the deployment makes of an element.
enum class Role : std::uint8_t { Product, Group, Item, PassedOver, Silent };

class Structure {
public:
    Structure(const Context& context, const PackageXml& xml) : m_Context(context), m_Xml(xml) {}

    void Check() {
        m_Roles.reserve(m_Xml.nodes.size());
        for (const XmlNode& node : m_Xml.nodes) {
            const bool outermost = node.parent == XmlNode::kNoParent;
            m_Roles.push_back(outermost ? Role::Product : RoleOf(node));
            if (m_Roles.back() < Role::PassedOver) {
                CheckAttributes(node);
            }
        }
    }

private:
    Role RoleOf(const XmlNode& node) {
        const Role parent = m_Roles[node.parent];
        const std::string& parentName = m_Xml.nodes[node.parent].name;
        const ElementRow* const row = RowOf(node.name);
        const bool exact = row != nullptr && row->name == node.name;
        if (parent == Role::Silent) {
            return Role::Silent;
        }
        if (parent == Role::Product && exact && row->group == nullptr) {
            return RoleOfGroup(node);
        }
        if (parent == Role::Group && exact && row->group != nullptr && row->group == parentName) {
            return Role::Item;
        }
        if (row != nullptr) {
            const std::string place = row->group != nullptr ? row->group : "Product";
            m_Context.Add(Severity::Error, "misplaced-element", &node,
                          exact ? "nobody looks for a " + node.name + " here: it does nothing"
                                : "nobody looks for a " + node.name + ": names count by letter",
                          std::string("write ") + row->name + ", directly in " + place);
            return Role::Silent;
        }
        if (parent != Role::PassedOver) {
            m_Context.Add(Severity::Warning, "unknown-element", &node,
                          "the deployment passes over this element and all in it",
                          "remove it, or correct its name");
        }
        return Role::PassedOver;
    }

    Role RoleOfGroup(const XmlNode& node) {
        bool& seen = node.name == "FileGroup" ? m_bFileGroup : m_bRegistryGroup;
        if (seen) {
            m_Context.Add(Severity::Error, "second-group", &node,
                          "only the first " + node.name + " counts: nothing in this one is done",
                          "move its items into the first one");
            return Role::Silent;
        }
        seen = true;
        return Role::Group;
    }

    void CheckAttributes(const XmlNode& node) {
        const ElementRow* const row = RowOf(node.name);
        for (const auto& [name, value] : node.attributes) {
            std::string_view meant;
            bool known = false;
            for (const std::string_view attribute :
                 row != nullptr ? row->attributes : std::initializer_list<std::string_view>{}) {
                known = known || attribute == name;
                meant = EqualNoCase(attribute, name) ? attribute : meant;
            }
            if (!known) {
                m_Context.Add(Severity::Warning, "unknown-attribute", &node,
                              "nobody reads the attribute " + Quoted(name),
                              meant.empty() ? "remove it" : "write " + std::string(meant));
            }
        }
    }

    const Context& m_Context;
    const PackageXml& m_Xml;
    std::vector<Role> m_Roles;
    bool m_bRegistryGroup = false;
    bool m_bFileGroup = false;
};

void CheckChoice(const Context& context, const Item& item, const char* attribute,
                 std::initializer_list<std::string_view> words, const char* meaning,
                 const char* advice) {
    if (!IsOneOf(item.Text(attribute), words)) {
        context.Warn(
            "unknown-word", item,
            std::string(attribute) + "=" + Quoted(item.Text(attribute)) + " means " + meaning,
            advice);
    }
}

void CheckBeyondAscii(const Context& context, const Item& item) {
    for (const auto& [name, value] : item.node->attributes) {
        const bool beyond = std::any_of(value.begin(), value.end(), [](char letter) {
            return static_cast<unsigned char>(letter) > 0x7fU;
        });
        if (beyond && name != "Id") {
            context.Warn("beyond-ascii", item,
                         name + "=" + Quoted(value) +
                             " has characters beyond ASCII: where the code page of the system is "
                             "not UTF-8, each becomes several others",
                         "keep to ASCII");
            return;
        }
    }
}

}  // namespace

void CheckStructure(const Context& context, const PackageXml& xml) {
    if (xml.nodes.empty()) {
        return;
    }
    if (xml.nodes[0].name != "Product") {
        context.Add(Severity::Error, "no-product", &xml.nodes[0],
                    "the outermost element is no Product: WyInstall returns 0xe00e0013",
                    "name it Product, letter by letter");
        return;
    }
    Structure(context, xml).Check();
}

void CheckWords(const Context& context, const Item& item) {
    const bool key = item.kind == ItemKind::RegistryKey;
    if (!item.Writes() && !item.Deletes()) {
        context.Error("unknown-action", item,
                      "Action=" + Quoted(item.Text("Action")) + ": the item does nothing",
                      key ? "write create or delete" : "write write or delete");
    }
    if (item.IsRegistry() && !IsOneOf(item.Text("Root"), {"HKLM", "HKCU"})) {
        context.Error("unknown-root", item,
                      "Root=" + Quoted(item.Text("Root")) +
                          " is no root: the registry refuses it, and the installation ends with "
                          "0xe00e0014",
                      "write HKLM or HKCU");
    }
    if (item.kind == ItemKind::RegistryValue && item.Writes() &&
        !IsOneOf(item.Text("Type"), {"string", "dword"})) {
        context.Error("unknown-type", item,
                      "Type=" + Quoted(item.Text("Type")) + ": the value is not written",
                      "write string or dword");
    }
    if (item.kind == ItemKind::RegistryValue) {
        CheckChoice(context, item, "AllAccess", {"", "yes", "no"}, "no",
                    "write yes, or remove the attribute");
    }
    if (!item.IsRegistry()) {
        CheckChoice(context, item, "Overwrite", {"", "yes", "no"}, "no",
                    "write yes, or remove the attribute");
    }
    if (!key) {
        CheckChoice(context, item, "Platform", {"", "win32", "x64"}, "both platforms",
                    "write win32 or x64, or remove the attribute");
    } else if (!item.Text("Platform").empty()) {
        context.Warn("platform-ignored", item,
                     "Platform has no effect on a RegistryKey: it is carried out everywhere",
                     "remove it; only the values below a key can be for one platform");
    }
    CheckBeyondAscii(context, item);
}

}  // namespace WyCtl::Lint
