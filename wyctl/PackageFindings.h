#pragma once

// What the linter of packages is given, and what it tells.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

}  // namespace WyCtl
