#pragma once

// A folder with a trace module that writes down how it is used. For Windows builds alone.

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

    // Puts the stand-in of the trace module there.
    void AddModule() {
        std::filesystem::copy_file(ProgramFolder() / "TraceModuleStandin.dll",
                                   m_Folder.Path() / "KrDbgLog.dll");
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

private:
    TemporaryFolder m_Folder;
};

}  // namespace test_support
