#include "TraceModule/ModulePath.h"

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

std::string ModuleFolder() {
    HMODULE module = nullptr;
    wchar_t path[MAX_PATH] = L"";
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const wchar_t*>(&ModuleFolder), &module);
    GetModuleFileNameW(module, path, MAX_PATH);
    std::wstring folder(KrCommon::String::RemoveFileName(path));
    KrCommon::String::AppendSeparator(folder);
    return KrCommon::String::ToUtf8(folder);
}
