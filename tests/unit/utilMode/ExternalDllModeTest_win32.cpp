// The decision at load, with a real library in a folder made for the test.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"
#include "utilMode/ExternalDllMode.h"
#include "utilMode/FrwkMode.h"

namespace {

namespace fs = std::filesystem;
namespace Mode = Frwk::Mode;
using KrCommon::LogLevel::kDebug;
using KrCommon::LogLevel::kInformation;
using test_support::IatPatch;
using test_support::LogRecorder;

constexpr const wchar_t* kDll = L"ModeTestLibrary.dll";
constexpr const wchar_t* kHost = L"WySvcHost.exe";

// A library loaded from a folder of its own, and the files that lie beside it.
class ExternalDllMode : public testing::Test {
protected:
    void SetUp() override {
        Mode::SetWyvarionId({});
        const fs::path dll = m_Folder.Path() / kDll;
        fs::copy_file(test_support::ProgramFolder() / "libexpat.dll", dll);
        m_hModule = LoadLibraryW(dll.c_str());
        ASSERT_NE(m_hModule, nullptr);
    }
    void TearDown() override {
        FreeLibrary(m_hModule);
        Mode::SetWyvarionId({});
    }

    void PutHosts(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            std::ofstream(m_Folder.Path() / name) << "host";
        }
    }

    test_support::TemporaryFolder m_Folder{L"wy_dll"};
    HMODULE m_hModule = nullptr;
};

TEST_F(ExternalDllMode, host_of_the_first_identity) {
    PutHosts({"WySvcHost.exe"});
    LogRecorder log;
    const Mode::ExternalDllMode decision(kDll, kHost);
    EXPECT_TRUE(log.Has(kDebug, L"utilMode: [DEBUG] [g_wszWyId=Wyvarion]"));
    EXPECT_TRUE(log.Has(kInformation, L"utilMode: [INFO] SetWyvarionID:"));
    EXPECT_EQ(log.Lines().size(), 4U);  // with the enter and leave lines
    EXPECT_EQ(Mode::GetModeId(), 0);
}

TEST_F(ExternalDllMode, host_of_the_second_identity) {
    PutHosts({"WySvcHost_P.exe"});
    LogRecorder log;
    const Mode::ExternalDllMode decision(kDll, kHost);
    EXPECT_TRUE(log.Has(kInformation, L"utilMode: [INFO] SetWyvarionID:P"));
    EXPECT_EQ(Mode::GetWyvarionId(), L"Tavrenox");
}

TEST_F(ExternalDllMode, host_of_the_third_identity) {
    PutHosts({"WySvcHost_C.exe"});
    const Mode::ExternalDllMode decision(kDll, kHost);
    EXPECT_EQ(Mode::GetWyvarionId(), L"Mirdoshale");
}

TEST_F(ExternalDllMode, first_row_wins_over_later_ones) {
    PutHosts({"WySvcHost_P.exe", "WySvcHost.exe", "WySvcHost_C.exe"});
    const Mode::ExternalDllMode decision(kDll, kHost);
    EXPECT_EQ(Mode::GetWyvarionId(), L"Wyvarion");
}

TEST_F(ExternalDllMode, second_row_wins_over_third) {
    PutHosts({"WySvcHost_C.exe", "WySvcHost_P.exe"});
    const Mode::ExternalDllMode decision(kDll, kHost);
    EXPECT_EQ(Mode::GetWyvarionId(), L"Tavrenox");
}

TEST_F(ExternalDllMode, without_a_host_the_executable_decides) {
    PutHosts({"WySvcHost_X.exe", "WySvcHost_EndFlag.exe", "Other.exe"});
    LogRecorder log;
    const Mode::ExternalDllMode decision(kDll, kHost);
    EXPECT_EQ(log.Lines().size(), 2U);  // the enter and leave lines
    EXPECT_EQ(Mode::GetWyvarionId(), L"Wyvarion");
}

TEST_F(ExternalDllMode, hosts_elsewhere_do_not_count) {
    PutHosts({"WySvcHost_P.exe"});
    const Mode::ExternalDllMode decision(L"kernel32.dll", kHost);
    LogRecorder log;
    Mode::GetWyvarionId();
    EXPECT_TRUE(log.Lines().empty()) << "a stored identity would have been logged";
}

// ---- what is asked of the system

HMODULE s_hAsked = nullptr;
DWORD s_uiLimit = 0;
std::wstring s_ModulePath;
std::vector<std::wstring> s_Searched;

DWORD WINAPI ModuleFileNameGiven(HMODULE module, LPWSTR path, DWORD size) {
    s_hAsked = module;
    s_uiLimit = size;
    // As old systems do, which cut without a NUL.
    const std::size_t length = s_ModulePath.copy(path, size);
    if (length < size) {
        path[length] = L'\0';
    }
    return static_cast<DWORD>(length);
}
HANDLE WINAPI NothingFound(LPCWSTR path, LPWIN32_FIND_DATAW) {
    s_Searched.push_back(path);
    return INVALID_HANDLE_VALUE;
}
BOOL WINAPI CloseRefused(HANDLE search) {
    static const auto close = reinterpret_cast<decltype(&FindClose)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "FindClose")));
    close(search);
    return FALSE;
}

