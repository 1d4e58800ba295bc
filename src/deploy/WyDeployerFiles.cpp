#include <vector>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "deploy/WyDeployer.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
namespace String = KrCommon::String;
using String::EqualNoCase;

constexpr char kLogSource[] = "WyDeployer";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

// A folder below another, with a "\" at its end; empty when both are.
std::wstring FolderBelow(const std::wstring& base, const std::wstring& relative) {
    std::wstring path = base;
    String::AppendSeparator(path);
    path += relative;
    String::AppendSeparator(path);
    return path;
}

// The folder's own name: the system finds none that ends in "\". Of the root of a drive it stays
// there, so that a manifest that means a whole drive finds nothing.
std::wstring NameOfFolder(std::wstring path) {
    if (!path.ends_with(L":\\"))
        String::RemoveSeparator(path);
    return path;
}

void LogRecord(const FileRecord& record, const wchar_t* nameLabel) {
    WY_LOG_INFO << L"Id: " << record.id << L",Action: " << record.action << L",Overwrite: "
                << record.overwrite << nameLabel << record.name << L",SourceDir: "
                << record.sourceDir << L",TargetDir: " << record.targetDir << L",Platform: "
                << record.platform;
}

}  // namespace

// ---- folders

bool CWyDeployer::DeployFolder(const FileRecord& record, const std::wstring& packageDir,
                               const std::wstring& installDir) {
    LogRecord(record, L",KeyModule: ");
    const std::wstring source = FolderBelow(packageDir, record.sourceDir);
    const std::wstring target = FolderBelow(installDir, record.targetDir);
    const bool sourceExists = m_pMachine->Exists(NameOfFolder(source));
    const bool targetExists = m_pMachine->Exists(NameOfFolder(target));

    if (EqualNoCase(record.action, L"write")) {
        if (!sourceExists) {
            WY_LOG_WARN << L"Does not exist this folder...Path:" << source;
            return true;
        }
        if (IsFolderToCopy(record, source, target, targetExists) &&
            !m_pMachine->CopyFolder(source, target)) {
            WY_LOG_ERROR << L"Copy folder failed...";
            return false;
        }
    } else if (EqualNoCase(record.action, L"delete") && targetExists) {
        bool rebootNeeded = false;
        std::uint32_t error = ErrorCode::kSuccess;
        if (!m_pMachine->EmptyFolder(target, rebootNeeded, error)) {
            WY_LOG_ERROR << L"KrCommon::Storage::File::DeleteAllFiles failed! tstrTargetDir: "
                         << target << L" dwErrorCode=" << WyHex{error};
            return false;
        }
        RemoveEmptiedFolder(NameOfFolder(target), rebootNeeded);
    }
    return true;
}

// The version of one file stands for those of the whole folder, and without one everything is
// replaced: single files of the folder may become older by that.
bool CWyDeployer::IsFolderToCopy(const FileRecord& record, const std::wstring& source,
                                 const std::wstring& target, bool targetExists) {
    if (!targetExists)
        return true;
    if (!EqualNoCase(record.overwrite, L"yes"))
        return false;
    return record.name.empty() || !m_pMachine->Exists(target + record.name) ||
           IsSourceFileNewer(source + record.name, target + record.name);
}

void CWyDeployer::RemoveEmptiedFolder(const std::wstring& path, bool rebootNeeded) {
    if (rebootNeeded || !m_pMachine->RemoveFolder(path))
        m_pMachine->DeleteAtNextStart(path);
}

// ---- files

