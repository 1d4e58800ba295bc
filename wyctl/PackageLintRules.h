#pragma once

// The parts of LintPackage().

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "wyctl/PackageFiles.h"
#include "wyctl/PackageFindings.h"
#include "wyctl/PackageXml.h"

namespace WyCtl::Lint {

enum class ItemKind : std::uint8_t { RegistryKey, RegistryValue, Folder, File };

// An element that the deployment reads.
struct Item {
    ItemKind kind = ItemKind::File;
    const XmlNode* node = nullptr;

    bool IsRegistry() const {
        return kind == ItemKind::RegistryKey || kind == ItemKind::RegistryValue;
    }
    const std::string& Text(std::string_view attribute) const { return node->Value(attribute); }
    bool Is(std::string_view attribute, std::string_view word) const;
    // Whether the deployment does something with it.
    bool Writes() const;
    bool Deletes() const { return Is("Action", "delete"); }
};

struct Context {
    const LintInput& input;
    PackageFiles& files;
    LintReport& report;

    // `node` is null for the package as a whole.
    void Add(Severity severity, const char* id, const XmlNode* node, std::string what,
             std::string advice) const;
    void Error(const char* id, const Item& item, std::string what, std::string advice) const {
        Add(Severity::Error, id, item.node, std::move(what), std::move(advice));
    }
    void Warn(const char* id, const Item& item, std::string what, std::string advice) const {
        Add(Severity::Warning, id, item.node, std::move(what), std::move(advice));
    }
    // A folder of the package, by a relative name of the manifest; without a "\" at its end.
    std::wstring InPackage(std::string_view relative) const;
};

// ---- texts

// Without regard to the case of ASCII letters, as keywords are compared.
bool EqualNoCase(std::string_view a, std::string_view b);
bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> words);
// A text for a message: in quotes, cut when it is long.
std::string Quoted(std::string_view text);
// As the deployment reads it.
std::wstring Widened(std::string_view text);
// Upper case for ASCII letters.
std::string Folded(std::string_view text);
std::vector<std::string_view> Parts(std::string_view path);
// A path below a root with "." and ".." resolved, folded; parts that leave the root stay in front.
std::string TargetKey(std::string_view folder, std::string_view name);

// ---- rules

// Elements and attributes that nobody reads.
void CheckStructure(const Context& context, const PackageXml& xml);
// The words of an item that has a choice of them.
void CheckWords(const Context& context, const Item& item);
// Root, key, name and value of an item of the registry.
void CheckRegistry(const Context& context, const Item& item);
// The names of folders and files of an item.
void CheckPaths(const Context& context, const Item& item);
// What an item of files takes out of the package.
void CheckSource(const Context& context, const Item& item);
// Items that get into each other's way. They stand in the order in which they are carried out.
void CheckTargets(const Context& context, const std::vector<Item>& items);

}  // namespace WyCtl::Lint
