#include "utilRPC/IdlStubData.h"

#include <cstring>

#include "Framework/utilIPC/ipc_wire.h"

namespace {

// The label's half byte that tells the byte order of integers.
constexpr std::uint32_t kIntegerMask = 0xf0;
constexpr std::uint32_t kLittleEndian = 0x10;

// Length of an answer without a block, and before the array of one that has it.
constexpr std::size_t kAnswerWithoutBlock = 8;
constexpr std::size_t kAnswerHead = 12;

bool HasLittleEndianIntegers(std::uint32_t representation) {
    return (representation & kIntegerMask) == kLittleEndian;
}

}  // namespace

std::uint8_t* IdlStubData::WriteRequest(std::uint8_t* to, const std::uint8_t* bytes,
                                        std::uint32_t size) {
    Wire::StoreUInt32(to, size);
    Wire::StoreUInt32(to + 4, size);
    if (size > 0)
        std::memcpy(to + kRequestHead, bytes, size);
    return to + kRequestHead + size;
}

bool IdlStubData::IsRequestWellFormed(std::span<const std::uint8_t> stubData,
                                      std::uint32_t representation) {
    if (!HasLittleEndianIntegers(representation) || stubData.size() < kRequestHead)
        return false;
    const std::uint32_t size = Wire::LoadUInt32(stubData.data());
    return size <= INT32_MAX && size == Wire::LoadUInt32(stubData.data() + 4) &&
           size <= stubData.size() - kRequestHead;
}

std::optional<IdlStubData::Answer> IdlStubData::ReadAnswer(std::span<const std::uint8_t> stubData,
                                                           std::uint32_t representation) {
    if (!HasLittleEndianIntegers(representation) || stubData.size() < kAnswerWithoutBlock)
        return std::nullopt;
    const std::uint32_t size = Wire::LoadUInt32(stubData.data());
    const std::uint32_t referent = Wire::LoadUInt32(stubData.data() + 4);
    if (referent == 0)
        return Answer{static_cast<std::int32_t>(size), nullptr};
    if (stubData.size() < kAnswerHead)
        return std::nullopt;
    const std::uint32_t count = Wire::LoadUInt32(stubData.data() + kAnswerWithoutBlock);
    if (count > stubData.size() - kAnswerHead || size > count || size > INT32_MAX)
        return std::nullopt;
    return Answer{static_cast<std::int32_t>(size), stubData.data() + kAnswerHead};
}
