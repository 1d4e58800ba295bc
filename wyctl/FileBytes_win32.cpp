#include <fmt/format.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "wyctl/Errors.h"
#include "wyctl/FileBytes.h"

namespace WyCtl {

namespace {

constexpr DWORD kPiece = 1U << 20;

std::vector<std::uint8_t> ReadAll(HANDLE file, const std::string& name) {
    std::vector<std::uint8_t> bytes;
    for (;;) {
        const std::size_t before = bytes.size();
        bytes.resize(before + kPiece);
        DWORD count = 0;
        const BOOL read = ReadFile(file, bytes.data() + before, kPiece, &count, nullptr);
        bytes.resize(before + count);
        // A pipe whose writer is gone has ended.
        if (read == FALSE && GetLastError() != ERROR_BROKEN_PIPE) {
            throw Failure(fmt::format("cannot read {} (system error {})", name, GetLastError()));
        }
        if (count == 0) {
            return bytes;
        }
        if (bytes.size() > kMaxFileBytes) {
            throw Failure(fmt::format("{} is larger than {} bytes", name, kMaxFileBytes));
        }
    }
}

}  // namespace

std::vector<std::uint8_t> ReadFileBytes(const std::string& path) {
    const HANDLE file =
        CreateFileW(KrCommon::String::FromUtf8(path).c_str(), GENERIC_READ,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        throw Failure(fmt::format("cannot open {} (system error {})", path, GetLastError()));
    }
    try {
        std::vector<std::uint8_t> bytes = ReadAll(file, path);
        CloseHandle(file);
        return bytes;
    } catch (...) {
        CloseHandle(file);
        throw;
    }
}

std::string ReadStandardInput() {
    const std::vector<std::uint8_t> bytes =
        ReadAll(GetStdHandle(STD_INPUT_HANDLE), "standard input");
    return {bytes.begin(), bytes.end()};
}

}  // namespace WyCtl