bool CWyDeployer::DeployFile(const FileRecord& record, const std::wstring& packageDir,
                             const std::wstring& installDir) {
    LogRecord(record, L",Name: ");
    const std::wstring source = FolderBelow(packageDir, record.sourceDir);
    const std::wstring target = FolderBelow(installDir, record.targetDir);
    std::vector<std::wstring> names;
    if (record.name.find(L'*') != std::wstring::npos) {
        m_pMachine->ListFiles(source, record.name, names);
    } else {
        names.push_back(record.name);
    }

    if (EqualNoCase(record.action, L"write")) {
        if (names.size() == 1 && !m_pMachine->Exists(source + names[0])) {
            WY_LOG_WARN << L"Does not exist this file...Path: " << source << L", File: "
                        << names[0];
            return true;
        }
        for (const std::wstring& name : names) {
            if (!WriteFile(record, source, name, target))
                return false;
        }
    } else if (EqualNoCase(record.action, L"delete")) {
        for (const std::wstring& name : names)
            DeleteOneFile(name, target);
    }
    return true;
}

bool CWyDeployer::WriteFile(const FileRecord& record, const std::wstring& source,
                            const std::wstring& name, const std::wstring& target) {
    const bool targetExists = m_pMachine->Exists(target + name);
    if (targetExists && !(EqualNoCase(record.overwrite, L"yes") &&
                          IsSourceFileNewer(source + name, target + name))) {
        return true;
    }
    WY_LOG_INFO << L"KrCommon::Storage::File::CopyFile: SourceDir: " << source << L" File Name: "
                << name << L" TargetDir: " << target;
    // A folder that cannot be made shows in the copy.
    if (!targetExists)
        m_pMachine->MakeFolders(target);
    // What has come into being since it was looked for is not replaced: it is not this package's.
    if (!m_pMachine->CopyFiles(source, name, target, !targetExists)) {
        WY_LOG_ERROR << L"KrCommon::Storage::File::CopyFile failed...";
        return false;
    }
    m_pMachine->ClearReadOnly(target + name);
    return true;
}

void CWyDeployer::DeleteOneFile(const std::wstring& name, const std::wstring& target) {
    const std::wstring path = target + name;
    if (!m_pMachine->Exists(path))
        return;
    WY_LOG_INFO << L"KrCommon::Storage::File::Delete: " << L" File Name: " << name
                << L" TargetDir: " << target;
    m_pMachine->ClearReadOnly(path);
    std::uint32_t error = ErrorCode::kSuccess;
    if (!m_pMachine->RemoveFile(path, error) && error != ErrorCode::kFileNotFound) {
        WY_LOG_WARN << L"KrCommon::Storage::File::Delete() failed: " << WyHex{error};
        m_pMachine->DeleteAtNextStart(path);
    }
}

// ---- versions

bool CWyDeployer::IsSourceFileNewer(const std::wstring& source, const std::wstring& target) {
    const std::wstring_view extension = String::GetExtension(source);
    if (!EqualNoCase(extension, L".exe") && !EqualNoCase(extension, L".dll"))
        return true;
    FileVersion ours;
    FileVersion theirs;
    if (!GetFileVersionNumber(source, ours) || !GetFileVersionNumber(target, theirs))
        return true;
    return ours.ms != theirs.ms ? ours.ms > theirs.ms : ours.ls > theirs.ls;
}

bool CWyDeployer::GetFileVersionNumber(const std::wstring& path, FileVersion& out) {
    WY_LOG_INFO << L"Get file version number. File name: " << path;
    std::uint32_t error = ErrorCode::kSuccess;
    switch (m_pMachine->ReadVersion(path, out, error)) {
        case VersionAnswer::kFound:
            WY_LOG_INFO << L"File name: " << path << L" dwFileVersionMS=" << out.ms
                        << L" dwFileVersionLS=" << out.ls;
            return true;
        case VersionAnswer::kNoSize:
            WY_LOG_WARN << L"GetFileVersionInfoSize fail! dwError=" << WyHex{error};
            break;
        case VersionAnswer::kNoData:
            WY_LOG_ERROR << L"GetFileVersionInfo fail!";
            break;
        case VersionAnswer::kNoRoot:
            WY_LOG_ERROR << L"VerQueryValue fail!";
            break;
        case VersionAnswer::kNoMemory:
            break;
    }
    return false;
}

}  // namespace WyDeployHelper::DeployCommon
