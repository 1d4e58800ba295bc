#include "support/IatPatch.h"

namespace {

using test_support::IatPatch;
using test_support::ImportTable;

HMODULE ThisProgram() {
    return GetModuleHandleW(nullptr);
}

// A function of its own: the compiler may read an import's address once for a whole function.
[[gnu::noinline]] DWORD Ask() {
    return GetCurrentProcessId();
}

DWORD WINAPI AnswerSeven() {
    return 7;
}

DWORD WINAPI AnswerEight() {
    return 8;
}

TEST(IatPatch, module_calls_the_stand_in_until_the_scope_ends) {
    const DWORD real = Ask();
    {
        const IatPatch patch(ThisProgram(), "kernel32.dll", "GetCurrentProcessId", AnswerSeven);
        EXPECT_EQ(7u, Ask());
        EXPECT_EQ(real, patch.Original<DWORD WINAPI()>()());
    }
    EXPECT_EQ(real, Ask());
}

TEST(IatPatch, patches_of_one_import_nest) {
    const DWORD real = Ask();
    {
        const IatPatch first(ThisProgram(), "kernel32.dll", "GetCurrentProcessId", AnswerSeven);
        {
            const IatPatch second(ThisProgram(), "kernel32.dll", "GetCurrentProcessId",
                                  AnswerEight);
            EXPECT_EQ(8u, Ask());
        }
        EXPECT_EQ(7u, Ask());
    }
    EXPECT_EQ(real, Ask());
}

TEST(IatPatch, library_names_ignore_case_and_function_names_do_not) {
    const ImportTable table(ThisProgram());
    EXPECT_NE(nullptr, table.Find("KERNEL32.DLL", "GetCurrentProcessId"));
    EXPECT_EQ(table.Find("KERNEL32.DLL", "GetCurrentProcessId"),
              table.Find("kernel32.dll", "GetCurrentProcessId"));
    EXPECT_EQ(nullptr, table.Find("kernel32.dll", "getcurrentprocessid"));
}

TEST(IatPatch, missing_import_raises_instead_of_patching_nothing) {
    EXPECT_THROW(IatPatch(ThisProgram(), "kernel32.dll", "NoSuchFunction", AnswerSeven),
                 std::runtime_error);
    EXPECT_THROW(IatPatch(ThisProgram(), "nosuch.dll", "GetCurrentProcessId", AnswerSeven),
                 std::runtime_error);
}

TEST(IatPatch, other_modules_keep_the_real_function) {
    const auto find = [](const char* name) {
        return reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name));
    };
    void* const real = find("GetCurrentProcessId");
    const IatPatch patch(ThisProgram(), "kernel32.dll", "GetCurrentProcessId", AnswerSeven);
    EXPECT_EQ(real, find("GetCurrentProcessId"));
}

}  // namespace
