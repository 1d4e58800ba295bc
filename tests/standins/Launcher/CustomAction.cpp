// Stands in for the library whose function the launcher calls: writes its parameters, in UTF-8, to
// the file "called.txt" beside itself.

#include <cstdio>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "TraceModule/ModulePath.h"

extern "C" __declspec(dllexport) void ForceKillProcessWrapper(const wchar_t* params) {
    std::FILE* const file = std::fopen((ModuleFolder() + "called.txt").c_str(), "wb");
    if (file == nullptr)
        return;
    std::fputs(KrCommon::String::ToUtf8(params).c_str(), file);
    std::fclose(file);
}
