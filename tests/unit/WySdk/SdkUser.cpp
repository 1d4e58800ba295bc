// Loads the library and ends without giving it back. Exit code 0: the library could be loaded.

#include "Common/KrCommon/KrComn_Windows.h"

int main() {
    return LoadLibraryW(L"WySdk.dll") != nullptr ? 0 : 1;
}
