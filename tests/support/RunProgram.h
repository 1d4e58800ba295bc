#pragma once

// Other programs, as tests run them.

#include <filesystem>

namespace test_support {

// The folder of the running test program; other test programs lie beside it.
std::filesystem::path ProgramFolder();

// Runs a program without arguments to its end. Gives its exit code, or -1 when it could not be
// started or was ended from outside.
int RunProgram(const std::filesystem::path& program);

}  // namespace test_support
