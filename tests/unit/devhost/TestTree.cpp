#include "unit/devhost/TestTree.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>

#include "devhost/FileSystem.h"

TestTree::TestTree() {
    static std::atomic<unsigned> s_uiCount = 0;
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("wyhost-test-" + std::to_string(now) + "-" + std::to_string(++s_uiCount));
    std::filesystem::create_directories(path);
    m_Path = DevHost::FileSystem::Resolve(path).value();
}

TestTree::~TestTree() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
}

std::filesystem::path TestTree::Write(const std::filesystem::path& name,
                                      const std::string& content) const {
    const std::filesystem::path path = (m_Path / name).make_preferred();
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::filesystem::path TestTree::Folder(const std::filesystem::path& name) const {
    const std::filesystem::path path = (m_Path / name).make_preferred();
    std::filesystem::create_directories(path);
    return path;
}

std::string TestTree::Read(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}
