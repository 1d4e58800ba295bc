#include "wyctl/PlanMachine_win32.h"

#include <algorithm>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/Errors.h"
#include "wyctl/FolderTree.h"

namespace WyCtl {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
using WyCommon::Utility::JoinPath;
using Answer = PlanOverlay::Answer;
using Kind = PlanStep::Kind;
using Before = PlanStep::Before;
using FileKind = PackageFiles::Kind;

constexpr const wchar_t* kNoSuchName = L"no file can have this name";
constexpr const wchar_t* kBelowFile = L"a file has the name of a folder above it";

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

std::wstring PlanMachine::WholeName(const std::wstring& path) {
    std::wstring whole(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    whole.resize(
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
    KrCommon::String::RemoveSeparator(whole);
    return whole;
}

bool PlanMachine::Is64Bit() {
    return OfSystem().Is64Bit();
}

// ---- files

PackageFiles::Kind PlanMachine::KindOf(const std::wstring& whole) const {
    std::wstring origin;
    const Answer answer = m_Files.Find(whole, &origin);
    if (answer == Answer::Gone) {
        return FileKind::None;
    }
    if (answer == Answer::There && origin.empty()) {
        return FileKind::Folder;
    }
    const DWORD attributes = AttributesOf(answer == Answer::There ? origin : whole);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return FileKind::None;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileKind::Folder : FileKind::File;
}

// No folder can be made and no file be written there.
bool PlanMachine::LiesBelowFile(const std::wstring& whole) const {
    std::wstring_view above = whole;
    FileKind kind = FileKind::None;
    while (kind == FileKind::None && !above.empty()) {
        above = KrCommon::String::RemoveFileName(above);
        kind = KindOf(std::wstring(above));
    }
    return kind == FileKind::File;
}

bool PlanMachine::IsThere(const std::wstring& path) {
    const std::wstring whole = WholeName(path);
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
                          std::uint64_t bytes, Replaces replaces) {
    const std::wstring whole = WholeName(target);
    const FileKind kind = KindOf(whole);
    const bool belowFile = LiesBelowFile(whole);
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
        return Refuse(kNoSuchName, nullptr, 0);
    }
    if (belowFile) {
        return Refuse(kBelowFile, nullptr, 0);
    }
    if (kind == FileKind::Folder) {
        return Refuse(L"a folder has this name", nullptr, 0);
    }
    if (kind == FileKind::File && replaces == Replaces::Nothing) {
        return Refuse(L"another file of this name is there", nullptr, 0);
    }
    if (onMachine && replaces != Replaces::All && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        return Refuse(L"the file that is there is read-only", nullptr, 0);
    }
    return !step.inUse || Refuse(L"the file that is there is in use", nullptr, 0);
}

bool PlanMachine::CopyFiles(const std::wstring& sourceDir, const std::wstring& name,
                            const std::wstring& targetDir, bool failIfExists) {
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
                         (std::uint64_t{found.nFileSizeHigh} << 32U) | found.nFileSizeLow,
                         failIfExists ? Replaces::Nothing : Replaces::All) &&
                 copied;
    }
    return copied || !m_strFailure.empty() ? copied
                                           : Refuse(L"no file matches the name", nullptr, 0);
}

bool PlanMachine::CopyFolder(const std::wstring& source, const std::wstring& target) {
    const std::wstring from = WholeName(source);
    const std::wstring to = WholeName(target);
    const DWORD attributes = AttributesOf(from);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return Refuse(L"the source is no folder", nullptr, 0);
    }
    if (HasReservedLetter(to) || LiesBelowFile(to)) {
        return Refuse(HasReservedLetter(to) ? kNoSuchName : kBelowFile, nullptr, 0);
    }
    std::vector<TreeEntry> tree;
    try {
        tree = ListTree(from);
    } catch (const Failure&) {
        return Refuse(L"the source cannot be listed", nullptr, 0);
    }
    std::sort(tree.begin(), tree.end(), [](const TreeEntry& one, const TreeEntry& other) {
        return PathOrder()(one.name, other.name);
    });
    MakeFolders(to);
    for (const TreeEntry& entry : tree) {
        const std::wstring place = JoinPath(to, entry.name);
        if (entry.folder) {
            MakeFolders(place);
        } else if (!CopyOne(JoinPath(from, entry.name), place, entry.size, Replaces::Writable)) {
            return false;
        }
    }
    return true;
}

void PlanMachine::MakeFolders(const std::wstring& path) {
    const std::wstring whole = WholeName(path);
    if (!IsThere(whole) && !HasReservedLetter(whole) && !LiesBelowFile(whole)) {
        Add(Kind::MakeFolder, whole);
        m_Files.Put(whole, {});
    }
}

void PlanMachine::ClearReadOnly(const std::wstring&) {}

bool PlanMachine::RemoveFile(const std::wstring& path, std::uint32_t& error) {
    const std::wstring whole = WholeName(path);
    // What a "?" was found for is no file that could go.
    if (HasReservedLetter(whole)) {
        error = ERROR_INVALID_NAME;
        return false;
    }
    if (KindOf(whole) == FileKind::Folder) {
        error = ErrorCode::kAccessDenied;
        return false;
    }
    if (m_Files.Find(whole) == Answer::AsOnMachine && IsFileInUse(whole)) {
        error = ERROR_SHARING_VIOLATION;
        return false;
    }
    Add(Kind::DeleteFile, whole).before = Before::There;
    m_Files.Remove(whole);
    return true;
}

void PlanMachine::DeleteAtNextStart(const std::wstring& path) {
    const std::wstring whole = WholeName(path);
    if (HasReservedLetter(whole)) {
        return;
    }
    const bool folder = KindOf(whole) == FileKind::Folder;
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

bool PlanMachine::EmptyFolder(const std::wstring& path, bool& rebootNeeded, std::uint32_t& error) {
    const std::wstring whole = WholeName(path);
    if (KindOf(whole) == FileKind::File) {
        return Refuse(L"it is a file", &error, ERROR_DIRECTORY);
    }
    for (const std::wstring& place : m_Files.PutBelow(whole)) {
        DeleteOne(place);
    }
    std::vector<std::wstring> held;
    for (const PackageFile& file : FilesBelow(whole)) {
        const std::wstring place = JoinPath(whole, file.name);
        if (m_Files.Find(place) == Answer::AsOnMachine && !DeleteOne(place)) {
            rebootNeeded = true;
            held.push_back(place);
        }
    }
    m_Files.Remove(whole);
    m_Files.Put(whole, {});
    for (const std::wstring& place : held) {
        m_Files.Keep(place);
    }
    return true;
}

bool PlanMachine::RemoveFolder(const std::wstring& path) {
    const std::wstring whole = WholeName(path);
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
    if (m_Files.Find(WholeName(path), &origin) == Answer::There && !origin.empty()) {
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
