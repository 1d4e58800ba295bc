#pragma once

// Files in the form of Setup.ini, and what SetupProbe.exe makes of them.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/ProgramOutput_win32.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace deploy_test {

// What the probe printed for one file.
struct Answer {
    std::string read;              // "1 " and the fields, or "0 " and what was there before
    std::string result;            // of the check of the system
    std::vector<std::string> log;  // level and text

    // The check's outcome in one letter: "+" accepted; refused because of the version, the service
    // pack, the build number, the server edition or XP for 64 bits: "v", "p", "b", "s", "x". "?"
    // when result and log do not agree.
    char Verdict() const {
        if (log.empty())
            return result == "0x20ff0000" ? '+' : '?';
        const std::string_view tail =
            "256 WyDeployHelper: [ERROR] Check system items failed...retCode=0xe00e0012";
        if (log.size() != 2 || log.back() != tail || result != "0xe00e0012")
            return '?';
        const struct {
            char letter;
            std::string_view line;
        } rows[] = {
            {'v', "256 WyDeployHelper: [ERROR] Windows version is not support."},
            {'p', "256 WyDeployHelper: [ERROR] Windows service pack required."},
            {'b', "256 WyDeployHelper: [ERROR] Windows build number not meet minimum requirement."},
            {'s', "256 WyDeployHelper: [ERROR] Windows server version is not support."},
            {'x', "256 WyDeployHelper: [ERROR] Windows XP 64 version is not support."},
        };
        for (const auto& row : rows) {
            if (log.front() == row.line)
                return row.letter;
        }
        return '?';
    }
};

// A row of files that one process reads.
class SetupFiles {
public:
    SetupFiles() : m_Folder(L"wy_setup") {}

    const std::filesystem::path& Folder() const { return m_Folder.Path(); }

    // Adds a file with this content, byte by byte.
    void Add(std::string_view content) {
        const std::filesystem::path path =
            Folder() / ("Setup" + std::to_string(m_uiCount) + ".ini");
        std::ofstream(path, std::ios::binary)
            .write(content.data(), static_cast<std::streamsize>(content.size()));
        AddPath(path);
    }
    // Adds a path as it is, "?" for an empty one.
    void AddPath(const std::filesystem::path& path) {
        m_strWords += " \"" + path.string() + '"';
        ++m_uiCount;
    }

    // Runs the probe, or a copy of it. One answer for each file; fewer fail the test.
    std::vector<Answer> Probe(const std::string& words, const std::wstring& program = {}) const {
        const std::wstring probe = (test_support::ProgramFolder() / L"SetupProbe.exe").wstring();
        std::istringstream lines(
            test_support::ProgramOutput(program.empty() ? probe : program, words + m_strWords));
        std::vector<Answer> answers;
        std::string line;
        while (std::getline(lines, line)) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            Take(line, answers);
        }
        EXPECT_EQ(answers.size(), m_uiCount);
        answers.resize(m_uiCount);
        return answers;
    }

private:
    static void Take(const std::string& line, std::vector<Answer>& answers) {
        const std::size_t blank = line.find(' ');
        const std::string_view word = std::string_view(line).substr(0, blank);
        const std::string rest = line.substr(blank + 1);
        if (word == "file") {
            answers.emplace_back();
        } else if (!answers.empty() && word == "read") {
            answers.back().read = rest;
        } else if (!answers.empty() && word == "result") {
            answers.back().result = rest;
        } else if (!answers.empty() && word == "log") {
            answers.back().log.push_back(rest);
        } else {
            ADD_FAILURE() << "the probe printed " << line;
        }
    }

    test_support::TemporaryFolder m_Folder;
    std::string m_strWords;
    std::size_t m_uiCount = 0;
};

}  // namespace deploy_test
