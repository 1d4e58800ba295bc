#pragma once

// Where the product lies on this machine, and what is registered of it.
//
// Vocabulary: the *product key* holds the values of the product's identity; the *base* is the
// folder of the installation, or of the running executable where nothing is installed; the *data
// roots* are folders "Korvex Data\<product id>" in the application data of the machine and of the
// user who sits at it.
//
// Nothing here fails towards its caller: what cannot be found is empty text, and a folder that
// cannot be made is named all the same. Nothing is kept between calls. All functions may run on
// any thread and raise std::bad_alloc alone. Native builds have no registry and no known folders.

#include <string>
#include <string_view>

namespace WyCommon::Utility {

// The path of the product's key under HKEY_LOCAL_MACHINE: "SOFTWARE\KorvexData\" and the product
// id. Its values are read in the 64-bit view on a 64-bit system (KEY_WOW64_64KEY).
std::wstring GetProductRegistryKey();

// Text values of the product key; empty when the value or the key is missing.
std::wstring GetProductPath();     // ProductPath: the folder of the installation
std::wstring GetWinGuid();         // WinGuid: the GUID of this installation
std::wstring GetAgentVersion();    // AgentVersion: the version of the update agent
std::wstring GetProductId();       // ProductId: the product number
std::wstring GetVendorId();        // VendorId: the vendor number
std::wstring GetProductVersion();  // ProductVersion

// The base: GetProductPath(), or GetHostModuleFolder() when that is empty.
std::wstring GetProductPathOrModuleFolder();

// The folder of the running executable without a separator at its end, its path read up to 260
// characters (GetModuleFileNameW). Empty when the path has no folder.
std::wstring GetHostModuleFolder();

// Folders below the base; not made.
std::wstring GetConfigurationFolder();  // Configuration
std::wstring GetCacheFolder();          // Cache
std::wstring GetWin32Folder();          // win32 on a 64-bit system, otherwise the base itself

// The data roots themselves; not made.
std::wstring GetCommonDataRoot();  // of the machine
std::wstring GetLocalDataRoot();   // of the user at the console

// Folders below the data root of the machine; made when they are missing.
std::wstring GetCommonCacheFolder();             // Cache
std::wstring GetExternalFolder(bool temporary);  // ExternalTmp or External

// "Cache" below the data root of the user at the console; made when it is missing. In a service it
// is that user's, too.
std::wstring GetLocalCacheFolder();

// The product's folder on an installation medium: "x64\product" below it on a 64-bit system,
// otherwise "win32\product".
std::wstring GetMediaProductFolder(const std::wstring& source);

// The text with its first folder token expanded, see WyCommon_CsidlTokens.h (SHGetFolderPathW for
// the user at the console, or for the caller where that user is not known). Unchanged when the
// token is unknown or the folder cannot be told.
std::wstring ExpandCsidlPath(const std::wstring& text);

// A path with a part appended: a "\" goes between them unless the path is empty or ends in one.
std::wstring JoinPath(std::wstring path, std::wstring_view part);

}  // namespace WyCommon::Utility
