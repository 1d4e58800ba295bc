#include <cstddef>
#include <vector>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::Storage {

namespace {

constexpr const char* kLogSource = "KrComn_File";

void Store(std::uint32_t* error, std::uint32_t code) {
    if (error != nullptr)
        *error = code;
}

bool CopyOne(const std::wstring& source, const std::wstring& target, bool failIfExists) {
    const int flag = failIfExists ? 1 : 0;
    ClearReadOnly(target);
    const bool copied = CopyFileW(source.c_str(), target.c_str(), flag) != 0;
    const DWORD code = copied ? ERROR_SUCCESS : GetLastError();
    if (copied) {
        WY_TRACE(LogLevel::kWarning, L"::CopyFile(%ls, %ls, %d) succeed.", source.c_str(),
                 target.c_str(), flag);
    } else {
        WY_TRACE(LogLevel::kWarning, L"::CopyFile(%ls, %ls, %d) failed. [0x%08x]", source.c_str(),
                 target.c_str(), flag, static_cast<unsigned>(code));
    }
    ClearReadOnly(target);
    return copied || (failIfExists && code == ErrorCode::kAlreadyExists);
}

// One walk over a tree that is to go. The folders on the way down are kept as open listings with
// the length of their path, and one path and one entry serve them all.
class DeleteWalk {
public:
    DeleteWalk(const std::wstring& dir, bool& rebootNeeded, std::uint32_t* error)
        : m_strPath(dir), m_bRebootNeeded(rebootNeeded), m_pError(error) {
        String::AppendSeparator(m_strPath);
    }

    // True when every folder could be listed.
    bool Run() {
        if (!Enter())
            return false;
        while (!m_Levels.empty()) {
            if (m_bHasEntry) {
                DeleteEntry();
            } else {
                Leave();
            }
        }
        if (m_bListed)
            Store(m_pError, ErrorCode::kSuccess);
        return m_bListed;
    }

private:
    struct Level {
        FileFind find;
        std::size_t length;  // of the folder's path, its separator counted
    };

    // Begins the listing of the folder that the path names.
    bool Enter() {
        const std::size_t length = m_strPath.size();
        m_strPath += L'*';
        FileFind find(m_strPath, m_Entry);
        const DWORD code = find.IsOpen() ? ERROR_SUCCESS : GetLastError();
        m_strPath.resize(length);
        if (!find.IsOpen()) {
            Store(m_pError, code);
            m_bListed = false;
            return false;
        }
        m_Levels.push_back({std::move(find), length});
        m_bHasEntry = true;
        return true;
    }

    void NextEntry() {
        m_strPath.resize(m_Levels.back().length);
        m_bHasEntry = m_Levels.back().find.Next(m_Entry);
    }

    // Ends the listing of a folder and deletes it, the first one not.
    void Leave() {
        m_Levels.pop_back();
        if (!m_Levels.empty()) {
            DeleteFolder();
            NextEntry();
        }
    }

    void DeleteEntry() {
        if (IsDots(m_Entry)) {
            NextEntry();
            return;
        }
        m_strPath += m_Entry.cFileName;
        if (!IsFolder(m_Entry)) {
            DeleteOneFile();
            NextEntry();
            return;
        }
        m_strPath += L'\\';
        if (!Enter()) {
            DeleteFolder();
            NextEntry();
        }
    }

    void DeleteFolder() {
        ClearReadOnly(m_strPath);
        if (RemoveDirectoryW(m_strPath.c_str()) == 0) {
            WY_TRACE(LogLevel::kWarning, L"RemoveDirectory failed...FilePath:%ls, ErrorCode:%d",
                     m_strPath.c_str(), static_cast<int>(GetLastError()));
            DeleteAtNextStart();
        }
    }

    void DeleteOneFile() {
        ClearReadOnly(m_strPath);
        if (DeleteFileW(m_strPath.c_str()) == 0) {
            WY_TRACE(LogLevel::kWarning, L"DeleteFile failed...FilePath:%ls, ErrorCode:%d",
                     m_strPath.c_str(), static_cast<int>(GetLastError()));
            DeleteAtNextStart();
        }
    }

    void DeleteAtNextStart() {
        MoveFileExW(m_strPath.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
        m_bRebootNeeded = true;
    }

    std::wstring m_strPath;
    bool& m_bRebootNeeded;
    std::uint32_t* m_pError;
    std::vector<Level> m_Levels;
    WIN32_FIND_DATAW m_Entry{};
    bool m_bHasEntry = false;
    bool m_bListed = true;
};

}  // namespace

bool File::Exists(const std::wstring& path, std::uint32_t* error) {
    if (path.empty()) {
        Store(error, ErrorCode::kBadArguments);
        return false;
    }
    WIN32_FIND_DATAW entry;
    const FileFind find(path, entry);
    Store(error, find.IsOpen() ? ErrorCode::kSuccess : GetLastError());
    return find.IsOpen();
}

bool File::CopyFile(const std::wstring& sourceDir, const std::wstring& pattern,
                    const std::wstring& targetDir, bool failIfExists) {
    std::wstring source = sourceDir;
    std::wstring target = targetDir;
    String::AppendSeparator(source);
    String::AppendSeparator(target);

    WIN32_FIND_DATAW entry;
    const std::wstring searched = source + pattern;
    const FileFind find(searched, entry);
    if (!find.IsOpen()) {
        const KeepLastError error;
        WY_TRACE(LogLevel::kError, L"*** ::FindFirstFile(%ls) failed. [0x%08x]", searched.c_str(),
                 static_cast<unsigned>(error.Code()));
        WY_TRACE(LogLevel::kInformation, L"[Leave] CopyFile()...");
        return false;
    }
    bool result = true;
    do {
        if (!IsFolder(entry) &&
            !CopyOne(source + entry.cFileName, target + entry.cFileName, failIfExists)) {
            result = false;
        }
    } while (find.Next(entry));
    return result;
}

bool File::DeleteAllFiles(const std::wstring& dir, bool& rebootNeeded, std::uint32_t* error) {
    if (dir.empty()) {
        Store(error, ErrorCode::kBadArguments);
        return false;
    }
    return DeleteWalk(dir, rebootNeeded, error).Run();
}

bool File::CreateDirectories(const std::wstring& path, std::uint32_t* error) {
    std::wstring failed;
    std::uint32_t code = ErrorCode::kSuccess;
    const bool made = MakeFolders(path, failed, &code);
    if (code != ErrorCode::kSuccess)
        Store(error, code);
    if (!made) {
        WY_TRACE(LogLevel::kError, L"*** ::CreateDirectory(%ls) failed. [0x%08x]", failed.c_str(),
                 static_cast<unsigned>(code));
    }
    return made;
}

bool File::GetWindowsTempFolder(std::wstring& out) {
    wchar_t folder[MAX_PATH] = {};
    const UINT length = GetWindowsDirectoryW(folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        WY_TRACE(LogLevel::kError, L"*** ::GetWindowsDirectory() failed. [0x%08x]",
                 static_cast<unsigned>(GetLastError()));
        return false;
    }
    out.assign(folder, length);
    String::AppendSeparator(out);
    out += L"temp";
    return true;
}

}  // namespace KrCommon::Storage
