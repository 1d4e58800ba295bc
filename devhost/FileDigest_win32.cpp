#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/DuplicateSearch.h"

#include <bcrypt.h>

#include <array>
#include <memory>

namespace DevHost {

namespace {

constexpr std::size_t kBlockSize = 1024 * 1024;
constexpr std::size_t kDigestSize = 32;

struct AlgorithmCloser {
    void operator()(void* algorithm) const { BCryptCloseAlgorithmProvider(algorithm, 0); }
};
struct HashCloser {
    void operator()(void* hash) const { BCryptDestroyHash(hash); }
};
struct FileCloser {
    void operator()(void* file) const { CloseHandle(file); }
};

std::string ToHex(const std::array<UCHAR, kDigestSize>& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const UCHAR byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace

std::string Sha256OfFile(const FileSystem::Path& path,
                         const std::function<bool(std::uint64_t bytes)>& progress) {
    const HANDLE opened = CreateFileW(FileSystem::ForSystem(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
        return {};
    const std::unique_ptr<void, FileCloser> file(opened);

    BCRYPT_ALG_HANDLE algorithm = nullptr;
    if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) != 0)
        return {};
    const std::unique_ptr<void, AlgorithmCloser> algorithmOwner(algorithm);
    BCRYPT_HASH_HANDLE hash = nullptr;
    if (BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) != 0)
        return {};
    const std::unique_ptr<void, HashCloser> hashOwner(hash);

    std::vector<UCHAR> block(kBlockSize);
    for (;;) {
        DWORD read = 0;
        if (!ReadFile(file.get(), block.data(), static_cast<DWORD>(block.size()), &read, nullptr)) {
            return {};
        }
        if (read == 0)
            break;
        if (BCryptHashData(hash, block.data(), read, 0) != 0 || !progress(read))
            return {};
    }
    std::array<UCHAR, kDigestSize> digest{};
    if (BCryptFinishHash(hash, digest.data(), kDigestSize, 0) != 0)
        return {};
    return ToHex(digest);
}

}  // namespace DevHost
