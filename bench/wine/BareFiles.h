#pragma once

// What the benchmarks of files have in common: the files, and small parts of the bare loops.

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace bench {

[[noreturn]] inline void Fail(const wchar_t* what) {
    std::fprintf(stderr, "%ls failed, error %lu\n", what, GetLastError());
    std::exit(1);
}

// `count` files of 2 KiB.
inline void MakeFiles(const std::wstring& folder, int count) {
    static const std::vector<char> content(2048, 'x');
    for (int number = 0; number < count; ++number) {
        const std::wstring path = folder + L"\\file" + std::to_wstring(number) + L".dat";
        HANDLE const file =
            CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        if (file == INVALID_HANDLE_VALUE ||
            WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written,
                      nullptr) == 0) {
            Fail(L"making a file");
        }
        CloseHandle(file);
    }
}

// A folder that no other run has; it is not made here.
inline std::wstring TemporaryRoot() {
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    return std::wstring(folder) + L"wy_bench_" + std::to_wstring(GetCurrentProcessId());
}

inline bool IsDots(const WIN32_FIND_DATAW& entry) {
    return std::wcscmp(entry.cFileName, L".") == 0 || std::wcscmp(entry.cFileName, L"..") == 0;
}

inline void BareClearReadOnly(const std::wstring& path) {
    SetFileAttributesW(path.c_str(),
                       GetFileAttributesW(path.c_str()) & ~DWORD{FILE_ATTRIBUTE_READONLY});
}

}  // namespace bench
