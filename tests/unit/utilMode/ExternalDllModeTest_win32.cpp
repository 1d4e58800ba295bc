// The decision at load, with a real library in a folder made for the test.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
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

}  // namespace
