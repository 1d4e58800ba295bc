#include "Common/KrCommon/KrComn_Rijndael.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_RijndaelTables.h"
#include "Common/KrCommon/KrComn_Wipe.h"

namespace KrCommon::Cryptograph {

namespace {

constexpr std::size_t kBlock = Rijndael::kBlockSize;
constexpr unsigned kColumns = 4;

// Four columns of four bytes, the first byte of each in the low bits.
struct Columns {
    std::uint32_t c[kColumns];
};

// Byte by byte, for any byte order; compilers make one load or store of it.
std::uint32_t LoadWord(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

void StoreWord(std::uint8_t* bytes, std::uint32_t word) {
    bytes[0] = static_cast<std::uint8_t>(word);
    bytes[1] = static_cast<std::uint8_t>(word >> 8);
    bytes[2] = static_cast<std::uint8_t>(word >> 16);
    bytes[3] = static_cast<std::uint8_t>(word >> 24);
}

Columns Load(const std::uint8_t* block) {
    return {{LoadWord(block), LoadWord(block + 4), LoadWord(block + 8), LoadWord(block + 12)}};
}

void Store(std::uint8_t* block, const Columns& columns) {
    for (unsigned i = 0; i < kColumns; ++i) {
        StoreWord(block + 4 * i, columns.c[i]);
    }
}

Columns operator^(const Columns& a, const Columns& b) {
    return {{a.c[0] ^ b.c[0], a.c[1] ^ b.c[1], a.c[2] ^ b.c[2], a.c[3] ^ b.c[3]}};
}

constexpr std::uint8_t Byte(std::uint32_t word, unsigned index) {
    return static_cast<std::uint8_t>(word >> (8 * index));
}

// One direction of the cipher. Row n of a column comes from the column n places to the right, or
// to the left when the shift of the rows is undone.
template <bool kDecipher>
struct Cipher {
    static const RijndaelTables::Direction& Tables() {
        return kDecipher ? RijndaelTables::kDecrypt : RijndaelTables::kEncrypt;
    }
    static constexpr unsigned From(unsigned column, unsigned row) {
        return (column + (kDecipher ? kColumns - row : row)) % kColumns;
    }

    static std::uint32_t Mixed(const Columns& in, unsigned column) {
        const auto& tables = Tables().mixed;
        return tables[0][Byte(in.c[column], 0)] ^ tables[1][Byte(in.c[From(column, 1)], 1)] ^
               tables[2][Byte(in.c[From(column, 2)], 2)] ^
               tables[3][Byte(in.c[From(column, 3)], 3)];
    }

    static std::uint32_t Substituted(const Columns& in, unsigned column) {
        const auto& box = Tables().box;
        return box[Byte(in.c[column], 0)] |
               std::uint32_t{box[Byte(in.c[From(column, 1)], 1)]} << 8 |
               std::uint32_t{box[Byte(in.c[From(column, 2)], 2)]} << 16 |
               std::uint32_t{box[Byte(in.c[From(column, 3)], 3)]} << 24;
    }

    static Columns Round(const Columns& in, const std::uint32_t* keys) {
        return {{Mixed(in, 0) ^ keys[0], Mixed(in, 1) ^ keys[1], Mixed(in, 2) ^ keys[2],
                 Mixed(in, 3) ^ keys[3]}};
    }

    static Columns Block(const Columns& in, const std::uint32_t* keys, std::uint32_t rounds) {
        Columns state = in ^ Columns {
            { keys[0], keys[1], keys[2], keys[3] }
        };
        for (std::uint32_t round = 1; round < rounds; ++round) {
            keys += kColumns;
            state = Round(state, keys);
        }
        keys += kColumns;
        return {{Substituted(state, 0) ^ keys[0], Substituted(state, 1) ^ keys[1],
                 Substituted(state, 2) ^ keys[2], Substituted(state, 3) ^ keys[3]}};
    }
};

using Encipher = Cipher<false>;
using Decipher = Cipher<true>;

std::uint32_t SubstitutedWord(std::uint32_t word) {
    const auto& box = RijndaelTables::kEncrypt.box;
    return box[Byte(word, 0)] | std::uint32_t{box[Byte(word, 1)]} << 8 |
           std::uint32_t{box[Byte(word, 2)]} << 16 | std::uint32_t{box[Byte(word, 3)]} << 24;
}

// Undoes the mixing of one column. The deciphering tables substitute, too, which the box takes back
// beforehand.
std::uint32_t Unmixed(std::uint32_t word) {
    const auto& box = RijndaelTables::kEncrypt.box;
    const auto& tables = RijndaelTables::kDecrypt.mixed;
    return tables[0][box[Byte(word, 0)]] ^ tables[1][box[Byte(word, 1)]] ^
           tables[2][box[Byte(word, 2)]] ^ tables[3][box[Byte(word, 3)]];
}

bool Report(std::uint32_t code, std::uint32_t* error) {
    if (error != nullptr) {
        *error = code;
    }
    return code == ErrorCode::kSuccess;
}

}  // namespace

Rijndael::~Rijndael() {
    WipeAll();
}

void Rijndael::WipeAll() {
    Wipe(m_Block, sizeof(m_Block));
    Wipe(m_Iv, sizeof(m_Iv));
    Wipe(m_RoundKeys, sizeof(m_RoundKeys));
}

bool Rijndael::Initialize(std::uint32_t direction, const std::uint8_t* key, std::uint64_t keyLength,
                          std::uint32_t mode, const std::uint8_t* iv, std::uint64_t ivLength,
                          std::uint32_t* error) {
    if (m_uiState == kRunning || m_uiState == kFinished) {
        return Report(ErrorCode::kInvalidFunction, error);
    }
    m_uiDirection = direction;
    if (key == nullptr || (keyLength != 16 && keyLength != 24 && keyLength != 32)) {
        return Report(ErrorCode::kInvalidData, error);
    }
    m_uiKeyLength = keyLength;
    m_uiRounds = static_cast<std::uint32_t>(keyLength / 4 + 6);
    ExpandKey(key);
    // One-bit feedback enciphers in both directions.
    if (direction == kDecrypt && mode != kCfb) {
        InvertSchedule();
    }
    if (mode > kCfb) {
        return Report(ErrorCode::kInvalidParameter, error);
    }
    m_uiMode = mode;
    Wipe(m_Block, sizeof(m_Block));
    m_uiPending = 0;
    std::memset(m_Iv, 0, sizeof(m_Iv));
    if (iv != nullptr) {
        std::memcpy(m_Iv, iv, static_cast<std::size_t>(std::min(ivLength, kBlockSize)));
    }
    m_uiState = kSet;
    return Report(ErrorCode::kSuccess, error);
}

void Rijndael::ExpandKey(const std::uint8_t* key) {
    const std::size_t given = static_cast<std::size_t>(m_uiKeyLength / 4);
    const std::size_t count = kColumns * (std::size_t{m_uiRounds} + 1);
    for (std::size_t i = 0; i < given; ++i) {
        m_RoundKeys[i] = LoadWord(key + 4 * i);
    }
    std::size_t place = 0;  // within a key's length
    const std::uint8_t* constant = RijndaelTables::kRoundConstants.data();
    for (std::size_t i = given; i < count; ++i) {
        std::uint32_t word = m_RoundKeys[i - 1];
        if (place == 0) {
            word = SubstitutedWord(std::rotr(word, 8)) ^ *constant++;
        } else if (given > 6 && place == 4) {
            word = SubstitutedWord(word);
        }
        m_RoundKeys[i] = m_RoundKeys[i - given] ^ word;
        place = place + 1 == given ? 0 : place + 1;
    }
}

// Turns the schedule into that of the equivalent inverse cipher: the rounds backwards, and those
// between the first and the last with the mixing undone.
void Rijndael::InvertSchedule() {
    const std::size_t last = kColumns * std::size_t{m_uiRounds};
    for (std::size_t low = 0, high = last; low < high; low += kColumns, high -= kColumns) {
        std::swap_ranges(m_RoundKeys + low, m_RoundKeys + low + kColumns, m_RoundKeys + high);
    }
    std::transform(m_RoundKeys + kColumns, m_RoundKeys + last, m_RoundKeys + kColumns, Unmixed);
}

bool Rijndael::Convert(const std::uint8_t* in, std::uint64_t inLength, std::uint8_t* out,
                       std::uint64_t outLength, std::uint64_t* written, std::uint32_t* error) {
    if (!Update(in, inLength, out, outLength, written, error)) {
        return false;
    }
    if (*written == inLength) {
        return true;
    }
    std::uint64_t rest = 0;
    const bool finished = Final(out + *written, outLength - *written, &rest, error);
    *written += rest;
    return finished;
}

bool Rijndael::Clear(std::uint32_t* error) {
    if (m_uiState == kUnset) {
        return Report(ErrorCode::kInvalidFunction, error);
    }
    WipeAll();
    m_uiPending = 0;
    m_uiPadding = 0;
    m_uiDirection = kNoDirection;
    m_uiMode = kNoMode;
    m_uiRounds = 0;
    m_uiKeyLength = 0;
    m_uiState = kUnset;
    return Report(ErrorCode::kSuccess, error);
}

bool Rijndael::Update(const std::uint8_t* in, std::uint64_t inLength, std::uint8_t* out,
                      std::uint64_t outLength, std::uint64_t* written, std::uint32_t* error) {
    std::uint64_t count = 0;
    std::uint32_t code = ErrorCode::kInvalidFunction;
    if (m_uiState == kSet || m_uiState == kRunning) {
        m_uiState = kRunning;
        const bool given = in != nullptr && out != nullptr && outLength != 0 && written != nullptr;
        code = given ? CheckedUpdate(in, inLength, out, outLength, count) : ErrorCode::kInvalidData;
    }
    if (written != nullptr) {
        *written = count;
    }
    return Report(code, error);
}

std::uint32_t Rijndael::CheckedUpdate(const std::uint8_t* in, std::uint64_t inLength,
                                      std::uint8_t* out, std::uint64_t outLength,
                                      std::uint64_t& written) {
    const bool decipher = m_uiDirection == kDecrypt;
    while (inLength != 0) {
        const std::uint64_t taken = std::min(kBlockSize - m_uiPending, inLength);
        std::memcpy(m_Block + m_uiPending, in, static_cast<std::size_t>(taken));
        m_uiPending += taken;
        in += taken;
        inLength -= taken;
        if (m_uiPending < kBlockSize || (decipher && inLength < kBlockSize)) {
            break;
        }
        const std::uint32_t code = ConvertPending(out + written, outLength - written);
        if (code != ErrorCode::kSuccess) {
            return code;
        }
        written += kBlockSize;
        // What follows goes from the input to the output, except for what may have to wait.
        std::uint64_t count = inLength / kBlockSize;
        count -= decipher && count != 0 ? 1 : 0;
        count = std::min(count, (outLength - written) / kBlockSize);
        const std::uint64_t size = ConvertBlocks(in, count, out + written);
        in += size;
        inLength -= size;
        written += size;
    }
    return ErrorCode::kSuccess;
}

bool Rijndael::Final(std::uint8_t* out, std::uint64_t outLength, std::uint64_t* written,
                     std::uint32_t* error) {
    std::uint64_t count = 0;
    std::uint32_t code = ErrorCode::kInvalidFunction;
    if (m_uiState == kRunning) {
        const bool given = out != nullptr && written != nullptr;
        code = given ? CheckedFinal(out, outLength, count) : ErrorCode::kInvalidData;
    }
    if (written != nullptr) {
        *written = count;
    }
    return Report(code, error);
}

std::uint32_t Rijndael::CheckedFinal(std::uint8_t* out, std::uint64_t outLength,
                                     std::uint64_t& written) {
    if (m_uiDirection == kEncrypt && m_uiPending != 0) {
        const std::uint64_t missing = kBlockSize - m_uiPending;
        std::memset(m_Block + m_uiPending, static_cast<int>(missing),
                    static_cast<std::size_t>(missing));
        m_uiPending = kBlockSize;
    }
    const std::uint32_t code = ConvertPending(out, outLength);
    if (code != ErrorCode::kSuccess) {
        return code;
    }
    written = kBlockSize;
    if (m_uiDirection == kDecrypt) {
        if (m_uiPadding > written) {
            return ErrorCode::kInvalidData;
        }
        written -= m_uiPadding;
        std::memset(out + written, 0, static_cast<std::size_t>(m_uiPadding));
    }
    m_uiState = kFinished;
    return ErrorCode::kSuccess;
}

// The block that was collected.
std::uint32_t Rijndael::ConvertPending(std::uint8_t* out, std::uint64_t outLength) {
    if (m_uiPending != kBlockSize) {
        return ErrorCode::kInvalidFunction;
    }
    if (outLength < kBlockSize) {
        return ErrorCode::kNotEnoughMemory;
    }
    if (m_uiDirection > kDecrypt || m_uiMode > kCfb) {
        return ErrorCode::kNotSupported;
    }
    ConvertBlocks(m_Block, 1, out);
    m_uiPending = 0;
    return ErrorCode::kSuccess;
}

// Processes so many blocks and returns their size in bytes.
std::uint64_t Rijndael::ConvertBlocks(const std::uint8_t* in, std::uint64_t count,
                                      std::uint8_t* out) {
    const std::uint64_t size = count * kBlockSize;
    if (m_uiMode == kEcb) {
        ConvertEcb(in, in + size, out);
    } else if (m_uiMode == kCbc) {
        ConvertCbc(in, in + size, out);
    } else {
        for (const std::uint8_t* const end = in + size; in != end; in += kBlock, out += kBlock) {
            ConvertBits(in, out);
        }
        return size;
    }
    if (m_uiDirection == kDecrypt && size != 0) {
        NotePadding(out + size - kBlock);
    }
    return size;
}

void Rijndael::ConvertEcb(const std::uint8_t* in, const std::uint8_t* end, std::uint8_t* out) {
    if (m_uiDirection == kEncrypt) {
        for (; in != end; in += kBlock, out += kBlock) {
            Store(out, Encipher::Block(Load(in), m_RoundKeys, m_uiRounds));
        }
    } else {
        for (; in != end; in += kBlock, out += kBlock) {
            Store(out, Decipher::Block(Load(in), m_RoundKeys, m_uiRounds));
        }
    }
}

void Rijndael::ConvertCbc(const std::uint8_t* in, const std::uint8_t* end, std::uint8_t* out) {
    Columns chain = Load(m_Iv);
    if (m_uiDirection == kEncrypt) {
        for (; in != end; in += kBlock, out += kBlock) {
            chain = Encipher::Block(Load(in) ^ chain, m_RoundKeys, m_uiRounds);
            Store(out, chain);
        }
    } else {
        for (; in != end; in += kBlock, out += kBlock) {
            const Columns cipher = Load(in);
            Store(out, Decipher::Block(cipher, m_RoundKeys, m_uiRounds) ^ chain);
            chain = cipher;
        }
    }
    Store(m_Iv, chain);
}

// One block in steps of one bit: the first bit of the enciphered chaining value is the key stream,
// and the bit of the cipher text moves into the chaining value from behind.
void Rijndael::ConvertBits(const std::uint8_t* in, std::uint8_t* out) {
    for (std::size_t i = 0; i < kBlock; ++i) {
        const unsigned from = in[i];
        unsigned to = 0;
        for (int shift = 7; shift >= 0; --shift) {
            std::uint8_t stream[kBlock];
            Store(stream, Encipher::Block(Load(m_Iv), m_RoundKeys, m_uiRounds));
            const unsigned given = from >> shift & 1U;
            const unsigned made = given ^ unsigned { stream[0] } >> 7;
            to = to << 1 | made;
            const unsigned fed = m_uiDirection == kEncrypt ? made : given;
            for (std::size_t k = 0; k + 1 < kBlock; ++k) {
                m_Iv[k] = static_cast<std::uint8_t>(m_Iv[k] << 1 | m_Iv[k + 1] >> 7);
            }
            m_Iv[kBlock - 1] = static_cast<std::uint8_t>(unsigned{m_Iv[kBlock - 1]} << 1 | fed);
        }
        out[i] = static_cast<std::uint8_t>(to);
    }
}

// Padding is what ends in n times the byte n, at most a block of it.
void Rijndael::NotePadding(const std::uint8_t* block) {
    const std::uint8_t last = block[kBlock - 1];
    const bool padded =
        last <= kBlock && std::all_of(block + kBlock - last, block + kBlock,
                                      [last](std::uint8_t byte) { return byte == last; });
    m_uiPadding = padded ? last : 0;
}

}  // namespace KrCommon::Cryptograph
