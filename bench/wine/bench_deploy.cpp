// Deploying 5 000 files in 200 folders beside a bare loop of the same platform calls.
//
//   bench_deploy [rounds]
//
// Half of the files come by items that copy a folder with all that is in it, half by items with a
// pattern. A round deploys the package into an empty folder with the library and with the bare
// loop, the order changing from round to round, and deletes both results. The reading of the
// manifest counts. No log is set up, as in a process without the trace module.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/WyDeployer.h"
#include "lib/wycommon/WyCommon_Folders.h"
#include "wine/BareFiles.h"
#include "wine/PairedTimes.h"

namespace {

using bench::BareClearReadOnly;
using bench::Fail;
using bench::IsDots;

constexpr int kDefaultRounds = 7;
constexpr int kTrees = 10;
constexpr int kFoldersPerTree = 10;
constexpr int kPlainFolders = 100;
constexpr int kFilesPerFolder = 25;
constexpr int kFiles = (kTrees * kFoldersPerTree + kPlainFolders) * kFilesPerFolder;

std::wstring TreeName(int number) {
    return L"tree" + std::to_wstring(number);
}

std::wstring PlainName(int number) {
    return L"plain\\folder" + std::to_wstring(number);
}

void MakeFolderOfFiles(const std::wstring& folder) {
    if (!WyCommon::Utility::CreateDirectories(folder))
        Fail(L"making a folder");
    bench::MakeFiles(folder, kFilesPerFolder);
}

void MakePackage(const std::wstring& package) {
    for (int tree = 0; tree < kTrees; ++tree) {
        for (int inner = 0; inner < kFoldersPerTree; ++inner)
            MakeFolderOfFiles(package + TreeName(tree) + L"\\inner" + std::to_wstring(inner));
    }
    for (int plain = 0; plain < kPlainFolders; ++plain)
        MakeFolderOfFiles(package + PlainName(plain));
}

void Append(std::string& manifest, const char* item, const std::wstring& folder) {
    const std::string name(folder.begin(), folder.end());
    manifest.append("    <").append(item).append(" SourceDir='").append(name);
    manifest.append("' TargetDir='").append(name).append("'/>\n");
}

void MakeManifest(const std::wstring& path) {
    std::string manifest = "<?xml version='1.0' encoding='utf-8'?>\n<Product>\n  <FileGroup>\n";
    for (int tree = 0; tree < kTrees; ++tree)
        Append(manifest, "Folder Action='write'", TreeName(tree));
    for (int plain = 0; plain < kPlainFolders; ++plain)
        Append(manifest, "File Action='write' Name='*'", PlainName(plain));
    manifest += "  </FileGroup>\n</Product>\n";
    HANDLE const file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    if (file == INVALID_HANDLE_VALUE ||
        WriteFile(file, manifest.data(), static_cast<DWORD>(manifest.size()), &written, nullptr) ==
            0) {
        Fail(L"making the manifest");
    }
    CloseHandle(file);
}

void LibraryDeploy(const std::wstring& manifest, const std::wstring& package,
                   const std::wstring& target) {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::wstring folder(program, std::wstring(program).rfind(L'\\') + 1);
    WyDeployHelper::DeployCommon::CWyDeployer deployer;
    if (!deployer.ParseConfig(folder, manifest))
        Fail(L"ParseConfig");
    if (!deployer.Deploy(package, target))
        Fail(L"Deploy");
}

// ---- the platform calls that this takes, and nothing else; paths of folders end in "\"

bool BareExists(const std::wstring& path) {
    WIN32_FIND_DATAW entry;
    HANDLE const find = FindFirstFileW(path.c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        return false;
    FindClose(find);
    return true;
}

void BareMakeFolders(const std::wstring& path) {
    for (std::size_t end = path.find(L'\\'); end != std::wstring::npos;
         end = path.find(L'\\', end + 1)) {
        const std::wstring folder = path.substr(0, end);
        if (GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES &&
            CreateDirectoryW(folder.c_str(), nullptr) == 0) {
            Fail(L"the bare CreateDirectoryW");
        }
    }
}

void BareCopyOne(const std::wstring& from, const std::wstring& to, BOOL failIfExists) {
    if (CopyFileW(from.c_str(), to.c_str(), failIfExists) == 0)
        Fail(L"the bare CopyFileW");
    BareClearReadOnly(to);
}

void BareCopyTree(const std::wstring& source, const std::wstring& target) {
    WIN32_FIND_DATAW entry;
    HANDLE const find = FindFirstFileW((source + L"*.*").c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        Fail(L"the bare FindFirstFileW");
    BareMakeFolders(target);
    do {
        const std::wstring from = source + entry.cFileName;
        const std::wstring to = target + entry.cFileName;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            BareCopyOne(from, to, FALSE);
        else if (!IsDots(entry))
            BareCopyTree(from + L'\\', to + L'\\');
    } while (FindNextFileW(find, &entry) != 0);
    FindClose(find);
}

std::vector<std::wstring> BareList(const std::wstring& searched) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW entry;
    HANDLE const find = FindFirstFileW(searched.c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        Fail(L"the bare FindFirstFileW");
    do {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            names.emplace_back(entry.cFileName);
    } while (FindNextFileW(find, &entry) != 0);
    FindClose(find);
    return names;
}

// A name is looked for once more by the copy, which takes patterns.
void BareWriteFile(const std::wstring& source, const std::wstring& target,
                   const std::wstring& name) {
    const std::wstring from = source + name;
    const std::wstring to = target + name;
    if (!BareExists(to))
        BareMakeFolders(target);
    WIN32_FIND_DATAW entry;
    HANDLE const find = FindFirstFileW(from.c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        Fail(L"the bare FindFirstFileW");
    BareClearReadOnly(to);
    BareCopyOne(from, to, TRUE);
    FindNextFileW(find, &entry);
    FindClose(find);
    BareClearReadOnly(to);
}

void BareDeploy(const std::wstring& package, const std::wstring& target) {
    for (int tree = 0; tree < kTrees; ++tree) {
        const std::wstring name = TreeName(tree);
        if (BareExists(package + name) && !BareExists(target + name))
            BareCopyTree(package + name + L'\\', target + name + L'\\');
    }
    for (int plain = 0; plain < kPlainFolders; ++plain) {
        const std::wstring source = package + PlainName(plain) + L'\\';
        const std::wstring folder = target + PlainName(plain) + L'\\';
        for (const std::wstring& name : BareList(source + L'*'))
            BareWriteFile(source, folder, name);
    }
}

int CountFiles(const std::wstring& folder) {
    int count = 0;
    WIN32_FIND_DATAW entry;
    HANDLE const find = FindFirstFileW((folder + L'*').c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        Fail(L"counting files");
    do {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            ++count;
        else if (!IsDots(entry))
            count += CountFiles(folder + entry.cFileName + L'\\');
    } while (FindNextFileW(find, &entry) != 0);
    FindClose(find);
    return count;
}

void Remove(const std::wstring& folder) {
    if (CountFiles(folder) != kFiles)
        Fail(L"deploying all files");
    bool rebootNeeded = false;
    if (!KrCommon::Storage::File::DeleteAllFiles(folder, rebootNeeded, nullptr) || rebootNeeded)
        Fail(L"DeleteAllFiles");
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : kDefaultRounds;
    const std::wstring root = bench::TemporaryRoot();
    const std::wstring package = root + L"\\package\\";
    const std::wstring library = root + L"\\library\\";
    const std::wstring bare = root + L"\\bare\\";
    const std::wstring manifest = package + L"InstCfg.xml";
    MakePackage(package);
    MakeManifest(manifest);
    bench::PairedTimes times;
    // The first round is not counted: files and code are read for the first time then.
    for (int round = -1; round < rounds; ++round) {
        bench::PairedTimes warmUp;
        (round < 0 ? warmUp : times)
            .Measure(
                round % 2 == 0, [&] { LibraryDeploy(manifest, package, library); },
                [&] { BareDeploy(package, bare); });
        Remove(library);
        Remove(bare);
    }
    bool rebootNeeded = false;
    KrCommon::Storage::File::DeleteAllFiles(root, rebootNeeded, nullptr);
    RemoveDirectoryW(root.c_str());
    times.Print("deploy", kFiles);
    return 0;
}
