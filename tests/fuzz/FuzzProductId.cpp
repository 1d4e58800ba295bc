// Reads a product identifier, writes it, and reads it again: the fields are the same ones.

#include <string>
#include <vector>

#include "FuzzInput.h"
#include "Tool/UpdateAgent/luxWrapper.h"

namespace {

bool Same(const UpdateComponent& a, const UpdateComponent& b) {
    return a.iClass == b.iClass && a.iType == b.iType && a.strVersion == b.strVersion &&
           a.iLanguage == b.iLanguage && a.iRegion == b.iRegion && a.iPlatform == b.iPlatform &&
           a.iOem == b.iOem;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text(data, data + size);
    UpdateComponent component;
    if (CLuxWrapper::ConvertProductID(text, component) != 0x20ff0000)
        return 0;
    std::wstring written;
    fuzz::Require(CLuxWrapper::ConvertProductID(component, written) == 0x20ff0000, "not written");
    UpdateComponent again;
    fuzz::Require(CLuxWrapper::ConvertProductID(written, again) == 0x20ff0000, "not read again");
    fuzz::Require(Same(component, again), "other fields");
    return 0;
}
