#pragma once

// A folder of its own for a test; gone, with all it holds, at the end of the scope.

#include <filesystem>
#include <string>

class TestTree {
public:
    TestTree();
    TestTree(const TestTree&) = delete;
    TestTree& operator=(const TestTree&) = delete;
    ~TestTree();

    // The real path, without links.
    const std::filesystem::path& Path() const { return m_Path; }

    // Makes a file with this content, and the folders that it lies in.
    std::filesystem::path Write(const std::filesystem::path& name,
                                const std::string& content) const;
    std::filesystem::path WriteSized(const std::filesystem::path& name, std::size_t size) const {
        return Write(name, std::string(size, 'x'));
    }
    std::filesystem::path Folder(const std::filesystem::path& name) const;

    static std::string Read(const std::filesystem::path& file);

private:
    std::filesystem::path m_Path;
};
