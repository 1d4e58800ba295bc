#pragma once

// What is on a machine at one moment: files, keys and values of the registry, services, named
// events, and what waits for the next start of the system.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

// Things by their names, and what they are:
//
//     file C:\a.txt                        12 bytes, 00c0ffee00c0ffee (hash of its bytes)
//     folder C:\a                          folder
//     HKLM 64 SOFTWARE\Key                 key
//     HKCU 32 SOFTWARE\Key: name           text "...", number 1, or type and bytes
//     service X Host Service               its configuration
//     service X Host Service, state        running, stopped, ...
//     event Global\X                       event
//     at the next start: \??\C:\a ->       once (a deletion or move that waits for it)
//
// Whatever the system refuses to tell has its error as its value. Each key of the registry stands
// there in both views; on a 32-bit system they are the same.
using MachineThings = std::map<std::wstring, std::wstring>;

// What is looked at. Folders come without a "\" at their end.
struct MachineScope {
    std::vector<std::wstring> folders;  // each with all that is in it
    std::vector<std::wstring> files;    // by their whole paths
    std::vector<std::wstring> keys;     // with all that is below them, in both hives and views
    std::vector<std::pair<std::wstring, std::wstring>> values;  // key and name, the same
    std::vector<std::wstring> services;
    std::vector<std::wstring> events;
    // Paths that begin so are left out: logs that are never the same twice.
    std::vector<std::wstring> leftOut;
};

// The machine at this moment, with all that waits for the next start of the system.
MachineThings LookAt(const MachineScope& scope);

// One line for each thing that is not the same: "+ thing: value" for what is new, "- ..." for what
// is gone, "~ thing: old -> new" for the rest. Empty when there is none. The second form is for
// some things alone.
std::string Difference(const MachineThings& before, const MachineThings& after);
std::string Difference(const MachineThings& before, const MachineThings& after,
                       const std::function<bool(const std::wstring& thing)>& isMeant);
std::string DifferenceLine(const char* sign, const std::wstring& thing, const std::wstring& text);

// The files of one folder by their paths below it, and one file, with what LookAt() tells of them.
std::map<std::wstring, std::wstring> FilesOf(const std::wstring& folder);
std::wstring HashOfFile(const std::wstring& path);

// The values of values of the registry as LookAt() tells them.
std::wstring TextValue(const std::wstring& text);
std::wstring NumberValue(std::uint32_t number);

// The path of a file or folder, or of what waits for the next start; empty for other things.
std::wstring PathOfThing(const std::wstring& thing);
// A thing of the registry without hive and view: the key, with ": name" behind it for a value.
// Empty for other things.
std::wstring RegistryPathOfThing(const std::wstring& thing);

// True on a 64-bit system, whatever this process is.
bool Is64BitSystem();

// Paths, and names of the registry, ignore case.
bool BeginsWithNoCase(const std::wstring& text, const std::wstring& beginning);

}  // namespace test_support
