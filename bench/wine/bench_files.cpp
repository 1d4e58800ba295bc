// Copying and deleting a tree of 5 000 files beside a bare loop of the same platform calls.
//
//   bench_files [rounds]
//
// A round copies the tree with the library and with the bare loop, and deletes both copies, the
// order changing from round to round.

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Folders.h"
#include "wine/BareFiles.h"
#include "wine/PairedTimes.h"

namespace {

using bench::BareClearReadOnly;
using bench::Fail;
using bench::IsDots;
using bench::PairedTimes;

constexpr int kDefaultRounds = 5;
constexpr int kOuterFolders = 5;
constexpr int kInnerFolders = 10;
constexpr int kFilesPerFolder = 100;

void MakeTree(const std::wstring& root) {
    for (int outer = 0; outer < kOuterFolders; ++outer) {
        for (int inner = 0; inner < kInnerFolders; ++inner) {
            const std::wstring folder =
                root + L"\\outer" + std::to_wstring(outer) + L"\\inner" + std::to_wstring(inner);
            if (!WyCommon::Utility::CreateDirectories(folder))
                Fail(L"making a folder");
            bench::MakeFiles(folder, kFilesPerFolder);
        }
    }
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

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : kDefaultRounds;
    const std::wstring root = bench::TemporaryRoot();
    const std::wstring source = root + L"\\source\\";
    const std::wstring library = root + L"\\library\\";
    const std::wstring bare = root + L"\\bare\\";
    MakeTree(source);
    PairedTimes copies;
    PairedTimes deletions;
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
    constexpr int kFiles = kOuterFolders * kInnerFolders * kFilesPerFolder;
    copies.Print("copy", kFiles);
    deletions.Print("delete", kFiles);
    return 0;
}
