#include <fmt/format.h>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "wyctl/Errors.h"
#include "wyctl/SdkLibrary.h"

namespace WyCtl {

namespace {

class LoadedLibrary : public SdkLibrary {
public:
    // The module is never freed: threads of the RPC runtime and of a session that was closed a
    // moment ago may still be on their way out of it.
    explicit LoadedLibrary(HMODULE module) : m_hModule(module) {}

    ExportAddress FindExport(const std::string& name) const override {
        return reinterpret_cast<ExportAddress>(
            reinterpret_cast<void*>(GetProcAddress(m_hModule, name.c_str())));
    }

    TextRelease Release() const override {
        return [](wchar_t* text) { LocalFree(text); };
    }

private:
    HMODULE m_hModule;
};

}  // namespace

std::unique_ptr<SdkLibrary> LoadSdkLibrary(const std::string& path) {
    const HMODULE module = LoadLibraryW(KrCommon::String::FromUtf8(path).c_str());
    if (module == nullptr) {
        throw Failure(fmt::format("cannot load {} (system error {})", path, GetLastError()));
    }
    return std::make_unique<LoadedLibrary>(module);
}

}  // namespace WyCtl
