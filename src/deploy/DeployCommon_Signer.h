#pragma once

// Whose a program is. For Windows builds alone.

#include <string>

namespace WyDeployHelper::DeployCommon {

// True when the file carries a signature whose certificate is in the maker's name: its simple
// display name, up to 100 characters, contains "Korvex Data" or "KorvexData", case respected.
//
// The name alone is read (CryptQueryObject, CertGetNameStringW). Neither the signature nor who
// issued the certificate is checked: this tells the maker's files from those of others who mean no
// harm, and proves nothing. No signature, no file, or a step that fails is false. Never raises.
bool IsMakerSignedFile(const std::wstring& path) noexcept;

}  // namespace WyDeployHelper::DeployCommon
