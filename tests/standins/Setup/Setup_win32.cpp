// Stands in for a set-up program: loads the library as a set-up program does, and has it install,
// finish or remove the product.
//
//   Setup.exe [install | postinstall | uninstall]... [OPTION...]
//     --library FILE   the library; without it, that of the package in which this program lies
//                      ("x64\foundation\WySdk.dll", as a 32-bit program "win32\..."), or the one
//                      beside it
//     --package DIR    the package; without it, the folder of this program
//     --target DIR     where to install; may be left out, and then it is empty
//     --product ID     product number ("c11t1100v1.1.0l1p1r1o1")
//     --vendor ID      vendor number ("7")
//     --record FILE    where to write what came of it; without it, see Record_win32.h
//     --short-pauses   the library's calls of Sleep take a fortieth of their time
//
// What is asked is done in the order of the command line, each thing only if the one before it has
// not failed. Each writes a line: "install 0x20ff0000", "postinstall 0x20ff0000"; behind an install
// follows "installed in <folder>", the folder that the library gave back. "no library 126" tells
// that it could not be loaded. The exit code is 0 when all was done and 1 when something failed, 2
// for another command line.
//
// The library deletes what it takes for the product's folder. Where no product is registered that
// is the folder of the running program: a set-up that may come to uninstall belongs into a folder
// that may go.

#include <cstdint>
#include <string>
#include <vector>

#include "Record_win32.h"
#include "support/IatPatch.h"

#include <WySdk/WySdk.h>

namespace {

struct Options {
    std::vector<std::wstring> actions;
    std::wstring library;
    std::wstring package;
    std::wstring target;
    std::wstring product = L"c11t1100v1.1.0l1p1r1o1";
    std::wstring vendor = L"7";
    std::wstring record;
    bool shortPauses = false;
};

bool IsAction(const std::wstring& text) {
    return text == L"install" || text == L"postinstall" || text == L"uninstall";
}

// Where the value of an option goes; null for one that there is not.
std::wstring* ValueOf(const std::wstring& name, Options& options) {
    if (name == L"--library")
        return &options.library;
    if (name == L"--package")
        return &options.package;
    if (name == L"--target")
        return &options.target;
    if (name == L"--product")
        return &options.product;
    if (name == L"--vendor")
        return &options.vendor;
    return name == L"--record" ? &options.record : nullptr;
}

// False for a command line that is not understood.
bool Read(int count, wchar_t** arguments, Options& options) {
    for (int i = 1; i < count; ++i) {
        const std::wstring name = arguments[i];
        std::wstring* const value = ValueOf(name, options);
        if (IsAction(name)) {
            options.actions.push_back(name);
        } else if (name == L"--short-pauses") {
            options.shortPauses = true;
        } else if (value != nullptr && i + 1 < count) {
            *value = arguments[++i];
        } else {
            return false;
        }
    }
    return !options.actions.empty();
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring OwnLibrary() {
    const std::wstring platform = sizeof(void*) == 8 ? L"x64" : L"win32";
    const std::wstring inPackage = OwnFolder() + platform + L"\\foundation\\WySdk.dll";
    return Exists(inPackage) ? inPackage : OwnFolder() + L"WySdk.dll";
}

void WINAPI ShortPause(DWORD milliseconds) {
    Sleep(milliseconds / 40);
}

// Under Wine nobody could query, and so end, a process that the library has started: the right to
// do so includes one there that its attributes do not grant. Windows grants it with the other.
BOOL WINAPI StartForAll(LPCWSTR application, LPWSTR line, LPSECURITY_ATTRIBUTES,
                        LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                        LPCWSTR folder, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION out) {
    return CreateProcessW(application, line, nullptr, thread, inherit, flags, environment, folder,
                          startup, out);
}

bool RunsUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// The functions of the library; null where it does not export one.
class Library {
public:
    Library(const std::wstring& path, bool shortPauses) : m_hModule(LoadLibraryW(path.c_str())) {
        // For the life of the process, as the library.
        if (m_hModule != nullptr && RunsUnderWine()) {
            static const test_support::IatPatch s_Start(m_hModule, "kernel32.dll", "CreateProcessW",
                                                        StartForAll);
        }
        if (m_hModule != nullptr && shortPauses) {
            static const test_support::IatPatch s_Patch(m_hModule, "kernel32.dll", "Sleep",
                                                        ShortPause);
        }
    }

    bool IsThere() const { return m_hModule != nullptr; }

    template <class Function>
    Function* Find(const char* name) const {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(m_hModule, name)));
    }

private:
    const HMODULE m_hModule;
};

std::uint32_t Install(const Library& library, const Options& options) {
    auto* const install = library.Find<decltype(WyInstall)>("WyInstall");
    wchar_t* folder = nullptr;
    const std::uint32_t code = install(options.product.c_str(), options.vendor.c_str(),
                                       options.package.c_str(), options.target.c_str(), &folder);
    wchar_t line[32];
    swprintf(line, 32, L"install 0x%08x", code);
    Note(options.record, line);
    Note(options.record, std::wstring(L"installed in ") + (folder != nullptr ? folder : L"?"));
    LocalFree(folder);
    return code;
}

std::uint32_t Finish(const Library& library, const std::wstring& action, const Options& options) {
    const char* const name = action == L"uninstall" ? "WyUninstall" : "WyPostInstall";
    const std::uint32_t code = library.Find<decltype(WyUninstall)>(name)();
    wchar_t line[32];
    swprintf(line, 32, L"%ls 0x%08x", action.c_str(), code);
    Note(options.record, line);
    return code;
}

int Run(Options& options) {
    if (options.library.empty())
        options.library = OwnLibrary();
    if (options.package.empty())
        options.package = OwnFolder();
    if (options.record.empty())
        options.record = RecordPath();
    const Library library(options.library, options.shortPauses);
    if (!library.IsThere()) {
        Note(options.record, L"no library " + std::to_wstring(GetLastError()));
        return 1;
    }
    for (const std::wstring& action : options.actions) {
        const std::uint32_t code =
            action == L"install" ? Install(library, options) : Finish(library, action, options);
        if (static_cast<std::int32_t>(code) < 0)
            return 1;
    }
    return 0;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    Options options;
    return Read(count, arguments, options) ? Run(options) : 2;
}
