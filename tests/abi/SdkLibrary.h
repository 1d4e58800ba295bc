#pragma once

// The built WySdk.dll as an application has it: loaded by name, functions found by name.

#include <WySdk/WySdk.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

// WySdk.dll, which lies beside the test program. Loaded with the first use, for the life of the
// process, on Wine with a limit to the endpoints that it really opens (SdkLibrary.cpp tells why). A
// library or function that is missing ends the program with a message.
class SdkLibrary {
public:
    static HMODULE Module();
    static void* Find(const char* name);

    // Endpoints that the library has opened so far; each stays open until the process ends.
    static int OpenEndpoints();

    // All names of the export table, sorted.
    static std::vector<std::string> ExportedNames();
};

// The function itself, with the type that the header gives it: SDK(WyUpdate)().
#define SDK(function) (reinterpret_cast<decltype(&(function))>(SdkLibrary::Find(#function)))

// A session for the length of a scope. `Code` is what WyInitialize answered.
class SdkSession {
public:
    explicit SdkSession(const wchar_t* name = L"abi-test") : m_uiCode(SDK(WyInitialize)(name)) {}
    SdkSession(const SdkSession&) = delete;
    SdkSession& operator=(const SdkSession&) = delete;
    ~SdkSession() { SDK(WyUninitialize)(); }

    std::uint32_t Code() const { return m_uiCode; }

private:
    std::uint32_t m_uiCode;
};

// Result codes of these tests that have no name in the public header.
namespace SdkCode {
constexpr std::uint32_t kNobodyListens = 0xe00106ba;  // 1722 of the RPC runtime
}  // namespace SdkCode
