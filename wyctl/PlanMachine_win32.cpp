#include "wyctl/PlanMachine_win32.h"

#include <algorithm>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/PackageFiles.h"

namespace WyCtl {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
using WyCommon::Utility::JoinPath;
using Answer = PlanOverlay::Answer;
using Kind = PlanStep::Kind;
using Before = PlanStep::Before;

// "..", "." and doubled separators resolved, no "\" at the end.
std::wstring WholePath(const std::wstring& path) {
    std::wstring whole(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    whole.resize(
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
    KrCommon::String::RemoveSeparator(whole);
    return whole;
}

DWORD AttributesOf(const std::wstring& path) {
    return GetFileAttributesW(path.c_str());
}

// Behind the drive.
bool HasReservedLetter(const std::wstring& path) {
    constexpr std::wstring_view kLiteral = L"\\\\?\\";
    const std::size_t begin = path.starts_with(kLiteral) ? kLiteral.size() + 2 : 2;
    return path.find_first_of(L"<>:\"|?*", begin) != std::wstring::npos;
}

}  // namespace

bool IsFileInUse(const std::wstring& path) {
    const DWORD attributes = AttributesOf(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return false;
    }
    // Programs that run are closed files: they refuse writers alone. Nothing is written.
    const DWORD access =
        (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? GENERIC_READ | DELETE : GENERIC_WRITE;
    HANDLE const file = CreateFileW(path.c_str(), access, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
        return false;
    }
    return GetLastError() == ERROR_SHARING_VIOLATION;
}

bool PlanMachine::Refuse(std::wstring why, std::uint32_t* error, std::uint32_t code) {
    m_strFailure = std::move(why);
    if (error != nullptr) {
        *error = code;
    }
    return false;
}

PlanStep& PlanMachine::Add(Kind kind, const std::wstring& place) {
    PlanStep step;
    step.kind = kind;
    step.place = place;
    m_Steps.push_back(std::move(step));
    return m_Steps.back();
}

bool PlanMachine::Is64Bit() {
    return OfSystem().Is64Bit();
}

// ---- files

bool PlanMachine::IsThere(const std::wstring& path) {
    const std::wstring whole = WholePath(path);
    const Answer answer = m_Files.Find(whole);
    return answer == Answer::There || (answer == Answer::AsOnMachine && OfSystem().Exists(path));
}

bool PlanMachine::Exists(const std::wstring& path) {
    const bool there = IsThere(path);
    if (there) {
        m_Found.push_back(path);
    }
    return there;
}

void PlanMachine::ListFiles(const std::wstring& folder, const std::wstring& pattern,
                            std::vector<std::wstring>& names) {
    OfSystem().ListFiles(folder, pattern, names);
}

bool PlanMachine::CopyOne(const std::wstring& source, const std::wstring& target,
                          std::uint64_t bytes, bool readOnlyRefuses) {
    const std::wstring whole = WholePath(target);
    const Answer answer = m_Files.Find(whole);
    const DWORD attributes =
        answer == Answer::AsOnMachine ? AttributesOf(whole) : INVALID_FILE_ATTRIBUTES;
    const bool onMachine = attributes != INVALID_FILE_ATTRIBUTES;
    PlanStep& step = Add(Kind::CopyFile, whole);
    step.data = source;
    step.bytes = bytes;
    step.before = onMachine || answer == Answer::There ? Before::There : Before::Absent;
    step.inUse = onMachine && IsFileInUse(whole);
    m_Files.Put(whole, source);
    if (HasReservedLetter(whole)) {
        return Refuse(L"no file can have this name", nullptr, 0);
    }
    if (onMachine && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return Refuse(L"a folder has this name", nullptr, 0);
    }
    if (onMachine && readOnlyRefuses && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        return Refuse(L"the file that is there is read-only", nullptr, 0);
    }
    return !step.inUse || Refuse(L"the file that is there is in use", nullptr, 0);
}

bool PlanMachine::CopyFiles(const std::wstring& sourceDir, const std::wstring& name,
                            const std::wstring& targetDir, bool) {
    WIN32_FIND_DATAW found;
    const KrCommon::Storage::FileFind find(sourceDir + name, found);
    bool copied = find.IsOpen();
    for (bool more = copied; more; more = find.Next(found)) {
        if (KrCommon::Storage::IsFolder(found)) {
            continue;
        }
        const std::wstring source = sourceDir + found.cFileName;
        // A name with a folder in it is found there and looked for here.
        if (AttributesOf(source) == INVALID_FILE_ATTRIBUTES) {
            return Refuse(L"a name with a folder in it cannot be copied", nullptr, 0);
        }
        copied = CopyOne(source, targetDir + found.cFileName,
                         (std::uint64_t{found.nFileSizeHigh} << 32U) | found.nFileSizeLow, false) &&
                 copied;
    }
    return copied || !m_strFailure.empty() ? copied
                                           : Refuse(L"no file matches the name", nullptr, 0);
}

bool PlanMachine::CopyFolder(const std::wstring& source, const std::wstring& target) {
    const std::wstring from = WholePath(source);
    const std::wstring to = WholePath(target);
    const DWORD attributes = AttributesOf(from);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return Refuse(L"the source is no folder", nullptr, 0);
    }
    MakeFolders(to);
    for (const PackageFile& file : FilesBelow(from)) {
        const std::wstring place = JoinPath(to, file.name);
        MakeFolders(std::wstring(KrCommon::String::RemoveFileName(place)));
        if (!CopyOne(JoinPath(from, file.name), place, file.size, true)) {
            return false;
        }
    }
    return true;
}

void PlanMachine::MakeFolders(const std::wstring& path) {
    const std::wstring whole = WholePath(path);
    if (!IsThere(whole)) {
        Add(Kind::MakeFolder, whole);
        m_Files.Put(whole, {});
    }
}

void PlanMachine::ClearReadOnly(const std::wstring&) {}

bool PlanMachine::RemoveFile(const std::wstring& path, std::uint32_t& error) {
    const std::wstring whole = WholePath(path);
    if (m_Files.Find(whole) == Answer::AsOnMachine) {
        if ((AttributesOf(whole) & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            error = ErrorCode::kAccessDenied;
            return false;
        }
        if (IsFileInUse(whole)) {
            error = ERROR_SHARING_VIOLATION;
            return false;
        }
    }
    Add(Kind::DeleteFile, whole).before = Before::There;
    m_Files.Remove(whole);
    return true;
}

void PlanMachine::DeleteAtNextStart(const std::wstring& path) {
    const std::wstring whole = WholePath(path);
    const bool folder = (AttributesOf(whole) & FILE_ATTRIBUTE_DIRECTORY) != 0;
    PlanStep& step = Add(folder ? Kind::DeleteFolder : Kind::DeleteFile, whole);
    step.before = Before::There;
    step.inUse = !folder && IsFileInUse(whole);
    step.atRestart = true;
}

bool PlanMachine::DeleteOne(const std::wstring& path) {
    std::uint32_t error = 0;
    if (RemoveFile(path, error)) {
        return true;
    }
    DeleteAtNextStart(path);
    return false;
}

bool PlanMachine::EmptyFolder(const std::wstring& path, bool& rebootNeeded, std::uint32_t&) {
    const std::wstring whole = WholePath(path);
    for (const std::wstring& place : m_Files.PutBelow(whole)) {
        DeleteOne(place);
    }
    for (const PackageFile& file : FilesBelow(whole)) {
        const std::wstring place = JoinPath(whole, file.name);
        if (m_Files.Find(place) == Answer::AsOnMachine && !DeleteOne(place)) {
            rebootNeeded = true;
        }
    }
    m_Files.Remove(whole);
    m_Files.Put(whole, {});
    return true;
}

bool PlanMachine::RemoveFolder(const std::wstring& path) {
    const std::wstring whole = WholePath(path);
    Add(Kind::DeleteFolder, whole).before = Before::There;
    m_Files.Remove(whole);
    return true;
}

void PlanMachine::MoveFolder(const std::wstring& from, const std::wstring& to) {
    PlanStep& step = Add(Kind::MoveFile, to);
    step.data = from;
    m_Files.Remove(from);
    m_Files.Put(to, from);
}

PlanMachine::VersionAnswer PlanMachine::ReadVersion(const std::wstring& path, FileVersion& out,
                                                    std::uint32_t& error) {
    std::wstring read = path;
    std::wstring origin;
    if (m_Files.Find(WholePath(path), &origin) == Answer::There && !origin.empty()) {
        read = origin;
    }
    const VersionAnswer answer = OfSystem().ReadVersion(read, out, error);
    if (answer == VersionAnswer::kFound) {
        constexpr std::uint32_t kWord = 0xffff;
        m_Versions[path] = std::to_wstring(out.ms >> 16U) + L"." + std::to_wstring(out.ms & kWord) +
                           L"." + std::to_wstring(out.ls >> 16U) + L"." +
                           std::to_wstring(out.ls & kWord);
    }
    return answer;
}

}  // namespace WyCtl
