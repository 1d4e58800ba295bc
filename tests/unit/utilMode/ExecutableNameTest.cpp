// The identity that a program finds by its own name: the probe beside this program is copied
// under many names and run.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

TEST(ExecutableName, suffix_decides_the_identity) {
    const fs::path probe = test_support::ProgramFolder() / WY_MODE_PROBE;
    ASSERT_TRUE(fs::exists(probe)) << probe;
    const test_support::TemporaryFolder folder(L"wy_mode");
    const struct {
        const char* name;
        int mode;
    } rows[] = {
        {"WySvcHost.exe", 0},   {"WySvcHost_P.exe", 1}, {"WySvcHost_p.exe", 1},
        {"WySvcHost_C.exe", 2}, {"WySvcHost_c.exe", 2}, {"A_P_C.exe", 2},
        {"A_C_P.exe", 1},       {"A_.exe", 0},          {"A_X.exe", -1},
        {"A_PC.exe", -1},       {"A_P.b.exe", -1},      {"A.b_P.exe", 1},
        {"A_EndFlag.exe", -1},  {"_P.exe", 1},
    };
    for (const auto& row : rows) {
        const fs::path program = folder.Path() / row.name;
        fs::copy_file(probe, program, fs::copy_options::overwrite_existing);
        const int expected = row.mode == -1 ? 99 : row.mode;
        EXPECT_EQ(test_support::RunProgram(program), expected) << row.name;
        fs::remove(program);
    }
}

}  // namespace
