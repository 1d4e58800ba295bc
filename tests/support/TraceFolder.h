#pragma once

// A folder with a trace module that writes down how it is used.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace test_support {

class TraceFolder {
public:
    TraceFolder() : m_Folder(L"trace") {}

    std::wstring Path() const { return m_Folder.Path().wstring(); }

    // Puts the stand-in of the trace module there, or another module.
    void AddModule(const char* module = "TraceModuleStandin.dll") {
        std::filesystem::copy_file(ProgramFolder() / module, m_Folder.Path() / "KrDbgLog.dll");
    }

    void AddFile(const std::string& name, const std::string& text) {
        std::ofstream(m_Folder.Path() / name, std::ios::binary) << text;
    }

    // What the module was called with so far, one call each; the line end of a traced line is
    // shown as "$".
    std::vector<std::string> Calls() const {
        std::ifstream file(m_Folder.Path() / "calls.txt", std::ios::binary);
        std::vector<std::string> calls;
        for (std::string line; std::getline(file, line);) {
            std::replace(line.begin(), line.end(), '\r', '$');
            if (!line.empty())
                calls.push_back(line);
        }
        return calls;
    }

    // The record that the module was initialised with last, as it came.
    std::vector<unsigned char> ConfigBytes() const {
        std::ifstream file(m_Folder.Path() / "config.bin", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    TemporaryFolder m_Folder;
};

}  // namespace test_support
