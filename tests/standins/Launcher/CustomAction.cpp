// Stands in for the library whose function the launcher calls: writes its parameters, in UTF-8, to
// the file "called.txt" beside itself, and ends every program of the product that is registered
// for the identity of the calling program. Without such a product it ends nothing.

#include <cstdio>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "TraceModule/ModulePath.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_Process.h"

extern "C" __declspec(dllexport) void ForceKillProcessWrapper(const wchar_t* params) {
    std::FILE* const file = std::fopen((ModuleFolder() + "called.txt").c_str(), "wb");
    if (file == nullptr)
        return;
    std::fputs(KrCommon::String::ToUtf8(params).c_str(), file);
    std::fclose(file);
    const std::wstring product = WyCommon::Utility::GetProductPath();
    if (!product.empty())
        WyCommon::Utility::ForceTerminateModule(product, params);
}
