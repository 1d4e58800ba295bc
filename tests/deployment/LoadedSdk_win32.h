#pragma once

// The library as a set-up program of one identity loads it: from a folder with the service program
// of that identity beside it, for the length of a scope.

#include <WySdk/WySdk.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"

namespace deployment_test {

// Its pauses take a fortieth of their time, and its wait for the watchdog takes a tenth of a
// second. It takes the program `hostProgram` for the one that it runs in: what the library does to
// "its own" folder, where no product is registered, is not done to the folder of the test. One at a
// time.
class LoadedSdk {
public:
    // `path` is the whole path of the library; std::runtime_error where it cannot be loaded.
    LoadedSdk(const std::wstring& path, const std::wstring& hostProgram);
    LoadedSdk(const LoadedSdk&) = delete;
    LoadedSdk& operator=(const LoadedSdk&) = delete;
    ~LoadedSdk();

    HMODULE Module() const { return m_Library.handle; }

    struct Installed {
        std::uint32_t code = 0;
        std::wstring folder;
    };
    Installed Install(const std::wstring& package, const std::wstring& target) const;
    std::uint32_t PostInstall() const;
    std::uint32_t Uninstall() const;

    // The pauses that it wanted, in milliseconds.
    const std::vector<DWORD>& Pauses() const;

    // The processes that it has started, of all objects so far, until they are taken. A session
    // agent among them is up.
    static std::vector<HANDLE>& Started();

private:
    // Freed last.
    struct Library {
        explicit Library(const std::wstring& path);
        Library(const Library&) = delete;
        Library& operator=(const Library&) = delete;
        ~Library() { FreeLibrary(handle); }
        HMODULE handle;
    };

    std::uint32_t Call(const char* name) const;

    const Library m_Library;
    const test_support::IatPatch m_Sleep;
    const test_support::IatPatch m_Wait;
    const test_support::IatPatch m_Endpoint;
    const test_support::IatPatch m_ModuleName;
    const test_support::IatPatch m_Start;
};

// The product number and vendor of all installs.
inline constexpr wchar_t kProductNumber[] = L"c11t1100v1.1.0l1p1r1o1";
inline constexpr wchar_t kVendorNumber[] = L"7";

}  // namespace deployment_test
