#include <fmt/format.h>

#include <fstream>
#include <iostream>
#include <iterator>

#include "wyctl/Errors.h"
#include "wyctl/FileBytes.h"

namespace WyCtl {

namespace {

std::string ReadAll(std::istream& stream, const std::string& name) {
    std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    if (bytes.size() > kMaxFileBytes) {
        throw Failure(fmt::format("{} is larger than {} bytes", name, kMaxFileBytes));
    }
    return bytes;
}

}  // namespace

std::vector<std::uint8_t> ReadFileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Failure(fmt::format("cannot open {}", path));
    }
    const std::string bytes = ReadAll(file, path);
    return {bytes.begin(), bytes.end()};
}

std::string ReadStandardInput() {
    return ReadAll(std::cin, "standard input");
}

}  // namespace WyCtl
