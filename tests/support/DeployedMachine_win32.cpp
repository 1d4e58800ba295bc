#include "support/DeployedMachine_win32.h"

#include <algorithm>
#include <utility>

#include "Common/KrCommon/KrComn_String.h"

namespace test_support {

namespace {

using KrCommon::String::EqualNoCase;

constexpr wchar_t kMakerKey[] = L"SOFTWARE\\KorvexData";
constexpr const wchar_t* kProgramEntries[] = {
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
    L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}",
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
    L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}",
};
constexpr wchar_t kRunKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kProductGuid[] = L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}";

// The path itself, or something below it.
bool IsAtOrBelow(const std::wstring& path, const std::wstring& folder) {
    return BeginsWithNoCase(path, folder) &&
           (path.size() == folder.size() || path[folder.size()] == L'\\' ||
            path[folder.size()] == L':');
}

std::wstring Parent(const std::wstring& path) {
    return path.substr(0, path.rfind(L'\\'));
}

std::wstring Environment(const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    GetEnvironmentVariableW(name, text, MAX_PATH);
    return text;
}

std::wstring WindowsFolder() {
    wchar_t text[MAX_PATH] = {};
    GetWindowsDirectoryW(text, MAX_PATH);
    return text;
}

std::wstring CommonData() {
    return Environment(L"ProgramData") + L"\\Korvex Data";
}

std::wstring LocalData() {
    return Environment(L"LOCALAPPDATA") + L"\\Korvex Data";
}

std::wstring RebootMark(const ProductPlaces& places) {
    return WindowsFolder() + L"\\temp\\" + places.id + L"Temp.dat";
}

std::wstring TaskFile(const ProductPlaces& places) {
    return WindowsFolder() + L"\\system32\\tasks\\Downloader of Korvex Data " + places.id;
}

std::wstring ServiceName(const ProductPlaces& places) {
    return places.id + L" Host Service";
}

std::wstring Backup(const ProductPlaces& places) {
    return Parent(places.installDir) + L"\\WyvarionBackup";
}

// "HKLM 64 " and its like, for a key or value in the half of the registry that is the product's.
std::wstring ProductHalf() {
    return Is64BitSystem() ? L"HKLM 64 " : L"HKLM 32 ";
}

bool IsPathOfProduct(const std::wstring& path, const ProductPlaces& places) {
    const std::wstring common = CommonData() + L"\\" + places.id;
    const std::wstring local = LocalData() + L"\\" + places.id;
    for (const std::wstring& folder : {places.installDir, Backup(places), common, local}) {
        if (IsAtOrBelow(path, folder))
            return true;
    }
    return EqualNoCase(path, RebootMark(places)) || EqualNoCase(path, TaskFile(places)) ||
           // The folders in which those lie are made with them.
           IsAtOrBelow(common, path) || IsAtOrBelow(local, path) ||
           IsAtOrBelow(places.installDir, path);
}

bool IsKeyOfProduct(const std::wstring& path, const ProductPlaces& places) {
    const std::wstring maker = kMakerKey;
    for (const std::wstring& key :
         {maker + L"\\" + places.id, maker + L"\\Reamer", std::wstring(kProgramEntries[0]),
          std::wstring(kProgramEntries[1])}) {
        if (IsAtOrBelow(path, key))
            return true;
    }
    return EqualNoCase(path, maker) || EqualNoCase(path, kRunKey + (L": " + places.id));
}

// What an uninstall leaves on purpose.
bool Stays(const std::wstring& thing, const ProductPlaces& places, bool waitsForReboot) {
    if (const std::wstring path = PathOfThing(thing); !path.empty()) {
        const bool isFolder = thing.starts_with(L"folder ");
        if (IsAtOrBelow(path, Backup(places)))
            return true;
        if (isFolder &&
            (IsAtOrBelow(Parent(places.installDir), path) ||
             IsAtOrBelow(CommonData() + L"\\" + places.id, path) || IsAtOrBelow(LocalData(), path)))
            return true;
        return waitsForReboot && IsPathOfProduct(path, places);
    }
    const std::wstring path = RegistryPathOfThing(thing);
    if (path.empty())
        return false;
    const std::wstring shared = std::wstring(kMakerKey) + L"\\Reamer";
    if (IsAtOrBelow(path, shared))
        return !path.ends_with(L": WorkingId");
    return IsAtOrBelow(path, kProgramEntries[0]) || IsAtOrBelow(path, kProgramEntries[1]);
}

