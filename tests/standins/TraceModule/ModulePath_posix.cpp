#include <dlfcn.h>

#include "TraceModule/ModulePath.h"

std::string ModuleFolder() {
    Dl_info info = {};
    dladdr(reinterpret_cast<void*>(&ModuleFolder), &info);
    const std::string path = info.dli_fname;
    return path.substr(0, path.rfind('/') + 1);
}
