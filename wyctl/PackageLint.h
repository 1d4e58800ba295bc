#pragma once

// What is wrong with a package before anyone installs it.
//
// The deployment passes over what it does not know, and takes a manifest at its word: an item with
// a slip of the pen does nothing, and one that names too much does too much. Here each such place
// is named. An error is what fails an installation, does nothing where something was meant, or
// reaches beyond the product; all else is a warning.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "wyctl/PackageFiles.h"
#include "wyctl/PackageXml.h"

namespace WyCtl {

enum class Severity : std::uint8_t { Warning, Error };

// Texts are UTF-8.
struct Finding {
    Severity severity = Severity::Error;
    std::string id;         // stable: "missing-source"
    std::string element;    // "File"; empty for the package as a whole
    std::string item;       // the Id of the element
    std::int32_t line = 0;  // in InstCfg.xml; 0 for the package as a whole
    std::string what;       // is wrong
    std::string advice;     // what to do
};

struct LintInput {
    std::wstring packageDir;         // with or without a "\" at its end
    std::wstring productId;          // what WyUninstall removes goes by it
    std::optional<std::wstring> os;  // [Check] OS of Setup.ini, where the check is switched on
};

struct LintReport {
    std::vector<Finding> findings;  // of the package first, then by lines
    std::size_t items = 0;          // that the deployment reads

    std::size_t Errors() const;
};

// `xml` is the package's InstCfg.xml. Raises std::bad_alloc alone.
LintReport LintPackage(const LintInput& input, const PackageXml& xml, PackageFiles& files);

// The positions of the items that the deployment reads, in the order of the document. `group` is
// "RegistryGroup" or "FileGroup".
std::vector<std::size_t> ItemsOf(const PackageXml& xml, std::string_view group,
                                 std::string_view element);

}  // namespace WyCtl