// What must be there of a product that is fully installed.
MachineThings ThingsOf(const InstalledProduct& product) {
    const ProductPlaces& places = product.places;
    const auto value = [&](const wchar_t* name) { return ProductValueName(places, name); };
    const std::wstring suffix = product.isTavrenox ? L"_P.exe" : L".exe";
    MachineThings things = product.more;
    for (const auto& [name, hash] : product.files)
        things[L"file " + places.installDir + L"\\" + name] = hash;
    things[value(L"ProductGuid")] = TextValue(kProductGuid);
    things[value(L"SourceDir")] = TextValue(product.packageDir);
    things[value(L"ProductPath")] = TextValue(places.installDir);
    things[value(L"ProductId")] = TextValue(product.productId);
    things[value(L"VendorId")] = TextValue(product.vendorId);
    things[value(L"InstallStatus")] = NumberValue(product.isPostInstalled ? 0 : 1);
    if (!product.isPostInstalled)
        return things;
    for (const wchar_t* name : {L"ProductVersion", L"AgentVersion"})
        things[value(name)] = TextValue(product.version);
    things[ProductHalf() + kRunKey + L": " + places.id] =
        TextValue(L"\"" + places.installDir + L"\\WySessionAgent" + suffix + L"\" 1");
    const std::wstring service = L"service " + ServiceName(places);
    things[service] = L"type 16, start 2, errors 1, program \"\"" + places.installDir +
                      L"\\WySvcHost" + suffix + L"\"\", as \"LocalSystem\", shown as \"" +
                      ServiceName(places) +
                      L"\", described as \"Provides system optimization functionality\"";
    things[service + L", state"] = product.isServiceRunning ? L"running" : L"stopped";
    if (product.isTavrenox) {
        things[ProductHalf() + kMakerKey + L"\\Reamer: WorkingId"] = TextValue(places.id);
        for (const wchar_t* entry : kProgramEntries)
            things[ProductHalf() + entry + L": DisplayVersion"] = TextValue(product.version);
    }
    return things;
}

bool IsInOwnFolder(const InstalledProduct& product, const std::wstring& path) {
    return std::any_of(product.ownFolders.begin(), product.ownFolders.end(),
                       [&](const std::wstring& folder) {
                           return IsAtOrBelow(path, product.places.installDir + L"\\" + folder);
                       });
}

}  // namespace

MachineScope ScopeOf(const ProductPlaces& places, std::vector<std::wstring> folders) {
    MachineScope scope;
    scope.folders = std::move(folders);
    scope.folders.push_back(CommonData());
    scope.folders.push_back(LocalData());
    scope.files = {RebootMark(places), TaskFile(places)};
    scope.keys = {kMakerKey, kProgramEntries[0], kProgramEntries[1]};
    scope.values = {{kRunKey, places.id}};
    scope.services = {ServiceName(places)};
    scope.events = {L"Global\\WATCHDOG_EVENT_STOP_WATCHDOG" + places.id,
                    L"Global\\WATCHDOG_NOTIFY_WATCHDOG_EXIT" + places.id};
    return scope;
}

std::string NotInstalled(const InstalledProduct& product, const MachineThings& now) {
    std::string text;
    for (const auto& [name, value] : ThingsOf(product)) {
        const auto found = now.find(name);
        if (found == now.end()) {
            text += DifferenceLine("missing: ", name, value);
        } else if (found->second != value) {
            text += DifferenceLine("different: ", name, found->second + L", and not " + value);
        }
    }
    const ProductPlaces& places = product.places;
    const auto guid = now.find(ProductValueName(places, L"WinGuid"));
    if (guid == now.end() || guid->second == TextValue({}))
        text += "missing: WinGuid\n";
    for (const auto& [name, value] : now) {
        const std::wstring path = name.starts_with(L"file ") ? PathOfThing(name) : std::wstring();
        if (IsAtOrBelow(path, places.installDir) && !IsInOwnFolder(product, path) &&
            product.files.count(path.substr(places.installDir.size() + 1)) == 0)
            text += DifferenceLine("too much: ", name, value);
    }
    return text;
}

std::string NotGone(const MachineThings& clean, const MachineThings& now,
                    const ProductPlaces& places, bool waitsForReboot) {
    std::string text = Difference(clean, now, [&](const std::wstring& name) {
        // The maker's key goes with the last one in it.
        return !EqualNoCase(RegistryPathOfThing(name), kMakerKey) &&
               (!Stays(name, places, waitsForReboot) || clean.count(name) != 0);
    });
    for (const wchar_t* half : {L"HKLM 64 ", L"HKLM 32 ", L"HKCU 64 ", L"HKCU 32 "}) {
        const std::wstring maker = half + std::wstring(kMakerKey);
        const bool isEmpty = std::none_of(now.begin(), now.end(), [&](const auto& thing) {
            return thing.first != maker && IsAtOrBelow(thing.first, maker);
        });
        if (now.count(maker) != 0 && clean.count(maker) == 0 && isEmpty)
            text += DifferenceLine("+ ", maker, L"an empty key");
    }
    return text;
}

std::string ForeignDifference(const MachineThings& before, const MachineThings& after,
                              const ProductPlaces& places) {
    return Difference(before, after,
                      [&](const std::wstring& name) { return !IsOfProduct(name, places); });
}

bool IsOfProduct(const std::wstring& thing, const ProductPlaces& places) {
    for (const std::wstring& beginning : places.more) {
        if (BeginsWithNoCase(thing, beginning))
            return true;
    }
    if (const std::wstring path = PathOfThing(thing); !path.empty())
        return IsPathOfProduct(path, places);
    if (const std::wstring path = RegistryPathOfThing(thing); !path.empty())
        return IsKeyOfProduct(path, places);
    return thing.starts_with(L"service " + ServiceName(places)) || thing.ends_with(places.id);
}

std::wstring ProductValueName(const ProductPlaces& places, const std::wstring& name) {
    return ProductHalf() + kMakerKey + L"\\" + places.id + L": " + name;
}

}  // namespace test_support
