#pragma once

// What a package does to a machine: the package's InstCfg.xml.
//
//     <Product>
//       <RegistryGroup>
//         <RegistryKey Id="" Action="create" Root="HKLM" Key="" Platform=""/>
//         <RegistryValue Id="" Action="write" AllAccess="yes" Root="HKLM" Key="" Name="" Value=""
//                        Type="string" Platform=""/>
//       </RegistryGroup>
//       <FileGroup>
//         <File Id="" Action="write" Overwrite="yes" Name="*.dll" SourceDir="" TargetDir=""
//               Platform="x64"/>
//         <Folder Id="" Action="write" Overwrite="yes" KeyModule="" SourceDir="" TargetDir=""
//                 Platform="win32"/>
//       </FileGroup>
//     </Product>
//
// Of two groups with the same name the first one counts. Items of a group may stand in any number
// and order; elements and attributes with other names, and items anywhere else, are passed over.
// Names have to be written as above, letter by letter.

#include <string>
#include <vector>

namespace WyDeployHelper::DeployCommon {

// An item as it stands in the file: each attribute is a text that nobody has judged, empty where
// it is missing. Characters beyond ASCII are widened byte by byte (KrComn_XmlText.h).
struct RegistryKeyRecord {
    std::wstring id;
    std::wstring action;
    std::wstring root;
    std::wstring key;
    std::wstring platform;
};

struct RegistryValueRecord {
    std::wstring id;
    std::wstring action;
    std::wstring allAccess;
    std::wstring root;
    std::wstring key;
    std::wstring name;
    std::wstring value;
    std::wstring type;
    std::wstring platform;
};

struct FileRecord {
    std::wstring id;
    std::wstring action;
    std::wstring overwrite;
    std::wstring name;  // of a folder: KeyModule
    std::wstring sourceDir;
    std::wstring targetDir;
    std::wstring platform;
};

// The items of a manifest by kind, each kind in the order of the file. Belongs to one thread.
struct PackageManifest {
    std::vector<RegistryKeyRecord> registryKeys;
    std::vector<RegistryValueRecord> registryValues;
    std::vector<FileRecord> files;
    std::vector<FileRecord> folders;

    // Reads the file and replaces the lists by what it says. Without `withRegistry` the lists of
    // the registry are not looked for, and stay as they are.
    //
    // `pathOfDll` is the folder of the XML library, `configPath` the file. False, with a line in
    // the log, when the file is missing or cannot be read, when it is no such document, or when
    // memory is short; lists that were read before that, or are half full, stay.
    bool Read(const std::wstring& pathOfDll, const std::wstring& configPath,
              bool withRegistry) noexcept;
};

}  // namespace WyDeployHelper::DeployCommon
