#pragma once

// The product identity of this process.
//
// One build serves three identities; a table of (mode id, product id, executable suffix) names
// them. The identity decides registry root, endpoint name, file names and data folders. It is
// found once, at load or at the first question, and stays for the life of the process; nothing
// here takes a lock.

#include <string>

namespace Frwk::Mode {

// The product id, for example "Wyvarion"; found by the suffix of the running executable when it
// was not set. Empty while no row of the table matches.
std::wstring GetWyvarionId();

// Stores the product id, cut to what a buffer of 260 characters holds.
void SetWyvarionId(const std::wstring& name);

// The mode id of the current product id, or -1 when the table does not know it.
int GetModeId();

// The name with the current identity's suffix put before its extension ("_P.exe" for ".exe").
std::wstring GetModeFileName(const std::wstring& name);

}  // namespace Frwk::Mode
