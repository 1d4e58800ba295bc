// Stands in for the library whose function the launcher calls: writes its parameters, in UTF-8, to
// the file whose path is that of the library with ".called.txt".

#include <cstdio>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

extern "C" __declspec(dllexport) void ForceKillProcessWrapper(const wchar_t* params) {
    HMODULE module = nullptr;
    wchar_t path[MAX_PATH] = L"";
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const wchar_t*>(&ForceKillProcessWrapper), &module);
    GetModuleFileNameW(module, path, MAX_PATH);
    std::FILE* const file = _wfopen((std::wstring(path) + L".called.txt").c_str(), L"wb");
    if (file == nullptr)
        return;
    std::fputs(KrCommon::String::ToUtf8(params).c_str(), file);
    std::fclose(file);
}
