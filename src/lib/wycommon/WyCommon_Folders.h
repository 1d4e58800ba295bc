#pragma once

// Whole folders: make, copy, list, and move at the next start of the system. For Windows builds
// alone.
//
// Paths are wide, their separator is "\"; a folder may be given with or without one at its end. No
// length is fixed here, see KrComn_File.h. A junction or link to a folder counts as the folder it
// points to.
//
// Nothing fails but by its result; what went wrong stands in the log, and a function that gives
// false leaves the code of the call that failed as the thread's last error. Only a lack of memory
// raises (std::bad_alloc). All functions may run on any thread. Trees of any depth are walked
// without recursion.

#include <cstdint>
#include <string>
#include <vector>

namespace WyCommon::Utility {

// Makes a folder and every folder above it that is missing (CreateDirectoryW). Any name that
// exists is left alone and counts, also that of a file.
bool CreateDirectories(const std::wstring& path);

// Copies a folder with all that is in it into another (CopyFileW); missing folders are made.
//
// `failIfExists` holds for the files of the first folder, in those below an existing target is
// always replaced; the error 183 of such a file is no failure, which CopyFileW does not give (80
// is one). The copies are not read-only, but a target that is read-only refuses. The first failure
// ends the walk with false.
bool CopyDirectory(const std::wstring& source, const std::wstring& target, bool failIfExists);

// Appends the names in a folder that match a pattern to the list, those of plain folders not.
//
// A folder with one more attribute (hidden, read-only, system, ...) is listed, and a file without
// any is not. False when nothing matches.
bool EnumFilesOnlyInDirectory(const std::wstring& folder, std::vector<std::wstring>& list,
                              const std::wstring& pattern);

// Has everything in a folder moved into another at the next start of the system (MoveFileExW).
//
// A file replaces its target; a folder is scheduled before what is in it. What cannot be scheduled
// is logged and left out. Without a target nothing is scheduled. Gives 0x20ff0000, or 0xe0fe....
// with the system's code when the source cannot be listed.
std::uint32_t MoveAllFilesAfterReboot(const std::wstring& source, const std::wstring& target);

}  // namespace WyCommon::Utility
