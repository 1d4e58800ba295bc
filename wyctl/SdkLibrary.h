#pragma once

// The library as an application sees it: loaded at run time, functions found by name.

#include <memory>
#include <string>

#include "wyctl/SdkCall.h"

namespace WyCtl {

class SdkLibrary {
public:
    SdkLibrary() = default;
    SdkLibrary(const SdkLibrary&) = delete;
    SdkLibrary& operator=(const SdkLibrary&) = delete;
    virtual ~SdkLibrary() = default;

    // Null when the library has no export of this name (GetProcAddress).
    virtual ExportAddress FindExport(const std::string& name) const = 0;
    // What releases the strings of this library's exports.
    virtual TextRelease Release() const = 0;
};

// Loads the library (LoadLibraryW) for the rest of the process; `path` is UTF-8. Raises Failure.
std::unique_ptr<SdkLibrary> LoadSdkLibrary(const std::string& path);

}  // namespace WyCtl
