// Opens a session and ends without closing it. Exit code 0: the session was open.

#include <WySdk/WySdk.h>

#include "Common/KrCommon/KrComn_Windows.h"

int main() {
    HMODULE const library = LoadLibraryW(L"WySdk.dll");
    if (library == nullptr)
        return 1;
    const auto initialize = reinterpret_cast<decltype(&WyInitialize)>(
        reinterpret_cast<void*>(GetProcAddress(library, "WyInitialize")));
    return initialize != nullptr && initialize(L"abi-test-leaver") == WY_S_OK ? 0 : 2;
}
