#pragma once

// Envelopes: a growable byte accumulator with a read cursor.
//
// An envelope is a concatenation of items with no framing of its own: an integer is 4 bytes
// little-endian; a wide string is its byte length with terminator, then UTF-16LE; a handle is the
// size of a parameter image, then the image. Reads raise CIPCMsgBufferException; writes fail
// silently, into a view as well as without memory. A buffer belongs to one call on one thread.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "Framework/utilIPC/ipc_data_handle.h"
#include "Framework/utilIPC/ipc_exception.h"

// The accumulator: an owner that grows by whole blocks, or a read-only view of foreign bytes.
class CAccBuffer {
public:
    // An empty owner. `blockSize` is the granule of growth in bytes and not 0.
    explicit CAccBuffer(std::uint32_t blockSize);
    // An empty owner that begins in a room of its maker's, which must outlive it.
    CAccBuffer(std::uint32_t blockSize, std::span<std::uint8_t> room);
    // A view; the bytes must outlive it.
    CAccBuffer(const std::uint8_t* data, std::uint32_t size);
    CAccBuffer(const CAccBuffer&) = delete;
    CAccBuffer& operator=(const CAccBuffer&) = delete;
    virtual ~CAccBuffer();

    // Appends bytes. Does nothing on a view; without memory the bytes are dropped.
    void Write(const void* source, std::uint32_t size);

    std::uint32_t GetLength() const { return m_uiLength; }
    // Null until the first growth of an owner.
    const std::uint8_t* GetData() const { return m_pData; }
    std::uint32_t GetCapacity() const { return m_uiCapacity; }

private:
    std::uint32_t m_uiCapacity;
    std::uint32_t m_uiLength;
    std::uint32_t m_uiBlockSize;
    std::uint8_t* m_pData;
    bool m_bOwner;
    std::span<std::uint8_t> m_Room;
};

// The envelope: an accumulator that is read from its start.
class CIPCMsgBuffer : public CAccBuffer {
public:
    // The block size that the transport uses everywhere.
    static constexpr std::uint32_t kBlockSize = 1024;

    // An empty owner; with `header` its first four bytes are 0xFFFFFFFF.
    CIPCMsgBuffer(std::uint32_t blockSize, bool header);
    // An empty owner that begins in a room.
    explicit CIPCMsgBuffer(std::span<std::uint8_t> room);
    // A view with the cursor at its start.
    CIPCMsgBuffer(const std::uint8_t* data, std::uint32_t size);

    // The unread rest.
    const std::uint8_t* GetReadPtr() const { return GetData() + m_uiReadPos; }
    std::uint32_t GetRemaining() const { return GetLength() - m_uiReadPos; }

    CIPCMsgBuffer& operator<<(std::uint32_t value);
    // Null writes nothing at all.
    CIPCMsgBuffer& operator<<(const wchar_t* text);
    CIPCMsgBuffer& operator<<(const std::wstring& text);
    // Writes size and image of the message.
    CIPCMsgBuffer& operator<<(const CRpcDataHandleWrapper& message);
    // Raw bytes, no prefix.
    void WriteBytes(const void* source, std::uint32_t size);

    // Raises kInvalidBuffer when nothing was ever written, kOutOfRange when less than four bytes
    // are left; the cursor then stays.
    CIPCMsgBuffer& operator>>(std::uint32_t& value);
    // Reads a handle item into the wrapper; a size of 0 or below leaves the wrapper as it was.
    CIPCMsgBuffer& operator>>(CRpcDataHandleWrapper& message);
    // Copies `size` bytes into a new block that the caller gives to FreeBytes. Raises as above,
    // before it allocates, and std::bad_alloc.
    void ReadBytes(void** out, std::uint32_t size);
    static void FreeBytes(void* bytes);

    std::uint32_t GetReadPosition() const { return m_uiReadPos; }
    // Where the last successful read began.
    std::uint32_t GetLastReadPosition() const { return m_uiLastReadPos; }

private:
    void WriteText(std::wstring_view text);
    void RequireReadable(std::uint32_t size) const;
    void Advance(std::uint32_t size);

    std::uint32_t m_uiReadPos;
    std::uint32_t m_uiLastReadPos;
};
