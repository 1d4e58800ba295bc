#pragma once

// The deployment of a downloaded update: copied beside the product at once, moved into it at the
// next start of the system. For Windows builds alone.

#include <cstdint>
#include <string>

namespace UpdateDeploy {

// The folder beside the product that keeps an update until the next start of the system: the
// product's own name with "AuTemp" behind it.
std::wstring TemporaryFolder(const std::wstring& productPath);

// Copies the download folder into the temporary one and queues all that is there for the product
// folder, the temporary folder itself for its removal.
//
// Null is no download path (0xe0ff0007); one that does not exist is 0xe0ff0002. A copy that fails
// is 0xe0fe.... with the system's code, and what was copied stays. What cannot be queued is logged
// and left out. Without a product path the copy goes to the present folder and nothing is queued.
// Raises std::bad_alloc.
std::uint32_t Deploy(const wchar_t* downloadPath, const std::wstring& productPath);

}  // namespace UpdateDeploy
