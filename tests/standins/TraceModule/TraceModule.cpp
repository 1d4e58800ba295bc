// Stands in for the trace module: writes down, in UTF-8 and beside itself, what it is called with.
//
// File "calls.txt": one line per call, "initialize" with the fields of the record, "trace" with
// the line, "uninitialize". File "config.bin": the record of the last initialisation as it came.
// A file "refuse" beside the module makes the initialisation fail, "no-session" makes it succeed
// without a session, "refuse-lines" makes the trace fail.

#include <cstdio>
#include <string>

#include "Common/KrCommon/KrComn_LogContract.h"
#include "Common/KrCommon/KrComn_String.h"
#include "TraceModule/ModulePath.h"

namespace {

int s_Session = 0;

std::FILE* OpenBeside(const char* name, const char* mode) {
    return std::fopen((ModuleFolder() + name).c_str(), mode);
}

bool IsBeside(const char* name) {
    std::FILE* file = OpenBeside(name, "rb");
    if (file == nullptr)
        return false;
    std::fclose(file);
    return true;
}

void Write(const char* name, const char* mode, const void* bytes, std::size_t size) {
    std::FILE* file = OpenBeside(name, mode);
    if (file == nullptr)
        return;
    std::fwrite(bytes, 1, size, file);
    std::fclose(file);
}

void Note(const std::string& text) {
    const std::string line = text + "\n";
    Write("calls.txt", "ab", line.data(), line.size());
}

std::string Field(const char* name, std::uint32_t value) {
    return std::string(" ") + name + "=[" + std::to_string(value) + "]";
}

std::string Field(const char* name, const char16_t* value) {
    std::wstring text;
    while (*value != 0) {
        text += static_cast<wchar_t>(*value++);
    }
    return std::string(" ") + name + "=[" + KrCommon::String::ToUtf8(text) + "]";
}

}  // namespace

#ifdef _WIN32
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED [[gnu::visibility("default")]]
#endif

extern "C" {

EXPORTED int KrDbgInitialize(void** session, const KrDbgConfig* config) {
    Write("config.bin", "wb", config, sizeof *config);
    Note("initialize" + Field("service", config->bServiceSession) +
         Field("robust", config->bRobust) + Field("debugger", config->bDebugger) +
         Field("year", config->stInitialized.uiYear) + Field("process", config->uiLogProcess) +
         Field("unit", config->uiLogUnitType) + Field("module", config->szModuleName) +
         Field("folder", config->szLogFolder) + Field("prefix", config->szLogPrefix) +
         Field("file", config->szLogFile) + Field("extension", config->szLogExtension));
    if (IsBeside("refuse")) {
        *session = &s_Session;
        return 5;
    }
    *session = IsBeside("no-session") ? nullptr : &s_Session;
    return 0;
}

#ifndef WITHOUT_TRACE
EXPORTED int KrDbgTrace(void* session, const KrDbgTime* time, const wchar_t* line) {
    Note("trace " + std::to_string(session == &s_Session) + " " + std::to_string(time->uiYear) +
         " " + KrCommon::String::ToUtf8(line));
    return IsBeside("refuse-lines") ? 1 : 0;
}
#endif

EXPORTED int KrDbgUninitialize(void* session) {
    Note("uninitialize " + std::to_string(session == &s_Session));
    return 0;
}
}
