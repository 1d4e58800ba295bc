#pragma once

// What is wrong with a package before anyone installs it.
//
// The deployment passes over what it does not know, and takes a manifest at its word: an item with
// a slip of the pen does nothing, and one that names too much does too much. Here each such place
// is named. An error is what fails an installation, does nothing where something was meant, or
// reaches beyond the product; all else is a warning.

#include <cstddef>
#include <string_view>
#include <vector>

#include "wyctl/PackageFiles.h"
#include "wyctl/PackageFindings.h"
#include "wyctl/PackageXml.h"

namespace WyCtl {

// `xml` is the package's InstCfg.xml. Raises std::bad_alloc alone.
LintReport LintPackage(const LintInput& input, const PackageXml& xml, PackageFiles& files);

// The positions of the items that the deployment reads, in the order of the document. `group` is
// "RegistryGroup" or "FileGroup".
std::vector<std::size_t> ItemsOf(const PackageXml& xml, std::string_view group,
                                 std::string_view element);

}  // namespace WyCtl
