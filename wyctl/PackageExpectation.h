#pragma once

// What a machine looks like on which a package was carried out, and nothing else was. For Windows
// builds alone.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "wyctl/FolderTree.h"
#include "wyctl/PackageFolder.h"

namespace WyCtl {

// A key is written with its root: "HKLM\SOFTWARE\...". The keys and values are those of the
// product's view (KrComn_Reg.h), but for keys that are deleted, which are those of this process.
struct Expectation {
    // Who may replace a file of the package afterwards: see CWyDeployer.
    struct File {
        std::wstring source;
        bool overwrite = false;
        // The files whose versions decide: those of a folder's key module, or the file itself.
        std::wstring versionSource;
        std::wstring versionTarget;
    };
    struct Value {
        bool isNumber = false;
        std::uint32_t number = 0;
        std::wstring text;
    };
    struct ValueOrder {
        using Name = std::pair<std::wstring, std::wstring>;  // key and name
        bool operator()(const Name& left, const Name& right) const;
    };

    std::map<std::wstring, File, PathOrder> files;  // by their whole paths
    std::set<std::wstring, PathOrder> folders;
    std::set<std::wstring, PathOrder> goneFiles;  // files and folders
    std::set<std::wstring, PathOrder> keys;
    std::set<std::wstring, PathOrder> goneKeys;
    std::map<ValueOrder::Name, Value, ValueOrder> values;
    std::set<ValueOrder::Name, ValueOrder> goneValues;
};

// Has the library carry the package out on a machine that only notes it. `external` is the folder
// of the external tools. Raises Failure for a folder of the package that cannot be listed.
Expectation ExpectFrom(const PackageFolder& package, const std::wstring& installDir,
                       const std::wstring& external);

}  // namespace WyCtl
