// Copying and deleting a tree of 5 000 files beside a bare loop of the same platform calls.
//
//   bench_files [rounds]
//
// A round copies the tree with the library and with the bare loop, and deletes both copies, the
// order changing from round to round.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Folders.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kDefaultRounds = 5;
constexpr int kOuterFolders = 5;
constexpr int kInnerFolders = 10;
constexpr int kFilesPerFolder = 100;
constexpr DWORD kFileSize = 2048;

[[noreturn]] void Fail(const wchar_t* what) {
    std::fprintf(stderr, "bench_files: %ls failed, error %lu\n", what, GetLastError());
    std::exit(1);
}

void MakeFile(const std::wstring& path) {
    static const std::vector<char> content(kFileSize, 'x');
    HANDLE const file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    if (file == INVALID_HANDLE_VALUE ||
        WriteFile(file, content.data(), kFileSize, &written, nullptr) == 0)
        Fail(L"making a file");
    CloseHandle(file);
}

void MakeTree(const std::wstring& root) {
    for (int outer = 0; outer < kOuterFolders; ++outer) {
        for (int inner = 0; inner < kInnerFolders; ++inner) {
            const std::wstring folder =
                root + L"\\outer" + std::to_wstring(outer) + L"\\inner" + std::to_wstring(inner);
            if (!WyCommon::Utility::CreateDirectories(folder))
                Fail(L"making a folder");
            for (int file = 0; file < kFilesPerFolder; ++file)
                MakeFile(folder + L"\\file" + std::to_wstring(file) + L".dat");
        }
    }
}

bool IsDots(const WIN32_FIND_DATAW& entry) {
    return std::wcscmp(entry.cFileName, L".") == 0 || std::wcscmp(entry.cFileName, L"..") == 0;
}

void BareClearReadOnly(const std::wstring& path) {
    SetFileAttributesW(path.c_str(),
                       GetFileAttributesW(path.c_str()) & ~DWORD{FILE_ATTRIBUTE_READONLY});
}

// The platform calls that a copy needs, and nothing else. The paths end in "\".
void BareCopy(const std::wstring& source, const std::wstring& target) {
    if (CreateDirectoryW(target.c_str(), nullptr) == 0)
        Fail(L"the bare CreateDirectoryW");
    WIN32_FIND_DATAW entry;
    HANDLE const find = FindFirstFileW((source + L"*.*").c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        Fail(L"the bare FindFirstFileW");
    do {
        const std::wstring from = source + entry.cFileName;
        const std::wstring to = target + entry.cFileName;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            if (CopyFileW(from.c_str(), to.c_str(), FALSE) == 0)
                Fail(L"the bare CopyFileW");
            BareClearReadOnly(to);
        } else if (!IsDots(entry)) {
            BareCopy(from + L'\\', to + L'\\');
        }
    } while (FindNextFileW(find, &entry) != 0);
    FindClose(find);
}

void BareDelete(const std::wstring& folder) {
    WIN32_FIND_DATAW entry;
    HANDLE const find = FindFirstFileW((folder + L'*').c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        Fail(L"the bare FindFirstFileW");
    do {
        if (IsDots(entry))
            continue;
        const std::wstring path = folder + entry.cFileName;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            BareClearReadOnly(path);
            if (DeleteFileW(path.c_str()) == 0)
                Fail(L"the bare DeleteFileW");
        } else {
            BareDelete(path + L'\\');
            BareClearReadOnly(path);
            if (RemoveDirectoryW(path.c_str()) == 0)
                Fail(L"the bare RemoveDirectoryW");
        }
    } while (FindNextFileW(find, &entry) != 0);
    FindClose(find);
}

void LibraryCopy(const std::wstring& source, const std::wstring& target) {
    if (!WyCommon::Utility::CopyDirectory(source, target, false))
        Fail(L"CopyDirectory");
}

void LibraryDelete(const std::wstring& folder) {
    bool rebootNeeded = false;
    if (!KrCommon::Storage::File::DeleteAllFiles(folder, rebootNeeded, nullptr) || rebootNeeded)
        Fail(L"DeleteAllFiles");
}

template <class Function>
double Milliseconds(Function function) {
    const auto begin = Clock::now();
    function();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double Quantile(std::vector<double> values, double quantile) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(static_cast<double>(values.size() - 1) * quantile)];
}

// Times of the same work by the library and by the bare loop, one pair for each round.
class Pairs {
public:
    template <class Library, class Bare>
    void Measure(bool libraryFirst, Library library, Bare bare) {
        if (libraryFirst)
            m_Library.push_back(Milliseconds(library));
        m_Bare.push_back(Milliseconds(bare));
        if (!libraryFirst)
            m_Library.push_back(Milliseconds(library));
        m_Ratios.push_back(m_Library.back() / m_Bare.back());
    }

    void Print(const char* what) const {
        std::printf(
            "%s files=%d library_ms=%.1f bare_ms=%.1f ratio=%.3f ratio_p25=%.3f "
            "ratio_p75=%.3f\n",
            what, kOuterFolders * kInnerFolders * kFilesPerFolder, Quantile(m_Library, 0.5),
            Quantile(m_Bare, 0.5), Quantile(m_Library, 0.5) / Quantile(m_Bare, 0.5),
            Quantile(m_Ratios, 0.25), Quantile(m_Ratios, 0.75));
    }

private:
    std::vector<double> m_Library;
    std::vector<double> m_Bare;
    std::vector<double> m_Ratios;
};

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : kDefaultRounds;
    wchar_t temporary[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temporary);
    const std::wstring root =
        std::wstring(temporary) + L"wy_bench_" + std::to_wstring(GetCurrentProcessId());
    const std::wstring source = root + L"\\source\\";
    const std::wstring library = root + L"\\library\\";
    const std::wstring bare = root + L"\\bare\\";
    MakeTree(source);
    Pairs copies;
    Pairs deletions;
    for (int round = 0; round < rounds; ++round) {
        const bool libraryFirst = round % 2 == 0;
        copies.Measure(
            libraryFirst, [&] { LibraryCopy(source, library); }, [&] { BareCopy(source, bare); });
        deletions.Measure(
            libraryFirst, [&] { LibraryDelete(library); }, [&] { BareDelete(bare); });
        RemoveDirectoryW(library.c_str());
        RemoveDirectoryW(bare.c_str());
    }
    LibraryDelete(root);
    RemoveDirectoryW(root.c_str());
    copies.Print("copy");
    deletions.Print("delete");
    return 0;
}
