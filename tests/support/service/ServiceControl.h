#pragma once

// How a test speaks with its service in another process: requests whose message ids no client
// sends.

#include <cstdint>
#include <string>
#include <vector>

#include "support/HexBytes.h"

namespace test_support::control {

constexpr std::uint32_t kPushReply = 0x7e570001;
constexpr std::uint32_t kSetReply = 0x7e570002;
constexpr std::uint32_t kSetDelay = 0x7e570003;
constexpr std::uint32_t kTakeRequests = 0x7e570004;
constexpr std::uint32_t kDeliver = 0x7e570005;
constexpr std::uint32_t kPing = 0x7e570006;
constexpr std::uint32_t kReset = 0x7e570007;
constexpr std::uint32_t kSetMonitorReply = 0x7e570008;
constexpr std::uint32_t kTakeMonitorRequests = 0x7e570009;

constexpr const wchar_t* kServiceOption = L"--scripted-service";

// Blocks behind one another, each with its size before it.
inline void AppendBlock(Bytes& bytes, const Bytes& block) {
    Append(bytes, static_cast<std::uint32_t>(block.size()));
    Append(bytes, block);
}

// Takes blocks off the front. The bytes come from our own process and are taken as they are.
class BlockReader {
public:
    explicit BlockReader(const Bytes& bytes) : m_Bytes(bytes) {}

    bool AtEnd() const { return m_uiPosition >= m_Bytes.size(); }
    std::uint32_t Word() {
        std::uint32_t word = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            word |= static_cast<std::uint32_t>(m_Bytes.at(m_uiPosition++)) << shift;
        }
        return word;
    }
    Bytes Block() {
        const std::size_t size = Word();
        const auto begin = m_Bytes.begin() + static_cast<std::ptrdiff_t>(m_uiPosition);
        m_uiPosition += size;
        return Bytes(begin, begin + static_cast<std::ptrdiff_t>(size));
    }
    Bytes Rest() const {
        return Bytes(m_Bytes.begin() + static_cast<std::ptrdiff_t>(m_uiPosition), m_Bytes.end());
    }

private:
    const Bytes& m_Bytes;
    std::size_t m_uiPosition = 0;
};

inline std::vector<Bytes> Blocks(const Bytes& bytes) {
    std::vector<Bytes> blocks;
    for (BlockReader reader(bytes); !reader.AtEnd();) {
        blocks.push_back(reader.Block());
    }
    return blocks;
}

inline Bytes FromBlocks(const std::vector<Bytes>& blocks) {
    Bytes bytes;
    for (const Bytes& block : blocks) {
        AppendBlock(bytes, block);
    }
    return bytes;
}

}  // namespace test_support::control
