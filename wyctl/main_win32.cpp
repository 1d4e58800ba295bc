#include "Common/KrCommon/KrComn_Windows.h"

#include <shellapi.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/ConsoleTerminal_win32.h"
#include "wyctl/Program.h"

namespace {

// The wide command line, since main()'s own arguments have lost what the code page cannot express.
std::vector<std::string> Arguments() {
    std::vector<std::string> arguments;
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; wide != nullptr && i < count; ++i) {
        arguments.push_back(KrCommon::String::ToUtf8(wide[i]));
    }
    LocalFree(wide);
    return arguments;
}

}  // namespace

int main() {
    WyCtl::ConsoleTerminal terminal;
    return WyCtl::RunProgram(Arguments(), terminal, WyCtl::LoadSdkLibrary);
}
