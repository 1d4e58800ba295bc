#pragma once

// Where the product lies on this machine.
//
// Nothing here fails towards its caller: what cannot be found is empty text. All functions may run
// on any thread and raise std::bad_alloc alone.

#include <string>

namespace WyCommon::Utility {

// The path of the product's key under HKEY_LOCAL_MACHINE: "SOFTWARE\KorvexData\" and the product
// id.
std::wstring GetProductRegistryKey();

// The folder in which the product is installed: the text value "ProductPath" of the product's
// key. Empty when the product is not installed, and in native builds.
std::wstring GetProductPath();

}  // namespace WyCommon::Utility
