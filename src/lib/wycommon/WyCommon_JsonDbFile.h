#pragma once

// Opens the files of JSON databases: streams take wide paths on Windows alone.

#include <cstdint>
#include <fstream>
#include <string>

namespace WyCommon::JsonDb::Platform {

// Open the file in text mode; the stream is in a failed state when that did not work. Paths have
// "\" as separator.
void Open(std::ofstream& file, const std::wstring& path);
void Open(std::ifstream& file, const std::wstring& path);

// The system's code of the last failure (GetLastError).
std::uint32_t LastError() noexcept;

}  // namespace WyCommon::JsonDb::Platform
