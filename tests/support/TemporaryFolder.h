#pragma once

// A folder of its own for one test.

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace test_support {

// Made empty below the system's folder for temporary files, removed with all it holds at the end.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::wstring& name) {
        std::random_device random;
        for (;;) {
            m_Path =
                std::filesystem::temp_directory_path() / (name + L"_" + std::to_wstring(random()));
            if (std::filesystem::create_directory(m_Path)) {
                return;
            }
        }
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;  // a program that still runs may hold a file
        std::filesystem::remove_all(m_Path, ignored);
    }

    const std::filesystem::path& Path() const { return m_Path; }

private:
    std::filesystem::path m_Path;
};

}  // namespace test_support
