// Stands in for the trace module: writes down, in UTF-8 and beside itself, what it is called with.
//
// File "calls.txt": one line per call, "initialize" with the fields of the record, "trace" with
// the line, "uninitialize". A file "refuse" beside the module makes the initialisation fail, a file
// "no-session" makes it succeed without a session.

#include <cstdio>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "WySdk/SdkLogContract.h"

namespace {

HMODULE s_hModule = nullptr;
int s_Session = 0;

std::wstring Beside(const wchar_t* name) {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(s_hModule, path, MAX_PATH);
    std::wstring folder(KrCommon::String::RemoveFileName(path));
    KrCommon::String::AppendSeparator(folder);
    return folder + name;
}

bool IsBeside(const wchar_t* name) {
    return GetFileAttributesW(Beside(name).c_str()) != INVALID_FILE_ATTRIBUTES;
}

void Note(const std::wstring& text) {
    std::FILE* file = _wfopen(Beside(L"calls.txt").c_str(), L"ab");
    if (file == nullptr)
        return;
    const std::string bytes = KrCommon::String::ToUtf8(text) + "\n";
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

std::wstring Field(const wchar_t* name, const std::wstring& value) {
    return std::wstring(L" ") + name + L"=[" + value + L"]";
}

}  // namespace

extern "C" {

__declspec(dllexport) int KrDbgInitialize(void** session, const KrDbgConfig* config) {
    Note(L"initialize" + Field(L"service", std::to_wstring(config->bServiceSession)) +
         Field(L"robust", std::to_wstring(config->bRobust)) +
         Field(L"debugger", std::to_wstring(config->bDebugger)) +
         Field(L"year", std::to_wstring(config->stInitialized.wYear)) +
         Field(L"process", std::to_wstring(config->uiLogProcess)) +
         Field(L"unit", std::to_wstring(config->uiLogUnitType)) +
         Field(L"module", config->szModuleName) + Field(L"folder", config->szLogFolder) +
         Field(L"prefix", config->szLogPrefix) + Field(L"file", config->szLogFile) +
         Field(L"extension", config->szLogExtension));
    if (IsBeside(L"refuse")) {
        *session = &s_Session;
        return 5;
    }
    *session = IsBeside(L"no-session") ? nullptr : &s_Session;
    return 0;
}

__declspec(dllexport) int KrDbgTrace(void* session, const SYSTEMTIME* time, const wchar_t* line) {
    Note(L"trace " + std::to_wstring(session == &s_Session) + L" " + std::to_wstring(time->wYear) +
         L" " + line);
    return 0;
}

__declspec(dllexport) int KrDbgUninitialize(void* session) {
    Note(L"uninitialize " + std::to_wstring(session == &s_Session));
    return 0;
}

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH)
        s_hModule = module;
    return TRUE;
}
}
