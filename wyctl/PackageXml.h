#pragma once

// A package's manifest as it is written: every element with its attributes and its line, also what
// the deployment passes over.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace WyCtl {

// Texts are UTF-8.
struct XmlNode {
    static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

    std::string name;
    std::size_t parent = kNoParent;  // a position in the list
    std::int32_t line = 0;           // of the start tag, from 1
    std::vector<std::pair<std::string, std::string>> attributes;

    bool Has(std::string_view attribute) const;
    // Empty when there is no such attribute.
    const std::string& Value(std::string_view attribute) const;
};

// Why a manifest could not be read to its end.
struct XmlFault {
    std::uint32_t code = 0;  // of the system; 13 for a faulty document
    std::int32_t line = 0;   // of the fault in the document, else 0
    std::int32_t column = 0;
    std::string words;  // of the XML library; empty for other failures
};

struct PackageXml {
    std::vector<XmlNode> nodes;  // in the order of their start tags, as far as they were read
    std::optional<XmlFault> fault;
};

// Reads a file with the XML library in a folder. Never take the library of a package for that: it
// would be run by a look at the package. Raises std::bad_alloc alone.
PackageXml ReadPackageXml(const std::wstring& folderOfLibrary, const std::wstring& path);

}  // namespace WyCtl
