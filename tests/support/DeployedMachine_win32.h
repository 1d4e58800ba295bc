#pragma once

// What must be on a machine at which time of a product's life.
//
//     const ProductPlaces places{.id = L"Wyvarion", .installDir = L"C:\\Maker\\Wy"};
//     const MachineScope scope = ScopeOf(places, {L"C:\\Maker"});
//     const MachineThings clean = LookAt(scope);
//     ...install...
//     EXPECT_EQ("", NotInstalled(product, LookAt(scope)));
//     ...uninstall...
//     EXPECT_EQ("", NotGone(clean, LookAt(scope), places));
//
// "As before" is Difference(). The answers are empty when all is as it must be, and otherwise one
// line for each thing that is not.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "support/MachineThings_win32.h"

namespace test_support {

// Where one product lies. Folders come without a "\" at their end.
struct ProductPlaces {
    std::wstring id;
    std::wstring installDir;
    // Beginnings of names of things that the package's own manifest and tools make besides:
    // L"HKLM 64 SOFTWARE\\Maker", L"file C:\\shortcuts".
    std::vector<std::wstring> more = {};
};

// All that a product may have on a machine, and `folders`: the maker's keys and data folders, both
// entries in the list of programs, the autorun value, the service, the watchdog's events, the
// scheduled task, the mark of a pending reboot.
MachineScope ScopeOf(const ProductPlaces& places, std::vector<std::wstring> folders);

// What a product is when it is fully installed.
struct InstalledProduct {
    ProductPlaces places;
    bool isTavrenox = false;
    std::wstring productId;  // the arguments of the install
    std::wstring vendorId;
    std::wstring packageDir;
    std::wstring version = L"3.1.1158";
    bool isPostInstalled = true;  // the second phase is done: it is started and known as installed
    bool isServiceRunning = true;
    // The files of the install folder by their paths below it, as FilesOf() gives them, and no
    // other file is there but those below `ownFolders`.
    std::map<std::wstring, std::wstring> files;
    std::vector<std::wstring> ownFolders;
    // Further things that must be there, with their values.
    MachineThings more;
};

// What is missing, different, or too much in the install folder.
std::string NotInstalled(const InstalledProduct& product, const MachineThings& now);

// What is left of a product that is uninstalled, against the machine before it came: everything
// that is different but for what stays by intention. That is the old folder that an upgrade has
// left beside the install folder, the folders in which the product's own folders lay, both entries
// in the list of programs, the key "Reamer" of the maker (but for WorkingId), and the maker's key
// as long as another one lies in it.
//
// With `waitsForReboot` files of the product may still be there that the next start of the system
// deletes, and so may the mark that says so.
std::string NotGone(const MachineThings& clean, const MachineThings& now,
                    const ProductPlaces& places, bool waitsForReboot = false);

// What has changed of all that is not the product's.
std::string ForeignDifference(const MachineThings& before, const MachineThings& after,
                              const ProductPlaces& places);

// True when a thing may be the product's: of its folders, keys, values, service, events, and what
// waits for the next start in them.
bool IsOfProduct(const std::wstring& thing, const ProductPlaces& places);

// "HKLM 64 SOFTWARE\KorvexData\X: name", in the view where the product has its values.
std::wstring ProductValueName(const ProductPlaces& places, const std::wstring& name);

}  // namespace test_support
