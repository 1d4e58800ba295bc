#include "lib/wycommon/WyCommon_Folders.h"

#include <cstddef>
#include <utility>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace {

using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using KrCommon::Storage::ClearReadOnly;
using KrCommon::Storage::FileFind;
using KrCommon::Storage::IsDots;
using KrCommon::Storage::IsFolder;
using KrCommon::Storage::KeepLastError;

constexpr const char* kLogSource = "WyCommon_Folders";

// A walk over a tree with a second one beside it that has the same names. The folders on the way
// down are kept as open listings with the lengths of their two paths; two paths and one entry
// serve them all.
class PairWalk {
public:
    PairWalk(const std::wstring& source, const std::wstring& target)
        : m_strSource(source), m_strTarget(target) {
        KrCommon::String::AppendSeparator(m_strSource);
        KrCommon::String::AppendSeparator(m_strTarget);
    }

    // The present entry in the two trees; a folder has a "\" at its end once it is entered.
    const std::wstring& Source() const { return m_strSource; }
    const std::wstring& Target() const { return m_strTarget; }
    const WIN32_FIND_DATAW& Entry() const { return m_Entry; }
    std::size_t Depth() const { return m_Levels.size(); }
    bool HasEntry() const { return m_bHasEntry; }

    // Begins the listing of the folder that the paths name, and goes to its first entry. When it
    // cannot be listed the walk stays where it is.
    bool Enter(const wchar_t* pattern) {
        std::wstring source = m_strSource;
        KrCommon::String::AppendSeparator(source);
        FileFind find(source + pattern, m_Entry);
        if (!find.IsOpen())
            return false;
        KrCommon::String::AppendSeparator(m_strTarget);
        m_strSource = std::move(source);
        m_Levels.push_back({std::move(find), m_strSource.size(), m_strTarget.size()});
        GoTo(true);
        return true;
    }

    // Goes to the next entry of the present folder.
    void Next() { GoTo(m_Levels.back().find.Next(m_Entry)); }

    // Ends the listing of the present folder; the entry is then that folder in the one above.
    void Leave() { m_Levels.pop_back(); }

private:
    struct Level {
        FileFind find;
        std::size_t source;
        std::size_t target;
    };

    void GoTo(bool hasEntry) {
        const Level& level = m_Levels.back();
        m_bHasEntry = hasEntry;
        while (m_bHasEntry && IsDots(m_Entry))
            m_bHasEntry = level.find.Next(m_Entry);
        m_strSource.resize(level.source);
        m_strTarget.resize(level.target);
        if (m_bHasEntry) {
            m_strSource += m_Entry.cFileName;
            m_strTarget += m_Entry.cFileName;
        }
    }

    std::wstring m_strSource;
    std::wstring m_strTarget;
    std::vector<Level> m_Levels;
    WIN32_FIND_DATAW m_Entry{};
    bool m_bHasEntry = false;
};

void LogEnterCopy() {
    WY_TRACE(kInformation, L"[Enter] WyCommon::Utility::CopyDirectory()...");
}

void LogLeaveCopy() {
    WY_TRACE(kInformation, L"[Leave] WyCommon::Utility::CopyDirectory()...");
}

// One file of a copy; true when the walk is to go on.
bool CopyOne(const std::wstring& source, const std::wstring& target, bool failIfExists) {
    const int flag = failIfExists ? 1 : 0;
    if (CopyFileW(source.c_str(), target.c_str(), flag) != 0) {
        WY_TRACE(kWarning, L"::CopyFile(%ls, %ls, %d) succeed.", source.c_str(), target.c_str(),
                 flag);
        ClearReadOnly(target);
        return true;
    }
    const KeepLastError error;
    WY_TRACE(kWarning, L"::CopyFile(%ls, %ls, %d) failed. [0x%08x]", source.c_str(), target.c_str(),
             flag, static_cast<unsigned>(error.Code()));
    return failIfExists && error.Code() == KrCommon::ErrorCode::kAlreadyExists;
}

// One entry of a copy: a file is copied, a folder is made and entered.
bool CopyEntry(PairWalk& walk, bool failIfExists) {
    if (!IsFolder(walk.Entry())) {
        const bool first = walk.Depth() == 1;
        const bool copied = CopyOne(walk.Source(), walk.Target(), first && failIfExists);
        if (copied)
            walk.Next();
        return copied;
    }
    if (!WyCommon::Utility::CreateDirectories(walk.Target()))
        return false;
    LogEnterCopy();
    return walk.Enter(L"*.*");
}

