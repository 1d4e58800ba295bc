#pragma once

// The block cipher Rijndael with blocks of 128 bits (AES, FIPS 197).
//
// Vocabulary: an object is *set* by Initialize, *running* from the first Update on and *finished*
// by Final; Clear takes it back to *unset*. One object deciphers or enciphers one text. A text that
// is no multiple of the block is padded when it is enciphered: n missing bytes are n bytes of the
// value n. A text that is a multiple gets no padding block.
//
// An operation that fails returns false and gives a Win32 code through `error`, which may be null;
// one that succeeds gives 0. `written` is the number of bytes that this call has put at `out`.
//
// Not thread-safe. The key and what is left of the text are wiped by Clear and the destructor.

#include <cstddef>
#include <cstdint>

namespace KrCommon::Cryptograph {

// What every cipher offers.
class SymmetricCipherBase {
public:
    SymmetricCipherBase() = default;
    SymmetricCipherBase(const SymmetricCipherBase&) = delete;
    SymmetricCipherBase& operator=(const SymmetricCipherBase&) = delete;
    virtual ~SymmetricCipherBase() = default;

    // Prepares an object that is unset, or set but not yet used. `iv` may be null, which stands
    // for zeros; of a longer one the first block counts, of a shorter one the rest is zero.
    //
    // Code 1 in another state; 13 for a null key or a length that is no key length; 87 for a mode
    // that does not exist. A direction that does not exist shows when the first block is processed.
    virtual bool Initialize(std::uint32_t direction, const std::uint8_t* key,
                            std::uint64_t keyLength, std::uint32_t mode, const std::uint8_t* iv,
                            std::uint64_t ivLength, std::uint32_t* error) = 0;

    // Update, and Final when bytes of the input were not written out by it. A whole text may be
    // converted in place: `in` and `out` may then be the same memory.
    virtual bool Convert(const std::uint8_t* in, std::uint64_t inLength, std::uint8_t* out,
                         std::uint64_t outLength, std::uint64_t* written, std::uint32_t* error) = 0;

    // Wipes the object and makes it unset. Code 1 when it is unset.
    virtual bool Clear(std::uint32_t* error) = 0;

    // Processes whole blocks; what is left waits for the next call or for Final.
    //
    // Deciphering holds the last whole block back, since Final takes the padding off it; what
    // follows that block in the same call without filling another is dropped. So the pieces of a
    // text that is deciphered in several calls MUST be whole blocks.
    //
    // Code 1 unless set or running; 13 for a null argument or an output of no size; 8 when `out`
    // has no room for a block: that block waits, and what was processed before it is counted; 50
    // when direction or mode is none.
    virtual bool Update(const std::uint8_t* in, std::uint64_t inLength, std::uint8_t* out,
                        std::uint64_t outLength, std::uint64_t* written, std::uint32_t* error) = 0;

    // Processes the last block: pads it when enciphering; when deciphering in a mode that knows
    // padding, clears what looks like padding and does not count it.
    //
    // Code 1 unless running, and when there is no block to process; 13 for a null argument; 8 and
    // 50 as in Update. A call that failed for lack of room may be repeated.
    virtual bool Final(std::uint8_t* out, std::uint64_t outLength, std::uint64_t* written,
                       std::uint32_t* error) = 0;

    // In bytes.
    virtual std::uint64_t GetBlockSize() const = 0;
    // In bytes; 0 before a key was given.
    virtual std::uint64_t GetKeyLength() const = 0;
};

class Rijndael : public SymmetricCipherBase {
public:
    static constexpr std::uint64_t kBlockSize = 16;

    static constexpr std::uint32_t kEncrypt = 0;
    static constexpr std::uint32_t kDecrypt = 1;
    static constexpr std::uint32_t kNoDirection = 2;

    static constexpr std::uint32_t kEcb = 0;
    static constexpr std::uint32_t kCbc = 1;
    // One bit at a time. Does not know padding when it deciphers.
    static constexpr std::uint32_t kCfb = 2;
    static constexpr std::uint32_t kNoMode = 3;

    Rijndael() = default;
    ~Rijndael() override;

    bool Initialize(std::uint32_t direction, const std::uint8_t* key, std::uint64_t keyLength,
                    std::uint32_t mode, const std::uint8_t* iv, std::uint64_t ivLength,
                    std::uint32_t* error) override;
    bool Convert(const std::uint8_t* in, std::uint64_t inLength, std::uint8_t* out,
                 std::uint64_t outLength, std::uint64_t* written, std::uint32_t* error) override;
    bool Clear(std::uint32_t* error) override;
    bool Update(const std::uint8_t* in, std::uint64_t inLength, std::uint8_t* out,
                std::uint64_t outLength, std::uint64_t* written, std::uint32_t* error) override;
    bool Final(std::uint8_t* out, std::uint64_t outLength, std::uint64_t* written,
               std::uint32_t* error) override;
    std::uint64_t GetBlockSize() const override { return kBlockSize; }
    std::uint64_t GetKeyLength() const override { return m_uiKeyLength; }

private:
    static constexpr std::size_t kMaxRounds = 14;

    enum State : std::uint64_t { kUnset, kSet, kRunning, kFinished };

    void ExpandKey(const std::uint8_t* key);
    void InvertSchedule();
    std::uint64_t ConvertBlocks(const std::uint8_t* in, std::uint64_t count, std::uint8_t* out);
    void ConvertEcb(const std::uint8_t* in, const std::uint8_t* end, std::uint8_t* out);
    void ConvertCbc(const std::uint8_t* in, const std::uint8_t* end, std::uint8_t* out);
    void ConvertBits(const std::uint8_t* in, std::uint8_t* out);
    std::uint32_t ConvertPending(std::uint8_t* out, std::uint64_t outLength);
    std::uint32_t CheckedUpdate(const std::uint8_t* in, std::uint64_t inLength, std::uint8_t* out,
                                std::uint64_t outLength, std::uint64_t& written);
    std::uint32_t CheckedFinal(std::uint8_t* out, std::uint64_t outLength, std::uint64_t& written);
    void NotePadding(const std::uint8_t* block);
    void WipeAll();

    std::uint8_t m_Block[kBlockSize] = {};  // the block being collected
    std::uint64_t m_uiPending = 0;          // bytes of it
    std::uint64_t m_uiPadding = 0;          // at the end of the last deciphered block
    std::uint8_t m_Iv[kBlockSize] = {};     // chaining value
    std::uint32_t m_RoundKeys[4 * (kMaxRounds + 1)] = {};
    std::uint32_t m_uiDirection = kNoDirection;
    std::uint32_t m_uiMode = kNoMode;
    std::uint32_t m_uiRounds = 0;
    std::uint64_t m_uiKeyLength = 0;
    std::uint64_t m_uiState = kUnset;
};

}  // namespace KrCommon::Cryptograph
