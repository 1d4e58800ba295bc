#pragma once

// The product identity of this process.
//
// One build serves three identities; a table of (mode id, product id, executable suffix) names
// them. The identity decides registry root, endpoint name, file names and data folders. It is
// found once, at load or at the first question, and stays for the life of the process.
//
// The questions may be asked on any thread and take no lock. SetWyvarionId() MUST NOT run beside
// them: it belongs to load time, and to the start of programs that choose their identity.

#include <cstdint>
#include <string>

namespace Frwk::Mode {

// One identity. A row with id -1 ends the table.
struct Row {
    std::int32_t iModeId;
    const wchar_t* wszName;
    const wchar_t* wszSuffix;  // behind "_" in the names of the identity's executables
};

// The mode id of Tavrenox, the one identity that knows re-installs, system checks and shortcuts.
constexpr std::int32_t kTavrenoxMode = 1;

// The rows in order, the end row included.
const Row* Table();
// True for a row that ends a scan.
bool IsEnd(const Row& row);

// The product id, for example "Wyvarion"; found by the suffix of the running executable when it
// was not set. Empty while no row of the table matches, and then looked for again at each call.
std::wstring GetWyvarionId();

// Stores the product id, cut to what a buffer of 260 characters holds.
void SetWyvarionId(const std::wstring& name);

// The mode id of the current product id, case ignored, or -1 when the table does not know it.
std::int32_t GetModeId();

// The name with the current identity's suffix put before its extension ("X_P.exe" for "X.exe").
std::wstring GetModeFileName(const std::wstring& name);

// The name with a suffix put before every occurrence of its extension; unchanged for an empty
// suffix and for a name without extension.
std::wstring WithSuffix(const std::wstring& name, const std::wstring& suffix);

}  // namespace Frwk::Mode