bool CopyTree(PairWalk& walk, bool failIfExists) {
    for (;;) {
        if (walk.HasEntry()) {
            if (!CopyEntry(walk, failIfExists))
                return false;
            continue;
        }
        walk.Leave();
        LogLeaveCopy();
        if (walk.Depth() == 0)
            return true;
        walk.Next();
    }
}

void MoveAtNextStart(const PairWalk& walk) {
    const wchar_t* const source = walk.Source().c_str();
    const wchar_t* const target = walk.Target().c_str();
    const DWORD replace = IsFolder(walk.Entry()) ? 0 : MOVEFILE_REPLACE_EXISTING;
    WY_TRACE(kInformation, L"::MoveFileEx src dir: %ls, dst dir: %ls", source, target);
    if (MoveFileExW(source, target, MOVEFILE_DELAY_UNTIL_REBOOT | replace) == 0) {
        WY_TRACE(kError, L"::MoveFileEx failed with error %d, src: %ls, dst: %ls",
                 static_cast<int>(GetLastError()), source, target);
    }
}

}  // namespace

bool WyCommon::Utility::CreateDirectories(const std::wstring& path) {
    std::wstring failed;
    std::uint32_t code = KrCommon::ErrorCode::kSuccess;
    if (KrCommon::Storage::MakeFolders(path, failed, &code))
        return true;
    const KeepLastError error;
    WY_TRACE(kError, L"*** ::CreateDirectory(%ls) failed. [0x%08x]", failed.c_str(),
             static_cast<unsigned>(code));
    return false;
}

bool WyCommon::Utility::CopyDirectory(const std::wstring& source, const std::wstring& target,
                                      bool failIfExists) {
    LogEnterCopy();
    PairWalk walk(source, target);
    if (!walk.Enter(L"*.*"))
        return false;
    if (!CreateDirectories(target))
        return false;
    if (CopyTree(walk, failIfExists))
        return true;
    // Each folder on the way back up is left as it is at the end of its list.
    const KeepLastError error;
    for (; walk.Depth() != 0; walk.Leave())
        LogLeaveCopy();
    return false;
}

bool WyCommon::Utility::EnumFilesOnlyInDirectory(const std::wstring& folder,
                                                 std::vector<std::wstring>& list,
                                                 const std::wstring& pattern) {
    WY_TRACE(kInformation, L"[Enter] WyCommon::Utility::EnumFilesOnlyInDirectory()...");
    std::wstring searched = folder;
    KrCommon::String::AppendSeparator(searched);
    searched += pattern;
    WY_TRACE(kWarning, L"WyCommon::Utility::EnumFilesOnlyInDirectory(%ls)", folder.c_str());

    WIN32_FIND_DATAW entry;
    const FileFind find(searched, entry);
    if (!find.IsOpen()) {
        const KeepLastError error;
        WY_TRACE(kWarning, L"*** ::FindFirstFile(%ls) failed. [0x%08x]", searched.c_str(),
                 static_cast<unsigned>(error.Code()));
        WY_TRACE(kInformation, L"[Leave] WyCommon::Utility::EnumFilesOnlyInDirectory()...");
        return false;
    }
    do {
        const bool plainFolder = (entry.dwFileAttributes & ~DWORD{FILE_ATTRIBUTE_DIRECTORY}) == 0;
        if (!IsDots(entry) && !plainFolder)
            list.emplace_back(entry.cFileName);
    } while (find.Next(entry));
    WY_TRACE(kInformation, L"[Leave] WyCommon::Utility::EnumFilesOnlyInDirectory()...");
    return true;
}

std::uint32_t WyCommon::Utility::MoveAllFilesAfterReboot(const std::wstring& source,
                                                         const std::wstring& target) {
    PairWalk walk(source, target);
    if (!walk.Enter(L"*"))
        return KrCommon::Result::FromSystem(GetLastError());
    if (target.empty())
        return KrCommon::Result::kSuccess;
    for (;;) {
        if (!walk.HasEntry()) {
            walk.Leave();
            if (walk.Depth() == 0)
                return KrCommon::Result::kSuccess;
            walk.Next();
            continue;
        }
        MoveAtNextStart(walk);
        if (!IsFolder(walk.Entry()) || !walk.Enter(L"*"))
            walk.Next();
    }
}
