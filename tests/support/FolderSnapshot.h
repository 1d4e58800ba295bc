#pragma once

// All that lies in a folder at one moment, to see that nothing was changed.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace test_support {

// Each name below a folder, with the content of a file; folders have none.
inline std::map<std::filesystem::path, std::string> Snapshot(const std::filesystem::path& folder) {
    std::map<std::filesystem::path, std::string> all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        all[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return all;
}

}  // namespace test_support
