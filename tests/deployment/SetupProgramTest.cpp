// The set-up program of a package, as a person starts it: the library of the package in a process
// of its own, which ends the product's programs through the launcher and library of the package.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "deployment/SetupMachine_win32.h"

namespace deployment_test {

namespace {

using ::testing::ElementsAre;

// The set-up's exit code, and the lines that it wrote.
struct Outcome {
    DWORD exitCode = 0xffffffff;
    std::vector<std::string> lines;
};

class SetupProgram : public testing::Test {
protected:
    SetupProgram() {
        m_Machine.Prepare({.name = "new"});
        m_Machine.StopListening();
        test_support::SampleOptions options;
        options.service = test_support::SampleService::kReal;
        options.logFolder = m_Machine.At(L"Logs");
        m_pPackage =
            std::make_unique<test_support::SamplePackage>(m_Machine.At(L"Medium"), options);
    }

    Outcome Run(const std::wstring& arguments) {
        const std::wstring record = m_Machine.At(L"Temp\\setup.txt");
        std::filesystem::remove(record);
        std::wstring line = L"\"" + m_pPackage->SetupProgram() + L"\" " + arguments +
                            L" --short-pauses --target \"" + m_Machine.InstallDir() +
                            L"\" --record \"" + record + L"\"";
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        Outcome outcome;
        if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                           &startup, &process) == 0)
            return outcome;
        WaitForSingleObject(process.hProcess, 60000);
        GetExitCodeProcess(process.hProcess, &outcome.exitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        std::ifstream file{std::filesystem::path(record)};
        for (std::string text; std::getline(file, text);)
            outcome.lines.push_back(text);
        return outcome;
    }

    // What is missing or different of the package's files in the install folder.
    std::string Missing() const {
        const auto files = test_support::FilesOf(m_Machine.InstallDir());
        std::string text;
        for (const auto& [name, hash] : m_pPackage->FileHashes()) {
            const auto found = files.find(name);
            if (found == files.end() || found->second != hash)
                text += std::filesystem::path(name).string() + "\n";
        }
        return text;
    }

    SetupMachine m_Machine;
    std::unique_ptr<test_support::SamplePackage> m_pPackage;
};

TEST_F(SetupProgram, installs_upgrades_and_removes_the_product) {
    if (KeysAreElsewhere())
        GTEST_SKIP() << kKeysElsewhere;
    const std::string installedIn =
        "installed in " + std::filesystem::path(m_Machine.InstallDir()).string();
    const Outcome installed = Run(L"install postinstall");
    EXPECT_EQ(0U, installed.exitCode);
    EXPECT_THAT(installed.lines,
                ElementsAre("install 0x20ff0000", installedIn, "postinstall 0x20ff0000"));
    EXPECT_EQ(0U, m_Machine.InstallStatus());
    EXPECT_EQ("", Missing());

    m_Machine.StartWatchdog();
    const Outcome again = Run(L"install postinstall");
    EXPECT_EQ(0U, again.exitCode);
    EXPECT_THAT(again.lines,
                ElementsAre("install 0x20ff0000", installedIn, "postinstall 0x20ff0000"));
    EXPECT_EQ("", Missing());
    EXPECT_TRUE(std::filesystem::exists(m_Machine.Backup() + L"\\release.txt"));
    EXPECT_TRUE(std::filesystem::exists(m_Machine.At(L"Medium\\called.txt")))
        << "the library of the package ends the programs";

    m_Machine.StartWatchdog();
    const Outcome removed = Run(L"uninstall");
    EXPECT_EQ(0U, removed.exitCode);
    EXPECT_THAT(removed.lines, ElementsAre("uninstall 0x20ff0000"));
    // The moves of the tools, which nobody can take back, find nothing at the next start.
    EXPECT_EQ("", NotGone(m_Machine.New(), m_Machine.Look(), m_Machine.Places(), true));
    EXPECT_FALSE(std::filesystem::exists(m_Machine.InstallDir()));
    EXPECT_TRUE(std::filesystem::is_empty(m_Machine.DataFolder()));
}

}  // namespace

}  // namespace deployment_test
