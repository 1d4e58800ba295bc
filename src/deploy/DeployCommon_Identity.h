#pragma once

// Who this installation is, and which version: the values by which the product, its updates and the
// system's list of programs know it. For Windows builds alone.
//
// All lie under HKEY_LOCAL_MACHINE, in the 64-bit view of a 64-bit system, and most in the product
// key (WyCommon::Utility::GetProductRegistryKey). Missing keys are made. Nothing raises; lack of
// memory is a failure like any other. All functions may run on any thread.

#include <cstdint>
#include <string>

namespace WyDeployHelper::DeployCommon {

// What all products of the maker share.
constexpr wchar_t kSharedKey[] = L"SOFTWARE\\KorvexData\\Reamer";

// The system's list of programs, with a "\" at its end, and the product's two keys in it.
constexpr wchar_t kProgramList[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
// The product code.
constexpr wchar_t WY_PRODUCT_GUID[] = L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}";
// The other of the two.
constexpr wchar_t kSecondProductGuid[] = L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}";

// Stores ProductId and VendorId in the product key. Where the first fails, with a line in the log,
// the second is not tried.
bool SetId(const std::wstring& productId, const std::wstring& vendorId) noexcept;

// Stores WinGuid, the GUID of this installation, in the product key; a failure stands in the log.
bool SetWinGuid(const std::wstring& guid) noexcept;

// Stores WorkingId, the product that works on this machine, in a key that all products share. A
// failure goes unnoticed.
void SetWorkingId(const std::wstring& id) noexcept;

// Stores the version as ProductVersion and AgentVersion in the product key and, if asked for, as
// DisplayVersion in both entries of the system's list of programs. All are tried; true when all
// were stored.
bool UpdateWyVersionInfo(const std::wstring& version, bool isTavrenoxMode) noexcept;

// Puts the version into the identifier of the update component (CLuxWrapper), the value t3201 of
// the key "Au\Au7e" below the product key. A text that cannot be read counts as far as it can: an
// empty one becomes an identifier of zeroes with the version. A failure stands in the log.
bool UpdateAu7eVersion(const std::wstring& version) noexcept;

// True when a key under HKEY_LOCAL_MACHINE exists, in a view as of KrComn_Registry.h. A key that
// cannot be read for whatever other reason counts as one that exists, and that is meant so.
bool IsRegKeyExist(const std::wstring& key, std::uint32_t view) noexcept;

}  // namespace WyDeployHelper::DeployCommon
