#pragma once

// Files and folders by name. For Windows builds alone.
//
// Paths are wide, their separator is "\"; a folder may be given with or without one at its end. No
// length is fixed here: a path may be as long as the system's call takes it, which is 32 767
// characters behind "\\?\". A junction or link to a folder counts as the folder it points to.
//
// Nothing fails but by its result; what went wrong stands in the log, and as a Win32 code in
// `error` where there is one (null is allowed). Only a lack of memory raises (std::bad_alloc).
// All functions may run on any thread. Trees of any depth are walked without recursion.

#include <cstdint>
#include <string>

namespace KrCommon::Storage::File {

// True when a file or folder has this name (FindFirstFileW). `error` is 0 then, 160 for an empty
// path, and otherwise what the system said.
bool Exists(const std::wstring& path, std::uint32_t* error);

// Copies the files of one folder that match a pattern (CopyFileW), folders not.
//
// The read-only mark of each target is taken away before and after its copy. A copy that fails
// makes the result false and does not stop the others; with `failIfExists` the error 183 is no
// failure, which CopyFileW does not give for an existing target (80 is one). No match is false.
bool CopyFile(const std::wstring& sourceDir, const std::wstring& pattern,
              const std::wstring& targetDir, bool failIfExists);

// Empties a folder with all folders in it; the folder itself stays.
//
// What cannot be deleted is no failure: it is left to the next start of the system (MoveFileExW)
// and `rebootNeeded` becomes true, which is otherwise left as it was. False only for an empty
// name (160) and when a folder cannot be listed; the walk goes on beside the latter, and `error`
// is the last such folder's code. A success gives `error` 0.
bool DeleteAllFiles(const std::wstring& dir, bool& rebootNeeded, std::uint32_t* error);

// Makes a folder and every folder above it that is missing (CreateDirectoryW).
//
// Any name that exists is left alone and counts, also that of a file. `error` is set by a call of
// the system that fails; 183, a folder that another made meanwhile, does not stop the way.
bool CreateDirectories(const std::wstring& path, std::uint32_t* error);

// The folder "temp" of the system's folder (GetWindowsDirectoryW); it need not exist. On failure
// `out` is as it was.
bool GetWindowsTempFolder(std::wstring& out);

}  // namespace KrCommon::Storage::File
