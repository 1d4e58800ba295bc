#pragma once

// Stand-ins for functions that the program under test finds at run time.

#include <map>
#include <set>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"

namespace wycommon_test {

// Stands between this program and LoadLibraryW, GetProcAddress and FreeLibrary while it lives; one
// at a time.
//
// The tests call the functions they replace through their own import table, which is not touched.
class Lookups {
public:
    Lookups()
        : m_Load(Program(), "kernel32.dll", "LoadLibraryW", Load),
          m_Find(Program(), "kernel32.dll", "GetProcAddress", Find),
          m_Free(Program(), "kernel32.dll", "FreeLibrary", Free) {
        s_pLookups = this;
    }
    Lookups(const Lookups&) = delete;
    Lookups& operator=(const Lookups&) = delete;
    ~Lookups() { s_pLookups = nullptr; }

    // The function is found under this name.
    template <class Function>
    void Give(const char* name, Function* function) {
        m_Given[name] = reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
    }
    // No module has the function: code 127.
    void Hide(const char* name) { m_Given[name] = nullptr; }
    // As without Give() and Hide().
    void Forget(const char* name) { m_Given.erase(name); }
    // The module cannot be loaded.
    void HideModule(const wchar_t* name, DWORD error) { m_Hidden[name] = error; }

    // Modules that were loaded and not freed.
    int LeftLoaded() const { return m_iLoaded; }

private:
    static HMODULE Program() { return GetModuleHandleW(nullptr); }

    static HMODULE WINAPI Load(LPCWSTR name) {
        const auto hidden = s_pLookups->m_Hidden.find(name);
        if (hidden != s_pLookups->m_Hidden.end()) {
            SetLastError(hidden->second);
            return nullptr;
        }
        const HMODULE module = s_pLookups->m_Load.Original<HMODULE WINAPI(LPCWSTR)>()(name);
        s_pLookups->m_iLoaded += module != nullptr;
        return module;
    }
    static FARPROC WINAPI Find(HMODULE module, LPCSTR name) {
        const auto given = s_pLookups->m_Given.find(name);
        if (given == s_pLookups->m_Given.end())
            return s_pLookups->m_Find.Original<FARPROC WINAPI(HMODULE, LPCSTR)>()(module, name);
        if (given->second == nullptr)
            SetLastError(ERROR_PROC_NOT_FOUND);
        return given->second;
    }
    static BOOL WINAPI Free(HMODULE module) {
        const BOOL freed = s_pLookups->m_Free.Original<BOOL WINAPI(HMODULE)>()(module);
        s_pLookups->m_iLoaded -= freed != 0;
        return freed;
    }

    inline static Lookups* s_pLookups = nullptr;

    std::map<std::string, FARPROC> m_Given;
    std::map<std::wstring, DWORD> m_Hidden;
    int m_iLoaded = 0;
    test_support::IatPatch m_Load;
    test_support::IatPatch m_Find;
    test_support::IatPatch m_Free;
};

}  // namespace wycommon_test