// The files that a library at this path looks for, in order.
std::vector<std::wstring> SearchedBy(const wchar_t* library, const wchar_t* host = kHost) {
    HMODULE const program = GetModuleHandleW(nullptr);
    const IatPatch name(program, "kernel32.dll", "GetModuleFileNameW", ModuleFileNameGiven);
    const IatPatch find(program, "kernel32.dll", "FindFirstFileW", NothingFound);
    s_ModulePath = library;
    s_Searched.clear();
    const Mode::ExternalDllMode decision(kDll, host);
    return s_Searched;
}

TEST_F(ExternalDllMode, one_host_of_each_identity_is_looked_for_beside_the_library) {
    using Paths = std::vector<std::wstring>;
    EXPECT_EQ(SearchedBy(L"C:\\dir\\WySdk.dll"),
              (Paths{L"C:\\dir\\WySvcHost.exe", L"C:\\dir\\WySvcHost_P.exe",
                     L"C:\\dir\\WySvcHost_C.exe"}));
    EXPECT_EQ(s_hAsked, m_hModule);
    EXPECT_EQ(s_uiLimit, 260U);
    EXPECT_EQ(SearchedBy(L"C:\\WySdk.dll"),
              (Paths{L"C:\\WySvcHost.exe", L"C:\\WySvcHost_P.exe", L"C:\\WySvcHost_C.exe"}));
    EXPECT_EQ(SearchedBy(L"C:\\dir\\WySdk.dll", L"a.exe.exe"),
              (Paths{L"C:\\dir\\a.exe.exe", L"C:\\dir\\a_P.exe_P.exe", L"C:\\dir\\a_C.exe_C.exe"}));
}

TEST_F(ExternalDllMode, library_without_a_folder_looks_in_the_current_one) {
    EXPECT_EQ(
        SearchedBy(L"WySdk.dll"),
        (std::vector<std::wstring>{L"WySvcHost.exe", L"WySvcHost_P.exe", L"WySvcHost_C.exe"}));
}

TEST_F(ExternalDllMode, library_whose_path_cannot_be_read_looks_in_the_current_folder) {
    EXPECT_EQ(SearchedBy(L""), (std::vector<std::wstring>{L"WySvcHost.exe", L"WySvcHost_P.exe",
                                                          L"WySvcHost_C.exe"}));
}

TEST_F(ExternalDllMode, path_beyond_260_characters_is_cut) {
    const std::wstring folder = L"C:\\" + std::wstring(257, L'd');
    EXPECT_EQ(SearchedBy((folder + L"\\WySdk.dll").c_str()),
              (std::vector<std::wstring>{L"C:\\WySvcHost.exe", L"C:\\WySvcHost_P.exe",
                                         L"C:\\WySvcHost_C.exe"}));
    const std::wstring shorter = L"C:\\" + std::wstring(256, L'd');
    EXPECT_EQ(SearchedBy((shorter + L"\\WySdk.dll").c_str()).at(0), shorter + L"\\WySvcHost.exe");
}

TEST_F(ExternalDllMode, host_whose_search_does_not_close_does_not_count) {
    PutHosts({"WySvcHost_P.exe"});
    LogRecorder log;
    {
        const IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "FindClose", CloseRefused);
        const Mode::ExternalDllMode decision(kDll, kHost);
    }
    EXPECT_EQ(log.CountContaining(L"SetWyvarionID"), 0U);
    EXPECT_EQ(Mode::GetWyvarionId(), L"Wyvarion");
}

TEST_F(ExternalDllMode, executable_of_no_identity_is_looked_at_again_by_each_question) {
    const IatPatch name(GetModuleHandleW(nullptr), "kernel32.dll", "GetModuleFileNameW",
                        ModuleFileNameGiven);
    s_ModulePath = L"C:\\dir_P\\Console_Q.exe";
    s_hAsked = m_hModule;
    EXPECT_EQ(Mode::GetWyvarionId(), L"");
    EXPECT_EQ(Mode::GetModeId(), -1);
    EXPECT_EQ(s_hAsked, nullptr);
    EXPECT_EQ(s_uiLimit, 260U);
    s_ModulePath = L"C:\\dir\\Console_p.exe";
    EXPECT_EQ(Mode::GetWyvarionId(), L"Tavrenox");
    // From here on it is stored.
    s_ModulePath = L"C:\\dir\\Console_C.exe";
    EXPECT_EQ(Mode::GetWyvarionId(), L"Tavrenox");
}

}  // namespace
