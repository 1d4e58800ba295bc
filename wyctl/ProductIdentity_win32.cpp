#include "utilMode/ExternalDllMode.h"
#include "wyctl/ProductIdentity.h"

namespace WyCtl {

void AdoptLibraryIdentity(Context& context) {
    if (context.LibraryIsLoadable()) {
        const Frwk::Mode::ExternalDllMode decision(L"WySdk.dll", L"WySvcHost.exe");
    }
}

}  // namespace WyCtl
