#include "Common/KrCommon/KrComn_CreationNames.h"

#include <gtest/gtest.h>

#include <process.h>

#include <string>

#include "support/RunProgram.h"

namespace {

using KrCommon::CreationNames;

TEST(CreationNames, prefix_is_put_before_a_name_that_does_not_have_it) {
    const struct {
        const wchar_t* name;
        const wchar_t* global;
        const wchar_t* local;
    } rows[] = {
        {L"", L"", L""},
        {L"a", L"Global\\a", L"Local\\a"},
        {L"Global\\a", L"Global\\a", L"Local\\Global\\a"},
        {L"Local\\a", L"Global\\Local\\a", L"Local\\a"},
        {L"a Global\\b", L"a Global\\b", L"Local\\a Global\\b"},
        {L"Global\\Local\\a", L"Global\\Local\\a", L"Global\\Local\\a"},
        {L"Global\\", L"Global\\", L"Local\\Global\\"},
        {L"Global", L"Global\\Global", L"Local\\Global"},
        {L"global\\a", L"Global\\global\\a", L"Local\\global\\a"},
    };
    for (const auto& row : rows) {
        const CreationNames names(row.name);
        EXPECT_EQ(names.GetGlobalName(), row.global) << &row - rows;
        EXPECT_EQ(names.GetLocalName(), row.local) << &row - rows;
    }
}

TEST(CreationNames, prefixes_are_for_systems_that_are_known_to_have_namespaces) {
    const struct {
        const char* what;
        const wchar_t* platform;
        const wchar_t* major;
        const wchar_t* smallError;
        const wchar_t* extendedError;
        int exitCode;  // of the probe: 1 with prefixes, 0 without
    } rows[] = {
        {"Windows 98", L"1", L"4", L"0", L"0", 0},
        {"Windows NT 4", L"2", L"4", L"0", L"0", 0},
        {"Windows 2000", L"2", L"5", L"0", L"0", 1},
        {"Windows 10", L"2", L"10", L"0", L"0", 1},
        {"version not told", L"2", L"10", L"1150", L"1150", 0},
        {"extended version not told", L"2", L"10", L"0", L"1150", 0},
    };
    const std::wstring probe = (test_support::ProgramFolder() / "CreationNamesProbe.exe").wstring();
    for (const auto& row : rows) {
        EXPECT_EQ(_wspawnl(_P_WAIT, probe.c_str(), L"probe", row.platform, row.major,
                           row.smallError, row.extendedError, nullptr),
                  row.exitCode)
            << row.what;
    }
}

}  // namespace
